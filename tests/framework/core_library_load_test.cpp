// Loading the core: the attempt and the system errors it can end with, the handshake and the interface records that are
// refused, the failure line, the unload.
#include "framework/core_library.h"

#include "tests/support/fake_system.h"
#include "tests/support/rows.h"
#include "tests/support/standard_error.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char corePath[] = "C:\\orq\\core.dll";

bool isEmpty(const OrqInterface& record)
{
    const auto* const bytes = reinterpret_cast<const unsigned char*>(&record);
    return std::all_of(bytes, bytes + 156, [](unsigned char byte) { return byte == 0; });
}

class CoreLoad : public testing::Test {
protected:
    CoreLoad() { system.files[corePath] = 0x20; }

    int load() { return loadLibrary(&state, corePath); }

    void expectFailure(int status, const std::string& name, const std::string& words)
    {
        EXPECT_EQ(load(), status);
        EXPECT_EQ(errors.text(), "\n*** LoadLibrary Failure: " + name + " (C:\\orq\\core.dll): " + words + "\n");
        EXPECT_EQ(state.module, nullptr);
        EXPECT_TRUE(isEmpty(coreInterface()));
        EXPECT_EQ(system.heldBlocks(), 0U);
        EXPECT_EQ(system.heldTexts(), 0U);
    }

    FakeSystem system;
    StandardError errors;
    LoaderState state = {};
};

TEST_F(CoreLoad, ChecksForALinkThenLoadsByFullPathThenHandsTheCoreAnEmptyRecordWithItsKindAndVersion)
{
    std::vector<unsigned char> record(156, 0);
    record[0] = 7;    // type, 32 bits
    record[4] = 1;    // version, 16 bits
    record[6] = 156;  // size, 16 bits
    std::memcpy(&record[48], "1.0.11201", 9);

    EXPECT_EQ(load(), 0);

    EXPECT_EQ(system.core.recordReceived, record);
    EXPECT_THAT(system.calls, ElementsAre("GetFileAttributesA C:\\orq\\core.dll", "HeapAlloc 24 zeroed",
                                          "LoadLibraryExA C:\\orq\\core.dll 0x1000", "GetProcAddress GetOrqInterface",
                                          "GetOrqInterface"));
    EXPECT_STREQ(state.path, corePath);
    EXPECT_EQ(errors.text(), "");
}

TEST_F(CoreLoad, WithoutStateIsRefused)
{
    EXPECT_EQ(loadLibrary(nullptr, corePath), 2300);

    EXPECT_THAT(system.calls, IsEmpty());
}

TEST_F(CoreLoad, WithoutANameTakesTheModuleOfTheClientItself)
{
    std::strcpy(state.path, "as before");

    EXPECT_EQ(loadLibrary(&state, nullptr), 0);

    EXPECT_THAT(system.calls, ElementsAre("HeapAlloc 24 zeroed", "GetModuleHandleExA 0x4 own address",
                                          "GetProcAddress GetOrqInterface", "GetOrqInterface"));
    EXPECT_STREQ(state.path, "as before");
}

TEST_F(CoreLoad, WithoutANameReportsWhyTheClientsModuleIsNotToBeHad)
{
    system.loadError = 126;

    EXPECT_EQ(loadLibrary(&state, nullptr), 3000);

    EXPECT_EQ(errors.text(), "\n*** LoadLibrary Failure: TOVA_E_NOT_FOUND (): words for 126\n");
}

struct FailureRow {
    DWORD attributes = 0x20;
    bool deletesFiles = true;
    int failingAllocation = 0;
    std::optional<DWORD> error = {};
    int status = 1801;
    const char* name = "TOVA_E_NO_CREATE";
    const char* words = "N/A";
    std::size_t attempts = 1;
};

class CoreLoadFailure : public WithRow<CoreLoad, FailureRow> {};

TEST_ROWS(CoreLoadFailure,
          // the system's error decides
          ROW(.error = 2, .status = 3000, .name = "TOVA_E_NOT_FOUND", .words = "words for 2"),
          ROW(.error = 126, .status = 3000, .name = "TOVA_E_NOT_FOUND", .words = "words for 126"),
          ROW(.error = 8, .status = 1800, .name = "TOVA_E_NO_MEMORY", .words = "words for 8"),
          ROW(.error = 127, .status = 1000, .name = "TOVA_E_NOT_IMPLEMENTED", .words = "words for 127"),
          ROW(.error = 193, .status = 1002, .name = "TOVA_E_NOT_SUPPORTED", .words = "words for 193"),
          ROW(.error = 1, .words = "words for 1"), ROW(.error = 3, .words = "words for 3"),
          ROW(.error = 5, .words = "words for 5"), ROW(.error = 1114, .words = "words for 1114"),
          ROW(.error = 0xFFFFFFFF, .words = "words for 4294967295"),
          // a link in the library's place is removed, and the library is missing; without that nothing is loaded
          ROW(.attributes = 0x420, .status = 3000, .name = "TOVA_E_NOT_FOUND", .words = "words for 126"),
          ROW(.attributes = 0x410, .deletesFiles = false, .status = 2300, .name = "TOVA_E_PARAMETER_IS_NULL",
              .attempts = 0),
          // nor without memory for the module's record
          ROW(.failingAllocation = 1, .status = 2300, .name = "TOVA_E_PARAMETER_IS_NULL", .attempts = 0));

