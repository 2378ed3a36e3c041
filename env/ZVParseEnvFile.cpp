/*
 * ZVParseEnvFile.cpp - reads an environment file into a store: the header line decides the
 * form; the text form is parsed item by item through the tokenizer, the binary form is handed to
 * the store as it is.
 */
#include "ZVParseEnvFile.h"

#include <math.h>
#include <string.h>

#include "ZVCmnFileHdr.h"
#include "ZVExactType.h"
#include "ZVItemBuilder.h"
#include "ZVNameTable.h"

namespace {

/* A token that is released (its string freed) when it goes out of scope. */
class HeldToken {
public:
    explicit HeldToken(CZVTokenProvider& provider) : m_provider(provider) {
        memset(&token, 0, sizeof token);
    }
    ~HeldToken() { m_provider.DeleteToken(&token); }
    HeldToken(const HeldToken&) = delete;
    HeldToken& operator=(const HeldToken&) = delete;

    bool IsChar(char c) const {
        return token.nKind == ZV_TOKEN_CHAR &&
               static_cast<unsigned char>(token.nValue) == static_cast<unsigned char>(c);
    }

    ZV_TOKEN_tag token;

private:
    CZVTokenProvider& m_provider;
};

bool IsInteger(int kind) {
    return kind == ZV_TOKEN_DECIMAL || kind == ZV_TOKEN_HEX || kind == ZV_TOKEN_OCT ||
           kind == ZV_TOKEN_BIN;
}

/* The radix an integer token is kept in: 0 (decimal, or the key's own) for decimal numbers. */
unsigned char RadixOf(int kind) {
    switch (kind) {
        case ZV_TOKEN_HEX:
            return ZVED_ITEM_HEX;
        case ZV_TOKEN_OCT:
            return ZVED_ITEM_OCT;
        case ZV_TOKEN_BIN:
            return ZVED_ITEM_BIN;
        default:
            return 0;
    }
}

/* A real truncated toward zero and reduced modulo 2^32 (4294967295 gives -1). False for
 * infinite and not-a-number values, which no integer can hold. */
bool TruncateToInt32(double value, int* out) {
    if (!isfinite(value)) {
        return false;
    }
    double reduced = fmod(trunc(value), 4294967296.0);
    if (reduced < 0) {
        reduced += 4294967296.0;
    }
    *out = static_cast<int>(static_cast<unsigned int>(reduced));
    return true;
}

/*
 * A string literal that the quick way reads in place: its body has no escape, line end or NUL,
 * so it decodes to itself. Such a token points into the data (it owns no text) and carries the
 * body's length; the tokenizer never makes one, and deleting it frees nothing.
 */
const int32_t kPlainLiteral = 0x103;

/* The text and length of a name or string token (a literal's text counts up to its NUL). */
bool TextOf(const ZV_TOKEN_tag& token, const char** text, int* length) {
    if (token.nKind == ZV_TOKEN_NAME || token.nKind == kPlainLiteral) {
        *text = token.pszText;
        *length = static_cast<int>(token.dwLength);
        return true;
    }
    if (token.nKind == ZV_TOKEN_STRING) {
        *text = token.pszText;
        *length = -1;
        return true;
    }
    return false;
}

}  // namespace

CZVParseEnvFile::CZVParseEnvFile() : m_pEnvData(nullptr), m_bTrailingComment(0) {}

CZVParseEnvFile::~CZVParseEnvFile() {}

namespace {

/*
 * The grammar below reads items into a destination through a context: the store itself, with
 * every step through the parser's and the store's virtual operations (StoreContext), or, for the
 * library's own classes, an ItemBuilder that lays the items out directly (BuildContext). Both see
 * the same tokens in the same order and make the same calls.
 */
struct StoreContext {
    CZVParseEnvFile* parser;

