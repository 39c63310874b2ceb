#include "imaging/filters.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <thread>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "image/busy.h"
#include "image/dib_block.h"

namespace tellurine {
namespace {

// ---- The kernels ----

// Weights row by row; kernel row 0 reads the row below the pixel on screen.
// clang-format off
constexpr std::int32_t kSmooth[] = {1, 1, 1,
                                    1, 8, 1,
                                    1, 1, 1};
constexpr std::int32_t kSmoothMore[] = {1, 1, 1,  1, 1,
                                        1, 5, 5,  5, 1,
                                        1, 5, 20, 5, 1,
                                        1, 5, 5,  5, 1,
                                        1, 1, 1,  1, 1};
constexpr std::int32_t kBlur[] = {1, 1, 1,
                                  1, 0, 1,
                                  1, 1, 1};
constexpr std::int32_t kBlurMore[] = {2, 2, 2, 2, 2,
                                      2, 1, 1, 1, 2,
                                      2, 1, 0, 1, 2,
                                      2, 1, 1, 1, 2,
                                      2, 2, 2, 2, 2};
constexpr std::int32_t kSharpen[] = {-2, -2, -2,
                                     -2, 32, -2,
                                     -2, -2, -2};
constexpr std::int32_t kSharpenMore[] = {-4, -4, -4,
                                         -4, 64, -4,
                                         -4, -4, -4};
constexpr std::int32_t kDetails[] = { 0, -1,  0,
                                     -1, 16, -1,
                                      0, -1,  0};
constexpr std::int32_t kEdges[] = {-1, -1, -1,  // Find Edges and Contour
                                   -1,  8, -1,
                                   -1, -1, -1};
constexpr std::int32_t kEnhanceEdges[] = {-1, -1, -1,
                                          -1, 10, -1,
                                          -1, -1, -1};
constexpr std::int32_t kEnhanceEdgesMore[] = {-1, -1, -1,
                                              -1,  9, -1,
                                              -1, -1, -1};
constexpr std::int32_t kEmboss[] = {-1, 0, 0,
                                     0, 1, 0,
                                     0, 0, 0};
// clang-format on

struct MenuFilter {
    std::string_view menuText;
    ConvolutionKernel kernel;
};

constexpr MenuFilter kFilters[kFilterCount] = {
    {"Smooth", {3, 3, 16, 0, kSmooth}},
    {"Smooth More", {5, 5, 76, 0, kSmoothMore}},
    {"&Blur", {3, 3, 8, 0, kBlur}},
    {"Bl&ur More", {5, 5, 40, 0, kBlurMore}},
    {"S&harpen", {3, 3, 16, 0, kSharpen}},
    {"Sharpen More", {3, 3, 32, 0, kSharpenMore}},
    {"&Details", {3, 3, 12, 0, kDetails}},
    {"&Find Edges", {3, 3, 1, 0, kEdges}},
    {"&Enhance Edges", {3, 3, 2, 0, kEnhanceEdges}},
    {"E&nhance Edges More", {3, 3, 1, 0, kEnhanceEdgesMore}},
    {"C&ontour", {3, 3, 1, 255, kEdges}},
    {"E&mboss", {3, 3, 1, 128, kEmboss}},
};

// ---- Images of four bytes per pixel, by stored row ----

// Stored row 0 is the bottom row of the picture; `stride` leads from a row to the one above it
// (negative for memory laid out top-down, such as a device bitmap).
template <typename Byte>
struct Rows {
    Byte* base = nullptr;
    std::ptrdiff_t stride = 0;
    Byte* operator[](std::int32_t y) const { return base + static_cast<std::ptrdiff_t>(y) * stride; }
};
using SourceRows = Rows<const std::uint8_t>;
using TargetRows = Rows<std::uint8_t>;

// A 24- or 32-bit packed bitmap's rectangle: `width` x `height` pixels from column `left`,
// stored rows firstRow up to firstRow + height - 1.
struct DibRegion {
    DibLayout layout;
    std::int32_t left = 0;
    std::int32_t firstRow = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;

