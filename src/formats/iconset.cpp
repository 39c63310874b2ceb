#include "formats/iconset.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <new>
#include <system_error>

#include "formats/icns_codec.h"
#include "formats/icns_file.h"
#include "image/file_io.h"
#include "imaging/codecs.h"

namespace tellurine {

namespace {

constexpr IconsetEntry kEntries[] = {
    {"icon_16x16.png", 16, 1, IcnsType("is32")},       {"icon_16x16@2x.png", 16, 2, IcnsType("ic11")},
    {"icon_32x32.png", 32, 1, IcnsType("il32")},       {"icon_32x32@2x.png", 32, 2, IcnsType("ic12")},
    {"icon_128x128.png", 128, 1, IcnsType("it32")},    {"icon_128x128@2x.png", 128, 2, IcnsType("ic13")},
    {"icon_256x256.png", 256, 1, IcnsType("ic08")},    {"icon_256x256@2x.png", 256, 2, IcnsType("ic14")},
    {"icon_512x512.png", 512, 1, IcnsType("ic09")},    {"icon_512x512@2x.png", 512, 2, IcnsType("ic10")},
};

// The largest picture file read from an icon set (a 1024 x 1024 PNG is a few megabytes).
constexpr std::size_t kMaxIconsetFileBytes = std::size_t{64} * 1024 * 1024;

const IconsetEntry* EntryFor(std::int32_t points, int scale) {
    for (const IconsetEntry& e : kEntries)
        if (e.points == points && e.scale == scale) return &e;
    return nullptr;
}

}  // namespace

std::span<const IconsetEntry> IconsetEntries() { return kEntries; }

bool IsIconsetPath(const std::string& path) {
    std::string name = std::filesystem::path(path).filename().string();
    if (name.empty()) name = std::filesystem::path(path).parent_path().filename().string();  // "x.iconset/"
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
    return name.size() > 8 && name.ends_with(".iconset");
}

bool ReadIconsetFolder(const std::string& folder, CIconDoc& doc, std::string& error, std::vector<std::string>* skipped) {
    doc.RemoveAll();
    if (skipped != nullptr) skipped->clear();
    std::error_code ec;
    if (!std::filesystem::is_directory(folder, ec)) {
        error = "not a folder: " + folder;
        return false;
    }
    std::vector<std::string> names;
    for (std::filesystem::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec))
        names.push_back(it->path().filename().string());
    if (ec) {
        error = ec.message();
        return false;
    }
    std::sort(names.begin(), names.end());
    try {
        for (const IconsetEntry& e : kEntries) {
            if (std::find(names.begin(), names.end(), e.name) == names.end()) continue;
            const std::string path = (std::filesystem::path(folder) / e.name).string();
            std::vector<std::uint8_t> bytes;
            std::string reason;
            CKvIcon icon;
            const std::int32_t pixels = e.points * e.scale;
            if (!ReadFileBytes(path, bytes, kMaxIconsetFileBytes, reason) || !IsPngStream(bytes) ||
                !icon.ReadImage(bytes, static_cast<std::uint32_t>(bytes.size()), 32) ||
                icon.Width() != static_cast<std::uint32_t>(pixels) || icon.Height() != static_cast<std::uint32_t>(pixels)) {
                if (skipped != nullptr) skipped->push_back(e.name);
                continue;
            }
            icon.KeepSourceStream(bytes);
            icon.SetMacElement({e.element, true});
            icon.SetCompressed(pixels >= 256);
            doc.AddFormat(std::move(icon));
        }
        if (skipped != nullptr)
            for (const std::string& name : names)
                if (std::none_of(std::begin(kEntries), std::end(kEntries), [&](const IconsetEntry& e) { return name == e.name; }) &&
                    name.front() != '.')
                    skipped->push_back(name);
    } catch (const std::bad_alloc&) {
        doc.RemoveAll();
        error = "out of memory";
        return false;
    }
    if (doc.GetFormatCount() == 0) {
        error = "no picture of an icon set in " + folder;
        return false;
    }
    doc.macintosh = true;
    return true;
}