TEST_ROW(CoreLoadFailure, IsReportedWithoutAnythingToFree)
{
    system.files[corePath] = row().attributes;
    system.deletesFiles = row().deletesFiles;
    system.failingAllocation = row().failingAllocation;
    system.loadError = row().error;

    expectFailure(row().status, row().name, row().words);
    EXPECT_THAT(system.callsOf("LoadLibraryExA"), SizeIs(row().attempts));
    EXPECT_THAT(system.callsOf("FreeLibrary"), IsEmpty());
}

TEST_F(CoreLoad, AFailureWithoutASystemErrorIsNoFailureButLeavesNothingToCall)
{
    system.loadFailsSilently = true;
    SetLastError(193);  // from before the attempt

    EXPECT_EQ(load(), 0);

    EXPECT_EQ(errors.text(), "");
    EXPECT_EQ(state.module->lastError, 0U);
    EXPECT_TRUE(isEmpty(coreInterface()));
}

TEST_F(CoreLoad, TheLastErrorIsKeptAlsoOfASuccessfulLoadAndNotThatOfTheLookUp)
{
    system.errorAfterLoad = 1400;
    system.errorAfterLookUp = 5;

    EXPECT_EQ(load(), 0);

    EXPECT_EQ(state.module->lastError, 1400U);
}

TEST_F(CoreLoad, TheLineShowsThePathCutOffAsItWasFormed)
{
    EXPECT_EQ(loadLibrary(&state, ("\\" + std::string(300, 'n')).c_str()), 3000);

    EXPECT_EQ(errors.text(),
              "\n*** LoadLibrary Failure: TOVA_E_NOT_FOUND (\\" + std::string(258, 'n') + "): words for 126\n");
}

TEST_F(CoreLoad, AFilledRecordIsPublishedAsTheCoreLeftItSlotsThreeAndSevenMayBeEmpty)
{
    system.core.emptySlots = { 3, 7 };
    system.core.onInterface = [](unsigned char* record) {
        record[8] = 0xAB;
        record[47] = 0xCD;
        std::memcpy(record + 48, "2.0", 4);  // its version's text is the core's business
    };

    EXPECT_EQ(load(), 0);

    EXPECT_EQ(coreInterface().framework[0], 0xAB);
    EXPECT_EQ(coreInterface().framework[39], 0xCD);
    EXPECT_EQ(+coreInterface().slot3, nullptr);
    EXPECT_EQ(+coreInterface().SessionDisconnect, nullptr);
    EXPECT_EQ(coreInterface().Init(), 0);
    EXPECT_EQ(system.calls.back(), "Init");
    EXPECT_EQ(coreInterface().SessionConnect(9), 0);
    EXPECT_EQ(system.calls.back(), "SessionConnect 9");
    EXPECT_EQ(errors.text(), "");
}

TEST_F(CoreLoad, ALibraryWithoutTheExportIsReportedThenFreed)
{
    system.exportsInterface = false;
    system.onFreeLibrary = [] { EXPECT_TRUE(StandardError::written()); };

    expectFailure(3401, "TOVA_E_IFACE_NOT_SUPPORTED", "words for 127");
    EXPECT_THAT(system.calls, ElementsAre("GetFileAttributesA C:\\orq\\core.dll", "HeapAlloc 24 zeroed",
                                          "LoadLibraryExA C:\\orq\\core.dll 0x1000", "GetProcAddress GetOrqInterface",
                                          "FormatMessageA 0x3100 127 language 0 [Library][][]", "FreeLibrary",
                                          "LocalFree", "HeapFree 24 all zero"));
}

TEST_F(CoreLoad, TheLineShowsAnErrorThatTheLoadLeftBehind)
{
    system.errorAfterLoad = 5;
    system.core.interfaceStatus = 1003;

    expectFailure(1003, "TOVA_E_UNSPECIFIED", "words for 5");
}

TEST_F(CoreLoad, TheLineHasNoTextWhenTheSystemHasNoWords)
{
    system.exportsInterface = false;
    system.formatsMessages = false;

    expectFailure(3401, "TOVA_E_IFACE_NOT_SUPPORTED", "N/A");
    EXPECT_THAT(system.callsOf("LocalFree"), IsEmpty());
}

// What the core answers and makes of the record; the record's size stands at offset 6.
struct RefusalRow {
    int answer = 0;
    std::size_t offset = 6;
    unsigned char byte = 156;
    std::set<int> emptySlots = {};
    int status = 1002;
    const char* name = "TOVA_E_NOT_SUPPORTED";
};

class CoreRefusal : public WithRow<CoreLoad, RefusalRow> {};

