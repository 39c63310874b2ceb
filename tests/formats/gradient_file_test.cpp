// GIMP gradient files: a file laid out by hand from the published layout reads to the segments it
// holds, the writer's text reads back to the same gradient, hostile files are refused with a
// message naming what is wrong, and every gradient GIMP installs reads when GIMP is there.
#include <filesystem>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "formats/format_test_support.h"
#include "formats/gradient_file.h"

namespace tellurine {
namespace {

TEST(GradientFile, ReadsGimpsLayoutAndWritesWhatReadsBack) {
    // An old-style line of 13 values (endpoint types fixed) after a new-style one of 15; a carriage
    // return and a rounding gap of one millionth between segments are tolerated.
    const std::string text =
        "GIMP Gradient\r\nName: Sunset \x01 glow\n2\n"
        "0.000000 0.250000 0.500000 1 0 0 1 0 0 1 0.5 3 2 1 4\n"
        "0.500001 0.600000 1.000000 0 0 1 0.5 1 1 1 1 1 0\n";
    Gradient g;
    std::string error;
    ASSERT_TRUE(ReadGradientFile(text, g, error)) << error;
    EXPECT_EQ(g.Name(), "Sunset   glow");
    ASSERT_EQ(g.Segments().size(), 2u);
    EXPECT_EQ(g.Segments()[0], (GradientSegment{0, 0.25, 0.5, {1, 0, 0, 1}, {0, 0, 1, 0.5},
                                                GradientBlend::SphereIncreasing, GradientColouring::HsvClockwise,
                                                EndpointColour::Foreground, EndpointColour::BackgroundTransparent}));
    EXPECT_EQ(g.Segments()[1], (GradientSegment{0.5, 0.6, 1, {0, 0, 1, 0.5}, {1, 1, 1, 1}, GradientBlend::Curved}));

    // Written and read again: the same segments, numbers exact (a third is no six-decimal number).
    std::vector<GradientSegment> segments = g.Segments();
    segments[0].middle = 1.0 / 3;
    const Gradient edited(segments, "Sunset");
    Gradient back;
    ASSERT_TRUE(ReadGradientFile(WriteGradientFile(edited), back, error)) << error;
    EXPECT_EQ(std::tuple(back.Name(), back.Segments()), std::tuple("Sunset", edited.Segments()));
    EXPECT_TRUE(WriteGradientFile(Gradient()).starts_with("GIMP Gradient\nName: \n1\n0 0.5 1 "));
}

TEST(GradientFile, HostileFilesAreRefusedWithAReason) {
    const std::string head = "GIMP Gradient\nName: x\n";
    const std::string good = "0 0.5 1 0 0 0 1 1 1 1 1 0 0 0 0\n";
    const struct {
        std::string text, message;
    } cases[] = {
        {"", "first line"},
        {"GIMP Palette\n1\n" + good, "first line"},
        {head, "ends before the number of segments"},
        {head + "many\n" + good, "line 3: the number of segments is missing"},
        {head + "0\n", "0 segments; a gradient has 1 to 4096"},
        {head + "99999999999\n" + good, "99999999999 segments"},
        {head + "2\n0 0.25 0.5 0 0 0 1 1 1 1 1 0 0 0 0\n", "ends after 1 of 2 segments"},
        {head + "1\n0 0.5 1 0 0 0 1 1 1 1 1 0 0 0\n", "line 4: segment 1 has 14 values"},
        {head + "1\n0 nan 1 0 0 0 1 1 1 1 1 0 0 0 0\n", "value 2 (\"nan\") is not a finite number"},
        {head + "1\n0 0.5 1 0 0 0 1e999 1 1 1 1 0 0 0 0\n", "value 7"},
        {head + "1\n0 0.5 1 0 0 0 1 1 1 1 1 6 0 0 0\n", "the blending function \"6\" is unknown"},
        {head + "1\n0 0.5 1 0 0 0 1 1 1 1 1 0 3\n", "the colour model \"3\" is unknown"},
        {head + "1\n0 0.5 1 0 0 0 1 1 1 1 1 0 0 -1 0\n", "the left colour type"},
        {head + "1\n0 0.5 1 0 0 0 1 1 1 1 1 0 0 0 5\n", "the right colour type"},
        {head + "1\n0 0.5 1.5 0 0 0 1 1 1 1 1 0 0 0 0\n", "position outside 0..1"},
        {head + "1\n-0.1 0.5 1 0 0 0 1 1 1 1 1 0 0 0 0\n", "position outside 0..1"},
        {head + "1\n0 0.7 0.6 0 0 0 1 1 1 1 1 0 0 0 0\n", "out of order"},
        {head + "1\n0 0.2 0.6 0 0 0 1 1 1 1 1 0 0 0 0\n", "ends the gradient at 0.6, not at 1"},
        {head + "1\n0.1 0.5 1 0 0 0 1 1 1 1 1 0 0 0 0\n", "starts at 0.1 where the gradient is at 0"},
        {head + "2\n0 0.2 0.4 0 0 0 1 1 1 1 1 0 0 0 0\n0.5 0.7 1 0 0 0 1 1 1 1 1 0 0 0 0\n",
         "line 5: segment 2 starts at 0.5 where the gradient is at 0.4"},
        {"GIMP Gradient\n1\n" + good + std::string(kMaxGradientFileBytes, ' '), "larger than a gradient"},
    };
    for (const auto& c : cases) {
        GradientSegment kept;
        kept.middle = 0.3;
        Gradient g({kept}, "kept");
        std::string error;
        EXPECT_FALSE(ReadGradientFile(c.text, g, error)) << c.message;
        EXPECT_NE(error.find(c.message), std::string::npos) << error;
        EXPECT_EQ(std::tuple(g.Name(), g.Segments()[0].middle), std::tuple("kept", 0.3));
    }
}

// Every gradient GIMP installs reads, and reads back the same after writing.
TEST(GradientFile, ReadsGimpsOwnGradients) {
    const std::filesystem::path folder = "/usr/share/gimp/2.0/gradients";
    if (!std::filesystem::is_directory(folder)) GTEST_SKIP() << "GIMP's gradients are not installed";
    int read = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() != ".ggr") continue;
        const format_test::Bytes bytes = format_test::ReadBytes(entry.path());
        Gradient g, back;
        std::string error;
        const std::string text(bytes.begin(), bytes.end());
        EXPECT_TRUE(ReadGradientFile(text, g, error)) << entry.path() << ": " << error;
        EXPECT_FALSE(g.Name().empty()) << entry.path();
        EXPECT_TRUE(ReadGradientFile(WriteGradientFile(g), back, error)) << error;
        EXPECT_EQ(back.Segments(), g.Segments()) << entry.path();
        ++read;
    }
    EXPECT_GT(read, 0);
}

}  // namespace
}  // namespace tellurine