    [[nodiscard]] std::size_t BytesPerPixel() const { return layout.bitCount == 32 ? 4 : 3; }
    // The rectangle's own rows in the block (4 bytes per pixel only at 32 bits).
    TargetRows InBlock(Block& dib) const {
        return {dib.data() + layout.RowOffset(firstRow) + static_cast<std::size_t>(left) * BytesPerPixel(),
                static_cast<std::ptrdiff_t>(layout.stride)};
    }
};

// The layout of a well-formed 24- or 32-bit packed bitmap.
std::optional<DibLayout> TrueColourLayout(const Block& dib) {
    auto layout = GetDibLayout(dib);
    if (!layout || (layout->bitCount != 24 && layout->bitCount != 32)) return std::nullopt;
    return layout;
}

// The inclusive rectangle in top-down coordinates clamped to the image, the whole image when any
// coordinate is -1, nothing when it does not meet the image.
std::optional<DibRegion> ClipRegion(const DibLayout& layout, std::int32_t left, std::int32_t top,
                                    std::int32_t right, std::int32_t bottom) {
    if (left == -1 || top == -1 || right == -1 || bottom == -1) {
        left = 0;
        top = 0;
        right = layout.width - 1;
        bottom = layout.height - 1;
    }
    left = std::max(left, 0);
    top = std::max(top, 0);
    right = std::min(right, layout.width - 1);
    bottom = std::min(bottom, layout.height - 1);
    if (right < left || bottom < top) return std::nullopt;
    DibRegion region;
    region.layout = layout;
    region.left = left;
    region.width = right - left + 1;
    region.height = bottom - top + 1;
    region.firstRow = layout.height - 1 - bottom;
    return region;
}

// A buffer of width x height pixels of four bytes, rows bottom-up without padding; empty when
// the size does not fit or memory runs out.
Block AllocatePixels(std::int32_t width, std::int32_t height) {
    std::size_t count = 0, bytes = 0;
    if (!CheckedMul(static_cast<std::size_t>(width), static_cast<std::size_t>(height), count) ||
        !CheckedMul(count, 4, bytes))
        return {};
    return Block::Allocate(bytes);
}

TargetRows RowsOf(Block& pixels, std::int32_t width) {
    return {pixels.data(), static_cast<std::ptrdiff_t>(width) * 4};
}

// The region as blue, green, red, alpha (255 at 24 bits), or an empty block.
Block LoadRegion(const Block& dib, const DibRegion& region) {
    Block work = AllocatePixels(region.width, region.height);
    if (work.empty()) return work;
    const std::size_t bpp = region.BytesPerPixel();
    const TargetRows out = RowsOf(work, region.width);
    for (std::int32_t y = 0; y < region.height; ++y) {
        const std::uint8_t* in = dib.data() + region.layout.RowOffset(region.firstRow + y) +
                                 static_cast<std::size_t>(region.left) * bpp;
        std::uint8_t* o = out[y];
        if (bpp == 4) {
            std::memcpy(o, in, static_cast<std::size_t>(region.width) * 4);
            continue;
        }
        for (std::int32_t x = 0; x < region.width; ++x, in += 3, o += 4) {
            o[0] = in[0];
            o[1] = in[1];
            o[2] = in[2];
            o[3] = 255;
        }
    }
    return work;
}

// Writes a 24-bit region back from four-byte pixels: blue, green and red.
void StoreRegion24(Block& dib, const DibRegion& region, const Block& pixels) {
    for (std::int32_t y = 0; y < region.height; ++y) {
        const std::uint8_t* in =
            pixels.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(region.width) * 4;
        std::uint8_t* out = dib.data() + region.layout.RowOffset(region.firstRow + y) +
                            static_cast<std::size_t>(region.left) * 3;
        for (std::int32_t x = 0; x < region.width; ++x, in += 4, out += 3) std::memcpy(out, in, 3);
    }
}

// ---- Convolution ----

// Kernels beyond this many rows or columns are refused (the per-row tables live on the stack).
constexpr std::int32_t kMaxKernelSide = 64;

// Filtered values beyond this magnitude are held at it before the keep-percent mix: the final
// byte comes out the same (0 or 255, or the unfiltered byte at 100 percent), and the mix cannot
// overflow. Sums themselves stay below 2^51 (4096 weights of 2^31 times 255).
constexpr std::int64_t kValueBound = std::int64_t{1} << 40;

bool UsableKernel(const ConvolutionKernel& k) {
    return k.width >= 1 && k.height >= 1 && k.width <= kMaxKernelSide && k.height <= kMaxKernelSide &&
           k.divisor != 0 &&
           k.weights.size() == static_cast<std::size_t>(k.width) * static_cast<std::size_t>(k.height);
}

// One byte by the definition: truncating division, bias, keep-percent mix, then 0 below 1 and
// 255 from 255 up.
std::uint8_t FinishByte(std::int64_t sum, const ConvolutionKernel& k, int keepPercent,
                        std::uint8_t original) {
    std::int64_t v = std::clamp(sum / k.divisor + k.bias, -kValueBound, kValueBound);
    if (keepPercent != 0) v = (std::int64_t{original} * keepPercent + (100 - keepPercent) * v) / 100;
    return v < 1 ? std::uint8_t{0} : v >= 255 ? std::uint8_t{255} : static_cast<std::uint8_t>(v);
}

// Pixel x of one output row the plain way: `rows` holds the source row of each kernel row, and
// columns beyond the edges read the edge column.
void FilterPixel(const std::uint8_t* const* rows, const ConvolutionKernel& k, std::int32_t width,
                 std::int32_t x, int keepPercent, const std::uint8_t* original, std::uint8_t* out) {
    std::int64_t sum[4] = {0, 0, 0, 0};
    const std::int32_t half = k.width / 2;
    for (std::int32_t ky = 0; ky < k.height; ++ky) {
        const std::int32_t* weights = k.weights.data() + static_cast<std::size_t>(ky) * k.width;
        for (std::int32_t kx = 0; kx < k.width; ++kx) {
            const std::int64_t w = weights[kx];
            if (w == 0) continue;
            const std::int32_t sx = std::clamp(x + kx - half, 0, width - 1);
            const std::uint8_t* p = rows[ky] + static_cast<std::size_t>(sx) * 4;
            for (int c = 0; c < 4; ++c) sum[c] += w * p[c];
        }
    }
    for (int c = 0; c < 4; ++c) out[c] = FinishByte(sum[c], k, keepPercent, original[c]);
}

#if defined(__SSE2__)

// The interior of a row, where no column needs clamping, sixteen bytes (four pixels) at a time.
// Sums are kept in 16 bits, so it takes kernels whose absolute weights add up to 128 or less
// (every menu kernel: at most 96); the division and the mix run in float, where every quantity
// is an integer below 2^24 and so is exact, and truncating the quotient of two such integers
// gives the integer quotient. The results are the plain path's, byte for byte.
class FastInterior {
public:
    static constexpr int kMaxTaps = 128;
    static constexpr std::int32_t kMaxAbsWeights = 128;
    static constexpr std::int32_t kMaxAbsBias = 100000;  // |v| * 100 + 25500 stays below 2^24
    static constexpr std::int32_t kMaxFloatInteger = 1 << 24;

