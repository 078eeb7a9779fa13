// From the library's name to its path: install directory, fallback, truncation, and the guard against redirection.
#include "framework/core_directory.h"

#include "tests/support/fake_system.h"
#include "tests/support/rows.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Texts = std::vector<std::string>;

constexpr DWORD plainFile = 0x20;
constexpr DWORD linkToFile = 0x420;
constexpr DWORD linkToFolder = 0x410;

class ReparsePointGuard : public testing::Test {
protected:
    FakeSystem system;
};

struct GuardRow {
    DWORD attributes;
    Texts removals = {};
};

class ReparsePointGuardByAttributes : public WithRow<ReparsePointGuard, GuardRow> {};

TEST_ROWS(ReparsePointGuardByAttributes,
          // file, folder, no attribute at all, every attribute but a link's and a folder's
          ROW(.attributes = plainFile), ROW(.attributes = 0x10), ROW(.attributes = 0), ROW(.attributes = 0xFFFFFBEF),
          // links, without any other attribute too
          ROW(.attributes = linkToFile, .removals = { "DeleteFileA C:\\x" }),
          ROW(.attributes = 0x400, .removals = { "DeleteFileA C:\\x" }),
          ROW(.attributes = linkToFolder, .removals = { "RemoveDirectoryA C:\\x" }));

TEST_P(ReparsePointGuardByAttributes, RemovesLinksAndLeavesEverythingElse)
{
    system.files["C:\\x"] = row().attributes;
    Texts expected = { "GetFileAttributesA C:\\x" };
    expected.insert(expected.end(), row().removals.begin(), row().removals.end());

    EXPECT_EQ(removeReparsePoint("C:\\x"), 0U);
    EXPECT_EQ(system.files.count("C:\\x"), row().removals.empty() ? 1U : 0U);
    EXPECT_EQ(system.calls, expected);
}

TEST_F(ReparsePointGuard, NothingIsRemovedWhereThereIsNoFile)
{
    EXPECT_EQ(removeReparsePoint("C:\\x"), 0U);

    EXPECT_THAT(system.calls, ElementsAre("GetFileAttributesA C:\\x"));
}

TEST_F(ReparsePointGuard, FailsWhenTheLinkCannotBeRemoved)
{
    system.deletesFiles = false;

    for (const DWORD attributes : { linkToFile, linkToFolder }) {
        system.files["C:\\x"] = attributes;

        EXPECT_EQ(removeReparsePoint("C:\\x"), 31U) << attributes;
    }
}

class CoreDirectory : public testing::Test {
protected:
    // The directory, or "none" when there is none and the buffer was emptied.
    static std::string directoryOf(const char* name)
    {
        const GuardedBlock buffer(260);
        const char* const directory = coreDirectory(name, buffer.data());
        EXPECT_TRUE(directory == nullptr || directory == buffer.data());
        if (directory) return directory;
        EXPECT_STREQ(buffer.data(), "");
        return "none";
    }

    static std::string pathOf(const std::string& name)
    {
        const GuardedBlock path(260);
        formCorePath(name.c_str(), path.data());
        return path.data();
    }

    FakeSystem system;
};

// With the library in the install directory, and what is asked about it.
struct LibraryRow {
    const char* name = "orqcore.dll";
    DWORD attributes = plainFile;
    LSTATUS installDirStatus = ERROR_SUCCESS;
    bool deletesFiles = true;
    const char* directory = "C:\\windows\\system32\\Tarvo\\ORQ";
    Texts calls = {};  // beside the search for the install directory
};

class CoreDirectoryOfALibrary : public WithRow<CoreDirectory, LibraryRow> {};

constexpr char looks[] = "GetFileAttributesA C:\\orq\\orqcore.dll";
constexpr char fallsBack[] = "GetSystemDirectoryA 260";

TEST_ROWS(CoreDirectoryOfALibrary, ROW(.directory = "C:\\orq", .calls = { looks, looks }),
          ROW(.installDirStatus = ERROR_UNSUPPORTED_TYPE, .calls = { fallsBack }),
          // a link in its place is removed before the existence test; one that cannot be is no library
          ROW(.attributes = linkToFile, .calls = { looks, "DeleteFileA C:\\orq\\orqcore.dll", looks, fallsBack }),
          ROW(.attributes = linkToFolder, .deletesFiles = false,
              .calls = { looks, "RemoveDirectoryA C:\\orq\\orqcore.dll", fallsBack }),
          // with a separator it is not looked for
          ROW(.name = "sub\\orqcore.dll", .directory = "C:\\orq"), ROW(.name = "sub/x.dll", .directory = "C:\\orq"),
          ROW(.name = "\\orqcore.dll", .directory = "C:\\orq"), ROW(.name = "sub/", .directory = "C:\\orq"));

TEST_P(CoreDirectoryOfALibrary, IsTheInstallDirectoryWhereItHoldsTheLibrary)
{
    system.plugInFrameworkDevice("C:\\orq");
    system.files["C:\\orq\\orqcore.dll"] = row().attributes;
    system.installDirStatus = row().installDirStatus;
    system.deletesFiles = row().deletesFiles;

    EXPECT_EQ(directoryOf(row().name), row().directory);
    while (system.calls.front() != "HeapFree 9") system.calls.erase(system.calls.begin());
    system.calls.erase(system.calls.begin());
    EXPECT_EQ(system.calls, row().calls);
}

