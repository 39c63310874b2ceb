// The high-quality resampler: a separable Lanczos filter (three lobes) on alpha-weighted colours.
//
// Each new pixel's centre is mapped onto the source with pixel centres aligned at both edges, and
// the filter is widened by the shrink factor, so a picture is sampled the same way from either
// side. The arithmetic is integer from the weights on: the weights of a column (or row) on the
// right half are the mirror image of those of its partner on the left, and integer sums do not
// depend on their order, so a picture symmetric about its centre gives a symmetric result at
// every size, exactly.
//
// Colours are weighted by their alpha while filtering, so the colour a transparent pixel happens
// to carry never shows, and divided by the new alpha at the end; what is stored stays straight
// (not premultiplied) alpha.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>
#include <numbers>
#include <vector>

#include "imaging/resample_kernels.h"

namespace tellurine::resample_detail {
namespace {

constexpr double kLobes = 3.0;
// A weight of 1 in fixed point. Weights are rounded to this and each sum is divided by the sum of
// its own rounded weights, so a flat area stays exactly flat.
constexpr double kOne = 1 << 14;

double Sinc(double x) {
    if (x == 0.0) return 1.0;
    const double px = std::numbers::pi * x;
    return std::sin(px) / px;
}

double Lanczos(double x) { return std::abs(x) < kLobes ? Sinc(x) * Sinc(x / kLobes) : 0.0; }

// The taps of one new column (or row): the first source index, its weights and their sum.
struct Taps {
    std::int32_t first = 0;
    std::vector<std::int32_t> weights;
    std::int64_t sum = 0;
    double inverse = 0;  // 1 / (2 * sum), for DivideRounded
};

// The taps of every new index along an axis of `from` source pixels made `to` long. The source is
// the axis of a picture `axis.full` long, or a coarser level of it whose pixel k stands where the
// full picture's pixel `axis.origin + k * axis.step` does: each new pixel is centred where it would
// be on the full picture. Indices past the source's ends are left out rather than clamped, which
// keeps the taps of both edges alike.
std::vector<Taps> AxisTaps(std::int32_t from, std::int32_t to, LevelAxis axis) {
    if (axis.full == 0) axis = {from, 1, 0};
    std::vector<Taps> taps(static_cast<std::size_t>(to));
    const double step = axis.step;
    const double scale = static_cast<double>(axis.full) / to / step;
    const double widen = std::max(scale, 1.0);
    const double support = kLobes * widen;
    // A whole picture's taps are the mirror image of each other about the middle: only the left
    // half (and the middle one of an odd count) is computed.
    const bool mirrored = axis.step == 1 && axis.origin == 0 && axis.full == from;
    const std::int32_t computed = mirrored ? (to + 1) / 2 : to;
    for (std::int32_t i = 0; i < computed; ++i) {
        // The centre of new pixel i in full-picture pixels, from integers and one division: exact
        // for the middle pixel of an odd count, whose taps then are symmetric too; then in source
        // pixels.
        const double full = static_cast<double>((2 * std::int64_t{i} + 1) * axis.full - to) /
                            static_cast<double>(2 * std::int64_t{to});
        const double centre = (full - axis.origin) / step;
        const auto first = std::max<std::int32_t>(0, static_cast<std::int32_t>(std::floor(centre - support)) + 1);
        const auto last = std::min<std::int32_t>(from - 1, static_cast<std::int32_t>(std::ceil(centre + support)) - 1);
        Taps& t = taps[static_cast<std::size_t>(i)];
        t.first = first;
        for (std::int32_t j = first; j <= last; ++j) {
            const auto w = static_cast<std::int32_t>(std::lround(Lanczos((j - centre) / widen) * kOne));
            t.weights.push_back(w);
            t.sum += w;
        }
        // A tap whose weights cancel out (possible only for absurd shrinks) falls back to the
        // nearest source pixel.
        if (t.sum <= 0) {
            t.first = std::clamp<std::int32_t>(static_cast<std::int32_t>(std::lround(centre)), 0, from - 1);
            t.weights.assign(1, 1);
            t.sum = 1;
        }
    }
    for (std::int32_t i = computed; i < to; ++i) {
        const Taps& left = taps[static_cast<std::size_t>(to - 1 - i)];
        Taps& right = taps[static_cast<std::size_t>(i)];
        right.weights.assign(left.weights.rbegin(), left.weights.rend());
        right.sum = left.sum;
        right.first = from - left.first - static_cast<std::int32_t>(left.weights.size());
    }
    for (Taps& t : taps) t.inverse = 1.0 / static_cast<double>(2 * t.sum);
    return taps;
}

// sum / t.sum rounded half up (the floor of (2 sum + t.sum) / (2 t.sum)) without a 64-bit
// division: the quotient from the reciprocal in doubles is within a step or two of the floor, and
// the remainder in whole numbers sets it right, so the result is exact.
std::int32_t DivideRounded(std::int64_t sum, const Taps& t) {
    const std::int64_t twice = 2 * sum + t.sum, divisor = 2 * t.sum;
    auto q = static_cast<std::int64_t>(static_cast<double>(twice) * t.inverse);
    std::int64_t remainder = twice - q * divisor;
    while (remainder < 0) --q, remainder += divisor;
    while (remainder >= divisor) ++q, remainder -= divisor;
    return static_cast<std::int32_t>(q);
}

// Four channels per pixel, each alpha-weighted: blue, green and red times alpha, and alpha times
// 255, so all four share the range 0..65025.
using Weighted = std::vector<std::int32_t>;

// The filter's work, below, is compiled twice: for any x86-64 processor, and with AVX2 for those
// that have it, whose wider registers take four of the channels' 64-bit sums at once. The
// arithmetic is in whole numbers either way, so the results are the same to the bit.
[[gnu::always_inline]] inline bool Filter(const WorkImage& src, WorkImage& dst, LevelAxis columnAxis, LevelAxis rowAxis);

#if defined(__x86_64__) || defined(__i386__)
[[gnu::target("avx2")]] bool FilterAvx2(const WorkImage& src, WorkImage& dst, LevelAxis columnAxis, LevelAxis rowAxis) {
    return Filter(src, dst, columnAxis, rowAxis);
}
#endif

bool FilterPlain(const WorkImage& src, WorkImage& dst, LevelAxis columnAxis, LevelAxis rowAxis) {
    return Filter(src, dst, columnAxis, rowAxis);
}

}  // namespace

bool ResampleLanczos(const WorkImage& src, WorkImage& dst, LevelAxis columnAxis, LevelAxis rowAxis) {
#if defined(__x86_64__) || defined(__i386__)
    static const bool avx2 = __builtin_cpu_supports("avx2");
    if (avx2) return FilterAvx2(src, dst, columnAxis, rowAxis);
#endif
    return FilterPlain(src, dst, columnAxis, rowAxis);
}

namespace {

inline bool Filter(const WorkImage& src, WorkImage& dst, LevelAxis columnAxis, LevelAxis rowAxis) {
    try {
        const std::vector<Taps> columns = AxisTaps(src.width, dst.width, columnAxis);
        const std::vector<Taps> rows = AxisTaps(src.height, dst.height, rowAxis);
        const auto newWidth = static_cast<std::size_t>(dst.width);

        // Across first: a source row becomes a row of the new width when the rows down first need
        // it. Only the last `window` rows made are kept, in turn, as many as one new row's taps
        // reach: a few kilobytes for a thumbnail, where all the rows would take half a megabyte of
        // pages that a short-lived process pays for once each.
        std::size_t window = 1;
        for (const Taps& taps : rows) window = std::max(window, taps.weights.size());
        Weighted across(newWidth * window * 4);
        std::vector<std::int32_t> held(window, -1);  // the source row each place holds
        Weighted line(static_cast<std::size_t>(src.width) * 4);
        const auto acrossRow = [&](std::int32_t y) {
            const std::size_t place = static_cast<std::size_t>(y) % window;
            std::int32_t* out = &across[place * newWidth * 4];
            if (held[place] == y) return static_cast<const std::int32_t*>(out);
            held[place] = y;
            const std::uint8_t* in = src.Row(y);
            for (std::int32_t x = 0; x < src.width; ++x, in += 4) {
                const std::int32_t a = in[3];
                std::int32_t* p = &line[static_cast<std::size_t>(x) * 4];
                p[0] = in[0] * a;
                p[1] = in[1] * a;
                p[2] = in[2] * a;
                p[3] = a * 255;
            }
            std::int32_t* next = out;
            for (const Taps& taps : columns) {
                std::int64_t sums[4] = {};
                const std::int32_t* p = &line[static_cast<std::size_t>(taps.first) * 4];
                for (const std::int32_t w : taps.weights) {
                    for (int c = 0; c < 4; ++c) sums[c] += std::int64_t{w} * p[c];
                    p += 4;
                }
                for (int c = 0; c < 4; ++c) *next++ = DivideRounded(sums[c], taps);
            }
            return static_cast<const std::int32_t*>(out);
        };

        // Then down: every new row from the rows across, then back to straight alpha.
        std::vector<std::int64_t> sums(newWidth * 4);
        for (std::int32_t y = 0; y < dst.height; ++y) {
            const Taps& taps = rows[static_cast<std::size_t>(y)];
            std::fill(sums.begin(), sums.end(), 0);
            for (std::size_t k = 0; k < taps.weights.size(); ++k) {
                const std::int64_t w = taps.weights[k];
                const std::int32_t* in = acrossRow(taps.first + static_cast<std::int32_t>(k));
                for (std::size_t i = 0; i < newWidth * 4; ++i) sums[i] += w * in[i];
            }
            std::uint8_t* out = dst.Row(y);
            for (std::size_t x = 0; x < newWidth; ++x, out += 4) {
                const std::int64_t* s = &sums[x * 4];
                // Both rounded half up, in whole numbers that are not negative.
                const std::int32_t alpha255 = std::clamp(DivideRounded(s[3], taps), 0, 255 * 255);
                const std::int32_t alpha = (2 * alpha255 + 255) / 510;
                for (int c = 0; c < 3; ++c) {
                    const std::int32_t weighted = std::clamp(DivideRounded(s[c], taps), 0, alpha255);
                    out[c] = alpha == 0 ? std::uint8_t{0}
                                        : static_cast<std::uint8_t>((510 * weighted + alpha255) / (2 * alpha255));
                }
                out[3] = static_cast<std::uint8_t>(alpha);
            }
        }
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

}  // namespace
}  // namespace tellurine::resample_detail
