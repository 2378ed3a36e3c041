// The classes as a host program built for the device sees them: this file includes no header of
// the library. It declares each class's constructor and destructor by their exported names,
// allocates objects of the documented sizes, and calls virtual operations through its own slot
// tables (plain records of function pointers in the documented slot order). A reordered or
// inserted virtual in the library moves a slot and fails these tests.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include <pthread.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "TestSupport.h"

// Constructors, destructors and static members by their exported (Itanium) names.
extern "C" {
void _ZN10CZVMapFileC1Ev(void* self);
void _ZN10CZVMapFileD1Ev(void* self);
void _ZN13CZVSharedDataC1Ev(void* self);
void _ZN13CZVSharedDataD1Ev(void* self);
void _ZN10CZVEnvDataC1Ev(void* self);
void _ZN10CZVEnvDataD1Ev(void* self);
void _ZN16CZVTokenProviderC1Ev(void* self);
void _ZN16CZVTokenProviderD1Ev(void* self);
void _ZN15CZVParseEnvFileC1Ev(void* self);
void _ZN15CZVParseEnvFileD1Ev(void* self);
void _ZN10CZVEnvFileC1Ev(void* self);
void* _ZN15CZVErrorHistory6CreateEv();
void* _ZN15CZVObjectHolder11GetInstanceEv();
void _ZN7CCsLockC1EP15pthread_mutex_t(void* self, pthread_mutex_t* cs);
}

