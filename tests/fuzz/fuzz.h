// tests/fuzz/fuzz.h: what the fuzz targets share.
//
// Each target is a function of arbitrary bytes that must neither crash, nor be found at fault by a sanitizer, nor break
// what it promises. Process-wide state stays from one call to the next, as it does in the service.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace kelvane::fuzz {

using Bytes = FuzzedDataProvider;

// Ends the program when a promise is broken.
inline void promise(bool kept, const char* what)
{
    if (kept) return;
    dprintf(STDERR_FILENO, "broken: %s\n", what);  // whatever silence() did
    std::abort();
}

// What the code itself tells goes nowhere from now on; the sanitizers do not use these streams.
inline void silence()
{
    stdout = std::fopen("/dev/null", "w");
    stderr = std::fopen("/dev/null", "w");
}

}  // namespace kelvane::fuzz

extern "C" {
int LLVMFuzzerInitialize(int* argc, char*** argv);  // optional
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
}
