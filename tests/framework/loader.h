// tests/framework/loader.h: the core's loader on a fake system, with what it writes to standard error.
#pragma once

#include "framework/core_library.h"
#include "tests/support/fake_system.h"
#include "tests/support/standard_error.h"

#include <gmock/gmock.h>

#include <string>

namespace kelvane::tests {

class Loader : public testing::Test {
protected:
    // The one line that tells of a failed load, without its head; empty when there is none.
    std::string failureLine()
    {
        const std::string head = "\n*** LoadLibrary Failure: ";
        std::string text = errors.text();
        if (!text.starts_with(head) || !text.ends_with('\n')) return text;
        text.pop_back();
        return text.substr(head.size());
    }

    FakeSystem system;
    StandardError errors;
};

// Loads C:\orq\core.dll, which is there.
class CoreLoad : public Loader {
protected:
    static constexpr char corePath[] = "C:\\orq\\core.dll";

    CoreLoad() { system.files[corePath] = 0x20; }

    int load(const char* name = corePath) { return loadLibrary(&state, name); }

    LoaderState state = {};
};

}  // namespace kelvane::tests
