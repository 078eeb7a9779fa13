#include "tests/fakes/turns.h"

#include <windows.h>

#include <condition_variable>
#include <mutex>

namespace kelvane::tests {

namespace {

enum class Turn { host, watcher };
enum class Watcher { notStarted, waitsForItsFirst, lives, ended };

struct Turns {
    std::mutex lock;
    std::condition_variable changed;
    Turn turn = Turn::host;
    Watcher watcher = Watcher::notStarted;
    DWORD hostThread = 0;
};

Turns& turns = *new Turns;

void give(Turn next)
{
    turns.turn = next;
    turns.changed.notify_all();
}

void waitFor(std::unique_lock<std::mutex>& hold, Turn own)
{
    turns.changed.wait(hold, [own] { return turns.turn == own; });
}

// Gives the turn back when the watcher's thread ends.
struct End {
    bool armed = false;

    ~End()
    {
        if (!armed) return;
        const std::lock_guard hold(turns.lock);
        turns.watcher = Watcher::ended;
        give(Turn::host);
    }
};

thread_local End end;

}  // namespace

void takeFirstTurn() { turns.hostThread = GetCurrentThreadId(); }

bool isHost() { return GetCurrentThreadId() == turns.hostThread; }

void beginTurn()
{
    if (isHost() || end.armed) return;
    end.armed = true;
    std::unique_lock hold(turns.lock);
    turns.watcher = Watcher::waitsForItsFirst;
    turns.changed.notify_all();
    waitFor(hold, Turn::watcher);
    turns.watcher = Watcher::lives;
}

void letWatcherRun()
{
    std::unique_lock hold(turns.lock);
    turns.changed.wait(hold, [] { return turns.watcher != Watcher::notStarted; });
    if (turns.watcher == Watcher::ended) return;
    give(Turn::watcher);
    waitFor(hold, Turn::host);
}

void letHostRun()
{
    std::unique_lock hold(turns.lock);
    give(Turn::host);
    waitFor(hold, Turn::watcher);
}

bool watcherLives()
{
    const std::lock_guard hold(turns.lock);
    return turns.watcher == Watcher::lives;
}

}  // namespace kelvane::tests
