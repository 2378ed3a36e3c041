// Record sizes, class layouts and virtual slot orders that host programs built for the device
// depend on.
#include <cstddef>
#include <cstdint>
#include <cstring>

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

TEST(LayoutTest, CsLockHoldsItsCriticalSectionBehindTheTable) {
    pthread_mutex_t cs;
    std::memset(&cs, 0, sizeof cs);
    CCsLock lock(&cs);
    void* stored = nullptr;
    std::memcpy(&stored, reinterpret_cast<const char*>(&lock) + sizeof(void*), sizeof stored);
    EXPECT_EQ(static_cast<void*>(&cs), stored);
}

}  // namespace
