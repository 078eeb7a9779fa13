// Written beside, renamed at the end. What the C library says of a failure is kept, because it is told.
#include "simulator/replay/new_file.h"

#include <cerrno>
#include <system_error>
#include <utility>

namespace kelvane::simulator {

std::streamsize NewFile::Buffer::xsputn(const char* text, std::streamsize length)
{
    if (!file || error != 0) return 0;
    errno = 0;
    const std::size_t written = std::fwrite(text, 1, static_cast<std::size_t>(length), file);
    if (static_cast<std::streamsize>(written) != length) error = errno == 0 ? EIO : errno;
    return static_cast<std::streamsize>(written);
}

NewFile::Buffer::int_type NewFile::Buffer::overflow(int_type character)
{
    const char single = traits_type::to_char_type(character);
    return xsputn(&single, 1) == 1 ? character : traits_type::eof();
}

NewFile::NewFile(std::filesystem::path where) : place(std::move(where))
{
    errno = 0;
    if (isNoFile(place)) {
        buffer.file = openInPlace(place);
    } else {
        unfinished = nameBeside(place);
        buffer.file = openUnfinished(unfinished);
    }
    if (buffer.file) return;
    buffer.error = errno == 0 ? EIO : errno;
    out.setstate(std::ios::badbit);
}

NewFile::~NewFile() { abandon(); }

void NewFile::abandon()
{
    if (!buffer.file) return;
    std::fclose(buffer.file);
    buffer.file = nullptr;
    std::error_code ignored;  // where it goes away by itself, it is gone
    if (!unfinished.empty()) std::filesystem::remove(unfinished, ignored);
}

std::string NewFile::keep()
{
    errno = 0;
    if (buffer.error == 0 && std::fflush(buffer.file) != 0) buffer.error = errno == 0 ? EIO : errno;
    if (buffer.error == 0) {
        const bool kept =
            unfinished.empty() ? std::fclose(buffer.file) == 0 : takePlace(buffer.file, unfinished, place);
        if (!kept) buffer.error = errno == 0 ? EIO : errno;
        buffer.file = nullptr;
    }
    abandon();
    return buffer.error == 0 ? "" : std::generic_category().message(buffer.error);
}

}  // namespace kelvane::simulator
