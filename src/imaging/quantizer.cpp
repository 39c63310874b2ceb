// Octree colour quantisation.
//
// The tree is at most six levels deep below the root: the child taken at level l is chosen by
// bit 7 - l of red, green and blue, and a node created at level 6 is a leaf. Every other node is
// pushed at the head of its level's reducible list when it is created. After each added colour,
// while the tree has more leaves than allowed, the head of the deepest non-empty list (levels 5
// to 1, else the root's level 0) absorbs its children and becomes a leaf.
//
// Nodes live in a fixed pool inside the quantiser and link to each other by 16-bit slot numbers
// (0 is "none"). The pool never runs out: at any moment the tree holds at most maxColors + 1
// leaves, each reached by a path of at most six nodes below the root.
#include "imaging/quantizer.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "image/dib_block.h"

namespace tellurine {

namespace {

constexpr int kColorBits = 6;
constexpr int kMaxColors = 256;
constexpr std::size_t kPoolSlots = 1 + 1 + (kMaxColors + 1) * kColorBits;  // slot 0 unused

struct Node {
    std::uint32_t pixelCount;
    std::uint32_t redSum;
    std::uint32_t greenSum;
    std::uint32_t blueSum;
    std::uint16_t child[8];
    std::uint16_t next;  // next node of the same level's reducible list
    bool leaf;
};

inline unsigned ChildIndex(unsigned red, unsigned green, unsigned blue, int level) {
    const int shift = 7 - level;
    return (((red >> shift) & 1U) << 2) | (((green >> shift) & 1U) << 1) | ((blue >> shift) & 1U);
}

}  // namespace

struct CQuantizer::Impl {
    int maxColors = 1;
    int leafCount = 0;
    std::uint16_t root = 0;
    std::uint16_t freeList = 0;
    std::uint16_t nextFresh = 1;
    std::uint16_t reducible[kColorBits] = {};
    Node nodes[kPoolSlots] = {};

    std::uint16_t NewNode(int level) {
        std::uint16_t n = freeList;
        if (n != 0) {
            freeList = nodes[n].next;
        } else {
            if (nextFresh >= kPoolSlots) return 0;  // cannot happen, see the pool bound above
            n = nextFresh++;
        }
        std::memset(&nodes[n], 0, sizeof(Node));
        if (level == kColorBits) {
            nodes[n].leaf = true;
            ++leafCount;
        } else {
            nodes[n].next = reducible[level];
            reducible[level] = n;
        }
        return n;
    }

    void FreeNode(std::uint16_t n) {
        nodes[n].next = freeList;
        freeList = n;
    }

    // The path of the colour looked up last: path[l] is its node at level l, down to its leaf at
    // level pathDepth. Neighbouring pixels mostly share their upper bits and so the upper part of
    // the path, and the next walk resumes where the two colours part. A reduction may free nodes
    // of the path, so it makes the path unusable until the next full walk.
    std::uint16_t path[kColorBits + 1] = {};
    int pathDepth = -1;  // -1: no usable path
    unsigned pathColor = 0;

    // The leaf that holds the colour, creating the missing nodes on the way; 0 only if the pool
    // were exhausted.
    std::uint16_t LeafFor(unsigned red, unsigned green, unsigned blue) {
        if (root == 0 && (root = NewNode(0)) == 0) return 0;
        const unsigned color = (red << 16) | (green << 8) | blue;
        int level = 0;
        if (pathDepth >= 0) {
            // The first level whose child index differs: the highest differing bit of any
            // component decides it. Equal colours share the whole path.
            const unsigned diff = color ^ pathColor;
            const unsigned bits = ((diff >> 16) | (diff >> 8) | diff) & 0xFF;
            const int first = bits == 0 ? kColorBits : std::min(kColorBits, __builtin_clz(bits) - 24);
            level = std::min(first, pathDepth);
        }
        std::uint16_t n = level == 0 ? root : path[level];
        path[0] = root;
        while (!nodes[n].leaf) {
            const unsigned i = ChildIndex(red, green, blue, level);
            std::uint16_t c = nodes[n].child[i];
            if (c == 0) {
                c = NewNode(level + 1);
                if (c == 0) return 0;
                nodes[n].child[i] = c;
            }
            n = c;
            path[++level] = n;
        }
        pathDepth = level;
        pathColor = color;
        return n;
    }

