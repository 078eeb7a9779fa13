// Device lists of every shape: no walk leaves the bytes that were received. Each list ends at a page that crashes the
// test when it is touched.
#include "framework/core_directory.h"

#include "tests/support/fake_system.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using namespace std::string_literals;

using Ids = std::vector<std::string>;

unsigned long locate()
{
    const GuardedBlock buffer(260);
    return locateInstallDirectory(buffer.data(), 260);
}

Ids idsAsked(const FakeSystem& system)
{
    constexpr char query[] = "CM_Get_Device_Interface_List_SizeA {EE27098E-1B22-472A-89D8-5CCCE16B1356} ";
    Ids ids;
    for (const std::string& call : system.callsOf(query)) {
        const std::size_t start = sizeof query - 1;
        ids.push_back(call.substr(start, call.size() - start - 4));  // without the flags, " 0x0"
    }
    return ids;
}

TEST(DeviceListWalk, AsksTheCompleteDeviceIdsOfTheListAndNoOther)
{
    struct Row {
        const char* what;
        std::string list;
        Ids asked;
    };

    const Row rows[] = {
        { "only the closing NUL", "\0"s, {} },
        { "one device", "PCI\\A\0\0"s, { "PCI\\A" } },
        { "three devices of different lengths", "A\0BBBB\0CC\0\0"s, { "A", "BBBB", "CC" } },
        { "no empty ID at the end", "PCI\\A\0PCI\\B\0"s, { "PCI\\A", "PCI\\B" } },
        { "the only ID is cut off", "PCI\\A"s, {} },
        { "the second ID is cut off", "PCI\\A\0PCI\\B"s, { "PCI\\A" } },
        { "a single byte that is no NUL", "P"s, {} },
        { "an ID behind the end of the list", "PCI\\A\0\0PCI\\B\0\0"s, { "PCI\\A" } },
        { "an empty ID in front", "\0PCI\\A\0\0"s, {} },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        FakeSystem system;
        system.deviceList = row.list;

        EXPECT_EQ(locate(), 37U);

        EXPECT_EQ(idsAsked(system), row.asked);
        EXPECT_EQ(system.heldBlocks(), 0U);
    }
}

TEST(DeviceListWalk, TheAnnouncedSizeBoundsTheWalk)
{
    struct Row {
        const char* what;
        ULONG announced;
        Ids asked;
    };

    const Row rows[] = {
        { "nothing", 0, {} },
        { "one byte", 1, {} },
        { "the first ID without its NUL", 5, {} },
        { "the first ID with its NUL", 6, { "PCI\\A" } },
        { "a part of the second ID", 7, { "PCI\\A" } },
        { "all but the list's end", 12, { "PCI\\A", "PCI\\B" } },
        { "more than the list", 4096, { "PCI\\A", "PCI\\B" } },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        FakeSystem system;
        system.deviceList = deviceIds({ "PCI\\A", "PCI\\B" });
        system.deviceListSize = row.announced;

        EXPECT_EQ(locate(), 37U);

        EXPECT_EQ(idsAsked(system), row.asked);
        EXPECT_EQ(system.heldBlocks(), 0U);
    }
}

TEST(DeviceListWalk, ASystemThatAnnouncesNoSizeHasNoDevices)
{
    FakeSystem system;
    system.deviceList = deviceIds({ "PCI\\A" });
    system.interfaces["PCI\\A"] = { CR_SUCCESS, 2 };
    system.announcesListSize = false;

    EXPECT_EQ(locate(), 37U);

    EXPECT_EQ(system.calls, Ids{ "CM_Get_Device_ID_List_SizeA PCI 0x101" });
}

TEST(DeviceListWalk, AWinnerAtTheVeryEndOfAnUnterminatedListIsFound)
{
    FakeSystem system;
    system.deviceList = "PCI\\A\0PCI\\B\0"s;
    system.interfaces["PCI\\B"] = { CR_SUCCESS, 2 };
    system.installDir = "C:\\orq";

    EXPECT_EQ(locate(), 0U);

    EXPECT_EQ(system.callsOf("CM_Locate_DevNodeA"), Ids{ "CM_Locate_DevNodeA PCI\\B 0x0" });
}

}  // namespace
}  // namespace kelvane::tests