    FastInterior(const ConvolutionKernel& k, int keepPercent) : keep_(keepPercent) {
        std::int64_t absolute = 0;
        for (const std::int32_t w : k.weights) absolute += w < 0 ? -std::int64_t{w} : std::int64_t{w};
        usable_ = absolute <= kMaxAbsWeights && k.bias >= -kMaxAbsBias && k.bias <= kMaxAbsBias &&
                  k.divisor >= -kMaxFloatInteger && k.divisor <= kMaxFloatInteger;
        if (!usable_) return;
        const std::int32_t half = k.width / 2;
        for (std::int32_t ky = 0; ky < k.height; ++ky) {
            for (std::int32_t kx = 0; kx < k.width; ++kx) {
                const std::int32_t w = k.weights[static_cast<std::size_t>(ky) * k.width + kx];
                if (w == 0) continue;
                row_[taps_] = ky;
                offset_[taps_] = static_cast<std::ptrdiff_t>(kx - half) * 4;
                weight_[taps_] = _mm_set1_epi16(static_cast<std::int16_t>(w));
                ++taps_;
            }
        }
        divisor_ = _mm_set1_ps(static_cast<float>(k.divisor));
        bias_ = _mm_set1_epi32(k.bias);
        keepFactor_ = _mm_set1_ps(static_cast<float>(keepPercent));
        restFactor_ = _mm_set1_ps(static_cast<float>(100 - keepPercent));
    }

    [[nodiscard]] bool usable() const { return usable_; }

    // Filters bytes [begin, end) of the row, whole chunks only; returns the first byte left.
    std::size_t Run(const std::uint8_t* const* rows, const std::uint8_t* original, std::uint8_t* out,
                    std::size_t begin, std::size_t end) const {
        const __m128i zero = _mm_setzero_si128();
        // Where each tap reads for byte `begin`, inside its row since the interior starts at
        // least half a kernel in.
        std::array<const std::uint8_t*, kMaxTaps> from;
        for (int t = 0; t < taps_; ++t)
            from[t] = rows[row_[t]] + (static_cast<std::ptrdiff_t>(begin) + offset_[t]);
        std::size_t i = begin;
        for (; i + 16 <= end; i += 16) {
            const std::size_t j = i - begin;
            __m128i lo = zero, hi = zero;
            for (int t = 0; t < taps_; ++t) {
                const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from[t] + j));
                lo = _mm_add_epi16(lo, _mm_mullo_epi16(_mm_unpacklo_epi8(b, zero), weight_[t]));
                hi = _mm_add_epi16(hi, _mm_mullo_epi16(_mm_unpackhi_epi8(b, zero), weight_[t]));
            }
            const __m128i o = _mm_loadu_si128(reinterpret_cast<const __m128i*>(original + i));
            const __m128i o16lo = _mm_unpacklo_epi8(o, zero), o16hi = _mm_unpackhi_epi8(o, zero);
            const __m128i v0 =
                Finish(_mm_srai_epi32(_mm_unpacklo_epi16(lo, lo), 16), _mm_unpacklo_epi16(o16lo, zero));
            const __m128i v1 =
                Finish(_mm_srai_epi32(_mm_unpackhi_epi16(lo, lo), 16), _mm_unpackhi_epi16(o16lo, zero));
            const __m128i v2 =
                Finish(_mm_srai_epi32(_mm_unpacklo_epi16(hi, hi), 16), _mm_unpacklo_epi16(o16hi, zero));
            const __m128i v3 =
                Finish(_mm_srai_epi32(_mm_unpackhi_epi16(hi, hi), 16), _mm_unpackhi_epi16(o16hi, zero));
            // Saturating packs: below 0 gives 0, above 255 gives 255.
            const __m128i bytes = _mm_packus_epi16(_mm_packs_epi32(v0, v1), _mm_packs_epi32(v2, v3));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), bytes);
        }
        return i;
    }

