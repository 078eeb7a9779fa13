// simulator/standins/thread_name.h: names by which a thread can be told from outside.
#pragma once

namespace kelvane::simulator {

// Names the calling thread, also for the host: Wine hands the first 15 characters on.
void nameThread(const wchar_t* name);

}  // namespace kelvane::simulator
