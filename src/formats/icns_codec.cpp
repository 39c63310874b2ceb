#include "formats/icns_codec.h"

#include <algorithm>
#include <limits>

namespace tellurine {

const std::array<IcnsElementRow, kIcnsRowCount> kIcnsRows = {{
    {IcnsType("icl4"), 32, 32, 4, 0},     {IcnsType("icl8"), 32, 32, 8, 0},   {IcnsType("il32"), 32, 32, 24, 0},
    {IcnsType("ics4"), 16, 16, 4, 0},     {IcnsType("ics8"), 16, 16, 8, 0},   {IcnsType("is32"), 16, 16, 24, 0},
    {IcnsType("ICN#"), 32, 32, 1, 1},     {IcnsType("l8mk"), 32, 32, 0, 8},   {IcnsType("ics#"), 16, 16, 1, 1},
    {IcnsType("s8mk"), 16, 16, 0, 8},     {IcnsType("ICNm"), 32, 32, 0, 1},   {IcnsType("icsm"), 16, 16, 0, 1},
    {IcnsType("icm#"), 16, 12, 1, 1},     {IcnsType("icm4"), 16, 12, 4, 0},   {IcnsType("icm8"), 16, 12, 8, 0},
    {IcnsType("ich#"), 48, 48, 1, 1},     {IcnsType("ich4"), 48, 48, 4, 0},   {IcnsType("ich8"), 48, 48, 8, 0},
    {IcnsType("ih32"), 48, 48, 24, 0},    {IcnsType("h8mk"), 48, 48, 0, 8},   {IcnsType("it32"), 128, 128, 24, 0},
    {IcnsType("t8mk"), 128, 128, 0, 8},   {IcnsType("icmm"), 16, 12, 0, 1},   {IcnsType("ichm"), 48, 48, 0, 1},
    {IcnsType("ic08"), 256, 256, 24, 0},  {IcnsType("ic09"), 512, 512, 24, 0}, {IcnsType("ic10"), 1024, 1024, 24, 0},
}};

std::string PrintableIcnsType(std::uint32_t type) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const auto c = static_cast<unsigned char>(type >> shift);
        if (c >= 0x20 && c < 0x7F && c != '\\') {
            text += static_cast<char>(c);
        } else {
            text += "\\x";
            text += kHex[c >> 4];
            text += kHex[c & 15];
        }
    }
    return text;
}

int FindIcnsRow(std::uint32_t type) {
    for (int i = 0; i < kIcnsRowCount; ++i)
        if (kIcnsRows[i].type == type) return i;
    return -1;
}

int FindIcnsRow(std::int32_t width, std::int32_t height, int depth) {
    for (int i = 0; i < kIcnsRowCount; ++i)
        if (kIcnsRows[i].width == width && kIcnsRows[i].height == height && kIcnsRows[i].depth == depth) return i;
    return -1;
}

int FindIcnsMaskRow(std::int32_t width, std::int32_t height, int maskDepth) {
    for (int i = 0; i < kIcnsRowCount; ++i)
        if (kIcnsRows[i].width == width && kIcnsRows[i].height == height && kIcnsRows[i].maskDepth == maskDepth)
            return i;
    return -1;
}

std::size_t IcnsBufferSize(std::int32_t width, std::int32_t height, int depth) {
    return (static_cast<std::size_t>(width) * static_cast<std::size_t>(depth) + 7) / 8 * static_cast<std::size_t>(height);
}

std::int32_t ModernIcnsElementSize(std::uint32_t type) {
    struct Modern {
        std::uint32_t type;
        std::int32_t size;
    };
    static constexpr Modern kModern[] = {
        {IcnsType("icp4"), 16},  {IcnsType("ic04"), 16},  {IcnsType("icp5"), 32},  {IcnsType("ic11"), 32},
        {IcnsType("ic05"), 32},  {IcnsType("icp6"), 64},  {IcnsType("ic12"), 64},  {IcnsType("ic07"), 128},
        {IcnsType("ic13"), 256}, {IcnsType("ic14"), 512}, {IcnsType("icsb"), 18},  {IcnsType("icsB"), 36},
        {IcnsType("sb24"), 24},  {IcnsType("SB24"), 48},
    };
    for (const Modern& m : kModern)
        if (m.type == type) return m.size;
    return -1;
}

