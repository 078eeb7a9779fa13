// Loading the core's module: the attempt, the system errors it can end with, the failure line, the unload.
#include "framework/core_library.h"

#include "tests/support/fake_system.h"
#include "tests/support/standard_error.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char corePath[] = "C:\\orq\\core.dll";

bool isEmpty(const OrqInterface& record)
{
    const auto* const bytes = reinterpret_cast<const unsigned char*>(&record);
    return std::all_of(bytes, bytes + 156, [](unsigned char byte) { return byte == 0; });
}

TEST(CoreLoad, ChecksForALinkThenLoadsByFullPathThenAsksForTheInterface)
{
    FakeSystem system;
    system.files[corePath] = 0x20;
    StandardError errors;
    LoaderState state = {};

    EXPECT_EQ(loadLibrary(&state, corePath), 0);

    EXPECT_THAT(system.calls, ElementsAre("GetFileAttributesA C:\\orq\\core.dll", "HeapAlloc 24 zeroed",
                                          "LoadLibraryExA C:\\orq\\core.dll 0x1000", "GetProcAddress GetOrqInterface",
                                          "GetOrqInterface"));
    EXPECT_STREQ(state.path, corePath);
    EXPECT_EQ(errors.text(), "");
}

TEST(CoreLoad, WithoutStateIsRefused)
{
    FakeSystem system;

    EXPECT_EQ(loadLibrary(nullptr, corePath), 2300);

    EXPECT_THAT(system.calls, IsEmpty());
}

TEST(CoreLoad, WithoutANameTakesTheModuleOfTheClientItself)
{
    FakeSystem system;
    LoaderState state = {};
    std::strcpy(state.path, "as before");

    EXPECT_EQ(loadLibrary(&state, nullptr), 0);

    EXPECT_THAT(system.calls, ElementsAre("HeapAlloc 24 zeroed", "GetModuleHandleExA 0x4 own address",
                                          "GetProcAddress GetOrqInterface", "GetOrqInterface"));
    EXPECT_STREQ(state.path, "as before");
}

TEST(CoreLoad, WithoutANameReportsWhyTheClientsModuleIsNotToBeHad)
{
    FakeSystem system;
    system.loadError = 126;
    StandardError errors;
    LoaderState state = {};

    EXPECT_EQ(loadLibrary(&state, nullptr), 3000);

    EXPECT_EQ(errors.text(), "\n*** LoadLibrary Failure: TOVA_E_NOT_FOUND (): words for 126\n");
}

TEST(CoreLoad, TheSystemsErrorDecidesTheStatusAndTheLine)
{
    struct Row {
        DWORD error;
        int status;
        const char* line;
    };

    constexpr Row rows[] = {
        { 2, 3000, "\n*** LoadLibrary Failure: TOVA_E_NOT_FOUND (C:\\orq\\core.dll): words for 2\n" },
        { 126, 3000, "\n*** LoadLibrary Failure: TOVA_E_NOT_FOUND (C:\\orq\\core.dll): words for 126\n" },
        { 8, 1800, "\n*** LoadLibrary Failure: TOVA_E_NO_MEMORY (C:\\orq\\core.dll): words for 8\n" },
        { 127, 1000, "\n*** LoadLibrary Failure: TOVA_E_NOT_IMPLEMENTED (C:\\orq\\core.dll): words for 127\n" },
        { 193, 1002, "\n*** LoadLibrary Failure: TOVA_E_NOT_SUPPORTED (C:\\orq\\core.dll): words for 193\n" },
        { 1, 1801, "\n*** LoadLibrary Failure: TOVA_E_NO_CREATE (C:\\orq\\core.dll): words for 1\n" },
        { 3, 1801, "\n*** LoadLibrary Failure: TOVA_E_NO_CREATE (C:\\orq\\core.dll): words for 3\n" },
        { 5, 1801, "\n*** LoadLibrary Failure: TOVA_E_NO_CREATE (C:\\orq\\core.dll): words for 5\n" },
        { 1114, 1801, "\n*** LoadLibrary Failure: TOVA_E_NO_CREATE (C:\\orq\\core.dll): words for 1114\n" },
        { 0xFFFFFFFF, 1801, "\n*** LoadLibrary Failure: TOVA_E_NO_CREATE (C:\\orq\\core.dll): words for 4294967295\n" },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.error);
        FakeSystem system;
        system.loadError = row.error;
        StandardError errors;
        LoaderState state = {};

        EXPECT_EQ(loadLibrary(&state, corePath), row.status);

        EXPECT_EQ(errors.text(), row.line);
        EXPECT_EQ(system.heldBlocks(), 0U);
        EXPECT_EQ(system.heldTexts(), 0U);
        EXPECT_THAT(system.callsOf("FreeLibrary"), IsEmpty());
    }
}

TEST(CoreLoad, AFailureWithoutASystemErrorIsNoFailureButLeavesNothingToCall)
{
    FakeSystem system;
    system.loadError = 0;
    StandardError errors;
    LoaderState state = {};

    EXPECT_EQ(loadLibrary(&state, corePath), 0);

    EXPECT_EQ(errors.text(), "");
    EXPECT_TRUE(isEmpty(coreInterface()));
}

TEST(CoreLoad, AnErrorFromBeforeTheAttemptIsNotTakenForIts)
{
    FakeSystem system;
    system.loadFailsSilently = true;
    LoaderState state = {};
    SetLastError(193);

    EXPECT_EQ(loadLibrary(&state, corePath), 0);

    EXPECT_EQ(state.module->lastError, 0U);
}

