// The search for the install directory: which device is asked what, and every question failing.
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

constexpr char interfaceQueryOfA[] =
    "CM_Get_Device_Interface_List_SizeA {EE27098E-1B22-472A-89D8-5CCCE16B1356} PCI\\A 0x0";
constexpr char interfaceQueryOfB[] =
    "CM_Get_Device_Interface_List_SizeA {EE27098E-1B22-472A-89D8-5CCCE16B1356} PCI\\B 0x0";

unsigned long locate(std::string* directory = nullptr)
{
    const GuardedBlock buffer(260);
    const unsigned long status = locateInstallDirectory(buffer.data(), 260);
    if (directory) *directory = buffer.data();
    return status;
}

TEST(LocateInstallDirectory, NoBufferOrNoRoomIsRefusedWithoutAQuestionToTheSystem)
{
    FakeSystem system;
    system.plugInFrameworkDevice("C:\\orq");
    char buffer[260] = "as before";

    EXPECT_EQ(locateInstallDirectory(nullptr, 260), 3U);
    EXPECT_EQ(locateInstallDirectory(buffer, 0), 3U);

    EXPECT_STREQ(buffer, "as before");
    EXPECT_THAT(system.calls, IsEmpty());
}

TEST(LocateInstallDirectory, ReadsTheDirectoryFromTheHardwareKeyOfTheDeviceWithTheInterface)
{
    FakeSystem system;
    system.deviceList = deviceIds({ "PCI\\A", "PCI\\B" });  // 6 bytes each, and the end
    system.interfaces["PCI\\B"] = { CR_SUCCESS, 2 };
    system.installDir = "C:\\Program Files\\orq";
    std::string directory;

    EXPECT_EQ(locate(&directory), 0U);

    EXPECT_EQ(directory, "C:\\Program Files\\orq");
    EXPECT_THAT(system.calls, ElementsAre("CM_Get_Device_ID_List_SizeA PCI 0x101", "HeapAlloc 13 zeroed",
                                          "CM_Get_Device_ID_ListA PCI 13 0x101", interfaceQueryOfA, interfaceQueryOfB,
                                          "CM_Locate_DevNodeA PCI\\B 0x0", "CM_Open_DevNode_Key 7 0x20019 0 1 0x0",
                                          "RegGetValueA InstallDir 0x2 260", "RegCloseKey", "HeapFree 13"));
}

TEST(LocateInstallDirectory, HandsTheCallersOwnSizeToTheRegistry)
{
    FakeSystem system;
    system.plugInFrameworkDevice("C:\\orq");
    const GuardedBlock buffer(7);

    EXPECT_EQ(locateInstallDirectory(buffer.data(), 7), 0U);

    EXPECT_STREQ(buffer.data(), "C:\\orq");
    EXPECT_THAT(system.calls, Contains("RegGetValueA InstallDir 0x2 7"));
}

TEST(LocateInstallDirectory, TheFirstDeviceWithTheInterfaceWinsAndNoFurtherOneIsAsked)
{
    FakeSystem system;
    system.deviceList = deviceIds({ "PCI\\A", "PCI\\B" });
    system.interfaces["PCI\\A"] = { CR_SUCCESS, 40 };
    system.interfaces["PCI\\B"] = { CR_SUCCESS, 40 };

    EXPECT_EQ(locate(), 0U);

    EXPECT_THAT(system.callsOf("CM_Get_Device_Interface_List_SizeA"), ElementsAre(interfaceQueryOfA));
    EXPECT_THAT(system.callsOf("CM_Locate_DevNodeA"), ElementsAre("CM_Locate_DevNodeA PCI\\A 0x0"));
}

TEST(LocateInstallDirectory, ADeviceThatCannotBeAskedIsPassedOver)
{
    FakeSystem system;
    system.deviceList = deviceIds({ "PCI\\A", "PCI\\B" });
    system.interfaces["PCI\\A"] = { CR_NO_SUCH_DEVNODE, 40 };
    system.interfaces["PCI\\B"] = { CR_SUCCESS, 40 };

    EXPECT_EQ(locate(), 0U);

    EXPECT_THAT(system.callsOf("CM_Locate_DevNodeA"), ElementsAre("CM_Locate_DevNodeA PCI\\B 0x0"));
}