    CZVTokenProvider& Tokens() { return parser->m_Tokenizer; }
    int NextToken(ZV_TOKEN_tag* token) { return Tokens().GetToken(token); }
    int AtEnd() { return Tokens().IsEndOfData(); }
    int SkipSpace(unsigned int dir, ZV_TOKEN_tag* token) { return parser->SkipSpace(dir, token); }
    int ParseItem(unsigned int dir) { return parser->ParseItem(dir); }
    CZVEnvData* Store() { return parser->m_pEnvData; }
    int IsValidName(const char* name, int length) { return Store()->IsValidName(name, length); }
    int IsSameName(const char* a, int la, const char* b, int lb) {
        return Store()->IsSameName(a, la, b, lb);
    }
    unsigned int CreateSubDir(unsigned int dir, const char* name, int length) {
        return Store()->CreateSubDir(dir, name, length);
    }
    unsigned int SetInteger(unsigned int dir, const char* k, int n, int v, unsigned char radix) {
        return Store()->SetInteger(dir, k, n, v, radix);
    }
    unsigned int SetDouble(unsigned int dir, const char* k, int n, double v) {
        return Store()->SetDouble(dir, k, n, v);
    }
    unsigned int SetBoolean(unsigned int dir, const char* k, int n, int v) {
        return Store()->SetBoolean(dir, k, n, v);
    }
    unsigned int SetString(unsigned int dir, const char* k, int n, const char* t, int tn) {
        return Store()->SetString(dir, k, n, t, tn);
    }
    unsigned int SetBinData(unsigned int dir, const char* k, int n, const void* d, unsigned int s) {
        return Store()->SetBinData(dir, k, n, d, s);
    }
    unsigned int GetBinDataBuf(unsigned int item, void** data, unsigned int* size) {
        return Store()->GetBinDataBuf(item, data, size);
    }
    unsigned int InsertComment(unsigned int dir, const char* t, int n, unsigned char type,
                               unsigned short value) {
        return Store()->InsertComment(dir, t, n, type, value);
    }
};

template <typename Context>
int SkipSpaceIn(Context& c, unsigned int dir, ZV_TOKEN_tag* token);
template <typename Context>
int ParseItemIn(Context& c, unsigned int dir);

/* The value of a hexadecimal digit, or 16. */
unsigned int HexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return static_cast<unsigned int>(c - '0');
    }
    unsigned int lower = static_cast<unsigned int>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : 16;
}

/*
 * The numbers the text forms are mostly made of, as the tokenizer's own number matcher reads
 * them: "0x" and hexadecimal digits that fit 32 bits, or [-+]digits[.digits] then blanks that
 * are not followed by an exponent. The digits and the fraction are read by the tokenizer's own
 * readers and the value made as its number matcher makes it, so the token is the same to the
 * bit; what is saved is the matcher's way through its slots. Gives the bytes taken, or
 * 0 for any other text (blanks behind a sign, octal, binary, exponents, malformed numbers): the
 * tokenizer's matcher reads those.
 */
unsigned int QuickNumber(CZVTokenProvider& t, const char* text, unsigned int left,
                         ZV_TOKEN_tag* token) {
    unsigned int i = 0;
    if (left >= 3 && text[0] == '0' && (text[1] | 0x20) == 'x') {
        uint32_t value = 0;
        for (i = 2; i < left && HexDigit(text[i]) < 16; ++i) {
            if ((value >> 28) != 0) {
                return 0;
            }
            value = (value << 4) | HexDigit(text[i]);
        }
        if (i == 2) {
            return 0;
        }
        token->nKind = ZV_TOKEN_HEX;
        token->nValue = static_cast<int32_t>(value);
        return i;
    }
    bool negative = text[0] == '-';
    i = (text[0] == '-' || text[0] == '+') ? 1 : 0;
    if (i + 1 < left && text[i] == '0' && strchr("box", text[i + 1] | 0x20) != nullptr) {
        return 0;
    }
    /* The tokenizer's own digit readers, not through its slots: its class is the library's. */
    uint32_t whole = 0;
    double wide = 0.0;
    const int length = static_cast<int>(left);
    const int digitCount =
        t.CZVTokenProvider::MatchUDec(text + i, length - static_cast<int>(i), &whole, &wide);
    const bool digits = digitCount != 0;
    i += static_cast<unsigned int>(digitCount);
    double sum = 0.0;
    const int fractionLength =
        t.CZVTokenProvider::MatchFrac(text + i, length - static_cast<int>(i), &sum);
    if (fractionLength < 0) {
        return 0;
    }
    const bool fraction = fractionLength != 0;
    i += static_cast<unsigned int>(fractionLength);
    if (!digits && !fraction) {
        return 0;
    }
    while (i < left && (text[i] == ' ' || text[i] == '\t')) {
        ++i;
    }
    if (i < left && (text[i] | 0x20) == 'e') {
        return 0;
    }
    if (fraction) {
        double real = (wide != 0.0 ? wide : static_cast<double>(whole)) + sum;
        token->nKind = ZV_TOKEN_REAL;
        token->dValue = negative ? -real : real;
    } else if (wide == 0.0 && whole <= (negative ? 0x80000000u : 0x7FFFFFFFu)) {
        token->nKind = ZV_TOKEN_DECIMAL;
        token->nValue = static_cast<int32_t>(negative ? 0u - whole : whole);
    } else {
        double big = wide != 0.0 ? wide : static_cast<double>(whole);
        token->nKind = ZV_TOKEN_BIG;
        token->dValue = negative ? -big : big;
    }
    return i;
}

