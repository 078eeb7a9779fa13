#include "diagnostics/diagnostic_log.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

TEST(LevelWord, OneIsNone) { EXPECT_EQ(levelWord(1), "NONE"); }

}  // namespace
}  // namespace kelvane::tests
