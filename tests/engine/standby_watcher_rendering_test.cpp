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
    Rendering() { eventService.setXml(exitXml); }
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

struct SizeErrorRow {
    DWORD error;
    DWORD status = 14;
};

class SizeQuery : public WithRow<Rendering, SizeErrorRow> {};

// Without an error code it is no failure.
TEST_ROWS(SizeQuery, ROW(.error = 6), ROW(.error = 121), ROW(.error = 123), ROW(.error = 15003),
          ROW(.error = 0, .status = 0));

TEST_P(SizeQuery, ThatFailsOtherwiseRendersNothing)
{
    eventService.sizeError = row().error;

    EXPECT_EQ(renderStandbyEvent(standbyEvent), row().status);

    EXPECT_EQ(noted().size(), 1U);
    EXPECT_EQ(g_standbyExitCount, 0);
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

const std::wstring whole = L"<EventID>507</EventID>";  // 22 characters
const std::string wholeBytes(reinterpret_cast<const char*>(whole.data()), 22 * sizeof(wchar_t));

struct BytesRow {
    std::size_t bytes;
};

class RenderedBytes : public WithRow<Rendering, BytesRow> {};

TEST_ROWS(RenderedBytes, ROW(.bytes = 0), ROW(.bytes = 1), ROW(.bytes = 2), ROW(.bytes = 22 * sizeof(wchar_t) - 3),
          ROW(.bytes = 22 * sizeof(wchar_t) - 2), ROW(.bytes = 22 * sizeof(wchar_t) - 1));

// What lies behind the rendered bytes would complete the identifier.
TEST_P(RenderedBytes, AreAllThatIsRead)
{
    const WatchedBuffer buffer(row().bytes, wholeBytes);
    eventService.bytes = wholeBytes.substr(0, row().bytes);

    renderStandbyEvent(standbyEvent);

    EXPECT_EQ(buffer.asked(), 1);
    EXPECT_EQ(noted().size(), 2U);
    EXPECT_EQ(g_standbyExitCount, 0);
}

TEST_F(Rendering, TextWithoutATerminatorIsReadToItsEnd)
{
    for (const char* const oddByte : { "", "x" }) {
        eventService.bytes = wholeBytes + oddByte;

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
