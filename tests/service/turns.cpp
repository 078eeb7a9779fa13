// Events and the watcher's own thread handle: its end is seen without a destructor that would run in it.
#include "tests/service/turns.h"

#include <windows.h>

#include <atomic>

namespace kelvane::tests {

namespace {

struct Turns {
    DWORD host = 0;
    std::atomic<DWORD> watcher = 0;
    std::atomic<HANDLE> watcherThread = nullptr;
    bool begun = false;  // the watcher has had its first turn
    HANDLE watcherCame = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    HANDLE hostTurn = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    HANDLE watcherTurn = CreateEventW(nullptr, FALSE, FALSE, nullptr);
};

Turns& turns = *new Turns;

// Not by the import that tests replace.
void waitFor(HANDLE event) { WaitForMultipleObjects(1, &event, FALSE, INFINITE); }

bool watcherEnded()
{
    HANDLE thread = turns.watcherThread;
    return WaitForMultipleObjects(1, &thread, FALSE, 0) == WAIT_OBJECT_0;
}

}  // namespace

void takeFirstTurn() { turns.host = GetCurrentThreadId(); }

bool isHost() { return GetCurrentThreadId() == turns.host; }

void beginTurn()
{
    if (isHost() || turns.watcher == GetCurrentThreadId()) return;
    HANDLE thread = nullptr;
    DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &thread, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    turns.watcherThread = thread;
    turns.watcher = GetCurrentThreadId();
    SetEvent(turns.watcherCame);
    waitFor(turns.watcherTurn);
}

void letWatcherRun()
{
    if (!turns.begun) waitFor(turns.watcherCame);
    turns.begun = true;
    if (watcherEnded()) return;
    SetEvent(turns.watcherTurn);
    HANDLE back[] = { turns.hostTurn, turns.watcherThread };
    WaitForMultipleObjects(2, back, FALSE, INFINITE);
}

void letHostRun()
{
    SetEvent(turns.hostTurn);
    waitFor(turns.watcherTurn);
}

bool watcherLives() { return turns.begun && !watcherEnded(); }

}  // namespace kelvane::tests
