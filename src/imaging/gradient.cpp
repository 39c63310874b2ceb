#include "imaging/gradient.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tellurine {
namespace {

constexpr double kEpsilon = 1e-10;

// The straight-line factor bent at the middle: 0.5 at the middle, linear on either side.
double LinearFactor(double middle, double position) {
    if (position <= middle) return middle < kEpsilon ? 0.0 : 0.5 * position / middle;
    const double after = 1.0 - middle;
    return after < kEpsilon ? 1.0 : 0.5 + 0.5 * (position - middle) / after;
}

struct Hsv {
    double hue = 0, saturation = 0, value = 0;
};

Hsv ToHsv(const GradientColour& c) {
    const double high = std::max({c.red, c.green, c.blue}), low = std::min({c.red, c.green, c.blue});
    const double delta = high - low;
    Hsv out{0, 0, high};
    if (delta <= 0.0001 || high <= 0) return out;
    out.saturation = delta / high;
    if (c.red == high)
        out.hue = (c.green - c.blue) / delta;
    else if (c.green == high)
        out.hue = 2 + (c.blue - c.red) / delta;
    else
        out.hue = 4 + (c.red - c.green) / delta;
    if (out.hue < 0) out.hue += 6;
    out.hue /= 6;
    return out;
}

GradientColour FromHsv(const Hsv& hsv, double alpha) {
    const double v = hsv.value, s = hsv.saturation;
    if (s <= 0) return {v, v, v, alpha};
    double sector = hsv.hue * 6;
    if (sector >= 6) sector = 0;
    const int i = static_cast<int>(std::floor(sector));
    const double f = sector - i;
    const double p = v * (1 - s), q = v * (1 - s * f), t = v * (1 - s * (1 - f));
    switch (i) {
        case 0: return {v, t, p, alpha};
        case 1: return {q, v, p, alpha};
        case 2: return {p, v, t, alpha};
        case 3: return {p, q, v, alpha};
        case 4: return {t, p, v, alpha};
        default: return {v, p, q, alpha};
    }
}

GradientColour Resolve(EndpointColour type, const GradientColour& fixed, const GradientColour& foreground,
                       const GradientColour& background) {
    GradientColour c = fixed;
    switch (type) {
        case EndpointColour::Fixed: break;
        case EndpointColour::Foreground: c = foreground; break;
        case EndpointColour::Background: c = background; break;
        case EndpointColour::ForegroundTransparent: c = foreground, c.alpha = 0; break;
        case EndpointColour::BackgroundTransparent: c = background, c.alpha = 0; break;
    }
    // A file may hold values outside 0..1; they are taken at the nearest end.
    const auto unit = [](double v) { return std::isnan(v) ? 0.0 : std::clamp(v, 0.0, 1.0); };
    return {unit(c.red), unit(c.green), unit(c.blue), unit(c.alpha)};
}

// A position inside a segment's span, relative to its left end, after the span has moved.
double Rescaled(double value, double oldLeft, double oldRight, double newLeft, double newRight) {
    const double span = oldRight - oldLeft;
    const double t = span < kEpsilon ? 0.5 : (value - oldLeft) / span;
    return newLeft + t * (newRight - newLeft);
}

}  // namespace

double BlendFactor(GradientBlend blend, double middle, double position) {
    switch (blend) {
        case GradientBlend::Linear: return LinearFactor(middle, position);
        case GradientBlend::Curved:
            // A middle at either end would make the exponent infinite; just inside it is a step.
            return std::pow(position, std::log(0.5) / std::log(std::clamp(middle, kEpsilon, 1 - kEpsilon)));
        case GradientBlend::Sine:
            return (std::sin(-std::numbers::pi / 2 + std::numbers::pi * LinearFactor(middle, position)) + 1) /
                   2;
        case GradientBlend::SphereIncreasing: {
            const double f = LinearFactor(middle, position) - 1;
            return std::sqrt(1 - f * f);
        }
        case GradientBlend::SphereDecreasing: {
            const double f = LinearFactor(middle, position);
            return 1 - std::sqrt(1 - f * f);
        }
        case GradientBlend::Step: return position >= middle ? 1.0 : 0.0;
    }
    return LinearFactor(middle, position);
}

Gradient::Gradient() {
    GradientSegment two;
    two.leftType = EndpointColour::Foreground;
    two.rightType = EndpointColour::Background;
    segments_.push_back(two);
}

Gradient::Gradient(std::vector<GradientSegment> segments, std::string name)
    : segments_(std::move(segments)), name_(std::move(name)) {
    if (segments_.empty()) *this = Gradient();
}

bool Gradient::IsTwoColours() const {
    const GradientSegment two = Gradient().segments_.front();
    if (segments_.size() != 1) return false;
    const GradientSegment& s = segments_.front();
    // The fixed colours are not used by these endpoint types.
    return s.left == two.left && s.middle == two.middle && s.right == two.right && s.blend == two.blend &&
           s.colouring == two.colouring && s.leftType == two.leftType && s.rightType == two.rightType;
}