/*
 * The next token for the quick way, as the tokenizer's GetToken gives it for everything the
 * grammar looks at: blanks, line ends, names, splitters and plain literals are cut here in place
 * (without the column, which the grammar reads of comments only), numbers go to the tokenizer's
 * own matcher, and anything else (comments, literals with escapes, other bytes) to GetToken
 * itself. The tokenizer's position and line move on as GetToken moves them.
 */
int QuickToken(CZVTokenProvider& t, ZV_TOKEN_tag* token) {
    const unsigned int pos = static_cast<unsigned int>(t.m_nCurPos);
    if (t.m_nPushbackCount > 0 || pos >= t.m_dwDataLength) {
        return t.CZVTokenProvider::GetToken(token);
    }
    const char* text = t.m_pData + pos;
    const unsigned int left = t.m_dwDataLength - pos;
    const unsigned char first = static_cast<unsigned char>(text[0]);
    unsigned int count = 1;
    token->nKind = ZV_TOKEN_CHAR;
    token->nValue = first;
    token->dwLength = 0;
    switch (first) {
        case ' ':
        case '\t':
            while (count < left && (text[count] == ' ' || text[count] == '\t')) {
                ++count;
            }
            token->nKind = ZV_TOKEN_BLANKS;
            token->nValue = 0;
            break;
        case '\n':
            token->nKind = ZV_TOKEN_LINE_END;
            token->nValue = 0;
            break;
        case '\r':
            if (left < 2 || text[1] != '\n') {
                return t.CZVTokenProvider::GetToken(token);
            }
            count = 2;
            token->nKind = ZV_TOKEN_LINE_END;
            token->nValue = 0;
            break;
        case '=':
        case '{':
        case '}':
        case ',':
        case '/':
            break;
        case '\'':
        case '"': {
            const char* end = static_cast<const char*>(memchr(text + 1, first, left - 1));
            if (end == nullptr) {
                return t.CZVTokenProvider::GetToken(token);
            }
            for (const char* p = text + 1; p < end; ++p) {
                if (*p == '\\' || *p == '\r' || *p == '\n' || *p == '\0') {
                    return t.CZVTokenProvider::GetToken(token);
                }
            }
            count = static_cast<unsigned int>(end - text) + 1;
            token->nKind = kPlainLiteral;
            token->pszText = const_cast<char*>(text + 1);
            token->dwLength = count - 2;
            break;
        }
        case '#':
            return t.CZVTokenProvider::GetToken(token);
        default:
            if ((first >= '0' && first <= '9') || first == '-' || first == '+' || first == '.') {
                int taken = QuickNumber(t, text, left, token);
                if (taken == 0) {
                    taken = t.CZVTokenProvider::MatchNumber(text, static_cast<int>(left), token);
                }
                if (taken < 0) {
                    return 0; /* malformed: the position stays at the token's start */
                }
                if (taken > 0) {
                    count = static_cast<unsigned int>(taken);
                }
                break;
            }
            if (zvenv::kNameBytes.kind[first] != 1) {
                return t.CZVTokenProvider::GetToken(token);
            }
            while (count < left &&
                   zvenv::kNameBytes.kind[static_cast<unsigned char>(text[count])] != 0) {
                ++count;
            }
            token->nKind = ZV_TOKEN_NAME;
            token->pszText = const_cast<char*>(text);
            token->dwLength = count;
            break;
    }
    token->nStart = static_cast<int32_t>(pos);
    token->nEnd = static_cast<int32_t>(pos + count);
    token->nLine = t.m_nCurLine - 1;
    token->nColumn = 0;
    t.m_nCurPos = static_cast<int>(pos + count);
    if (token->nKind == ZV_TOKEN_LINE_END) {
        ++t.m_nCurLine;
        t.m_nLineStart = t.m_nCurPos;
    }
    return 1;
}

struct BuildContext {
    CZVParseEnvFile* parser;
    zvenv::ItemBuilder* builder;

