/*
 * ZVEscape.h - the escaping of string values for the text form, into a caller's buffer (the
 * same bytes CZVTokenProvider::EspaceString gives, without a buffer of its own). Internal to
 * the library.
 */
#ifndef ZVESCAPE_H
#define ZVESCAPE_H

#include <stddef.h>

namespace zvenv {

/* Bytes the escaped form of the n bytes at text takes. */
size_t EscapedLength(const char* text, size_t n);
/* Writes the escaped form of the n bytes at text to out (EscapedLength(text, n) bytes). */
void EscapeTo(const char* text, size_t n, char* out);

}  // namespace zvenv

#endif /* ZVESCAPE_H */