TEST(CoreLoad, TheLastErrorIsKeptAlsoOfASuccessfulLoad)
{
    FakeSystem system;
    system.files[corePath] = 0x20;
    system.errorAfterLoad = 1400;
    LoaderState state = {};

    EXPECT_EQ(loadLibrary(&state, corePath), 0);

    EXPECT_EQ(state.module->lastError, 1400U);
}

TEST(CoreLoad, ALinkInTheLibrarysPlaceIsRemovedAndTheLibraryIsMissing)
{
    FakeSystem system;
    system.files[corePath] = 0x420;
    StandardError errors;
    LoaderState state = {};

    EXPECT_EQ(loadLibrary(&state, corePath), 3000);

    EXPECT_EQ(errors.text(), "\n*** LoadLibrary Failure: TOVA_E_NOT_FOUND (C:\\orq\\core.dll): words for 126\n");
    EXPECT_EQ(system.calls[1], "DeleteFileA C:\\orq\\core.dll");
    EXPECT_THAT(system.files, IsEmpty());
}

TEST(CoreLoad, ALinkThatCannotBeRemovedIsNeverLoaded)
{
    FakeSystem system;
    system.files[corePath] = 0x410;
    system.deletesFiles = false;
    StandardError errors;
    LoaderState state = {};

    EXPECT_EQ(loadLibrary(&state, corePath), 2300);

    EXPECT_EQ(errors.text(), "\n*** LoadLibrary Failure: TOVA_E_PARAMETER_IS_NULL (C:\\orq\\core.dll): N/A\n");
    EXPECT_THAT(system.calls,
                ElementsAre("GetFileAttributesA C:\\orq\\core.dll", "RemoveDirectoryA C:\\orq\\core.dll"));
}

TEST(CoreLoad, WithoutMemoryForTheModulesRecordNothingIsLoaded)
{
    FakeSystem system;
    system.files[corePath] = 0x20;
    system.failingAllocation = 1;
    StandardError errors;
    LoaderState state = {};

    EXPECT_EQ(loadLibrary(&state, corePath), 2300);

    EXPECT_EQ(errors.text(), "\n*** LoadLibrary Failure: TOVA_E_PARAMETER_IS_NULL (C:\\orq\\core.dll): N/A\n");
    EXPECT_THAT(system.callsOf("LoadLibraryExA"), IsEmpty());
}

TEST(CoreLoad, TheLineShowsThePathCutOffAsItWasFormed)
{
    FakeSystem system;
    StandardError errors;
    LoaderState state = {};

    EXPECT_EQ(loadLibrary(&state, ("\\" + std::string(300, 'n')).c_str()), 3000);

    EXPECT_EQ(errors.text(),
              "\n*** LoadLibrary Failure: TOVA_E_NOT_FOUND (\\" + std::string(258, 'n') + "): words for 126\n");
}

TEST(SystemErrorText, AsksTheSystemWithTheLibraryAsInsertAndKeepsTheText)
{
    FakeSystem system;
    ModuleRecord record = { nullptr, 193, nullptr };

    EXPECT_STREQ(systemErrorText(&record), "words for 193");

    EXPECT_STREQ(record.errorText, "words for 193");
    EXPECT_THAT(system.calls, ElementsAre("FormatMessageA 0x3100 193 language 0 [Library][][]"));
}

TEST(SystemErrorText, ReleasesTheEarlierTextFirst)
{
    FakeSystem system;
    ModuleRecord record = { nullptr, 193, nullptr };
    systemErrorText(&record);
    record.lastError = 5;

    EXPECT_STREQ(systemErrorText(&record), "words for 5");

    EXPECT_THAT(system.calls, ElementsAre("FormatMessageA 0x3100 193 language 0 [Library][][]", "LocalFree",
                                          "FormatMessageA 0x3100 5 language 0 [Library][][]"));
    EXPECT_EQ(system.heldTexts(), 1U);
}

TEST(SystemErrorText, IsNotAvailableWithoutRecordOrError)
{
    FakeSystem system;
    ModuleRecord record = {};

    EXPECT_STREQ(systemErrorText(nullptr), "N/A");
    EXPECT_STREQ(systemErrorText(&record), "N/A");

    EXPECT_THAT(system.calls, IsEmpty());
}

TEST(SystemErrorText, IsNotAvailableWhenTheSystemHasNoWords)
{
    FakeSystem system;
    system.formatsMessages = false;
    ModuleRecord record = { nullptr, 193, nullptr };

    EXPECT_STREQ(systemErrorText(&record), "N/A");

    EXPECT_EQ(record.errorText, nullptr);
}

TEST(SystemErrorText, AnEarlierTextDoesNotStandInForAMissingOne)
{
    FakeSystem system;
    ModuleRecord record = { nullptr, 193, nullptr };
    systemErrorText(&record);
    system.formatsMessages = false;

    EXPECT_STREQ(systemErrorText(&record), "N/A");

    EXPECT_EQ(record.errorText, nullptr);
    EXPECT_EQ(system.heldTexts(), 0U);
}

TEST(CoreUnload, ReleasesModuleTextAndRecordInThisOrderAndForgetsTheInterface)
{
    FakeSystem system;
    system.files[corePath] = 0x20;
    system.errorAfterLoad = 5;
    LoaderState state = {};
    loadLibrary(&state, corePath);
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

TEST(CoreUnload, OfNothingDoesNothing)
{
    FakeSystem system;
    LoaderState state = {};

    unloadLibrary(state);

    EXPECT_THAT(system.calls, IsEmpty());
    EXPECT_TRUE(isEmpty(coreInterface()));
}

}  // namespace
}  // namespace kelvane::tests