std::vector<std::string> AssignIconsetNames(const CIconDoc& doc) {
    const auto count = static_cast<std::size_t>(doc.GetFormatCount());
    const std::vector<std::uint32_t> elements = AssignMacElements(doc);
    std::vector<std::string> names(count);
    std::vector<const IconsetEntry*> taken;
    const auto take = [&](std::size_t i, const IconsetEntry* e) {
        if (e == nullptr || std::find(taken.begin(), taken.end(), e) != taken.end()) return;
        names[i] = e->name;
        taken.push_back(e);
    };
    // True-colour formats first, by the element they are written as; then indexed ones.
    for (std::size_t i = 0; i < count; ++i)
        if (const MacPictureElement* p = FindMacPictureElement(elements[i])) {
            // "ic10" has no smaller twin: its 1024 pixels are the set's 512 @2x.
            const IconsetEntry* e = EntryFor(p->size / p->scale, p->scale);
            take(i, e != nullptr ? e : EntryFor(p->size / 2, 2));
        }
    for (std::size_t i = 0; i < count; ++i) {
        const CKvIcon& icon = doc.GetFormat(static_cast<int>(i))->Icon();
        if (names[i].empty() && !icon.IsEmpty() && icon.Width() == icon.Height())
            take(i, EntryFor(static_cast<std::int32_t>(icon.Width()), 1));
    }
    return names;
}

bool WriteIconsetFolder(const std::string& folder, const CIconDoc& doc, std::string& error, std::vector<int>* leftOut) {
    namespace fs = std::filesystem;
    if (leftOut != nullptr) leftOut->clear();
    const fs::path target = fs::path(folder).parent_path() / fs::path(folder).filename();
    std::error_code ec;
    if (fs::exists(target, ec) && !fs::is_directory(target, ec)) {
        error = "a file that is not a folder is in the way: " + folder;
        return false;
    }
    const std::vector<std::string> names = AssignIconsetNames(doc);
    std::vector<std::pair<std::string, std::vector<std::uint8_t>>> files;
    std::vector<int> notWritten;
    try {
        for (int i = 0; i < doc.GetFormatCount(); ++i) {
            const CKvIcon& icon = doc.GetFormat(i)->Icon();
            std::vector<std::uint8_t> png;
            const auto stream = icon.UnchangedStream();
            if (!names[static_cast<std::size_t>(i)].empty() && !stream.empty() && IsPngStream(stream))
                png.assign(stream.begin(), stream.end());
            else if (names[static_cast<std::size_t>(i)].empty() || !icon.EncodePngStream(png))
                png.clear();
            if (png.empty()) {
                notWritten.push_back(i);
                continue;
            }
            files.emplace_back(names[static_cast<std::size_t>(i)], std::move(png));
        }
    } catch (const std::bad_alloc&) {
        error = "out of memory";
        return false;
    }
    if (files.empty()) {
        error = "no format of the icon has a picture an icon set can hold";
        return false;
    }
    // The new folder is made whole beside the old one, then the two change places.
    const std::string suffix = "." + std::to_string(getpid()) + ".part";
    const fs::path fresh = target.string() + suffix, old = target.string() + suffix + "-old";
    fs::remove_all(fresh, ec);
    if (!fs::create_directory(fresh, ec)) {
        error = "cannot make the folder " + fresh.string() + (ec ? ": " + ec.message() : "");
        return false;
    }
    for (const auto& [name, bytes] : files) {
        if (!WriteFileAtomically((fresh / name).string(), bytes, error, Durability::Flush)) {
            fs::remove_all(fresh, ec);
            return false;
        }
    }
    const bool replacing = fs::exists(target, ec);
    if (replacing) fs::rename(target, old, ec);
    if (!ec) fs::rename(fresh, target, ec);
    if (ec) {
        error = "cannot put the folder in place: " + ec.message();
        if (replacing && !fs::exists(target)) fs::rename(old, target, ec);
        fs::remove_all(fresh, ec);
        return false;
    }
    if (replacing) fs::remove_all(old, ec);
    if (leftOut != nullptr) *leftOut = std::move(notWritten);
    return true;
}

}  // namespace tellurine
