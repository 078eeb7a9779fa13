// The header that CMake makes of diagnostics/meanings.csv.
#include "meanings.h"

#include <gtest/gtest.h>

#include <iterator>

namespace kelvane::tests {
namespace {

TEST(Meanings, AreFoundByTheWholeText)
{
    const LogMeaning* const found = meaningOf("Entering MS-506 ");

    ASSERT_NE(found, nullptr);
    EXPECT_TRUE(found->whole);
    EXPECT_EQ(found->level, "DEBUG");
    EXPECT_EQ(found->scaling, ScalingSign::standby);
    EXPECT_EQ(found->meaning, "The machine enters standby; scaling ends, and does not come back by itself");
    EXPECT_EQ(found->action, "After wake-up write 0, then 2");
    EXPECT_EQ(meaningOf("Entering MS-506"), nullptr);
    EXPECT_EQ(meaningOf("Entering MS-506 now"), nullptr);
}

TEST(Meanings, AreFoundByTheBeginningOfATextThatGoesOn)
{
    const LogMeaning* const found = meaningOf("Failed to get TargetInstance in apObjArray[i]:-2147217406");

    ASSERT_NE(found, nullptr);
    EXPECT_FALSE(found->whole);
    EXPECT_EQ(found->text, "Failed to get TargetInstance in apObjArray[i]:");
    EXPECT_EQ(found->level, "ERROR");
    EXPECT_EQ(found->scaling, ScalingSign::none);
}

TEST(Meanings, AreThoseOfTheLevelsThatAreWritten)
{
    EXPECT_GT(std::size(logMeanings), 30u);
    for (const LogMeaning& known : logMeanings) EXPECT_NE(known.level, "INFO") << known.text;
    EXPECT_EQ(meaningOf("Participant suspended"), nullptr);
}

TEST(Meanings, TellTheEndWithTheServiceFromTheOthers)
{
    EXPECT_EQ(meaningOf("KV Windows Service is stopped")->scaling, ScalingSign::serviceStop);
    EXPECT_EQ(meaningOf("KV Windows service is stopped ")->scaling, ScalingSign::serviceStop);
    EXPECT_EQ(meaningOf("Kiostot registry: Stop KV completed")->scaling, ScalingSign::complete);
    EXPECT_EQ(meaningOf("Stop is called from the registry ")->scaling, ScalingSign::off);
}

}  // namespace
}  // namespace kelvane::tests
