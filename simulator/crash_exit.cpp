// Under Wine a crashed process sometimes ends with exit code 0, and its test would pass. This ends it with 70 and says
// where it crashed (addr2line names the line).
#include <windows.h>

#include <cstdio>

namespace {

LONG WINAPI die(EXCEPTION_POINTERS* crash)
{
    std::fprintf(stderr, "FATAL %08lx at %p\n", crash->ExceptionRecord->ExceptionCode,
                 crash->ExceptionRecord->ExceptionAddress);
    std::fflush(stderr);
    TerminateProcess(GetCurrentProcess(), 70);
    return EXCEPTION_EXECUTE_HANDLER;
}

[[maybe_unused]] const auto previousFilter = SetUnhandledExceptionFilter(die);

}  // namespace
