#include "simulator/formats/scenario.h"

#include "tests/support/rows.h"

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
using testing::ThrowsMessage;

const std::string header = "time_ms,input,value\n";

void read(const std::string& text)
{
    std::istringstream file(text);
    simulator::readScenario(file, "scenario.csv");
}

struct FaultRow {
    const char* line;
    const char* told = "is not a number";
    const char* before = "10,power_mw,1";
};

class ScenarioFault : public WithRow<testing::Test, FaultRow> {
protected:
    // The faulty line is the fourth: a comment and a good line stand before it, a good one behind it.
    void expectToldBehind(const std::string& before)
    {
        const std::string text = header + "# comment\n" + before + "\n" + row().line + "\n30,stop,service\n";

        EXPECT_THAT([&] { read(text); },
                    ThrowsMessage<MalformedScenario>(AllOf(StartsWith("scenario.csv:4: "), HasSubstr(row().told))));
    }
};

TEST_ROWS(ScenarioFault,
          // an input that there is not
          ROW(.line = "20,fan_rpm,1", .told = "unknown input \"fan_rpm\""),
          ROW(.line = "20,,1", .told = "unknown input \"\""),
          ROW(.line = "20,POWER_MW,1", .told = "unknown input \"POWER_MW\""),
          ROW(.line = "20, power_mw,1", .told = "unknown input \" power_mw\""),
          ROW(.line = "20,power_mw ,2", .told = "unknown input \"power_mw \""),
          ROW(.line = "time_ms,input,value", .told = "time_ms"),
          // a number that is none
          ROW(.line = "20,power_mw,"), ROW(.line = "20,power_mw,x", .told = "\"x\""), ROW(.line = "20,power_mw,12x"),
          ROW(.line = "20,power_mw,1.5"), ROW(.line = "20,power_mw,1e3"), ROW(.line = "20,power_mw, 4"),
          ROW(.line = "20,power_mw,2 "), ROW(.line = "20,power_mw,+3"), ROW(.line = "20,power_mw,-1"),
          ROW(.line = "20,power_mw,0x"), ROW(.line = "20,power_mw,0xG"), ROW(.line = "20,power_mw,0x-1"),
          ROW(.line = "20,power_mw,\"1\n2\"", .told = "1\\x0A2"),
          ROW(.line = "20,clip_reasons,bits", .told = "clip_reasons"),
          ROW(.line = "20,soc_workload,-1", .told = "soc_workload"), ROW(.line = "20,ac_line,on", .told = "ac_line"),
          ROW(.line = "20,ac_line,", .told = "ac_line"), ROW(.line = "20,ac_line,FAIL", .told = "ac_line"),
          ROW(.line = "20,status,INIT="), ROW(.line = "20,status,INIT=x"), ROW(.line = "20,status,INIT=0x-1"),
          ROW(.line = "20,event,x"), ROW(.line = "20,event,"), ROW(.line = "20,event,183:x"),
          ROW(.line = "20,event,183:"), ROW(.line = "20,event,183:1:2"), ROW(.line = "20,event,183:-1"),
          // a number out of range
          ROW(.line = "20,power_mw,4294967296", .told = "out of range"),
          ROW(.line = "20,power_mw,0x100000000", .told = "out of range"),
          ROW(.line = "20,clip_reasons,99999999999999999999", .told = "out of range"),
          ROW(.line = "20,soc_workload,4294967296", .told = "out of range"),
          ROW(.line = "20,ac_line,2", .told = "0, 1, 255 or fail"),
          ROW(.line = "20,ac_line,254", .told = "0, 1, 255 or fail"),
          ROW(.line = "20,ac_line,256", .told = "0, 1, 255 or fail"),
          ROW(.line = "20,ac_line,257", .told = "0, 1, 255 or fail"),
          ROW(.line = "20,status,INIT=2147483648", .told = "out of range"),
          ROW(.line = "20,status,INIT=-2147483649", .told = "out of range"),
          ROW(.line = "20,event,106:4294967296", .told = "out of range"),
          // a time that is no decimal or falls
          ROW(.line = ",power_mw,1"), ROW(.line = "-20,power_mw,1"), ROW(.line = "0x20,power_mw,1"),
          ROW(.line = "20.0,power_mw,1"), ROW(.line = "20 ,power_mw,8"),
          ROW(.line = "18446744073709551616,power_mw,1", .told = "out of range"),
          ROW(.line = "9,power_mw,1", .told = "falls from 10 to 9"),
          ROW(.line = "0,power_mw,1", .told = "falls from 10 to 0"),
          // too few columns, or too many
          ROW(.line = "20", .told = "columns"), ROW(.line = "20,power_mw", .told = "columns"),
          ROW(.line = "20,power_mw,1,", .told = "columns"), ROW(.line = "20,power_mw,1,2", .told = "columns"),
          // the status of an unknown operation, or without a code
          ROW(.line = "20,status,INIT", .told = "NAME=CODE"), ROW(.line = "20,status,", .told = "NAME=CODE"),
          ROW(.line = "20,status,=1", .told = "unknown"), ROW(.line = "20,status,init=1", .told = "unknown"),
          ROW(.line = "20,status,INIT =1", .told = "unknown"),
          ROW(.line = "20,status,SESSION_DESTROY=1", .told = "unknown"),
          ROW(.line = "20,status,GET_FAN_SPEED=1", .told = "\"GET_FAN_SPEED\""),
          ROW(.line = "20,status,REGISTER_EVENT=1", .told = "unknown"), ROW(.line = "20,status,REGISTER_EVENT/=1"),
          ROW(.line = "20,status,REGISTER_EVENT/x=1"),
          // an event of an unknown type, or with the wrong payload
          ROW(.line = "20,event,7", .told = "\"7\""), ROW(.line = "20,event,7:1", .told = "\"7\""),
          ROW(.line = "20,event,34", .told = "needs a value"), ROW(.line = "20,event,72", .told = "needs a value"),
          ROW(.line = "20,event,106", .told = "needs a value"), ROW(.line = "20,event,183", .told = "needs a value"),
          ROW(.line = "20,event,10000:1", .told = "takes no value"),
          ROW(.line = "20,event,44:1", .told = "takes no value"),
          // a stop of something else, a process start without an id, standby of another event
          ROW(.line = "20,stop,", .told = "scaling or service"), ROW(.line = "20,stop,1", .told = "scaling or service"),
          ROW(.line = "20,stop,Service", .told = "scaling or service"),
          ROW(.line = "20,process_start,a.exe", .told = "process_start is NAME:PID"),
          ROW(.line = "20,process_start,a.exe:", .told = "process id"),
          ROW(.line = "20,process_start,a.exe:-1", .told = "process id"),
          ROW(.line = "20,process_start,a.exe:4294967296", .told = "out of range"),
          ROW(.line = "20,standby,505", .told = "506 or 507"), ROW(.line = "20,standby,508", .told = "506 or 507"),
          ROW(.line = "20,standby,on", .told = "standby"),
          // what is no CSV, and bytes that are no number
          ROW(.line = "20,power_mw,\"1\"x", .told = "unexpected x"), ROW(.line = "\xFF\xFE,power_mw,1"),
          // a second one, and power both scripted and from work
          ROW(.line = "0,processor,desktop", .told = "4: a second processor", .before = "0,processor,desktop"),
          ROW(.line = "0,seed,1", .told = "4: a second seed", .before = "0,seed,1"),
          ROW(.line = "20,job,a:1:1", .told = "4: job and power_mw cannot stand in one scenario"),
          ROW(.line = "25,power_mw,2", .told = "4: power_mw and processor cannot stand in one scenario",
              .before = "0,processor,desktop"),
          ROW(.line = "0,processor,desktop", .told = "4: processor and clip_reasons cannot stand in one scenario",
              .before = "0,clip_reasons,0"));

