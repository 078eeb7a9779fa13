#include "simulator/formats/scenario.h"

#include "tests/support/rows.h"

#include <gmock/gmock.h>

#include <sstream>

namespace kelvane::tests {
namespace {

using namespace simulator;
using testing::ElementsAre;

std::string describe(const Reading& reading)
{
    return std::string(primitiveNames[static_cast<std::size_t>(reading.getter)]) + " " + std::to_string(reading.value);
}

std::string describe(const PowerSource& source)
{
    return source.known ? "source " + std::to_string(source.acLine) : "source unknown";
}

std::string describe(const Answer& answer) { return answer.operation + " answers " + std::to_string(answer.status); }

std::string describe(const FrameworkEvent& event)
{
    return "event " + std::to_string(event.type) + " " + std::to_string(event.value);
}

std::string describe(const ProcessStart& start) { return "start " + start.name + " " + std::to_string(start.id); }

std::string describe(const StandbyEvent& standby) { return "standby " + std::to_string(standby.eventId); }

std::string describe(const Stop& stop) { return stop.service ? "stop service" : "stop scaling"; }

std::string describe(const Processor& processor) { return "processor " + std::string(processor.spec->name); }

std::string describe(const Job& job)
{
    return "job " + job.name + " " + std::to_string(job.coreMs) + " " + std::to_string(job.cores) +
           (job.launch ? " launch" : "");
}

std::string describe(const Seed& seed) { return "seed " + std::to_string(seed.value); }

// The lines that are read from `text`, as "TIME what".
std::vector<std::string> linesOf(const std::string& text)
{
    std::istringstream file(text);
    std::vector<std::string> lines;
    for (const ScenarioLine& line : readScenario(file, "scenario.csv")) {
        lines.push_back(std::to_string(line.timeMs) + " " +
                        std::visit([](const auto& input) { return describe(input); }, line.input));
    }
    return lines;
}

const std::string header = "time_ms,input,value\n";

struct InputRow {
    const char* line;
    const char* read;
};

class ScenarioInput : public WithRow<testing::Test, InputRow> {};

TEST_ROWS(ScenarioInput,
          // a process start ends in its id, behind the last colon
          ROW(.line = "5,process_start,a.exe:1004", .read = "5 start a.exe 1004"),
          ROW(.line = "5,process_start,C:\\x:0x10", .read = "5 start C:\\x 16"),
          ROW(.line = "5,process_start,\"a, b.exe:4294967295\"", .read = "5 start a, b.exe 4294967295"),
          ROW(.line = "5,process_start,:7", .read = "5 start  7"),
          // a job is a name, its work and the cores that it can use
          ROW(.line = "5,job,build:60000:6", .read = "5 job build 60000 6"),
          ROW(.line = "5,job,editor.exe:2500:2:launch", .read = "5 job editor.exe 2500 2 launch"),
          ROW(.line = "5,job,C:\\x:0x10:1", .read = "5 job C:\\x 16 1"),
          ROW(.line = "5,job,\"a, b:4294967295:4294967295\"", .read = "5 job a, b 4294967295 4294967295"),
          ROW(.line = "5,job,launch:1:1", .read = "5 job launch 1 1"),
          ROW(.line = "5,job,:1:1:launch", .read = "5 job  1 1 launch"),
          // processor and seed stand at the start
          ROW(.line = "0,processor,thin-laptop", .read = "0 processor thin-laptop"),
          ROW(.line = "0,processor,workstation-laptop", .read = "0 processor workstation-laptop"),
          ROW(.line = "0,processor,desktop", .read = "0 processor desktop"),
          ROW(.line = "0,seed,4294967295", .read = "0 seed 4294967295"), ROW(.line = "0,seed,0", .read = "0 seed 0"),
          // standby is entry or exit
          ROW(.line = "5,standby,506", .read = "5 standby 506"), ROW(.line = "5,standby,507", .read = "5 standby 507"),
          // a reading takes any word, in decimal or hex
          ROW(.line = "0,power_mw,0", .read = "0 GET_RAPL_POWER 0"),
          ROW(.line = "7,power_mw,1500", .read = "7 GET_RAPL_POWER 1500"),
          ROW(.line = "7,power_mw,4294967295", .read = "7 GET_RAPL_POWER 4294967295"),
          ROW(.line = "7,power_mw,0x5DC", .read = "7 GET_RAPL_POWER 1500"),
          ROW(.line = "7,power_mw,0xfFfFfFfF", .read = "7 GET_RAPL_POWER 4294967295"),
          ROW(.line = "7,power_mw,007", .read = "7 GET_RAPL_POWER 7"),
          ROW(.line = "7,clip_reasons,0x400", .read = "7 GET_IA_CLIP_REASONS 1024"),
          ROW(.line = "7,soc_workload,3", .read = "7 GET_SOC_WORKLOAD 3"),
          // the power source is a line's state, or asking for it fails
          ROW(.line = "7,ac_line,0", .read = "7 source 0"), ROW(.line = "7,ac_line,1", .read = "7 source 1"),
          ROW(.line = "7,ac_line,255", .read = "7 source 255"), ROW(.line = "7,ac_line,0xFF", .read = "7 source 255"),
          ROW(.line = "7,ac_line,fail", .read = "7 source unknown"),
          // a status names an operation and its signed code
          ROW(.line = "7,status,INIT=3000", .read = "7 INIT answers 3000"),
          ROW(.line = "7,status,SESSION_CREATE=1", .read = "7 SESSION_CREATE answers 1"),
          ROW(.line = "7,status,SESSION_CONNECT=0", .read = "7 SESSION_CONNECT answers 0"),
          ROW(.line = "7,status,GET_SOC_WORKLOAD=2", .read = "7 GET_SOC_WORKLOAD answers 2"),
          ROW(.line = "7,status,SET_PERF_PREFERENCE_MAX=-1", .read = "7 SET_PERF_PREFERENCE_MAX answers -1"),
          ROW(.line = "7,status,SET_PERF_PREFERENCE_MIN=2147483647",
              .read = "7 SET_PERF_PREFERENCE_MIN answers 2147483647"),
          ROW(.line = "7,status,GET_IA_CLIP_REASONS=-2147483648", .read = "7 GET_IA_CLIP_REASONS answers -2147483648"),
          ROW(.line = "7,status,GET_RAPL_POWER=0x10", .read = "7 GET_RAPL_POWER answers 16"),
          ROW(.line = "7,status,SET_RAPL_POWER_LIMIT_1=1800", .read = "7 SET_RAPL_POWER_LIMIT_1 answers 1800"),
          ROW(.line = "7,status,REGISTER_EVENT/34=1", .read = "7 REGISTER_EVENT/34 answers 1"),
          ROW(.line = "7,status,REGISTER_EVENT/10000=1", .read = "7 REGISTER_EVENT/10000 answers 1"),
          ROW(.line = "7,status,REGISTER_EVENT/0xB7=1", .read = "7 REGISTER_EVENT/183 answers 1"),
          // an event has the value that its type needs
          ROW(.line = "7,event,5", .read = "7 event 5 0"), ROW(.line = "7,event,6", .read = "7 event 6 0"),
          ROW(.line = "7,event,34:3", .read = "7 event 34 3"), ROW(.line = "7,event,44", .read = "7 event 44 0"),
          ROW(.line = "7,event,72:0x8C5E7FDA", .read = "7 event 72 2355003354"),
          ROW(.line = "7,event,106:4294967295", .read = "7 event 106 4294967295"),
          ROW(.line = "7,event,183:2", .read = "7 event 183 2"), ROW(.line = "7,event,0xB7:2", .read = "7 event 183 2"),
          ROW(.line = "7,event,10000", .read = "7 event 10000 0"),
          // a stop names what stops
          ROW(.line = "7,stop,scaling", .read = "7 stop scaling"),
          // columns may be quoted; time is decimal
          ROW(.line = "\"7\",\"event\",\"183:4\"", .read = "7 event 183 4"),
          ROW(.line = "6,stop,\"scaling\"", .read = "6 stop scaling"),
          ROW(.line = "007,ac_line,1", .read = "7 source 1"));

TEST_ROW(ScenarioInput, IsReadFromItsLine)
{
    EXPECT_THAT(linesOf(header + row().line + "\n7,stop,service\n"), ElementsAre(row().read, "7 stop service"));
}

struct FileRow {
    std::string text;
    std::vector<std::string> lines;
};

class ScenarioLines : public WithRow<testing::Test, FileRow> {};

TEST_ROWS(ScenarioLines,
          // the file's order is kept, also at one time
          ROW(.text = header + "0,power_mw,1\n5,power_mw,2\n5,ac_line,0\n18446744073709551615,stop,service\n",
              .lines = { "0 GET_RAPL_POWER 1", "5 GET_RAPL_POWER 2", "5 source 0",
                         "18446744073709551615 stop service" }),
          // comments and blank lines are skipped; CRLF is read as LF is
          ROW(.text = header + "\n# 1,power_mw,1\n5,power_mw,2\n   \n#\n6,stop,service\n# end",
              .lines = { "5 GET_RAPL_POWER 2", "6 stop service" }),
          ROW(.text = "time_ms,input,value\r\n# comment\r\n\r\n5,power_mw,2\r\n6,stop,scaling\r\n",
              .lines = { "5 GET_RAPL_POWER 2", "6 stop scaling" }),
          // a stop of the service is added at the last line's time, unless a stop stands anywhere
          ROW(.text = header + "5,power_mw,2\n9000,power_mw,3\n# end\n",
              .lines = { "5 GET_RAPL_POWER 2", "9000 GET_RAPL_POWER 3", "9000 stop service" }),
          ROW(.text = header, .lines = { "0 stop service" }),
          ROW(.text = "time_ms,input,value", .lines = { "0 stop service" }),
          ROW(.text = header + "5,stop,scaling\n6,power_mw,2\n", .lines = { "5 stop scaling", "6 GET_RAPL_POWER 2" }),
          ROW(.text = header + "0,stop,service\n6,power_mw,2\n", .lines = { "0 stop service", "6 GET_RAPL_POWER 2" }));

TEST_ROW(ScenarioLines, AreThoseOfTheFile) { EXPECT_EQ(row().lines, linesOf(row().text)); }

}  // namespace
}  // namespace kelvane::tests