    CZVTokenProvider& Tokens() { return parser->m_Tokenizer; }
    int NextToken(ZV_TOKEN_tag* token) { return QuickToken(parser->m_Tokenizer, token); }
    int AtEnd() { return parser->m_Tokenizer.CZVTokenProvider::IsEndOfData(); }
    int SkipSpace(unsigned int dir, ZV_TOKEN_tag* token) { return SkipSpaceIn(*this, dir, token); }
    int ParseItem(unsigned int dir) { return ParseItemIn(*this, dir); }
    /* The store's own name rule, in line (the store here is of the library's own class). */
    int IsValidName(const char* name, int length) {
        return name != nullptr && zvenv::ValidName(name, zvenv::NameLength(name, length)) ? 1 : 0;
    }
    int IsSameName(const char* a, int la, const char* b, int lb) {
        return parser->m_pEnvData->CZVEnvData::IsSameName(a, la, b, lb);
    }
    unsigned int CreateSubDir(unsigned int dir, const char* name, int length) {
        return builder->CreateSubDir(dir, name, length);
    }
    unsigned int SetInteger(unsigned int dir, const char* k, int n, int v, unsigned char radix) {
        return builder->SetInteger(dir, k, n, v, radix);
    }
    unsigned int SetDouble(unsigned int dir, const char* k, int n, double v) {
        return builder->SetDouble(dir, k, n, v);
    }
    unsigned int SetBoolean(unsigned int dir, const char* k, int n, int v) {
        return builder->SetBoolean(dir, k, n, v);
    }
    unsigned int SetString(unsigned int dir, const char* k, int n, const char* t, int tn) {
        return builder->SetString(dir, k, n, t, tn);
    }
    unsigned int SetBinData(unsigned int dir, const char* k, int n, const void* d, unsigned int s) {
        return builder->SetBinData(dir, k, n, d, s);
    }
    unsigned int GetBinDataBuf(unsigned int item, void** data, unsigned int* size) {
        return builder->GetBinDataBuf(item, data, size);
    }
    unsigned int InsertComment(unsigned int dir, const char* t, int n, unsigned char type,
                               unsigned short value) {
        return builder->InsertComment(dir, t, n, type, value);
    }
};

template <typename Context>
int SkipSpaceIn(Context& c, unsigned int dir, ZV_TOKEN_tag* token) {
    CZVTokenProvider& tokens = c.Tokens();
    int& trailing = c.parser->m_bTrailingComment;
    token->nKind = ZV_TOKEN_NONE;
    for (;;) {
        if (c.AtEnd()) {
            return 1;
        }
        if (!c.NextToken(token)) {
            return 0;
        }
        switch (token->nKind) {
            case ZV_TOKEN_BLANKS:
                break;
            case ZV_TOKEN_LINE_END:
                trailing = 0;
                break;
            case ZV_TOKEN_COMMENT:
                /* The comment keeps its column, so the writer puts it back where it stood. */
                c.InsertComment(dir, token->pszText, static_cast<int>(token->dwLength),
                                trailing ? ZVED_ITEM_TRAILING_COMMENT : ZVED_ITEM_COMMENT,
                                static_cast<unsigned short>(token->nColumn));
                trailing = 0;
                break;
            case ZV_TOKEN_CHAR:
                if (static_cast<unsigned char>(token->nValue) == '/') {
                    HeldToken next(tokens);
                    if (!c.NextToken(&next.token)) {
                        return 0;
                    }
                    if (next.token.nKind == ZV_TOKEN_LINE_END) {
                        break; /* a '/' at a line end joins the next line */
                    }
                    if (!tokens.PushbackToken(&next.token)) {
                        return 0;
                    }
                }
                return 1;
            default:
                return 1;
        }
        tokens.DeleteToken(token);
        token->nKind = ZV_TOKEN_NONE; /* dropped: the end of the data returns no token */
    }
}

