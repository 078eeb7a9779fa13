// Traps as signals: a refused store, and the end of a single step.
#include "tests/support/store_watch.h"

#include <sys/mman.h>
#include <ucontext.h>

#include <csignal>
#include <cstdlib>

namespace kelvane::tests {

namespace {

constexpr greg_t singleStep = 0x100;  // the trap flag

struct sigaction segvBefore;
struct sigaction trapBefore;

greg_t& flagsOf(void* context) { return static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_EFL]; }

void onRefusedStore(int /*signal*/, siginfo_t* info, void* context)
{
    if (StoreWatch::beforeStore(reinterpret_cast<std::uintptr_t>(info->si_addr))) {
        flagsOf(context) |= singleStep;
    } else {
        sigaction(SIGSEGV, &segvBefore, nullptr);  // the instruction runs into it once more
    }
}

void onStep(int /*signal*/, siginfo_t* /*info*/, void* context)
{
    flagsOf(context) &= ~singleStep;
    if (!StoreWatch::afterStore()) std::abort();
}

struct sigaction handlerOf(void (*handler)(int, siginfo_t*, void*))
{
    struct sigaction action = {};
    action.sa_sigaction = handler;
    action.sa_flags = SA_SIGINFO;
    return action;
}

}  // namespace

void StoreWatch::catchTraps()
{
    const struct sigaction segv = handlerOf(onRefusedStore);
    const struct sigaction trap = handlerOf(onStep);
    sigaction(SIGSEGV, &segv, &segvBefore);
    sigaction(SIGTRAP, &trap, &trapBefore);
}

void StoreWatch::releaseTraps()
{
    sigaction(SIGSEGV, &segvBefore, nullptr);
    sigaction(SIGTRAP, &trapBefore, nullptr);
}

void StoreWatch::allowStores(std::uintptr_t page, bool allowed)
{
    mprotect(reinterpret_cast<void*>(page), pageSize, allowed ? PROT_READ | PROT_WRITE : PROT_READ);
}

}  // namespace kelvane::tests
