/*
 * ZVTokenProvider.h - cuts the text form of an environment file into tokens (ZV_TOKEN_tag), and
 * the escaping and unescaping of its string literals.
 *
 * The provider works on bytes. Shift-JIS double-byte characters (a lead byte 0x81-0x9F or
 * 0xE0-0xFC followed by a trail byte 0x40-0xFC) are carried through whole, so a trail byte is
 * never taken for a backslash.
 *
 * Each matcher takes the text at the current position, the bytes remaining and an out argument,
 * and returns the bytes it takes, 0 when the text is not its kind, or -1 for a malformed token.
 * The out argument may be null; then only the length is computed. Matchers reach each other
 * through the virtual slots, so a derived provider can change one rule. Operations report by
 * their result only and never set the last-error code (an allocation that fails inside a string
 * helper leaves the string buffers' own code 15).
 *
 * Layout: the fields and the virtual slots are in the order the device's host programs were
 * built against; do not reorder them.
 */
#ifndef ZVTOKENPROVIDER_H
#define ZVTOKENPROVIDER_H

#ifdef __cplusplus

#include "ZVTypes.h"

/* Tokens the pushback stack holds. */
enum { ZV_TOKEN_PUSHBACK_DEPTH = 64 };

class ZV_API CZVTokenProvider {
public:
    /* Points the data at the shared empty string with length 1 (its NUL is one byte of data). */
    CZVTokenProvider();
    /* Deletes the tokens left on the pushback stack. */
    virtual ~CZVTokenProvider();

    /* Uses length bytes at data (not copied, not owned) and resets: 1. Null data: 0, unchanged. */
    virtual int SetData(char* data, unsigned int length);
    /* Position 0, line 1, pushed-back tokens deleted: 1. */
    virtual int Reset();
    /* The current line, counted from 1. */
    virtual int GetCurLine();
    /* Start of the topmost pushed-back token, else the current position. */
    virtual int GetCurPos();
    /* 0 while tokens are pushed back, else 1 once the position has reached the data length. */
    virtual int IsEndOfData();
    /* The next token: 1. 0 at the end of the data, on a malformed token (the position stays
     * where it was) and for a null token. */
    virtual int GetToken(ZV_TOKEN_tag* token);
    /* Frees the text of a string token (never the shared empty string) and sets kind 0; other
     * kinds are left alone. 1; 0 for a null token. */
    virtual int DeleteToken(ZV_TOKEN_tag* token);
    /* Stores a copy of the token (the stack now owns its text) and sets the caller's kind to 0:
     * 1. 0 when 64 tokens are stored already or the token is null. Last in, first out. */
    virtual int PushbackToken(ZV_TOKEN_tag* token);

    /* Blanks and tabs: kind 8. */
    virtual int MatchSpace(const char* text, int n, ZV_TOKEN_tag* token);
    /* '-' (negative 1) or '+' (negative 0): 1 byte; anything else 0, negative untouched. */
    virtual int MatchSign(const char* text, int n, int* negative);
    /* CR LF (2) or LF (1): kind 7. A CR alone is no line end. */
    virtual int MatchLineEnd(const char* text, int n, ZV_TOKEN_tag* token);
    /* '#' up to the line end or the end of the data: kind 6. */
    virtual int MatchComment(const char* text, int n, ZV_TOKEN_tag* token);
    /* [_[]A-Za-z] then [_[].0-9A-Za-z]*: kind 4. */
    virtual int MatchVariable(const char* text, int n, ZV_TOKEN_tag* token);
    /* A ' or " literal, closed by the same quote or left open by a line end or the end of the
     * data, decoded with ParseString: kind 3 (-1 when decoding runs out of memory). */
    virtual int MatchRiteral(const char* text, int n, ZV_TOKEN_tag* token);
    /* [sign][blanks]0x digits: kind 9; -1 without digits or beyond 32 bits. */
    virtual int MatchHex(const char* text, int n, ZV_TOKEN_tag* token);
    /* [sign][blanks]0o digits: kind 10; -1 without digits or beyond 32 bits. */
    virtual int MatchOct(const char* text, int n, ZV_TOKEN_tag* token);
    /* [sign][blanks]0b digits: kind 11; -1 without digits or beyond 32 bits. */
    virtual int MatchBin(const char* text, int n, ZV_TOKEN_tag* token);
    /* Decimal digits: their count. value gets the 32-bit value; big is 0.0 unless the value
     * outgrew 32 bits, in which case it holds the whole value. */
    virtual int MatchUDec(const char* text, int n, unsigned int* value, double* big);
    /* '.' and digits: their count and the fraction; 0 without '.', -1 without a digit. */
    virtual int MatchFrac(const char* text, int n, double* fraction);
    /* [sign][blanks][digits][fraction]: kind 1, 2 or 12. */
    virtual int MatchFloat(const char* text, int n, ZV_TOKEN_tag* token);
    /* A MatchFloat number with an optional exponent: [blanks] e|E [blanks] MatchFloat. Without an
     * exponent the blanks behind the number belong to the token. */
    virtual int MatchExpFrac(const char* text, int n, ZV_TOKEN_tag* token);
    /* Starting with '-', '+', '.' or a digit: MatchHex, MatchOct, MatchBin, then MatchExpFrac. */
    virtual int MatchNumber(const char* text, int n, ZV_TOKEN_tag* token);
    /* One of = / { } , : kind 5. */
    virtual int MatchSplitter(const char* text, int n, ZV_TOKEN_tag* token);

    /* Display column behind n bytes (negative: up to the NUL); a tab advances to the next
     * multiple of 4. */
    static int CalcColumn(const char* text, int n);
    /* The decoded body of a literal (n negative: up to the NUL) in a new library string buffer;
     * the shared empty string for an empty body; null for null text or without memory. */
    static char* ParseString(const char* text, int n);
    /* The inverse of ParseString for the writer: escapes and \xHH for the bytes a literal cannot
     * carry as they are. Same results as ParseString. */
    static char* EspaceString(const char* text, int n);
    /* Frees a ParseString/EspaceString result; null and the shared empty string stay. */
    static void DeleteString(char* text);

    CZVTokenProvider(const CZVTokenProvider&) = delete;
    CZVTokenProvider& operator=(const CZVTokenProvider&) = delete;

    ZV_TOKEN_tag m_Pushback[ZV_TOKEN_PUSHBACK_DEPTH]; /* pushed-back tokens, the top last */
    int m_nPushbackCount;                             /* tokens on the stack */
    char* m_pData;                                    /* the text, not owned */
    unsigned int m_dwDataLength;                      /* bytes of text */
    int m_nCurLine;                                   /* current line, counted from 1 */
    int m_nLineStart;                                 /* position where the current line starts */
    int m_nCurPos;                                    /* position of the next token */
};

#if defined(ZV_DEVICE_ABI)
static_assert(sizeof(CZVTokenProvider) == 1820, "CZVTokenProvider is 1820 bytes on the device");
#endif

#endif /* __cplusplus */

#endif /* ZVTOKENPROVIDER_H */
