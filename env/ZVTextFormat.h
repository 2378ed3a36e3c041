/*
 * ZVTextFormat.h - pieces of the text form shared by the store's writers: the binary digits of an
 * integer written in binary, and the "C" locale for writing reals. Internal to the library.
 */
#ifndef ZVTEXTFORMAT_H
#define ZVTEXTFORMAT_H

#include <locale.h>
#include <stdint.h>
#include <string.h>

namespace zvenv {

/* The binary digits of a value, most significant first, with leading groups of four zeros
 * dropped ("0" for 0): 5 gives 0101, 16 gives 00010000. */
inline void BinaryDigits(uint32_t value, char out[33]) {
    for (int bit = 0; bit < 32; ++bit) {
        out[bit] = ((value >> (31 - bit)) & 1u) != 0 ? '1' : '0';
    }
    out[32] = '\0';
    int skip = 0;
    while (skip < 32 && memcmp(out + skip, "0000", 4) == 0) {
        skip += 4;
    }
    if (skip == 32) {
        out[0] = '0';
        out[1] = '\0';
    } else if (skip != 0) {
        memmove(out, out + skip, static_cast<size_t>(33 - skip));
    }
}

/* The "C" locale, made once, so that reals are written with a '.' whatever the process uses. */
inline locale_t CLocale() {
    static locale_t c = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(0));
    return c;
}

/* Switches the calling thread to the "C" locale for the life of the object. */
class CLocaleScope {
public:
    CLocaleScope() : m_old(CLocale() != static_cast<locale_t>(0) ? uselocale(CLocale()) : 0) {}
    ~CLocaleScope() {
        if (m_old != static_cast<locale_t>(0)) {
            uselocale(m_old);
        }
    }
    CLocaleScope(const CLocaleScope&) = delete;
    CLocaleScope& operator=(const CLocaleScope&) = delete;

private:
    locale_t m_old;
};

}  // namespace zvenv

#endif /* ZVTEXTFORMAT_H */
