// Linked into every Windows program of ours but the service: a crash ends it with a code of its own, and a sentence.
//
// Wine hands on the low byte of a program's exit code, in which an access violation (c0000005) is 5 and an abort is 3:
// codes that programs give a meaning to. Sometimes it is even 0. A code above 128 is a shell's word for a program that
// did not end by itself.
#include <windows.h>

#include <csignal>
#include <cstdio>
#include <cstring>

namespace {

constexpr UINT exitAborted = 128 + 6;   // as SIGABRT would have it
constexpr UINT exitCrashed = 128 + 11;  // as SIGSEGV would

// The path's last part, without help from anything that allocates: memory may be what is broken.
const char* programName()
{
    static char path[MAX_PATH] = "";
    GetModuleFileNameA(nullptr, path, MAX_PATH - 1);
    const char* name = path;
    for (const char* character = path; *character != '\0'; ++character) {
        if (*character == '\\') name = character + 1;
    }
    return name;
}

// Past the C library, which may not be called from a signal's handler.
void say(const char* text)
{
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), text, static_cast<DWORD>(std::strlen(text)), &written, nullptr);
}

[[noreturn]] void end(UINT code)
{
    TerminateProcess(GetCurrentProcess(), code);
    for (;;) Sleep(INFINITE);  // until then
}

// addr2line names the line of the address.
LONG WINAPI endCrashed(EXCEPTION_POINTERS* crash)
{
    char text[100] = "";
    std::snprintf(text, sizeof text, " crashed: exception %08lx at %p\n", crash->ExceptionRecord->ExceptionCode,
                  crash->ExceptionRecord->ExceptionAddress);
    say(programName());
    say(text);
    end(exitCrashed);
}

void endAborted(int /*signal*/)
{
    say(programName());
    say(" crashed: it aborted itself\n");
    end(exitAborted);
}

struct Installed {
    Installed()
    {
        SetUnhandledExceptionFilter(endCrashed);
        std::signal(SIGABRT, endAborted);
    }
} const installed;

}  // namespace
