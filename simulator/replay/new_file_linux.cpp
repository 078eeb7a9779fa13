// A file by a passing name, which a signal that ends the program removes.
#include "simulator/replay/new_file.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <limits.h>
#include <unistd.h>

namespace kelvane::simulator {

namespace {

constexpr int endingSignals[] = { SIGINT, SIGTERM, SIGHUP };

volatile std::sig_atomic_t interruptedCode = 1;
char unfinishedName[PATH_MAX] = {};  // for the handler, which may not allocate; empty: there is none

void endProcess(int /*signal*/)
{
    if (unfinishedName[0] != '\0') unlink(unfinishedName);
    _exit(interruptedCode);
}

}  // namespace

bool isNoFile(const std::filesystem::path& place)
{
    std::error_code ignored;
    const std::filesystem::file_status there = std::filesystem::status(place, ignored);
    return std::filesystem::exists(there) && !std::filesystem::is_regular_file(there);
}

std::FILE* openUnfinished(const std::filesystem::path& path)
{
    if (path.native().size() < sizeof unfinishedName) std::strcpy(unfinishedName, path.c_str());
    return std::fopen(path.c_str(), "wbx");
}

std::FILE* openInPlace(const std::filesystem::path& path) { return std::fopen(path.c_str(), "wb"); }

bool takePlace(std::FILE* file, const std::filesystem::path& unfinished, const std::filesystem::path& place)
{
    if (std::fclose(file) == 0 && std::rename(unfinished.c_str(), place.c_str()) == 0) {
        unfinishedName[0] = '\0';
        return true;
    }
    const int error = errno;
    unlink(unfinished.c_str());
    errno = error;
    return false;
}

std::filesystem::path nameBeside(const std::filesystem::path& place)
{
    static int made = 0;
    return place.parent_path() / (".kelvane-" + std::to_string(getpid()) + "-" + std::to_string(made++) + ".new");
}

void endWhenInterrupted(int code)
{
    interruptedCode = code;
    for (const int ending : endingSignals) {
        if (std::signal(ending, endProcess) == SIG_IGN) std::signal(ending, SIG_IGN);
    }
    std::signal(SIGXFSZ, SIG_IGN);  // a file over the limit is a write that fails
}

}  // namespace kelvane::simulator
