/*
 * ZVTokenProvider.cpp - the tokenizer of the text environment form, and the escaping of its
 * string literals.
 *
 * Matchers never write their out argument unless they take bytes, so a caller may try them one
 * after another on the same token. Decoded and escaped strings are library string buffers sized
 * in whole 16-byte steps; they are measured before they are written, so a long literal is
 * allocated once instead of being copied at every step.
 */
#include "ZVTokenProvider.h"

#include <errno.h>
#include <math.h>
#include <stdint.h>
#include <string.h>

#include "TarnString.h"
#include "ZVEscape.h"
#include "ZVExactType.h"

namespace {

/*
 * The one empty string every empty decode or escape returns and a fresh provider reads. It is
 * never freed: DeleteString and DeleteToken recognise it by its address, so a buffer that merely
 * starts with a NUL (a literal holding \x00) is still freed.
 */
char g_szSharedEmpty[1] = {'\0'};

/* Decoded and escaped buffers grow in steps of this many bytes. */
const uint64_t kStringStep = 16;

/* Display columns: a tab moves to the next multiple of this. */
const unsigned int kTabWidth = 4; /* a power of two */

/*
 * The column of the position where this thread's last token ended, so that the next token's
 * column follows from it instead of from counting the line again from its start. It is used
 * only while the same provider stands on the same data, line and position, and a reset forgets
 * it.
 */
struct ColumnMemo {
    const CZVTokenProvider* provider;
    const char* data;
    unsigned int length;
    int lineStart;
    int position;
    unsigned int column;
};

thread_local ColumnMemo t_column __attribute__((tls_model("initial-exec"))) = {};

/* The column behind bytes that start at column (a tab goes to the next multiple of 4). */
unsigned int AdvanceColumn(unsigned int column, const char* text, int count) {
    for (int i = 0; i < count; ++i) {
        column = text[i] == '\t' ? (column + kTabWidth) & ~(kTabWidth - 1u) : column + 1;
    }
    return column;
}

/* Escape letters and the control bytes they stand for, in the same order. */
const char kEscapeLetters[] = "abfnrtv";
const unsigned char kEscapeBytes[] = {0x07, 0x08, 0x0C, 0x0A, 0x0D, 0x09, 0x0B};

const char kUpperHexDigits[] = "0123456789ABCDEF";

bool IsShiftJisLead(unsigned char c) {
    return (c >= 0x81 && c <= 0x9F) || (c >= 0xE0 && c <= 0xFC);
}

bool IsShiftJisTrail(unsigned char c) {
    return c >= 0x40 && c <= 0xFC;
}

/* True when the bytes at i are a Shift-JIS lead byte and its trail byte, carried through whole. */
bool IsShiftJisPair(const unsigned char* text, size_t i, size_t n) {
    return i + 1 < n && IsShiftJisLead(text[i]) && IsShiftJisTrail(text[i + 1]);
}

bool IsDigit(unsigned char c) {
    return c >= '0' && c <= '9';
}

bool IsLetter(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool IsBlank(unsigned char c) {
    return c == ' ' || c == '\t';
}

bool IsLineEndByte(unsigned char c) {
    return c == '\r' || c == '\n';
}

/* Value of a hexadecimal digit of either case, or 16 for any other byte. */
unsigned int HexValue(unsigned char c) {
    if (IsDigit(c)) {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10u;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10u;
    }
    return 16;
}

/* Where escaped bytes go: counts them always, stores them when there is a buffer. */
struct ByteSink {
    char* out;
    uint64_t length;

    void Put(unsigned char c) {
        if (out != NULL) {
            out[length] = static_cast<char>(c);
        }
        ++length;
    }

    void PutRun(const unsigned char* bytes, size_t n) {
        if (out != NULL) {
            memcpy(out + length, bytes, n);
        }
        length += n;
    }
};

/* Index of an escape letter in kEscapeLetters, or -1. */
int EscapeLetterIndex(unsigned char c) {
    const char* found = c != '\0' ? strchr(kEscapeLetters, c) : NULL;
    return found != NULL ? static_cast<int>(found - kEscapeLetters) : -1;
}

/* Index of a control byte in kEscapeBytes, or -1. */
int EscapeByteIndex(unsigned char c) {
    for (size_t i = 0; i < sizeof kEscapeBytes; ++i) {
        if (kEscapeBytes[i] == c) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

/*
 * Decodes the escape behind a backslash (p holds n >= 1 bytes) into one byte; returns the bytes
 * taken behind the backslash. After an octal escape's first digit 0-7 only the digits 1 to 7
 * continue it, and only while the value stays below 256: files written for the device's readers
 * depend on "\100" reading as 0x01 followed by "00".
 */
size_t UnescapeOne(const unsigned char* p, size_t n, unsigned char* byte) {
    unsigned char c = p[0];
    if (c == 'x') {
        if (n >= 3 && HexValue(p[1]) < 16 && HexValue(p[2]) < 16) {
            *byte = static_cast<unsigned char>(HexValue(p[1]) * 16 + HexValue(p[2]));
            return 3;
        }
        *byte = 'x';
        return 1;
    }
    if (c >= '0' && c <= '7') {
        unsigned int value = c - '0';
        size_t taken = 1;
        while (taken < 3 && taken < n && p[taken] >= '1' && p[taken] <= '7' &&
               value * 8 + (p[taken] - '0') < 256) {
            value = value * 8 + (p[taken] - '0');
            ++taken;
        }
        *byte = static_cast<unsigned char>(value);
        return taken;
    }
    int letter = EscapeLetterIndex(c);
    *byte = letter >= 0 ? kEscapeBytes[letter] : c;
    return 1;
}

/* The body of a literal decoded into sink. */
void Unescape(const unsigned char* in, size_t n, ByteSink* sink) {
    size_t i = 0;
    while (i < n) {
        if (IsShiftJisPair(in, i, n)) {
            sink->Put(in[i]);
            sink->Put(in[i + 1]);
            i += 2;
        } else if (in[i] == '\\' && i + 1 < n) {
            unsigned char byte = 0;
            i += 1 + UnescapeOne(in + i + 1, n - i - 1, &byte);
            sink->Put(byte);
        } else {
            sink->Put(in[i]);  // a backslash as the last byte stands for itself
            ++i;
        }
    }
}

/* Bytes a literal carries as they are. */
bool IsPlainByte(unsigned char c) {
    return (c >= 0x20 && c <= 0x7E) || (c >= 0xA1 && c <= 0xDF);
}

/* Bytes that escaping copies as they are: the plain ones but the quotes and the backslash. None
 * of them starts a Shift-JIS pair. */
struct CopiedBytes {
    bool copied[256];
    constexpr CopiedBytes() : copied() {
        for (int c = 0x20; c <= 0x7E; ++c) {
            copied[c] = c != '\'' && c != '"' && c != '\\';
        }
        for (int c = 0xA1; c <= 0xDF; ++c) {
            copied[c] = true;
        }
    }
};
constexpr CopiedBytes kCopiedBytes;

/* The text escaped into sink so that Unescape gives it back. */
void Escape(const unsigned char* in, size_t n, ByteSink* sink) {
    size_t i = 0;
    while (i < n) {
        size_t run = i;
        while (run < n && kCopiedBytes.copied[in[run]]) {
            ++run;
        }
        if (run != i) {
            sink->PutRun(in + i, run - i);
            i = run;
            continue;
        }
        unsigned char c = in[i];
        if (IsShiftJisPair(in, i, n)) {
            sink->Put(c);
            sink->Put(in[i + 1]);
            i += 2;
            continue;
        }
        int control = EscapeByteIndex(c);
        if (control >= 0) {
            sink->Put('\\');
            sink->Put(static_cast<unsigned char>(kEscapeLetters[control]));
        } else if (c == '\'' || c == '"' || c == '\\') {
            sink->Put('\\');
            sink->Put(c);
        } else if (IsPlainByte(c)) {
            sink->Put(c);
        } else {
            sink->Put('\\');
            sink->Put('x');
            sink->Put(static_cast<unsigned char>(kUpperHexDigits[c >> 4]));
            sink->Put(static_cast<unsigned char>(kUpperHexDigits[c & 0x0F]));
        }
        ++i;
    }
}

typedef void (*Transcoder)(const unsigned char* in, size_t n, ByteSink* sink);

/*
 * Runs a transcoder into a new library string buffer: the shared empty string for an empty text,
 * null for a null text or without memory. *length gets the bytes written (NULs included).
 */
char* Transcode(const char* text, int n, Transcoder transcode, uint32_t* length) {
    *length = 0;
    if (text == NULL) {
        return NULL;
    }
    size_t count = n < 0 ? strlen(text) : static_cast<size_t>(n);
    if (count == 0) {
        return g_szSharedEmpty;
    }
    const unsigned char* in = reinterpret_cast<const unsigned char*>(text);
    ByteSink measure = {NULL, 0};
    transcode(in, count, &measure);
    uint64_t size = (measure.length + kStringStep) / kStringStep * kStringStep;
    if (size > UINT32_MAX) {
        return NULL;
    }
    char* buffer = TarnAllocateStringBufferA(static_cast<uint32_t>(size));
    if (buffer == NULL) {
        return NULL;
    }
    ByteSink write = {buffer, 0};
    transcode(in, count, &write);
    buffer[write.length] = '\0';
    *length = static_cast<uint32_t>(write.length);
    return buffer;
}

/* Kind and value of a number token, leaving the destination's position fields alone. */
void CopyNumber(const ZV_TOKEN_tag& from, ZV_TOKEN_tag* to) {
    to->nKind = from.nKind;
    if (from.nKind == ZV_TOKEN_DECIMAL) {
        to->nValue = from.nValue;
    } else {
        to->dValue = from.dValue;
    }
}

/* A number token's value as a double. */
double NumberOf(const ZV_TOKEN_tag& token) {
    return token.nKind == ZV_TOKEN_DECIMAL ? static_cast<double>(token.nValue) : token.dValue;
}

/*
 * mantissa * 10^exponent in floating point. pow reports an overflow or underflow in errno, which
 * is the caller's last-error code: the tokenizer reports by its results only, so it is kept.
 */
double PowerOfTen(double mantissa, double exponent) {
    const int saved = errno;
    const double result = mantissa * pow(10.0, exponent);
    errno = saved;
    return result;
}

/*
 * mantissa * 10^exponent in integer arithmetic: true with the result when it is not zero, fits a
 * signed 32-bit value and scales back to the mantissa. 64-bit steps, so an overflow shows instead
 * of wrapping; the loops end early because the value leaves the range (or reaches 0) within ten
 * steps.
 */
bool ScaleDecimal(int32_t mantissa, int32_t exponent, int32_t* result) {
    if (mantissa == 0 || exponent == 0) {
        return false;
    }
    int64_t value = mantissa;
    if (exponent > 0) {
        for (int32_t k = 0; k < exponent; ++k) {
            value *= 10;
            if (value > INT32_MAX || value < INT32_MIN) {
                return false;
            }
        }
        *result = static_cast<int32_t>(value);
        return true;
    }
    for (int64_t k = exponent; k < 0 && value != 0; ++k) {
        value /= 10;  // truncates toward zero
    }
    if (value == 0) {
        return false;
    }
    int64_t back = value;
    for (int64_t k = exponent; k < 0; ++k) {
        back *= 10;
    }
    if (back != mantissa) {
        return false;
    }
    *result = static_cast<int32_t>(value);
    return true;
}

/* How 0x, 0o and 0b numbers differ. */
struct Radix {
    char letter;       /* lower-case prefix letter */
    unsigned int bits; /* bits per digit */
    int32_t kind;      /* token kind */
};

const Radix kHex = {'x', 4, ZV_TOKEN_HEX};
const Radix kOct = {'o', 3, ZV_TOKEN_OCT};
const Radix kBin = {'b', 1, ZV_TOKEN_BIN};

/*
 * [sign][blanks] '0' letter digits. A run is malformed when the value's top bits are in use
 * before a further digit is shifted in: more than 32 bits never wrap.
 */
int MatchPrefixed(CZVTokenProvider& self, const char* text, int n, ZV_TOKEN_tag* token,
                  const Radix& radix) {
    if (text == NULL || n <= 0) {
        return 0;
    }
    int negative = 0;
    int i = self.MatchSign(text, n, &negative);
    i += self.MatchSpace(text + i, n - i, NULL);
    if (i + 1 >= n || text[i] != '0' || (text[i + 1] | 0x20) != radix.letter) {
        return 0;  // a lone "0" at the end of the data is left to the decimal rule
    }
    i += 2;
    const unsigned int base = 1u << radix.bits;
    uint32_t value = 0;
    int digits = 0;
    for (; i < n && HexValue(static_cast<unsigned char>(text[i])) < base; ++i, ++digits) {
        if ((value >> (32 - radix.bits)) != 0) {
            return -1;
        }
        value = (value << radix.bits) | HexValue(static_cast<unsigned char>(text[i]));
    }
    if (digits == 0) {
        return -1;
    }
    if (token != NULL) {
        token->nKind = radix.kind;
        token->nValue = static_cast<int32_t>(negative ? 0u - value : value);
    }
    return i;
}

/* Kind and value of a whole decimal number: kind 1 within the signed 32-bit range, else 12. */
void SetDecimal(ZV_TOKEN_tag* token, int negative, uint32_t value, double big) {
    const uint32_t limit = negative ? 0x80000000u : 0x7FFFFFFFu;
    if (big == 0.0 && value <= limit) {
        token->nKind = ZV_TOKEN_DECIMAL;
        token->nValue = static_cast<int32_t>(negative ? 0u - value : value);
        return;
    }
    double whole = big != 0.0 ? big : static_cast<double>(value);
    token->nKind = ZV_TOKEN_BIG;
    token->dValue = negative ? -whole : whole;
}

}  // namespace

CZVTokenProvider::CZVTokenProvider()
    : m_Pushback(),
      m_nPushbackCount(0),
      m_pData(g_szSharedEmpty),
      m_dwDataLength(1),
      m_nCurLine(1),
      m_nLineStart(0),
      m_nCurPos(0) {}

CZVTokenProvider::~CZVTokenProvider() {
    Reset();
}

int CZVTokenProvider::SetData(char* data, unsigned int length) {
    if (data == NULL) {
        return 0;
    }
    m_pData = data;
    m_dwDataLength = length;
    return Reset();
}

int CZVTokenProvider::Reset() {
    if (t_column.provider == this) {
        t_column.provider = NULL;
    }
    while (m_nPushbackCount > 0) {
        DeleteToken(&m_Pushback[--m_nPushbackCount]);
    }
    m_nCurPos = 0;
    m_nLineStart = 0;
    m_nCurLine = 1;
    return 1;
}

int CZVTokenProvider::GetCurLine() {
    return m_nCurLine;
}

int CZVTokenProvider::GetCurPos() {
    if (m_nPushbackCount > 0) {
        return m_Pushback[m_nPushbackCount - 1].nStart;
    }
    return m_nCurPos;
}

int CZVTokenProvider::IsEndOfData() {
    if (m_nPushbackCount > 0) {
        return 0;
    }
    return static_cast<unsigned int>(m_nCurPos) >= m_dwDataLength ? 1 : 0;
}

namespace {

/* The matchers in the order GetToken tries them, through the virtual slots: the first that takes
 * bytes wins, -1 stops. */
int MatchInOrder(CZVTokenProvider* p, const char* text, int remaining, ZV_TOKEN_tag* token) {
    typedef int (CZVTokenProvider::*Matcher)(const char*, int, ZV_TOKEN_tag*);
    static const Matcher kOrder[] = {
        &CZVTokenProvider::MatchSpace,   &CZVTokenProvider::MatchLineEnd,
        &CZVTokenProvider::MatchComment, &CZVTokenProvider::MatchRiteral,
        &CZVTokenProvider::MatchNumber,  &CZVTokenProvider::MatchVariable,
        &CZVTokenProvider::MatchSplitter};
    int count = 0;
    for (size_t i = 0; i < sizeof kOrder / sizeof kOrder[0] && count == 0; ++i) {
        count = (p->*kOrder[i])(text, remaining, token);
    }
    return count;
}

/*
 * The same for a provider of this very class, whose matchers are the library's own: each takes
 * only text that starts with its own bytes (blanks, a line end, '#', a quote, a sign, point or
 * digit, a name's first character, a splitter), and those sets do not meet, so the first byte
 * names the one matcher that can take the text.
 */
int MatchByFirstByte(CZVTokenProvider* p, const char* text, int remaining, ZV_TOKEN_tag* token) {
    const unsigned char c = static_cast<unsigned char>(text[0]);
    switch (c) {
        case ' ':
        case '\t':
            return p->CZVTokenProvider::MatchSpace(text, remaining, token);
        case '\r':
        case '\n':
            return p->CZVTokenProvider::MatchLineEnd(text, remaining, token);
        case '#':
            return p->CZVTokenProvider::MatchComment(text, remaining, token);
        case '\'':
        case '"':
            return p->CZVTokenProvider::MatchRiteral(text, remaining, token);
        case '-':
        case '+':
        case '.':
            return p->CZVTokenProvider::MatchNumber(text, remaining, token);
        case '=':
        case '/':
        case '{':
        case '}':
        case ',':
            return p->CZVTokenProvider::MatchSplitter(text, remaining, token);
        default:
            if (c >= '0' && c <= '9') {
                return p->CZVTokenProvider::MatchNumber(text, remaining, token);
            }
            return p->CZVTokenProvider::MatchVariable(text, remaining, token);
    }
}

/*
 * MatchNumber of a provider of this very class: the prefixed matchers take only "[sign][blanks]0"
 * and their own letter, so the letter behind the '0' names the one to try, and without one only
 * the decimal rule can take the text.
 */
int MatchOwnNumber(CZVTokenProvider* p, const char* text, int n, ZV_TOKEN_tag* token) {
    int i = (text[0] == '-' || text[0] == '+') ? 1 : 0;
    while (i < n && (text[i] == ' ' || text[i] == '\t')) {
        ++i;
    }
    if (i + 1 < n && text[i] == '0') {
        switch (text[i + 1] | 0x20) {
            case 'x':
                return p->CZVTokenProvider::MatchHex(text, n, token);
            case 'o':
                return p->CZVTokenProvider::MatchOct(text, n, token);
            case 'b':
                return p->CZVTokenProvider::MatchBin(text, n, token);
            default:
                break;
        }
    }
    return p->CZVTokenProvider::MatchExpFrac(text, n, token);
}

}  // namespace

int CZVTokenProvider::GetToken(ZV_TOKEN_tag* token) {
    if (token == NULL) {
        return 0;
    }
    if (m_nPushbackCount > 0) {
        *token = m_Pushback[--m_nPushbackCount];
        return 1;
    }
    // Kind 0 and no stale value: blanks and line ends carry no value of their own.
    memset(token, 0, sizeof *token);
    if (static_cast<unsigned int>(m_nCurPos) >= m_dwDataLength) {
        return 0;
    }
    token->nStart = m_nCurPos;
    token->nLine = m_nCurLine - 1;
    const ColumnMemo& memo = t_column;
    const unsigned int column = memo.provider == this && memo.data == m_pData &&
                                        memo.length == m_dwDataLength &&
                                        memo.lineStart == m_nLineStart && memo.position == m_nCurPos
                                    ? memo.column
                                    : static_cast<unsigned int>(CalcColumn(
                                          m_pData + m_nLineStart, m_nCurPos - m_nLineStart));
    token->nColumn = static_cast<int32_t>(column);

    const char* text = m_pData + m_nCurPos;
    const int remaining = static_cast<int>(m_dwDataLength - static_cast<unsigned int>(m_nCurPos));
    int count = zvenv::IsExactly<CZVTokenProvider>(*this)
                    ? MatchByFirstByte(this, text, remaining, token)
                    : MatchInOrder(this, text, remaining, token);
    if (count < 0) {
        return 0;  // malformed: the position stays at the token's start
    }
    if (count == 0) {
        token->nKind = ZV_TOKEN_CHAR;
        token->nValue = static_cast<unsigned char>(*text);
        count = 1;
    }
    m_nCurPos += count;
    unsigned int next = 0;
    if (token->nKind == ZV_TOKEN_LINE_END) {
        ++m_nCurLine;
        m_nLineStart = m_nCurPos;
    } else {
        next = AdvanceColumn(column, text, count);
    }
    t_column = ColumnMemo{this, m_pData, m_dwDataLength, m_nLineStart, m_nCurPos, next};
    token->nEnd = m_nCurPos;
    return 1;
}

int CZVTokenProvider::DeleteToken(ZV_TOKEN_tag* token) {
    if (token == NULL) {
        return 0;
    }
    if (token->nKind == ZV_TOKEN_STRING) {
        DeleteString(token->pszText);
        token->pszText = NULL;
        token->nKind = ZV_TOKEN_NONE;
    }
    return 1;
}

int CZVTokenProvider::PushbackToken(ZV_TOKEN_tag* token) {
    if (token == NULL || m_nPushbackCount >= ZV_TOKEN_PUSHBACK_DEPTH) {
        return 0;
    }
    m_Pushback[m_nPushbackCount++] = *token;
    token->nKind = ZV_TOKEN_NONE;
    return 1;
}

int CZVTokenProvider::MatchSpace(const char* text, int n, ZV_TOKEN_tag* token) {
    int i = 0;
    while (text != NULL && i < n && IsBlank(static_cast<unsigned char>(text[i]))) {
        ++i;
    }
    if (i > 0 && token != NULL) {
        token->nKind = ZV_TOKEN_BLANKS;
    }
    return i;
}

int CZVTokenProvider::MatchSign(const char* text, int n, int* negative) {
    if (text == NULL || n <= 0 || (text[0] != '-' && text[0] != '+')) {
        return 0;
    }
    if (negative != NULL) {
        *negative = text[0] == '-' ? 1 : 0;
    }
    return 1;
}

int CZVTokenProvider::MatchLineEnd(const char* text, int n, ZV_TOKEN_tag* token) {
    int count = 0;
    if (text != NULL && n >= 1 && text[0] == '\n') {
        count = 1;
    } else if (text != NULL && n >= 2 && text[0] == '\r' && text[1] == '\n') {
        count = 2;
    }
    if (count > 0 && token != NULL) {
        token->nKind = ZV_TOKEN_LINE_END;
    }
    return count;
}

int CZVTokenProvider::MatchComment(const char* text, int n, ZV_TOKEN_tag* token) {
    if (text == NULL || n <= 0 || text[0] != '#') {
        return 0;
    }
    int i = 1;
    while (i < n && MatchLineEnd(text + i, n - i, NULL) == 0) {
        ++i;
    }
    if (token != NULL) {
        token->nKind = ZV_TOKEN_COMMENT;
        token->pszText = const_cast<char*>(text + 1);
        token->dwLength = static_cast<uint32_t>(i - 1);
    }
    return i;
}

int CZVTokenProvider::MatchVariable(const char* text, int n, ZV_TOKEN_tag* token) {
    if (text == NULL || n <= 0) {
        return 0;
    }
    unsigned char first = static_cast<unsigned char>(text[0]);
    if (!IsLetter(first) && first != '_' && first != '[' && first != ']') {
        return 0;
    }
    int i = 1;
    for (; i < n; ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (!IsLetter(c) && !IsDigit(c) && c != '_' && c != '[' && c != ']' && c != '.') {
            break;
        }
    }
    if (token != NULL) {
        token->nKind = ZV_TOKEN_NAME;
        token->pszText = const_cast<char*>(text);
        token->dwLength = static_cast<uint32_t>(i);
    }
    return i;
}

int CZVTokenProvider::MatchRiteral(const char* text, int n, ZV_TOKEN_tag* token) {
    if (text == NULL || n <= 0 || (text[0] != '\'' && text[0] != '"')) {
        return 0;
    }
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(text);
    const size_t size = static_cast<size_t>(n);
    size_t i = 1;
    bool closed = false;
    // A line end closes the literal even right behind a backslash: a literal never runs on into
    // the next line.
    while (i < size && !closed && !IsLineEndByte(bytes[i])) {
        if (bytes[i] == bytes[0]) {
            closed = true;
        } else if ((bytes[i] == '\\' && i + 1 < size && !IsLineEndByte(bytes[i + 1])) ||
                   IsShiftJisPair(bytes, i, size)) {
            i += 2;
        } else {
            ++i;
        }
    }
    if (token != NULL) {
        uint32_t length = 0;
        char* decoded = Transcode(text + 1, static_cast<int>(i - 1), Unescape, &length);
        if (decoded == NULL) {
            return -1;
        }
        token->nKind = ZV_TOKEN_STRING;
        token->pszText = decoded;
        token->dwLength = length;
    }
    return static_cast<int>(closed ? i + 1 : i);
}

int CZVTokenProvider::MatchHex(const char* text, int n, ZV_TOKEN_tag* token) {
    return MatchPrefixed(*this, text, n, token, kHex);
}

int CZVTokenProvider::MatchOct(const char* text, int n, ZV_TOKEN_tag* token) {
    return MatchPrefixed(*this, text, n, token, kOct);
}

int CZVTokenProvider::MatchBin(const char* text, int n, ZV_TOKEN_tag* token) {
    return MatchPrefixed(*this, text, n, token, kBin);
}

int CZVTokenProvider::MatchUDec(const char* text, int n, unsigned int* value, double* big) {
    uint32_t whole = 0;
    double wide = 0.0;  // stays 0.0 until the value outgrows 32 bits
    int i = 0;
    for (; text != NULL && i < n && IsDigit(static_cast<unsigned char>(text[i])); ++i) {
        unsigned int digit = static_cast<unsigned char>(text[i]) - '0';
        if (wide == 0.0 && whole > (UINT32_MAX - digit) / 10) {
            wide = static_cast<double>(whole);
        }
        if (wide != 0.0) {
            wide = wide * 10.0 + digit;
        } else {
            whole = whole * 10 + digit;
        }
    }
    if (value != NULL) {
        *value = whole;
    }
    if (big != NULL) {
        *big = wide;
    }
    return i;
}

int CZVTokenProvider::MatchFrac(const char* text, int n, double* fraction) {
    if (fraction != NULL) {
        *fraction = 0.0;
    }
    if (text == NULL || n <= 0 || text[0] != '.') {
        return 0;
    }
    double sum = 0.0;
    double weight = 0.1;
    int i = 1;
    for (; i < n && IsDigit(static_cast<unsigned char>(text[i])); ++i) {
        sum += (text[i] - '0') * weight;
        weight *= 0.1;
    }
    if (i == 1) {
        return -1;
    }
    if (fraction != NULL) {
        *fraction = sum;
    }
    return i;
}

int CZVTokenProvider::MatchFloat(const char* text, int n, ZV_TOKEN_tag* token) {
    if (text == NULL || n <= 0) {
        return 0;
    }
    int negative = 0;
    int i = MatchSign(text, n, &negative);
    i += MatchSpace(text + i, n - i, NULL);
    uint32_t value = 0;
    double big = 0.0;
    const int digits = MatchUDec(text + i, n - i, &value, &big);
    i += digits;
    double fraction = 0.0;
    const int fractionLength = MatchFrac(text + i, n - i, &fraction);
    if (fractionLength < 0) {
        return -1;
    }
    if (digits == 0 && fractionLength == 0) {
        return 0;
    }
    i += fractionLength;
    if (token != NULL && fractionLength == 0) {
        SetDecimal(token, negative, value, big);
    } else if (token != NULL) {
        double real = (big != 0.0 ? big : static_cast<double>(value)) + fraction;
        token->nKind = ZV_TOKEN_REAL;
        token->dValue = negative ? -real : real;
    }
    return i;
}

int CZVTokenProvider::MatchExpFrac(const char* text, int n, ZV_TOKEN_tag* token) {
    ZV_TOKEN_tag mantissa;
    memset(&mantissa, 0, sizeof mantissa);
    const int mantissaLength = MatchFloat(text, n, &mantissa);
    if (mantissaLength <= 0) {
        return mantissaLength;
    }
    int i = mantissaLength + MatchSpace(text + mantissaLength, n - mantissaLength, NULL);
    if (i >= n || (text[i] != 'e' && text[i] != 'E')) {
        if (token != NULL) {
            CopyNumber(mantissa, token);
        }
        return i;  // the blanks behind the number belong to it
    }
    ++i;
    i += MatchSpace(text + i, n - i, NULL);
    ZV_TOKEN_tag exponent;
    memset(&exponent, 0, sizeof exponent);
    const int exponentLength = MatchFloat(text + i, n - i, &exponent);
    if (exponentLength <= 0) {
        return -1;
    }
    i += exponentLength;  // blanks behind the exponent are left for the next token
    if (token == NULL) {
        return i;
    }
    int32_t scaled = 0;
    if (mantissa.nKind == ZV_TOKEN_DECIMAL && exponent.nKind == ZV_TOKEN_DECIMAL &&
        ScaleDecimal(mantissa.nValue, exponent.nValue, &scaled)) {
        token->nKind = ZV_TOKEN_DECIMAL;
        token->nValue = scaled;
    } else {
        token->nKind = ZV_TOKEN_REAL;
        token->dValue = PowerOfTen(NumberOf(mantissa), NumberOf(exponent));
    }
    return i;
}

int CZVTokenProvider::MatchNumber(const char* text, int n, ZV_TOKEN_tag* token) {
    if (text == NULL || n <= 0) {
        return 0;
    }
    unsigned char first = static_cast<unsigned char>(text[0]);
    if (first != '-' && first != '+' && first != '.' && !IsDigit(first)) {
        return 0;
    }
    if (zvenv::IsExactly<CZVTokenProvider>(*this)) {
        return MatchOwnNumber(this, text, n, token);
    }
    int count = MatchHex(text, n, token);
    if (count == 0) {
        count = MatchOct(text, n, token);
    }
    if (count == 0) {
        count = MatchBin(text, n, token);
    }
    if (count == 0) {
        count = MatchExpFrac(text, n, token);
    }
    return count;
}

int CZVTokenProvider::MatchSplitter(const char* text, int n, ZV_TOKEN_tag* token) {
    if (text == NULL || n <= 0 || text[0] == '\0' || strchr("=/{},", text[0]) == NULL) {
        return 0;
    }
    if (token != NULL) {
        token->nKind = ZV_TOKEN_CHAR;
        token->nValue = static_cast<unsigned char>(text[0]);
    }
    return 1;
}

int CZVTokenProvider::CalcColumn(const char* text, int n) {
    if (text == NULL) {
        return 0;
    }
    const size_t count = n < 0 ? strlen(text) : static_cast<size_t>(n);
    // Every byte counts 1 and a tab then rounds up to its stop (a multiple of 4).
    unsigned int column = 0;
    for (size_t i = 0; i < count; ++i) {
        column = text[i] == '\t' ? (column + kTabWidth) & ~(kTabWidth - 1u) : column + 1;
    }
    return static_cast<int>(column);
}

char* CZVTokenProvider::ParseString(const char* text, int n) {
    uint32_t length = 0;
    return Transcode(text, n, Unescape, &length);
}

size_t zvenv::EscapedLength(const char* text, size_t n) {
    ByteSink measure = {NULL, 0};
    Escape(reinterpret_cast<const unsigned char*>(text), n, &measure);
    return static_cast<size_t>(measure.length);
}

void zvenv::EscapeTo(const char* text, size_t n, char* out) {
    ByteSink write = {out, 0};
    Escape(reinterpret_cast<const unsigned char*>(text), n, &write);
}

char* CZVTokenProvider::EspaceString(const char* text, int n) {
    uint32_t length = 0;
    return Transcode(text, n, Escape, &length);
}

void CZVTokenProvider::DeleteString(char* text) {
    if (text == NULL || text == g_szSharedEmpty) {
        return;
    }
    text[0] = '\0';
    TarnFreeBuffer(text);
}
