#include "icon/icon_group.h"

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <new>
#include <utility>

#include "icon/format_order.h"
#include "image/archive.h"

namespace tellurine {

namespace {

bool DisplayBefore(const CKvIcon& a, const CKvIcon& b) {
    const int bitsA = CIconGroup::SortBits(a), bitsB = CIconGroup::SortBits(b);
    if (bitsA != bitsB) return bitsA > bitsB;
    if (a.Width() != b.Width()) return a.Width() > b.Width();
    return a.Height() > b.Height();
}

constexpr int kBaseDisplaySize = 48;

// The fifth wanted display size, which follows the display scale factor one call late.
std::atomic<int>& ScaledDisplaySize() {
    static std::atomic<int> size{kBaseDisplaySize};
    return size;
}

int ScaledSize(double scaleFactor) {
    if (!(scaleFactor > 1.0)) return kBaseDisplaySize;
    const double scaled = std::trunc(kBaseDisplaySize * scaleFactor);
    if (!(scaled < static_cast<double>(std::numeric_limits<int>::max()))) return std::numeric_limits<int>::max();
    return static_cast<int>(scaled);
}

}  // namespace

bool CIconGroup::Outranks(const CKvIcon& a, const CKvIcon& b) {
    const std::uint64_t areaA = std::uint64_t{a.Width()} * a.Height(), areaB = std::uint64_t{b.Width()} * b.Height();
    return areaA > areaB || (areaA == areaB && a.BitsPerPixel() > b.BitsPerPixel());
}

const CKvIcon* CIconGroup::LargestFormat() const {
    const CKvIcon* best = nullptr;
    for (const auto& f : formats_)
        if (best == nullptr || Outranks(*f, *best)) best = f.get();
    return best;
}

bool CIconGroup::Precedes(const CKvIcon& a, const CKvIcon& b, bool explorerOrder) {
    const int bitsA = SortBits(a), bitsB = SortBits(b);
    if (explorerOrder) {
        const bool fullA = bitsA == 32, fullB = bitsB == 32;
        if (fullA != fullB) return fullB;
        if (a.Width() != b.Width()) return a.Width() < b.Width();
        return !fullA && bitsA < bitsB;
    }
    if (bitsA != bitsB) return bitsA < bitsB;
    if (a.Width() != b.Width()) return a.Width() > b.Width();
    return a.Height() > b.Height();
}

int CIconGroup::SortBits(const CKvIcon& image) {
    switch (image.ColorCount()) {
        case 0: return image.HasAlpha() ? 32 : 24;
        case 2: return 1;
        case 16: return 4;
        case 256: return 8;
        default: return 4;
    }
}

int CIconGroup::DepthRank(const CKvIcon& image) {
    switch (image.ColorCount()) {
        case 0: return image.HasAlpha() ? 64 : 48;
        case 2: return 2;
        case 256: return 32;
        default: return 16;
    }
}

int CIconGroup::AddFormatCopy(const CKvIcon& image) {
    std::unique_ptr<CKvIcon> copy(new (std::nothrow) CKvIcon);
    if (!copy || !copy->CopyFrom(image)) {
        dirty = true;
        return 0;
    }
    try {
        formats_.push_back(std::move(copy));
    } catch (const std::bad_alloc&) {
        dirty = true;
        return 0;
    }
    SortFormats(false);
    displayOrder_.clear();
    return 1;
}

int CIconGroup::AppendFormatCopy(const CKvIcon& image) {
    std::unique_ptr<CKvIcon> copy(new (std::nothrow) CKvIcon);
    if (!copy || !copy->CopyFrom(image)) return 0;
    try {
        formats_.push_back(std::move(copy));
    } catch (const std::bad_alloc&) {
        return 0;
    }
    displayOrder_.clear();
    return 1;
}

int CIconGroup::AppendFormat(CKvIcon&& image) {
    try {
        formats_.push_back(std::make_unique<CKvIcon>(std::move(image)));
    } catch (const std::bad_alloc&) {
        return 0;
    }
    displayOrder_.clear();
    return 1;
}

void CIconGroup::RemoveAll() {
    formats_.clear();
    displayOrder_.clear();
}

CKvIcon* CIconGroup::FormatAt(int index) {
    if (index < 0 || static_cast<std::size_t>(index) >= formats_.size()) return nullptr;
    return formats_[static_cast<std::size_t>(index)].get();
}

const CKvIcon* CIconGroup::FormatAt(int index) const {
    if (index < 0 || static_cast<std::size_t>(index) >= formats_.size()) return nullptr;
    return formats_[static_cast<std::size_t>(index)].get();
}

void CIconGroup::SortFormats(bool forceExplorerOrder) {
    if (formats_.size() < 2) return;
    const bool explorer = forceExplorerOrder || explorerCompatibleOrder;
    const bool moved = ExchangeSort(formats_, [explorer](const auto& a, const auto& b) {
        return Precedes(*a, *b, explorer);
    });
    if (moved) displayOrder_.clear();
}

void CIconGroup::BuildDisplayOrder() {
    if (!displayOrder_.empty()) return;
    try {
        displayOrder_.resize(formats_.size());
    } catch (const std::bad_alloc&) {
        displayOrder_.clear();
        return;
    }
    for (std::size_t i = 0; i < formats_.size(); ++i) displayOrder_[i] = static_cast<std::int32_t>(i);
    ExchangeSort(displayOrder_, [this](std::int32_t a, std::int32_t b) {
        return DisplayBefore(*formats_[static_cast<std::size_t>(a)], *formats_[static_cast<std::size_t>(b)]);
    });
}

int CIconGroup::FindBestFormat(int size, int rank) const {
    int best = -1;
    std::int64_t bestDistance = 0;
    for (std::size_t i = 0; i < formats_.size(); ++i) {
        const CKvIcon& f = *formats_[i];
        const std::int64_t distance = std::llabs(std::int64_t{size} - f.Height()) +
                                      std::llabs(std::int64_t{size} - f.Width()) +
                                      2 * std::llabs(std::int64_t{DepthRank(f)} - rank);
        if (best < 0 || distance < bestDistance) {
            best = static_cast<int>(i);
            bestDistance = distance;
        }
    }
    return best;
}

int CIconGroup::FindBestDisplayFormat(int sizeIndex, int depthIndex, double scaleFactor) const {
    static constexpr int kSizes[4] = {16, 32, 48, 256};
    // Index 0 asks for rank 1 rather than the rank 2 of 2-colour formats; kept as it is.
    static constexpr int kRanks[4] = {1, 16, 32, 64};
    if (sizeIndex < 0 || sizeIndex > 4 || depthIndex < 0 || depthIndex > 3) return -1;
    std::atomic<int>& fifth = ScaledDisplaySize();
    const int size = sizeIndex < 4 ? kSizes[sizeIndex] : fifth.load();
    fifth.store(ScaledSize(scaleFactor));
    return FindBestFormat(size, kRanks[depthIndex]);
}

void CIconGroup::ReleaseBitmaps() {
    for (auto& f : formats_) f->FreeSecondBlock();
    current = -1;
}

bool CIconGroup::Serialize(Archive& ar) {
    if (ar.IsStoring()) {
        if (formats_.size() > 0xFFFF) return false;
        ar.WriteU16(static_cast<std::uint16_t>(formats_.size()));
        for (const auto& f : formats_) {
            if (f->IsEmpty()) {
                ar.WriteU32(0);
                continue;
            }
            ar.WriteU32(static_cast<std::uint32_t>(f->GetBlock().size()));
            f->WriteImage(ar);
        }
        return true;
    }

    std::uint16_t count = 0;
    if (!ar.ReadU16(count)) return false;
    std::vector<std::unique_ptr<CKvIcon>> loaded;
    try {
        for (std::uint16_t i = 0; i < count; ++i) {
            std::uint32_t size = 0;
            if (!ar.ReadU32(size)) return false;
            if (size == 0) continue;  // an entry without an image: the group ends up shorter
            // The stored size does not bound the read; the image's own header decides.
            auto image = std::make_unique<CKvIcon>();
            if (!image->ReadImage(ar, 0, 0)) return false;
            loaded.push_back(std::move(image));
        }
        formats_.reserve(formats_.size() + loaded.size());
    } catch (const std::bad_alloc&) {
        return false;
    }
    for (auto& image : loaded) formats_.push_back(std::move(image));
    displayOrder_.clear();
    return true;
}

}  // namespace tellurine
