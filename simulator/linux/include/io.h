// simulator/linux/include/io.h: files by number, as the C run-time library of Windows names them.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

constexpr int _O_WRONLY = O_WRONLY;
constexpr int _O_CREAT = O_CREAT;
constexpr int _O_TRUNC = O_TRUNC;
constexpr int _O_TEXT = 0;
constexpr int _S_IREAD = S_IRUSR;
constexpr int _S_IWRITE = S_IWUSR;

inline int _dup(int file) { return dup(file); }

inline int _dup2(int from, int to) { return dup2(from, to); }

inline int _close(int file) { return close(file); }

inline int _wopen(const wchar_t* path, int flags, int mode)
{
    return open(std::filesystem::path(path).c_str(), flags, mode);
}

inline long _filelength(int file)
{
    struct stat status = {};
    return fstat(file, &status) == 0 ? status.st_size : -1;
}
