#include "simulator/formats/scenario.h"

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
    const char* text;
    const char* read;
};

void expectRead(std::initializer_list<InputRow> rows)
{
    for (const InputRow& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_THAT(linesOf(header + row.text + "\n7,stop,service\n"), ElementsAre(row.read, "7 stop service"));
    }
}

TEST(ScenarioInput, ProcessStartEndsInItsIdBehindTheLastColon)
{
    expectRead({ { "5,process_start,a.exe:1004", "5 start a.exe 1004" },
                 { "5,process_start,C:\\x:0x10", "5 start C:\\x 16" },
                 { "5,process_start,\"a, b.exe:4294967295\"", "5 start a, b.exe 4294967295" },
                 { "5,process_start,:7", "5 start  7" } });
}

TEST(ScenarioInput, JobIsANameItsWorkAndTheCoresItCanUse)
{
    expectRead({ { "5,job,build:60000:6", "5 job build 60000 6" },
                 { "5,job,editor.exe:2500:2:launch", "5 job editor.exe 2500 2 launch" },
                 { "5,job,C:\\x:0x10:1", "5 job C:\\x 16 1" },
                 { "5,job,\"a, b:4294967295:4294967295\"", "5 job a, b 4294967295 4294967295" },
                 { "5,job,launch:1:1", "5 job launch 1 1" },
                 { "5,job,:1:1:launch", "5 job  1 1 launch" } });
}

TEST(ScenarioInput, ProcessorAndSeedStandAtTheStart)
{
    expectRead({ { "0,processor,thin-laptop", "0 processor thin-laptop" },
                 { "0,processor,workstation-laptop", "0 processor workstation-laptop" },
                 { "0,processor,desktop", "0 processor desktop" },
                 { "0,seed,4294967295", "0 seed 4294967295" },
                 { "0,seed,0", "0 seed 0" } });
}

TEST(ScenarioInput, StandbyIsEntryOrExit)
{
    expectRead({ { "5,standby,506", "5 standby 506" }, { "5,standby,507", "5 standby 507" } });
}

TEST(ScenarioInput, ReadingTakesAnyWordInDecimalOrHex)
{
    expectRead({ { "0,power_mw,0", "0 GET_RAPL_POWER 0" },
                 { "7,power_mw,1500", "7 GET_RAPL_POWER 1500" },
                 { "7,power_mw,4294967295", "7 GET_RAPL_POWER 4294967295" },
                 { "7,power_mw,0x5DC", "7 GET_RAPL_POWER 1500" },
                 { "7,power_mw,0xfFfFfFfF", "7 GET_RAPL_POWER 4294967295" },
                 { "7,power_mw,007", "7 GET_RAPL_POWER 7" },
                 { "7,clip_reasons,0x400", "7 GET_IA_CLIP_REASONS 1024" },
                 { "7,soc_workload,3", "7 GET_SOC_WORKLOAD 3" } });
}

TEST(ScenarioInput, PowerSourceIsALineStateOrFails)
{
    expectRead({ { "7,ac_line,0", "7 source 0" },
                 { "7,ac_line,1", "7 source 1" },
                 { "7,ac_line,255", "7 source 255" },
                 { "7,ac_line,0xFF", "7 source 255" },
                 { "7,ac_line,fail", "7 source unknown" } });
}

TEST(ScenarioInput, StatusNamesAnOperationAndItsSignedCode)
{
    expectRead({ { "7,status,INIT=3000", "7 INIT answers 3000" },
                 { "7,status,SESSION_CREATE=1", "7 SESSION_CREATE answers 1" },
                 { "7,status,SESSION_CONNECT=0", "7 SESSION_CONNECT answers 0" },
                 { "7,status,GET_SOC_WORKLOAD=2", "7 GET_SOC_WORKLOAD answers 2" },
                 { "7,status,SET_PERF_PREFERENCE_MAX=-1", "7 SET_PERF_PREFERENCE_MAX answers -1" },
                 { "7,status,SET_PERF_PREFERENCE_MIN=2147483647", "7 SET_PERF_PREFERENCE_MIN answers 2147483647" },
                 { "7,status,GET_IA_CLIP_REASONS=-2147483648", "7 GET_IA_CLIP_REASONS answers -2147483648" },
                 { "7,status,GET_RAPL_POWER=0x10", "7 GET_RAPL_POWER answers 16" },
                 { "7,status,SET_RAPL_POWER_LIMIT_1=1800", "7 SET_RAPL_POWER_LIMIT_1 answers 1800" },
                 { "7,status,REGISTER_EVENT/34=1", "7 REGISTER_EVENT/34 answers 1" },
                 { "7,status,REGISTER_EVENT/10000=1", "7 REGISTER_EVENT/10000 answers 1" },
                 { "7,status,REGISTER_EVENT/0xB7=1", "7 REGISTER_EVENT/183 answers 1" } });
}