namespace {

constexpr MacPictureElement kPictureElements[] = {
    {IcnsType("is32"), 16, 1, IcnsElementForm::Classic},    {IcnsType("ic04"), 16, 1, IcnsElementForm::Argb},
    {IcnsType("icp4"), 16, 1, IcnsElementForm::Png},        {IcnsType("icsb"), 18, 1, IcnsElementForm::Png},
    {IcnsType("sb24"), 24, 1, IcnsElementForm::Png},        {IcnsType("il32"), 32, 1, IcnsElementForm::Classic},
    {IcnsType("ic11"), 32, 2, IcnsElementForm::Png},        {IcnsType("ic05"), 32, 1, IcnsElementForm::Argb},
    {IcnsType("icp5"), 32, 1, IcnsElementForm::Png},        {IcnsType("icsB"), 36, 2, IcnsElementForm::Png},
    {IcnsType("ih32"), 48, 1, IcnsElementForm::Classic},    {IcnsType("SB24"), 48, 2, IcnsElementForm::Png},
    {IcnsType("ic12"), 64, 2, IcnsElementForm::Png},        {IcnsType("icp6"), 64, 1, IcnsElementForm::Png},
    {IcnsType("it32"), 128, 1, IcnsElementForm::Classic},   {IcnsType("ic07"), 128, 1, IcnsElementForm::Png},
    {IcnsType("ic08"), 256, 1, IcnsElementForm::LargeStream}, {IcnsType("ic13"), 256, 2, IcnsElementForm::LargeStream},
    {IcnsType("ic09"), 512, 1, IcnsElementForm::LargeStream}, {IcnsType("ic14"), 512, 2, IcnsElementForm::LargeStream},
    {IcnsType("ic10"), 1024, 1, IcnsElementForm::Png},
};

}  // namespace

std::span<const MacPictureElement> MacPictureElements() { return kPictureElements; }

const MacPictureElement* FindMacPictureElement(std::uint32_t type) {
    for (const MacPictureElement& e : kPictureElements)
        if (e.type == type) return &e;
    return nullptr;
}

int MacElementScale(std::uint32_t type) {
    const MacPictureElement* e = FindMacPictureElement(type);
    return e != nullptr ? e->scale : 1;
}

std::vector<std::uint32_t> MacElementsFor(std::int32_t width, std::int32_t height, int bits) {
    std::vector<std::uint32_t> types;
    if (bits == 1 || bits == 4 || bits == 8) {
        if (const int row = FindIcnsRow(width, height, bits); row >= 0) types.push_back(kIcnsRows[row].type);
    } else if ((bits == 24 || bits == 32) && width == height) {
        for (const MacPictureElement& e : kPictureElements)
            if (e.size == width) types.push_back(e.type);
    }
    return types;
}

bool UnpackIcnsPlanes(std::span<const std::uint8_t> data, int planeCount, std::size_t planeSize,
                      std::vector<std::uint8_t>& planes) {
    planes.assign(static_cast<std::size_t>(planeCount) * planeSize, 0);
    std::size_t in = 0;
    for (int p = 0; p < planeCount; ++p) {
        std::uint8_t* plane = planes.data() + static_cast<std::size_t>(p) * planeSize;
        std::size_t filled = 0;
        while (filled < planeSize) {
            if (in >= data.size()) return false;
            const std::uint8_t control = data[in++];
            if (control >= 0x80) {
                const std::size_t count = (control & 0x7Fu) + 3u;
                if (in >= data.size()) return false;
                const std::uint8_t value = data[in++];
                if (count > planeSize - filled) break;
                std::fill_n(plane + filled, count, value);
                filled += count;
            } else {
                const std::size_t count = control + 1u;
                if (count > data.size() - in) return false;
                const std::uint8_t* from = data.data() + in;
                in += count;
                if (count > planeSize - filled) break;
                std::copy_n(from, count, plane + filled);
                filled += count;
            }
        }
    }
    return true;
}

void PackIcnsPlane(std::span<const std::uint8_t> plane, std::vector<std::uint8_t>& out) {
    struct Run {
        std::size_t start;
        std::size_t count;
        bool repeat;
    };
    // Runs are found from the back and emitted in reverse, so the output reads forward.
    std::vector<Run> runs;
    auto literalPieces = [&runs](std::size_t begin, std::size_t end) {
        for (; end - begin > 128; end -= 128) runs.push_back({end - 128, 128, false});
        if (end > begin) runs.push_back({begin, end - begin, false});
    };
    std::size_t i = plane.size();         // the bytes from i on are placed
    std::size_t literalEnd = plane.size();  // [i, literalEnd) waits to become literal runs
    while (i > 0) {
        const std::uint8_t value = plane[i - 1];
        std::size_t j = i - 1;
        while (j > 0 && plane[j - 1] == value) --j;
        if (i - j < 3) {
            i = j;
            continue;
        }
        literalPieces(i, literalEnd);
        std::size_t end = i;
        for (; end - j >= 128; end -= 128) runs.push_back({end - 128, 128, true});
        const std::size_t rest = end - j;
        if (rest >= 3) runs.push_back({j, rest, true});
        else if (rest > 0) runs.push_back({j, rest, false});
        i = literalEnd = j;
    }
    literalPieces(0, literalEnd);

    for (auto run = runs.rbegin(); run != runs.rend(); ++run) {
        if (run->repeat) {
            out.push_back(static_cast<std::uint8_t>((run->count - 3) | 0x80));
            out.push_back(plane[run->start]);
        } else {
            out.push_back(static_cast<std::uint8_t>(run->count - 1));
            out.insert(out.end(), plane.begin() + static_cast<std::ptrdiff_t>(run->start),
                       plane.begin() + static_cast<std::ptrdiff_t>(run->start + run->count));
        }
    }
}

