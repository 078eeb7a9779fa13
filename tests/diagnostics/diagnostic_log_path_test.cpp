// Where the log file lies, and what is made on the way. makeLogFile is run again, with its calls into Windows recorded.
#include "tests/diagnostics/log_bench.h"
#include "tests/support/diagnostic_log_inspector.h"
#include "tests/support/import_swap.h"
#include "tests/support/rows.h"

#include <objbase.h>

#include <cstring>
#include <string_view>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// What the faked calls answer, and what they were asked, in order.
struct Windows {
    DWORD attributes = FILE_ATTRIBUTE_DIRECTORY;
    BOOL created = TRUE;
    decltype(&GetFileAttributesA) realAttributes = nullptr;
    decltype(&CoTaskMemFree) realFree = nullptr;
    std::vector<std::string> asked;
    std::vector<std::wstring> made;
    std::vector<const void*> freed;
} windows;

DWORD WINAPI fakeAttributes(LPCSTR name)
{
    if (std::string_view(name).find("KelvanneApp") == std::string_view::npos) return windows.realAttributes(name);
    windows.asked.emplace_back(name);
    return windows.attributes;
}

BOOL WINAPI fakeCreateDirectory(LPCWSTR name, LPSECURITY_ATTRIBUTES security)
{
    EXPECT_EQ(security, nullptr);
    windows.made.emplace_back(name);
    return windows.created;
}

void WINAPI fakeFree(LPVOID memory)
{
    windows.freed.push_back(memory);
    windows.realFree(memory);
}

// Finds the path with the calls recorded, once.
std::string recordedPath()
{
    const ImportSwap attributes(__imp_GetFileAttributesA, &fakeAttributes);
    const ImportSwap creation(__imp_CreateDirectoryW, &fakeCreateDirectory);
    const ImportSwap freeing(__imp_CoTaskMemFree, &fakeFree);
    windows.realAttributes = attributes.real();
    windows.realFree = freeing.real();
    return DiagnosticLogInspector::makeLogFile();
}

// A path on a drive that does not exist: no file comes into being.
class LogPath : public testing::Test {
protected:
    LogPath() { knownFolderLookups.path = &folder; }

    ~LogPath() override { knownFolderLookups.path = nullptr; }

    const std::filesystem::path folder = L"Q:\\Users\\Ann\\AppData\\Roaming";
};

TEST_F(LogPath, AsksForTheRoamingFolderOfTheProcessHasItCreatedAndFreesItsText)
{
    constexpr GUID roamingAppData{ 0x3EB685DB, 0x65F9, 0x4CF6, { 0xA0, 0x3A, 0xE3, 0xEF, 0x65, 0x72, 0x9F, 0x3D } };

    const std::string output = standardOutputOf([] {
        recordedPath();
        std::fflush(stdout);
    });

    EXPECT_EQ(std::memcmp(&knownFolderLookups.folder, &roamingAppData, sizeof roamingAppData), 0);
    EXPECT_EQ(knownFolderLookups.flags, 0x8000U);
    EXPECT_EQ(knownFolderLookups.token, nullptr);
    EXPECT_THAT(windows.freed, ElementsAre(knownFolderLookups.handedOut));
    EXPECT_EQ(output, "");
}

TEST_F(LogPath, MakesNothingInAnExistingApplicationFolder)
{
    windows.attributes = 16;

    EXPECT_EQ(recordedPath(), "Q:\\Users\\Ann\\AppData\\Roaming\\KelvanneApp\\logs\\KelvanneApp.log");

    EXPECT_THAT(windows.asked, ElementsAre("Q:\\Users\\Ann\\AppData\\Roaming\\KelvanneApp\\"));
    EXPECT_THAT(windows.made, IsEmpty());
}

struct AttributesRow {
    DWORD attributes;
    BOOL created = TRUE;
};

using OtherAttributes = WithRow<LogPath, AttributesRow>;

TEST_ROWS(OtherAttributes,
          // hidden, read-only and linked directories
          ROW(.attributes = 0x12), ROW(.attributes = 0x11), ROW(.attributes = 0x410),
          // a directory and a file at once, a file, nothing there, no attribute
          ROW(.attributes = 0x30), ROW(.attributes = 0x20), ROW(.attributes = 0xFFFFFFFF), ROW(.attributes = 0),
          ROW(.attributes = 0x12, .created = FALSE), ROW(.attributes = 0xFFFFFFFF, .created = FALSE));

TEST_P(OtherAttributes, ThanExactlyADirectorysMakeBothFolders)
{
    windows.attributes = row().attributes;
    windows.created = row().created;

    EXPECT_EQ(recordedPath(), "Q:\\Users\\Ann\\AppData\\Roaming\\KelvanneApp\\logs\\KelvanneApp.log");

    EXPECT_THAT(windows.made, ElementsAre(L"Q:\\Users\\Ann\\AppData\\Roaming\\KelvanneApp\\",
                                          L"Q:\\Users\\Ann\\AppData\\Roaming\\KelvanneApp\\logs\\"));
}

class FailedFolderLookup : public testing::Test {
protected:
    FailedFolderLookup() { knownFolderLookups.answer = E_FAIL; }

    ~FailedFolderLookup() override { knownFolderLookups.answer = S_OK; }
};

TEST_F(FailedFolderLookup, IsToldOnStandardOutputWithoutALineEndAndLeavesAPathFromTheRootOfTheCurrentDrive)
{
    std::string path;

    const std::string output = standardOutputOf([&path] {
        path = recordedPath();
        std::fflush(stdout);
    });

    EXPECT_EQ(output, "SHGetKnownFolderPath failed with error");
    EXPECT_EQ(path, "\\KelvanneApp\\logs\\KelvanneApp.log");
    EXPECT_THAT(windows.freed, testing::Each(nullptr));
    EXPECT_THAT(windows.asked, ElementsAre("\\KelvanneApp\\"));
    EXPECT_THAT(windows.made, IsEmpty());
}

TEST_F(FailedFolderLookup, StillMakesBothFoldersBelowTheRoot)
{
    windows.attributes = INVALID_FILE_ATTRIBUTES;

    EXPECT_EQ(recordedPath(), "\\KelvanneApp\\logs\\KelvanneApp.log");

    EXPECT_THAT(windows.made, ElementsAre(L"\\KelvanneApp\\", L"\\KelvanneApp\\logs\\"));
}

}  // namespace
}  // namespace kelvane::tests
