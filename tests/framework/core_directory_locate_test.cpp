// The search for the install directory: which device is asked what, and every question failing. No walk leaves the
// bytes of the device list, which ends at a page that crashes the test when it is touched.
#include "framework/core_directory.h"

#include "tests/support/fake_system.h"
#include "tests/support/rows.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using namespace std::string_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

using Texts = std::vector<std::string>;

class LocateInstallDirectory : public testing::Test {
protected:
    unsigned long locate(unsigned long size = 260)
    {
        const GuardedBlock buffer(size);
        const unsigned long status = locateInstallDirectory(buffer.data(), size);
        if (status == 0) directory = buffer.data();
        return status;
    }

    // The devices that were asked for their interfaces.
    Texts idsAsked() const
    {
        const std::string question = "CM_Get_Device_Interface_List_SizeA {EE27098E-1B22-472A-89D8-5CCCE16B1356} ";
        Texts ids;
        for (const std::string& call : system.callsOf(question)) {
            ids.push_back(call.substr(question.size(), call.find(" 0x0") - question.size()));
        }
        return ids;
    }

    FakeSystem system;
    std::string directory;
};

TEST_F(LocateInstallDirectory, NoBufferOrNoRoomIsRefusedWithoutAQuestionToTheSystem)
{
    system.plugInFrameworkDevice("C:\\orq");
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
    system.installDir = "C:\\Program Files\\orq";

    EXPECT_EQ(locate(), 0U);

    EXPECT_EQ(directory, "C:\\Program Files\\orq");
    EXPECT_THAT(system.calls,
                ElementsAre("CM_Get_Device_ID_List_SizeA PCI 0x101", "HeapAlloc 13 zeroed",
                            "CM_Get_Device_ID_ListA PCI 13 0x101",
                            "CM_Get_Device_Interface_List_SizeA {EE27098E-1B22-472A-89D8-5CCCE16B1356} PCI\\A 0x0",
                            "CM_Get_Device_Interface_List_SizeA {EE27098E-1B22-472A-89D8-5CCCE16B1356} PCI\\B 0x0",
                            "CM_Locate_DevNodeA PCI\\B 0x0", "CM_Open_DevNode_Key 7 0x20019 0 1 0x0",
                            "RegGetValueA InstallDir 0x2 260", "RegCloseKey", "HeapFree 13"));
}