TEST(ScenarioInput, EventHasTheValueThatItsTypeNeeds)
{
    expectRead({ { "7,event,5", "7 event 5 0" },
                 { "7,event,6", "7 event 6 0" },
                 { "7,event,34:3", "7 event 34 3" },
                 { "7,event,44", "7 event 44 0" },
                 { "7,event,72:0x8C5E7FDA", "7 event 72 2355003354" },
                 { "7,event,106:4294967295", "7 event 106 4294967295" },
                 { "7,event,183:2", "7 event 183 2" },
                 { "7,event,0xB7:2", "7 event 183 2" },
                 { "7,event,10000", "7 event 10000 0" } });
}

TEST(ScenarioInput, StopNamesWhatStops) { expectRead({ { "7,stop,scaling", "7 stop scaling" } }); }

TEST(ScenarioInput, MayBeQuoted)
{
    expectRead({ { "\"7\",\"event\",\"183:2\"", "7 event 183 2" }, { "7,stop,\"scaling\"", "7 stop scaling" } });
}

TEST(ScenarioInput, TimeIsDecimal) { expectRead({ { "007,ac_line,1", "7 source 1" } }); }

TEST(Scenario, KeepsTheFilesOrderAlsoAtOneTime)
{
    const std::string rows =
        "0,power_mw,1\n5,power_mw,2\n5,power_mw,3\n5,ac_line,0\n18446744073709551615,stop,service\n";

    EXPECT_THAT(linesOf(header + rows), ElementsAre("0 GET_RAPL_POWER 1", "5 GET_RAPL_POWER 2", "5 GET_RAPL_POWER 3",
                                                    "5 source 0", "18446744073709551615 stop service"));
}

TEST(Scenario, SkipsCommentsAndBlankLines)
{
    const std::string rows = "\n# 1,power_mw,1\n5,power_mw,2\n   \n#\n6,stop,service\n# end";

    EXPECT_THAT(linesOf(header + rows), ElementsAre("5 GET_RAPL_POWER 2", "6 stop service"));
}

TEST(Scenario, ReadsTheSameFromCrlfAsFromLf)
{
    EXPECT_THAT(linesOf("time_ms,input,value\r\n# comment\r\n\r\n5,power_mw,2\r\n6,stop,scaling\r\n"),
                ElementsAre("5 GET_RAPL_POWER 2", "6 stop scaling"));
}

TEST(ScenarioStop, IsAddedForTheServiceAtTheLastLinesTime)
{
    EXPECT_THAT(linesOf(header + "5,power_mw,2\n9000,power_mw,3\n# end\n"),
                ElementsAre("5 GET_RAPL_POWER 2", "9000 GET_RAPL_POWER 3", "9000 stop service"));
}

TEST(ScenarioStop, IsAddedAtZeroWhenThereAreNoLines)
{
    EXPECT_THAT(linesOf(header), ElementsAre("0 stop service"));
    EXPECT_THAT(linesOf("time_ms,input,value"), ElementsAre("0 stop service"));
}

TEST(ScenarioStop, IsNotAddedWhenOneStandsAnywhere)
{
    EXPECT_THAT(linesOf(header + "5,stop,scaling\n6,power_mw,2\n"),
                ElementsAre("5 stop scaling", "6 GET_RAPL_POWER 2"));
    EXPECT_THAT(linesOf(header + "0,stop,service\n6,power_mw,2\n"),
                ElementsAre("0 stop service", "6 GET_RAPL_POWER 2"));
}

}  // namespace
}  // namespace kelvane::tests
