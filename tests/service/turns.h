// tests/service/turns.h: two threads of which one runs at a time, so that what they do comes in one order.
//
// The host is the thread that calls takeFirstTurn. The other one, here the watcher, is started by the code under test;
// it waits in its first call of beginTurn until the host lets it run, and its end gives the turn back.
#pragma once

namespace kelvane::tests {

void takeFirstTurn();

bool isHost();

// In every call that either thread makes.
void beginTurn();

// By the host: returns when the watcher has given the turn back; at once when it has ended. It must have been started.
void letWatcherRun();

// By the watcher: returns when the host lets it run again.
void letHostRun();

// True from the watcher's first turn until its end.
bool watcherLives();

}  // namespace kelvane::tests