private:
    [[nodiscard]] __m128i Finish(__m128i sum, __m128i original) const {
        __m128i v = _mm_add_epi32(_mm_cvttps_epi32(_mm_div_ps(_mm_cvtepi32_ps(sum), divisor_)), bias_);
        if (keep_ != 0) {
            const __m128 mixed = _mm_add_ps(_mm_mul_ps(_mm_cvtepi32_ps(original), keepFactor_),
                                            _mm_mul_ps(_mm_cvtepi32_ps(v), restFactor_));
            v = _mm_cvttps_epi32(_mm_div_ps(mixed, _mm_set1_ps(100.0f)));
        }
        return v;
    }

    bool usable_ = false;
    int keep_ = 0;
    int taps_ = 0;
    std::array<std::int32_t, kMaxTaps> row_{};
    std::array<std::ptrdiff_t, kMaxTaps> offset_{};
    __m128i weight_[kMaxTaps]{};
    __m128 divisor_{};
    __m128i bias_{};
    __m128 keepFactor_{};
    __m128 restFactor_{};
};

#endif  // __SSE2__

// The convolution core: every pixel of `target` from `source` (the unfiltered pixels, which are
// never written), both width x height pixels of blue, green, red and a fourth byte, all four
// filtered alike. Kernel row ky reads stored row y + ky - height/2 and kernel column kx reads
// column x + kx - width/2, clamped to the image. The kernel is usable and keepPercent in 0..100.
void Convolve(SourceRows source, TargetRows target, std::int32_t width, std::int32_t height,
              const ConvolutionKernel& k, int keepPercent) {
    const std::int32_t halfY = k.height / 2;
#if defined(__SSE2__)
    const FastInterior fast(k, keepPercent);
    // The columns whose whole neighbourhood lies inside the image: [innerBegin, innerEnd).
    const std::int32_t halfX = k.width / 2;
    const std::int32_t innerBegin = std::min(halfX, width);
    const std::int32_t innerEnd = std::max(innerBegin, width - (k.width - 1 - halfX));
#endif
    std::array<const std::uint8_t*, kMaxKernelSide> rows{};
    for (std::int32_t y = 0; y < height; ++y) {
        for (std::int32_t ky = 0; ky < k.height; ++ky)
            rows[ky] = source[std::clamp(y + ky - halfY, 0, height - 1)];
        const std::uint8_t* original = source[y];
        std::uint8_t* out = target[y];
        std::int32_t x = 0;
#if defined(__SSE2__)
        if (fast.usable()) {
            for (; x < innerBegin; ++x)
                FilterPixel(rows.data(), k, width, x, keepPercent, original + 4 * x, out + 4 * x);
            const std::size_t next = fast.Run(rows.data(), original, out, static_cast<std::size_t>(x) * 4,
                                              static_cast<std::size_t>(innerEnd) * 4);
            x = static_cast<std::int32_t>(next / 4);
        }
#endif
        // The edges, what is left of the interior, or everything for kernels the fast path
        // does not take.
        for (; x < width; ++x)
            FilterPixel(rows.data(), k, width, x, keepPercent, original + 4 * x, out + 4 * x);
    }
}

// ---- Gaussian blur ----

// Four floats: one pixel's blue, green, red and alpha, worked on together.
#if defined(__SSE2__)
struct F4 {
    __m128 v;
};
inline F4 operator+(F4 a, F4 b) {
    return {_mm_add_ps(a.v, b.v)};
}
inline F4 operator-(F4 a, F4 b) {
    return {_mm_sub_ps(a.v, b.v)};
}
inline F4 operator*(F4 a, F4 b) {
    return {_mm_mul_ps(a.v, b.v)};
}
inline F4 Splat(float f) {
    return {_mm_set1_ps(f)};
}
inline F4 LoadPixel(const std::uint8_t* p) {
    std::int32_t bits;
    std::memcpy(&bits, p, 4);
    const __m128i zero = _mm_setzero_si128();
    const __m128i wide = _mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_cvtsi32_si128(bits), zero), zero);
    return {_mm_cvtepi32_ps(wide)};
}
// Truncates toward zero and clamps to 0..255 (by saturating packs; values stay far inside the
// 32-bit range).
inline void StorePixel(std::uint8_t* p, F4 a) {
    const __m128i i = _mm_cvttps_epi32(a.v);
    const __m128i packed = _mm_packus_epi16(_mm_packs_epi32(i, i), i);
    const std::int32_t bits = _mm_cvtsi128_si32(packed);
    std::memcpy(p, &bits, 4);
}
#else
struct F4 {
    float v[4];
};
inline F4 operator+(F4 a, F4 b) {
    return {{a.v[0] + b.v[0], a.v[1] + b.v[1], a.v[2] + b.v[2], a.v[3] + b.v[3]}};
}
inline F4 operator-(F4 a, F4 b) {
    return {{a.v[0] - b.v[0], a.v[1] - b.v[1], a.v[2] - b.v[2], a.v[3] - b.v[3]}};
}
inline F4 operator*(F4 a, F4 b) {
    return {{a.v[0] * b.v[0], a.v[1] * b.v[1], a.v[2] * b.v[2], a.v[3] * b.v[3]}};
}
inline F4 Splat(float f) {
    return {{f, f, f, f}};
}
inline F4 LoadPixel(const std::uint8_t* p) {
    return {{float(p[0]), float(p[1]), float(p[2]), float(p[3])}};
}
inline void StorePixel(std::uint8_t* p, F4 a) {
    for (int c = 0; c < 4; ++c) {
        const float f = a.v[c];
        p[c] = !(f > 0.0f) ? std::uint8_t{0} : f >= 255.0f ? std::uint8_t{255} : static_cast<std::uint8_t>(f);
    }
}
#endif

