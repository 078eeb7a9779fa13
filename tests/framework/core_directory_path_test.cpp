// From the library's name to its path: install directory, fallback, truncation, and the guard against redirection.
#include "framework/core_directory.h"

#include "tests/support/fake_system.h"
#include "tests/support/rows.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr DWORD plainFile = 0x20;
constexpr DWORD linkToFile = 0x420;
constexpr DWORD linkToFolder = 0x410;

struct LinkRow {
    std::optional<DWORD> attributes;  // none: no file
    bool deletesFiles = true;
    std::vector<std::string> removals = {};
    unsigned long status = 0;
    std::size_t left = 1;
};

class ReparsePointGuard : public WithRow<testing::Test, LinkRow> {};

TEST_ROWS(ReparsePointGuard,
          // file, folder, no attribute at all, every attribute but a link's and a folder's; no file
          ROW(.attributes = plainFile), ROW(.attributes = 0x10), ROW(.attributes = 0), ROW(.attributes = 0xFFFFFBEF),
          ROW(.attributes = {}, .left = 0),
          // links, without any other attribute too
          ROW(.attributes = linkToFile, .removals = { "DeleteFileA C:\\x" }, .left = 0),
          ROW(.attributes = 0x400, .removals = { "DeleteFileA C:\\x" }, .left = 0),
          ROW(.attributes = linkToFolder, .removals = { "RemoveDirectoryA C:\\x" }, .left = 0),
          ROW(.attributes = linkToFile, .deletesFiles = false, .removals = { "DeleteFileA C:\\x" }, .status = 31),
          ROW(.attributes = linkToFolder, .deletesFiles = false, .removals = { "RemoveDirectoryA C:\\x" },
              .status = 31));

