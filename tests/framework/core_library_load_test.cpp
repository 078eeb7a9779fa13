// Loading the core's module: the attempt, the system errors it can end with, the failure line, the unload.
#include "tests/framework/loader.h"
#include "tests/support/rows.h"

#include <cstring>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

bool isEmpty(const OrqInterface& record)
{
    constexpr OrqInterface nothing = {};
    return std::memcmp(&record, &nothing, 156) == 0;
}

TEST_F(CoreLoad, ChecksForALinkThenLoadsByFullPathThenAsksForTheInterface)
{
    EXPECT_EQ(load(), 0);

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

    EXPECT_EQ(load(nullptr), 0);

    EXPECT_THAT(system.calls, ElementsAre("HeapAlloc 24 zeroed", "GetModuleHandleExA 0x4 own address",
                                          "GetProcAddress GetOrqInterface", "GetOrqInterface"));
    EXPECT_STREQ(state.path, "as before");
}

TEST_F(CoreLoad, WithoutANameReportsWhyTheClientsModuleIsNotToBeHad)
{
    system.loadError = 126;

    EXPECT_EQ(load(nullptr), 3000);

    EXPECT_EQ(errors.text(), "\n*** LoadLibrary Failure: TOVA_E_NOT_FOUND (): words for 126\n");
}

struct FailureRow {
    std::optional<DWORD> error = std::nullopt;  // of the system's attempt
    DWORD attributes = 0x20;
    bool deletesFiles = true;
    bool memory = true;
    int status;
    const char* line;
    std::size_t attempts = 1;
};

using FailedLoad = WithRow<CoreLoad, FailureRow>;

TEST_ROWS(FailedLoad,
          // the system's error decides
          ROW(.error = 2, .status = 3000, .line = "TOVA_E_NOT_FOUND (C:\\orq\\core.dll): words for 2"),
          ROW(.error = 126, .status = 3000, .line = "TOVA_E_NOT_FOUND (C:\\orq\\core.dll): words for 126"),
          ROW(.error = 8, .status = 1800, .line = "TOVA_E_NO_MEMORY (C:\\orq\\core.dll): words for 8"),
          ROW(.error = 127, .status = 1000, .line = "TOVA_E_NOT_IMPLEMENTED (C:\\orq\\core.dll): words for 127"),
          ROW(.error = 193, .status = 1002, .line = "TOVA_E_NOT_SUPPORTED (C:\\orq\\core.dll): words for 193"),
          ROW(.error = 1, .status = 1801, .line = "TOVA_E_NO_CREATE (C:\\orq\\core.dll): words for 1"),
          ROW(.error = 3, .status = 1801, .line = "TOVA_E_NO_CREATE (C:\\orq\\core.dll): words for 3"),
          ROW(.error = 5, .status = 1801, .line = "TOVA_E_NO_CREATE (C:\\orq\\core.dll): words for 5"),
          ROW(.error = 1114, .status = 1801, .line = "TOVA_E_NO_CREATE (C:\\orq\\core.dll): words for 1114"),
          ROW(.error = 0xFFFFFFFF, .status = 1801,
              .line = "TOVA_E_NO_CREATE (C:\\orq\\core.dll): words for 4294967295"),
          // a link in the library's place is removed, or never loaded
          ROW(.attributes = 0x420, .status = 3000, .line = "TOVA_E_NOT_FOUND (C:\\orq\\core.dll): words for 126"),
          ROW(.attributes = 0x410, .deletesFiles = false, .status = 2300,
              .line = "TOVA_E_PARAMETER_IS_NULL (C:\\orq\\core.dll): N/A", .attempts = 0),
          // no memory for the module's record
          ROW(.memory = false, .status = 2300, .line = "TOVA_E_PARAMETER_IS_NULL (C:\\orq\\core.dll): N/A",
              .attempts = 0));

TEST_P(FailedLoad, IsToldAndLeavesNothingBehind)
{
    system.loadError = row().error;
    system.files[corePath] = row().attributes;
    system.deletesFiles = row().deletesFiles;
    system.failingAllocation = row().memory ? 0 : 1;

    EXPECT_EQ(load(), row().status);

    EXPECT_EQ(failureLine(), row().line);
    EXPECT_EQ(system.callsOf("LoadLibraryExA").size(), row().attempts);
    EXPECT_EQ(system.heldBlocks(), 0U);
    EXPECT_EQ(system.heldTexts(), 0U);
    EXPECT_THAT(system.callsOf("FreeLibrary"), IsEmpty());
}

TEST_F(CoreLoad, AFailureWithoutASystemErrorIsNoFailureButLeavesNothingToCall)
{
    system.loadError = 0;

    EXPECT_EQ(load(), 0);

    EXPECT_EQ(errors.text(), "");
    EXPECT_TRUE(isEmpty(coreInterface()));
}

TEST_F(CoreLoad, TheLastErrorOfTheAttemptIsKeptAndNotOneFromBefore)
{
    system.loadFailsSilently = true;
    SetLastError(193);
    EXPECT_EQ(load(), 0);
    EXPECT_EQ(state.module->lastError, 0U);

    system.loadFailsSilently = false;
    system.errorAfterLoad = 1400;
    EXPECT_EQ(load(), 0);
    EXPECT_EQ(state.module->lastError, 1400U);
}

TEST_F(CoreLoad, TheLineShowsThePathCutOffAsItWasFormed)
{
    EXPECT_EQ(load(("\\" + std::string(300, 'n')).c_str()), 3000);

    EXPECT_EQ(failureLine(), "TOVA_E_NOT_FOUND (\\" + std::string(258, 'n') + "): words for 126");
}

class SystemErrorText : public testing::Test {
protected:
    FakeSystem system;
    ModuleRecord record = { nullptr, 193, nullptr };
};

TEST_F(SystemErrorText, AsksTheSystemWithTheLibraryAsInsertAndReleasesTheEarlierTextFirst)
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

TEST_F(SystemErrorText, IsNotAvailableWhenTheSystemHasNoWordsAlsoAfterAnEarlierText)
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

TEST_F(CoreLoad, UnloadingReleasesModuleTextAndRecordInThisOrderAndForgetsTheInterface)
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

TEST_F(CoreLoad, UnloadingNothingDoesNothing)
{
    unloadLibrary(state);

    EXPECT_THAT(system.calls, IsEmpty());
    EXPECT_TRUE(isEmpty(coreInterface()));
}

}  // namespace
}  // namespace kelvane::tests