    // Folds the head of the deepest non-empty reducible list into a leaf; false when nothing is
    // left to reduce.
    bool ReduceOnce() {
        int level = kColorBits - 1;
        while (level > 0 && reducible[level] == 0) --level;
        const std::uint16_t n = reducible[level];
        if (n == 0) return false;
        Node& node = nodes[n];
        reducible[level] = node.next;
        int children = 0;
        for (std::uint16_t& c : node.child) {
            if (c != 0) {
                const Node& child = nodes[c];
                node.pixelCount += child.pixelCount;
                node.redSum += child.redSum;
                node.greenSum += child.greenSum;
                node.blueSum += child.blueSum;
                FreeNode(c);
                ++children;
                c = 0;
            }
        }
        node.leaf = true;
        leafCount -= children - 1;
        return true;
    }

    // Adds `times` pixels of one colour. Only the first of a run can create nodes and so trigger
    // a reduction; repeats reach the same leaf, so adding them together gives the same tree.
    bool Add(unsigned red, unsigned green, unsigned blue, std::uint32_t times) {
        const std::uint16_t n = LeafFor(red, green, blue);
        if (n == 0) return false;
        Node& leaf = nodes[n];
        leaf.pixelCount += times;
        leaf.redSum += red * times;
        leaf.greenSum += green * times;
        leaf.blueSum += blue * times;
        while (leafCount > maxColors && ReduceOnce()) pathDepth = -1;
        return true;
    }