TEST_ROW(ScenarioFault, IsToldWithItsLine) { expectToldBehind(row().before); }

class ScenarioFaultBehindAJob : public ScenarioFault {};

TEST_ROWS(ScenarioFaultBehindAJob,
          // a job that lacks something
          ROW(.line = "20,job,", .told = "job is NAME:WORK_MS:CORES or NAME:WORK_MS:CORES:launch"),
          ROW(.line = "20,job,a", .told = "job is NAME:WORK_MS:CORES or NAME:WORK_MS:CORES:launch"),
          ROW(.line = "20,job,a:1", .told = "job is NAME:WORK_MS:CORES or NAME:WORK_MS:CORES:launch"),
          ROW(.line = "20,job,1:launch", .told = "job is NAME:WORK_MS:CORES or NAME:WORK_MS:CORES:launch"),
          ROW(.line = "20,job,a:x:1", .told = "work \"x\" is not a number"),
          ROW(.line = "20,job,a:1:x", .told = "cores \"x\" is not a number"),
          ROW(.line = "20,job,a:1:1:start", .told = "cores \"start\" is not a number"),
          ROW(.line = "20,job,a:1:1:", .told = "cores \"\" is not a number"),
          ROW(.line = "20,job,a:1.5:1", .told = "work \"1.5\" is not a number"),
          ROW(.line = "20,job,a:4294967296:1", .told = "work \"4294967296\" is out of range"),
          ROW(.line = "20,job,a:0:1", .told = "work is at least 1"),
          ROW(.line = "20,job,a:1:0", .told = "cores is at least 1"),
          // a processor or a seed that is none, or comes late
          ROW(.line = "0,processor,tablet",
              .told = "processor is one of thin-laptop, workstation-laptop, desktop, not \"tablet\""),
          ROW(.line = "0,processor,", .told = "processor is one of"),
          ROW(.line = "20,processor,desktop", .told = "processor must stand at time 0"),
          ROW(.line = "20,seed,1", .told = "seed must stand at time 0"),
          ROW(.line = "0,seed,x", .told = "seed \"x\" is not a number"),
          // scripted power beside that from work
          ROW(.line = "20,power_mw,1", .told = "power_mw and job cannot stand in one scenario"),
          ROW(.line = "20,clip_reasons,1", .told = "clip_reasons and job cannot stand in one scenario"));