// Deriche's fourth-order recursive Gaussian for one sigma.
//
// The impulse response approximated, for n >= 0, is
//   h(n) = (a0 cos(w0 n/s) + a1 sin(w0 n/s)) e^(-b0 n/s) + (c0 cos(w1 n/s) + c1 sin(w1 n/s)) e^(-b1 n/s)
// with Deriche's published fit. The causal filter sums h(k) x(n - k) over k >= 0 and the
// anti-causal one h(k) x(n + k) over k >= 1; the output is their sum. Each damped cosine is one
// second-order recursion, and the two recursions added together are exactly the usual
// fourth-order filter (numerator n00..n33 over 1 + d1 z^-1 + ... + d4 z^-4, the product of the two
// sections' denominators). Run in that combined form, the four poles close to 1 amplify float
// rounding to 0.06 of a level at radius 50; run as two sections, the error stays below 0.0003,
// so float suffices, and float keeps one pixel's four channels in one SSE register.
//
// Section k with pole p = e^(-b/s + i w/s) and weight A = a - i a' (a0, a1 or c0, c1) is
//   causal:       u(n) = g0 x(n) + g1 x(n-1) - e1 u(n-1) - e2 u(n-2)
//   anti-causal:  v(n) = m1 x(n+1) + m2 x(n+2) - e1 v(n+1) - e2 v(n+2)
// with g0 = Re A, g1 = -Re(A conj p), e1 = -2 Re p, e2 = |p|^2, m1 = g1 - e1 g0, m2 = -e2 g0.
struct Section {
    F4 g0, g1, m1, m2, e1, e2;
    F4 causalGain;      // u of a signal that is constant at 1
    F4 anticausalGain;  // v of the same
};
struct Deriche {
    Section s[2];
    F4 allowance;
};

// Added to each pass's sum before it is truncated. The filter is normalised to a gain of exactly
// 1, but float rounding leaves a flat area up to 0.00003 off its value (0.0003 off in the
// worst case measured over random rows), which truncation would turn into one level darker; a
// value this close below a whole number is taken as that number.
constexpr float kTruncationAllowance = 1.0f / 1024.0f;

// The sections for sigma, worked out in double and then rounded to float. The weights are scaled
// so that the gain on a constant signal is exactly 1. This stands in for the published scale
// 1/(sqrt(2 pi) s), whose gain is 0.015 to 0.03 percent above 1 over the radii offered: harmless
// after truncation, but an exact gain leaves a flat area's value to float rounding alone, which
// the allowance above then covers.
Deriche DericheFor(double sigma) {
    constexpr double a0 = 1.6803, a1 = 3.735, b0 = 1.783, b1 = 1.723;
    constexpr double w0 = 0.6318, w1 = 1.997, c0 = -0.6803, c1 = -0.2598;
    struct Exact {
        double g0, g1, m1, m2, e1, e2, causal, anticausal;
    };
    const auto section = [sigma](double a, double aSin, double b, double w) {
        const double decay = std::exp(-b / sigma), cosine = std::cos(w / sigma), sine = std::sin(w / sigma);
        Exact q{};
        q.g0 = a;
        q.g1 = decay * (aSin * sine - a * cosine);
        q.e1 = -2 * decay * cosine;
        q.e2 = decay * decay;
        q.m1 = q.g1 - q.e1 * q.g0;
        q.m2 = -q.e2 * q.g0;
        const double denominator = 1 + q.e1 + q.e2;
        q.causal = (q.g0 + q.g1) / denominator;
        q.anticausal = (q.m1 + q.m2) / denominator;
        return q;
    };
    const Exact exact[2] = {section(a0, a1, b0, w0), section(c0, c1, b1, w1)};
    const double gain = exact[0].causal + exact[0].anticausal + exact[1].causal + exact[1].anticausal;
    const double scale = 1.0 / gain;

    const auto f = [](double v) { return Splat(static_cast<float>(v)); };
    Deriche c{};
    for (int k = 0; k < 2; ++k) {
        const Exact& q = exact[k];
        c.s[k] = {f(q.g0 * scale), f(q.g1 * scale), f(q.m1 * scale),     f(q.m2 * scale),
                  f(q.e1),         f(q.e2),         f(q.causal * scale), f(q.anticausal * scale)};
    }
    c.allowance = Splat(kTruncationAllowance);
    return c;
}

