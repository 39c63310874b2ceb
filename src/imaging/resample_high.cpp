// The high-quality resampler: a separable Lanczos filter (three lobes) on alpha-weighted colours.
//
// Each new pixel's centre is mapped onto the source with pixel centres aligned at both edges, and
// the filter is widened by the shrink factor, so a picture is sampled the same way from either
// side. The arithmetic is exact, in whole numbers, from the weights on: the weights of a column (or
// row) on the right half are the mirror image of those of its partner on the left, and exact sums
// do not depend on their order, so a picture symmetric about its centre gives a symmetric result at
// every size, exactly.
//
// Colours are weighted by their alpha while filtering, so the colour a transparent pixel happens
// to carry never shows, and divided by the new alpha at the end; what is stored stays straight
// (not premultiplied) alpha.
#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
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

// The taps of one new column (or row): the first source index, its weights and their sum, all
// whole numbers.
struct Taps {
    std::int32_t first = 0;
    std::vector<double> weights;
    double sum = 0;
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
            const double w = std::round(Lanczos((j - centre) / widen) * kOne);
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
    for (Taps& t : taps) t.inverse = 1.0 / (2 * t.sum);
    return taps;
}

// A pixel's four channels, each weighted by alpha: blue, green and red times alpha, and alpha
// times 255, so that all four share the range 0..65025; or their sums. They are whole numbers held
// in doubles, far below 2^53 for any real size, so every product and sum is exact and the order
// in which they are added does not matter. Rows of them are kept as plain doubles, four to a
// pixel, and moved in and out with Load and Store, which need no more alignment than a double's.
using Quad = double __attribute__((vector_size(32)));
using Ints = std::int32_t __attribute__((vector_size(16)));
using Bytes16 = std::uint8_t __attribute__((vector_size(16)));

// A stored pixel's four bytes as a Quad, from one load of all four.
[[gnu::always_inline]] inline Quad Channels(const std::uint8_t* pixel) {
    std::uint32_t bytes;
    std::memcpy(&bytes, pixel, sizeof bytes);
    constexpr Ints kShifts = std::endian::native == std::endian::little ? Ints{0, 8, 16, 24} : Ints{24, 16, 8, 0};
    return __builtin_convertvector((Ints{} + static_cast<std::int32_t>(bytes)) >> kShifts & 255, Quad);
}

[[gnu::always_inline]] inline Quad Load(const double* p) {
    Quad q;
    std::memcpy(&q, p, sizeof q);
    return q;
}
[[gnu::always_inline]] inline void Store(double* p, Quad q) { std::memcpy(p, &q, sizeof q); }

// sum / t.sum rounded half up, the floor of (2 sum + t.sum) / (2 t.sum), for the four channels
// at once. The quotient from the reciprocal, rounded to the nearest whole number, is that floor or
// one above it, as the reciprocal is off by far less than half a step; the remainder, exact, says
// which.
[[gnu::always_inline]] inline Quad DivideRounded(Quad sum, const Taps& t) {
    constexpr double kRound = 0x1.8p52;  // adding it and taking it away rounds to a whole number
    const Quad twice = 2 * sum + t.sum;
    const Quad q = (twice * t.inverse + kRound) - kRound;
    const Quad remainder = twice - q * (2 * t.sum);
    const Quad one = {1, 1, 1, 1}, none = {};
    return q - (remainder < 0 ? one : none);
}

// A pixel stored from its alpha-weighted channels, whole numbers: alpha is alpha255 / 255 and
// each colour 255 * weighted / alpha255, both rounded half up, in straight 8-bit alpha; a pixel
// whose alpha rounds to 0 is stored as all zero. The four quotients come from one division of
// doubles, whose floor is exact: numerators and denominators are whole numbers far below 2^53,
// and a quotient below 256 that is not whole lies at least 1/130050 below the next whole number,
// far more than a double's error there.
[[gnu::always_inline]] inline void StoreStraight(Quad q, std::uint8_t* out) {
    const Quad none = {}, one = {1, 1, 1, 1}, full = {255.0 * 255, 255.0 * 255, 255.0 * 255, 255.0 * 255};
    Quad alpha255 = __builtin_shufflevector(q, q, 3, 3, 3, 3);
    alpha255 = alpha255 < none ? none : alpha255 > full ? full : alpha255;
    const Quad weighted = q < none ? none : q > alpha255 ? alpha255 : q;  // its alpha lane is alpha255
    const Quad numerator = weighted * Quad{510, 510, 510, 2} +
                           __builtin_shufflevector(alpha255, Quad{255, 255, 255, 255}, 0, 1, 2, 7);
    Quad twice = 2 * alpha255;
    twice = twice < one ? one : twice;  // no division by zero; such a pixel is stored as zero below
    const Quad quotient = numerator / __builtin_shufflevector(twice, Quad{510, 510, 510, 510}, 0, 1, 2, 7);
    const Ints whole = __builtin_convertvector(quotient, Ints);
    const auto bytes = reinterpret_cast<Bytes16>(whole);
    // The low byte of each lane, in memory order, gathered into the first four bytes.
    constexpr int a = std::endian::native == std::endian::little ? 0 : 3, b = a + 4, c = a + 8, d = a + 12;
    const Bytes16 gathered =
        __builtin_shufflevector(bytes, bytes, a, b, c, d, a, b, c, d, a, b, c, d, a, b, c, d);
    const auto low = static_cast<std::uint32_t>(reinterpret_cast<Ints>(gathered)[0]);
    const std::uint32_t pixel = whole[3] == 0 ? 0u : low;
    std::memcpy(out, &pixel, sizeof pixel);
}

