// crash_program HOW: ends by a crash of that kind; without one it ends with 5.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

int main(int argc, char** argv)
{
    const char* const how = argc == 2 ? argv[1] : "";
    if (std::strcmp(how, "fault") == 0) *reinterpret_cast<volatile int*>(std::uintptr_t{ 8 }) = 1;
    if (std::strcmp(how, "abort") == 0) std::abort();
    if (std::strcmp(how, "throw") == 0) throw std::runtime_error("nobody catches this");
    if (std::strcmp(how, "trap") == 0) __builtin_trap();
    return 5;
}
