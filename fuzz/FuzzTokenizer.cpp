// Fuzz target: the tokenizer of the text environment form on arbitrary bytes, to the end of the
// data, with tokens pushed back and taken again; every matcher on its own at the first places of
// the data; and the literal escaping, which must give back every text without a NUL. Tokens
// must tile the data and carry the line and column counted here apart from the tokenizer. An
// environment file is only as trustworthy as the disk it sits on, so no input may crash the
// reader, read outside its data or lose a decoded string.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "FuzzSupport.h"
#include "ZVTokenProvider.h"

namespace {

using zvfuzz::Check;

// Where a token must lie: its line (from 0) and column (a tab to the next multiple of 4), kept
// by counting the line feeds and columns of the bytes the tokens took.
struct Place {
    int line = 0;
    int lineStart = 0;

    int Column(const char* data, int position) const {
        int column = 0;
        for (int i = lineStart; i < position; ++i) {
            column = data[i] == '\t' ? (column / 4 + 1) * 4 : column + 1;
        }
        return column;
    }

    void Pass(const char* data, int start, int end) {
        for (int i = start; i < end; ++i) {
            if (data[i] == '\n') {
                ++line;
                lineStart = i + 1;
            }
        }
    }
};

// Every token lies inside the data, starts where the last one ended, stands at its line and
// column, and carries a known kind with a value that points where it should.
void CheckToken(const ZV_TOKEN_tag& token, const char* data, int size, int expectedStart,
                Place* place) {
    Check(token.nStart == expectedStart);
    Check(token.nEnd > token.nStart && token.nEnd <= size);
    Check(token.nKind >= ZV_TOKEN_DECIMAL && token.nKind <= ZV_TOKEN_BIG);
    Check(token.nLine == place->line && token.nColumn == place->Column(data, token.nStart));
    place->Pass(data, token.nStart, token.nEnd);
    if (token.nKind == ZV_TOKEN_NAME || token.nKind == ZV_TOKEN_COMMENT) {
        Check(token.pszText >= data && token.pszText + token.dwLength <= data + token.nEnd);
    }
    if (token.nKind == ZV_TOKEN_STRING) {
        Check(token.pszText != NULL);
        Check(token.dwLength < static_cast<uint32_t>(token.nEnd - token.nStart));
    }
}

// Reads all tokens of the data; a malformed token is stepped over by starting again one byte
// behind its start. selector decides which tokens are pushed back and taken again.
void Tokenize(char* data, int size, uint8_t selector) {
    CZVTokenProvider provider;
    int base = 0;
    while (base < size) {
        Check(provider.SetData(data + base, static_cast<unsigned int>(size - base)) == 1);
        int expectedStart = 0;
        Place place;
        int skip = 1;  // past a malformed token, or past the end
        unsigned int index = 0;
        ZV_TOKEN_tag token;
        while (!provider.IsEndOfData()) {
            if (provider.GetToken(&token) != 1) {
                Check(token.nKind == ZV_TOKEN_NONE && provider.GetCurPos() == expectedStart);
                break;
            }
            CheckToken(token, data + base, size - base, expectedStart, &place);
            expectedStart = token.nEnd;
            ++index;
            if (((selector >> (index % 8)) & 1) != 0) {
                ZV_TOKEN_tag kept = token;
                Check(provider.PushbackToken(&token) == 1);
                Check(token.nKind == ZV_TOKEN_NONE);
                Check(provider.GetCurPos() == kept.nStart && !provider.IsEndOfData());
                Check(provider.GetToken(&token) == 1);
                Check(memcmp(&kept, &token, sizeof token) == 0);
            }
            if (index % 5 == 0 && token.nKind == ZV_TOKEN_STRING) {
                // Left on the stack: the next SetData, or the destructor, deletes it.
                Check(provider.PushbackToken(&token) == 1);
                skip = 0;
                break;
            }
            provider.DeleteToken(&token);
        }
        base += expectedStart + skip;
    }
}

// A matcher's result: -1 (malformed), 0 (not its kind) or the bytes it takes, the same with
// and without a token to fill. A string token's text is released.
void CheckMatch(CZVTokenProvider& p,
                int (CZVTokenProvider::*match)(const char*, int, ZV_TOKEN_tag*), const char* text,
                int n) {
    ZV_TOKEN_tag token;
    memset(&token, 0, sizeof token);
    const int taken = (p.*match)(text, n, &token);
    Check(taken >= -1 && taken <= n);
    Check((p.*match)(text, n, NULL) == taken);
    p.DeleteToken(&token);
}

// Every matcher on its own at each of the first places of the data, with exactly the bytes
// that follow.
void Matchers(const char* data, int size) {
    static int (CZVTokenProvider::*const kMatchers[])(const char*, int, ZV_TOKEN_tag*) = {
        &CZVTokenProvider::MatchSpace,   &CZVTokenProvider::MatchLineEnd,
        &CZVTokenProvider::MatchComment, &CZVTokenProvider::MatchVariable,
        &CZVTokenProvider::MatchRiteral, &CZVTokenProvider::MatchHex,
        &CZVTokenProvider::MatchOct,     &CZVTokenProvider::MatchBin,
        &CZVTokenProvider::MatchFloat,   &CZVTokenProvider::MatchExpFrac,
        &CZVTokenProvider::MatchNumber,  &CZVTokenProvider::MatchSplitter};
    CZVTokenProvider p;
    for (int at = 0; at < size && at < 16; ++at) {
        const char* text = data + at;
        const int n = size - at;
        for (auto match : kMatchers) {
            CheckMatch(p, match, text, n);
        }
        int negative = 7;
        const int sign = p.MatchSign(text, n, &negative);
        Check(sign == 0 ? negative == 7 : sign == 1 && (negative == 0 || negative == 1));
        unsigned int value = 0;
        double big = 0;
        const int digits = p.MatchUDec(text, n, &value, &big);
        Check(digits >= 0 && digits <= n);
        double fraction = 0;
        const int frac = p.MatchFrac(text, n, &fraction);
        Check(frac >= -1 && frac <= n && fraction >= 0 && fraction <= 1);
    }
}

// Escaping and unescaping give back every text without a NUL, and the escaped text read as a
// literal between quotes decodes to the same bytes.
void RoundTrip(const char* text, int size) {
    char* escaped = CZVTokenProvider::EspaceString(text, size);
    Check(escaped != NULL);
    char* decoded = CZVTokenProvider::ParseString(escaped, -1);
    Check(decoded != NULL);
    Check(strlen(decoded) == static_cast<size_t>(size) && memcmp(decoded, text, size) == 0);
    CZVTokenProvider::DeleteString(decoded);

    size_t escapedLength = strlen(escaped);
    char* literal = static_cast<char*>(malloc(escapedLength + 2));
    literal[0] = '"';
    memcpy(literal + 1, escaped, escapedLength);
    literal[escapedLength + 1] = '"';
    CZVTokenProvider provider;
    ZV_TOKEN_tag token;
    int length = static_cast<int>(escapedLength + 2);
    Check(provider.MatchRiteral(literal, length, &token) == length);
    Check(token.dwLength == static_cast<uint32_t>(size) && memcmp(token.pszText, text, size) == 0);
    provider.DeleteToken(&token);
    free(literal);
    CZVTokenProvider::DeleteString(escaped);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0 || size > 4096) {
        return 0;
    }
    // The first byte chooses the tokens to push back; the rest is the text. A copy of exactly
    // its bytes, so a read past the end shows under the address sanitizer.
    const uint8_t selector = data[0];
    const int length = static_cast<int>(size - 1);
    char* text = static_cast<char*>(malloc(length > 0 ? static_cast<size_t>(length) : 1));
    memcpy(text, data + 1, size - 1);
    Tokenize(text, length, selector);
    Matchers(text, length);

    // Any bytes decode without harm.
    char* decoded = CZVTokenProvider::ParseString(text, length);
    Check(decoded != NULL);
    CZVTokenProvider::DeleteString(decoded);
    if (memchr(text, '\0', static_cast<size_t>(length)) == NULL) {
        RoundTrip(text, length);
    }
    free(text);
    return 0;
}
