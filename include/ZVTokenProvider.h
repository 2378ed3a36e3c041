/**
 * @file ZVTokenProvider.h
 * @brief Cuts the text form of an environment file into tokens (ZV_TOKEN_tag), and the escaping
 * and unescaping of its string literals.
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

/** Tokens the pushback stack holds. @ingroup envreader */
enum { ZV_TOKEN_PUSHBACK_DEPTH = 64 /**< tokens the pushback stack holds */ };

/**
 * Cuts a byte buffer holding the text form into tokens for the parser.
 *
 * GetToken() tries the matchers in this order: MatchSpace(), MatchLineEnd(), MatchComment(),
 * MatchRiteral(), MatchNumber(), MatchVariable(), MatchSplitter(); the first that takes bytes
 * wins, and a byte no matcher takes becomes a kind-5 token of its own. So "a.b[2]" is one name,
 * and "-x" is the character '-' and the name "x".
 *
 * Layout: 1820 bytes on the device.
 * @ingroup envreader
 */
class ZV_API CZVTokenProvider {
public:
    /** Points the data at the shared empty string with length 1 (its NUL is one byte of data). */
    CZVTokenProvider();
    /** Deletes the tokens left on the pushback stack. */
    virtual ~CZVTokenProvider();

    /**
     * Uses length bytes at data and resets.
     *
     * @param data the text; not copied, not owned: it must outlive the tokens.
     * @param length its length in bytes (NUL bytes are data too).
     * @return 1; 0 for null data (nothing changed).
     */
    virtual int SetData(char* data, unsigned int length);
    /**
     * Position 0, line 1, pushed-back tokens deleted.
     *
     * @return 1.
     */
    virtual int Reset();
    /**
     * The current line. After a failed parse, the line where reading stopped.
     *
     * @return the line, counted from 1.
     */
    virtual int GetCurLine();
    /**
     * The position of the next token.
     *
     * @return the start of the topmost pushed-back token, else the current position.
     */
    virtual int GetCurPos();
    /**
     * Tells whether the data is used up.
     *
     * @return 0 while tokens are pushed back, else 1 once the position has reached the data
     *         length.
     */
    virtual int IsEndOfData();
    /**
     * Takes the next token: the top of the pushback stack, or the next one cut from the data.
     * A line end counts the line.
     *
     * @param token receives the token (cleared first); its string text, if any, is the caller's
     *        to release with DeleteToken().
     * @return 1; 0 at the end of the data (kind 0), on a malformed token (the position stays
     *         where it was) and for a null token.
     */
    virtual int GetToken(ZV_TOKEN_tag* token);
    /**
     * Frees the text of a string token (never the shared empty string) and sets kind 0; other
     * kinds are left alone.
     *
     * @param token the token.
     * @return 1; 0 for a null token.
     */
    virtual int DeleteToken(ZV_TOKEN_tag* token);
    /**
     * Stores a copy of the token (the stack now owns its text) and sets the caller's kind to 0.
     * Tokens come back last in, first out.
     *
     * @param token the token.
     * @return 1; 0 when 64 tokens are stored already or the token is null.
     */
    virtual int PushbackToken(ZV_TOKEN_tag* token);