TEST_ROW(ScenarioFaultBehindAJob, IsToldWithItsLine) { expectToldBehind("0,job,a:1:1"); }

struct PlaceRow {
    std::string text;
    const char* place;
};

class ScenarioFaultPlace : public WithRow<testing::Test, PlaceRow> {};

TEST_ROWS(ScenarioFaultPlace, ROW(.text = std::string(300, '\0'), .place = "scenario.csv:1: "),
          // an empty file lacks its first line
          ROW(.text = "", .place = "scenario.csv:1: "),
          // lines are counted through line breaks in quotes and CRLF
          ROW(.text = header + "0,stop,\"a\n\nb\"\n", .place = "scenario.csv:2: "),
          ROW(.text = "time_ms,input,value\r\n\r\n# c\r\n0,power_mw,x\r\n", .place = "scenario.csv:4: "),
          // the first fault is told
          ROW(.text = header + "0,power_mw,x\n0,fan_rpm,1\n", .place = "scenario.csv:2: "));

TEST_ROW(ScenarioFaultPlace, IsToldWhateverTheFileHolds)
{
    EXPECT_THAT([&] { read(row().text); }, ThrowsMessage<MalformedScenario>(StartsWith(row().place)));
}

class ScenarioFirstLine : public testing::TestWithParam<const char*> {};

TEST_P(ScenarioFirstLine, MustNameTheThreeColumns)
{
    EXPECT_THAT(
        [] { read(GetParam() + std::string("\ntime_ms,input,value\n0,stop,service\n")); },
        ThrowsMessage<MalformedScenario>(AllOf(StartsWith("scenario.csv:1: "), HasSubstr("time_ms,input,value"))));
}

INSTANTIATE_TEST_SUITE_P(Wrong, ScenarioFirstLine,
                         testing::Values("0,power_mw,1", "time,input,value", "time_ms,value,input",
                                         "TIME_MS,INPUT,VALUE", "time_ms,input", "", "# comment",
                                         "time_ms,input,value,", " time_ms,input,value", "time_ms;input;value"));

class ScenarioFile : public testing::Test {
protected:
    ScenarioFile() { fs::create_directories(folder); }

    ~ScenarioFile() override { fs::remove_all(folder); }

    // A file of that name in the folder.
    fs::path written(const char* name, const std::string& rows) const
    {
        std::ofstream(folder / name, std::ios::binary) << header << rows;
        return folder / name;
    }

    const fs::path folder = fs::temp_directory_path() /
                            fs::path(u8"kelvane scenario \u00e4 ").concat(std::to_string(GetCurrentProcessId()));
};

TEST_F(ScenarioFile, IsReadByItsPath)
{
    const simulator::Scenario scenario = simulator::readScenario(written("good.csv", "5,stop,scaling\n"));

    ASSERT_EQ(1u, scenario.size());
    EXPECT_EQ(5u, scenario[0].timeMs);
}

TEST_F(ScenarioFile, ThatIsMissingOrADirectoryIsAFault)
{
    for (const fs::path& path : { folder / "missing.csv", folder }) {
        EXPECT_THAT([&] { simulator::readScenario(path); },
                    ThrowsMessage<MalformedScenario>(StartsWith(simulator::toUtf8(path) + ":1: ")));
    }
}

TEST_F(ScenarioFile, FaultsAreToldWithItsPathInUtf8)
{
    const fs::path bad = written("bad.csv", "5,stop,now\n");

    EXPECT_THAT([&] { simulator::readScenario(bad); },
                ThrowsMessage<MalformedScenario>(AllOf(HasSubstr("\xC3\xA4"), HasSubstr("bad.csv:2: "))));
}

}  // namespace
}  // namespace kelvane::tests
