// Nearest-colour search over a sorted copy of a palette, and the mappings of 24- and 32-bit
// images onto a palette.
#include "imaging/palette_map.h"

#include <algorithm>
#include <array>
#include <new>

#include "image/dib_block.h"

namespace tellurine {

namespace {

constexpr int kCacheSize = 32768;

inline int Clamp255(int v) { return v < 0 ? 0 : (v > 255 ? 255 : v); }

inline int CacheKey(int red, int green, int blue) {
    return ((red >> 3) << 10) | ((green >> 3) << 5) | (blue >> 3);
}

inline int Square(int v) { return v * v; }

inline int Distance(const SearchEntry& e, int red, int green, int blue) {
    return Square(red - e.red) + Square(green - e.green) + Square(blue - e.blue);
}

void SortSearchEntries(std::vector<SearchEntry>& entries) {
    // Equal colours keep their original order, so the lower original index is met first.
    std::stable_sort(entries.begin(), entries.end(), [](const SearchEntry& a, const SearchEntry& b) {
        if (a.red != b.red) return a.red < b.red;
        if (a.green != b.green) return a.green < b.green;
        return a.blue < b.blue;
    });
}

// Binary search on red over the first n records: a record with this red, or else the place where
// one would go (the last record when that place is past the end).
int FindRed(const SearchEntry* e, int n, int red) {
    int lo = 0, hi = n - 1;
    while (lo <= hi) {
        const int mid = (lo + hi) / 2;
        if (e[mid].red == red) return mid;
        if (e[mid].red < red) lo = mid + 1;
        else hi = mid - 1;
    }
    return lo < n ? lo : n - 1;
}

// Walks outward from the binary-search hit, one step down then one step up in turn. Sorted by
// red, a direction can stop as soon as the red difference alone is no closer than the best;
// only a strictly closer candidate replaces the best, so the first met wins a tie.
[[gnu::noinline]] int Search(const SearchEntry* e, int n, int red, int green, int blue) {
    const int start = FindRed(e, n, red);
    int best = start;
    int bestDistance = Distance(e[start], red, green, blue);
    int down = start - 1, up = start + 1;
    bool goDown = true, goUp = true;
    while ((goDown || goUp) && bestDistance != 0) {
        if (goDown) {
            if (down < 0 || Square(red - e[down].red) >= bestDistance) {
                goDown = false;
            } else {
                const int d = Distance(e[down], red, green, blue);
                if (d < bestDistance) {
                    bestDistance = d;
                    best = down;
                }
                --down;
            }
        }
        if (goUp && bestDistance != 0) {
            if (up >= n || Square(red - e[up].red) >= bestDistance) {
                goUp = false;
            } else {
                const int d = Distance(e[up], red, green, blue);
                if (d < bestDistance) {
                    bestDistance = d;
                    best = up;
                }
                ++up;
            }
        }
    }
    return best;
}

// The cached position for the colour's 15-bit cell, searching and filling the cell on a miss.
// The components are already clamped.
inline int Lookup(int red, int green, int blue, const SearchEntry* e, int n, std::int16_t* cache) {
    std::int16_t& cached = cache[CacheKey(red, green, blue)];
    if (cached >= 0) [[likely]] return cached;
    const int position = Search(e, n, red, green, blue);
    cached = static_cast<std::int16_t>(position);
    return position;
}

struct ErrorTables {
    // Indexed by error + 256, error -256..255.
    std::array<int, 512> w7, w5, w3, w1;
};

std::array<int, 512> MakeErrorTable(int weight) {
    std::array<int, 512> table{};
    for (int e = -256; e < 256; ++e)
        table[static_cast<std::size_t>(e + 256)] = e >= 0 ? (weight * e + 8) / 16 : -((weight * -e + 8) / 16);
    return table;
}

const ErrorTables& Tables() {
    static const ErrorTables tables{MakeErrorTable(7), MakeErrorTable(5), MakeErrorTable(3), MakeErrorTable(1)};
    return tables;
}

void StoreTableEntry(std::uint8_t* table, int i, std::uint8_t red, std::uint8_t green, std::uint8_t blue) {
    std::uint8_t* e = table + static_cast<std::size_t>(i) * 4;
    e[0] = blue;
    e[1] = green;
    e[2] = red;
    e[3] = 0;
}

}  // namespace

struct SearchPaletteAccess {
    static const SearchEntry* Records(const SearchPalette& p) { return p.entries_.data(); }
    static std::int16_t* Cache(SearchPalette& p) { return p.cache_.data(); }
};

SearchPalette::SearchPalette(const Palette& palette, int entries) : cache_(kCacheSize, -1) {
    const int n = std::clamp(entries, 0, 256);
    entries_.reserve(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) {
        const auto at = static_cast<std::size_t>(i);
        // Positions past the end of a short palette are black, as in a 256-entry colour table.
        const PaletteEntry c = at < palette.entries.size() ? palette.entries[at] : PaletteEntry{};
        entries_.push_back(SearchEntry{c.red, c.green, c.blue, static_cast<std::uint8_t>(i)});
    }
    SortSearchEntries(entries_);
}

SearchPalette::SearchPalette(const std::vector<SearchEntry>& entries)
    : entries_(entries.begin(), entries.begin() + std::min<std::ptrdiff_t>(std::ssize(entries), 256)),
      cache_(kCacheSize, -1) {
    SortSearchEntries(entries_);
}

int NearestPaletteIndex(int red, int green, int blue, SearchPalette& palette, int entries) {
    const int n = std::min(entries, palette.size());
    if (n <= 0) return -1;
    return Lookup(Clamp255(red), Clamp255(green), Clamp255(blue), palette.entries_.data(), n,
                  palette.cache_.data());
}

int ErrorShare(int weight, int e) {
    const ErrorTables& t = Tables();
    const auto i = static_cast<std::size_t>(std::clamp(e, -256, 255) + 256);
    switch (weight) {
        case 7: return t.w7[i];
        case 5: return t.w5[i];
        case 3: return t.w3[i];
        case 1: return t.w1[i];
        default: return 0;
    }
}

Block MapToPalette(const Block& image24, const Palette& palette, int entries, bool dither) {
    const auto layout = GetDibLayout(image24);
    if (!layout || layout->bitCount != 24) return {};
    const int n = std::min(entries, 256);
    if (n <= 0) return {};
    const std::int32_t width = layout->width;
    const std::int32_t height = layout->height;
    Block out = CreateDibBlock(width, height, 8);
    if (!out) return out;
    const auto outLayout = GetDibLayout(out);
    if (!outLayout) return {};

    std::uint8_t* table = out.data() + outLayout->tableOffset;
    for (int i = 0; i < 256; ++i) {
        const auto at = static_cast<std::size_t>(i);
        const PaletteEntry c = at < palette.entries.size() ? palette.entries[at] : PaletteEntry{};
        StoreTableEntry(table, i, c.red, c.green, c.blue);
    }

    try {
        SearchPalette search(palette, n);
        const SearchEntry* records = SearchPaletteAccess::Records(search);
        std::int16_t* cache = SearchPaletteAccess::Cache(search);
        const auto w = static_cast<std::size_t>(width);

        if (!dither) {
            for (std::int32_t y = 0; y < height; ++y) {
                const std::uint8_t* src = image24.data() + layout->RowOffset(y);
                std::uint8_t* dst = out.data() + outLayout->RowOffset(y);
                for (std::size_t x = 0; x < w; ++x, src += 3)
                    dst[x] = records[Lookup(src[2], src[1], src[0], records, n, cache)].index;
            }
            return out;
        }

        // Floyd-Steinberg, every row left to right. The two buffers hold a row's red, green and
        // blue side by side: the current row with the errors it has received from above, and
        // the next row, loaded with its own values before the current one is processed.
        // The shares for the pixel on the right travel in `carry`; those for the row below are
        // summed in registers and stored once per pixel. Shares that would fall left of the
        // first or right of the last pixel are dropped. After the last row the shares for the
        // row below land in a buffer that is never read again.
        const ErrorTables& t = Tables();
        const int* w7 = t.w7.data() + 256;
        const int* w5 = t.w5.data() + 256;
        const int* w3 = t.w3.data() + 256;
        const int* w1 = t.w1.data() + 256;
        std::vector<int> current(w * 3), next(w * 3);
        auto load = [&](std::int32_t y, std::vector<int>& row) {
            const std::uint8_t* src = image24.data() + layout->RowOffset(y);
            int* p = row.data();
            for (std::size_t x = 0; x < w; ++x, src += 3, p += 3) {
                p[0] = src[2];
                p[1] = src[1];
                p[2] = src[0];
            }
        };
        load(0, current);
        for (std::int32_t y = 0; y < height; ++y) {
            if (y + 1 < height) load(y + 1, next);
            std::uint8_t* dst = out.data() + outLayout->RowOffset(y);
            const int* px = current.data();
            int* under = next.data();
            int carryR = 0, carryG = 0, carryB = 0;  // weight 7 from the pixel on the left
            // Shares gathered so far for the pixel below on the left (weight 1 from two pixels
            // back, weight 5 from the previous one) and for the pixel just below (weight 1 from
            // the previous pixel).
            int leftR = 0, leftG = 0, leftB = 0;
            int belowR = 0, belowG = 0, belowB = 0;
            for (std::size_t x = 0; x < w; ++x, px += 3) {
                const int r = Clamp255(px[0] + carryR);
                const int g = Clamp255(px[1] + carryG);
                const int b = Clamp255(px[2] + carryB);
                const SearchEntry& chosen = records[Lookup(r, g, b, records, n, cache)];
                dst[x] = chosen.index;
                const int er = r - chosen.red, eg = g - chosen.green, eb = b - chosen.blue;
                carryR = w7[er];
                carryG = w7[eg];
                carryB = w7[eb];
                if (x > 0) {
                    // The weight-3 share completes the pixel below on the left.
                    int* left = under + (x - 1) * 3;
                    left[0] += leftR + w3[er];
                    left[1] += leftG + w3[eg];
                    left[2] += leftB + w3[eb];
                }
                leftR = belowR + w5[er];
                leftG = belowG + w5[eg];
                leftB = belowB + w5[eb];
                belowR = w1[er];
                belowG = w1[eg];
                belowB = w1[eb];
            }
            // The last pixel's weight-7 and weight-1 shares fall outside the row.
            int* last = under + (w - 1) * 3;
            last[0] += leftR;
            last[1] += leftG;
            last[2] += leftB;
            std::swap(current, next);
        }
        return out;
    } catch (const std::bad_alloc&) {
        return {};
    }
}

Block MapToPaletteWithTransparency(const Block& image32, int bits, const std::uint8_t* colors,
                                   int transparentIndex) {
    const auto layout = GetDibLayout(image32);
    if (!layout || layout->bitCount != 32 || colors == nullptr || bits < 1 || bits > 8) return {};
    const int count = 1 << bits;
    if (transparentIndex < -1 || transparentIndex >= count) return {};
    Block out = CreateDibBlock(layout->width, layout->height, 8);
    if (!out) return out;
    const auto outLayout = GetDibLayout(out);
    if (!outLayout) return {};

    // The colour table: the triplets below 2^bits, black above. A transparent triplet is taken
    // out of the run, the later ones closing up, and goes to the last entry, which no opaque
    // pixel may take.
    std::uint8_t* table = out.data() + outLayout->tableOffset;
    for (int i = 0; i < 256; ++i) StoreTableEntry(table, i, 0, 0, 0);
    int searchable = count;
    std::uint8_t failIndex = 0;
    if (transparentIndex < 0) {
        for (int i = 0; i < count; ++i)
            StoreTableEntry(table, i, colors[i * 3], colors[i * 3 + 1], colors[i * 3 + 2]);
    } else {
        int slot = 0;
        for (int i = 0; i < count; ++i) {
            if (i == transparentIndex) continue;
            StoreTableEntry(table, slot++, colors[i * 3], colors[i * 3 + 1], colors[i * 3 + 2]);
        }
        StoreTableEntry(table, 255, 0, 0, 0);
        const std::uint8_t* t = colors + transparentIndex * 3;
        StoreTableEntry(table, count - 1, t[0], t[1], t[2]);
        searchable = count - 1;
        failIndex = static_cast<std::uint8_t>(count - 1);
    }

    try {
        Palette palette;
        palette.entries.reserve(static_cast<std::size_t>(searchable));
        for (int i = 0; i < searchable; ++i) {
            const std::uint8_t* e = table + i * 4;
            palette.entries.push_back(PaletteEntry{e[2], e[1], e[0], 0});
        }
        SearchPalette search(palette, searchable);
        const SearchEntry* records = SearchPaletteAccess::Records(search);
        std::int16_t* cache = SearchPaletteAccess::Cache(search);
        const auto w = static_cast<std::size_t>(layout->width);
        for (std::int32_t y = 0; y < layout->height; ++y) {
            const std::uint8_t* src = image32.data() + layout->RowOffset(y);
            std::uint8_t* dst = out.data() + outLayout->RowOffset(y);
            for (std::size_t x = 0; x < w; ++x, src += 4) {
                // The transparency test reads the third byte of the pixel, its red byte.
                if (src[2] < 128) {
                    dst[x] = failIndex;
                    continue;
                }
                dst[x] = records[Lookup(src[2], src[1], src[0], records, searchable, cache)].index;
            }
        }
        return out;
    } catch (const std::bad_alloc&) {
        return {};
    }
}

Block MapToPaletteReservingLast(const Block& image32, int bits, const std::uint8_t* colors,
                                int& transparentIndex) {
    if (bits < 1 || bits > 8) return {};
    transparentIndex = (1 << bits) - 1;
    return MapToPaletteWithTransparency(image32, bits, colors, transparentIndex);
}

}  // namespace tellurine