/* Binary data: the bytes of a "c" key between '{' and '}', at most count of them, 0-255 each. */
template <typename Context>
int ParseBinaryBytes(Context& c, unsigned int dir, unsigned int item, unsigned int count) {
    unsigned int filled = 0;
    for (;;) {
        HeldToken value(c.Tokens());
        if (!c.SkipSpace(dir, &value.token)) {
            return 0;
        }
        if (value.IsChar('}')) {
            return 1;
        }
        int byte;
        if (IsInteger(value.token.nKind)) {
            byte = value.token.nValue;
        } else if (value.token.nKind == ZV_TOKEN_REAL) {
            if (!TruncateToInt32(value.token.dValue, &byte) || fabs(value.token.dValue) >= 256.0) {
                return 0;
            }
        } else {
            return 0;
        }
        if (byte < 0 || byte > 255 || filled == count) {
            return 0;
        }
        /* A comment inside the block was inserted into the store and may have moved the
         * buffer: the byte pointer is fetched anew. */
        void* bytes = nullptr;
        if (!c.GetBinDataBuf(item, &bytes, nullptr)) {
            return 0;
        }
        static_cast<unsigned char*>(bytes)[filled++] = static_cast<unsigned char>(byte);
    }
}

/* The value of a key: the letter in front of the name gives its type. */
template <typename Context>
int ParseValue(Context& c, unsigned int dir, const char* name, int length,
               const ZV_TOKEN_tag& value) {
    const char* key = name + 1;
    int keyLength = length > 0 ? length - 1 : length;
    int kind = value.nKind;
    int number = 0;
    switch (name[0]) {
        case 'n':
            if (IsInteger(kind)) {
                number = value.nValue;
            } else if (kind != ZV_TOKEN_REAL && kind != ZV_TOKEN_BIG) {
                return 0;
            } else if (!TruncateToInt32(value.dValue, &number)) {
                return 0;
            }
            return c.SetInteger(dir, key, keyLength, number, RadixOf(kind)) != 0;
        case 'r':
            if (IsInteger(kind)) {
                return c.SetDouble(dir, key, keyLength, value.nValue) != 0;
            }
            if (kind != ZV_TOKEN_REAL && kind != ZV_TOKEN_BIG) {
                return 0;
            }
            return c.SetDouble(dir, key, keyLength, value.dValue) != 0;
        case 'b':
            if (kind != ZV_TOKEN_NAME) {
                return 0;
            }
            if (c.IsSameName(value.pszText, static_cast<int>(value.dwLength), "True", 4)) {
                return c.SetBoolean(dir, key, keyLength, 1) != 0;
            }
            if (c.IsSameName(value.pszText, static_cast<int>(value.dwLength), "False", 5)) {
                return c.SetBoolean(dir, key, keyLength, 0) != 0;
            }
            return 0;
        case 's': {
            const char* text;
            int textLength;
            return TextOf(value, &text, &textLength) &&
                   c.SetString(dir, key, keyLength, text, textLength) != 0;
        }
        default: {
            const char* text;
            int textLength;
            return TextOf(value, &text, &textLength) &&
                   c.SetString(dir, name, length, text, textLength) != 0;
        }
    }
}

/* A "c" key: the count, then '{', the bytes and '}'. */
template <typename Context>
int ParseBinary(Context& c, unsigned int dir, const char* name, int length,
                const ZV_TOKEN_tag& count) {
    if (!IsInteger(count.nKind) || count.nValue < 0) {
        return 0;
    }
    int keyLength = length > 0 ? length - 1 : length;
    unsigned int size = static_cast<unsigned int>(count.nValue);
    unsigned int item = c.SetBinData(dir, name + 1, keyLength, nullptr, size);
    if (item == 0) {
        return 0;
    }
    HeldToken open(c.Tokens());
    if (!c.SkipSpace(dir, &open.token) || !open.IsChar('{')) {
        return 0;
    }
    return ParseBinaryBytes(c, dir, item, size);
}

/* The items of a directory up to its closing brace. */
template <typename Context>
int ParseDirectory(Context& c, unsigned int dir) {
    for (;;) {
        HeldToken next(c.Tokens());
        if (!c.SkipSpace(dir, &next.token) || next.token.nKind == ZV_TOKEN_NONE) {
            return 0; /* the data ended before the closing brace */
        }
        if (next.IsChar('}')) {
            return 1;
        }
        if (!c.Tokens().PushbackToken(&next.token) || !c.ParseItem(dir)) {
            return 0;
        }
    }
}

