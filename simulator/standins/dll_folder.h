// simulator/standins/dll_folder.h: files that lie beside a stand-in, by which it is steered.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace kelvane::simulator {

// The folder of the module that this code is linked into.
std::filesystem::path ownFolder();

// The whole content; nothing when the file is missing.
std::optional<std::string> readFile(const std::filesystem::path& path);

}  // namespace kelvane::simulator
