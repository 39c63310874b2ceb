#include "formats/icon_project.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <map>
#include <new>
#include <system_error>

#include "formats/icns_file.h"
#include "formats/ico_file.h"
#include "formats/iconset.h"
#include "formats/image_file.h"
#include "formats/image_strip.h"
#include "formats/svg_file.h"
#include "formats/pe_resources.h"
#include "formats/layered_picture.h"
#include "icon/format_maker.h"
#include "image/bytes.h"
#include "image/dib_block.h"
#include "image/file_io.h"

namespace tellurine {

namespace {

}  // namespace

const char* IconContainerName(IconContainer container) {
    switch (container) {
        case IconContainer::Ico: return "ico";
        case IconContainer::Cur: return "cur";
        case IconContainer::Icns: return "icns";
        case IconContainer::Resource: return "rsrc";
        case IconContainer::MacBinary: return "macbinary";
        case IconContainer::Ani: return "ani";
        case IconContainer::Pe: return "pe";
        case IconContainer::Iconset: return "iconset";
        case IconContainer::Strip: return "strip";
        case IconContainer::Unknown: break;
    }
    return "";
}

IconContainer ClassifyIconFile(const std::string& path, std::span<const std::uint8_t> bytes) {
    // A resource fork usually starts with a data offset of 256, which reads like an icon file's
    // header: the extension is asked first.
    const std::string ext = LowerExtension(path);
    if (ext == ".rsc" || ext == ".rsrc") return IconContainer::Resource;
    if (ext == ".bin") return IconContainer::MacBinary;
    if (ext == ".tbf") return IconContainer::Strip;
    if (bytes.size() >= 4 && std::memcmp(bytes.data(), "icns", 4) == 0) return IconContainer::Icns;
    if (bytes.size() >= 6 && LoadU16(bytes.data()) == 0) {
        const std::uint16_t type = LoadU16(bytes.data() + 2);
        if (type == 1) return IconContainer::Ico;
        if (type == 2) return IconContainer::Cur;
    }
    if (bytes.size() >= 12 && std::memcmp(bytes.data(), "RIFF", 4) == 0 && std::memcmp(bytes.data() + 8, "ACON", 4) == 0)
        return IconContainer::Ani;
    if (bytes.size() >= 2 && bytes[0] == 'M' && bytes[1] == 'Z') return IconContainer::Pe;
    if (ext == ".icns") return IconContainer::Icns;
    if (IsStripFile(bytes)) return IconContainer::Strip;
    if (bytes.size() >= 106 && std::memcmp(bytes.data() + 102, "mBIN", 4) == 0) return IconContainer::MacBinary;
    return IconContainer::Unknown;
}

namespace {

// The distinct pictures of an animation's steps (a frame shown by several steps once), each as a
// 32-bit format, in the order the steps first show them.
bool FramesAsFormats(const std::vector<CAniObject>& steps, CIconDoc& doc) {
    std::vector<const CAniObject*> seen;
    for (const CAniObject& step : steps) {
        const Block& picture = step.image.GetBlock();
        const bool repeated = std::any_of(seen.begin(), seen.end(), [&](const CAniObject* other) {
            const Block& b = other->image.GetBlock();
            return b.size() == picture.size() && std::memcmp(b.data(), picture.data(), b.size()) == 0;
        });
        if (repeated) continue;
        seen.push_back(&step);
        CKvIcon icon;
        if (!FormatFromPicture(picture, 32, icon)) return false;
        icon.SetPoint(static_cast<std::int32_t>(step.hotspotX), static_cast<std::int32_t>(step.hotspotY));
        doc.AddFormat(std::move(icon));
    }
    return true;
}

}  // namespace

bool ReadIconContainer(const std::string& path, std::span<const std::uint8_t> bytes, IconFileContents& contents,
                       bool* outOfMemory) {
    contents = {};
    if (outOfMemory != nullptr) *outOfMemory = false;
    const IconContainer container = ClassifyIconFile(path, bytes);
    try {
        switch (container) {
            case IconContainer::Ico:
            case IconContainer::Cur: {
                NamedIcon icon;
                if (bytes.size() > kMaxIconFileBytes || !ReadIconFile(bytes, icon.doc)) return false;
                contents.icons.push_back(std::move(icon));
                break;
            }
            case IconContainer::Icns: {
                NamedIcon icon;
                if (!ReadIcnsFile(bytes, icon.doc, &icon.skipped)) return false;
                contents.icons.push_back(std::move(icon));
                break;
            }
            case IconContainer::Resource:
            case IconContainer::MacBinary:
                for (MacIconFamily& family : ReadMacResourceFamilies(bytes)) {
                    NamedIcon icon{family.name, family.number, {}, std::move(family.skipped)};
                    icon.doc.macintosh = true;
                    icon.doc.name = family.name;
                    if (!icon.doc.TakeFormats(family.group)) throw std::bad_alloc();
                    contents.icons.push_back(std::move(icon));
                }
                if (contents.icons.empty()) return false;
                break;
            case IconContainer::Ani: {
                const AniReadStatus status =
                    bytes.size() > kMaxAniFileBytes ? AniReadStatus::NotReadable : ReadAniSteps(bytes, contents.steps);
                if (status == AniReadStatus::OutOfMemory) throw std::bad_alloc();
                if (status != AniReadStatus::Ok || contents.steps.empty()) {
                    contents = {};
                    return false;
                }
                NamedIcon icon;
                if (!FramesAsFormats(contents.steps, icon.doc)) throw std::bad_alloc();
                contents.icons.push_back(std::move(icon));
                break;
            }
            case IconContainer::Pe: {
                auto groups = ReadExeIcons(bytes);
                if (!groups) return false;
                for (ExeIconGroup& group : *groups) {
                    NamedIcon icon{group.name.Display(), {}, {}};
                    if (group.name.id) icon.number = *group.name.id;
                    icon.doc.name = icon.name;
                    icon.doc.cursor = group.cursor;
                    if (!icon.doc.TakeFormats(group.group)) throw std::bad_alloc();
                    contents.icons.push_back(std::move(icon));
                }
                if (contents.icons.empty()) return false;
                break;
            }
            case IconContainer::Strip: {
                NamedIcon icon;
                std::string error;
                if (bytes.size() > kMaxIconFileBytes || !ReadStripFile(bytes, icon.doc, error)) return false;
                contents.icons.push_back(std::move(icon));
                break;
            }
            case IconContainer::Iconset:  // a folder, read by LoadIconContainer
            case IconContainer::Unknown: return false;
        }
    } catch (const std::bad_alloc&) {
        contents = {};
        if (outOfMemory != nullptr) *outOfMemory = true;
        return false;
    }
    contents.container = container;
    return true;
}

bool LoadIconContainer(const std::string& path, IconFileContents& contents, std::string& error,
                       bool* fileUnreadable) {
    contents = {};
    std::error_code ec;
    if (IsIconsetPath(path) && std::filesystem::is_directory(path, ec)) {
        NamedIcon icon;
        if (fileUnreadable != nullptr) *fileUnreadable = false;
        if (!ReadIconsetFolder(path, icon.doc, error)) return false;
        contents.container = IconContainer::Iconset;
        contents.icons.push_back(std::move(icon));
        return true;
    }
    std::vector<std::uint8_t> bytes;
    const bool read = ReadFileBytes(path, bytes, kMaxMacFileBytes, error);
    if (fileUnreadable != nullptr) *fileUnreadable = !read;
    if (!read) return false;
    bool outOfMemory = false;
    if (!ReadIconContainer(path, bytes, contents, &outOfMemory)) {
        error = outOfMemory ? kOutOfMemoryText : "not an icon file that can be read: " + path;
        return false;
    }
    return true;
}

bool WriteIconProject(const CIconDoc& doc, bool explorerCompatibleOrder, std::vector<std::uint8_t>& out,
                      std::vector<int>* leftOut, const IcnsWriteOptions& mac) {
    return WriteIconProjectAs(doc, doc.macintosh ? IconContainer::Icns : doc.cursor ? IconContainer::Cur : IconContainer::Ico,
                              explorerCompatibleOrder, out, leftOut, mac);
}

bool WriteIconProjectAs(const CIconDoc& doc, IconContainer as, bool explorerCompatibleOrder,
                        std::vector<std::uint8_t>& out, std::vector<int>* leftOut, const IcnsWriteOptions& mac) {
    if (leftOut != nullptr) leftOut->clear();
    if (as == IconContainer::Icns) return WriteIcnsFamily(doc, out, leftOut, mac);
    return WriteIconFile(doc, explorerCompatibleOrder, out, as == IconContainer::Cur);
}

namespace {

// A format's pixels as they show: a pixel nobody can see (alpha 0, or a transparent AND/XOR
// pixel) counts by what it is, not by the colour it happens to keep.
bool ShownPixels(const CKvIcon& icon, DeviceBitmap& color, DeviceBitmap& mask) {
    if (!icon.ToBitmaps(color, mask, nullptr)) return false;
    const bool alpha = icon.HasAlpha();
    for (int y = 0; y < color.Height(); ++y) {
        std::uint32_t* c = color.Row(y);
        const std::uint32_t* m = mask.Row(y);
        for (int x = 0; x < color.Width(); ++x) {
            if (alpha ? (m[x] & 0xFF) == 0 : (m[x] & 0xFFFFFF) == 0xFFFFFF)
                c[x] = !alpha && (c[x] & 0xFFFFFF) == 0xFFFFFF ? 0xFFFFFF : 0;
        }
    }
    return true;
}

// A 24-bit format and a 32-bit one show the same: the same colours where either is visible, and
// the 24-bit format's mask where the other's alpha is 0 (its other alpha all 255), over black
// only (a colour under the mask changes the screen, which alpha cannot do).
bool SameTrueColourPixels(const CKvIcon& mine, const CKvIcon& theirs) {
    const Block a = mine.To32BitDib(), b = theirs.To32BitDib();
    const auto la = GetDibLayout(a), lb = GetDibLayout(b);
    if (!la || !lb || la->width != lb->width || la->height != lb->height) return false;
    for (int y = 0; y < la->height; ++y) {
        const std::uint8_t* p = a.data() + la->RowOffset(y);
        const std::uint8_t* q = b.data() + lb->RowOffset(y);
        for (int x = 0; x < la->width; ++x, p += 4, q += 4) {
            if (p[3] != q[3]) return false;
            if (p[3] == 0 ? (p[0] | p[1] | p[2]) != 0 : p[0] != q[0] || p[1] != q[1] || p[2] != q[2]) return false;
        }
    }
    return true;
}

}  // namespace

std::vector<int> FormatsNotHeld(const CIconDoc& doc, std::span<const std::uint8_t> bytes) {
    std::vector<int> notHeld;
    IconFileContents contents;
    if (!ReadIconContainer({}, bytes, contents) || contents.icons.size() != 1) {
        for (int i = 0; i < doc.GetFormatCount(); ++i) notHeld.push_back(i);
        return notHeld;
    }
    const CIconDoc& read = contents.icons.front().doc;
    // Each read format answers for one format of the document; the order may differ.
    std::vector<bool> used(static_cast<std::size_t>(read.GetFormatCount()), false);
    for (int i = 0; i < doc.GetFormatCount(); ++i) {
        const CKvIcon& mine = doc.GetFormat(i)->Icon();
        DeviceBitmap color, mask;
        bool found = false;
        if (ShownPixels(mine, color, mask)) {
            for (int j = 0; j < read.GetFormatCount() && !found; ++j) {
                const CKvIcon& theirs = read.GetFormat(j)->Icon();
                if (used[static_cast<std::size_t>(j)] || theirs.Width() != mine.Width() || theirs.Height() != mine.Height())
                    continue;
                DeviceBitmap c, m;
                if (theirs.BitsPerPixel() == mine.BitsPerPixel())
                    found = ShownPixels(theirs, c, m) && c == color && m == mask;
                else if (mine.BitsPerPixel() == 24 && theirs.BitsPerPixel() == 32)
                    found = SameTrueColourPixels(mine, theirs);
                if (found) used[static_cast<std::size_t>(j)] = true;
            }
        }
        if (!found) notHeld.push_back(i);
    }
    return notHeld;
}

bool FileHoldsDocument(const CIconDoc& doc, std::span<const std::uint8_t> bytes) {
    return FormatsNotHeld(doc, bytes).empty();
}

IconContainer SaveKindOf(const std::string& path) {
    if (IsIconsetPath(path)) return IconContainer::Iconset;
    const std::string ext = LowerExtension(path);
    if (ext == ".tbf") return IconContainer::Strip;
    return ext == ".icns" ? IconContainer::Icns : ext == ".cur" ? IconContainer::Cur : IconContainer::Ico;
}

bool IconSavePlan::Whole(const CIconDoc& doc) const {
    if (!leftOut.empty() || !changed.empty()) return false;
    if (kind == IconContainer::Iconset || kind == IconContainer::Strip)
        for (int i = 0; i < doc.GetFormatCount(); ++i)
            if (doc.GetFormat(i)->BitCount() != 32) return false;
    return true;
}

bool PlanIconSave(const CIconDoc& doc, IconContainer as, bool explorerCompatibleOrder, const IcnsWriteOptions& mac,
                  bool findChanges, IconSavePlan& plan) {
    plan = {};
    plan.kind = as;
    if (as == IconContainer::Iconset) {
        const std::vector<std::string> names = AssignIconsetNames(doc);
        for (std::size_t i = 0; i < names.size(); ++i)
            if (names[i].empty()) plan.leftOut.push_back(static_cast<int>(i));
        return plan.leftOut.size() < names.size();
    }
    if (as == IconContainer::Strip) return WriteStripFile(doc, plan.bytes, &plan.leftOut);
    if (!WriteIconProjectAs(doc, as, explorerCompatibleOrder, plan.bytes, &plan.leftOut, mac)) return false;
    if (as == IconContainer::Icns && findChanges)
        for (const int i : FormatsNotHeld(doc, plan.bytes))
            if (std::find(plan.leftOut.begin(), plan.leftOut.end(), i) == plan.leftOut.end()) plan.changed.push_back(i);
    return true;
}

bool WritePlannedSave(const std::string& path, const CIconDoc& doc, const IconSavePlan& plan, Durability durability,
                      std::string& error) {
    if (plan.kind == IconContainer::Iconset) return WriteIconsetFolder(path, doc, error);
    return WriteFileAtomically(path, plan.bytes, error, durability);
}

bool SaveIconProject(const std::string& path, const CIconDoc& doc, bool explorerCompatibleOrder, std::string& error,
                     Durability durability, std::vector<int>* leftOut, const IcnsWriteOptions& mac) {
    std::vector<std::uint8_t> bytes;
    if (!WriteIconProject(doc, explorerCompatibleOrder, bytes, leftOut, mac)) {
        error = doc.macintosh ? "no format of the icon has a Macintosh element, or an element could not be encoded"
                              : "the icon cannot be written (an empty project, an empty format or a PNG encoding failure)";
        return false;
    }
    return WriteFileAtomically(path, bytes, error, durability);
}

MakeIconFileStep MakeIconFile(const std::string& image, const IconProjectRequest& request, const std::string& output,
                              CIconDoc& doc, std::vector<int>& leftOut, std::string& error, bool allowLoss,
                              const IcnsWriteOptions& mac) {
    CDIB picture;
    doc.name = std::filesystem::path(image).stem().string();
    // A drawing is rendered at each size from its vector; anything else is a picture resampled
    // (a file whose name does not say it is a drawing is tried as one when it is no picture).
    const bool namedDrawing = IsSvgFile(image, {});
    if (!namedDrawing && IsLayeredPicturePath(image)) {
        // A layered document's size-named layers are formats as drawn; the rest come from its
        // merged picture.
        LayeredPicture layered;
        std::string reason;
        std::vector<std::uint8_t> file;
        if (!ReadFileBytes(image, file, kMaxLayeredFileBytes, error)) return MakeIconFileStep::Read;
        if (!ReadLayeredPicture(file, layered, reason)) {
            error = std::string("not a ") + LayeredPictureKind(image) + " that can be read: " + reason;
            return MakeIconFileStep::Read;
        }
        file = {};
        if (!MakeIconProjectFromLayers(layered, request, doc, error)) return MakeIconFileStep::Make;
    } else if (namedDrawing || !LoadPictureFile(image, picture, error)) {
        SvgDrawing drawing;
        std::string reason;
        if (!drawing.LoadFile(image, reason)) {
            if (namedDrawing) error = reason;
            return MakeIconFileStep::Read;
        }
        if (!MakeIconProjectFromDrawing([&](int size) { return drawing.Render(size, size); }, request, doc, error))
            return MakeIconFileStep::Make;
    } else {
        if (!MakeIconProject(std::move(picture), request, doc, error)) return MakeIconFileStep::Make;
        picture.Clear();
    }
    leftOut.clear();
    std::vector<std::uint8_t> bytes;
    if (!WriteIconProject(doc, false, bytes, &leftOut, mac)) {
        error = "no format of the icon can be written";
        return MakeIconFileStep::Write;
    }
    if (!leftOut.empty() && !allowLoss) return MakeIconFileStep::LeftOut;
    if (!WriteFileAtomically(output, bytes, error, Durability::NoFlush)) return MakeIconFileStep::Write;
    return MakeIconFileStep::Done;
}

std::vector<std::string> IconFileNames(const std::vector<std::string>& images, const std::string& folder,
                                       const std::string& extension) {
    std::vector<std::string> names;
    std::map<std::string, int> taken;
    for (const std::string& image : images) {
        std::string stem = std::filesystem::path(image).stem().string();
        if (stem.empty()) stem = "icon";
        const int seen = taken[stem]++;
        if (seen > 0) stem.append("-").append(std::to_string(seen + 1));
        names.push_back((std::filesystem::path(folder) / (stem + extension)).string());
    }
    return names;
}

}  // namespace tellurine
