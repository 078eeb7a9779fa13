// tests/support/data_file.h: the service data file of one test, in a folder of its own.
#pragma once

#include <string>
#include <vector>

namespace kelvane::tests {

class DataFile {
public:
    DataFile();  // makes the folder and enters it
    ~DataFile();
    DataFile(const DataFile&) = delete;
    DataFile& operator=(const DataFile&) = delete;

    std::string bytes() const;  // as they stand in the file
    bool exists() const;

    // The messages, without their time stamps.
    std::vector<std::string> messages() const;

private:
    std::string folder;
    std::string before;
};

}  // namespace kelvane::tests
