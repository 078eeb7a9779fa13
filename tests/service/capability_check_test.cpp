#include "service/capability_check.h"

#include "tests/service/fake_registry.h"
#include "tests/service/fake_reports.h"
#include "tests/support/call_list.h"
#include "tests/support/failing_calls.h"
#include "tests/support/rows.h"

#include <gmock/gmock.h>

#include <stdexcept>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

constexpr char written[] = "data Capability key is present";
constexpr char writeFailed[] = "data KV registry write failed";
constexpr char noKey[] = "event KV Registry is not exists, Install the package again";
constexpr char missingEvent[] = "event KV::Orq Drivers are not present, Please install the drivers";
constexpr char missingData[] = "data ORQ drivers are not presnt present , Capability value is set to 1";
constexpr char presentData[] = "data ORQ drivers are present , Capability value is set to 2";

class Capability : public testing::Test {
protected:
    FakeRegistry registry;
};

struct CapabilityRow {
    std::set<std::string> failing;
    std::vector<std::string> notes;
};

class PublishedCapability : public WithRow<Capability, CapabilityRow> {};

TEST_ROWS(PublishedCapability,
          ROW(.failing = {}, .notes = { openAcpi, openCpu, openKv, "set key3, Capability, 0, 4, 4 bytes: 2", written,
                                        "close key3", presentData, "close key2" }),
          // without the first driver the second is not looked for
          ROW(.failing = { openAcpi }, .notes = { openAcpi, openKv, "set key1, Capability, 0, 4, 4 bytes: 1", written,
                                                  "close key1", missingEvent, missingData }),
          ROW(.failing = { openCpu }, .notes = { openAcpi, openCpu, openKv, "set key2, Capability, 0, 4, 4 bytes: 1",
                                                 written, "close key2", missingEvent, missingData }),
          // a key that does not exist is not created
          ROW(.failing = { openKv },
              .notes = { openAcpi, openCpu, openKv, writeFailed, noKey, presentData, "close key2" }),
          ROW(.failing = { openKv, openAcpi },
              .notes = { openAcpi, openKv, writeFailed, noKey, missingEvent, missingData }),
          // and that of a value that cannot be set is left open
          ROW(.failing = { "RegSetValueExW" },
              .notes = { openAcpi, openCpu, openKv, "set key3, Capability, 0, 4, 4 bytes: 2",
                         "event KV Capability value is not present", presentData, "close key2" }));

TEST_ROW(PublishedCapability, IsTwoWithBothDriversElseOne)
{
    failCalls(row().failing);

    capabilityCheck();

    EXPECT_THAT(noted(), ElementsAreArray(row().notes));
}

TEST_F(Capability, KeyWithoutAHandleIsNotClosed)
{
    registry.nullKeys = true;

    capabilityCheck();

    EXPECT_THAT(noted(), ElementsAre(openAcpi, openCpu, openKv, "set key0, Capability, 0, 4, 4 bytes: 2", written,
                                     "close key0", presentData));
}

TEST_F(Capability, WriterTakesKeyTypeAndValueOfItsCaller)
{
    registry_write(L"SOFTWARE\\Other", 11, 0x12345678);

    EXPECT_THAT(noted(), ElementsAre("open SOFTWARE\\Other, 0, 983103",
                                     "set key1, Capability, 0, 11, 4 bytes: 305419896", written, "close key1"));
}

// An exception in the opening of the nth key; the third is the writer's, and the check goes on.
struct ExceptionRow {
    std::size_t key;
    bool standard = true;
    std::vector<std::string> data;
};

class CapabilityException : public WithRow<Capability, ExceptionRow> {};

TEST_ROWS(CapabilityException, ROW(.key = 1, .data = { "data capabilityCheck function exception - broken" }),
          ROW(.key = 1, .standard = false, .data = { "data Catch...capabilityCheck function.. Service stopped" }),
          ROW(.key = 3, .data = { "data registry_write function exception - broken", presentData }),
          ROW(.key = 3, .standard = false,
              .data = { "data Catch ...registry_write function. Service stopped", presentData }));

TEST_ROW(CapabilityException, IsWrittenAStandardOneWithItsText)
{
    registry.onOpen = [this] {
        if (registry.opened.size() + 1 != row().key) return;
        if (row().standard) throw std::runtime_error("broken");
        throw 7;
    };

    capabilityCheck();

    EXPECT_THAT(notedOf("data"), ElementsAreArray(row().data));
}

TEST_F(Capability, ExceptionThatCannotBeToldIsLost)
{
    registry.onOpen = [] { throw std::runtime_error("broken"); };
    onServiceData = [](const std::string&) { throw 7; };

    EXPECT_NO_THROW(capabilityCheck());
    EXPECT_NO_THROW(registry_write(L"SOFTWARE\\Other", REG_DWORD, 1));

    EXPECT_THAT(notedOf("data"), testing::IsEmpty());
}

}  // namespace
}  // namespace kelvane::tests