TEST_F(LocateInstallDirectory, HandsTheCallersOwnSizeToTheRegistry)
{
    system.plugInFrameworkDevice("C:\\orq");

    EXPECT_EQ(locate(7), 0U);

    EXPECT_EQ(directory, "C:\\orq");
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

// The interfaces of two devices, by the size of their lists; and which of them is located, if any.
struct InterfaceRow {
    FakeSystem::InterfaceList ofA = { 0, 1 };
    FakeSystem::InterfaceList ofB = { 0, 1 };
    unsigned long status = 0;
    Texts asked = { "PCI\\A", "PCI\\B" };
    Texts located = {};
};

using FrameworkDevice = WithRow<LocateInstallDirectory, InterfaceRow>;

TEST_ROWS(FrameworkDevice,
          // only a list with a name counts: an empty one is its closing NUL
          ROW(.ofB = { 0, 0 }, .status = 37), ROW(.ofB = { 0, 1 }, .status = 37),
          ROW(.ofB = { 0, 2 }, .located = { "CM_Locate_DevNodeA PCI\\B 0x0" }),
          // the first one wins, and no further one is asked
          ROW(.ofA = { 0, 40 }, .ofB = { 0, 40 }, .asked = { "PCI\\A" },
              .located = { "CM_Locate_DevNodeA PCI\\A 0x0" }),
          // one that cannot be asked is passed over, whatever the size
          ROW(.ofA = { 13, 40 }, .ofB = { 0, 40 }, .located = { "CM_Locate_DevNodeA PCI\\B 0x0" }),
          // without a winner the last failed question is the reason
          ROW(.ofA = { 13, 0 }, .status = 13), ROW(.ofB = { 19, 2 }, .status = 19),
          ROW(.ofA = { 13, 0 }, .ofB = { 19, 0 }, .status = 19));

TEST_P(FrameworkDevice, IsTheFirstWithTheInterface)
{
    system.deviceList = deviceIds({ "PCI\\A", "PCI\\B" });
    system.interfaces = { { "PCI\\A", row().ofA }, { "PCI\\B", row().ofB } };

    EXPECT_EQ(locate(), row().status);

    EXPECT_EQ(idsAsked(), row().asked);
    EXPECT_EQ(system.callsOf("CM_Locate_DevNodeA"), row().located);
    EXPECT_EQ(system.callsOf("CM_Open_DevNode_Key").size(), row().located.size());
    EXPECT_EQ(system.heldBlocks(), 0U);
}

struct FailureRow {
    CONFIGRET listSize = CR_SUCCESS;
    bool memory = true;
    CONFIGRET list = CR_SUCCESS;
    CONFIGRET node = CR_SUCCESS;
    CONFIGRET key = CR_SUCCESS;
    LSTATUS value = ERROR_SUCCESS;
    unsigned long status = 0;
    std::size_t calls = 0;  // up to the failing one
    Texts released = { "HeapFree 9" };
};

using FailedSearch = WithRow<LocateInstallDirectory, FailureRow>;

TEST_ROWS(FailedSearch, ROW(.listSize = 19, .status = 19, .calls = 1, .released = {}),
          ROW(.memory = false, .status = 2, .calls = 2, .released = {}), ROW(.list = 26, .status = 26, .calls = 3),
          ROW(.node = 13, .status = 13, .calls = 5), ROW(.key = 46, .status = 46, .calls = 6),
          ROW(.value = 2, .status = 2, .calls = 7, .released = { "RegCloseKey", "HeapFree 9" }));

TEST_P(FailedSearch, EndsWithItsStatusAndReleasesWhatIsHeld)
{
    system.plugInFrameworkDevice("C:\\orq");  // its list has 9 bytes
    system.deviceListSizeStatus = row().listSize;
    system.failingAllocation = row().memory ? 0 : 1;
    system.deviceListStatus = row().list;
    system.locateStatus = row().node;
    system.openKeyStatus = row().key;
    system.installDirStatus = row().value;

    EXPECT_EQ(locate(), row().status);

    Texts calls = { "CM_Get_Device_ID_List_SizeA PCI 0x101",
                    "HeapAlloc 9 zeroed",
                    "CM_Get_Device_ID_ListA PCI 9 0x101",
                    "CM_Get_Device_Interface_List_SizeA {EE27098E-1B22-472A-89D8-5CCCE16B1356} PCI\\ORQ 0x0",
                    "CM_Locate_DevNodeA PCI\\ORQ 0x0",
                    "CM_Open_DevNode_Key 7 0x20019 0 1 0x0",
                    "RegGetValueA InstallDir 0x2 260" };
    calls.resize(row().calls);
    calls.insert(calls.end(), row().released.begin(), row().released.end());
    EXPECT_THAT(system.calls, ElementsAreArray(calls));
}

struct ListRow {
    std::string list = deviceIds({ "PCI\\A", "PCI\\B" });
    std::optional<ULONG> announced = std::nullopt;
    Texts asked;
};

using DeviceList = WithRow<LocateInstallDirectory, ListRow>;

TEST_ROWS(DeviceList, ROW(.list = "\0"s, .asked = {}), ROW(.list = "PCI\\A\0\0"s, .asked = { "PCI\\A" }),
          ROW(.list = "A\0BBBB\0CC\0\0"s, .asked = { "A", "BBBB", "CC" }),
          // without an empty ID at its end
          ROW(.list = "PCI\\A\0PCI\\B\0"s, .asked = { "PCI\\A", "PCI\\B" }),
          // its last ID is cut off
          ROW(.list = "PCI\\A"s, .asked = {}), ROW(.list = "PCI\\A\0PCI\\B"s, .asked = { "PCI\\A" }),
          ROW(.list = "P"s, .asked = {}),
          // an empty ID ends it
          ROW(.list = "PCI\\A\0\0PCI\\B\0\0"s, .asked = { "PCI\\A" }), ROW(.list = "\0PCI\\A\0\0"s, .asked = {}),
          // the announced size bounds the walk
          ROW(.announced = 0, .asked = {}), ROW(.announced = 1, .asked = {}), ROW(.announced = 5, .asked = {}),
          ROW(.announced = 6, .asked = { "PCI\\A" }), ROW(.announced = 7, .asked = { "PCI\\A" }),
          ROW(.announced = 12, .asked = { "PCI\\A", "PCI\\B" }),
          ROW(.announced = 4096, .asked = { "PCI\\A", "PCI\\B" }));

TEST_P(DeviceList, IsAskedForItsCompleteIdsAndNoOther)
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

TEST_F(LocateInstallDirectory, AWinnerAtTheVeryEndOfAnUnterminatedListIsFound)
{
    system.deviceList = "PCI\\A\0PCI\\B\0"s;
    system.interfaces["PCI\\B"] = { CR_SUCCESS, 2 };

    EXPECT_EQ(locate(), 0U);

    EXPECT_THAT(system.callsOf("CM_Locate_DevNodeA"), ElementsAre("CM_Locate_DevNodeA PCI\\B 0x0"));
}

}  // namespace
}  // namespace kelvane::tests
