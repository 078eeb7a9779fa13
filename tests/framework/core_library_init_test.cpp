// Init, once and again: every start of the engine in one process repeats it, and other threads keep calling meanwhile.
#include "framework/core_library.h"

#include "tests/support/fake_system.h"
#include "tests/support/standard_error.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char corePath[] = "C:\\orq\\orqcore.dll";

class CoreInit : public testing::Test {
protected:
    CoreInit()
    {
        system.plugInFrameworkDevice("C:\\orq");
        system.files[corePath] = 0x20;
    }

    // The core fills its own part of the record with this byte from now on.
    void coreAnswersWith(unsigned char mark)
    {
        system.core.onInterface = [mark](unsigned char* record) { record[8] = mark; };
    }

    FakeSystem system;
    StandardError errors;
};

TEST_F(CoreInit, FindsLoadsChecksAndInitialisesTheCoreInThisOrder)
{
    EXPECT_EQ(Init(), 0);

    EXPECT_THAT(system.calls,
                ElementsAre("CM_Get_Device_ID_List_SizeA PCI 0x101", "HeapAlloc 9 zeroed",
                            "CM_Get_Device_ID_ListA PCI 9 0x101",
                            "CM_Get_Device_Interface_List_SizeA {EE27098E-1B22-472A-89D8-5CCCE16B1356} PCI\\ORQ 0x0",
                            "CM_Locate_DevNodeA PCI\\ORQ 0x0", "CM_Open_DevNode_Key 7 0x20019 0 1 0x0",
                            "RegGetValueA InstallDir 0x2 260", "RegCloseKey", "HeapFree 9",
                            "GetFileAttributesA C:\\orq\\orqcore.dll",  // link?
                            "GetFileAttributesA C:\\orq\\orqcore.dll",  // there?
                            "GetFileAttributesA C:\\orq\\orqcore.dll",  // still no link?
                            "HeapAlloc 24 zeroed", "LoadLibraryExA C:\\orq\\orqcore.dll 0x1000",
                            "GetProcAddress GetOrqInterface", "GetOrqInterface", "Init"));
    EXPECT_EQ(errors.text(), "");
}

TEST_F(CoreInit, WithoutAFrameworkDeviceNamesTheFallbackPathInItsLine)
{
    system.deviceList = std::string(1, '\0');
    EXPECT_EQ(Init(), 3000);

    EXPECT_EQ(errors.text(), "\n*** LoadLibrary Failure: TOVA_E_NOT_FOUND "
                             "(C:\\windows\\system32\\Tarvo\\ORQ\\orqcore.dll): words for 126\n");
    EXPECT_EQ(system.calls.back(), "HeapFree 24 all zero");
}

TEST_F(CoreInit, ReturnsWhatTheCoresOwnInitReturnsAndKeepsTheLibrary)
{
    system.core.initStatus = 1011;
    EXPECT_EQ(Init(), 1011);

    EXPECT_EQ(errors.text(), "");
    EXPECT_THAT(system.callsOf("FreeLibrary"), IsEmpty());
    EXPECT_NE(+coreInterface().Init, nullptr);
    EXPECT_NE(g_loader.module, nullptr);
}

TEST_F(CoreInit, DoesNotCallACoreThatWasRefused)
{
    system.core.emptySlots = { 11 };
    EXPECT_EQ(Init(), 1400);

    EXPECT_THAT(system.callsOf("Init"), IsEmpty());
}

TEST_F(CoreInit, AfterALoadThatGaveNoInterfaceUnloadsAndReportsTheEmptySlot)
{
    system.loadError = 0;
    EXPECT_EQ(Init(), 1400);

    EXPECT_EQ(errors.text(), "");
    EXPECT_EQ(system.calls.back(), "HeapFree 24 all zero");
    EXPECT_EQ(g_loader.module, nullptr);
}

TEST_F(CoreInit, ASecondTimeLoadsAgainWithoutFreeingLookingUpTheExportOrCopyingTheSameAnswer)
{
    Init();
    system.calls.clear();
    const OrqInterface* const earlier = &coreInterface();

    EXPECT_EQ(Init(), 0);

    EXPECT_THAT(system.callsOf("LoadLibraryExA"), ElementsAre("LoadLibraryExA C:\\orq\\orqcore.dll 0x1000"));
    EXPECT_THAT(system.callsOf("GetProcAddress"), IsEmpty());
    EXPECT_THAT(system.callsOf("FreeLibrary"), IsEmpty());
    EXPECT_THAT(system.callsOf("GetOrqInterface"), ElementsAre("GetOrqInterface"));
    EXPECT_EQ(system.calls.back(), "Init");
    EXPECT_EQ(system.heldBlocks(), 1U);
    EXPECT_EQ(&coreInterface(), earlier);
}

