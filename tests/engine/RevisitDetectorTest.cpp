#include "engine/RevisitDetector.h"

#include <gtest/gtest.h>

namespace talvek::test {

namespace {

/// Steps after which a walk of `lead` places into a circle of `circle` places is told, or `most`.
int stepsUntilTold(int lead, int circle, int most)
{
    RevisitDetector detector;
    for (int step = 0; step < most; ++step) {
        const int place = step < lead ? step : lead + (step - lead) % circle;
        if (detector.isRevisit(place)) {
            return step;
        }
    }
    return most;
}

} // namespace

TEST(RevisitDetector, EveryCircleIsToldWithinThreeTimesItsWay)
{
    for (int lead = 0; lead < 70; ++lead) {
        for (int circle = 1; circle < 70; ++circle) {
            const int most = 3 * (lead + circle) + 1;
            const int told = stepsUntilTold(lead, circle, most);
            ASSERT_LT(told, most) << lead << " into " << circle;
            ASSERT_GE(told, lead + circle) << "before a place came twice";
        }
    }
}

TEST(RevisitDetector, AWalkWithoutACircleIsNeverTold)
{
    RevisitDetector detector;
    for (std::int64_t place = -50'000; place < 50'000; ++place) {
        ASSERT_FALSE(detector.isRevisit(place));
    }
}

TEST(RevisitDetector, ThePlaceZeroIsAPlaceLikeAnyOther)
{
    RevisitDetector detector;
    EXPECT_FALSE(detector.isRevisit(0));
    EXPECT_TRUE(detector.isRevisit(0));
}

TEST(RevisitDetector, APlaceThatRepeatsAtOnceIsToldAtOnce)
{
    for (int lead = 0; lead < 5; ++lead) {
        EXPECT_LE(stepsUntilTold(lead, 1, 100), 3 * lead + 1);
    }
}

} // namespace talvek::test
