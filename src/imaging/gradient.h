// A gradient of colours along 0..1, in GIMP's model so that its gradient files load without loss:
// segments that tile 0..1, each with a left, middle and right position, a colour at either end
// (straight RGBA doubles 0..1, or the current foreground or background colour, opaque or fully
// transparent), a blending function that bends the run from the left colour to the right one
// around the middle, and the colour model the run is made in (RGB, or HSV going either way round
// the hue circle). The editor sees it as stops: the segments' ends, each with the colour there.
#pragma once

#include <string>
#include <vector>

namespace tellurine {

struct GradientColour {
    double red = 0, green = 0, blue = 0, alpha = 1;
    friend bool operator==(const GradientColour&, const GradientColour&) = default;
};

// The numbers are the ones GIMP's files hold.
enum class GradientBlend {
    Linear = 0,
    Curved = 1,
    Sine = 2,
    SphereIncreasing = 3,
    SphereDecreasing = 4,
    Step = 5
};
enum class GradientColouring { Rgb = 0, HsvCounterClockwise = 1, HsvClockwise = 2 };
enum class EndpointColour {
    Fixed = 0,
    Foreground = 1,
    ForegroundTransparent = 2,
    Background = 3,
    BackgroundTransparent = 4
};

struct GradientSegment {
    double left = 0, middle = 0.5, right = 1;
    GradientColour leftColour, rightColour;
    GradientBlend blend = GradientBlend::Linear;
    GradientColouring colouring = GradientColouring::Rgb;
    EndpointColour leftType = EndpointColour::Fixed, rightType = EndpointColour::Fixed;
    friend bool operator==(const GradientSegment&, const GradientSegment&) = default;
};

// One end of a segment as the editor shows it: its position and the colour there (the right
// segment's left colour; the last stop takes the last segment's right colour).
struct GradientStop {
    double position = 0;
    GradientColour colour;
    EndpointColour type = EndpointColour::Fixed;
};

class Gradient {
public:
    // The two colours: one linear RGB segment from the foreground colour to the background colour.
    Gradient();
    explicit Gradient(std::vector<GradientSegment> segments, std::string name = {});

    [[nodiscard]] const std::vector<GradientSegment>& Segments() const { return segments_; }
    [[nodiscard]] const std::string& Name() const { return name_; }
    void SetName(std::string name) { name_ = std::move(name); }
    // Whether this is the two colours above, which paints as the plain two-colour gradient does.
    [[nodiscard]] bool IsTwoColours() const;

    // The colour at a position (clamped to 0..1), the endpoint types taking `foreground` and
    // `background`, every channel in 0..1. A position on a boundary belongs to the segment left of it.
    [[nodiscard]] GradientColour ColourAt(double position, const GradientColour& foreground,
                                          const GradientColour& background) const;

    // The stops, from 0 to 1: every segment's left end and the last one's right end.
    [[nodiscard]] std::vector<GradientStop> Stops() const;
    // Splits the segment under `position` there (strictly inside it), the new stop taking the
    // colour the gradient has there; gives the new stop's index, or -1 when the position is on a
    // stop or outside 0..1.
    int AddStop(double position, const GradientColour& foreground, const GradientColour& background);
    // Moves an inner stop, kept strictly between its neighbours; the middles of the segments on
    // either side keep their relative places. False for the end stops or a bad index.
    bool MoveStop(int index, double position);
    // Joins the two segments beside an inner stop into one. False for the end stops or a bad index.
    bool RemoveStop(int index);
    // Gives a stop a fixed colour on both sides.
    bool SetStopColour(int index, const GradientColour& colour);

private:
    std::vector<GradientSegment> segments_;
    std::string name_;
};

// The blending factor 0..1 at `position` 0..1 of a segment whose middle is at `middle` 0..1.
double BlendFactor(GradientBlend blend, double middle, double position);

}  // namespace tellurine
