// kelvanectl/core_file.h: the framework's core as the service would find it; nothing is loaded or removed.
#pragma once

#include <string>

namespace kelvane {

struct CoreFile {
    std::wstring path;  // that the service would load; empty when there is none
    bool present = false;
    bool isLink = false;  // a symbolic link or junction, which the service removes
    std::string version;
};

CoreFile findCore();

}  // namespace kelvane
