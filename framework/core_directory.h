// framework/core_directory.h: where the framework core's library lies.
//
// The framework's drivers publish their install directory in the registry key of their device. Without such a device,
// or without the library there, a fixed folder below the system directory is taken. A symbolic link or junction in the
// library's place is never followed: it is removed. All paths are ANSI, at most MAX_PATH (260) bytes with their NUL.
// Called by the thread that runs the scaling loop.
#pragma once

#include <cstddef>

namespace kelvane {

constexpr std::size_t pathCapacity = 260;

// Reads the framework device's install directory into `buffer` of `size` bytes. Returns 0, else why there is none: 3
// for a null buffer or no size, 2 when memory ran out, 37 when no device has the framework's interface, or the status
// of the failing query.
unsigned long locateInstallDirectory(char* buffer, unsigned long size);

// Removes whatever redirects `path` elsewhere. Returns 31 when that fails, 0 otherwise (also when there is nothing).
unsigned long removeReparsePoint(const char* path);

// Puts the directory of the library `name` into `buffer` of pathCapacity bytes and returns it; null, with an empty
// buffer, when there is none.
const char* coreDirectory(const char* name, char* buffer);

// Puts the full path at which the library `name` would be looked for into `path` of pathCapacity bytes, and touches
// nothing: a link in the library's place stays, and counts as the library. Empty when there is no directory.
void lookForCore(const char* name, char* path);

// Puts the full path of the library `name` into `path` of pathCapacity bytes. A name with a separator, or without a
// directory to be found in, is taken as it is.
void formCorePath(const char* name, char* path);

}  // namespace kelvane
