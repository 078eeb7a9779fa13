// The search for the framework's device: any list of devices, any sizes, any answers; then any install directory.
#include "framework/core_directory.h"
#include "tests/fuzz/fuzz.h"
#include "tests/support/fake_system.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

using namespace kelvane;
using kelvane::fuzz::promise;

namespace {

CONFIGRET anyStatus(fuzz::Bytes& bytes)
{
    return bytes.ConsumeProbability<float>() < 0.9F ? CR_SUCCESS : bytes.ConsumeIntegral<CONFIGRET>();
}

void plugInAnything(tests::FakeSystem& system, fuzz::Bytes& bytes)
{
    system.deviceListSizeStatus = anyStatus(bytes);
    system.deviceListStatus = anyStatus(bytes);
    system.locateStatus = anyStatus(bytes);
    system.openKeyStatus = anyStatus(bytes);
    system.installDirStatus = static_cast<LSTATUS>(anyStatus(bytes));
    system.announcesListSize = bytes.ConsumeBool();
    system.failingAllocation = bytes.ConsumeIntegralInRange(0, 3);
    system.systemDirectory = bytes.ConsumeRandomLengthString(270);
    system.installDir = bytes.ConsumeRandomLengthString(300);
    system.deviceList = bytes.ConsumeRandomLengthString(300);
    if (bytes.ConsumeBool()) system.deviceListSize = bytes.ConsumeIntegralInRange<ULONG>(0, 400);
    std::istringstream list(system.deviceList);
    for (std::string id; std::getline(list, id, '\0');) {
        system.interfaces[id] = { anyStatus(bytes), bytes.ConsumeIntegralInRange<ULONG>(0, 3) };
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    testing::GTEST_FLAG(break_on_failure) = true;  // the fakes tell a wrong release so
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Bytes bytes(data, size);
    tests::FakeSystem system;
    plugInAnything(system, bytes);
    const std::string name = bytes.ConsumeRandomLengthString(300);
    const tests::GuardedBlock directory(pathCapacity);
    const tests::GuardedBlock path(pathCapacity);

    const char* const found = coreDirectory(name.c_str(), directory.data());
    formCorePath(name.c_str(), path.data());

    promise(std::memchr(directory.data(), '\0', pathCapacity), "the directory ends within its buffer");
    promise(std::memchr(path.data(), '\0', pathCapacity), "the path ends within its buffer");
    promise(found || directory.data()[0] == '\0', "without a directory the buffer is empty");
    promise(system.heldBlocks() == 0, "all memory is given back");
    return 0;
}