// A strip of pixels along one axis: `in` and `out` point at sample 0 of lane 0; `laneStep` leads
// to the next lane (the next signal) and `sampleStep` to the next sample of the same lane.
struct Strip {
    const std::uint8_t* in;
    std::uint8_t* out;
    std::ptrdiff_t inLaneStep, inSampleStep;
    std::ptrdiff_t outLaneStep, outSampleStep;
};

// Lanes filtered together, so that their independent recursions overlap in the processor: each
// lane's next value waits on its previous one (a load, a multiply and a subtraction), and eight
// lanes give the processor enough other work meanwhile (measured: 8 lanes about 20 percent faster
// than 4, twice as fast as 2; 16 no better).
constexpr int kLaneGroup = 8;

// Room for one group of lanes: the inputs and the two sections' outputs, with two samples of
// margin at each end.
struct BlurScratch {
    std::unique_ptr<F4[]> inputs;
    std::unique_ptr<F4[]> first;
    std::unique_ptr<F4[]> second;

    bool Allocate(std::int32_t length) {
        const std::size_t count = (static_cast<std::size_t>(length) + 4) * kLaneGroup;
        inputs.reset(new (std::nothrow) F4[count]);
        first.reset(new (std::nothrow) F4[count]);
        second.reset(new (std::nothrow) F4[count]);
        return inputs && first && second;
    }
};

// Filters G lanes of `length` samples. The signal is taken to continue with its first sample
// before the start and its last sample after the end, and each recursion starts in the steady
// state such a constant signal would have brought it to: a flat image stays exactly flat, and
// the edges are neither darkened nor brightened. Sample n of lane l lives at [(n + 2) * G + l] of
// the scratch arrays; the section arrays first hold the causal results, which the anti-causal
// run replaces from the end as it goes.
template <int G>
void BlurLanes(const Strip& strip, std::int32_t length, const Deriche& c, BlurScratch& scratch) {
    F4* x = scratch.inputs.get() + 2 * G;
    F4* u = scratch.first.get() + 2 * G;
    F4* v = scratch.second.get() + 2 * G;
    // Copies, so that the compiler knows the scratch stores leave them alone.
    const Section p = c.s[0];
    const Section q = c.s[1];
    const F4 allowance = c.allowance;
    for (int l = 0; l < G; ++l) {
        const F4 first = LoadPixel(strip.in + l * strip.inLaneStep);
        for (int k = 1; k <= 2; ++k) {
            x[-k * G + l] = first;
            u[-k * G + l] = p.causalGain * first;
            v[-k * G + l] = q.causalGain * first;
        }
    }
    for (std::int32_t n = 0; n < length; ++n) {
        const std::uint8_t* in = strip.in + n * strip.inSampleStep;
        F4* xn = x + static_cast<std::ptrdiff_t>(n) * G;
        F4* un = u + static_cast<std::ptrdiff_t>(n) * G;
        F4* vn = v + static_cast<std::ptrdiff_t>(n) * G;
        for (int l = 0; l < G; ++l) {
            const F4 value = LoadPixel(in + l * strip.inLaneStep);
            const F4 previous = xn[l - G];
            xn[l] = value;
            un[l] = ((p.g0 * value + p.g1 * previous) - p.e2 * un[l - 2 * G]) - p.e1 * un[l - G];
            vn[l] = ((q.g0 * value + q.g1 * previous) - q.e2 * vn[l - 2 * G]) - q.e1 * vn[l - G];
        }
    }
    const std::ptrdiff_t end = static_cast<std::ptrdiff_t>(length) * G;
    // The margin after the end: the constant continuation and the anti-causal steady state.
    for (int l = 0; l < G; ++l) {
        const F4 last = x[end - G + l];
        for (int k = 0; k < 2; ++k) {
            x[end + k * G + l] = last;
            u[end + k * G + l] = p.anticausalGain * last;
            v[end + k * G + l] = q.anticausalGain * last;
        }
    }
    for (std::int32_t n = length - 1; n >= 0; --n) {
        std::uint8_t* out = strip.out + n * strip.outSampleStep;
        const F4* xn = x + static_cast<std::ptrdiff_t>(n) * G;
        F4* un = u + static_cast<std::ptrdiff_t>(n) * G;
        F4* vn = v + static_cast<std::ptrdiff_t>(n) * G;
        for (int l = 0; l < G; ++l) {
            const F4 next = xn[l + G], afterNext = xn[l + 2 * G];
            const F4 backU = ((p.m1 * next + p.m2 * afterNext) - p.e2 * un[l + 2 * G]) - p.e1 * un[l + G];
            const F4 backV = ((q.m1 * next + q.m2 * afterNext) - q.e2 * vn[l + 2 * G]) - q.e1 * vn[l + G];
            // Causal plus anti-causal: (u+ + v+) + (u- + v-).
            StorePixel(out + l * strip.outLaneStep, ((un[l] + vn[l]) + (backU + backV)) + allowance);
            un[l] = backU;
            vn[l] = backV;
        }
    }
}

