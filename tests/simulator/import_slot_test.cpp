// Slots of the import table are written under a protection that is lifted for that alone.
#include "tests/support/import_swap.h"

#include <windows.h>

#include <gmock/gmock.h>

#include <vector>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;

constexpr DWORD protectionBefore = PAGE_READONLY;

struct Protections {
    bool pretended = false;  // the table seems to be read-only, and is writable throughout
    bool refused = false;
    std::vector<DWORD> asked;
    decltype(&VirtualProtect) real = __imp_VirtualProtect;
} protections;

BOOL WINAPI watchedProtect(LPVOID address, SIZE_T bytes, DWORD access, PDWORD before)
{
    protections.asked.push_back(access);
    if (protections.refused) {
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }
    if (!protections.pretended) return protections.real(address, bytes, access, before);
    const BOOL done = protections.real(address, bytes, PAGE_READWRITE, before);
    *before = protectionBefore;
    return done;
}

DWORD WINAPI fakeThreadId() { return 4711; }

class ImportSlot : public testing::Test {
protected:
    ImportSlot()
    {
        protections.asked.clear();
        protections.pretended = true;
    }

    ~ImportSlot() override { protections.pretended = false; }

    const ImportSwap<decltype(&VirtualProtect)> protect{ __imp_VirtualProtect, &watchedProtect };
};

TEST_F(ImportSlot, IsWritableForAsLongAsItIsWrittenAndThenProtectedAsBefore)
{
    const ImportSwap swap(__imp_GetCurrentThreadId, &fakeThreadId);

    EXPECT_EQ(GetCurrentThreadId(), 4711U);
    EXPECT_THAT(protections.asked, ElementsAre(PAGE_READWRITE, protectionBefore));
}

TEST_F(ImportSlot, HoldsItsFunctionAgainAfterTheScope)
{
    const DWORD id = GetCurrentThreadId();
    {
        const ImportSwap swap(__imp_GetCurrentThreadId, &fakeThreadId);
    }

    EXPECT_EQ(GetCurrentThreadId(), id);
    EXPECT_THAT(protections.asked, ElementsAre(PAGE_READWRITE, protectionBefore, PAGE_READWRITE, protectionBefore));
}

TEST_F(ImportSlot, ThatStaysReadOnlyIsReportedKeepsItsFunctionAndCanBeWrittenLater)
{
    const DWORD id = GetCurrentThreadId();
    protections.refused = true;

    EXPECT_THAT([] { simulator::setImport(__imp_GetCurrentThreadId, &fakeThreadId); },
                ThrowsMessage<std::runtime_error>(HasSubstr("slot stays read-only, error 5")));

    protections.refused = false;
    EXPECT_EQ(GetCurrentThreadId(), id);
    EXPECT_THAT(protections.asked, ElementsAre(PAGE_READWRITE));

    const ImportSwap swap(__imp_GetCurrentThreadId, &fakeThreadId);
    EXPECT_EQ(GetCurrentThreadId(), 4711U);
}

}  // namespace
}  // namespace kelvane::tests
