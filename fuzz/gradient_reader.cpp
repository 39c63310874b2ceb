// Feeds arbitrary text to the GIMP gradient reader: a refusal says why and leaves the gradient as
// it was; a gradient read has 1 to kMaxGradientSegments segments tiling 0..1 in order, gives
// colours in 0..1 everywhere, and reads back exactly from what the writer makes of it.
#include <string>
#include <string_view>

#include "formats/gradient_file.h"
#include "harness.h"

void tellurine::fuzz::FuzzInput(std::span<const std::uint8_t> bytes) {
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    Gradient gradient;
    std::string error;
    if (!ReadGradientFile(text, gradient, error)) {
        Check(!error.empty() && gradient.IsTwoColours() && gradient.Name().empty());
        return;
    }
    const auto& segments = gradient.Segments();
    Check(!segments.empty() && segments.size() <= kMaxGradientSegments);
    Check(segments.front().left == 0 && segments.back().right == 1);
    for (std::size_t i = 0; i < segments.size(); ++i) {
        const GradientSegment& s = segments[i];
        Check(s.left <= s.middle && s.middle <= s.right && (i == 0 || s.left == segments[i - 1].right));
    }
    const GradientColour fg{0.1, 0.2, 0.3, 1}, bg{0.9, 0.8, 0.7, 0.5};
    for (int i = 0; i <= 16; ++i) {
        const GradientColour c = gradient.ColourAt(i / 16.0, fg, bg);
        for (const double v : {c.red, c.green, c.blue, c.alpha}) Check(v >= 0 && v <= 1);
    }
    Gradient back;
    Check(ReadGradientFile(WriteGradientFile(gradient), back, error));
    Check(back.Segments() == segments && back.Name() == gradient.Name());
}
