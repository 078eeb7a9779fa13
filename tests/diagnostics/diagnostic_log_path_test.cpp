// Where the log file lies, and what is made on the way. makeLogFile is run again, with its calls into Windows recorded.
#include "tests/diagnostics/log_bench.h"
#include "tests/support/diagnostic_log_inspector.h"
#include "tests/support/import_swap.h"

#include <objbase.h>

#include <cstring>
#include <fstream>
#include <string_view>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

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

// Finds the path with the calls recorded.
std::string recordedPath()
{
    windows.asked.clear();
    windows.made.clear();
    windows.freed.clear();
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

TEST_F(LogPath, AsksForTheRoamingFolderOfTheProcessAndHasItCreated)
{
    constexpr GUID roamingAppData{ 0x3EB685DB, 0x65F9, 0x4CF6, { 0xA0, 0x3A, 0xE3, 0xEF, 0x65, 0x72, 0x9F, 0x3D } };

    recordedPath();

    EXPECT_EQ(std::memcmp(&knownFolderLookups.folder, &roamingAppData, sizeof roamingAppData), 0);
    EXPECT_EQ(knownFolderLookups.flags, 0x8000U);
    EXPECT_EQ(knownFolderLookups.token, nullptr);
}

TEST_F(LogPath, FreesTheFolderTextOnce)
{
    recordedPath();

    EXPECT_THAT(windows.freed, ElementsAre(knownFolderLookups.handedOut));
}

TEST_F(LogPath, MakesNothingInAnExistingApplicationFolder)
{
    windows.attributes = 16;

    const std::string path = recordedPath();

    EXPECT_EQ(path, "Q:\\Users\\Ann\\AppData\\Roaming\\KelvanneApp\\logs\\KelvanneApp.log");
    EXPECT_THAT(windows.asked, ElementsAre("Q:\\Users\\Ann\\AppData\\Roaming\\KelvanneApp\\"));
    EXPECT_THAT(windows.made, IsEmpty());
}

TEST_F(LogPath, MakesBothFoldersUnlessTheAttributesAreExactlyADirectorys)
{
    // Hidden, read-only and linked directories; a file; nothing at all; no attribute.
    for (const DWORD attributes : { 0x12U, 0x11U, 0x410U, 0x30U, 0x20U, 0xFFFFFFFFU, 0U }) {
        for (const BOOL created : { TRUE, FALSE }) {
            SCOPED_TRACE(testing::Message() << "attributes " << attributes << ", created " << created);
            windows.attributes = attributes;
            windows.created = created;

            const std::string path = recordedPath();

            EXPECT_EQ(path, "Q:\\Users\\Ann\\AppData\\Roaming\\KelvanneApp\\logs\\KelvanneApp.log");
            EXPECT_THAT(windows.made, ElementsAre(L"Q:\\Users\\Ann\\AppData\\Roaming\\KelvanneApp\\",
                                                  L"Q:\\Users\\Ann\\AppData\\Roaming\\KelvanneApp\\logs\\"));
        }
    }
}

class FailedFolderLookup : public testing::Test {
protected:
    FailedFolderLookup() { knownFolderLookups.answer = E_FAIL; }

    ~FailedFolderLookup() override { knownFolderLookups.answer = S_OK; }
};

TEST_F(FailedFolderLookup, IsToldOnStandardOutputWithoutALineEnd)
{
    const std::string output = standardOutputOf([] {
        recordedPath();
        std::fflush(stdout);
    });

    EXPECT_EQ(output, "SHGetKnownFolderPath failed with error");
    EXPECT_THAT(windows.freed, testing::Each(nullptr));
}

TEST_F(FailedFolderLookup, LeavesAPathFromTheRootOfTheCurrentDrive)
{
    windows.attributes = 16;

    EXPECT_EQ(recordedPath(), "\\KelvanneApp\\logs\\KelvanneApp.log");

    EXPECT_THAT(windows.asked, ElementsAre("\\KelvanneApp\\"));
    EXPECT_THAT(windows.made, IsEmpty());
}

TEST_F(FailedFolderLookup, StillMakesBothFoldersBelowTheRoot)
{
    windows.attributes = INVALID_FILE_ATTRIBUTES;

    EXPECT_EQ(recordedPath(), "\\KelvanneApp\\logs\\KelvanneApp.log");

    EXPECT_THAT(windows.made, ElementsAre(L"\\KelvanneApp\\", L"\\KelvanneApp\\logs\\"));
}

TEST_F(LogPath, SuccessfulLookupSaysNothingOnStandardOutput)
{
    const std::string output = standardOutputOf([] {
        recordedPath();
        std::fflush(stdout);
    });

    EXPECT_EQ(output, "");
}

}  // namespace
}  // namespace kelvane::tests