const std::array<std::uint32_t, 16> kMacPalette16 = {
    0xFFFFFF, 0xFFFF00, 0xFF6600, 0xDD0000, 0xFF0099, 0x330099, 0x0000DD, 0x0099FF,
    0x00BB00, 0x006600, 0x663300, 0x996633, 0xCCCCCC, 0x888888, 0x444444, 0x000000,
};

namespace {

// The 6 x 6 x 6 cube from white down (its black left for the end), ramps of red, green, blue
// and grey without the cube's levels, then black.
std::array<std::uint32_t, 256> MakeMacPalette256() {
    std::array<std::uint32_t, 256> palette{};
    std::size_t n = 0;
    for (int r = 5; r >= 0; --r)
        for (int g = 5; g >= 0; --g)
            for (int b = 5; b >= 0; --b)
                if (r + g + b > 0)
                    palette[n++] = (std::uint32_t(r * 0x33) << 16) | (std::uint32_t(g * 0x33) << 8) | std::uint32_t(b * 0x33);
    static constexpr std::uint32_t kLevels[] = {0xEE, 0xDD, 0xBB, 0xAA, 0x88, 0x77, 0x55, 0x44, 0x22, 0x11};
    for (std::uint32_t v : kLevels) palette[n++] = v << 16;
    for (std::uint32_t v : kLevels) palette[n++] = v << 8;
    for (std::uint32_t v : kLevels) palette[n++] = v;
    for (std::uint32_t v : kLevels) palette[n++] = (v << 16) | (v << 8) | v;
    palette[n] = 0x000000;
    return palette;
}

}  // namespace

const std::array<std::uint32_t, 256> kMacPalette256 = MakeMacPalette256();

MacPaletteSearch::MacPaletteSearch(std::span<const std::uint32_t> palette) : cache_(32768, -1) {
    sorted_.reserve(palette.size());
    for (std::size_t i = 0; i < palette.size(); ++i)
        sorted_.push_back({static_cast<int>(palette[i] >> 16), static_cast<int>((palette[i] >> 8) & 0xFF),
                           static_cast<int>(palette[i] & 0xFF), static_cast<std::uint8_t>(i)});
    std::stable_sort(sorted_.begin(), sorted_.end(), [](const Entry& a, const Entry& b) { return a.r < b.r; });
}

void MacPaletteSearch::Reset() { std::fill(cache_.begin(), cache_.end(), std::int16_t{-1}); }

std::uint8_t MacPaletteSearch::Nearest(std::uint8_t r, std::uint8_t g, std::uint8_t b) {
    const std::size_t key = (std::size_t{r} >> 3 << 10) | (std::size_t{g} >> 3 << 5) | (std::size_t{b} >> 3);
    if (cache_[key] >= 0) return static_cast<std::uint8_t>(cache_[key]);

    const auto distance = [&](const Entry& e) {
        const int dr = e.r - r, dg = e.g - g, db = e.b - b;
        return dr * dr + dg * dg + db * db;
    };
    const auto start = std::lower_bound(sorted_.begin(), sorted_.end(), int{r},
                                        [](const Entry& e, int red) { return e.r < red; });
    std::size_t up = std::min<std::size_t>(static_cast<std::size_t>(start - sorted_.begin()), sorted_.size() - 1);
    std::ptrdiff_t down = static_cast<std::ptrdiff_t>(up) - 1;
    int best = std::numeric_limits<int>::max();
    std::uint8_t bestIndex = sorted_[up].index;
    // Looks at one entry; false once its red difference alone cannot beat the best distance.
    const auto consider = [&](const Entry& e) {
        const int dr = e.r - r;
        if (dr * dr >= best) return false;
        const int d = distance(e);
        if (d < best) {
            best = d;
            bestIndex = e.index;
        }
        return true;
    };
    bool upOpen = true, downOpen = down >= 0;
    while (upOpen || downOpen) {
        if (upOpen) upOpen = consider(sorted_[up]) && ++up < sorted_.size();
        if (downOpen) downOpen = consider(sorted_[static_cast<std::size_t>(down)]) && --down >= 0;
    }
    cache_[key] = bestIndex;
    return bestIndex;
}

}  // namespace tellurine
