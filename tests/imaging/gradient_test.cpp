#include "imaging/gradient.h"

#include <gtest/gtest.h>

namespace tellurine {
namespace {

constexpr GradientColour kBlack{0, 0, 0, 1}, kWhite{1, 1, 1, 1};

Gradient OneSegment(GradientBlend blend, double middle, GradientColouring colouring = GradientColouring::Rgb,
                    GradientColour left = kBlack, GradientColour right = kWhite) {
    return Gradient({{.left = 0, .middle = middle, .right = 1, .leftColour = left, .rightColour = right, .blend = blend,
                      .colouring = colouring}});
}

void ExpectColour(const GradientColour& got, const GradientColour& want, const std::string& what) {
    for (double GradientColour::*c :
         {&GradientColour::red, &GradientColour::green, &GradientColour::blue, &GradientColour::alpha})
        EXPECT_NEAR(got.*c, want.*c, 1e-6) << what;
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
    const GradientColour red{1, 0, 0, 1}, blue{0, 0, 1, 0.5}, green{0, 1, 0, 1};
    const GradientColour fg{0.2, 0.4, 0.6, 1}, bg{1, 1, 1, 0.8};
    const auto halfway = [&](GradientColouring c) {
        return OneSegment(GradientBlend::Linear, 0.5, c, red, blue);
    };
    const auto typed = [](EndpointColour left, EndpointColour right) {
        return Gradient({{.leftColour = {}, .rightColour = {}, .leftType = left, .rightType = right}});
    };
    const Gradient two({{.left = 0, .middle = 0.25, .right = 0.5, .leftColour = kBlack, .rightColour = red},
                        {.left = 0.5, .middle = 0.75, .right = 1, .leftColour = blue, .rightColour = green}});
    const struct {
        Gradient gradient;
        double position;
        GradientColour want;
    } cases[] = {
        // Red (hue 0) to blue (hue 2/3), alpha 1 to 0.5, halfway: RGB mixes, HSV counter-clockwise
        // passes green (hue 1/3), clockwise passes magenta (hue 5/6).
        {halfway(GradientColouring::Rgb), 0.5, {0.5, 0, 0.5, 0.75}},
        {halfway(GradientColouring::HsvCounterClockwise), 0.5, {0, 1, 0, 0.75}},
        {halfway(GradientColouring::HsvClockwise), 0.5, {1, 0, 1, 0.75}},
        // The endpoint types take the current colours; the transparent ones with alpha 0.
        {typed(EndpointColour::ForegroundTransparent, EndpointColour::Background), 0, {0.2, 0.4, 0.6, 0}},
        {typed(EndpointColour::ForegroundTransparent, EndpointColour::Background), 0.5, {0.6, 0.7, 0.8, 0.4}},
        {typed(EndpointColour::Foreground, EndpointColour::BackgroundTransparent), 1, {1, 1, 1, 0}},
        {Gradient(), 0.25, {0.4, 0.55, 0.7, 0.95}},
        // A boundary belongs to the segment on its left; positions outside 0..1 are clamped.
        {two, 0.5, red},
        {two, 0.75, {0, 0.5, 0.5, 0.75}},
        {two, -3, kBlack},
        {two, 7, green},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i)
        ExpectColour(cases[i].gradient.ColourAt(cases[i].position, fg, bg), cases[i].want,
                     "case " + std::to_string(i));
    EXPECT_TRUE(Gradient().IsTwoColours());
    GradientSegment hsv = Gradient().Segments()[0];
    hsv.colouring = GradientColouring::HsvClockwise;
    EXPECT_FALSE(Gradient({hsv}).IsTwoColours());
}

TEST(Gradient, StopsAreAddedMovedRecolouredAndRemoved) {
    Gradient g = OneSegment(GradientBlend::Linear, 0.5);
    EXPECT_EQ(g.AddStop(0, {}, {}), -1);  // on a stop
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
    // A stop between neighbours too close to move between is left where it is.
    Gradient tight;
    tight.AddStop(0.0001, {}, {});
    tight.AddStop(0.00005, {}, {});
    EXPECT_FALSE(tight.MoveStop(1, 0.5));

    // A colour set on a stop is fixed on both sides of it.
    const GradientColour red{1, 0, 0, 1};
    Gradient typed;
    ASSERT_EQ(typed.AddStop(0.5, {}, {}), 1);
    EXPECT_TRUE(typed.SetStopColour(2, red));
    EXPECT_EQ(typed.Segments()[1].rightType, EndpointColour::Fixed);
    EXPECT_TRUE(typed.SetStopColour(1, red));
    ExpectColour(typed.Segments()[0].rightColour, red, "left of the stop");
    ExpectColour(typed.Segments()[1].leftColour, red, "right of the stop");

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