// Lanes [first, first + count) of the strip: groups of kLaneGroup, then one of half that, then
// single lanes.
void BlurLaneRange(const Strip& strip, std::int32_t first, std::int32_t count, std::int32_t length,
                   const Deriche& c, BlurScratch& scratch) {
    const auto lanesFrom = [&](std::int32_t lane) {
        Strip part = strip;
        part.in += lane * strip.inLaneStep;
        part.out += lane * strip.outLaneStep;
        return part;
    };
    const std::int32_t end = first + count;
    std::int32_t l = first;
    for (; l + kLaneGroup <= end; l += kLaneGroup) BlurLanes<kLaneGroup>(lanesFrom(l), length, c, scratch);
    if (l + kLaneGroup / 2 <= end) {
        BlurLanes<kLaneGroup / 2>(lanesFrom(l), length, c, scratch);
        l += kLaneGroup / 2;
    }
    for (; l < end; ++l) BlurLanes<1>(lanesFrom(l), length, c, scratch);
}

// Images below this many pixels are blurred on the calling thread alone: starting a thread
// costs more than it saves.
constexpr std::size_t kThreadedBlurPixels = 128 * 128;

// Both passes over a width x height image of four-byte pixels: along every column from the top
// row down into `between`, then along every row from `between` into `target`. Each pass is split
// between the calling thread and one helper when the image is large enough, the machine has a
// second core and the helper starts. False (nothing written) when the scratch memory runs out.
bool BlurImage(SourceRows source, TargetRows between, TargetRows target, std::int32_t width,
               std::int32_t height, const Deriche& c) {
    const std::int32_t length = std::max(width, height);
    BlurScratch scratch[2];
    if (!scratch[0].Allocate(length)) return false;
    const bool split =
        static_cast<std::size_t>(width) * static_cast<std::size_t>(height) >= kThreadedBlurPixels &&
        std::thread::hardware_concurrency() >= 2 && scratch[1].Allocate(length);

    const auto pass = [&](const Strip& strip, std::int32_t lanes, std::int32_t samples) {
        // The helper takes the second half, rounded to whole groups.
        const std::int32_t firstHalf = split ? (lanes / 2 + kLaneGroup - 1) / kLaneGroup * kLaneGroup : lanes;
        std::thread helper;
        if (firstHalf < lanes) {
            try {
                helper = std::thread(
                    [&] { BlurLaneRange(strip, firstHalf, lanes - firstHalf, samples, c, scratch[1]); });
            } catch (const std::exception&) {
                // No helper: the calling thread does the second half too.
            }
        }
        BlurLaneRange(strip, 0, firstHalf, samples, c, scratch[0]);
        if (helper.joinable())
            helper.join();
        else if (firstHalf < lanes)
            BlurLaneRange(strip, firstHalf, lanes - firstHalf, samples, c, scratch[0]);
    };

    // Columns: lanes are neighbouring pixels of a row, samples run from the top row down.
    pass(Strip{source[height - 1], between[height - 1], 4, -source.stride, 4, -between.stride}, width,
         height);
    // Rows: lanes are stored rows, samples run from left to right.
    pass(Strip{between[0], target[0], between.stride, 4, target.stride, 4}, height, width);
    return true;
}

}  // namespace

const ConvolutionKernel* FilterKernel(int filterNumber) {
    if (filterNumber < 1 || filterNumber > kFilterCount) return nullptr;
    return &kFilters[filterNumber - 1].kernel;
}

std::string_view FilterMenuText(int filterNumber) {
    if (filterNumber < 1 || filterNumber > kFilterCount) return {};
    return kFilters[filterNumber - 1].menuText;
}

int ConvolveBitmap(DeviceBitmap& bitmap, const ConvolutionKernel& kernel, int keepPercent) {
    if (!UsableKernel(kernel)) return 0;
    if (bitmap.IsNull()) return 1;
    keepPercent = std::clamp(keepPercent, 0, 100);
    const std::int32_t width = bitmap.Width(), height = bitmap.Height();
    // The unfiltered pixels, bottom row first; the results go straight into the bitmap, whose
    // memory runs top-down.
    Block copy = AllocatePixels(width, height);
    if (copy.empty()) return 0;
    const TargetRows source = RowsOf(copy, width);
    const std::size_t rowBytes = static_cast<std::size_t>(width) * 4;
    for (std::int32_t y = 0; y < height; ++y) std::memcpy(source[y], bitmap.Row(height - 1 - y), rowBytes);
    const TargetRows target{reinterpret_cast<std::uint8_t*>(bitmap.Row(height - 1)),
                            -static_cast<std::ptrdiff_t>(width) * 4};
    Convolve({source.base, source.stride}, target, width, height, kernel, keepPercent);
    return 1;
}

