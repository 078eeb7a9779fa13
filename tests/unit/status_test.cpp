#include "framework/status.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

TEST(StatusName, CodesOutsideTheTableAreNotAvailable)
{
    for (const int code : { 10001, 999, 1013, 1099, -1 }) EXPECT_STREQ(statusName(code), "NA") << code;
}

}  // namespace
}  // namespace kelvane::tests
