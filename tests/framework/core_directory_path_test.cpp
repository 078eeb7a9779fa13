// From the library's name to its path: install directory, fallback, truncation, and the guard against redirection.
#include "framework/core_directory.h"

#include "tests/support/fake_system.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr DWORD plainFile = 0x20;
constexpr DWORD linkToFile = 0x420;
constexpr DWORD linkToFolder = 0x410;
constexpr char fallbackCore[] = "C:\\windows\\system32\\Tarvo\\ORQ\\orqcore.dll";

// The directory, or "none" when there is none and the buffer was emptied.
std::string directoryOf(const char* name)
{
    const GuardedBlock buffer(260);
    const char* const directory = coreDirectory(name, buffer.data());
    EXPECT_TRUE(directory == nullptr || directory == buffer.data());
    if (directory) return directory;
    EXPECT_STREQ(buffer.data(), "");
    return "none";
}

std::string pathOf(const std::string& name)
{
    const GuardedBlock path(260);
    formCorePath(name.c_str(), path.data());
    return path.data();
}

TEST(ReparsePointGuard, RemovesLinksAndLeavesEverythingElse)
{
    struct Row {
        const char* what;
        DWORD attributes;
        std::vector<std::string> removals;
    };

    const Row rows[] = {
        { "a file", plainFile, {} },
        { "a folder", 0x10, {} },
        { "no attribute at all", 0, {} },
        { "neighbouring attributes", 0xFFFFFBEF, {} },
        { "a link to a file", linkToFile, { "DeleteFileA C:\\x" } },
        { "a link without any other attribute", 0x400, { "DeleteFileA C:\\x" } },
        { "a junction", linkToFolder, { "RemoveDirectoryA C:\\x" } },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        FakeSystem system;
        system.files["C:\\x"] = row.attributes;

        EXPECT_EQ(removeReparsePoint("C:\\x"), 0U);

        EXPECT_EQ(system.files.count("C:\\x"), row.removals.empty() ? 1U : 0U);
        system.calls.erase(system.calls.begin());
        EXPECT_EQ(system.calls, row.removals);
    }
}

TEST(ReparsePointGuard, NothingIsRemovedWhereThereIsNoFile)
{
    FakeSystem system;

    EXPECT_EQ(removeReparsePoint("C:\\x"), 0U);

    EXPECT_THAT(system.calls, ElementsAre("GetFileAttributesA C:\\x"));
}

TEST(ReparsePointGuard, FailsWhenTheLinkCannotBeRemoved)
{
    for (const DWORD attributes : { linkToFile, linkToFolder }) {
        FakeSystem system;
        system.files["C:\\x"] = attributes;
        system.deletesFiles = false;

        EXPECT_EQ(removeReparsePoint("C:\\x"), 31U) << attributes;
    }
}

TEST(CoreDirectory, IsTheInstallDirectoryThatHoldsTheLibrary)
{
    FakeSystem system;
    system.plugInFrameworkDevice("C:\\orq");
    system.files["C:\\orq\\orqcore.dll"] = plainFile;

    EXPECT_EQ(directoryOf("orqcore.dll"), "C:\\orq");

    EXPECT_THAT(system.callsOf("GetSystemDirectoryA"), IsEmpty());
    EXPECT_THAT(system.callsOf("GetFileAttributesA"),
                ElementsAre("GetFileAttributesA C:\\orq\\orqcore.dll", "GetFileAttributesA C:\\orq\\orqcore.dll"));
}

TEST(CoreDirectory, WithoutAFrameworkDeviceIsTheFolderBelowTheSystemDirectory)
{
    FakeSystem system;

    EXPECT_EQ(directoryOf("orqcore.dll"), "C:\\windows\\system32\\Tarvo\\ORQ");

    EXPECT_THAT(system.callsOf("GetSystemDirectoryA"), ElementsAre("GetSystemDirectoryA 260"));
    EXPECT_THAT(system.callsOf("GetFileAttributesA"), IsEmpty());
}

TEST(CoreDirectory, AnInstallDirectoryWithoutTheLibraryGivesWayToTheFallback)
{
    FakeSystem system;
    system.plugInFrameworkDevice("C:\\orq");

    EXPECT_EQ(directoryOf("orqcore.dll"), "C:\\windows\\system32\\Tarvo\\ORQ");
}

TEST(CoreDirectory, AnUnreadableInstallDirectoryGivesWayToTheFallback)
{
    FakeSystem system;
    system.plugInFrameworkDevice("C:\\orq");
    system.files["C:\\orq\\orqcore.dll"] = plainFile;
    system.installDirStatus = ERROR_UNSUPPORTED_TYPE;

    EXPECT_EQ(directoryOf("orqcore.dll"), "C:\\windows\\system32\\Tarvo\\ORQ");
}

TEST(CoreDirectory, ALinkInTheLibrarysPlaceIsRemovedBeforeTheExistenceTest)
{
    FakeSystem system;
    system.plugInFrameworkDevice("C:\\orq");
    system.files["C:\\orq\\orqcore.dll"] = linkToFile;

    EXPECT_EQ(directoryOf("orqcore.dll"), "C:\\windows\\system32\\Tarvo\\ORQ");

    EXPECT_THAT(system.files, IsEmpty());
    EXPECT_THAT(system.callsOf("DeleteFileA"), ElementsAre("DeleteFileA C:\\orq\\orqcore.dll"));
}

