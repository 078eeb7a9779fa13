// Files by their Windows paths: both separators count.
#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

std::string kelvane::native::localPath(std::string path)
{
    std::replace(path.begin(), path.end(), '\\', '/');
    while (path.size() > 1 && path.ends_with('/')) path.pop_back();
    return path;
}

namespace {

namespace fs = std::filesystem;

fs::path local(const std::string& path) { return kelvane::native::localPath(path); }

BOOL failed(DWORD error)
{
    SetLastError(error);
    return FALSE;
}

DWORD attributesOf(LPCSTR path)
{
    std::error_code ignored;
    switch (fs::status(local(path), ignored).type()) {
    case fs::file_type::not_found:
    case fs::file_type::none: SetLastError(ERROR_FILE_NOT_FOUND); return INVALID_FILE_ATTRIBUTES;
    case fs::file_type::directory: return FILE_ATTRIBUTE_DIRECTORY;
    default: return FILE_ATTRIBUTE_ARCHIVE;
    }
}

BOOL deleteFile(LPCSTR path)
{
    std::error_code error;
    const fs::path file = local(path);
    return (!fs::is_directory(file, error) && fs::remove(file, error)) || failed(ERROR_FILE_NOT_FOUND);
}

BOOL removeDirectory(LPCSTR path)
{
    std::error_code error;
    const fs::path folder = local(path);
    return (fs::is_directory(folder, error) && fs::remove(folder, error)) || failed(ERROR_PATH_NOT_FOUND);
}

BOOL createDirectory(LPCWSTR path, LPSECURITY_ATTRIBUTES /*attributes*/)
{
    std::error_code error;
    const fs::path folder = local(fs::path(path));
    return fs::create_directory(folder, error) || failed(error ? ERROR_PATH_NOT_FOUND : ERROR_ALREADY_EXISTS);
}

}  // namespace

extern "C" {
constinit decltype(&GetFileAttributesA) __imp_GetFileAttributesA = attributesOf;
constinit decltype(&DeleteFileA) __imp_DeleteFileA = deleteFile;
constinit decltype(&RemoveDirectoryA) __imp_RemoveDirectoryA = removeDirectory;
constinit decltype(&CreateDirectoryW) __imp_CreateDirectoryW = createDirectory;
}