TEST_ROWS(CoreRefusal,
          // by the core: the record does not count any more
          ROW(.answer = 1003, .byte = 160, .emptySlots = { 1 }, .status = 1003, .name = "TOVA_E_UNSPECIFIED"),
          ROW(.answer = 102, .status = 102, .name = "TOVA_I_AGAIN"), ROW(.answer = -1, .status = -1, .name = "NA"),
          // that the client library does not know
          ROW(.answer = 105, .status = 105, .name = "NA"), ROW(.answer = 1012, .status = 1012, .name = "NA"),
          // a record of another size, version and type: its kind is looked at before its slots
          ROW(.byte = 160), ROW(.byte = 155, .emptySlots = { 9 }), ROW(.offset = 7, .byte = 1),
          ROW(.offset = 4, .byte = 2, .emptySlots = { 9 }), ROW(.offset = 4, .byte = 0), ROW(.offset = 5, .byte = 1),
          ROW(.offset = 0, .byte = 6, .emptySlots = { 9 }), ROW(.offset = 0, .byte = 8), ROW(.offset = 3, .byte = 1),
          // the nine slots that must be filled
          ROW(.emptySlots = { 1 }, .status = 1400, .name = "TOVA_E_CALLBACK_IS_NULL"),
          ROW(.emptySlots = { 2 }, .status = 1400, .name = "TOVA_E_CALLBACK_IS_NULL"),
          ROW(.emptySlots = { 4 }, .status = 1400, .name = "TOVA_E_CALLBACK_IS_NULL"),
          ROW(.emptySlots = { 5 }, .status = 1400, .name = "TOVA_E_CALLBACK_IS_NULL"),
          ROW(.emptySlots = { 6 }, .status = 1400, .name = "TOVA_E_CALLBACK_IS_NULL"),
          ROW(.emptySlots = { 8 }, .status = 1400, .name = "TOVA_E_CALLBACK_IS_NULL"),
          ROW(.emptySlots = { 9 }, .status = 1400, .name = "TOVA_E_CALLBACK_IS_NULL"),
          ROW(.emptySlots = { 10 }, .status = 1400, .name = "TOVA_E_CALLBACK_IS_NULL"),
          ROW(.emptySlots = { 11 }, .status = 1400, .name = "TOVA_E_CALLBACK_IS_NULL"));

TEST_ROW(CoreRefusal, IsReportedAndTheLibraryFreed)
{
    system.core.interfaceStatus = row().answer;
    system.core.emptySlots = row().emptySlots;
    system.core.onInterface = [&](unsigned char* record) { record[row().offset] = row().byte; };

    expectFailure(row().status, row().name, "N/A");
    EXPECT_THAT(system.callsOf("FreeLibrary"), SizeIs(1));
}

TEST_F(CoreLoad, UnloadReleasesModuleTextAndRecordInThisOrderAndForgetsTheInterface)
{
    system.errorAfterLoad = 5;
    load();
    systemErrorText(state.module);
    system.calls.clear();

    unloadLibrary(state);

    EXPECT_THAT(system.calls, ElementsAre("FreeLibrary", "LocalFree", "HeapFree 24 all zero"));
    EXPECT_EQ(state.module, nullptr);
    EXPECT_EQ(state.getOrqInterface, nullptr);
    EXPECT_TRUE(isEmpty(state.record));
    EXPECT_TRUE(isEmpty(coreInterface()));
    EXPECT_STREQ(state.path, corePath);
}

TEST_F(CoreLoad, UnloadOfNothingDoesNothing)
{
    unloadLibrary(state);

    EXPECT_THAT(system.calls, IsEmpty());
    EXPECT_TRUE(isEmpty(coreInterface()));
}

class SystemErrorText : public testing::Test {
protected:
    FakeSystem system;
    ModuleRecord record = { nullptr, 193, nullptr };
};

TEST_F(SystemErrorText, AsksTheSystemWithTheLibraryAsInsertKeepsTheTextAndReleasesTheEarlierOneFirst)
{
    EXPECT_STREQ(systemErrorText(&record), "words for 193");
    EXPECT_STREQ(record.errorText, "words for 193");

    record.lastError = 5;
    EXPECT_STREQ(systemErrorText(&record), "words for 5");

    EXPECT_THAT(system.calls, ElementsAre("FormatMessageA 0x3100 193 language 0 [Library][][]", "LocalFree",
                                          "FormatMessageA 0x3100 5 language 0 [Library][][]"));
    EXPECT_EQ(system.heldTexts(), 1U);
}

TEST_F(SystemErrorText, IsNotAvailableWithoutRecordOrError)
{
    record.lastError = 0;

    EXPECT_STREQ(systemErrorText(nullptr), "N/A");
    EXPECT_STREQ(systemErrorText(&record), "N/A");

    EXPECT_THAT(system.calls, IsEmpty());
}

TEST_F(SystemErrorText, IsNotAvailableWhenTheSystemHasNoWordsWhateverTheEarlierOne)
{
    system.formatsMessages = false;
    EXPECT_STREQ(systemErrorText(&record), "N/A");

    system.formatsMessages = true;
    systemErrorText(&record);
    system.formatsMessages = false;
    EXPECT_STREQ(systemErrorText(&record), "N/A");

    EXPECT_EQ(record.errorText, nullptr);
    EXPECT_EQ(system.heldTexts(), 0U);
}

}  // namespace
}  // namespace kelvane::tests