TEST(CoreDirectory, ALibraryBehindALinkThatCannotBeRemovedDoesNotExist)
{
    FakeSystem system;
    system.plugInFrameworkDevice("C:\\orq");
    system.files["C:\\orq\\orqcore.dll"] = linkToFolder;
    system.deletesFiles = false;

    EXPECT_EQ(directoryOf("orqcore.dll"), "C:\\windows\\system32\\Tarvo\\ORQ");

    EXPECT_THAT(system.callsOf("RemoveDirectoryA"), ElementsAre("RemoveDirectoryA C:\\orq\\orqcore.dll"));
}

TEST(CoreDirectory, ANameWithASeparatorIsNotLookedForInTheInstallDirectory)
{
    for (const char* const name : { "sub\\orqcore.dll", "sub/orqcore.dll", "\\orqcore.dll", "sub/" }) {
        SCOPED_TRACE(name);
        FakeSystem system;
        system.plugInFrameworkDevice("C:\\orq");

        EXPECT_EQ(directoryOf(name), "C:\\orq");

        EXPECT_THAT(system.callsOf("GetFileAttributesA"), IsEmpty());
    }
}

TEST(CoreDirectory, ThereIsNoneWhenTheSystemDirectoryFailsOrDoesNotFit)
{
    for (const UINT answer : { 0U, 260U, 261U, 1000U }) {
        FakeSystem system;
        system.systemDirectoryAnswer = answer;

        EXPECT_EQ(directoryOf("orqcore.dll"), "none") << answer;
    }
}

TEST(CoreDirectory, ThereIsNoneAlsoWhenTheInstallDirectoryWasFoundWithoutTheLibrary)
{
    FakeSystem system;
    system.plugInFrameworkDevice("C:\\orq");
    system.systemDirectoryAnswer = 0;

    EXPECT_EQ(directoryOf("orqcore.dll"), "none");
}

TEST(CoreDirectory, TheFallbackFolderIsCutOffAtTheBuffersEnd)
{
    FakeSystem system;

    system.systemDirectory = std::string(249, 's');
    EXPECT_EQ(directoryOf("orqcore.dll"), std::string(249, 's') + "\\Tarvo\\ORQ");

    system.systemDirectory = std::string(250, 's');
    EXPECT_EQ(directoryOf("orqcore.dll"), std::string(250, 's') + "\\Tarvo\\OR");

    system.systemDirectory = std::string(259, 's');
    EXPECT_EQ(directoryOf("orqcore.dll"), std::string(259, 's'));

    system.systemDirectory = std::string(260, 's');
    EXPECT_EQ(directoryOf("orqcore.dll"), "none");
}

TEST(CorePath, JoinsTheInstallDirectoryAndTheName)
{
    FakeSystem system;
    system.plugInFrameworkDevice("C:\\orq");
    system.files["C:\\orq\\orqcore.dll"] = plainFile;

    EXPECT_EQ(pathOf("orqcore.dll"), "C:\\orq\\orqcore.dll");
}

TEST(CorePath, WithoutAFrameworkDeviceLiesBelowTheSystemDirectory)
{
    FakeSystem system;

    EXPECT_EQ(pathOf("orqcore.dll"), fallbackCore);
}

TEST(CorePath, WithoutTheLibraryInTheInstallDirectoryLiesBelowTheSystemDirectory)
{
    FakeSystem system;
    system.plugInFrameworkDevice("C:\\orq");

    EXPECT_EQ(pathOf("orqcore.dll"), fallbackCore);
}

TEST(CorePath, WithoutAnyDirectoryIsTheNameItself)
{
    FakeSystem system;
    system.systemDirectoryAnswer = 0;

    EXPECT_EQ(pathOf("orqcore.dll"), "orqcore.dll");
    EXPECT_EQ(pathOf(std::string(300, 'n')), std::string(259, 'n'));
}

TEST(CorePath, ANameWithASeparatorIsTakenAsItIsWithoutAnySearch)
{
    FakeSystem system;
    system.plugInFrameworkDevice("C:\\orq");

    EXPECT_EQ(pathOf("D:\\own\\core.dll"), "D:\\own\\core.dll");
    EXPECT_EQ(pathOf("own/core.dll"), "own/core.dll");
    EXPECT_EQ(pathOf("\\" + std::string(300, 'n')), "\\" + std::string(258, 'n'));

    EXPECT_THAT(system.calls, IsEmpty());
}

TEST(CorePath, IsCutOffAtTwoHundredAndFiftyNineCharacters)
{
    FakeSystem system;
    system.plugInFrameworkDevice(std::string(248, 'd'));
    system.files[std::string(248, 'd') + "\\orqcore.dl"] = plainFile;

    EXPECT_EQ(pathOf("orqcore.dll"), std::string(248, 'd') + "\\orqcore.dl");

    EXPECT_THAT(system.calls, Not(Contains(StartsWith("GetSystemDirectoryA"))));
}

TEST(CorePath, OfTwoHundredAndFiftyNineCharactersIsComplete)
{
    FakeSystem system;
    system.plugInFrameworkDevice(std::string(247, 'd'));
    system.files[std::string(247, 'd') + "\\orqcore.dll"] = plainFile;

    EXPECT_EQ(pathOf("orqcore.dll"), std::string(247, 'd') + "\\orqcore.dll");
}

TEST(CorePath, BelowALongSystemDirectoryIsCutOffToo)
{
    FakeSystem system;

    system.systemDirectory = std::string(240, 's');
    EXPECT_EQ(pathOf("orqcore.dll"), std::string(240, 's') + "\\Tarvo\\ORQ\\orqcore.");

    system.systemDirectory = std::string(255, 's');
    EXPECT_EQ(pathOf("orqcore.dll"), std::string(255, 's') + "\\Tar");
}

}  // namespace
}  // namespace kelvane::tests
