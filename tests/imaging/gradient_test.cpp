#include "imaging/gradient.h"

#include <gtest/gtest.h>

namespace tellurine {
namespace {

constexpr GradientColour kBlack{0, 0, 0, 1}, kWhite{1, 1, 1, 1};

Gradient OneSegment(GradientBlend blend, double middle, GradientColouring colouring = GradientColouring::Rgb,
                    GradientColour left = kBlack, GradientColour right = kWhite) {
    GradientSegment s{.left = 0, .middle = middle, .right = 1, .leftColour = left, .rightColour = right};
    s.blend = blend;
    s.colouring = colouring;
    return Gradient({s});
}

void ExpectColour(const GradientColour& got, const GradientColour& want, const std::string& what) {
    EXPECT_NEAR(got.red, want.red, 1e-6) << what;
    EXPECT_NEAR(got.green, want.green, 1e-6) << what;
    EXPECT_NEAR(got.blue, want.blue, 1e-6) << what;
    EXPECT_NEAR(got.alpha, want.alpha, 1e-6) << what;
}

TEST(Gradient, BlendingFunctionsFollowGimpsFormulas) {
    // Black to white, so the red channel is the factor. Values worked out by hand.
    struct Case {
        GradientBlend blend;
        double middle, position, factor;
    };
    const Case cases[] = {
        {GradientBlend::Linear, 0.25, 0.125, 0.25},                   // 0.5 * 0.125 / 0.25
        {GradientBlend::Linear, 0.25, 0.625, 0.75},                   // 0.5 + 0.5 * 0.375 / 0.75
        {GradientBlend::Linear, 0.0, 0.0, 0.0},                       // a middle at the left end
        {GradientBlend::Curved, 0.25, 0.5, 0.70710678118},            // 0.5 ^ (log 0.5 / log 0.25)
        {GradientBlend::Curved, 1.0, 0.5, 0.0},                       // a middle at the right end
        {GradientBlend::Sine, 0.5, 0.25, 0.14644660940},              // (1 - sin(pi / 4)) / 2
        {GradientBlend::SphereIncreasing, 0.5, 0.25, 0.66143782777},  // sqrt(1 - 0.75^2)
        {GradientBlend::SphereDecreasing, 0.5, 0.25, 0.03175416344},  // 1 - sqrt(1 - 0.25^2)
        {GradientBlend::Step, 0.5, 0.49, 0.0},
        {GradientBlend::Step, 0.5, 0.5, 1.0},
    };
    for (const Case& c : cases) {
        const std::string what =
            std::to_string(static_cast<int>(c.blend)) + " at " + std::to_string(c.position);
        ExpectColour(OneSegment(c.blend, c.middle).ColourAt(c.position, {}, {}),
                     {c.factor, c.factor, c.factor, 1}, what);
    }
}

TEST(Gradient, ColourModelsEndpointTypesAndSegments) {
    // Red (hue 0) to blue (hue 2/3), alpha 1 to 0.5, halfway: RGB mixes, HSV counter-clockwise
    // passes green (hue 1/3), clockwise passes magenta (hue 5/6).
    const GradientColour red{1, 0, 0, 1}, blue{0, 0, 1, 0.5};
    const struct {
        GradientColouring colouring;
        GradientColour want;
    } models[] = {
        {GradientColouring::Rgb, {0.5, 0, 0.5, 0.75}},
        {GradientColouring::HsvCounterClockwise, {0, 1, 0, 0.75}},
        {GradientColouring::HsvClockwise, {1, 0, 1, 0.75}},
    };
    for (const auto& m : models)
        ExpectColour(OneSegment(GradientBlend::Linear, 0.5, m.colouring, red, blue).ColourAt(0.5, {}, {}),
                     m.want, "model " + std::to_string(static_cast<int>(m.colouring)));

    // The endpoint types take the current colours; the transparent ones with alpha 0.
    const GradientColour fg{0.2, 0.4, 0.6, 1}, bg{1, 1, 1, 0.8};
    GradientSegment s;
    s.leftType = EndpointColour::ForegroundTransparent;
    s.rightType = EndpointColour::Background;
    const Gradient typed({s});
    ExpectColour(typed.ColourAt(0, fg, bg), {0.2, 0.4, 0.6, 0}, "left end");
    ExpectColour(typed.ColourAt(0.5, fg, bg), {0.6, 0.7, 0.8, 0.4}, "middle");
    s.leftType = EndpointColour::Foreground;
    s.rightType = EndpointColour::BackgroundTransparent;
    ExpectColour(Gradient({s}).ColourAt(1, fg, bg), {1, 1, 1, 0}, "right end");
    EXPECT_TRUE(Gradient().IsTwoColours());
    ExpectColour(Gradient().ColourAt(0.25, fg, bg), {0.4, 0.55, 0.7, 0.95}, "two colours");

    // A boundary belongs to the segment on its left; positions outside 0..1 are clamped.
    const GradientColour green{0, 1, 0, 1};
    const Gradient two({{.left = 0, .middle = 0.25, .right = 0.5, .leftColour = kBlack, .rightColour = red},
                        {.left = 0.5, .middle = 0.75, .right = 1, .leftColour = blue, .rightColour = green}});
    ExpectColour(two.ColourAt(0.5, {}, {}), red, "boundary");
    ExpectColour(two.ColourAt(0.75, {}, {}), {0, 0.5, 0.5, 0.75}, "second segment");
    ExpectColour(two.ColourAt(-3, {}, {}), kBlack, "below 0");
    ExpectColour(two.ColourAt(7, {}, {}), green, "above 1");
}

TEST(Gradient, StopsAreAddedMovedRecolouredAndRemoved) {
    Gradient g = OneSegment(GradientBlend::Linear, 0.5);
    EXPECT_EQ(g.AddStop(0, {}, {}), -1);  // on a stop
    EXPECT_EQ(g.AddStop(1.5, {}, {}), -1);
    ASSERT_EQ(g.AddStop(0.25, {}, {}), 1);
    ASSERT_EQ(g.Stops().size(), 3u);
    // Splitting keeps a linear gradient's colours.
    ExpectColour(g.Stops()[1].colour, {0.25, 0.25, 0.25, 1}, "new stop");
    ExpectColour(g.ColourAt(0.75, {}, {}), {0.75, 0.75, 0.75, 1}, "after the split");

    // Moving keeps the middles in their relative places and stays between the neighbours.
    EXPECT_TRUE(g.MoveStop(1, 0.5));
    EXPECT_DOUBLE_EQ(g.Segments()[0].middle, 0.25);
    EXPECT_DOUBLE_EQ(g.Segments()[1].middle, 0.75);
    ExpectColour(g.ColourAt(0.5, {}, {}), {0.25, 0.25, 0.25, 1}, "moved stop");
    EXPECT_TRUE(g.MoveStop(1, 2));
    EXPECT_LT(g.Stops()[1].position, 1.0);
    EXPECT_GT(g.Stops()[1].position, 0.99);
    EXPECT_FALSE(g.MoveStop(0, 0.5));
    EXPECT_FALSE(g.MoveStop(2, 0.5));

    // A colour set on a stop is fixed on both sides of it.
    const GradientColour red{1, 0, 0, 1};
    Gradient typed;
    ASSERT_EQ(typed.AddStop(0.5, {}, {}), 1);
    EXPECT_TRUE(typed.SetStopColour(2, red));
    EXPECT_EQ(typed.Segments()[1].rightType, EndpointColour::Fixed);
    EXPECT_TRUE(typed.SetStopColour(1, red));
    ExpectColour(typed.Segments()[0].rightColour, red, "left of the stop");
    ExpectColour(typed.Segments()[1].leftColour, red, "right of the stop");
    EXPECT_FALSE(typed.SetStopColour(3, red));

    // Removing joins the segments: the left end's type and the right end's colour are kept.
    EXPECT_FALSE(typed.RemoveStop(0));
    EXPECT_TRUE(typed.RemoveStop(1));
    ASSERT_EQ(typed.Segments().size(), 1u);
    EXPECT_EQ(typed.Segments()[0].leftType, EndpointColour::Foreground);
    ExpectColour(typed.ColourAt(1, {}, {}), red, "joined");
    EXPECT_DOUBLE_EQ(typed.Segments()[0].middle, 0.5);
}

}  // namespace
}  // namespace tellurine