TEST_ROW(ReparsePointGuard, RemovesLinksAndLeavesEverythingElse)
{
    FakeSystem system;
    system.deletesFiles = row().deletesFiles;
    if (row().attributes) system.files["C:\\x"] = *row().attributes;
    std::vector<std::string> calls = row().removals;
    calls.insert(calls.begin(), "GetFileAttributesA C:\\x");

    EXPECT_EQ(removeReparsePoint("C:\\x"), row().status);
    EXPECT_EQ(system.files.size(), row().left);
    EXPECT_EQ(system.calls, calls);
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

constexpr char fallback[] = "C:\\windows\\system32\\Tarvo\\ORQ";
constexpr char pathInFallback[] = "C:\\windows\\system32\\Tarvo\\ORQ\\orqcore.dll";

struct PlaceRow {
    std::string installDir = "C:\\orq";  // empty: no device
    LSTATUS installDirStatus = ERROR_SUCCESS;
    std::string file = "\\orqcore.dll";  // in there
    DWORD attributes = plainFile;
    bool deletesFiles = true;
    std::string systemDirectory = "C:\\windows\\system32";
    std::optional<UINT> systemAnswer = {};  // none: its length
    std::string name = "orqcore.dll";
    std::string directory = fallback;
    std::string path = pathInFallback;
};

class CorePlace : public WithRow<CoreDirectory, PlaceRow> {
protected:
    CorePlace()
    {
        if (!row().installDir.empty()) system.plugInFrameworkDevice(row().installDir);
        system.installDirStatus = row().installDirStatus;
        system.files[row().installDir + row().file] = row().attributes;
        system.deletesFiles = row().deletesFiles;
        system.systemDirectory = row().systemDirectory;
        system.systemDirectoryAnswer = row().systemAnswer;
    }
};

TEST_ROWS(CorePlace,
          // the install directory, where it is known and holds the library
          ROW(.directory = "C:\\orq", .path = "C:\\orq\\orqcore.dll"), ROW(.file = "\\other.dll"),
          ROW(.installDir = ""), ROW(.installDirStatus = ERROR_UNSUPPORTED_TYPE),
          // a link in the library's place is none, removed or not
          ROW(.attributes = linkToFile), ROW(.attributes = linkToFolder, .deletesFiles = false),
          // a folder in its place is taken for it
          ROW(.attributes = FILE_ATTRIBUTE_DIRECTORY, .directory = "C:\\orq", .path = "C:\\orq\\orqcore.dll"),
          // a name with a separator is not looked for
          ROW(.name = "sub\\orqcore.dll", .directory = "C:\\orq", .path = "sub\\orqcore.dll"),
          ROW(.name = "own/core.dll", .directory = "C:\\orq", .path = "own/core.dll"),
          ROW(.name = "\\orqcore.dll", .directory = "C:\\orq", .path = "\\orqcore.dll"),
          ROW(.name = "sub/", .directory = "C:\\orq", .path = "sub/"),
          ROW(.name = "\\" + std::string(300, 'n'), .directory = "C:\\orq", .path = "\\" + std::string(258, 'n')),
          // none, when the system directory fails or does not fit
          ROW(.installDir = "", .systemAnswer = 0, .directory = "none", .path = "orqcore.dll"),
          ROW(.installDir = "", .systemAnswer = 260, .directory = "none", .path = "orqcore.dll"),
          ROW(.installDir = "", .systemAnswer = 261, .directory = "none", .path = "orqcore.dll"),
          ROW(.installDir = "", .systemAnswer = 1000, .directory = "none", .path = "orqcore.dll"),
          ROW(.file = "\\other.dll", .systemAnswer = 0, .directory = "none", .path = "orqcore.dll"),
          ROW(.installDir = "", .systemDirectory = std::string(260, 's'), .directory = "none", .path = "orqcore.dll"),
          ROW(.installDir = "", .systemAnswer = 0, .name = std::string(300, 'n'), .directory = "none",
              .path = std::string(259, 'n')),
          // 259 characters are complete, further ones are cut off
          ROW(.installDir = std::string(247, 'd'), .directory = std::string(247, 'd'),
              .path = std::string(247, 'd') + "\\orqcore.dll"),
          ROW(.installDir = std::string(248, 'd'), .file = "\\orqcore.dl", .directory = std::string(248, 'd'),
              .path = std::string(248, 'd') + "\\orqcore.dl"),
          ROW(.installDir = "", .systemDirectory = std::string(240, 's'),
              .directory = std::string(240, 's') + "\\Tarvo\\ORQ",
              .path = std::string(240, 's') + "\\Tarvo\\ORQ\\orqcore."),
          ROW(.installDir = "", .systemDirectory = std::string(249, 's'),
              .directory = std::string(249, 's') + "\\Tarvo\\ORQ", .path = std::string(249, 's') + "\\Tarvo\\ORQ"),
          ROW(.installDir = "", .systemDirectory = std::string(250, 's'),
              .directory = std::string(250, 's') + "\\Tarvo\\OR", .path = std::string(250, 's') + "\\Tarvo\\OR"),
          ROW(.installDir = "", .systemDirectory = std::string(259, 's'), .directory = std::string(259, 's'),
              .path = std::string(259, 's')));

TEST_ROW(CorePlace, HasADirectory) { EXPECT_EQ(directoryOf(row().name.c_str()), row().directory); }

TEST_ROW(CorePlace, HasAPath) { EXPECT_EQ(pathOf(row().name), row().path); }

// Of a library in the install directory.
struct QuestionsRow {
    const char* name = "orqcore.dll";
    DWORD attributes = plainFile;
    bool deletesFiles = true;
    std::vector<std::string> calls = {};
};

class CoreDirectoryQuestions : public WithRow<CoreDirectory, QuestionsRow> {};

constexpr char looks[] = "GetFileAttributesA C:\\orq\\orqcore.dll";

TEST_ROWS(CoreDirectoryQuestions, ROW(.calls = { looks, looks }), ROW(.name = "sub\\orqcore.dll"),
          ROW(.attributes = linkToFile,
              .calls = { looks, "DeleteFileA C:\\orq\\orqcore.dll", looks, "GetSystemDirectoryA 260" }),
          ROW(.attributes = linkToFolder, .deletesFiles = false,
              .calls = { looks, "RemoveDirectoryA C:\\orq\\orqcore.dll", "GetSystemDirectoryA 260" }));

TEST_ROW(CoreDirectoryQuestions, FollowTheSearchForTheInstallDirectory)
{
    system.plugInFrameworkDevice("C:\\orq");
    system.files["C:\\orq\\orqcore.dll"] = row().attributes;
    system.deletesFiles = row().deletesFiles;

    directoryOf(row().name);

    while (system.calls.front() != "HeapFree 9") system.calls.erase(system.calls.begin());
    system.calls.erase(system.calls.begin());
    EXPECT_EQ(system.calls, row().calls);
}

TEST_F(CoreDirectory, WithoutAFrameworkDeviceIsTheFallbackWithoutALook)
{
    directoryOf("orqcore.dll");

    EXPECT_THAT(system.callsOf("GetSystemDirectoryA"), ElementsAre("GetSystemDirectoryA 260"));
    EXPECT_THAT(system.callsOf("GetFileAttributesA"), IsEmpty());
}

TEST_F(CoreDirectory, IsNotSearchedForANameWithASeparator)
{
    system.plugInFrameworkDevice("C:\\orq");

    pathOf("D:\\own\\core.dll");
    pathOf("own/core.dll");

    EXPECT_THAT(system.calls, IsEmpty());
}

struct LookRow {
    std::string installDir = "C:\\orq";  // empty: no device
    std::string file = "C:\\orq\\orqcore.dll";
    DWORD attributes = plainFile;
    std::optional<UINT> systemAnswer = {};  // none: its length
    std::string path = "C:\\orq\\orqcore.dll";
};

class CoreThatIsLookedFor : public WithRow<CoreDirectory, LookRow> {};

TEST_ROWS(CoreThatIsLookedFor,
          // where the service would load it from; a link in its place counts
          ROW(.attributes = plainFile), ROW(.attributes = linkToFile), ROW(.attributes = linkToFolder),
          ROW(.file = "C:\\other", .path = pathInFallback), ROW(.installDir = "", .path = pathInFallback),
          ROW(.installDir = "", .systemAnswer = 0, .path = ""));

TEST_ROW(CoreThatIsLookedFor, StaysAsItIs)
{
    if (!row().installDir.empty()) system.plugInFrameworkDevice(row().installDir);
    system.files = { { row().file, row().attributes } };
    system.systemDirectory = "C:\\windows\\system32";
    system.systemDirectoryAnswer = row().systemAnswer;
    const GuardedBlock path(260);

    lookForCore("orqcore.dll", path.data());

    EXPECT_STREQ(path.data(), row().path.c_str());
    EXPECT_EQ(system.files.size(), 1U);
}

}  // namespace
}  // namespace kelvane::tests
