// The file's name is a bare one, so that the current directory decides where it lies.
#include "tests/support/data_file.h"

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace kelvane::tests {

namespace {

constexpr char fileName[] = "KVServicedata.txt";

}  // namespace

DataFile::DataFile()
    : folder((std::filesystem::temp_directory_path() / ("kelvane-data-" + std::to_string(GetCurrentProcessId())))
                 .string()),
      before(std::filesystem::current_path().string())
{
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    std::filesystem::current_path(folder);
}

DataFile::~DataFile()
{
    std::error_code ignored;
    std::filesystem::current_path(before, ignored);
    std::filesystem::remove_all(folder, ignored);
}

std::string DataFile::bytes() const
{
    if (!std::filesystem::is_regular_file(fileName)) return {};
    std::ifstream file(fileName, std::ios::binary);
    return { std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>() };
}

bool DataFile::exists() const { return std::filesystem::exists(fileName); }

std::vector<std::string> DataFile::messages() const
{
    std::vector<std::string> found;
    std::istringstream lines(bytes());
    for (std::string line; std::getline(lines, line);) {
        if (line.ends_with('\r')) line.pop_back();
        found.push_back(line.substr(line.find(',') + 1));
    }
    return found;
}

}  // namespace kelvane::tests
