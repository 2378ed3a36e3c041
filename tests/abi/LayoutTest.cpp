// Record sizes, class layouts and virtual slot orders that host programs built for the device
// depend on.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

#include <gtest/gtest.h>

#include "zvsupport.h"

namespace {

// Index of a virtual function in its class's table. Under the Itanium C++ ABI a pointer to a
// virtual member function holds 1 + the byte offset of its slot.
template <typename Method>
std::ptrdiff_t SlotOf(Method method) {
    static_assert(sizeof(Method) == 2 * sizeof(std::ptrdiff_t), "Itanium member pointer");
    std::ptrdiff_t raw = 0;
    std::memcpy(&raw, &method, sizeof raw);
    EXPECT_EQ(1, raw % static_cast<std::ptrdiff_t>(sizeof(void*))) << "not a virtual function";
    return (raw - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

TEST(LayoutTest, RecordSizesOnEveryBuild) {
    EXPECT_EQ(16u, sizeof(_SYSTEMTIME));
    EXPECT_EQ(38u, sizeof(ZV_COMMON_FILE_HEADER_tag));
    EXPECT_EQ(12u, sizeof(WUID));
    EXPECT_EQ(84u, sizeof(ZV_SHARED_DATA_HEADER_tag));
    EXPECT_EQ(58u, sizeof(ERRHIST_tag));
}

TEST(LayoutTest, ErrorHistoryRecordOffsets) {
    EXPECT_EQ(0u, offsetof(ERRHIST_tag, wNumber1));
    EXPECT_EQ(2u, offsetof(ERRHIST_tag, szText));
    EXPECT_EQ(33u, sizeof(ERRHIST_tag::szText));
    EXPECT_EQ(35u, offsetof(ERRHIST_tag, wNumber2));
    EXPECT_EQ(37u, offsetof(ERRHIST_tag, wCode));
    EXPECT_EQ(39u, offsetof(ERRHIST_tag, lTime));
    EXPECT_EQ(4u, sizeof(ERRHIST_tag::lTime));
    EXPECT_EQ(43u, offsetof(ERRHIST_tag, byNumber3));
    EXPECT_EQ(44u, offsetof(ERRHIST_tag, wNumber4));
    EXPECT_EQ(46u, offsetof(ERRHIST_tag, dwValue1));
    EXPECT_EQ(50u, offsetof(ERRHIST_tag, dwValue2));
    EXPECT_EQ(54u, offsetof(ERRHIST_tag, dwValue3));
    // An array of records is a plain byte buffer: 58 bytes apart.
    ERRHIST_tag records[2];
    EXPECT_EQ(58, reinterpret_cast<char*>(&records[1]) - reinterpret_cast<char*>(&records[0]));
}

TEST(LayoutTest, SystemTimeFieldOrder) {
    _SYSTEMTIME st;
    std::memset(&st, 0, sizeof st);
    st.wYear = 1;
    st.wMonth = 2;
    st.wDayOfWeek = 3;
    st.wDay = 4;
    st.wHour = 5;
    st.wMinute = 6;
    st.wSecond = 7;
    st.wMilliseconds = 8;
    uint16_t words[8];
    std::memcpy(words, &st, sizeof words);
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(i + 1, words[i]) << "field " << i;
    }
}

#if defined(__i386__)
// The device's ABI: `long` and pointers are 32 bits and the classes have these sizes.
TEST(LayoutTest, DeviceSizes) {
    EXPECT_EQ(4u, sizeof(long));
    EXPECT_EQ(4u, sizeof(void*));
    EXPECT_EQ(112u, sizeof(FILEINFO_tag));
    EXPECT_EQ(68u, sizeof(CZVMapFile));
    EXPECT_EQ(216u, sizeof(CZVSharedData));
    EXPECT_EQ(8u, sizeof(CCsLock));
    EXPECT_EQ(1820u, sizeof(CZVTokenProvider));
    EXPECT_EQ(124u, sizeof(CZVErrorHistory));
    EXPECT_EQ(32u, sizeof(CZVObjectHolder));
}

// The token: seven 32-bit words, the double of reals and big numbers over the last two.
TEST(LayoutTest, DeviceTokenWords) {
    EXPECT_EQ(28u, sizeof(ZV_TOKEN_tag));
    EXPECT_EQ(0u, offsetof(ZV_TOKEN_tag, nStart));
    EXPECT_EQ(4u, offsetof(ZV_TOKEN_tag, nEnd));
    EXPECT_EQ(8u, offsetof(ZV_TOKEN_tag, nLine));
    EXPECT_EQ(12u, offsetof(ZV_TOKEN_tag, nColumn));
    EXPECT_EQ(16u, offsetof(ZV_TOKEN_tag, nKind));
    EXPECT_EQ(20u, offsetof(ZV_TOKEN_tag, nValue));
    EXPECT_EQ(20u, offsetof(ZV_TOKEN_tag, pszText));
    EXPECT_EQ(20u, offsetof(ZV_TOKEN_tag, cChar));
    EXPECT_EQ(24u, offsetof(ZV_TOKEN_tag, dwLength));
    EXPECT_EQ(20u, offsetof(ZV_TOKEN_tag, dValue));
}

// The provider's fields: the vtable pointer, 64 tokens, then six words.
TEST(LayoutTest, DeviceTokenProviderFields) {
    CZVTokenProvider provider;
    const char* base = reinterpret_cast<const char*>(&provider);
    auto at = [base](const void* field) { return static_cast<const char*>(field) - base; };
    EXPECT_EQ(4, at(&provider.m_Pushback));
    EXPECT_EQ(1796, at(&provider.m_nPushbackCount));
    EXPECT_EQ(1800, at(&provider.m_pData));
    EXPECT_EQ(1804, at(&provider.m_dwDataLength));
    EXPECT_EQ(1808, at(&provider.m_nCurLine));
    EXPECT_EQ(1812, at(&provider.m_nLineStart));
    EXPECT_EQ(1816, at(&provider.m_nCurPos));
}
#endif

// The token's words in place: the low byte of the value word is a single character, and the
// double of kinds 2 and 12 starts at the value word.
TEST(LayoutTest, TokenValueWordsOverlay) {
    ZV_TOKEN_tag token;
    std::memset(&token, 0, sizeof token);
    token.nValue = 0x41;
    EXPECT_EQ('A', token.cChar);
    EXPECT_EQ(offsetof(ZV_TOKEN_tag, nValue), offsetof(ZV_TOKEN_tag, dValue));
    EXPECT_EQ(offsetof(ZV_TOKEN_tag, nValue), offsetof(ZV_TOKEN_tag, pszText));
    EXPECT_EQ(offsetof(ZV_TOKEN_tag, nValue) + sizeof(char*), offsetof(ZV_TOKEN_tag, dwLength));
    EXPECT_EQ(20u, offsetof(ZV_TOKEN_tag, nKind) + sizeof(int32_t));
    EXPECT_EQ(4u, sizeof token.nKind);
    EXPECT_EQ(4u, sizeof token.dwLength);
}

// Byte offset of a field inside its object.
template <typename Object, typename Field>
std::ptrdiff_t OffsetIn(const Object& object, const Field& field) {
    return reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(&object);
}

TEST(LayoutTest, ErrorHistoryFieldOrder) {
    CZVErrorHistory* h = CZVErrorHistory::Create();
    ASSERT_NE(nullptr, h);
#if defined(__i386__)
    const std::ptrdiff_t expected[] = {4, 8, 12, 16, 18, 20, 22, 24, 26, 28, 32, 100, 124};
#else
    const std::ptrdiff_t expected[] = {8, 16, 20, 24, 26, 28, 30, 32, 34, 36, 40, 152, 192};
#endif
    const std::ptrdiff_t actual[] = {OffsetIn(*h, h->m_pszPath),
                                     OffsetIn(*h, h->m_wCapacity),
                                     OffsetIn(*h, h->m_dwFlushInterval),
                                     OffsetIn(*h, h->m_wFD),
                                     OffsetIn(*h, h->m_wLD),
                                     OffsetIn(*h, h->m_wRC),
                                     OffsetIn(*h, h->m_wMC),
                                     OffsetIn(*h, h->m_wTO),
                                     OffsetIn(*h, h->m_wSpare),
                                     OffsetIn(*h, h->m_lLM),
                                     OffsetIn(*h, h->m_MapFile),
                                     OffsetIn(*h, h->m_CriticalSection),
                                     static_cast<std::ptrdiff_t>(sizeof(CZVErrorHistory))};
    for (size_t i = 0; i < sizeof expected / sizeof expected[0]; ++i) {
        EXPECT_EQ(expected[i], actual[i]) << "field " << i;
    }
    EXPECT_EQ(4u, sizeof(h->m_lLM));
    h->Delete();
}

TEST(LayoutTest, ObjectHolderFieldOrder) {
    CZVObjectHolder* holder = CZVObjectHolder::GetInstance();
#if defined(__i386__)
    EXPECT_EQ(4, OffsetIn(*holder, holder->m_CriticalSection));
    EXPECT_EQ(28, OffsetIn(*holder, holder->m_pObject));
#else
    EXPECT_EQ(8, OffsetIn(*holder, holder->m_CriticalSection));
    EXPECT_EQ(48, OffsetIn(*holder, holder->m_pObject));
    EXPECT_EQ(56u, sizeof(CZVObjectHolder));
#endif
}

// The mapped file's fields: the vtable pointer, three ints, the mutex, three ints, two strings,
// the length and the address.
TEST(LayoutTest, MapFileFieldOrder) {
    CZVMapFile map;
#if defined(__i386__)
    const std::ptrdiff_t expected[] = {4, 8, 12, 16, 40, 44, 48, 52, 56, 60, 64};
#else
    const std::ptrdiff_t expected[] = {8, 12, 16, 24, 64, 68, 72, 80, 88, 96, 104};
#endif
    const std::ptrdiff_t actual[] = {
        OffsetIn(map, map.m_bFileBacked),   OffsetIn(map, map.m_hFile),
        OffsetIn(map, map.m_bReadOnly),     OffsetIn(map, map.m_Mutex),
        OffsetIn(map, map.m_bMutexCreated), OffsetIn(map, map.m_bLocked),
        OffsetIn(map, map.m_bFirst),        OffsetIn(map, map.m_pszPath),
        OffsetIn(map, map.m_pszMutexName),  OffsetIn(map, map.m_dwLength),
        OffsetIn(map, map.m_pAddress)};
    for (size_t i = 0; i < sizeof expected / sizeof expected[0]; ++i) {
        EXPECT_EQ(expected[i], actual[i]) << "field " << i;
    }
}

// The shared data block's fields: page size, the 64-byte name, the two mappings, two pointers.
TEST(LayoutTest, SharedDataFieldOrder) {
    CZVSharedData block;
#if defined(__i386__)
    const std::ptrdiff_t expected[] = {4, 8, 72, 140, 208, 212};
#else
    const std::ptrdiff_t expected[] = {8, 12, 80, 192, 304, 312};
#endif
    const std::ptrdiff_t actual[] = {
        OffsetIn(block, block.m_dwPageSize), OffsetIn(block, block.m_szName),
        OffsetIn(block, block.m_CtrlMap),    OffsetIn(block, block.m_DataMap),
        OffsetIn(block, block.m_pHeader),    OffsetIn(block, block.m_pPrivateHeader)};
    for (size_t i = 0; i < sizeof expected / sizeof expected[0]; ++i) {
        EXPECT_EQ(expected[i], actual[i]) << "field " << i;
    }
}

TEST(LayoutTest, MapFileSlotOrder) {
    // Slots 0 and 1 are the complete and deleting destructors.
    EXPECT_EQ(2, SlotOf(&CZVMapFile::CopyAndPerge));
    EXPECT_EQ(3, SlotOf(&CZVMapFile::OpenA));
    EXPECT_EQ(4, SlotOf(&CZVMapFile::OpenW));
    EXPECT_EQ(5, SlotOf(&CZVMapFile::OpenT));
    EXPECT_EQ(6, SlotOf(&CZVMapFile::Close));
    EXPECT_EQ(7, SlotOf(&CZVMapFile::Resize));
    EXPECT_EQ(8, SlotOf(&CZVMapFile::IsOpened));
    EXPECT_EQ(9, SlotOf(&CZVMapFile::GetFileTime));
    EXPECT_EQ(10, SlotOf(&CZVMapFile::IsFirst));
    EXPECT_EQ(11, SlotOf(&CZVMapFile::Flush));
    EXPECT_EQ(12, SlotOf(&CZVMapFile::CreateMutexA));
    EXPECT_EQ(13, SlotOf(&CZVMapFile::CreateMutexW));
    EXPECT_EQ(14, SlotOf(&CZVMapFile::CreateMutexT));
    EXPECT_EQ(15, SlotOf(&CZVMapFile::CloseMutex));
    EXPECT_EQ(16, SlotOf(&CZVMapFile::Lock));
    EXPECT_EQ(17, SlotOf(&CZVMapFile::IsLocked));
}

TEST(LayoutTest, SharedDataSlotOrder) {
    EXPECT_EQ(2, SlotOf(&CZVSharedData::Open));
    EXPECT_EQ(3, SlotOf(&CZVSharedData::Close));
    EXPECT_EQ(4, SlotOf(&CZVSharedData::Lock));
    EXPECT_EQ(5, SlotOf(&CZVSharedData::GetData));
    EXPECT_EQ(6, SlotOf(&CZVSharedData::GetSize));
    EXPECT_EQ(7, SlotOf(&CZVSharedData::SetSize));
    EXPECT_EQ(8, SlotOf(&CZVSharedData::GetUserData));
}

TEST(LayoutTest, TokenProviderSlotOrder) {
    // Slots 0 and 1 are the complete and deleting destructors.
    EXPECT_EQ(2, SlotOf(&CZVTokenProvider::SetData));
    EXPECT_EQ(3, SlotOf(&CZVTokenProvider::Reset));
    EXPECT_EQ(4, SlotOf(&CZVTokenProvider::GetCurLine));
    EXPECT_EQ(5, SlotOf(&CZVTokenProvider::GetCurPos));
    EXPECT_EQ(6, SlotOf(&CZVTokenProvider::IsEndOfData));
    EXPECT_EQ(7, SlotOf(&CZVTokenProvider::GetToken));
    EXPECT_EQ(8, SlotOf(&CZVTokenProvider::DeleteToken));
    EXPECT_EQ(9, SlotOf(&CZVTokenProvider::PushbackToken));
    EXPECT_EQ(10, SlotOf(&CZVTokenProvider::MatchSpace));
    EXPECT_EQ(11, SlotOf(&CZVTokenProvider::MatchSign));
    EXPECT_EQ(12, SlotOf(&CZVTokenProvider::MatchLineEnd));
    EXPECT_EQ(13, SlotOf(&CZVTokenProvider::MatchComment));
    EXPECT_EQ(14, SlotOf(&CZVTokenProvider::MatchVariable));
    EXPECT_EQ(15, SlotOf(&CZVTokenProvider::MatchRiteral));
    EXPECT_EQ(16, SlotOf(&CZVTokenProvider::MatchHex));
    EXPECT_EQ(17, SlotOf(&CZVTokenProvider::MatchOct));
    EXPECT_EQ(18, SlotOf(&CZVTokenProvider::MatchBin));
    EXPECT_EQ(19, SlotOf(&CZVTokenProvider::MatchUDec));
    EXPECT_EQ(20, SlotOf(&CZVTokenProvider::MatchFrac));
    EXPECT_EQ(21, SlotOf(&CZVTokenProvider::MatchFloat));
    EXPECT_EQ(22, SlotOf(&CZVTokenProvider::MatchExpFrac));
    EXPECT_EQ(23, SlotOf(&CZVTokenProvider::MatchNumber));
    EXPECT_EQ(24, SlotOf(&CZVTokenProvider::MatchSplitter));
}

TEST(LayoutTest, ErrorHistorySlotOrder) {
    EXPECT_EQ(2, SlotOf(&CZVErrorHistory::Open));
    EXPECT_EQ(3, SlotOf(&CZVErrorHistory::Delete));
    EXPECT_EQ(4, SlotOf(&CZVErrorHistory::AssignPath));
    EXPECT_EQ(5, SlotOf(&CZVErrorHistory::Add));
    EXPECT_EQ(6, SlotOf(&CZVErrorHistory::Get));
    EXPECT_EQ(7, SlotOf(&CZVErrorHistory::GetRange));
    EXPECT_EQ(8, SlotOf(&CZVErrorHistory::Clear));
    EXPECT_EQ(9, SlotOf(&CZVErrorHistory::IsOpened));
    EXPECT_EQ(10, SlotOf(&CZVErrorHistory::Close));
    EXPECT_EQ(11, SlotOf(&CZVErrorHistory::Lock));
    EXPECT_EQ(12, SlotOf(&CZVErrorHistory::ExchangeErrHist));
    EXPECT_EQ(13, SlotOf(&CZVErrorHistory::ExchangeHeader));
}

TEST(LayoutTest, ObjectHolderSlotOrder) {
    EXPECT_EQ(2, SlotOf(&CZVObjectHolder::Lock));
    EXPECT_EQ(3, SlotOf(&CZVObjectHolder::GetObject));
    EXPECT_EQ(4, SlotOf(&CZVObjectHolder::SetObject));
}

TEST(LayoutTest, EnvDataSlotOrder) {
    // Slots 0 and 1 are the complete and deleting destructors (see below).
    EXPECT_EQ(2, SlotOf(&CZVEnvData::Lock));
    EXPECT_EQ(3, SlotOf(&CZVEnvData::Open));
    EXPECT_EQ(4, SlotOf(&CZVEnvData::Close));
    EXPECT_EQ(5, SlotOf(&CZVEnvData::Reset));
    EXPECT_EQ(6, SlotOf(&CZVEnvData::GetFormat));
    EXPECT_EQ(7, SlotOf(&CZVEnvData::AssignFormat));
    EXPECT_EQ(8, SlotOf(&CZVEnvData::Load));
    EXPECT_EQ(9, SlotOf(&CZVEnvData::Save));
    EXPECT_EQ(10, SlotOf(&CZVEnvData::IsValidName));
    EXPECT_EQ(11, SlotOf(&CZVEnvData::IsSameName));
    EXPECT_EQ(12, SlotOf(&CZVEnvData::GetDirName));
    EXPECT_EQ(13, SlotOf(&CZVEnvData::GetKeyName));
    EXPECT_EQ(14, SlotOf(&CZVEnvData::IsKey));
    EXPECT_EQ(15, SlotOf(&CZVEnvData::IsKeyNoValidate));
    EXPECT_EQ(16, SlotOf(&CZVEnvData::IsDir));
    EXPECT_EQ(17, SlotOf(&CZVEnvData::IsDirNoValidate));
    EXPECT_EQ(18, SlotOf(&CZVEnvData::GetAttribute));
    EXPECT_EQ(19, SlotOf(&CZVEnvData::GetSum));
    EXPECT_EQ(20, SlotOf(&CZVEnvData::FindDir));
    EXPECT_EQ(21, SlotOf(&CZVEnvData::FindKey));
    EXPECT_EQ(22, SlotOf(&CZVEnvData::DeleteItem));
    EXPECT_EQ(23, SlotOf(&CZVEnvData::CreateDir));
    EXPECT_EQ(24, SlotOf(&CZVEnvData::CreateSubDir));
    EXPECT_EQ(25, SlotOf(&CZVEnvData::GetDir));
    EXPECT_EQ(26, SlotOf(&CZVEnvData::LockDir));
    EXPECT_EQ(27, SlotOf(&CZVEnvData::IsDirLocked));
    EXPECT_EQ(28, SlotOf(&CZVEnvData::GetRootDir));
    EXPECT_EQ(29, SlotOf(&CZVEnvData::SetInteger));
    EXPECT_EQ(30, SlotOf(&CZVEnvData::GetInteger));
    EXPECT_EQ(31, SlotOf(&CZVEnvData::SetDouble));
    EXPECT_EQ(32, SlotOf(&CZVEnvData::GetDouble));
    EXPECT_EQ(33, SlotOf(&CZVEnvData::SetBoolean));
    EXPECT_EQ(34, SlotOf(&CZVEnvData::GetBoolean));
    EXPECT_EQ(35, SlotOf(&CZVEnvData::SetString));
    EXPECT_EQ(36, SlotOf(&CZVEnvData::GetString));
    EXPECT_EQ(37, SlotOf(&CZVEnvData::SetBinData));
    EXPECT_EQ(38, SlotOf(&CZVEnvData::GetBinData));
    EXPECT_EQ(39, SlotOf(&CZVEnvData::GetBinDataBuf));
    EXPECT_EQ(40, SlotOf(&CZVEnvData::InsertComment));
    EXPECT_EQ(41, SlotOf(&CZVEnvData::SetAccessTime));
    EXPECT_EQ(42, SlotOf(&CZVEnvData::GetAccessTime));
    EXPECT_EQ(43, SlotOf(&CZVEnvData::SetCommonFileHeader));
    EXPECT_EQ(44, SlotOf(&CZVEnvData::GetItemSize));
    EXPECT_EQ(45, SlotOf(&CZVEnvData::GetItemSizeNoValidate));
    EXPECT_EQ(46, SlotOf(&CZVEnvData::SkipDirHead));
    EXPECT_EQ(47, SlotOf(&CZVEnvData::SkipKeyHead));
    EXPECT_EQ(48, SlotOf(&CZVEnvData::PrintIndent));
    EXPECT_EQ(49, SlotOf(&CZVEnvData::PrintItem));
    EXPECT_EQ(50, SlotOf(&CZVEnvData::CalcSum));
    EXPECT_EQ(51, SlotOf(&CZVEnvData::ParseDirPath));
    EXPECT_EQ(52, SlotOf(&CZVEnvData::InsertItem));
    EXPECT_EQ(53, SlotOf(&CZVEnvData::ResizeItem));
    EXPECT_EQ(54, SlotOf(&CZVEnvData::GetDirTrace));
    EXPECT_EQ(55, SlotOf(&CZVEnvData::SetDirSize));
    EXPECT_EQ(56, SlotOf(&CZVEnvData::GetNextItem));
    EXPECT_EQ(57, SlotOf(&CZVEnvData::ValidateItem));
    EXPECT_EQ(58, SlotOf(&CZVEnvData::ValidateDir));
    EXPECT_EQ(59, SlotOf(&CZVEnvData::FlushLineBuffer));
    EXPECT_EQ(60, SlotOf(&CZVEnvData::ReserveLineBuffer));
    EXPECT_EQ(61, SlotOf(&CZVEnvData::SetLineBuffer));
}

// The entries of an object's virtual table.
void* const* TableOf(const void* object) {
    void* const* table = nullptr;
    std::memcpy(&table, object, sizeof table);
    return table;
}

TEST(LayoutTest, EnvDataDestructorsAreSlotsZeroAndOne) {
    // Slot 0 destroys without freeing: called on an object in local storage, it releases the
    // store's block and line buffer (the sanitizer flavour reports anything left).
    alignas(CZVEnvData) unsigned char storage[sizeof(CZVEnvData)];
    CZVEnvData* local = new (storage) CZVEnvData;
    ASSERT_EQ(1, local->Open("DestructorSlots", "k"));
    local->m_pszLineBuffer = TarnAllocateStringBufferA(64);
    local->m_dwLineBufferSize = 64;
    reinterpret_cast<void (*)(CZVEnvData*)>(TableOf(local)[0])(local);

    // Slot 1 destroys and frees: called on a heap object, nothing is left behind.
    CZVEnvData* heap = new CZVEnvData;
    ASSERT_EQ(1, heap->Open("DestructorSlots", "k"));
    EXPECT_NE(TableOf(heap)[0], TableOf(heap)[1]);
    reinterpret_cast<void (*)(CZVEnvData*)>(TableOf(heap)[1])(heap);
}

TEST(LayoutTest, EnvDataFieldsInTheirOrder) {
    CZVEnvData store;
    const std::ptrdiff_t offsets[] = {
        OffsetIn(store, store.m_SharedData),       OffsetIn(store, store.m_pData),
        OffsetIn(store, store.m_dwDataSize),       OffsetIn(store, store.m_nIndent),
        OffsetIn(store, store.m_dwLineBufferSize), OffsetIn(store, store.m_dwLineLength),
        OffsetIn(store, store.m_pszLineBuffer),    OffsetIn(store, store.m_bAccessTimeStamped)};
    EXPECT_EQ(static_cast<std::ptrdiff_t>(sizeof(void*)), offsets[0]);  // behind the table
    for (size_t i = 1; i < sizeof offsets / sizeof offsets[0]; ++i) {
        EXPECT_LT(offsets[i - 1], offsets[i]) << "field " << i;
    }
    EXPECT_EQ(offsets[0] + static_cast<std::ptrdiff_t>(sizeof(CZVSharedData)), offsets[1]);
}

#if defined(__i386__)
TEST(LayoutTest, EnvDataDeviceLayout) {
    // The table pointer, the 216-byte block, then seven 4-byte fields.
    CZVEnvData store;
    EXPECT_EQ(248u, sizeof(CZVEnvData));
    EXPECT_EQ(4, OffsetIn(store, store.m_SharedData));
    EXPECT_EQ(220, OffsetIn(store, store.m_pData));
    EXPECT_EQ(224, OffsetIn(store, store.m_dwDataSize));
    EXPECT_EQ(228, OffsetIn(store, store.m_nIndent));
    EXPECT_EQ(232, OffsetIn(store, store.m_dwLineBufferSize));
    EXPECT_EQ(236, OffsetIn(store, store.m_dwLineLength));
    EXPECT_EQ(240, OffsetIn(store, store.m_pszLineBuffer));
    EXPECT_EQ(244, OffsetIn(store, store.m_bAccessTimeStamped));
}
#endif

TEST(LayoutTest, EnvFileSlotOrder) {
    EXPECT_EQ(2, SlotOf(&CZVEnvFile::AddRef));
    EXPECT_EQ(3, SlotOf(&CZVEnvFile::Release));
    EXPECT_EQ(4, SlotOf(&CZVEnvFile::OpenFile));
    EXPECT_EQ(5, SlotOf(&CZVEnvFile::Close));
    EXPECT_EQ(6, SlotOf(&CZVEnvFile::IsOpened));
    EXPECT_EQ(7, SlotOf(&CZVEnvFile::Flush));
    EXPECT_EQ(8, SlotOf(&CZVEnvFile::SaveAs));
    EXPECT_EQ(9, SlotOf(&CZVEnvFile::AssignDir));
    EXPECT_EQ(10, SlotOf(&CZVEnvFile::GetAssignedDir));
    EXPECT_EQ(11, SlotOf(&CZVEnvFile::GetFormat));
    EXPECT_EQ(12, SlotOf(&CZVEnvFile::AssignFormat));
    EXPECT_EQ(13, SlotOf(&CZVEnvFile::CheckDirExist));
    EXPECT_EQ(14, SlotOf(&CZVEnvFile::CreateDir));
    EXPECT_EQ(15, SlotOf(&CZVEnvFile::RemoveDir));
    EXPECT_EQ(16, SlotOf(&CZVEnvFile::CheckKeyExist));
    EXPECT_EQ(17, SlotOf(&CZVEnvFile::RemoveKey));
    EXPECT_EQ(18, SlotOf(&CZVEnvFile::Lock));
    EXPECT_EQ(19, SlotOf(&CZVEnvFile::IsLocked));
    EXPECT_EQ(20, SlotOf(&CZVEnvFile::SetInteger));
    EXPECT_EQ(21, SlotOf(&CZVEnvFile::GetInteger));
    EXPECT_EQ(22, SlotOf(&CZVEnvFile::SetDouble));
    EXPECT_EQ(23, SlotOf(&CZVEnvFile::GetDouble));
    EXPECT_EQ(24, SlotOf(&CZVEnvFile::SetBoolean));
    EXPECT_EQ(25, SlotOf(&CZVEnvFile::GetBoolean));
    EXPECT_EQ(26, SlotOf(&CZVEnvFile::SetString));
    EXPECT_EQ(27, SlotOf(&CZVEnvFile::GetString));
    EXPECT_EQ(28, SlotOf(&CZVEnvFile::SetData));
    EXPECT_EQ(29, SlotOf(&CZVEnvFile::GetData));
    EXPECT_EQ(30, SlotOf(&CZVEnvFile::EnumEntries));
    EXPECT_EQ(31, SlotOf(&CZVEnvFile::PrepareDir));
    EXPECT_EQ(32, SlotOf(&CZVEnvFile::PrepareKey));
    EXPECT_EQ(33, SlotOf(&CZVEnvFile::GetFullPath));
    EXPECT_EQ(34, SlotOf(&CZVEnvFile::GetValidateID));
}

TEST(LayoutTest, ParseEnvFileSlotOrder) {
    EXPECT_EQ(2, SlotOf(&CZVParseEnvFile::Parse));
    EXPECT_EQ(3, SlotOf(&CZVParseEnvFile::SkipSpace));
    EXPECT_EQ(4, SlotOf(&CZVParseEnvFile::ParseItem));
}

TEST(LayoutTest, EnvFileFieldsFollowTheTableInOrder) {
    CZVEnvFile file;
    const std::ptrdiff_t word = sizeof(void*);
    EXPECT_EQ(word, OffsetIn(file, file.m_nRefCount));
    EXPECT_LT(OffsetIn(file, file.m_nRefCount), OffsetIn(file, file.m_pszFilePath));
    EXPECT_EQ(OffsetIn(file, file.m_pszFilePath) + word, OffsetIn(file, file.m_pszAssignedDir));
    EXPECT_EQ(OffsetIn(file, file.m_pszAssignedDir) + word, OffsetIn(file, file.m_EnvData));
    EXPECT_EQ(OffsetIn(file, file.m_EnvData) + static_cast<std::ptrdiff_t>(sizeof(CZVEnvData)),
              OffsetIn(file, file.m_CriticalSection));
    CZVParseEnvFile parser;
    EXPECT_EQ(word, OffsetIn(parser, parser.m_pEnvData));
    EXPECT_EQ(2 * word, OffsetIn(parser, parser.m_MapFile));
    EXPECT_EQ(OffsetIn(parser, parser.m_MapFile) + static_cast<std::ptrdiff_t>(sizeof(CZVMapFile)),
              OffsetIn(parser, parser.m_Tokenizer));
    EXPECT_LT(OffsetIn(parser, parser.m_Tokenizer), OffsetIn(parser, parser.m_bTrailingComment));
}

TEST(LayoutTest, EnumerationRecordsArePacked) {
    EXPECT_EQ(sizeof(char*), offsetof(ZVEV_ENUM_ENTRY_tag, wType));
    EXPECT_EQ(sizeof(char*) + 2, sizeof(ZVEV_ENUM_ENTRY_tag));
    EXPECT_EQ(0u, offsetof(ZVEV_ENUM_LIST_tag, dwCount));
    EXPECT_EQ(4u, offsetof(ZVEV_ENUM_LIST_tag, Entries));
    EXPECT_EQ(4 + sizeof(ZVEV_ENUM_ENTRY_tag), sizeof(ZVEV_ENUM_LIST_tag));
}

#if defined(__i386__)
TEST(LayoutTest, DeviceEnvFileLayout) {
    EXPECT_EQ(288u, sizeof(CZVEnvFile));
    CZVEnvFile file;
    EXPECT_EQ(4, OffsetIn(file, file.m_nRefCount));
    EXPECT_EQ(8, OffsetIn(file, file.m_pszFilePath));
    EXPECT_EQ(12, OffsetIn(file, file.m_pszAssignedDir));
    EXPECT_EQ(16, OffsetIn(file, file.m_EnvData));
    EXPECT_EQ(264, OffsetIn(file, file.m_CriticalSection));
    EXPECT_EQ(24u, sizeof(file.m_CriticalSection));
    EXPECT_EQ(6u, sizeof(ZVEV_ENUM_ENTRY_tag));
    EXPECT_EQ(10u, sizeof(ZVEV_ENUM_LIST_tag));
}

TEST(LayoutTest, DeviceParseEnvFileLayout) {
    EXPECT_EQ(1900u, sizeof(CZVParseEnvFile));
    CZVParseEnvFile parser;
    EXPECT_EQ(4, OffsetIn(parser, parser.m_pEnvData));
    EXPECT_EQ(8, OffsetIn(parser, parser.m_MapFile));
    EXPECT_EQ(76, OffsetIn(parser, parser.m_Tokenizer));
    EXPECT_EQ(1896, OffsetIn(parser, parser.m_bTrailingComment));
}
#endif

TEST(LayoutTest, CsLockHoldsItsCriticalSectionBehindTheTable) {
    pthread_mutex_t cs;
    std::memset(&cs, 0, sizeof cs);
    CCsLock lock(&cs);
    void* stored = nullptr;
    std::memcpy(&stored, reinterpret_cast<const char*>(&lock) + sizeof(void*), sizeof stored);
    EXPECT_EQ(static_cast<void*>(&cs), stored);
}

}  // namespace
