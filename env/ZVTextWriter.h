/*
 * ZVTextWriter.h - the text form of a store's tree written in one pass into memory, for saving a
 * store of the library's own class.
 *
 * It gives the very bytes the store's own writer (PrintItem through the line buffer) gives: the
 * same lines, the same positioning, and the same cut of a line at the line buffer's free room,
 * whose capacity it follows as the writer grows it and leaves as the writer would. It formats
 * numbers itself instead of through printf, reals with to_chars, which gives printf's digits.
 * Internal to the library.
 */
#ifndef ZVTEXTWRITER_H
#define ZVTEXTWRITER_H

#include <string>

#include "ZVEnvData.h"

namespace zvenv {

/*
 * Appends the lines of every child of the locked store's root to out, each ended by CR LF.
 * Returns 1 when every item was written; 0 when one could not be (a malformed item): out then
 * holds what the store's writer would have written up to it, its last line flushed. May throw
 * std::bad_alloc (the store is then unchanged).
 */
int WriteTextBody(CZVEnvData* store, std::string* out);

}  // namespace zvenv

#endif /* ZVTEXTWRITER_H */
