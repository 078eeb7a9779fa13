// simulator/replay/new_file.h: a file that is written beside its place, and takes it when it is whole.
//
// Until then what stood at the place before stays there. However the program ends, nothing half-written is left; on
// Linux, where this runs for tests alone, a kill leaves the unfinished file under its passing name. A place that is no
// file (/dev/null) is written directly.
#pragma once

#include <cstdio>
#include <filesystem>
#include <ostream>
#include <streambuf>
#include <string>

namespace kelvane::simulator {

class NewFile {
public:
    // What goes wrong shows in keep(); a stream of what could not be opened is bad from the start.
    explicit NewFile(std::filesystem::path where);
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;
    ~NewFile();

    std::ostream& stream() { return out; }

    // Once, at the end. Returns what the system says if the file could not be written as a whole, else nothing.
    std::string keep();

private:
    class Buffer : public std::streambuf {
    public:
        std::FILE* file = nullptr;
        int error = 0;  // errno of the first failure

    protected:
        std::streamsize xsputn(const char* text, std::streamsize length) override;
        int_type overflow(int_type character) override;
    };

    void abandon();

    const std::filesystem::path place;
    std::filesystem::path unfinished;  // empty where the place is written directly
    Buffer buffer;
    std::ostream out{ &buffer };
};

// --- the system's part: each sets errno when it fails ---------------------------------------------------------------

// Whether there is something at the place that a file cannot take the place of.
bool isNoFile(const std::filesystem::path& place);

// A new file that goes away by itself where the system can do that, and is removed when the program is interrupted.
std::FILE* openUnfinished(const std::filesystem::path& path);

// An open file at what is already there.
std::FILE* openInPlace(const std::filesystem::path& path);

// Closes the file and renames it.
bool takePlace(std::FILE* file, const std::filesystem::path& unfinished, const std::filesystem::path& place);

// A name beside the place that no other running program uses.
std::filesystem::path nameBeside(const std::filesystem::path& place);

// From now on an interruption ends the program with this exit code, at once.
void endWhenInterrupted(int code);

}  // namespace kelvane::simulator