    void Write(std::uint16_t n, std::uint8_t* palette, int& index) const {
        const Node& node = nodes[n];
        if (node.leaf) {
            if (index >= kMaxColors) return;
            std::uint8_t* e = palette + static_cast<std::size_t>(index) * 4;
            ++index;
            if (node.pixelCount == 0) return;  // stays black; every leaf holds a pixel anyway
            e[0] = static_cast<std::uint8_t>(node.blueSum / node.pixelCount);
            e[1] = static_cast<std::uint8_t>(node.greenSum / node.pixelCount);
            e[2] = static_cast<std::uint8_t>(node.redSum / node.pixelCount);
            return;
        }
        for (const std::uint16_t c : node.child)
            if (c != 0) Write(c, palette, index);
    }
};

CQuantizer::CQuantizer(int maxColors) : impl_(new (std::nothrow) Impl) {
    if (impl_) impl_->maxColors = std::clamp(maxColors, 1, kMaxColors);
}

CQuantizer::~CQuantizer() { delete impl_; }

void CQuantizer::AddColor(std::uint8_t red, std::uint8_t green, std::uint8_t blue) {
    if (impl_) impl_->Add(red, green, blue, 1);
}

bool CQuantizer::AddImage(const Block& image) {
    if (!impl_) return false;
    const auto layout = GetDibLayout(image);
    if (!layout || (layout->bitCount != 24 && layout->bitCount != 32)) return false;
    const std::size_t step = static_cast<std::size_t>(layout->bitCount / 8);
    const auto width = static_cast<std::size_t>(layout->width);
    Impl& q = *impl_;

    // A run of one colour is added as its first pixel plus a count for the rest.
    bool havePrevious = false;
    unsigned pr = 0, pg = 0, pb = 0;
    std::uint32_t repeats = 0;
    for (std::int32_t y = 0; y < layout->height; ++y) {
        const std::uint8_t* p = image.data() + layout->RowOffset(y);
        for (std::size_t x = 0; x < width; ++x, p += step) {
            const unsigned b = p[0], g = p[1], r = p[2];
            if (havePrevious && r == pr && g == pg && b == pb) {
                ++repeats;
                continue;
            }
            if (repeats != 0 && !q.Add(pr, pg, pb, repeats)) return false;
            repeats = 0;
            if (!q.Add(r, g, b, 1)) return false;
            pr = r;
            pg = g;
            pb = b;
            havePrevious = true;
        }
    }
    return repeats == 0 || q.Add(pr, pg, pb, repeats);
}

int CQuantizer::LeafCount() const { return impl_ ? impl_->leafCount : 0; }

int CQuantizer::WritePalette(std::uint8_t* paletteBlock) const {
    int index = 0;
    if (impl_ && impl_->root != 0 && paletteBlock) impl_->Write(impl_->root, paletteBlock, index);
    return index;
}

namespace {

bool IsTrueColor(const Block& image) {
    const auto layout = GetDibLayout(image);
    return layout && (layout->bitCount == 24 || layout->bitCount == 32);
}

// 100 black then 100 white pixels, so that both colours get leaves of their own.
void AddBlackAndWhite(CQuantizer& q) {
    for (int i = 0; i < 100; ++i) q.AddColor(0, 0, 0);
    for (int i = 0; i < 100; ++i) q.AddColor(255, 255, 255);
}

bool IsWhite(const std::uint8_t* e) { return e[0] == 255 && e[1] == 255 && e[2] == 255; }

// Makes entry 255 white: the first white entry below it trades places with it, or, when there is
// none, entry 255 is simply overwritten.
void MoveWhiteToLast(std::uint8_t* palette) {
    std::uint8_t* last = palette + 255 * 4;
    if (IsWhite(last)) return;
    for (int i = 0; i < 255; ++i) {
        std::uint8_t* e = palette + i * 4;
        if (IsWhite(e)) {
            std::memcpy(e, last, 3);
            break;
        }
    }
    last[0] = last[1] = last[2] = 255;
    last[3] = 0;
}

// Writes the quantiser's palette into a new block; `count` becomes the palette size, the larger
// of the leaf count and `wanted`.
Block PaletteBlock(const CQuantizer& q, int wanted, bool whiteLast, int& count) {
    Block palette = Block::Allocate(kPaletteBlockBytes);
    if (!palette) return palette;
    const int leaves = q.WritePalette(palette.data());
    if (whiteLast) MoveWhiteToLast(palette.data());
    count = std::max(leaves, wanted);
    return palette;
}

}  // namespace

Block BuildOptimalPalette(const Block& image, int& count, bool keepBlackAndWhite) {
    if (!IsTrueColor(image)) return {};
    const int wanted = std::clamp(count, 1, kMaxColors);
    CQuantizer q(wanted);
    if (keepBlackAndWhite) AddBlackAndWhite(q);
    if (!q.AddImage(image)) return {};
    return PaletteBlock(q, wanted, keepBlackAndWhite, count);
}

Block BuildCommonPalette(const Block& imageA, const Block& imageB, int& count) {
    if (!IsTrueColor(imageA) || !IsTrueColor(imageB)) return {};
    const int wanted = std::clamp(count, 1, kMaxColors);
    CQuantizer q(wanted);
    AddBlackAndWhite(q);
    if (!q.AddImage(imageA)) return {};
    AddBlackAndWhite(q);
    if (!q.AddImage(imageB)) return {};
    return PaletteBlock(q, wanted, true, count);
}

Palette PaletteFromBlock(const Block& paletteBlock) {
    Palette palette;
    if (paletteBlock.size() < kPaletteBlockBytes) return palette;
    palette.entries.resize(256);
    const std::uint8_t* e = paletteBlock.data();
    for (PaletteEntry& entry : palette.entries) {
        entry = PaletteEntry{e[2], e[1], e[0], 0};
        e += 4;
    }
    return palette;
}

}  // namespace tellurine