TEST(LocateInstallDirectory, OnlyAListWithANameCountsAsAnInterface)
{
    struct Row {
        const char* what;
        FakeSystem::InterfaceList answer;
        unsigned long status;
    };

    constexpr Row rows[] = {
        { "no list at all", { 0, 0 }, 37 },
        { "an empty list is its closing NUL", { 0, 1 }, 37 },
        { "the shortest list with a name", { 0, 2 }, 0 },
        { "a failed query, whatever the size", { 13, 2 }, 13 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        FakeSystem system;
        system.deviceList = deviceIds({ "PCI\\A" });
        system.interfaces["PCI\\A"] = row.answer;

        EXPECT_EQ(locate(), row.status);

        EXPECT_EQ(system.callsOf("CM_Locate_DevNodeA").size(), row.status == 0 ? 1U : 0U);
        EXPECT_EQ(system.callsOf("CM_Open_DevNode_Key").size(), row.status == 0 ? 1U : 0U);
        EXPECT_EQ(system.heldBlocks(), 0U);
    }
}

TEST(LocateInstallDirectory, WithoutAWinnerTheLastFailedQueryIsTheReason)
{
    struct Row {
        const char* what;
        FakeSystem::InterfaceList ofA;
        FakeSystem::InterfaceList ofB;
        unsigned long status;
    };

    constexpr Row rows[] = {
        { "no query fails", { 0, 1 }, { 0, 1 }, 37 },
        { "the first fails", { 13, 0 }, { 0, 1 }, 13 },
        { "the last fails", { 0, 1 }, { 19, 0 }, 19 },
        { "both fail", { 13, 0 }, { 19, 0 }, 19 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        FakeSystem system;
        system.deviceList = deviceIds({ "PCI\\A", "PCI\\B" });
        system.interfaces["PCI\\A"] = row.ofA;
        system.interfaces["PCI\\B"] = row.ofB;

        EXPECT_EQ(locate(), row.status);

        EXPECT_THAT(system.calls, Not(Contains(StartsWith("CM_Locate_DevNodeA"))));
        EXPECT_THAT(system.calls, Not(Contains(StartsWith("CM_Open_DevNode_Key"))));
    }
}

TEST(LocateInstallDirectory, AFailureEndsTheSearchWithItsStatusAndReleasesWhatIsHeld)
{
    struct Row {
        const char* what;
        void (*fail)(FakeSystem&);
        unsigned long status;
        const char* lastCall;
    };

    constexpr Row rows[] = {
        { "size of the list", [](FakeSystem& s) { s.deviceListSizeStatus = 19; }, 19,
          "CM_Get_Device_ID_List_SizeA PCI 0x101" },
        { "memory", [](FakeSystem& s) { s.failingAllocation = 1; }, 2, "HeapAlloc 9 zeroed" },
        { "list", [](FakeSystem& s) { s.deviceListStatus = 26; }, 26, "HeapFree 9" },
        { "device node", [](FakeSystem& s) { s.locateStatus = 13; }, 13, "HeapFree 9" },
        { "registry key", [](FakeSystem& s) { s.openKeyStatus = 46; }, 46, "HeapFree 9" },
        { "registry value", [](FakeSystem& s) { s.installDirStatus = 2; }, 2, "HeapFree 9" },
    };
    constexpr const char* callsBefore[] = { "CM_Get_Device_ID_List_SizeA", "HeapAlloc",
                                            "CM_Get_Device_ID_ListA",      "CM_Locate_DevNodeA",
                                            "CM_Open_DevNode_Key",         "RegGetValueA" };
    for (std::size_t failing = 0; failing < std::size(rows); ++failing) {
        const Row& row = rows[failing];
        SCOPED_TRACE(row.what);
        FakeSystem system;
        system.plugInFrameworkDevice("C:\\orq");  // its list has 9 bytes
        row.fail(system);

        EXPECT_EQ(locate(), row.status);

        for (std::size_t step = 0; step < std::size(callsBefore); ++step) {
            EXPECT_EQ(system.callsOf(callsBefore[step]).size(), step <= failing ? 1U : 0U) << callsBefore[step];
        }
        EXPECT_EQ(system.calls.back(), row.lastCall);
        EXPECT_EQ(system.heldBlocks(), 0U);
    }
}

TEST(LocateInstallDirectory, TheKeyIsClosedAlsoWhenItsValueCannotBeRead)
{
    FakeSystem system;
    system.plugInFrameworkDevice("C:\\orq");
    system.installDirStatus = ERROR_FILE_NOT_FOUND;

    EXPECT_EQ(locate(), 2U);

    EXPECT_THAT(system.callsOf("Reg"), ElementsAre("RegGetValueA InstallDir 0x2 260", "RegCloseKey"));
}

TEST(LocateInstallDirectory, ADirectoryThatFillsTheBufferFitsAndALongerOneIsAnError)
{
    FakeSystem system;
    std::string directory;

    system.plugInFrameworkDevice(std::string(259, 'd'));
    EXPECT_EQ(locate(&directory), 0U);
    EXPECT_EQ(directory, std::string(259, 'd'));

    system.plugInFrameworkDevice(std::string(260, 'd'));
    EXPECT_EQ(locate(), 234U);
}

}  // namespace
}  // namespace kelvane::tests