template <typename Context>
int ParseItemIn(Context& c, unsigned int dir) {
    HeldToken nameToken(c.Tokens());
    if (!c.SkipSpace(dir, &nameToken.token)) {
        return 0;
    }
    if (nameToken.token.nKind == ZV_TOKEN_NONE) {
        return 1;
    }
    const char* name;
    int length;
    if (!TextOf(nameToken.token, &name, &length) || name == nullptr || name[0] == '\0' ||
        length == 0 || !c.IsValidName(name, length)) {
        return 0;
    }
    HeldToken splitter(c.Tokens());
    if (!c.SkipSpace(dir, &splitter.token) || splitter.token.nKind != ZV_TOKEN_CHAR) {
        return 0;
    }
    if (splitter.IsChar('{')) {
        unsigned int sub = c.CreateSubDir(dir, name, length);
        return sub != 0 && ParseDirectory(c, sub);
    }
    if (!splitter.IsChar('=')) {
        return 0;
    }
    c.parser->m_bTrailingComment = 1;
    HeldToken value(c.Tokens());
    if (!c.SkipSpace(dir, &value.token) || value.token.nKind == ZV_TOKEN_NONE) {
        return 0;
    }
    if (name[0] == 'c') {
        return ParseBinary(c, dir, name, length, value.token);
    }
    return ParseValue(c, dir, name, length, value.token);
}

/* Reads a text body item by item, through the given context. */
template <typename Context>
int ReadItems(Context& c, char* body, unsigned int size) {
    CZVTokenProvider& tokens = c.Tokens();
    c.parser->m_bTrailingComment = 0;
    int read = tokens.SetData(body, size) && tokens.Reset();
    while (read && !c.AtEnd()) {
        read = c.ParseItem(0);
    }
    return read;
}

/*
 * The text body into the store. When the parser and the store are of the library's own classes,
 * the items are first laid out directly and handed to the store in one piece; if that cannot be
 * done exactly as the store would do it (or the text does not read), the body is read again item
 * by item through the store, which then also holds what was read up to a failure.
 */
int ReadText(CZVParseEnvFile* parser, char* body, unsigned int size) {
    CZVEnvData* store = parser->m_pEnvData;
    if (zvenv::IsExactly<CZVParseEnvFile>(*parser) && zvenv::IsExactly<CZVEnvData>(*store)) {
        zvenv::ItemBuilder builder;
        BuildContext built = {parser, &builder};
        unsigned int rootSize = 0;
        const unsigned char* root =
            ReadItems(built, body, size) ? builder.Finish(&rootSize) : nullptr;
        if (root != nullptr) {
            return store->Reset(root, rootSize);
        }
    }
    StoreContext through = {parser};
    return ReadItems(through, body, size);
}

}  // namespace

int CZVParseEnvFile::SkipSpace(unsigned int dir, ZV_TOKEN_tag* token) {
    StoreContext c = {this};
    return SkipSpaceIn(c, dir, token);
}

int CZVParseEnvFile::ParseItem(unsigned int dir) {
    StoreContext c = {this};
    return ParseItemIn(c, dir);
}

int CZVParseEnvFile::Parse(const char* path, CZVEnvData* store) {
    m_pEnvData = store;
    m_bTrailingComment = 0;
    if (store == nullptr || !store->Reset(nullptr, 0)) {
        return 0;
    }
    if (m_MapFile.IsOpened(nullptr) && !m_MapFile.Close()) {
        return 0;
    }
    ZV_COMMON_FILE_HEADER_tag header;
    if (path == nullptr || !ZVCFGetCommonFileHeaderA(path, &header)) {
        return 0;
    }
    bool text = memcmp(header.szFileType, "ENVT", 4) == 0;
    if (!text && memcmp(header.szFileType, "ENVB", 4) != 0) {
        return 0;
    }
    /* 00.xx and 01.00 are read; an absent version (0xFFFF) is not. */
    if (header.wMajorVer > 1 || (header.wMajorVer == 1 && header.wMinorVer != 0)) {
        return 0;
    }
    if (!m_MapFile.OpenA(path, 0, nullptr, 1)) {
        return 0;
    }
    /* The body starts behind the file's first line feed; without one it is empty. */
    char* data = static_cast<char*>(m_MapFile.m_pAddress);
    unsigned int size = m_MapFile.m_dwLength;
    const char* lf = static_cast<const char*>(memchr(data, '\n', size));
    unsigned int bodyStart = lf != nullptr ? static_cast<unsigned int>(lf - data) + 1 : size;
    char* body = data + bodyStart;
    unsigned int bodySize = size - bodyStart;

    int read = text ? ReadText(this, body, bodySize) : store->Reset(body, bodySize);
    if (!read || !store->AssignFormat(text ? 0 : 1)) {
        m_MapFile.Close();
        return 0;
    }
    if (!m_MapFile.Close()) {
        return 0;
    }
    return store->SetCommonFileHeader(&header) ? 1 : 0;
}
