// The loader on the machine's own module loader and its own words, nothing replaced: on Windows alone.
#include "framework/core_library.h"

#include "tests/support/standard_error.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

TEST(CoreLoadForReal, AMissingFileIsNotFound)
{
    StandardError errors;
    LoaderState state = {};

    EXPECT_EQ(loadLibrary(&state, "C:\\no such folder\\core.dll"), 3000);

    const std::string line = errors.text();
    EXPECT_THAT(line, StartsWith("\n*** LoadLibrary Failure: TOVA_E_NOT_FOUND (C:\\no such folder\\core.dll): "));
    EXPECT_THAT(line, EndsWith("\n"));
}

TEST(CoreLoadForReal, ALibraryOfAnotherKindIsLoadedRefusedAndFreed)
{
    char path[MAX_PATH] = {};
    GetSystemDirectoryA(path, MAX_PATH - 20);
    const std::string library = std::string(path) + "\\wintrust.dll";
    ASSERT_EQ(GetModuleHandleA("wintrust.dll"), nullptr);
    StandardError errors;
    LoaderState state = {};

    EXPECT_EQ(loadLibrary(&state, library.c_str()), 3401);

    EXPECT_THAT(errors.text(), StartsWith("\n*** LoadLibrary Failure: TOVA_E_IFACE_NOT_SUPPORTED (" + library + "): "));
    EXPECT_EQ(GetModuleHandleA("wintrust.dll"), nullptr);
}

TEST(CoreLoadForReal, TheClientsOwnModuleHasNoInterfaceToOffer)
{
    StandardError errors;
    LoaderState state = {};

    EXPECT_EQ(loadLibrary(&state, nullptr), 3401);

    EXPECT_THAT(errors.text(), StartsWith("\n*** LoadLibrary Failure: TOVA_E_IFACE_NOT_SUPPORTED (): "));
}

TEST(SystemErrorTextForReal, TheInsertStandsInTheWordsForABadImage)
{
    ModuleRecord record = { nullptr, ERROR_BAD_EXE_FORMAT, nullptr };

    EXPECT_THAT(systemErrorText(&record), HasSubstr("Library"));
}

TEST(SystemErrorTextForReal, AnErrorThatNobodyKnowsHasNoWords)
{
    ModuleRecord record = { nullptr, 0xDEADBEEF, nullptr };

    EXPECT_STREQ(systemErrorText(&record), "N/A");
}

}  // namespace
}  // namespace kelvane::tests
