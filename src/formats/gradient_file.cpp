#include "formats/gradient_file.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <vector>

#include "formats/palette_file.h"

namespace tellurine {
namespace {

// Consecutive segments may meet a rounding error apart (files written with six decimals).
constexpr double kJoinTolerance = 1e-5;

// Splits text into lines, dropping a carriage return before each line feed.
std::vector<std::string_view> Lines(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        lines.push_back(line);
        if (end == std::string_view::npos) break;
        text.remove_prefix(end + 1);
    }
    return lines;
}

std::vector<std::string_view> Words(std::string_view line) {
    std::vector<std::string_view> words;
    std::size_t at = 0;
    while (at < line.size()) {
        const std::size_t start = line.find_first_not_of(" \t", at);
        if (start == std::string_view::npos) break;
        const std::size_t end = std::min(line.find_first_of(" \t", start), line.size());
        words.push_back(line.substr(start, end - start));
        at = end;
    }
    return words;
}

bool ParseNumber(std::string_view word, double& value) {
    if (!word.empty() && word.front() == '+') word.remove_prefix(1);
    const auto [end, ec] = std::from_chars(word.data(), word.data() + word.size(), value);
    return ec == std::errc() && end == word.data() + word.size() && std::isfinite(value);
}

bool ParseInteger(std::string_view word, long long& value) {
    const auto [end, ec] = std::from_chars(word.data(), word.data() + word.size(), value);
    return ec == std::errc() && end == word.data() + word.size();
}

std::string Number(double value) {
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

// Reads one segment line; empty when it is good, else what is wrong with it.
std::string ReadSegment(std::string_view line, GradientSegment& s) {
    const std::vector<std::string_view> words = Words(line);
    // Eleven numbers and two type numbers; newer files add the two endpoint colour types.
    if (words.size() != 13 && words.size() != 15)
        return "has " + std::to_string(words.size()) + " values, not 13 or 15";
    double numbers[11];
    for (std::size_t i = 0; i < 11; ++i)
        if (!ParseNumber(words[i], numbers[i]))
            return "value " + std::to_string(i + 1) + " (\"" + CleanPaletteName(words[i].substr(0, 32)) +
                   "\") is not a finite number";
    long long types[4] = {0, 0, 0, 0};
    static constexpr long long kTypeLimits[4] = {5, 2, 4, 4};
    static constexpr const char* kTypeNames[4] = {"blending function", "colour model", "left colour type",
                                                  "right colour type"};
    for (std::size_t i = 0; i < 4; ++i) {
        if (i >= 2 && words.size() == 13) break;
        if (!ParseInteger(words[11 + i], types[i]) || types[i] < 0 || types[i] > kTypeLimits[i])
            return std::string("the ") + kTypeNames[i] + " \"" +
                   CleanPaletteName(words[11 + i].substr(0, 32)) + "\" is unknown";
    }
    s.left = numbers[0], s.middle = numbers[1], s.right = numbers[2];
    s.leftColour = {numbers[3], numbers[4], numbers[5], numbers[6]};
    s.rightColour = {numbers[7], numbers[8], numbers[9], numbers[10]};
    s.blend = static_cast<GradientBlend>(types[0]);
    s.colouring = static_cast<GradientColouring>(types[1]);
    s.leftType = static_cast<EndpointColour>(types[2]);
    s.rightType = static_cast<EndpointColour>(types[3]);
    if (s.left < 0 || s.right > 1) return "has a position outside 0..1";
    if (!(s.left <= s.middle && s.middle <= s.right))
        return "has its left, middle and right positions out of order";
    return {};
}

}  // namespace

bool ReadGradientFile(std::string_view text, Gradient& gradient, std::string& error) {
    if (text.size() > kMaxGradientFileBytes) {
        error = "the file is larger than a gradient can be (" + std::to_string(text.size()) + " bytes)";
        return false;
    }
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);  // a byte order mark
    const std::vector<std::string_view> lines = Lines(text);
    if (lines.empty() || Words(lines[0]).size() != 2 || Words(lines[0])[0] != "GIMP" ||
        Words(lines[0])[1] != "Gradient") {
        error = "not a GIMP gradient: the first line is not \"GIMP Gradient\"";
        return false;
    }
    std::size_t at = 1;
    std::string name;
    if (at < lines.size() && lines[at].starts_with("Name:")) name = CleanPaletteName(lines[at++].substr(5));
    long long count = 0;
    const std::vector<std::string_view> countWords =
        at < lines.size() ? Words(lines[at]) : std::vector<std::string_view>{};
    if (countWords.size() != 1 || !ParseInteger(countWords[0], count)) {
        error = at < lines.size() ? "line " + std::to_string(at + 1) + ": the number of segments is missing"
                                  : "the file ends before the number of segments";
        return false;
    }
    if (count < 1 || count > static_cast<long long>(kMaxGradientSegments)) {
        error = "line " + std::to_string(at + 1) + ": " + std::to_string(count) +
                " segments; a gradient has 1 to " + std::to_string(kMaxGradientSegments);
        return false;
    }
    ++at;
    std::vector<GradientSegment> segments;
    segments.reserve(static_cast<std::size_t>(count));
    for (long long i = 0; i < count; ++i, ++at) {
        if (at >= lines.size()) {
            error = "the file ends after " + std::to_string(i) + " of " + std::to_string(count) + " segments";
            return false;
        }
        GradientSegment s;
        std::string problem = ReadSegment(lines[at], s);
        const double expected = segments.empty() ? 0.0 : segments.back().right;
        if (problem.empty() && std::abs(s.left - expected) > kJoinTolerance)
            problem = "starts at " + Number(s.left) + " where the gradient is at " + Number(expected);
        if (problem.empty() && i + 1 == count && std::abs(s.right - 1) > kJoinTolerance)
            problem = "ends the gradient at " + Number(s.right) + ", not at 1";
        if (!problem.empty()) {
            error = "line " + std::to_string(at + 1) + ": segment " + std::to_string(i + 1) + " " + problem;
            return false;
        }
        // Closes rounding gaps, keeping the middle inside.
        s.left = expected;
        if (i + 1 == count) s.right = 1;
        s.middle = std::clamp(s.middle, s.left, s.right);
        segments.push_back(s);
    }
    gradient = Gradient(std::move(segments), std::move(name));
    return true;
}

std::string WriteGradientFile(const Gradient& gradient) {
    std::string out = "GIMP Gradient\nName: " + CleanPaletteName(gradient.Name()) + "\n" +
                      std::to_string(gradient.Segments().size()) + "\n";
    for (const GradientSegment& s : gradient.Segments()) {
        for (const double v : {s.left, s.middle, s.right, s.leftColour.red, s.leftColour.green,
                               s.leftColour.blue, s.leftColour.alpha, s.rightColour.red, s.rightColour.green,
                               s.rightColour.blue, s.rightColour.alpha})
            out += Number(v) + " ";
        out += std::to_string(static_cast<int>(s.blend)) + " " +
               std::to_string(static_cast<int>(s.colouring)) + " " +
               std::to_string(static_cast<int>(s.leftType)) + " " +
               std::to_string(static_cast<int>(s.rightType)) + "\n";
    }
    return out;
}

}  // namespace tellurine
