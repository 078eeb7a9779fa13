// tests/support/fake_system.h: the Windows that the core's loader sees, for the life of a test.
//
// Every import of the loader but GetLastError is replaced. What a device, the registry, the file system and the module
// loader answer is set in the members; each call is written down with its arguments. Memory from the process heap ends
// at a page that cannot be touched. One at a time.
#pragma once

#include "tests/support/fake_core.h"
#include "tests/support/guarded_block.h"

#include <windows.h>

#include <cfgmgr32.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace kelvane::tests {

class FakeSystem {
public:
    FakeSystem();
    ~FakeSystem();
    FakeSystem(const FakeSystem&) = delete;
    FakeSystem& operator=(const FakeSystem&) = delete;

    // All calls in their order: the function's name and the arguments that matter, flags in hexadecimal. Calls of the
    // core are among them.
    std::vector<std::string> calls;

    FakeCore core{ calls };

    // --- devices and registry ----------------------------------------------------------------------------------------
    struct InterfaceList {
        CONFIGRET status;
        ULONG size;
    };

    // One device, with the framework's interface and this install directory.
    void plugInFrameworkDevice(const std::string& directory);

    std::string deviceList = std::string(1, '\0');    // as the system hands it out, byte for byte
    std::optional<ULONG> deviceListSize;              // announced; none: that of the list
    bool announcesListSize = true;                    // false: success, and the caller's variable stays as it was
    std::map<std::string, InterfaceList> interfaces;  // device ID -> answer; none: success, no interface (size 1)
    std::string installDir;
    CONFIGRET deviceListSizeStatus = CR_SUCCESS;
    CONFIGRET deviceListStatus = CR_SUCCESS;
    CONFIGRET locateStatus = CR_SUCCESS;
    CONFIGRET openKeyStatus = CR_SUCCESS;
    LSTATUS installDirStatus = ERROR_SUCCESS;

    // --- files -------------------------------------------------------------------------------------------------------
    std::map<std::string, DWORD> files;  // path -> attributes
    bool deletesFiles = true;
    std::string systemDirectory = "C:\\windows\\system32";
    std::optional<UINT> systemDirectoryAnswer;  // in place of what the directory's length gives

    // --- modules: a load succeeds when the file is there, else the error is 126 --------------------------------------
    std::optional<DWORD> loadError;       // the load fails with it
    std::optional<DWORD> errorAfterLoad;  // the last error that a successful load leaves behind; none: untouched
    bool loadFailsSilently = false;       // the load fails and leaves the last error untouched
    bool exportsInterface = true;         // false: GetProcAddress fails with 127
    DWORD errorAfterLookUp = 0;           // the last error that a successful GetProcAddress leaves behind
    bool formatsMessages = true;          // the text is "words for ERROR"
    std::function<void()> onFreeLibrary;

    // --- process heap ------------------------------------------------------------------------------------------------
    int failingAllocation = 0;  // the number of the HeapAlloc that fails, counted from 1

    std::size_t heldBlocks() const { return blocks.size(); }

    // Texts of FormatMessageA that nobody has released.
    std::size_t heldTexts() const { return texts.size(); }

    // Of the calls, those whose name begins like this.
    std::vector<std::string> callsOf(const std::string& name) const;

private:
    struct Thunks;
    friend struct Thunks;

    template<class... Parts>
    void note(const Parts&... parts);

    std::map<void*, std::unique_ptr<GuardedBlock>> blocks;
    std::set<void*> texts;
    int allocations = 0;
    std::vector<std::shared_ptr<void>> swaps;
};

// Device IDs as the system hands them out: each with its NUL, and an empty one at the end.
std::string deviceIds(const std::vector<std::string>& ids);

}  // namespace kelvane::tests