int ApplyFilterToDib(Block& dib, int filterNumber, std::int32_t left, std::int32_t top, std::int32_t right,
                     std::int32_t bottom) {
    const auto layout = TrueColourLayout(dib);
    if (!layout) return 0;
    const ConvolutionKernel* kernel = FilterKernel(filterNumber);
    if (kernel == nullptr) return 1;
    const auto region = ClipRegion(*layout, left, top, right, bottom);
    if (!region) return 0;

    const ScopedBusy busy;
    Block work = LoadRegion(dib, *region);
    if (work.empty()) return 0;
    const TargetRows source = RowsOf(work, region->width);
    if (layout->bitCount == 32) {
        Convolve({source.base, source.stride}, region->InBlock(dib), region->width, region->height, *kernel,
                 0);
        return 1;
    }
    Block filtered = AllocatePixels(region->width, region->height);
    if (filtered.empty()) return 0;
    Convolve({source.base, source.stride}, RowsOf(filtered, region->width), region->width, region->height,
             *kernel, 0);
    StoreRegion24(dib, *region, filtered);
    return 1;
}

DeviceBitmap InvertBitmap(const DeviceBitmap& bitmap) {
    if (bitmap.IsNull()) return {};
    DeviceBitmap out = DeviceBitmap::Create(bitmap.Width(), bitmap.Height());
    if (out.IsNull()) return out;
    for (int y = 0; y < bitmap.Height(); ++y) {
        const std::uint32_t* in = bitmap.Row(y);
        std::uint32_t* o = out.Row(y);
        // Native pixels are 0x??RRGGBB: the low three bytes are the colour.
        for (int x = 0; x < bitmap.Width(); ++x) o[x] = in[x] ^ 0x00FFFFFFu;
    }
    return out;
}

int ApplyResizeFilter(DeviceBitmap& bitmap, int level, int strength) {
    // keep = trunc((10 - d) * strength * 10 / 100) - strength + 100. Levels more than 10 away
    // from 10, or strengths outside 0..100, can push it outside 0..100, and it is then held at the
    // nearer end. Holding d at 10,000 and the strength at +-1,000,000 first keeps the product in
    // 64 bits and cannot change the outcome: beyond either bound keep is already far outside
    // 0..100 on the same side (or exactly 100 when d is 0 or the strength is 0).
    const std::int64_t d =
        std::min<std::int64_t>(level < 10 ? std::int64_t{10} - level : std::int64_t{level} - 10, 10000);
    const std::int64_t s = std::clamp<std::int64_t>(strength, -1000000, 1000000);
    const std::int64_t keep = ((10 - d) * s * 10) / 100 - s + 100;
    const int keepPercent = static_cast<int>(std::clamp<std::int64_t>(keep, 0, 100));
    // Keeping all of the unfiltered value changes nothing (level 10 always lands here).
    if (keepPercent == 100) return 1;
    return ConvolveBitmap(bitmap, *FilterKernel(level < 10 ? kFilterSmooth : kFilterDetails), keepPercent);
}

int GaussianBlurDib(Block& dib, int radius, std::int32_t left, std::int32_t top, std::int32_t right,
                    std::int32_t bottom) {
    if (radius < kMinBlurRadius || radius > kMaxBlurRadius) return 0;
    const auto layout = TrueColourLayout(dib);
    if (!layout) return 0;
    const auto region = ClipRegion(*layout, left, top, right, bottom);
    if (!region) return 0;

    const ScopedBusy busy;
    // The Gaussian falls to 1/255 of its peak at radius + 1: e^(-(r+1)^2 / (2 s^2)) = 1/255.
    const double sigma = (radius + 1) / std::sqrt(2.0 * std::log(255.0));
    const Deriche coefficients = DericheFor(sigma);
    const std::int32_t width = region->width, height = region->height;

    Block between = AllocatePixels(width, height);
    if (between.empty()) return 0;
    if (layout->bitCount == 32) {
        // Read from and written to the block itself: the column pass never writes the block, and
        // the row pass reads only `between`.
        const TargetRows pixels = region->InBlock(dib);
        return BlurImage({pixels.base, pixels.stride}, RowsOf(between, width), pixels, width, height,
                         coefficients)
                   ? 1
                   : 0;
    }
    Block work = LoadRegion(dib, *region);
    if (work.empty()) return 0;
    const TargetRows pixels = RowsOf(work, width);
    if (!BlurImage({pixels.base, pixels.stride}, RowsOf(between, width), pixels, width, height, coefficients))
        return 0;
    StoreRegion24(dib, *region, work);
    return 1;
}

}  // namespace tellurine
