#include "service/capability_check.h"

#include "tests/service/fake_registry.h"
#include "tests/service/fake_reports.h"
#include "tests/support/call_list.h"

#include <gmock/gmock.h>

#include <stdexcept>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;

// Access rights: KEY_READ is 131097, KEY_ALL_ACCESS 983103.
constexpr char openAcpi[] = "open SYSTEM\\CurrentControlSet\\Services\\orq_acpi, 0, 131097";
constexpr char openCpu[] = "open SYSTEM\\CurrentControlSet\\Services\\orq_cpu, 0, 131097";
constexpr char openKv[] = "open SOFTWARE\\Tarvo\\KV, 0, 983103";
constexpr char missingEvent[] = "event KV::Orq Drivers are not present, Please install the drivers";
constexpr char missingData[] = "data ORQ drivers are not presnt present , Capability value is set to 1";
constexpr char presentData[] = "data ORQ drivers are present , Capability value is set to 2";

class Capability : public testing::Test {
protected:
    // Makes every key whose path ends so absent.
    void remove(const std::string& ending)
    {
        registry.onOpen = [earlier = registry.onOpen, ending](const std::string& subkey) -> LSTATUS {
            if (subkey.ends_with(ending)) return ERROR_FILE_NOT_FOUND;
            return earlier ? earlier(subkey) : ERROR_SUCCESS;
        };
    }

    FakeRegistry registry;
};

TEST_F(Capability, IsTwoWithBothDrivers)
{
    capabilityCheck();

    EXPECT_THAT(noted(), ElementsAre(openAcpi, openCpu, openKv, "set key3, Capability, 0, 4, 4 bytes: 2",
                                     "data Capability key is present", "close key3", presentData, "close key2"));
}

TEST_F(Capability, IsOneWithoutTheFirstDriverAndTheSecondIsNotLookedFor)
{
    remove("orq_acpi");

    capabilityCheck();

    EXPECT_THAT(noted(), ElementsAre(openAcpi, openKv, "set key1, Capability, 0, 4, 4 bytes: 1",
                                     "data Capability key is present", "close key1", missingEvent, missingData));
}

TEST_F(Capability, IsOneWithoutTheSecondDriver)
{
    remove("orq_cpu");

    capabilityCheck();

    EXPECT_THAT(noted(), ElementsAre(openAcpi, openCpu, openKv, "set key2, Capability, 0, 4, 4 bytes: 1",
                                     "data Capability key is present", "close key2", missingEvent, missingData));
}

TEST_F(Capability, IsOneWithoutAnyDriver)
{
    remove("orq_acpi");
    remove("orq_cpu");

    capabilityCheck();

    EXPECT_THAT(notedOf("set"), ElementsAre("set key1, Capability, 0, 4, 4 bytes: 1"));
}

TEST_F(Capability, CannotBePublishedWithoutItsKeyWhichIsNotCreated)
{
    remove("KV");

    capabilityCheck();

    EXPECT_THAT(noted(),
                ElementsAre(openAcpi, openCpu, openKv, "data KV registry write failed",
                            "event KV Registry is not exists, Install the package again", presentData, "close key2"));
}

TEST_F(Capability, WithoutItsKeyAndTheDriversReportsBoth)
{
    remove("KV");
    remove("orq_acpi");

    capabilityCheck();

    EXPECT_THAT(noted(),
                ElementsAre(openAcpi, openKv, "data KV registry write failed",
                            "event KV Registry is not exists, Install the package again", missingEvent, missingData));
}

TEST_F(Capability, ThatCannotBeSetIsReportedAndItsKeyLeftOpen)
{
    registry.setResult = ERROR_ACCESS_DENIED;

    capabilityCheck();

    EXPECT_THAT(noted(), ElementsAre(openAcpi, openCpu, openKv, "set key3, Capability, 0, 4, 4 bytes: 2",
                                     "event KV Capability value is not present", presentData, "close key2"));
}

TEST_F(Capability, WriterTakesKeyTypeAndValueOfItsCaller)
{
    registry_write(L"SOFTWARE\\Other", 11, 0x12345678);

    EXPECT_THAT(noted(),
                ElementsAre("open SOFTWARE\\Other, 0, 983103", "set key1, Capability, 0, 11, 4 bytes: 305419896",
                            "data Capability key is present", "close key1"));
}

TEST_F(Capability, ExceptionWhileLookingForTheDriversIsWrittenWithItsText)
{
    registry.onOpen = [](const std::string&) -> LSTATUS { throw std::runtime_error("broken"); };

    capabilityCheck();

    EXPECT_THAT(notedOf("data"), ElementsAre("data capabilityCheck function exception - broken"));
}

TEST_F(Capability, AnyOtherExceptionWhileLookingForTheDriversHasItsOwnText)
{
    registry.onOpen = [](const std::string&) -> LSTATUS { throw 7; };

    capabilityCheck();

    EXPECT_THAT(notedOf("data"), ElementsAre("data Catch...capabilityCheck function.. Service stopped"));
}

TEST_F(Capability, ExceptionThatCannotBeToldIsLost)
{
    registry.onOpen = [](const std::string&) -> LSTATUS { throw std::runtime_error("broken"); };
    onServiceData = [](const std::string&) { throw std::bad_alloc(); };

    EXPECT_NO_THROW(capabilityCheck());
    EXPECT_NO_THROW(registry_write(L"SOFTWARE\\Other", REG_DWORD, 1));

    EXPECT_THAT(notedOf("data"), testing::IsEmpty());
}

TEST_F(Capability, ExceptionOfTheWriterIsWrittenWithItsTextAndTheCheckGoesOn)
{
    registry.onOpen = [](const std::string& subkey) -> LSTATUS {
        if (subkey.ends_with("KV")) throw std::runtime_error("broken");
        return ERROR_SUCCESS;
    };

    capabilityCheck();

    EXPECT_THAT(notedOf("data"), ElementsAre("data registry_write function exception - broken", presentData));
}

TEST_F(Capability, AnyOtherExceptionOfTheWriterHasItsOwnText)
{
    remove("orq_acpi");
    remove("KV");
    onServiceEvent = [](const std::wstring& message) {
        if (message.starts_with(L"KV Registry")) throw 7;
    };

    capabilityCheck();

    EXPECT_THAT(noted(),
                ElementsAre(openAcpi, openKv, "data KV registry write failed",
                            "data Catch ...registry_write function. Service stopped", missingEvent, missingData));
}

}  // namespace
}  // namespace kelvane::tests
