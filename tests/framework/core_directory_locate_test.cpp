// The search for the install directory: which devices are asked what, every question failing, and device lists of every
// shape. Each list ends at a page that crashes the test when it is touched.
#include "framework/core_directory.h"

#include "tests/support/fake_system.h"
#include "tests/support/rows.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using namespace std::string_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Texts = std::vector<std::string>;

constexpr char interfaceQuery[] = "CM_Get_Device_Interface_List_SizeA {EE27098E-1B22-472A-89D8-5CCCE16B1356} ";

class LocateInstallDirectory : public testing::Test {
protected:
    LocateInstallDirectory() { system.installDir = "C:\\orq"; }

    unsigned long locate()
    {
        const GuardedBlock buffer(260);
        const unsigned long status = locateInstallDirectory(buffer.data(), 260);
        if (status == 0) directory = buffer.data();
        return status;
    }

    // The devices that were asked for the framework's interface.
    Texts idsAsked() const
    {
        Texts ids;
        for (const std::string& call : system.callsOf(interfaceQuery)) {
            const std::size_t start = sizeof interfaceQuery - 1;
            ids.push_back(call.substr(start, call.size() - start - 4));  // without the flags, " 0x0"
        }
        return ids;
    }

    FakeSystem system;
    std::string directory;
};

TEST_F(LocateInstallDirectory, NoBufferOrNoRoomIsRefusedWithoutAQuestionToTheSystem)
{
    char buffer[260] = "as before";

    EXPECT_EQ(locateInstallDirectory(nullptr, 260), 3U);
    EXPECT_EQ(locateInstallDirectory(buffer, 0), 3U);

    EXPECT_STREQ(buffer, "as before");
    EXPECT_THAT(system.calls, IsEmpty());
}

TEST_F(LocateInstallDirectory, ReadsTheDirectoryFromTheHardwareKeyOfTheDeviceWithTheInterface)
{
    system.deviceList = deviceIds({ "PCI\\A", "PCI\\B" });  // 6 bytes each, and the end
    system.interfaces["PCI\\B"] = { CR_SUCCESS, 2 };

    EXPECT_EQ(locate(), 0U);

    EXPECT_EQ(directory, "C:\\orq");
    EXPECT_THAT(system.calls, ElementsAre("CM_Get_Device_ID_List_SizeA PCI 0x101", "HeapAlloc 13 zeroed",
                                          "CM_Get_Device_ID_ListA PCI 13 0x101", interfaceQuery + "PCI\\A 0x0"s,
                                          interfaceQuery + "PCI\\B 0x0"s, "CM_Locate_DevNodeA PCI\\B 0x0",
                                          "CM_Open_DevNode_Key 7 0x20019 0 1 0x0", "RegGetValueA InstallDir 0x2 260",
                                          "RegCloseKey", "HeapFree 13"));
}

TEST_F(LocateInstallDirectory, HandsTheCallersOwnSizeToTheRegistry)
{
    system.plugInFrameworkDevice("C:\\orq");
    const GuardedBlock buffer(7);

    EXPECT_EQ(locateInstallDirectory(buffer.data(), 7), 0U);

    EXPECT_STREQ(buffer.data(), "C:\\orq");
    EXPECT_THAT(system.calls, Contains("RegGetValueA InstallDir 0x2 7"));
}

TEST_F(LocateInstallDirectory, ADirectoryThatFillsTheBufferFitsAndALongerOneIsAnError)
{
    system.plugInFrameworkDevice(std::string(259, 'd'));
    EXPECT_EQ(locate(), 0U);
    EXPECT_EQ(directory, std::string(259, 'd'));

    system.plugInFrameworkDevice(std::string(260, 'd'));
    EXPECT_EQ(locate(), 234U);
}

// What the devices A and B answer: by itself an empty list, which is its closing NUL.
struct AnswersRow {
    FakeSystem::InterfaceList ofA = { CR_SUCCESS, 1 };
    FakeSystem::InterfaceList ofB = { CR_SUCCESS, 1 };
    unsigned long status = 0;
    Texts asked = { "A", "B" };
    Texts located = {};
};

class InstallDirectoryByAnswers : public WithRow<LocateInstallDirectory, AnswersRow> {};

TEST_ROWS(InstallDirectoryByAnswers,
          // the first with the interface wins: its list has a name
          ROW(.ofA = { 0, 40 }, .ofB = { 0, 40 }, .asked = { "A" }, .located = { "CM_Locate_DevNodeA A 0x0" }),
          ROW(.ofA = { 0, 2 }, .asked = { "A" }, .located = { "CM_Locate_DevNodeA A 0x0" }),
          ROW(.ofB = { 0, 2 }, .located = { "CM_Locate_DevNodeA B 0x0" }),
          // one that cannot be asked is passed over, whatever the size
          ROW(.ofA = { 13, 40 }, .ofB = { 0, 40 }, .located = { "CM_Locate_DevNodeA B 0x0" }),
          // without a winner the last failed query is the reason
          ROW(.ofA = { 0, 0 }, .status = 37), ROW(.ofA = { 0, 1 }, .status = 37), ROW(.ofB = { 13, 2 }, .status = 13),
          ROW(.ofA = { 13, 0 }, .status = 13), ROW(.ofB = { 19, 0 }, .status = 19),
          ROW(.ofA = { 13, 0 }, .ofB = { 19, 0 }, .status = 19));

