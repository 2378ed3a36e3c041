// Fuzz target: the tokenizer of the text environment form on arbitrary bytes, to the end of the
// data, with tokens pushed back and taken again; and the literal escaping, which must give back
// every text without a NUL. An environment file is only as trustworthy as the disk it sits on, so
// no input may crash the reader, read outside its data or lose a decoded string.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "ZVTokenProvider.h"

namespace {

void Check(bool condition) {
    if (!condition) {
        abort();
    }
}

// Every token lies inside the data, starts where the last one ended, and carries a known kind
// with a value that points where it should.
void CheckToken(const ZV_TOKEN_tag& token, const char* data, int size, int expectedStart) {
    Check(token.nStart == expectedStart);
    Check(token.nEnd > token.nStart && token.nEnd <= size);
    Check(token.nKind >= ZV_TOKEN_DECIMAL && token.nKind <= ZV_TOKEN_BIG);
    Check(token.nLine >= 0 && token.nColumn >= 0);
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
        int skip = 1;  // past a malformed token, or past the end
        unsigned int index = 0;
        ZV_TOKEN_tag token;
        while (!provider.IsEndOfData()) {
            if (provider.GetToken(&token) != 1) {
                Check(token.nKind == ZV_TOKEN_NONE && provider.GetCurPos() == expectedStart);
                break;
            }
            CheckToken(token, data + base, size - base, expectedStart);
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
    char* text = static_cast<char*>(malloc(size));
    memcpy(text, data + 1, size - 1);
    Tokenize(text, length, selector);

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