    /**
     * Blanks and tabs: kind 8.
     *
     * @param text the text at the current position.
     * @param n bytes remaining.
     * @param token receives the kind; may be null.
     * @return the bytes taken, 0 when there is none.
     */
    virtual int MatchSpace(const char* text, int n, ZV_TOKEN_tag* token);
    /**
     * A sign.
     *
     * @param text the text.
     * @param n bytes remaining.
     * @param negative receives 1 for '-', 0 for '+'; untouched otherwise; may be null.
     * @return 1 for '-' or '+', else 0.
     */
    virtual int MatchSign(const char* text, int n, int* negative);
    /**
     * CR LF (2 bytes) or LF (1): kind 7. A CR alone is no line end.
     *
     * @param text the text.
     * @param n bytes remaining.
     * @param token receives the kind; may be null.
     * @return the bytes taken, or 0.
     */
    virtual int MatchLineEnd(const char* text, int n, ZV_TOKEN_tag* token);
    /**
     * '#' up to the line end or the end of the data: kind 6, the text behind the '#'.
     *
     * @param text the text.
     * @param n bytes remaining.
     * @param token receives the kind, a pointer into the data and the text's length; may be null.
     * @return the bytes taken (the line end not included), or 0.
     */
    virtual int MatchComment(const char* text, int n, ZV_TOKEN_tag* token);
    /**
     * A name: [_[]A-Za-z] then [_[].0-9A-Za-z]*: kind 4.
     *
     * @param text the text.
     * @param n bytes remaining.
     * @param token receives the kind, a pointer into the data and the length; may be null.
     * @return the bytes taken, or 0.
     */
    virtual int MatchVariable(const char* text, int n, ZV_TOKEN_tag* token);
    /**
     * A ' or " literal, closed by the same quote or left open by a line end (also right behind a
     * backslash) or the end of the data ('abc at a line end is the string abc), decoded with
     * ParseString(): kind 3.
     *
     * @param text the text.
     * @param n bytes remaining.
     * @param token receives the kind and the decoded text (a library buffer the token owns) and
     *        its byte count; may be null, and then nothing is decoded.
     * @return the bytes taken (the closing quote included), 0, or -1 when decoding runs out of
     *         memory.
     */
    virtual int MatchRiteral(const char* text, int n, ZV_TOKEN_tag* token);
    /**
     * [sign][blanks]0x digits: kind 9, negated for '-' (-0x10 is -16).
     *
     * @param text the text.
     * @param n bytes remaining.
     * @param token receives the kind and value; may be null.
     * @return the bytes taken; 0 without the prefix; -1 without digits (also at the end of the
     *         data right after "0x") or beyond 32 bits (0x7FFFFFFF is taken, 0x123456789 is not).
     */
    virtual int MatchHex(const char* text, int n, ZV_TOKEN_tag* token);
    /**
     * [sign][blanks]0o digits: kind 10.
     *
     * @param text the text.
     * @param n bytes remaining.
     * @param token receives the kind and value; may be null.
     * @return the bytes taken; 0 without the prefix; -1 without digits or beyond 32 bits.
     */
    virtual int MatchOct(const char* text, int n, ZV_TOKEN_tag* token);
    /**
     * [sign][blanks]0b digits: kind 11.
     *
     * @param text the text.
     * @param n bytes remaining.
     * @param token receives the kind and value; may be null.
     * @return the bytes taken; 0 without the prefix; -1 without digits or beyond 32 bits.
     */
    virtual int MatchBin(const char* text, int n, ZV_TOKEN_tag* token);
    /**
     * A run of decimal digits.
     *
     * @param text the text.
     * @param n bytes remaining.
     * @param value receives the value in 32 bits; may be null.
     * @param big receives 0.0, or the whole value as a double when it outgrew 32 bits; may be
     *        null.
     * @return the count of digits (0 when there is none).
     */
    virtual int MatchUDec(const char* text, int n, unsigned int* value, double* big);
    /**
     * '.' and digits.
     *
     * @param text the text.
     * @param n bytes remaining.
     * @param fraction receives the fraction (0.0 first): the digits times 0.1, 0.01, ..., each
     *        weight the one before times 0.1, so ".75" gives 0.75000000000000011; may be null.
     * @return the bytes taken; 0 without '.'; -1 for a '.' without a digit behind it.
     */
    virtual int MatchFrac(const char* text, int n, double* fraction);
    /**
     * [sign][blanks][digits][fraction]: kind 1 for an integer within the signed 32-bit range
     * (2147483647 and -2147483648), kind 12 for a larger one (2147483648, 4294967296), kind 2
     * with a fraction.
     *
     * @param text the text.
     * @param n bytes remaining.
     * @param token receives the kind and value; may be null.
     * @return the bytes taken; 0 when there are neither digits nor a fraction; -1 for a lone '.'.
     */
    virtual int MatchFloat(const char* text, int n, ZV_TOKEN_tag* token);
    /**
     * A MatchFloat() number with an optional exponent: [blanks] e|E [blanks] MatchFloat().
     * Two integers whose product mantissa x 10^exponent is a non-zero 32-bit integer that
     * scales back to the mantissa give kind 1 ("15 e 2" is 1500, "150e-1" is 15); any other
     * exponent gives kind 2 ("15e0" is 15.0, "15e-1" 1.5, "1.5e3" 1500.0).
     *
     * @param text the text.
     * @param n bytes remaining.
     * @param token receives the kind and value; may be null.
     * @return the bytes taken, 0, or -1 (a malformed number, or an 'e' without an exponent, as
     *         in "15 east").
     * @quirk Without an exponent the blanks behind the number belong to the token; blanks behind
     *        an exponent do not.
     */
    virtual int MatchExpFrac(const char* text, int n, ZV_TOKEN_tag* token);
    /**
     * A number, for a text starting with '-', '+', '.' or a digit: MatchHex(), MatchOct(),
     * MatchBin(), then MatchExpFrac(); the first non-zero result counts.
     *
     * @param text the text.
     * @param n bytes remaining.
     * @param token receives the kind and value; may be null.
     * @return the bytes taken, 0, or -1.
     */
    virtual int MatchNumber(const char* text, int n, ZV_TOKEN_tag* token);
    /**
     * One of = / { } , : kind 5.
     *
     * @param text the text.
     * @param n bytes remaining.
     * @param token receives the kind and the byte; may be null.
     * @return 1, or 0.
     */
    virtual int MatchSplitter(const char* text, int n, ZV_TOKEN_tag* token);

