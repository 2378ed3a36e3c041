/*
 * ZVLookupCode.h - the last-error code as a lookup found it, put back when the lookup succeeds.
 *
 * The lookup index absorbs running out of memory (the store is walked instead), but the system
 * leaves ENOMEM in errno, which is the last-error code, and ENOMEM reads as code 12 "Key is not
 * exist.": a caller that clears the code before a getter and reads it afterwards would take a
 * key that was found for a missing one. So a lookup that succeeds leaves the code as it found
 * it, as it does when no memory ran out. Internal to the library.
 */
#ifndef ZVLOOKUPCODE_H
#define ZVLOOKUPCODE_H

#include "TarnError.h"

namespace zvenv {

class LookupCode {
public:
    LookupCode() : m_code(TarnGetLastError()) {}
    LookupCode(const LookupCode&) = delete;
    LookupCode& operator=(const LookupCode&) = delete;

    /* Puts the code back and passes the lookup's result on. */
    template <typename T>
    T Found(T result) const {
        TarnSetLastError(m_code);
        return result;
    }

private:
    unsigned int m_code;
};

}  // namespace zvenv

#endif /* ZVLOOKUPCODE_H */
