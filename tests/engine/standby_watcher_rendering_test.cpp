#include "state/state.h"
#include "tests/engine/standby_event.h"
#include "tests/engine/watched_buffer.h"

#include <thread>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// 42 characters and the NUL: 86 bytes of Windows.
constexpr wchar_t exitXml[] = L"<Event><EventID>507</EventID>.....</Event>";
constexpr std::size_t exitBytes = 43 * sizeof(wchar_t);

class Rendering : public Standby {
protected:
    Rendering()
    {
        g_sessionHandle = noFrameworkSession;
        eventService.setXml(exitXml);
    }
};

TEST_F(Rendering, SizeIsAskedForFirstAndThenTheWholeText)
{
    EXPECT_EQ(renderStandbyEvent(standbyEvent), 0U);

    EXPECT_THAT(noted(),
                ElementsAre("EvtRender no context, event 231, 1, 0 without buffer",
                            "EvtRender no context, event 231, 1, " + std::to_string(exitBytes) + " with buffer"));
    EXPECT_EQ(g_standbyExitCount, 1);
}

TEST_F(Rendering, SizeQueryThatSucceedsEndsItAtOnceWhateverTheLastErrorIs)
{
    eventService.succeedsWithoutBuffer = true;
    SetLastError(5);

    EXPECT_EQ(renderStandbyEvent(standbyEvent), 0U);

    EXPECT_EQ(noted().size(), 1U);
    EXPECT_EQ(g_standbyExitCount, 0);
}

TEST_F(Rendering, SizeQueryThatFailsOtherwiseRendersNothing)
{
    for (const DWORD error : { DWORD{ 6 }, DWORD{ 121 }, DWORD{ 123 }, DWORD{ 15003 } }) {
        SCOPED_TRACE(error);
        forgetNotes();
        eventService.sizeError = error;

        EXPECT_EQ(renderStandbyEvent(standbyEvent), 14U);

        EXPECT_EQ(noted().size(), 1U);
    }
    EXPECT_EQ(g_standbyExitCount, 0);
}

TEST_F(Rendering, SizeQueryThatFailsWithoutAnErrorCodeIsNoFailure)
{
    eventService.sizeError = 0;

    EXPECT_EQ(renderStandbyEvent(standbyEvent), 0U);

    EXPECT_EQ(noted().size(), 1U);
}

TEST_F(Rendering, SuccessfulPassReportsAnErrorThatSomebodyElseHasLeft)
{
    eventService.errorAfterSuccess = 122;

    EXPECT_EQ(renderStandbyEvent(standbyEvent), 14U);

    EXPECT_EQ(g_standbyExitCount, 1);
}

TEST_F(Rendering, BufferIsFreedAfterUse)
{
    const WatchedBuffer buffer(exitBytes, "");

    renderStandbyEvent(standbyEvent);

    EXPECT_EQ(buffer.asked(), 1);
    EXPECT_EQ(buffer.freed(), 1);
}

TEST_F(Rendering, BufferThatCouldNotBeFilledIsNotFreedAndTheNextEventIsTakenAllTheSame)
{
    const WatchedBuffer buffer(exitBytes, "");
    eventService.renderError = 13;

    EXPECT_EQ(renderStandbyEvent(standbyEvent), 14U);

    EXPECT_EQ(buffer.asked(), 1);
    EXPECT_EQ(buffer.freed(), 0);
    EXPECT_EQ(g_standbyExitCount, 0);
    eventService.renderError = 0;
    renderStandbyEvent(standbyEvent);
    EXPECT_EQ(g_standbyExitCount, 1);
}

TEST_F(Rendering, WithoutMemoryNothingIsRenderedAndTheNextEventIsTakenAllTheSame)
{
    {
        const WatchedBuffer buffer(exitBytes, "", true);

        EXPECT_EQ(renderStandbyEvent(standbyEvent), 14U);

        EXPECT_EQ(buffer.asked(), 1);
        EXPECT_EQ(buffer.freed(), 0);
    }
    EXPECT_EQ(noted().size(), 1U);
    EXPECT_EQ(g_standbyExitCount, 0);
    renderStandbyEvent(standbyEvent);
    EXPECT_EQ(g_standbyExitCount, 1);
}

// What lies behind the rendered bytes would complete the identifier.
TEST_F(Rendering, NothingIsReadBehindTheBytesThatWereRendered)
{
    const std::wstring whole = L"<EventID>507</EventID>";
    const std::string memory(reinterpret_cast<const char*>(whole.data()), 22 * sizeof(wchar_t));
    for (const std::size_t missing : { std::size_t{ 2 }, std::size_t{ 1 }, std::size_t{ 3 } }) {
        SCOPED_TRACE(missing);
        const std::size_t used = memory.size() - missing;
        const WatchedBuffer buffer(used, memory);
        eventService.bytes = memory.substr(0, used);

        renderStandbyEvent(standbyEvent);

        EXPECT_EQ(buffer.asked(), 1);
        EXPECT_EQ(g_standbyExitCount, 0);
    }
}

TEST_F(Rendering, TextWithoutATerminatorIsReadToItsEnd)
{
    const std::wstring whole = L"<EventID>507</EventID>";
    for (const std::size_t oddByte : { std::size_t{ 0 }, std::size_t{ 1 } }) {
        eventService.bytes =
            std::string(reinterpret_cast<const char*>(whole.data()), 22 * sizeof(wchar_t)) + std::string(oddByte, 'x');

        renderStandbyEvent(standbyEvent);
    }

    EXPECT_EQ(g_standbyExitCount, 2);
}

TEST_F(Rendering, TextEndsAtItsFirstTerminator)
{
    using namespace std::string_literals;
    eventService.setXml(L"<Event/>\0<EventID>507</EventID>"s);

    renderStandbyEvent(standbyEvent);

    EXPECT_EQ(g_standbyExitCount, 0);
}

TEST_F(Rendering, EmptyTextHoldsNoIdentifier)
{
    for (const std::size_t size : { std::size_t{ 0 }, std::size_t{ 1 }, std::size_t{ 2 } }) {
        SCOPED_TRACE(size);
        forgetNotes();
        eventService.bytes = std::string(size, '\0');

        renderStandbyEvent(standbyEvent);

        EXPECT_EQ(noted().size(), 2U);
        EXPECT_EQ(g_standbyExitCount, 0);
        EXPECT_EQ(g_engineState, 3);
    }
}

TEST_F(Rendering, CharactersOutsideTheCodePageDoNotHideTheIdentifier)
{
    eventService.setXml(L"<Computer>\x4E2D\xD83D\xDE00\x00FC</Computer><EventID>507</EventID>");

    renderStandbyEvent(standbyEvent);

    EXPECT_EQ(g_standbyExitCount, 1);
}

TEST_F(Rendering, EventsOfTwoThreadsAreRenderedOneAtATime)
{
    std::atomic<int> rendering = 0;
    std::atomic<int> together = 0;
    eventService.onRender = [&] {
        if (++rendering > 1) together += 1;
        for (int i = 0; i < 20; ++i) std::this_thread::yield();
        --rendering;
    };
    const auto deliverMany = [] {
        for (int i = 0; i < 100; ++i) renderStandbyEvent(standbyEvent);
    };

    std::thread other(deliverMany);
    deliverMany();
    other.join();

    EXPECT_EQ(together, 0);
    EXPECT_EQ(g_standbyExitCount, 200);
}

}  // namespace
}  // namespace kelvane::tests