// The sum of the taps' pixels times their weights, pixel k at `pixel(k)`. Four sums run side by
// side so that each addition need not wait for the one before; as every sum is exact, how they
// are grouped does not change the total.
template <typename PixelAt>
[[gnu::always_inline]] inline Quad Weigh(const Taps& taps, PixelAt pixel) {
    const double* weights = taps.weights.data();
    const std::size_t count = taps.weights.size();
    Quad s0 = {}, s1 = {}, s2 = {}, s3 = {};
    std::size_t k = 0;
    for (; k + 4 <= count; k += 4) {
        s0 += weights[k] * Load(pixel(k));
        s1 += weights[k + 1] * Load(pixel(k + 1));
        s2 += weights[k + 2] * Load(pixel(k + 2));
        s3 += weights[k + 3] * Load(pixel(k + 3));
    }
    for (; k < count; ++k) s0 += weights[k] * Load(pixel(k));
    return (s0 + s1) + (s2 + s3);
}

// The same for four runs of pixels at once, pixel k of run r at `pixel(k) + r * stride`: each
// weight is loaded once for the four, and each run has two sums (even and odd taps), so that
// eight additions are under way at once.
template <typename PixelAt>
[[gnu::always_inline]] inline std::array<Quad, 4> WeighFour(const Taps& taps, PixelAt pixel,
                                                             std::size_t stride) {
    const double* weights = taps.weights.data();
    const std::size_t count = taps.weights.size();
    Quad e0 = {}, e1 = {}, e2 = {}, e3 = {}, o0 = {}, o1 = {}, o2 = {}, o3 = {};
    std::size_t k = 0;
    for (; k + 2 <= count; k += 2) {
        const double w = weights[k], v = weights[k + 1];
        const double* in = pixel(k);
        e0 += w * Load(in), e1 += w * Load(in + stride), e2 += w * Load(in + 2 * stride);
        e3 += w * Load(in + 3 * stride);
        in = pixel(k + 1);
        o0 += v * Load(in), o1 += v * Load(in + stride), o2 += v * Load(in + 2 * stride);
        o3 += v * Load(in + 3 * stride);
    }
    if (k < count) {
        const double w = weights[k];
        const double* in = pixel(k);
        e0 += w * Load(in), e1 += w * Load(in + stride), e2 += w * Load(in + 2 * stride);
        e3 += w * Load(in + 3 * stride);
    }
    return {e0 + o0, e1 + o1, e2 + o2, e3 + o3};
}

// The filter's work, below, is compiled twice: for any x86-64 processor, and with AVX2 and FMA
// for those that have them, which take all four channels in one instruction and (this file being
// built to fuse them) multiply and add in one step. Every product and sum is exact either way,
// so the results are the same to the bit.
[[gnu::always_inline]] inline bool Filter(const WorkImage& src, WorkImage& dst, LevelAxis columnAxis, LevelAxis rowAxis);

#if defined(__x86_64__) || defined(__i386__)
[[gnu::target("avx2,fma")]] bool FilterAvx2(const WorkImage& src, WorkImage& dst, LevelAxis columnAxis, LevelAxis rowAxis) {
    return Filter(src, dst, columnAxis, rowAxis);
}
#endif

bool FilterPlain(const WorkImage& src, WorkImage& dst, LevelAxis columnAxis, LevelAxis rowAxis) {
    return Filter(src, dst, columnAxis, rowAxis);
}

}  // namespace

