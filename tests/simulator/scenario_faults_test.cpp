#include "simulator/formats/scenario.h"

#include <gmock/gmock.h>

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace kelvane::tests {
namespace {

namespace fs = std::filesystem;
using simulator::MalformedScenario;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

const std::string header = "time_ms,input,value\n";

// What is told about a malformed scenario, "read" when it is not malformed.
std::string faultOf(const std::string& text)
{
    std::istringstream file(text);
    try {
        simulator::readScenario(file, "scenario.csv");
    } catch (const MalformedScenario& fault) {
        return fault.what();
    }
    return "read";
}

std::string faultOfFile(const fs::path& path)
{
    try {
        simulator::readScenario(path);
    } catch (const MalformedScenario& fault) {
        return fault.what();
    }
    return "read";
}

struct FaultRow {
    const char* row;
    const char* reason;
};

// Each faulty row is made the fourth line: a comment and a good row stand before it, a good one behind it.
void expectFaults(std::initializer_list<FaultRow> rows)
{
    for (const FaultRow& row : rows) {
        SCOPED_TRACE(row.row);
        EXPECT_THAT(faultOf(header + "# comment\n10,power_mw,1\n" + row.row + "\n30,stop,service\n"),
                    AllOf(StartsWith("scenario.csv:4: "), HasSubstr(row.reason)));
    }
}

TEST(ScenarioFault, UnknownInput)
{
    expectFaults({ { "20,fan_rpm,1", "unknown input \"fan_rpm\"" },
                   { "20,,1", "unknown input \"\"" },
                   { "20,POWER_MW,1", "unknown input \"POWER_MW\"" },
                   { "20, power_mw,1", "unknown input \" power_mw\"" },
                   { "20,power_mw ,1", "unknown input \"power_mw \"" },
                   { "time_ms,input,value", "time_ms" } });
}

// Each faulty row is made the third line, behind a row that goes well with jobs.
void expectFaultsAmongJobs(std::initializer_list<FaultRow> rows)
{
    for (const FaultRow& row : rows) {
        SCOPED_TRACE(row.row);
        EXPECT_THAT(faultOf(header + "0,job,a:1:1\n" + row.row + "\n30,stop,service\n"),
                    AllOf(StartsWith("scenario.csv:3: "), HasSubstr(row.reason)));
    }
}

TEST(ScenarioFault, BadJob)
{
    expectFaultsAmongJobs({ { "20,job,", "job is NAME:WORK_MS:CORES or NAME:WORK_MS:CORES:launch" },
                            { "20,job,a", "job is NAME:WORK_MS:CORES or NAME:WORK_MS:CORES:launch" },
                            { "20,job,a:1", "job is NAME:WORK_MS:CORES or NAME:WORK_MS:CORES:launch" },
                            { "20,job,1:launch", "job is NAME:WORK_MS:CORES or NAME:WORK_MS:CORES:launch" },
                            { "20,job,a:x:1", "work \"x\" is not a number" },
                            { "20,job,a:1:x", "cores \"x\" is not a number" },
                            { "20,job,a:1:1:start", "cores \"start\" is not a number" },
                            { "20,job,a:1:1:", "cores \"\" is not a number" },
                            { "20,job,a:1.5:1", "work \"1.5\" is not a number" },
                            { "20,job,a:4294967296:1", "work \"4294967296\" is out of range" },
                            { "20,job,a:0:1", "work is at least 1" },
                            { "20,job,a:1:0", "cores is at least 1" } });
}

TEST(ScenarioFault, BadProcessorOrSeed)
{
    expectFaultsAmongJobs(
        { { "0,processor,tablet", "processor is one of thin-laptop, workstation-laptop, desktop, not \"tablet\"" },
          { "0,processor,", "processor is one of" },
          { "20,processor,desktop", "processor must stand at time 0" },
          { "20,seed,1", "seed must stand at time 0" },
          { "0,seed,x", "seed \"x\" is not a number" } });
    EXPECT_EQ("scenario.csv:3: a second processor", faultOf(header + "0,processor,desktop\n0,processor,desktop\n"));
    EXPECT_EQ("scenario.csv:3: a second seed", faultOf(header + "0,seed,1\n0,seed,1\n"));
}

TEST(ScenarioFault, PowerBothScriptedAndFromWork)
{
    expectFaultsAmongJobs({ { "20,power_mw,1", "power_mw and job cannot stand in one scenario" },
                            { "20,clip_reasons,1", "clip_reasons and job cannot stand in one scenario" } });
    expectFaults({ { "20,job,a:1:1", "job and power_mw cannot stand in one scenario" } });
    EXPECT_EQ("scenario.csv:3: power_mw and processor cannot stand in one scenario",
              faultOf(header + "0,processor,desktop\n5,power_mw,1\n"));
    EXPECT_EQ("scenario.csv:3: processor and clip_reasons cannot stand in one scenario",
              faultOf(header + "0,clip_reasons,0\n0,processor,desktop\n"));
}

TEST(ScenarioFault, BadNumber)
{
    expectFaults({ { "20,power_mw,", "not a number" },
                   { "20,power_mw,x", "\"x\"" },
                   { "20,power_mw,12x", "not a number" },
                   { "20,power_mw,1.5", "not a number" },
                   { "20,power_mw,1e3", "not a number" },
                   { "20,power_mw, 1", "not a number" },
                   { "20,power_mw,1 ", "not a number" },
                   { "20,power_mw,+1", "not a number" },
                   { "20,power_mw,-1", "not a number" },
                   { "20,power_mw,0x", "not a number" },
                   { "20,power_mw,0xG", "not a number" },
                   { "20,power_mw,0x-1", "not a number" },
                   { "20,power_mw,\"1\n2\"", "1\\x0A2" },
                   { "20,clip_reasons,bits", "clip_reasons" },
                   { "20,soc_workload,-1", "soc_workload" },
                   { "20,ac_line,on", "ac_line" },
                   { "20,ac_line,", "ac_line" },
                   { "20,ac_line,FAIL", "ac_line" },
                   { "20,status,INIT=", "not a number" },
                   { "20,status,INIT=x", "not a number" },
                   { "20,status,INIT=0x-1", "not a number" },
                   { "20,event,x", "not a number" },
                   { "20,event,", "not a number" },
                   { "20,event,183:x", "not a number" },
                   { "20,event,183:", "not a number" },
                   { "20,event,183:1:2", "not a number" },
                   { "20,event,183:-1", "not a number" } });
}

TEST(ScenarioFault, NumberOutOfRange)
{
    expectFaults({ { "20,power_mw,4294967296", "out of range" },
                   { "20,power_mw,0x100000000", "out of range" },
                   { "20,clip_reasons,99999999999999999999", "out of range" },
                   { "20,soc_workload,4294967296", "out of range" },
                   { "20,ac_line,2", "0, 1, 255 or fail" },
                   { "20,ac_line,254", "0, 1, 255 or fail" },
                   { "20,ac_line,256", "0, 1, 255 or fail" },
                   { "20,ac_line,257", "0, 1, 255 or fail" },
                   { "20,status,INIT=2147483648", "out of range" },
                   { "20,status,INIT=-2147483649", "out of range" },
                   { "20,event,106:4294967296", "out of range" } });
}

TEST(ScenarioFault, TimeThatIsNoDecimalOrFalls)
{
    expectFaults({ { ",power_mw,1", "not a number" },
                   { "-20,power_mw,1", "not a number" },
                   { "0x20,power_mw,1", "not a number" },
                   { "20.0,power_mw,1", "not a number" },
                   { "20 ,power_mw,1", "not a number" },
                   { "18446744073709551616,power_mw,1", "out of range" },
                   { "9,power_mw,1", "falls from 10 to 9" },
                   { "0,power_mw,1", "falls from 10 to 0" } });
}

TEST(ScenarioFault, TooFewOrTooManyColumns)
{
    expectFaults({ { "20", "columns" },
                   { "20,power_mw", "columns" },
                   { "20,power_mw,1,", "columns" },
                   { "20,power_mw,1,2", "columns" } });
}

TEST(ScenarioFault, StatusOfAnUnknownOperationOrWithoutACode)
{
    expectFaults({ { "20,status,INIT", "NAME=CODE" },
                   { "20,status,", "NAME=CODE" },
                   { "20,status,=1", "unknown" },
                   { "20,status,init=1", "unknown" },
                   { "20,status,INIT =1", "unknown" },
                   { "20,status,SESSION_DESTROY=1", "unknown" },
                   { "20,status,GET_FAN_SPEED=1", "\"GET_FAN_SPEED\"" },
                   { "20,status,REGISTER_EVENT=1", "unknown" },
                   { "20,status,REGISTER_EVENT/=1", "not a number" },
                   { "20,status,REGISTER_EVENT/x=1", "not a number" } });
}

TEST(ScenarioFault, EventOfAnUnknownTypeOrWithTheWrongPayload)
{
    expectFaults({ { "20,event,7", "\"7\"" },
                   { "20,event,7:1", "\"7\"" },
                   { "20,event,34", "needs a value" },
                   { "20,event,72", "needs a value" },
                   { "20,event,106", "needs a value" },
                   { "20,event,183", "needs a value" },
                   { "20,event,10000:1", "takes no value" },
                   { "20,event,44:1", "takes no value" } });
}

TEST(ScenarioFault, StopOfSomethingElse)
{
    expectFaults({ { "20,stop,", "scaling or service" },
                   { "20,stop,1", "scaling or service" },
                   { "20,stop,Service", "scaling or service" } });
}

TEST(ScenarioFault, ProcessStartWithoutAnId)
{
    expectFaults({ { "20,process_start,a.exe", "process_start is NAME:PID" },
                   { "20,process_start,a.exe:", "process id" },
                   { "20,process_start,a.exe:-1", "process id" },
                   { "20,process_start,a.exe:4294967296", "out of range" } });
}

TEST(ScenarioFault, StandbyOfAnotherEvent)
{
    expectFaults(
        { { "20,standby,505", "506 or 507" }, { "20,standby,508", "506 or 507" }, { "20,standby,on", "standby" } });
}

TEST(ScenarioFault, QuoteInTheWrongPlace)
{
    expectFaults({ { "20,power_mw,\"1", "quote is not closed" },
                   { "20,power_mw,\"1\"x", "unexpected x" },
                   { "20,power_mw,1\"", "quote" },
                   { "\"20\" ,power_mw,1", "unexpected" } });
}

TEST(ScenarioFault, BytesThatAreNoText)
{
    expectFaults({ { "20,power_mw,\x02", "\\x02" },
                   { "\x7F"
                     "ELF",
                     "\\x7F" },
                   { "20,power_mw\x1B,1", "\\x1B" },
                   { "\xFF\xFE,power_mw,1", "not a number" },
                   { "20\r,power_mw,1", "\\x0D" } });
}

TEST(ScenarioFault, ZeroBytesAreToldWithTheirLine)
{
    EXPECT_THAT(faultOf(header + std::string("20,power\0_mw,1\n", 15)), StartsWith("scenario.csv:2: "));
    EXPECT_THAT(faultOf(std::string(300, '\0')), StartsWith("scenario.csv:1: "));
}

TEST(ScenarioFault, EmptyFileLacksItsFirstLine) { EXPECT_THAT(faultOf(std::string()), StartsWith("scenario.csv:1: ")); }

TEST(ScenarioFault, FirstLineMustNameTheThreeColumns)
{
    const char* const firstLines[] = {
        "0,power_mw,1", "time,input,value",     "time_ms,value,input",  "TIME_MS,INPUT,VALUE", "time_ms,input", "",
        "# comment",    "time_ms,input,value,", " time_ms,input,value", "time_ms;input;value",
    };

    for (const char* const line : firstLines) {
        SCOPED_TRACE(line);
        EXPECT_THAT(faultOf(line + std::string("\ntime_ms,input,value\n0,stop,service\n")),
                    AllOf(StartsWith("scenario.csv:1: "), HasSubstr("time_ms,input,value")));
    }
}

TEST(ScenarioFault, LineIsCountedThroughLineBreaksInQuotesAndCrlf)
{
    EXPECT_THAT(faultOf(header + "0,stop,\"a\n\nb\"\n"), StartsWith("scenario.csv:2: "));
    EXPECT_THAT(faultOf("time_ms,input,value\r\n\r\n# c\r\n0,power_mw,x\r\n"), StartsWith("scenario.csv:4: "));
}

TEST(ScenarioFault, FirstFaultIsTold)
{
    EXPECT_THAT(faultOf(header + "0,power_mw,x\n0,fan_rpm,1\n"), StartsWith("scenario.csv:2: "));
}

class ScenarioFile : public testing::Test {
protected:
    void SetUp() override { fs::create_directories(folder); }

    void TearDown() override { fs::remove_all(folder); }

    const fs::path folder = fs::temp_directory_path() /
                            fs::path(u8"kelvane scenario \u00e4 ").concat(std::to_string(GetCurrentProcessId()));
};

TEST_F(ScenarioFile, IsReadByItsPath)
{
    std::ofstream(folder / "good.csv", std::ios::binary) << header << "5,stop,scaling\n";

    const simulator::Scenario scenario = simulator::readScenario(folder / "good.csv");

    ASSERT_EQ(1u, scenario.size());
    EXPECT_EQ(5u, scenario[0].timeMs);
}

TEST_F(ScenarioFile, ThatIsMissingIsAFault)
{
    const fs::path missing = folder / "missing.csv";

    EXPECT_THAT(faultOfFile(missing), StartsWith(simulator::toUtf8(missing) + ":1: "));
}

TEST_F(ScenarioFile, ThatIsADirectoryIsAFault)
{
    EXPECT_THAT(faultOfFile(folder), StartsWith(simulator::toUtf8(folder) + ":1: "));
}

TEST_F(ScenarioFile, FaultsAreToldWithItsPathInUtf8)
{
    std::ofstream(folder / "bad.csv", std::ios::binary) << header << "5,stop,now\n";

    EXPECT_THAT(faultOfFile(folder / "bad.csv"), HasSubstr("\xC3\xA4"));
    EXPECT_THAT(faultOfFile(folder / "bad.csv"), HasSubstr("bad.csv:2: "));
}

}  // namespace
}  // namespace kelvane::tests
