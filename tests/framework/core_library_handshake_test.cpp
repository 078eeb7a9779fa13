// The handshake: what the core is handed, and which interface records are refused.
#include "framework/core_library.h"

#include "tests/support/fake_system.h"
#include "tests/support/standard_error.h"

#include <gmock/gmock.h>

#include <cstring>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char corePath[] = "C:\\orq\\core.dll";

class Handshake : public testing::Test {
protected:
    Handshake() { system.files[corePath] = 0x20; }

    int load() { return loadLibrary(&state, corePath); }

    FakeSystem system;
    LoaderState state = {};
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
    StandardError errors;
    system.exportsInterface = false;

    EXPECT_EQ(load(), 3401);

    EXPECT_EQ(errors.text(),
              "\n*** LoadLibrary Failure: TOVA_E_IFACE_NOT_SUPPORTED (C:\\orq\\core.dll): words for 127\n");
    EXPECT_THAT(system.calls, ElementsAre("GetFileAttributesA C:\\orq\\core.dll", "HeapAlloc 24 zeroed",
                                          "LoadLibraryExA C:\\orq\\core.dll 0x1000", "GetProcAddress GetOrqInterface",
                                          "FormatMessageA 0x3100 127 language 0 [Library][][]", "FreeLibrary",
                                          "LocalFree", "HeapFree 24 all zero"));
}

TEST_F(Handshake, AFoundExportLeavesTheLoadsErrorInPlace)
{
    system.errorAfterLookUp = 5;

    EXPECT_EQ(load(), 0);

    EXPECT_EQ(state.module->lastError, 0U);
}

TEST_F(Handshake, TheLineIsWrittenBeforeTheLibraryIsFreed)
{
    const StandardError errors;
    system.exportsInterface = false;
    bool written = false;
    system.onFreeLibrary = [&] { written = StandardError::written(); };

    load();

    EXPECT_TRUE(written);
}

TEST_F(Handshake, ARefusalByTheCoreIsTheStatus)
{
    struct Row {
        int status;
        const char* line;
    };

    constexpr Row rows[] = {
        { 1003, "\n*** LoadLibrary Failure: TOVA_E_UNSPECIFIED (C:\\orq\\core.dll): N/A\n" },
        { 102, "\n*** LoadLibrary Failure: TOVA_I_AGAIN (C:\\orq\\core.dll): N/A\n" },
        { -1, "\n*** LoadLibrary Failure: NA (C:\\orq\\core.dll): N/A\n" },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.status);
        StandardError errors;
        system.core.interfaceStatus = row.status;
        system.core.emptySlots = { 1 };  // does not count any more
        system.core.onInterface = [](unsigned char* record) { record[6] = 160; };

        EXPECT_EQ(load(), row.status);

        EXPECT_EQ(errors.text(), row.line);
        EXPECT_EQ(+coreInterface().Init, nullptr);
    }
    EXPECT_EQ(system.callsOf("FreeLibrary").size(), 3U);
    EXPECT_EQ(system.heldBlocks(), 0U);
}

TEST_F(Handshake, TheLineNamesStatusesAsTheClientLibraryKnowsThem)
{
    for (const int status : { 105, 1012 }) {
        StandardError errors;
        system.core.interfaceStatus = status;

        EXPECT_EQ(load(), status);

        EXPECT_EQ(errors.text(), "\n*** LoadLibrary Failure: NA (C:\\orq\\core.dll): N/A\n");
    }
}

TEST_F(Handshake, TheLineShowsAnErrorThatTheLoadLeftBehind)
{
    StandardError errors;
    system.errorAfterLoad = 5;
    system.core.interfaceStatus = 1003;

    EXPECT_EQ(load(), 1003);

    EXPECT_EQ(errors.text(), "\n*** LoadLibrary Failure: TOVA_E_UNSPECIFIED (C:\\orq\\core.dll): words for 5\n");
}

TEST_F(Handshake, TheTextIsNotAvailableWhenTheSystemHasNoWords)
{
    StandardError errors;
    system.exportsInterface = false;
    system.formatsMessages = false;

    EXPECT_EQ(load(), 3401);

    EXPECT_EQ(errors.text(), "\n*** LoadLibrary Failure: TOVA_E_IFACE_NOT_SUPPORTED (C:\\orq\\core.dll): N/A\n");
    EXPECT_THAT(system.callsOf("LocalFree"), IsEmpty());
}

TEST_F(Handshake, ARecordOfAnotherKindIsNotSupported)
{
    struct Row {
        const char* what;
        std::size_t offset;
        unsigned char value;
    };

    constexpr Row rows[] = {
        { "size 160", 6, 160 }, { "size 155", 6, 155 }, { "size 156 + 256", 7, 1 },
        { "version 2", 4, 2 },  { "version 0", 4, 0 },  { "version 1 + 256", 5, 1 },
        { "type 6", 0, 6 },     { "type 8", 0, 8 },     { "type 7 + 2^24", 3, 1 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        StandardError errors;
        system.calls.clear();
        system.core.emptySlots = { 9 };  // the record's kind is looked at first
        system.core.onInterface = [&](unsigned char* record) { record[row.offset] = row.value; };

        EXPECT_EQ(load(), 1002);

        EXPECT_EQ(errors.text(), "\n*** LoadLibrary Failure: TOVA_E_NOT_SUPPORTED (C:\\orq\\core.dll): N/A\n");
        EXPECT_EQ(system.callsOf("FreeLibrary").size(), 1U);
        EXPECT_EQ(state.module, nullptr);
    }
}

TEST_F(Handshake, ANewVersionTextIsTheCoresBusiness)
{
    system.core.onInterface = [](unsigned char* record) { std::memcpy(record + 48, "2.0", 4); };

    EXPECT_EQ(load(), 0);
}

TEST_F(Handshake, EachOfTheNineRequiredSlotsMustBeFilled)
{
    for (const int slot : { 1, 2, 4, 5, 6, 8, 9, 10, 11 }) {
        SCOPED_TRACE(slot);
        StandardError errors;
        system.calls.clear();
        system.core.emptySlots = { slot };

        EXPECT_EQ(load(), 1400);

        EXPECT_EQ(errors.text(), "\n*** LoadLibrary Failure: TOVA_E_CALLBACK_IS_NULL (C:\\orq\\core.dll): N/A\n");
        EXPECT_EQ(system.callsOf("FreeLibrary").size(), 1U);
        EXPECT_EQ(+coreInterface().Init, nullptr);
    }
}

TEST_F(Handshake, SlotsThreeAndSevenMayBeEmpty)
{
    StandardError errors;
    system.core.emptySlots = { 3, 7 };

    EXPECT_EQ(load(), 0);

    EXPECT_EQ(errors.text(), "");
    EXPECT_EQ(+coreInterface().slot3, nullptr);
    EXPECT_EQ(+coreInterface().SessionDisconnect, nullptr);
    EXPECT_NE(+coreInterface().SessionConnect, nullptr);
}

}  // namespace
}  // namespace kelvane::tests