bool ResampleLanczos(const WorkImage& src, WorkImage& dst, LevelAxis columnAxis, LevelAxis rowAxis) {
#if defined(__x86_64__) || defined(__i386__)
    static const bool avx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
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

        // Across first: source rows become rows of the new width, four at a time, when the rows
        // down first need one of them. Only the last `window` rows made are kept, in turn: as
        // many as one new row's taps reach, and the rest of the fours they fall in, so that
        // making a four never overwrites a row still to be read. That is tens of kilobytes for a
        // thumbnail, where all the rows would take megabytes of pages that a short-lived process
        // pays for once each. Neither it nor the source rows are zeroed: each value is written
        // before it is read.
        std::size_t reach = 1;
        for (const Taps& taps : rows) reach = std::max(reach, taps.weights.size());
        const std::size_t window = reach + 6;
        const auto across = std::make_unique_for_overwrite<double[]>(newWidth * window * 4);
        std::vector<std::int32_t> held(window, -1);  // the source row each place holds
        const std::size_t lineSize = static_cast<std::size_t>(src.width) * 4;
        const auto lines = std::make_unique_for_overwrite<double[]>(lineSize * 4);
        const auto place = [&](std::int32_t y) {
            return &across[static_cast<std::size_t>(y) % window * newWidth * 4];
        };
        // (Inlined, so that it is compiled for the processor its caller is compiled for.)
        const auto acrossFour = [&](std::int32_t top) __attribute__((always_inline)) {
            const int count = std::min(4, src.height - top);
            for (int r = 0; r < count; ++r) {
                held[static_cast<std::size_t>(top + r) % window] = top + r;
                const std::uint8_t* in = src.Row(top + r);
                double* line = &lines[static_cast<std::size_t>(r) * lineSize];
                for (std::size_t x = 0; x < lineSize; x += 4, in += 4) {
                    const Quad pixel = Channels(in);
                    const Quad by = {pixel[3], pixel[3], pixel[3], 255};
                    Store(&line[x], pixel * by);
                }
            }
            double* out[4] = {};
            for (int r = 0; r < count; ++r) out[r] = place(top + r);
            for (std::size_t x = 0; x < newWidth; ++x) {
                const Taps& taps = columns[x];
                const double* first = &lines[static_cast<std::size_t>(taps.first) * 4];
                if (count == 4) {
                    const std::array<Quad, 4> sums =
                        WeighFour(taps, [first](std::size_t k) { return first + k * 4; }, lineSize);
                    for (int r = 0; r < 4; ++r) Store(out[r] + x * 4, DivideRounded(sums[r], taps));
                } else {
                    for (int r = 0; r < count; ++r) {
                        const double* row = first + static_cast<std::size_t>(r) * lineSize;
                        const Quad sum = Weigh(taps, [row](std::size_t k) { return row + k * 4; });
                        Store(out[r] + x * 4, DivideRounded(sum, taps));
                    }
                }
            }
        };
        const auto acrossRow = [&](std::int32_t y) __attribute__((always_inline)) {
            if (held[static_cast<std::size_t>(y) % window] != y) acrossFour(y - y % 4);
            return static_cast<const double*>(place(y));
        };

        // Then down: every new row from the rows across, then stored in straight alpha.
        std::vector<const double*> taken(reach);  // the rows across that a new row's taps reach
        std::vector<double> sums(newWidth * 4);
        for (std::int32_t y = 0; y < dst.height; ++y) {
            const Taps& taps = rows[static_cast<std::size_t>(y)];
            const std::size_t count = taps.weights.size();
            for (std::size_t k = 0; k < count; ++k) taken[k] = acrossRow(taps.first + static_cast<std::int32_t>(k));
            // Four new pixels at a time, read along the rows.
            std::size_t at = 0;
            for (; at + 16 <= sums.size(); at += 16) {
                const std::array<Quad, 4> four =
                    WeighFour(taps, [&taken, at](std::size_t k) { return taken[k] + at; }, 4);
                for (std::size_t r = 0; r < 4; ++r) Store(&sums[at + 4 * r], four[r]);
            }
            for (; at < sums.size(); at += 4)
                Store(&sums[at], Weigh(taps, [&taken, at](std::size_t k) { return taken[k] + at; }));
            std::uint8_t* out = dst.Row(y);
            for (std::size_t x = 0; x < sums.size(); x += 4, out += 4)
                StoreStraight(DivideRounded(Load(&sums[x]), taps), out);
        }
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

}  // namespace
}  // namespace tellurine::resample_detail
