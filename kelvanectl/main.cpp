// The command line. Arguments are wide, so that any name of a file can be given.
#include "kelvanectl/commands.h"
#include "kelvanectl/console.h"
#include "version.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace kelvane {

namespace {

constexpr char howToAsk[] = ": see kelvanectl -h.";

struct CommandLine {
    CLI::App app{ "What the service does, and whether it can. See \"kelvanectl COMMAND -h\" for each command." };
    std::string file;
    bool json = false;
    std::function<int()> command;

    CommandLine();
};

void describe(CLI::App& command, const char* codes, const char* example)
{
    command.footer(std::string("Exit codes: ") + codes + ", 2 wrong usage.\nExample: kelvanectl " + example);
}

CommandLine::CommandLine()
{
    app.name("kelvanectl");
    app.allow_windows_style_options(false);  // else a path that begins with a slash is taken for one
    app.set_version_flag("--version", KELVANE_VERSION);
    app.require_subcommand(1);
    app.footer("Exit codes: 0 done, 1 failed, 2 wrong usage, others at each command.\nExample: kelvanectl status");

    CLI::App* const status = app.add_subcommand(
        "status", "Prints what is known of the service, its surroundings and, by its log, of scaling.");
    status->add_flag("--json", json, "Print JSON");
    describe(*status, "0 running, 3 not running, 4 not installed", "status --json");
    status->callback([this] { command = [this] { return statusCommand(json); }; });

    CLI::App* const verify = app.add_subcommand(
        "verify", "Checks what must be in place, a line for each thing: ok, FAILED with what to do, or unknown.");
    verify->add_flag("--json", json, "Print JSON");
    describe(*verify, "0 nothing failed, 1 something failed", "verify");
    verify->callback([this] { command = [this] { return verifyCommand(json); }; });

    CLI::App* const log = app.add_subcommand("log", "Prints the diagnostic log, an entry a line, with its meaning.");
    log->add_option("FILE", file, "A log from any PC; the one of this PC's service if it is not given");
    describe(*log, "0 printed, 1 no log, 5 no right to read it", R"(log C:\Users\Ann\Desktop\KelvanneApp.log)");
    log->callback([this] { command = [this] { return logCommand(toWide(file)); }; });
}

int run(int argc, wchar_t** argv)
{
    CommandLine line;
    std::vector<std::string> arguments;  // the library wants them from the last one on
    for (int i = argc - 1; i > 0; --i) arguments.push_back(toUtf8(argv[i]));
    try {
        line.app.parse(arguments);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != 0) return complain(wrongUsage, error.what() + std::string(howToAsk));
        std::ostringstream help;
        line.app.exit(error, help, help);
        say(help.str());
        return done;
    }
    return line.command();
}

}  // namespace

}  // namespace kelvane

int wmain(int argc, wchar_t** argv)
{
    try {
        return kelvane::run(argc, argv);
    } catch (const std::exception& error) {
        return kelvane::complain(kelvane::failed, std::string("something unforeseen: ") + error.what() +
                                                      "; try again, and report it if it comes again.");
    }
}