namespace {

// Object sizes of the device, and of the 64-bit build the tests also run on.
#if defined(__i386__)
constexpr std::size_t kMapFileSize = 68, kSharedDataSize = 216, kEnvDataSize = 248,
                      kTokenProviderSize = 1820, kParseEnvFileSize = 1900, kEnvFileSize = 288,
                      kCsLockSize = 8;
#else
constexpr std::size_t kMapFileSize = 112, kSharedDataSize = 320, kEnvDataSize = 368,
                      kTokenProviderSize = 2600, kParseEnvFileSize = 2736, kEnvFileSize = 440,
                      kCsLockSize = 16;
#endif

using Dtor = void (*)(void*);

struct MapFileSlots {
    Dtor completeDtor, deletingDtor;
    int (*CopyAndPerge)(void*, void*);
    int (*OpenA)(void*, const char*, unsigned int, const char*, int);
    int (*OpenW)(void*, const wchar_t*, unsigned int, const wchar_t*, int);
    int (*OpenT)(void*, const char*, unsigned int, const char*, int);
    int (*Close)(void*);
    int (*Resize)(void*, unsigned int);
    int (*IsOpened)(void*, int*);
    int (*GetFileTime)(void*, long*, long*, long*);
    int (*IsFirst)(void*);
    int (*Flush)(void*);
    int (*CreateMutexA)(void*, const char*);
    int (*CreateMutexW)(void*, const wchar_t*);
    int (*CreateMutexT)(void*, const char*);
    int (*CloseMutex)(void*);
    int (*Lock)(void*, int);
    int (*IsLocked)(void*);
};

struct SharedDataSlots {
    Dtor completeDtor, deletingDtor;
    int (*Open)(void*, const char*, unsigned int);
    int (*Close)(void*);
    int (*Lock)(void*, int);
    void* (*GetData)(void*);
    unsigned int (*GetSize)(void*);
    int (*SetSize)(void*, unsigned int);
    void* (*GetUserData)(void*);
};

using U = unsigned int;
struct EnvDataSlots {
    Dtor completeDtor, deletingDtor;
    int (*Lock)(void*, int);
    int (*Open)(void*, const char*, const char*);
    int (*Close)(void*);
    int (*Reset)(void*, const void*, U);
    int (*GetFormat)(void*);
    int (*AssignFormat)(void*, int);
    int (*Load)(void*, const char*);
    int (*Save)(void*, const char*);
    int (*IsValidName)(void*, const char*, int);
    int (*IsSameName)(void*, const char*, int, const char*, int);
    char* (*GetDirName)(void*, U);
    char* (*GetKeyName)(void*, U);
    int (*IsKey)(void*, U);
    int (*IsKeyNoValidate)(void*, U);
    int (*IsDir)(void*, U);
    int (*IsDirNoValidate)(void*, U);
    U (*GetAttribute)(void*, U);
    unsigned char (*GetSum)(void*, U);
    U (*FindDir)(void*, U, const char*, int);
    U (*FindKey)(void*, U, const char*, int);
    int (*DeleteItem)(void*, U);
    U (*CreateDir)(void*, U, const char*, int);
    U (*CreateSubDir)(void*, U, const char*, int);
    U (*GetDir)(void*, U, const char*, int);
    int (*LockDir)(void*, U, int);
    int (*IsDirLocked)(void*, U);
    U (*GetRootDir)(void*);
    U (*SetInteger)(void*, U, const char*, int, int, unsigned char);
    U (*GetInteger)(void*, U, const char*, int, int*);
    U (*SetDouble)(void*, U, const char*, int, double);
    U (*GetDouble)(void*, U, const char*, int, double*);
    U (*SetBoolean)(void*, U, const char*, int, int);
    U (*GetBoolean)(void*, U, const char*, int, int*);
    U (*SetString)(void*, U, const char*, int, const char*, int);
    U (*GetString)(void*, U, const char*, int, char**);
    U (*SetBinData)(void*, U, const char*, int, const void*, U);
    U (*GetBinData)(void*, U, const char*, int, void**, U*);
    U (*GetBinDataBuf)(void*, U, void**, U*);
    U (*InsertComment)(void*, U, const char*, int, unsigned char, unsigned short);
    int (*SetAccessTime)(void*, void*);
    int (*GetAccessTime)(void*, void*);
    int (*SetCommonFileHeader)(void*, const void*);
    U (*GetItemSize)(void*, U);
    U (*GetItemSizeNoValidate)(void*, U);
    U (*SkipDirHead)(void*, U);
    U (*SkipKeyHead)(void*, U);
    int (*PrintIndent)(void*, FILE*);
    int (*PrintItem)(void*, U, FILE*);
    unsigned char (*CalcSum)(void*, const char*, int);
    int (*ParseDirPath)(void*, const char*, U*);
    U (*InsertItem)(void*, U, U);
    int (*ResizeItem)(void*, U, U, U);
    int (*GetDirTrace)(void*, U, U*);
    int (*SetDirSize)(void*, U, U);
    U (*GetNextItem)(void*, U, U);
    int (*ValidateItem)(void*, U&);
    int (*ValidateDir)(void*, U&);
    int (*FlushLineBuffer)(void*, FILE*);
    int (*ReserveLineBuffer)(void*, U);
    int (*SetLineBuffer)(void*, int, const char*, ...);
};

// A token is opaque here beyond its kind and value words.
struct Token {
    int32_t start, end, line, column, kind;
    union {
        struct {
            union {
                int32_t value;
                char* text;
            } word;
            uint32_t length;
        } words;
        double real;
    } v;
};

struct TokenProviderSlots {
    Dtor completeDtor, deletingDtor;
    int (*SetData)(void*, char*, U);
    int (*Reset)(void*);
    int (*GetCurLine)(void*);
    int (*GetCurPos)(void*);
    int (*IsEndOfData)(void*);
    int (*GetToken)(void*, Token*);
    int (*DeleteToken)(void*, Token*);
    int (*PushbackToken)(void*, Token*);
    int (*MatchSpace)(void*, const char*, int, Token*);
    int (*MatchSign)(void*, const char*, int, int*);
    int (*MatchLineEnd)(void*, const char*, int, Token*);
    int (*MatchComment)(void*, const char*, int, Token*);
    int (*MatchVariable)(void*, const char*, int, Token*);
    int (*MatchRiteral)(void*, const char*, int, Token*);
    int (*MatchHex)(void*, const char*, int, Token*);
    int (*MatchOct)(void*, const char*, int, Token*);
    int (*MatchBin)(void*, const char*, int, Token*);
    int (*MatchUDec)(void*, const char*, int, U*, double*);
    int (*MatchFrac)(void*, const char*, int, double*);
    int (*MatchFloat)(void*, const char*, int, Token*);
    int (*MatchExpFrac)(void*, const char*, int, Token*);
    int (*MatchNumber)(void*, const char*, int, Token*);
    int (*MatchSplitter)(void*, const char*, int, Token*);
};

struct ParseEnvFileSlots {
    Dtor completeDtor, deletingDtor;
    int (*Parse)(void*, const char*, void*);
    int (*SkipSpace)(void*, U, Token*);
    int (*ParseItem)(void*, U);
};

struct EnvFileSlots {
    Dtor completeDtor, deletingDtor;
    int (*AddRef)(void*);
    int (*Release)(void*);
    int (*OpenFile)(void*, const char*);
    int (*Close)(void*);
    int (*IsOpened)(void*);
    int (*Flush)(void*);
    int (*SaveAs)(void*, const char*);
    int (*AssignDir)(void*, const char*);
    int (*GetAssignedDir)(void*, char*, U);
    int (*GetFormat)(void*);
    int (*AssignFormat)(void*, int);
    int (*CheckDirExist)(void*, const char*);
    int (*CreateDir)(void*, const char*);
    int (*RemoveDir)(void*, const char*);
    int (*CheckKeyExist)(void*, const char*);
    int (*RemoveKey)(void*, const char*);
    int (*Lock)(void*, const char*, int);
    int (*IsLocked)(void*, const char*);
    int (*SetInteger)(void*, const char*, int);
    int (*GetInteger)(void*, const char*, int);
    int (*SetDouble)(void*, const char*, double);
    double (*GetDouble)(void*, const char*, double);
    int (*SetBoolean)(void*, const char*, int);
    int (*GetBoolean)(void*, const char*, int);
    int (*SetString)(void*, const char*, const char*);
    int (*GetString)(void*, const char*, char*, U, const char*);
    int (*SetData)(void*, const char*, const void*, U);
    int (*GetData)(void*, const char*, void*, U);
    void* (*EnumEntries)(void*, const char*, U);
    int (*PrepareDir)(void*, const char*, int, U*, int);
    int (*PrepareKey)(void*, const char*, U*, char**, int*, int);
    char* (*GetFullPath)(void*, const char*);
    char* (*GetValidateID)(void*, const char*);
};

struct ErrorHistorySlots {
    Dtor completeDtor, deletingDtor;
    int (*Open)(void*);
    void (*Delete)(void*);
    int (*AssignPath)(void*, const char*, unsigned short, U);
    int (*Add)(void*, void*, unsigned short*);
    int (*Get)(void*, unsigned short, int, void*, U, unsigned short*, int*);
    int (*GetRange)(void*, unsigned short*, unsigned short*);
    int (*Clear)(void*);
    int (*IsOpened)(void*);
    int (*Close)(void*);
    int (*Lock)(void*, int);
    int (*ExchangeErrHist)(void*, unsigned short*, void*, int, void*);
    int (*ExchangeHeader)(void*, int, void*);
};

struct ObjectHolderSlots {
    Dtor completeDtor, deletingDtor;
    void (*Lock)(void*, int);
    void* (*GetObject)(void*);
    void (*SetObject)(void*, void*);
};

struct CsLockSlots {
    Dtor completeDtor, deletingDtor;
};

// The slot table of a live object: the pointer at its offset 0.
template <typename Slots>
const Slots& SlotsOf(const void* object) {
    const Slots* table = nullptr;
    std::memcpy(&table, object, sizeof table);
    return *table;
}

// Storage for one object of a given size, aligned like the library's classes.
template <std::size_t Size>
struct alignas(std::max_align_t) Storage {
    unsigned char bytes[Size];
};

// A file that starts with a common file header line of type ENVT, version 01.00.
std::string EnvtFile(const zvtest::TempDir& dir, const std::string& body) {
    std::string path = dir.File("host.env");
    zvtest::WriteFile(path, "ENVT0100,LM:*,DS:*,CS:*,MA:*,EI:*\r\n" + body);
    return path;
}

TEST(HostViewTest, MapFileSlots) {
    Storage<kMapFileSize> object;
    _ZN10CZVMapFileC1Ev(&object);
    const MapFileSlots& slots = SlotsOf<MapFileSlots>(&object);
    EXPECT_EQ(0, slots.IsOpened(&object, nullptr));
    EXPECT_EQ(1, slots.OpenT(&object, nullptr, 4096, nullptr, 0));
    int readOnly = -1;
    EXPECT_EQ(1, slots.IsOpened(&object, &readOnly));
    EXPECT_EQ(0, readOnly);
    EXPECT_EQ(1, slots.IsFirst(&object));
    EXPECT_EQ(1, slots.CreateMutexT(&object, "MTX"));
    EXPECT_EQ(0, slots.IsLocked(&object));
    EXPECT_EQ(1, slots.Lock(&object, 1));
    EXPECT_EQ(1, slots.IsLocked(&object));
    EXPECT_EQ(1, slots.Lock(&object, 0));
    EXPECT_EQ(1, slots.CloseMutex(&object));
    EXPECT_EQ(1, slots.Close(&object));
    EXPECT_EQ(0, slots.IsOpened(&object, nullptr));
    slots.completeDtor(&object);
}

TEST(HostViewTest, SharedDataSlots) {
    Storage<kSharedDataSize> object;
    _ZN13CZVSharedDataC1Ev(&object);
    const SharedDataSlots& slots = SlotsOf<SharedDataSlots>(&object);
    EXPECT_EQ(nullptr, slots.GetData(&object));
    ASSERT_EQ(1, slots.Open(&object, "HOSTVIEW", 16));
    EXPECT_NE(nullptr, slots.GetUserData(&object));
    EXPECT_EQ(0u, slots.GetSize(&object));
    EXPECT_EQ(1, slots.SetSize(&object, 10));
    EXPECT_EQ(10u, slots.GetSize(&object));
    EXPECT_NE(nullptr, slots.GetData(&object));
    EXPECT_EQ(1, slots.Lock(&object, 0));
    EXPECT_EQ(0u, slots.GetSize(&object));
    EXPECT_EQ(1, slots.Close(&object));
    slots.completeDtor(&object);
}

TEST(HostViewTest, EnvDataSlots) {
    Storage<kEnvDataSize> object;
    _ZN10CZVEnvDataC1Ev(&object);
    const EnvDataSlots& slots = SlotsOf<EnvDataSlots>(&object);
    EXPECT_EQ(38u, slots.GetRootDir(&object));
    EXPECT_EQ(3, slots.CalcSum(&object, "ab", -1));
    EXPECT_EQ(0, slots.IsValidName(&object, "1a", -1));
    EXPECT_EQ(1, slots.IsSameName(&object, "Ab", -1, "aB", -1));
    ASSERT_EQ(1, slots.Open(&object, "HOSTVIEWENV", "OWNER"));
    EXPECT_EQ(0, slots.GetFormat(&object));
    ASSERT_EQ(1, slots.Lock(&object, 1));
    ASSERT_EQ(1, slots.Reset(&object, nullptr, 0));
    EXPECT_EQ(7u, slots.GetItemSize(&object, 38));
    unsigned int dir = slots.CreateDir(&object, 0, "a/b", -1);
    EXPECT_NE(0u, dir);
    EXPECT_EQ(dir, slots.GetDir(&object, 0, "A/B", -1));
    unsigned int key = slots.SetInteger(&object, dir, "x", -1, 5, 11);
    ASSERT_NE(0u, key);
    int value = 0;
    EXPECT_EQ(key, slots.GetInteger(&object, dir, "X", -1, &value));
    EXPECT_EQ(5, value);
    EXPECT_EQ(11u, slots.GetAttribute(&object, key));
    EXPECT_EQ(1, slots.AssignFormat(&object, 1));
    EXPECT_EQ(1, slots.GetFormat(&object));
    EXPECT_EQ(1, slots.ReserveLineBuffer(&object, 10));
    EXPECT_EQ(1, slots.Lock(&object, 0));
    EXPECT_EQ(1, slots.Close(&object));
    slots.completeDtor(&object);
}

TEST(HostViewTest, TokenProviderSlots) {
    Storage<kTokenProviderSize> object;
    _ZN16CZVTokenProviderC1Ev(&object);
    const TokenProviderSlots& slots = SlotsOf<TokenProviderSlots>(&object);
    char text[] = "nA = 0x1F";
    EXPECT_EQ(1, slots.SetData(&object, text, 9));
    EXPECT_EQ(1, slots.GetCurLine(&object));
    Token token;
    std::memset(&token, 0, sizeof token);
    EXPECT_EQ(2, slots.MatchVariable(&object, text, 9, &token));
    EXPECT_EQ(4, slots.MatchHex(&object, text + 5, 4, &token));
    EXPECT_EQ(9, token.kind);
    EXPECT_EQ(31, token.v.words.word.value);
    EXPECT_EQ(1, slots.MatchSplitter(&object, text + 3, 1, &token));
    EXPECT_EQ(5, token.kind);
    EXPECT_EQ(0, slots.GetCurPos(&object));
    EXPECT_EQ(0, slots.IsEndOfData(&object));
    slots.completeDtor(&object);
}

TEST(HostViewTest, ParseEnvFileSlots) {
    zvtest::TempDir dir;
    std::string path = EnvtFile(dir, "nA = 5\r\n");
    Storage<kEnvDataSize> store;
    _ZN10CZVEnvDataC1Ev(&store);
    const EnvDataSlots& storeSlots = SlotsOf<EnvDataSlots>(&store);
    ASSERT_EQ(1, storeSlots.Open(&store, "HOSTVIEWPARSE", "OWNER"));
    ASSERT_EQ(1, storeSlots.Lock(&store, 1));

    Storage<kParseEnvFileSize> object;
    _ZN15CZVParseEnvFileC1Ev(&object);
    const ParseEnvFileSlots& slots = SlotsOf<ParseEnvFileSlots>(&object);
    EXPECT_EQ(1, slots.Parse(&object, path.c_str(), &store));
    int value = 0;
    EXPECT_NE(0u, storeSlots.GetInteger(&store, 0, "A", -1, &value));
    EXPECT_EQ(5, value);
    slots.completeDtor(&object);
    storeSlots.Lock(&store, 0);
    storeSlots.Close(&store);
    storeSlots.completeDtor(&store);
}

TEST(HostViewTest, EnvFileSlots) {
    zvtest::TempDir dir;
    std::string path = dir.File("settings.env");
    void* object = ::operator new(kEnvFileSize);
    _ZN10CZVEnvFileC1Ev(object);
    const EnvFileSlots& slots = SlotsOf<EnvFileSlots>(object);
    EXPECT_EQ(1, slots.AddRef(object));
    EXPECT_EQ(0, slots.IsOpened(object));
    EXPECT_EQ(1, slots.GetAssignedDir(object, nullptr, 0));
    ASSERT_EQ(1, slots.OpenFile(object, path.c_str()));
    EXPECT_EQ(1, slots.IsOpened(object));
    EXPECT_EQ(1, slots.SetInteger(object, "/net/port", 80));
    EXPECT_EQ(80, slots.GetInteger(object, "/net/port", 0));
    EXPECT_EQ(1, slots.CheckDirExist(object, "/net"));
    EXPECT_EQ(1, slots.Flush(object));
    EXPECT_EQ(0, slots.GetFormat(object));
    EXPECT_EQ(1, slots.Close(object));
    EXPECT_EQ(0, slots.Release(object));  // the last reference deletes the object
}

TEST(HostViewTest, ErrorHistorySlots) {
    void* history = _ZN15CZVErrorHistory6CreateEv();
    ASSERT_NE(nullptr, history);
    const ErrorHistorySlots& slots = SlotsOf<ErrorHistorySlots>(history);
    EXPECT_EQ(0, slots.IsOpened(history));
    zvtest::TempDir dir;
    std::string path = dir.File("errors.ehst");
    EXPECT_EQ(1, slots.AssignPath(history, path.c_str(), 3, 0));
    zvtest::WriteFile(path, std::string(96 + 128 * 3, ' '));
    ASSERT_EQ(1, slots.Open(history));
    EXPECT_EQ(1, slots.IsOpened(history));
    unsigned short first = 9, last = 9;
    EXPECT_EQ(0, slots.GetRange(history, &first, &last));
    EXPECT_EQ(1, slots.Close(history));
    slots.Delete(history);
}

TEST(HostViewTest, ObjectHolderSlots) {
    void* holder = _ZN15CZVObjectHolder11GetInstanceEv();
    ASSERT_NE(nullptr, holder);
    const ObjectHolderSlots& slots = SlotsOf<ObjectHolderSlots>(holder);
    void* held = slots.GetObject(holder);
    int marker = 0;
    slots.SetObject(holder, &marker);
    EXPECT_EQ(&marker, slots.GetObject(holder));
    slots.SetObject(holder, held);
    EXPECT_EQ(held, slots.GetObject(holder));
    slots.Lock(holder, 1);
    slots.Lock(holder, 0);
}

TEST(HostViewTest, CsLockSlots) {
    pthread_mutex_t cs;
    std::memset(&cs, 0, sizeof cs);
    Storage<kCsLockSize> object;
    _ZN7CCsLockC1EP15pthread_mutex_t(&object, &cs);
    pthread_mutex_t* stored = nullptr;
    std::memcpy(&stored, object.bytes + sizeof(void*), sizeof stored);
    EXPECT_EQ(&cs, stored);
    SlotsOf<CsLockSlots>(&object).completeDtor(&object);
}

}  // namespace