GradientColour Gradient::ColourAt(double position, const GradientColour& foreground,
                                  const GradientColour& background) const {
    position = std::isnan(position) ? 0.0 : std::clamp(position, 0.0, 1.0);
    auto it = std::find_if(segments_.begin(), segments_.end(),
                           [position](const GradientSegment& s) { return position <= s.right; });
    const GradientSegment& s = it == segments_.end() ? segments_.back() : *it;
    const double span = s.right - s.left;
    double middle = 0.5, at = 0.5;
    if (span >= kEpsilon) {
        middle = (s.middle - s.left) / span;
        at = (position - s.left) / span;
    }
    const double f = BlendFactor(s.blend, middle, std::clamp(at, 0.0, 1.0));
    const GradientColour a = Resolve(s.leftType, s.leftColour, foreground, background);
    const GradientColour b = Resolve(s.rightType, s.rightColour, foreground, background);
    const double alpha = a.alpha + (b.alpha - a.alpha) * f;
    if (s.colouring == GradientColouring::Rgb)
        return {a.red + (b.red - a.red) * f, a.green + (b.green - a.green) * f,
                a.blue + (b.blue - a.blue) * f, alpha};
    const Hsv ha = ToHsv(a), hb = ToHsv(b);
    Hsv out{0, ha.saturation + (hb.saturation - ha.saturation) * f, ha.value + (hb.value - ha.value) * f};
    if (s.colouring == GradientColouring::HsvCounterClockwise) {
        // Hue rises, wrapping past 1 when the right hue is below the left one.
        out.hue = ha.hue < hb.hue ? ha.hue + (hb.hue - ha.hue) * f : ha.hue + (1 - (ha.hue - hb.hue)) * f;
        if (out.hue > 1) out.hue -= 1;
    } else {
        out.hue = hb.hue < ha.hue ? ha.hue - (ha.hue - hb.hue) * f : ha.hue - (1 - (hb.hue - ha.hue)) * f;
        if (out.hue < 0) out.hue += 1;
    }
    return FromHsv(out, alpha);
}

std::vector<GradientStop> Gradient::Stops() const {
    std::vector<GradientStop> stops;
    for (const GradientSegment& s : segments_) stops.push_back({s.left, s.leftColour, s.leftType});
    stops.push_back({segments_.back().right, segments_.back().rightColour, segments_.back().rightType});
    return stops;
}

int Gradient::AddStop(double position, const GradientColour& foreground, const GradientColour& background) {
    for (std::size_t i = 0; i < segments_.size(); ++i) {
        GradientSegment& s = segments_[i];
        if (!(position > s.left && position < s.right)) continue;
        const GradientColour colour = ColourAt(position, foreground, background);
        GradientSegment right = s;
        right.left = position;
        right.middle = (position + s.right) / 2;
        right.leftColour = colour;
        right.leftType = EndpointColour::Fixed;
        s.right = position;
        s.middle = (s.left + position) / 2;
        s.rightColour = colour;
        s.rightType = EndpointColour::Fixed;
        segments_.insert(segments_.begin() + static_cast<std::ptrdiff_t>(i) + 1, right);
        return static_cast<int>(i) + 1;
    }
    return -1;
}

bool Gradient::MoveStop(int index, double position) {
    if (index <= 0 || index >= static_cast<int>(segments_.size()) || std::isnan(position)) return false;
    GradientSegment& before = segments_[static_cast<std::size_t>(index) - 1];
    GradientSegment& after = segments_[static_cast<std::size_t>(index)];
    // A stop never reaches its neighbours, so no segment becomes empty.
    const double room = 1e-4;
    const double low = before.left + room, high = after.right - room;
    if (low > high) return false;
    position = std::clamp(position, low, high);
    before.middle = Rescaled(before.middle, before.left, before.right, before.left, position);
    after.middle = Rescaled(after.middle, after.left, after.right, position, after.right);
    before.right = after.left = position;
    return true;
}

bool Gradient::RemoveStop(int index) {
    if (index <= 0 || index >= static_cast<int>(segments_.size())) return false;
    GradientSegment& before = segments_[static_cast<std::size_t>(index) - 1];
    const GradientSegment& after = segments_[static_cast<std::size_t>(index)];
    before.right = after.right;
    before.middle = (before.left + before.right) / 2;
    before.rightColour = after.rightColour;
    before.rightType = after.rightType;
    segments_.erase(segments_.begin() + index);
    return true;
}

bool Gradient::SetStopColour(int index, const GradientColour& colour) {
    if (index < 0 || index > static_cast<int>(segments_.size())) return false;
    const auto i = static_cast<std::size_t>(index);
    if (i > 0) {
        segments_[i - 1].rightColour = colour;
        segments_[i - 1].rightType = EndpointColour::Fixed;
    }
    if (i < segments_.size()) {
        segments_[i].leftColour = colour;
        segments_[i].leftType = EndpointColour::Fixed;
    }
    return true;
}

}  // namespace tellurine
