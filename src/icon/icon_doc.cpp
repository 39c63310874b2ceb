#include "icon/icon_doc.h"

#include <new>

#include <utility>

#include "icon/format_order.h"

namespace tellurine {

int CIconObject::DepthFromColors(std::uint32_t colors, bool alpha) { return CKvIcon::FormatBits(colors, alpha); }

void CIconObject::AttachIcon(CKvIcon&& icon) {
    icon_ = std::move(icon);
    SyncWithIcon();
}

void CIconObject::SyncWithIcon() {
    width_ = static_cast<int>(icon_.Width());
    height_ = static_cast<int>(icon_.Height());
    colors_ = icon_.ColorCount();
    alpha_ = icon_.HasAlpha();
    bits_ = DepthFromColors(colors_, alpha_);
    palette_ = bits_ == 8;
}

const CIconObject* CIconDoc::LargestFormat() const {
    const CIconObject* best = nullptr;
    for (const auto& f : formats_)
        if (best == nullptr || CIconGroup::Outranks(f->Icon(), best->Icon())) best = f.get();
    return best;
}

CIconObject* CIconDoc::GetFormat(int index) {
    if (index < 0 || static_cast<std::size_t>(index) >= formats_.size()) return nullptr;
    return formats_[static_cast<std::size_t>(index)].get();
}

const CIconObject* CIconDoc::GetFormat(int index) const {
    if (index < 0 || static_cast<std::size_t>(index) >= formats_.size()) return nullptr;
    return formats_[static_cast<std::size_t>(index)].get();
}

CIconObject& CIconDoc::AddFormat(CKvIcon&& icon) {
    auto object = std::make_unique<CIconObject>();
    object->AttachIcon(std::move(icon));
    formats_.push_back(std::move(object));
    return *formats_.back();
}

CIconObject* CIconDoc::AddBlankFormat(std::int32_t width, std::int32_t height, std::uint32_t colors, bool alpha) {
    CKvIcon icon;
    if (!icon.SetFormat(width, height, colors, alpha)) return nullptr;
    return &AddFormat(std::move(icon));
}

bool CIconDoc::TakeFormats(CIconGroup& group) {
    try {
        for (int i = 0; i < group.FormatCount(); ++i) AddFormat(std::move(*group.FormatAt(i)));
    } catch (const std::bad_alloc&) {
        RemoveAll();
        return false;
    }
    return true;
}

bool CIconDoc::DeleteFormat(int index) {
    if (index < 0 || static_cast<std::size_t>(index) >= formats_.size()) return false;
    formats_.erase(formats_.begin() + index);
    return true;
}

void CIconDoc::SortFormats(bool explorerCompatibleOrder) {
    ExchangeSort(formats_, [explorerCompatibleOrder](const auto& a, const auto& b) {
        return CIconGroup::Precedes(a->Icon(), b->Icon(), explorerCompatibleOrder);
    });
}

std::vector<const CIconObject*> CIconDoc::SaveOrder(bool explorerCompatibleOrder) const {
    std::vector<const CIconObject*> order;
    order.reserve(formats_.size());
    for (const auto& f : formats_) order.push_back(f.get());
    ExchangeSort(order, [explorerCompatibleOrder](const CIconObject* a, const CIconObject* b) {
        return CIconGroup::Precedes(a->Icon(), b->Icon(), explorerCompatibleOrder);
    });
    return order;
}

CIconGroup CIconDoc::BuildIconGroup(bool* ok) const {
    CIconGroup group;
    group.name = name;
    bool complete = true;
    for (const auto& f : formats_)
        if (!group.AppendFormatCopy(f->Icon())) complete = false;
    if (ok != nullptr) *ok = complete;
    return group;
}

}  // namespace tellurine