TEST_F(CoreInit, AFolderInTheLibrarysPlaceIsLoadedAndFails)
{
    system.files[corePath] = FILE_ATTRIBUTE_DIRECTORY;
    system.loadError = 5;
    EXPECT_EQ(Init(), 1801);

    EXPECT_EQ(errors.text(), "\n*** LoadLibrary Failure: TOVA_E_NO_CREATE (C:\\orq\\orqcore.dll): words for 5\n");
}

// The interface of the first load is the one that counts.
TEST_F(CoreInit, ASecondTimeThatFailsWithoutAnErrorInitialisesTheCoreOfTheFirst)
{
    Init();
    system.loadFailsSilently = true;
    system.calls.clear();
    const OrqInterface* const earlier = &coreInterface();

    EXPECT_EQ(Init(), 0);

    EXPECT_EQ(errors.text(), "");
    EXPECT_THAT(system.callsOf("FreeLibrary"), IsEmpty());
    EXPECT_THAT(system.callsOf("GetOrqInterface"), IsEmpty());
    EXPECT_EQ(system.calls.back(), "Init");
    EXPECT_EQ(&coreInterface(), earlier);
}

TEST_F(CoreInit, ASecondTimeHandsTheCoreAnEmptyRecordAgain)
{
    coreAnswersWith(0xAB);
    Init();
    const std::vector<unsigned char> first = system.core.recordReceived;

    Init();

    EXPECT_EQ(system.core.recordReceived, first);
}

TEST_F(CoreInit, AnAnswerThatChangedReplacesTheRecordWholeAndLeavesTheEarlierOneToItsCallers)
{
    coreAnswersWith(1);
    Init();
    const OrqInterface& earlier = coreInterface();
    const OrqInterface* seenMeanwhile = nullptr;
    system.core.emptySlots = { 7 };
    system.core.onInterface = [&](unsigned char* record) {
        record[8] = 2;
        seenMeanwhile = &coreInterface();
    };

    EXPECT_EQ(Init(), 0);

    EXPECT_EQ(seenMeanwhile, &earlier);
    EXPECT_EQ(earlier.framework[0], 1);
    EXPECT_NE(+earlier.SessionDisconnect, nullptr);
    EXPECT_EQ(coreInterface().framework[0], 2);
    EXPECT_EQ(+coreInterface().SessionDisconnect, nullptr);
}

TEST_F(CoreInit, ASecondTimeThatIsRefusedUnloadsAndAThirdOneLooksUpTheExportAgain)
{
    Init();
    system.core.interfaceStatus = 1003;
    system.calls.clear();

    EXPECT_EQ(Init(), 1003);

    EXPECT_EQ(errors.text(), "\n*** LoadLibrary Failure: TOVA_E_UNSPECIFIED (C:\\orq\\orqcore.dll): N/A\n");
    EXPECT_EQ(system.callsOf("FreeLibrary").size(), 1U);
    EXPECT_EQ(+coreInterface().SessionConnect, nullptr);
    EXPECT_EQ(system.heldBlocks(), 0U);

    system.core.interfaceStatus = 0;
    EXPECT_EQ(Init(), 0);

    EXPECT_EQ(system.callsOf("GetProcAddress").size(), 1U);
    EXPECT_NE(+coreInterface().SessionConnect, nullptr);
}

TEST_F(CoreInit, ASecondTimeBehindALinkThatCannotBeRemovedReleasesTheRecordAndNotTheLibrary)
{
    Init();
    system.deviceList = std::string(1, '\0');
    system.files = { { "C:\\windows\\system32\\Tarvo\\ORQ\\orqcore.dll", 0x410 } };
    system.deletesFiles = false;
    EXPECT_EQ(Init(), 2300);

    EXPECT_THAT(system.callsOf("FreeLibrary"), IsEmpty());
    EXPECT_EQ(system.heldBlocks(), 0U);
    EXPECT_EQ(+coreInterface().SessionConnect, nullptr);
}

}  // namespace
}  // namespace kelvane::tests
