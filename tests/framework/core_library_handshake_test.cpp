// The handshake: what the core is handed, and which interface records are refused.
#include "tests/framework/loader.h"
#include "tests/support/rows.h"

#include <cstring>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Handshake : public CoreLoad {
protected:
    void expectRefusal(int status, const char* line)
    {
        EXPECT_EQ(load(), status);

        EXPECT_EQ(failureLine(), line);
        EXPECT_EQ(system.callsOf("FreeLibrary").size(), 1U);
        EXPECT_EQ(system.heldBlocks(), 0U);
        EXPECT_EQ(state.module, nullptr);
        EXPECT_EQ(+coreInterface().Init, nullptr);
    }
};

TEST_F(Handshake, TheCoreIsHandedAnEmptyRecordWithItsKindAndVersion)
{
    EXPECT_EQ(load(), 0);

    std::vector<unsigned char> expected(156, 0);
    expected[0] = 7;    // type, 32 bits
    expected[4] = 1;    // version, 16 bits
    expected[6] = 156;  // size, 16 bits
    std::memcpy(&expected[48], "1.0.11201", 9);
    EXPECT_EQ(system.core.recordReceived, expected);
}

TEST_F(Handshake, AFilledRecordIsPublishedAsTheCoreLeftIt)
{
    system.core.onInterface = [](unsigned char* record) {
        record[8] = 0xAB;
        record[47] = 0xCD;
        std::memcpy(record + 48, "2.0", 4);  // another version is the core's business
    };

    EXPECT_EQ(load(), 0);

    EXPECT_EQ(coreInterface().framework[0], 0xAB);
    EXPECT_EQ(coreInterface().framework[39], 0xCD);
    EXPECT_EQ(coreInterface().Init(), 0);
    EXPECT_EQ(system.calls.back(), "Init");
    EXPECT_EQ(coreInterface().SessionConnect(9), 0);
    EXPECT_EQ(system.calls.back(), "SessionConnect 9");
}

TEST_F(Handshake, ALibraryWithoutTheExportIsReportedAndFreed)
{
    system.exportsInterface = false;

    expectRefusal(3401, "TOVA_E_IFACE_NOT_SUPPORTED (C:\\orq\\core.dll): words for 127");

    EXPECT_THAT(system.calls, ElementsAre("GetFileAttributesA C:\\orq\\core.dll", "HeapAlloc 24 zeroed",
                                          "LoadLibraryExA C:\\orq\\core.dll 0x1000", "GetProcAddress GetOrqInterface",
                                          "FormatMessageA 0x3100 127 language 0 [Library][][]", "FreeLibrary",
                                          "LocalFree", "HeapFree 24 all zero"));
}

TEST_F(Handshake, TheTextIsNotAvailableWhenTheSystemHasNoWords)
{
    system.exportsInterface = false;
    system.formatsMessages = false;

    expectRefusal(3401, "TOVA_E_IFACE_NOT_SUPPORTED (C:\\orq\\core.dll): N/A");

    EXPECT_THAT(system.callsOf("LocalFree"), IsEmpty());
}

TEST_F(Handshake, AFoundExportLeavesTheLoadsErrorInPlace)
{
    system.errorAfterLookUp = 5;

    EXPECT_EQ(load(), 0);

    EXPECT_EQ(state.module->lastError, 0U);
}

TEST_F(Handshake, TheLineIsWrittenBeforeTheLibraryIsFreed)
{
    system.exportsInterface = false;
    bool written = false;
    system.onFreeLibrary = [&] { written = StandardError::written(); };

    load();

    EXPECT_TRUE(written);
}

struct StatusRow {
    int status;
    const char* line;  // names the status as the client library knows it
};

using RefusingCore = WithRow<Handshake, StatusRow>;

TEST_ROWS(RefusingCore, ROW(.status = 1003, .line = "TOVA_E_UNSPECIFIED (C:\\orq\\core.dll): N/A"),
          ROW(.status = 102, .line = "TOVA_I_AGAIN (C:\\orq\\core.dll): N/A"),
          ROW(.status = -1, .line = "NA (C:\\orq\\core.dll): N/A"),
          ROW(.status = 105, .line = "NA (C:\\orq\\core.dll): N/A"),
          ROW(.status = 1012, .line = "NA (C:\\orq\\core.dll): N/A"));

TEST_P(RefusingCore, IsToldWithItsStatusWhateverItLeftInTheRecord)
{
    system.core.interfaceStatus = row().status;
    system.core.emptySlots = { 1 };
    system.core.onInterface = [](unsigned char* record) { record[6] = 160; };

    expectRefusal(row().status, row().line);
}

TEST_F(Handshake, TheLineShowsAnErrorThatTheLoadLeftBehind)
{
    system.errorAfterLoad = 5;
    system.core.interfaceStatus = 1003;

    expectRefusal(1003, "TOVA_E_UNSPECIFIED (C:\\orq\\core.dll): words for 5");
}

struct KindRow {
    std::size_t offset;
    unsigned char value;
};

using ForeignRecord = WithRow<Handshake, KindRow>;

TEST_ROWS(ForeignRecord,
          // the size is 160, 155, 156 + 256
          ROW(.offset = 6, .value = 160), ROW(.offset = 6, .value = 155), ROW(.offset = 7, .value = 1),
          // the version is 2, 0, 1 + 256
          ROW(.offset = 4, .value = 2), ROW(.offset = 4, .value = 0), ROW(.offset = 5, .value = 1),
          // the type is 6, 8, 7 + 2^24
          ROW(.offset = 0, .value = 6), ROW(.offset = 0, .value = 8), ROW(.offset = 3, .value = 1));

TEST_P(ForeignRecord, IsNotSupportedWhateverSlotsAreFilled)
{
    system.core.emptySlots = { 9 };
    system.core.onInterface = [this](unsigned char* record) { record[row().offset] = row().value; };

    expectRefusal(1002, "TOVA_E_NOT_SUPPORTED (C:\\orq\\core.dll): N/A");
}

class RequiredSlot : public Handshake, public testing::WithParamInterface<int> {};

INSTANTIATE_TEST_SUITE_P(, RequiredSlot, testing::Values(1, 2, 4, 5, 6, 8, 9, 10, 11));

TEST_P(RequiredSlot, MustBeFilled)
{
    system.core.emptySlots = { GetParam() };

    expectRefusal(1400, "TOVA_E_CALLBACK_IS_NULL (C:\\orq\\core.dll): N/A");
}

TEST_F(Handshake, SlotsThreeAndSevenMayBeEmpty)
{
    system.core.emptySlots = { 3, 7 };

    EXPECT_EQ(load(), 0);

    EXPECT_EQ(failureLine(), "");
    EXPECT_EQ(+coreInterface().slot3, nullptr);
    EXPECT_EQ(+coreInterface().SessionDisconnect, nullptr);
    EXPECT_NE(+coreInterface().SessionConnect, nullptr);
}

}  // namespace
}  // namespace kelvane::tests
