#include "engine/event_sink.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <new>
#include <thread>
#include <type_traits>

namespace {

const void* watchedObject;
int deletionsOfIt;

void giveBack(void* memory)
{
    if (memory && memory == watchedObject) deletionsOfIt += 1;
    std::free(memory);
}

}  // namespace

// The program's own, all of them together, so that a deletion can be seen and each pairs with what it gives back.
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return std::malloc(size > 0 ? size : 1);
}

void* operator new(std::size_t size)
{
    void* const memory = operator new(size, std::nothrow);
    if (!memory) throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept { giveBack(memory); }

void operator delete(void* memory, std::size_t /*size*/) noexcept { giveBack(memory); }

void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept { giveBack(memory); }

namespace kelvane::tests {
namespace {

static_assert(!std::has_virtual_destructor_v<EventSink> && std::is_final_v<EventSink>);

class SinkReferences : public testing::Test {
protected:
    SinkReferences() { watchedObject = sink; }

    ~SinkReferences() override { watchedObject = nullptr; }

    EventSink* sink = new EventSink;
};

TEST_F(SinkReferences, CountFromZeroAndAnswerTheNewCount)
{
    EXPECT_EQ(sink->AddRef(), 1U);
    EXPECT_EQ(sink->AddRef(), 2U);
    EXPECT_EQ(sink->Release(), 1U);
    EXPECT_EQ(deletionsOfIt, 0);
}

TEST_F(SinkReferences, LastReleaseDeletesTheObject)
{
    sink->AddRef();

    EXPECT_EQ(sink->Release(), 0U);

    EXPECT_EQ(deletionsOfIt, 1);
}

TEST_F(SinkReferences, ReleaseFromZeroGoesBelowAndDeletesNothing)
{
    EXPECT_EQ(sink->Release(), 0xFFFFFFFFU);

    EXPECT_EQ(deletionsOfIt, 0);
}

TEST_F(SinkReferences, ItsTwoInterfacesAreHandedOutWithAReference)
{
    for (const IID& wanted : { IID_IUnknown, IID_IWbemObjectSink }) {
        void* found = nullptr;

        EXPECT_EQ(sink->QueryInterface(wanted, &found), 0);

        EXPECT_EQ(found, sink);
    }
    EXPECT_EQ(sink->AddRef(), 3U);
}

TEST_F(SinkReferences, AnyOtherInterfaceIsRefusedAndTheResultLeftAlone)
{
    void* found = this;

    EXPECT_EQ(sink->QueryInterface(IID_IWbemServices, &found), E_NOINTERFACE);

    EXPECT_EQ(found, this);
    EXPECT_EQ(sink->AddRef(), 1U);
}

TEST_F(SinkReferences, NoneIsLostWhenTwoThreadsCountAtOnce)
{
    sink->AddRef();
    const auto addMany = [this] {
        for (int i = 0; i < 100000; ++i) sink->AddRef();
    };

    std::thread other(addMany);
    addMany();
    other.join();

    EXPECT_EQ(sink->Release(), 200000U);
}

TEST_F(SinkReferences, SlotsStandInTheInterfacesOrder)
{
    using AddRefSlot = ULONG (*)(EventSink*);
    using StatusSlot = HRESULT (*)(EventSink*, LONG, HRESULT, BSTR, IWbemClassObject*);
    void* const* const slots = *reinterpret_cast<void* const* const*>(sink);

    EXPECT_EQ(reinterpret_cast<AddRefSlot>(slots[1])(sink), 1U);
    EXPECT_EQ(reinterpret_cast<AddRefSlot>(slots[1])(sink), 2U);
    EXPECT_EQ(reinterpret_cast<AddRefSlot>(slots[2])(sink), 1U);
    testing::internal::CaptureStdout();
    EXPECT_EQ(reinterpret_cast<StatusSlot>(slots[4])(sink, 2, 0, nullptr, nullptr), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Call in progress.\n");
}

}  // namespace
}  // namespace kelvane::tests
