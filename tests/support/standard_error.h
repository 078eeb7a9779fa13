// tests/support/standard_error.h: what a piece of code writes to the standard error stream.
#pragma once

#include <gtest/gtest.h>

#include <io.h>

#include <string>

namespace kelvane::tests {

class StandardError {
public:
    StandardError() { testing::internal::CaptureStderr(); }

    ~StandardError() { text(); }

    StandardError(const StandardError&) = delete;
    StandardError& operator=(const StandardError&) = delete;

    // Whether anything has arrived so far.
    static bool written() { return _filelength(2) > 0; }

    // Everything since the beginning, line ends as "\n"; the capture ends with it.
    std::string text()
    {
        if (captures) captured = testing::internal::GetCapturedStderr();
        captures = false;
        return captured;
    }

private:
    bool captures = true;
    std::string captured;
};

}  // namespace kelvane::tests
