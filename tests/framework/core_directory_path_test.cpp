// From the library's name to its path: install directory, fallback, truncation, and the guard against redirection.
#include "framework/core_directory.h"

#include "tests/support/fake_system.h"
#include "tests/support/rows.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace kelvane::tests {
namespace {

using testing::IsEmpty;

using Texts = std::vector<std::string>;

constexpr DWORD plainFile = 0x20;
constexpr DWORD linkToFile = 0x420;
constexpr DWORD linkToFolder = 0x410;
constexpr char library[] = "C:\\orq\\orqcore.dll";

class CorePath : public testing::Test {
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

struct GuardRow {
    std::optional<DWORD> attributes = std::nullopt;  // none: there is no such file
    bool deletesFiles = true;
    unsigned long status = 0;
    Texts removals = {};
};

using ReparsePointGuard = WithRow<CorePath, GuardRow>;

TEST_ROWS(ReparsePointGuard, ROW(.attributes = std::nullopt),
          // files and folders, no attribute at all, all but that of a link
          ROW(.attributes = plainFile), ROW(.attributes = 0x10), ROW(.attributes = 0), ROW(.attributes = 0xFFFFFBEF),
          ROW(.attributes = linkToFile, .removals = { "DeleteFileA C:\\x" }),
          ROW(.attributes = 0x400, .removals = { "DeleteFileA C:\\x" }),
          ROW(.attributes = linkToFolder, .removals = { "RemoveDirectoryA C:\\x" }),
          // links that cannot be removed
          ROW(.attributes = linkToFile, .deletesFiles = false, .status = 31, .removals = { "DeleteFileA C:\\x" }),
          ROW(.attributes = linkToFolder, .deletesFiles = false, .status = 31,
              .removals = { "RemoveDirectoryA C:\\x" }));

TEST_P(ReparsePointGuard, RemovesLinksAndLeavesEverythingElse)
{
    if (row().attributes) system.files["C:\\x"] = *row().attributes;
    system.deletesFiles = row().deletesFiles;

    EXPECT_EQ(removeReparsePoint("C:\\x"), row().status);

    Texts calls = { "GetFileAttributesA C:\\x" };
    calls.insert(calls.end(), row().removals.begin(), row().removals.end());
    EXPECT_EQ(system.calls, calls);
}

const std::string look = "GetFileAttributesA C:\\orq\\orqcore.dll";
const std::string fallBack = "GetSystemDirectoryA 260";

// What there is, and what is made of a name: the directory for it, and its path.
struct SearchRow {
    bool device = true;  // with the install directory C:\orq
    LSTATUS installDirStatus = ERROR_SUCCESS;
    std::optional<DWORD> attributes = std::nullopt;  // of the library in it; none: it is not there
    bool deletesFiles = true;
    std::optional<UINT> systemDirectory = std::nullopt;  // an answer in place of "C:\windows\system32"
    const char* name = "orqcore.dll";
    const char* directory = "C:\\windows\\system32\\Tarvo\\ORQ";
    const char* path = "C:\\windows\\system32\\Tarvo\\ORQ\\orqcore.dll";
    Texts calls = { fallBack };  // behind the search for the install directory
};

class CoreSearch : public WithRow<CorePath, SearchRow> {
protected:
    CoreSearch()
    {
        if (row().device) system.plugInFrameworkDevice("C:\\orq");
        system.installDirStatus = row().installDirStatus;
        if (row().attributes) system.files[library] = *row().attributes;
        system.deletesFiles = row().deletesFiles;
        system.systemDirectoryAnswer = row().systemDirectory;
    }
};

TEST_ROWS(CoreSearch, ROW(.attributes = plainFile, .directory = "C:\\orq", .path = library, .calls = { look, look }),
          // the install directory does not hold the library, cannot be read, is not there
          ROW(.attributes = std::nullopt, .calls = { look, look, fallBack }),
          ROW(.installDirStatus = ERROR_UNSUPPORTED_TYPE, .attributes = plainFile), ROW(.device = false),
          // a link in the library's place is removed before the look whether it is there; or it is as good as not there
          ROW(.attributes = linkToFile, .calls = { look, "DeleteFileA C:\\orq\\orqcore.dll", look, fallBack }),
          ROW(.attributes = linkToFolder, .deletesFiles = false,
              .calls = { look, "RemoveDirectoryA C:\\orq\\orqcore.dll", fallBack }),
          // a name with a separator is not looked for there, and is its own path
          ROW(.name = "sub\\orqcore.dll", .directory = "C:\\orq", .path = "sub\\orqcore.dll", .calls = {}),
          ROW(.name = "folder/orqcore.dll", .directory = "C:\\orq", .path = "folder/orqcore.dll", .calls = {}),
          ROW(.name = "\\orqcore.dll", .directory = "C:\\orq", .path = "\\orqcore.dll", .calls = {}),
          ROW(.name = "sub/", .directory = "C:\\orq", .path = "sub/", .calls = {}),
          // the system directory fails, or does not fit
          ROW(.device = false, .systemDirectory = 0, .directory = "none", .path = "orqcore.dll"),
          ROW(.device = false, .systemDirectory = 260, .directory = "none", .path = "orqcore.dll"),
          ROW(.device = false, .systemDirectory = 261, .directory = "none", .path = "orqcore.dll"),
          ROW(.device = false, .systemDirectory = 1000, .directory = "none", .path = "orqcore.dll"),
          ROW(.systemDirectory = 0, .directory = "none", .path = "orqcore.dll", .calls = { look, look, fallBack }));

TEST_P(CoreSearch, FindsTheDirectory)
{
    EXPECT_EQ(directoryOf(row().name), row().directory);

    const auto searchEnd = std::ranges::find_if(system.calls, [](const auto& c) { return c.starts_with("HeapFree"); });
    ASSERT_NE(searchEnd, system.calls.end());
    EXPECT_EQ(Texts(searchEnd + 1, system.calls.end()), row().calls);
}

TEST_P(CoreSearch, FormsThePath) { EXPECT_EQ(pathOf(row().name), row().path); }

TEST_F(CorePath, ANameWithASeparatorIsTakenAsItIsWithoutAnySearch)
{
    EXPECT_EQ(pathOf("D:\\own\\core.dll"), "D:\\own\\core.dll");
    EXPECT_EQ(pathOf("own/core.dll"), "own/core.dll");

    EXPECT_THAT(system.calls, IsEmpty());
}

TEST_F(CorePath, ANameAloneIsCutOffAtTwoHundredAndFiftyNineCharacters)
{
    system.systemDirectoryAnswer = 0;

    EXPECT_EQ(pathOf(std::string(300, 'n')), std::string(259, 'n'));
    EXPECT_EQ(pathOf("\\" + std::string(300, 'n')), "\\" + std::string(258, 'n'));
}

TEST_F(CorePath, InALongInstallDirectoryIsCutOffWithoutGivingWayToTheFallback)
{
    for (const auto& [length, tail] : { std::pair(247, "\\orqcore.dll"), std::pair(248, "\\orqcore.dl") }) {
        const std::string directory(static_cast<std::size_t>(length), 'd');
        system.plugInFrameworkDevice(directory);
        system.files[directory + tail] = plainFile;

        EXPECT_EQ(pathOf("orqcore.dll"), directory + tail);
    }
    EXPECT_THAT(system.callsOf("GetSystemDirectoryA"), IsEmpty());
}

// What follows a system directory of this many characters.
struct TailRow {
    std::size_t length;
    const char* inDirectory;
    const char* inPath;
};

using LongSystemDirectory = WithRow<CorePath, TailRow>;

TEST_ROWS(LongSystemDirectory, ROW(.length = 240, .inDirectory = "\\Tarvo\\ORQ", .inPath = "\\Tarvo\\ORQ\\orqcore."),
          ROW(.length = 249, .inDirectory = "\\Tarvo\\ORQ", .inPath = "\\Tarvo\\ORQ"),
          ROW(.length = 250, .inDirectory = "\\Tarvo\\OR", .inPath = "\\Tarvo\\OR"),
          ROW(.length = 255, .inDirectory = "\\Tar", .inPath = "\\Tar"),
          ROW(.length = 259, .inDirectory = "", .inPath = ""));

TEST_P(LongSystemDirectory, LeavesRoomForAPartOfTheRest)
{
    system.systemDirectory = std::string(row().length, 's');

    EXPECT_EQ(directoryOf("orqcore.dll"), system.systemDirectory + row().inDirectory);
    EXPECT_EQ(pathOf("orqcore.dll"), system.systemDirectory + row().inPath);
}

TEST_F(CorePath, HasNoDirectoryWhenThatOfTheSystemFillsTheBuffer)
{
    system.systemDirectory = std::string(260, 's');

    EXPECT_EQ(directoryOf("orqcore.dll"), "none");
}

}  // namespace
}  // namespace kelvane::tests
