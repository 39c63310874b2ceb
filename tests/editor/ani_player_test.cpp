#include "editor/ani_player.h"

#include <gtest/gtest.h>

namespace tellurine::editor {
namespace {

// Steps of 10, 0 (one jiffy) and 20 jiffies: they start at 0, 166.67 and 183.33 ms, and the loop
// lasts 31 jiffies, 516.67 ms.
AniPlayer Playing(std::int64_t startMs) {
    AniPlayer p({10, 0, 20});
    p.Play(startMs);
    return p;
}

// The step shown after the clock is brought to `ms`.
int StepAt(AniPlayer& p, std::int64_t ms) {
    p.Update(ms);
    return p.Step();
}

TEST(AniPlayer, StepsFollowTheRatesFromTheClock) {
    const struct {
        std::int64_t ms;
        int step;
    } cases[] = {
        {0, 0},   {166, 0}, {167, 1},  // 10 jiffies end at 166.67 ms
        {183, 1}, {184, 2},            // a rate of 0 still shows its step for one jiffy
        {516, 2}, {517, 0},            // the last step is followed by the first
        {684, 1},
        // Sixty loops are exactly 31 s: no rounding adds up, as 167 + 17 + 333 ms a loop would.
        {30999, 2}, {31000, 0}, {31166, 0}, {31167, 1},
    };
    for (const auto& c : cases) {
        AniPlayer p = Playing(1000);
        EXPECT_EQ(StepAt(p, 1000 + c.ms), c.step) << c.ms << " ms";
    }
    EXPECT_EQ(Playing(0).LoopMilliseconds(), 517);
    for (const auto& [rate, ms] : {std::pair{10u, 167u}, {0u, 0u}, {65535u, 1092250u}})
        EXPECT_EQ(RateMilliseconds(rate), ms) << rate;
}

TEST(AniPlayer, TimerTicksVisitEveryStepOnce) {
    // A timer that fires when the player says the next step is due, a little late each time.
    AniPlayer p = Playing(0);
    std::vector<int> shown{p.Step()};
    std::int64_t now = 0;
    for (int tick = 0; tick < 9; ++tick) {
        const std::int64_t wait = p.MillisecondsToNextStep(now);
        ASSERT_GE(wait, 1);
        now += wait + tick % 3;
        EXPECT_TRUE(p.Update(now));
        shown.push_back(p.Step());
        EXPECT_FALSE(p.Update(now));  // the same time again changes nothing
    }
    EXPECT_EQ(shown, (std::vector<int>{0, 1, 2, 0, 1, 2, 0, 1, 2, 0}));
    EXPECT_EQ(Playing(0).MillisecondsToNextStep(0), 167);
    EXPECT_EQ(Playing(0).MillisecondsToNextStep(167), 17);  // 183.33 ms, rounded up
}

TEST(AniPlayer, PauseKeepsThePlaceAndSteppingStops) {
    AniPlayer p = Playing(1000);
    p.Pause(1100);  // 6 of the first step's 10 jiffies shown
    EXPECT_FALSE(p.Playing());
    EXPECT_FALSE(p.Update(5000));
    EXPECT_EQ(p.Step(), 0);
    EXPECT_EQ(p.MillisecondsToNextStep(5000), -1);
    p.Play(5000);  // the rest of the step: 66.67 ms
    EXPECT_EQ(StepAt(p, 5066), 0);
    EXPECT_EQ(StepAt(p, 5067), 1);
    EXPECT_EQ(StepAt(p, 4000), 0);  // a clock running backwards counts as no time

    // Stepping stops playing and shows the start of a step, wrapping at both ends.
    const struct {
        void (*act)(AniPlayer&);
        int step;
    } moves[] = {
        {[](AniPlayer& q) { q.StepBack(); }, 2},    {[](AniPlayer& q) { q.StepForward(); }, 0},
        {[](AniPlayer& q) { q.StepForward(); }, 1}, {[](AniPlayer& q) { q.GoToStep(99); }, 2},
        {[](AniPlayer& q) { q.GoToStep(-4); }, 0},  {[](AniPlayer& q) { q.GoToStep(2); }, 2},
    };
    for (const auto& m : moves) {
        m.act(p);
        EXPECT_FALSE(p.Playing());
        EXPECT_EQ(p.Step(), m.step);
    }
    // Played from the start of step 2: its full 333.33 ms, then step 0.
    p.Play(0);
    EXPECT_EQ(StepAt(p, 333), 2);
    EXPECT_EQ(StepAt(p, 334), 0);

    // Without steps there is nothing to show or play.
    AniPlayer empty;
    empty.Play(0);
    empty.StepForward();
    EXPECT_EQ(empty.Step(), -1);
    EXPECT_FALSE(empty.Playing());
}

TEST(AniPlayer, ZoomFitsBothSides) {
    const int cases[][5] = {{32, 32, 340, 500, 10}, {32, 64, 340, 500, 7}, {1, 1, 5000, 5000, 30},
                            {256, 256, 100, 100, 1}, {0, 0, 100, 100, 1}};
    for (const auto& c : cases) EXPECT_EQ(PlayerZoom(c[0], c[1], c[2], c[3]), c[4]) << c[0] << "x" << c[1];
}

}  // namespace
}  // namespace tellurine::editor