TEST_F(CoreDirectory, WithoutAFrameworkDeviceIsTheFolderBelowTheSystemDirectory)
{
    EXPECT_EQ(directoryOf("orqcore.dll"), "C:\\windows\\system32\\Tarvo\\ORQ");

    EXPECT_THAT(system.callsOf("GetSystemDirectoryA"), ElementsAre("GetSystemDirectoryA 260"));
    EXPECT_THAT(system.callsOf("GetFileAttributesA"), IsEmpty());
}

TEST_F(CoreDirectory, AnInstallDirectoryWithoutTheLibraryGivesWayToTheFallback)
{
    system.plugInFrameworkDevice("C:\\orq");

    EXPECT_EQ(directoryOf("orqcore.dll"), "C:\\windows\\system32\\Tarvo\\ORQ");
}

TEST_F(CoreDirectory, ThereIsNoneWhenTheSystemDirectoryFailsOrDoesNotFit)
{
    for (const UINT answer : { 0U, 260U, 261U, 1000U }) {
        system.systemDirectoryAnswer = answer;

        EXPECT_EQ(directoryOf("orqcore.dll"), "none") << answer;
    }
}

TEST_F(CoreDirectory, ThereIsNoneAlsoWhenTheInstallDirectoryWasFoundWithoutTheLibrary)
{
    system.plugInFrameworkDevice("C:\\orq");
    system.systemDirectoryAnswer = 0;

    EXPECT_EQ(directoryOf("orqcore.dll"), "none");
}

struct FolderRow {
    std::size_t length;  // of the system directory
    const char* folder;
};

class FallbackFolder : public WithRow<CoreDirectory, FolderRow> {};

TEST_ROWS(FallbackFolder, ROW(.length = 249, .folder = "\\Tarvo\\ORQ"), ROW(.length = 250, .folder = "\\Tarvo\\OR"),
          ROW(.length = 259, .folder = ""));

TEST_P(FallbackFolder, IsCutOffAtTheBuffersEnd)
{
    system.systemDirectory = std::string(row().length, 's');

    EXPECT_EQ(directoryOf("orqcore.dll"), system.systemDirectory + row().folder);
}

TEST_F(CoreDirectory, ThereIsNoneBelowASystemDirectoryThatIsTooLong)
{
    system.systemDirectory = std::string(260, 's');

    EXPECT_EQ(directoryOf("orqcore.dll"), "none");
}

struct PathRow {
    std::string installDir = {};  // none: no device
    std::string file = {};        // in there
    std::string systemDirectory = "C:\\windows\\system32";
    std::string path;
};

class CorePath : public WithRow<CoreDirectory, PathRow> {};

TEST_ROWS(CorePath, ROW(.installDir = "C:\\orq", .file = "\\orqcore.dll", .path = "C:\\orq\\orqcore.dll"),
          ROW(.installDir = "C:\\orq", .path = "C:\\windows\\system32\\Tarvo\\ORQ\\orqcore.dll"),
          ROW(.path = "C:\\windows\\system32\\Tarvo\\ORQ\\orqcore.dll"),
          // 259 characters are complete, further ones are cut off
          ROW(.installDir = std::string(247, 'd'), .file = "\\orqcore.dll",
              .path = std::string(247, 'd') + "\\orqcore.dll"),
          ROW(.installDir = std::string(248, 'd'), .file = "\\orqcore.dl",
              .path = std::string(248, 'd') + "\\orqcore.dl"),
          ROW(.systemDirectory = std::string(240, 's'), .path = std::string(240, 's') + "\\Tarvo\\ORQ\\orqcore."),
          ROW(.systemDirectory = std::string(255, 's'), .path = std::string(255, 's') + "\\Tar"));

TEST_P(CorePath, JoinsTheDirectoryAndTheNameAndIsCutOffAtTheBuffersEnd)
{
    if (!row().installDir.empty()) system.plugInFrameworkDevice(row().installDir);
    if (!row().file.empty()) system.files[row().installDir + row().file] = plainFile;
    system.systemDirectory = row().systemDirectory;

    EXPECT_EQ(pathOf("orqcore.dll"), row().path);
}

TEST_F(CoreDirectory, WithoutOneThePathIsTheNameItself)
{
    system.systemDirectoryAnswer = 0;

    EXPECT_EQ(pathOf("orqcore.dll"), "orqcore.dll");
    EXPECT_EQ(pathOf(std::string(300, 'n')), std::string(259, 'n'));
}

TEST_F(CoreDirectory, ANameWithASeparatorIsThePathWithoutAnySearch)
{
    system.plugInFrameworkDevice("C:\\orq");

    EXPECT_EQ(pathOf("D:\\own\\core.dll"), "D:\\own\\core.dll");
    EXPECT_EQ(pathOf("own/core.dll"), "own/core.dll");
    EXPECT_EQ(pathOf("\\" + std::string(300, 'n')), "\\" + std::string(258, 'n'));

    EXPECT_THAT(system.calls, IsEmpty());
}

}  // namespace
}  // namespace kelvane::tests