    /**
     * The display column behind some bytes: each byte counts 1, and a tab advances to the next
     * multiple of 4 (a tab at the line start, or after three bytes, reaches column 4).
     *
     * @param text the bytes; null gives 0.
     * @param n their count; negative means up to the NUL.
     * @return the column.
     */
    static int CalcColumn(const char* text, int n);
    /**
     * Decodes the body of a literal: `\a \b \f \n \r \t \v`, `\xHH` (a `\x` without two hex
     * digits is an x), octal `\ooo` and any other escaped byte as itself; Shift-JIS pairs and
     * other bytes as they are.
     *
     * @param text the body.
     * @param n its length; negative means up to the NUL.
     * @return a new library string buffer (it may hold NUL bytes); the shared empty string for
     *         an empty body; null for null text or without memory. Release it with
     *         DeleteString().
     * @quirk After an octal escape's first digit only the digits 1 to 7 continue it, while the
     *        value stays below 256: `"\100"` is the byte 0x01 followed by "00", `"\101"` 0x01
     *        and "01", `"\141"` is "a", `"\377"` 0xFF, `"\477"` 0x27 and "7".
     */
    static char* ParseString(const char* text, int n);
    /**
     * The inverse of ParseString() for the writer: `\a \b \f \n \r \t \v` for those bytes,
     * a backslash before ' " and `\`, Shift-JIS pairs and the bytes 0x20-0x7E and 0xA1-0xDF as
     * they are, `\xHH` (upper-case digits) for every other byte.
     *
     * @param text the text.
     * @param n its length; negative means up to the NUL.
     * @return as ParseString().
     */
    static char* EspaceString(const char* text, int n);
    /**
     * Frees a ParseString() or EspaceString() result.
     *
     * @param text the buffer; null and the shared empty string itself are left alone (any other
     *        buffer is freed, also one whose first byte is NUL).
     */
    static void DeleteString(char* text);

    /** Not copyable. */
    CZVTokenProvider(const CZVTokenProvider&) = delete;
    /** Not assignable. */
    CZVTokenProvider& operator=(const CZVTokenProvider&) = delete;

    ZV_TOKEN_tag m_Pushback[ZV_TOKEN_PUSHBACK_DEPTH]; /**< pushed-back tokens, the top last */
    int m_nPushbackCount;                             /**< tokens on the stack */
    char* m_pData;                                    /**< the text, not owned */
    unsigned int m_dwDataLength;                      /**< bytes of text */
    int m_nCurLine;                                   /**< current line, counted from 1 */
    int m_nLineStart;                                 /**< position where the current line starts */
    int m_nCurPos;                                    /**< position of the next token */
};

#if defined(ZV_DEVICE_ABI)
static_assert(sizeof(CZVTokenProvider) == 1820, "CZVTokenProvider is 1820 bytes on the device");
#endif

#endif /* __cplusplus */

#endif /* ZVTOKENPROVIDER_H */