TEST_ROW(InstallDirectoryByAnswers, IsThatOfTheFirstDeviceWithTheInterface)
{
    system.deviceList = deviceIds({ "A", "B" });
    system.interfaces = { { "A", row().ofA }, { "B", row().ofB } };

    EXPECT_EQ(locate(), row().status);
    EXPECT_EQ(idsAsked(), row().asked);
    EXPECT_EQ(system.callsOf("CM_Locate_DevNodeA"), row().located);
    EXPECT_THAT(system.callsOf("CM_Open_DevNode_Key"), SizeIs(row().located.size()));
    EXPECT_EQ(system.heldBlocks(), 0U);
}

struct FailureRow {
    CONFIGRET ofListSize = CR_SUCCESS;
    int ofAllocation = 0;  // its number
    CONFIGRET ofList = CR_SUCCESS;
    CONFIGRET ofNode = CR_SUCCESS;
    CONFIGRET ofKey = CR_SUCCESS;
    LSTATUS ofValue = ERROR_SUCCESS;
    unsigned long status;
    Texts calls;  // the last ones
};

class InstallDirectoryFailure : public WithRow<LocateInstallDirectory, FailureRow> {};

TEST_ROWS(InstallDirectoryFailure,
          ROW(.ofListSize = 19, .status = 19, .calls = { "CM_Get_Device_ID_List_SizeA PCI 0x101" }),
          ROW(.ofAllocation = 1, .status = 2, .calls = { "HeapAlloc 9 zeroed" }),
          ROW(.ofList = 26, .status = 26, .calls = { "CM_Get_Device_ID_ListA PCI 9 0x101", "HeapFree 9" }),
          ROW(.ofNode = 13, .status = 13, .calls = { "CM_Locate_DevNodeA PCI\\ORQ 0x0", "HeapFree 9" }),
          ROW(.ofKey = 46, .status = 46, .calls = { "CM_Open_DevNode_Key 7 0x20019 0 1 0x0", "HeapFree 9" }),
          ROW(.ofValue = 2, .status = 2, .calls = { "RegGetValueA InstallDir 0x2 260", "RegCloseKey", "HeapFree 9" }));

TEST_ROW(InstallDirectoryFailure, EndsTheSearchWithItsStatusAndReleasesWhatIsHeld)
{
    system.plugInFrameworkDevice("C:\\orq");  // its list has 9 bytes
    system.deviceListSizeStatus = row().ofListSize;
    system.failingAllocation = row().ofAllocation;
    system.deviceListStatus = row().ofList;
    system.locateStatus = row().ofNode;
    system.openKeyStatus = row().ofKey;
    system.installDirStatus = row().ofValue;

    EXPECT_EQ(locate(), row().status);
    ASSERT_GE(system.calls.size(), row().calls.size());
    EXPECT_EQ(Texts(system.calls.end() - static_cast<std::ptrdiff_t>(row().calls.size()), system.calls.end()),
              row().calls);
    EXPECT_EQ(system.heldBlocks(), 0U);
}

struct ListRow {
    std::string list = "PCI\\A\0PCI\\B\0\0"s;
    std::optional<ULONG> announced = {};  // none: its size
    Texts asked = {};
};

class DeviceListWalk : public WithRow<LocateInstallDirectory, ListRow> {};

TEST_ROWS(DeviceListWalk,
          // from one to the next, up to an empty ID
          ROW(.list = "\0"s), ROW(.list = "PCI\\A\0\0"s, .asked = { "PCI\\A" }),
          ROW(.list = "A\0BBBB\0CC\0\0"s, .asked = { "A", "BBBB", "CC" }),
          ROW(.list = "PCI\\A\0\0PCI\\B\0\0"s, .asked = { "PCI\\A" }), ROW(.list = "\0PCI\\A\0\0"s),
          // without an empty ID at the end, or cut off within an ID
          ROW(.list = "PCI\\A\0PCI\\B\0"s, .asked = { "PCI\\A", "PCI\\B" }),
          ROW(.list = "PCI\\A\0PCI\\B"s, .asked = { "PCI\\A" }), ROW(.list = "PCI\\A"s), ROW(.list = "P"s),
          // the announced size bounds the walk
          ROW(.announced = 0), ROW(.announced = 1), ROW(.announced = 5), ROW(.announced = 6, .asked = { "PCI\\A" }),
          ROW(.announced = 7, .asked = { "PCI\\A" }), ROW(.announced = 12, .asked = { "PCI\\A", "PCI\\B" }),
          ROW(.announced = 4096, .asked = { "PCI\\A", "PCI\\B" }));

TEST_ROW(DeviceListWalk, AsksTheCompleteDeviceIdsOfTheListAndNoOther)
{
    system.deviceList = row().list;
    system.deviceListSize = row().announced;

    EXPECT_EQ(locate(), 37U);
    EXPECT_EQ(idsAsked(), row().asked);
    EXPECT_EQ(system.heldBlocks(), 0U);
}

TEST_F(LocateInstallDirectory, ASystemThatAnnouncesNoSizeHasNoDevices)
{
    system.plugInFrameworkDevice("C:\\orq");
    system.announcesListSize = false;

    EXPECT_EQ(locate(), 37U);

    EXPECT_THAT(system.calls, ElementsAre("CM_Get_Device_ID_List_SizeA PCI 0x101"));
}

}  // namespace
}  // namespace kelvane::tests
