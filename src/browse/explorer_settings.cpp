#include "browse/explorer_settings.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <tuple>
#include <unordered_set>
#include <utility>

namespace tellurine {
namespace {

constexpr std::array<std::string_view, 3> kSortNames = {"name", "date", "size"};

std::string Join(const std::vector<int>& values) {
    std::string out;
    for (const int v : values) {
        if (!out.empty()) out += ',';
        out += std::to_string(v);
    }
    return out;
}

std::vector<std::string_view> Split(std::string_view text) {
    std::vector<std::string_view> parts;
    while (!text.empty()) {
        const std::size_t comma = text.find(',');
        if (const std::string_view part = text.substr(0, comma); !part.empty()) parts.push_back(part);
        text = comma == std::string_view::npos ? std::string_view() : text.substr(comma + 1);
    }
    return parts;
}

bool ReadInt(std::string_view text, int low, int high, int& out) {
    int value = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (failure != std::errc() || end != text.data() + text.size() || value < low || value > high) return false;
    out = value;
    return true;
}

bool ReadInts(std::string_view text, int low, int high, std::vector<int>& out) {
    out.clear();
    for (const std::string_view part : Split(text))
        if (int value = 0; ReadInt(part, low, high, value))
            out.push_back(value);
        else
            return false;
    return true;
}

std::string Lowered(const std::string& text) {
    std::string out = text;
    std::transform(out.begin(), out.end(), out.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return out;
}

}  // namespace

std::string WriteExplorerSettings(const ExplorerSettings& s) {
    const SearchCriteria& c = s.criteria;
    std::string kinds;
    for (const IconFileKind kind : c.kinds) {
        if (!kinds.empty()) kinds += ',';
        kinds += IconFileKindName(kind);
    }
    std::string out(kExplorerFileHeader);
    out += '\n';
    const auto line = [&out](std::string_view name, const std::string& value) {
        out += name;
        out += '=';
        out += value;
        out += '\n';
    };
    line("folder", s.folder);
    line("subfolders", s.subfolders ? "1" : "0");
    line("sort", std::string(kSortNames[static_cast<std::size_t>(s.sort)]));
    line("descending", s.descending ? "1" : "0");
    line("kinds", kinds);
    line("sizes", Join(c.sizes));
    line("depths", Join(c.depths));
    line("alpha", c.alpha ? (*c.alpha ? "1" : "0") : "");
    line("name", c.namePattern);
    line("like", s.likeFile);
    line("distance", std::to_string(c.maxDistance));
    return out;
}

bool ReadExplorerSettings(std::string_view text, ExplorerSettings& settings, std::string& error) {
    ExplorerSettings s;
    const auto fail = [&error](std::string why) {
        error = std::move(why);
        return false;
    };
    bool first = true;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        if (std::exchange(first, false)) {
            if (line != kExplorerFileHeader) return fail("not an explorer file");
            continue;
        }
        const std::size_t equals = line.find('=');
        if (line.empty() || equals == std::string_view::npos) continue;
        const std::string_view name = line.substr(0, equals), value = line.substr(equals + 1);
        int number = 0;
        bool good = true;
        if (name == "folder") {
            s.folder = value;
        } else if (name == "subfolders" || name == "descending") {
            good = ReadInt(value, 0, 1, number);
            (name == "subfolders" ? s.subfolders : s.descending) = number == 1;
        } else if (name == "sort") {
            const auto at = std::find(kSortNames.begin(), kSortNames.end(), value);
            good = at != kSortNames.end();
            if (good) s.sort = static_cast<ExplorerSort>(at - kSortNames.begin());
        } else if (name == "kinds") {
            for (const std::string_view kind : Split(value)) {
                const auto known = IconFileKindFromName(kind);
                good = good && known.has_value();
                if (known) s.criteria.kinds.push_back(*known);
            }
        } else if (name == "sizes") {
            good = ReadInts(value, 1, 4096, s.criteria.sizes);
        } else if (name == "depths") {
            good = ReadInts(value, 1, 32, s.criteria.depths);
        } else if (name == "alpha") {
            good = value.empty() || ReadInt(value, 0, 1, number);
            if (!value.empty()) s.criteria.alpha = number == 1;
        } else if (name == "name") {
            s.criteria.namePattern = value;
        } else if (name == "like") {
            s.likeFile = value;
        } else if (name == "distance") {
            good = ReadInt(value, 0, 64, s.criteria.maxDistance);
        }
        if (!good) return fail("the value of \"" + std::string(name) + "\" does not read: " + std::string(value));
    }
    if (first) return fail("not an explorer file");
    if (s.folder.empty()) return fail("no folder");
    settings = std::move(s);
    return true;
}

std::string ExplorerSortName(const IconFileInfo& info) {
    return Lowered(std::filesystem::path(info.path).filename().string());
}

bool ExplorerBefore(const IconFileInfo& a, const std::string& nameA, const IconFileInfo& b, const std::string& nameB,
                    ExplorerSort sort, bool descending) {
    const auto key = [sort](const IconFileInfo& f, const std::string& name) {
        const std::int64_t primary = sort == ExplorerSort::Date   ? f.modified
                                     : sort == ExplorerSort::Size ? static_cast<std::int64_t>(f.bytes)
                                                                  : 0;
        return std::tuple<std::int64_t, const std::string&, const std::string&>(primary, name, f.path);
    };
    return descending ? key(b, nameB) < key(a, nameA) : key(a, nameA) < key(b, nameB);
}

bool ExplorerBefore(const IconFileInfo& a, const IconFileInfo& b, ExplorerSort sort, bool descending) {
    return ExplorerBefore(a, ExplorerSortName(a), b, ExplorerSortName(b), sort, descending);
}

ExplorerListing ListExplorerTree(const ExplorerSettings& settings,
                                 const std::unordered_map<std::string, FileStamp>& known,
                                 const std::atomic<bool>* cancel) {
    ExplorerListing listing;
    if (IconFileInfo reference; !settings.likeFile.empty() && ReadIconFileInfo(settings.likeFile, reference, true))
        listing.like = reference.likeness;
    listing.paths = ListIconFiles(settings.folder, settings.subfolders, cancel);
    std::unordered_set<std::string> folders{settings.folder};
    for (const std::string& path : listing.paths) {
        folders.insert(std::filesystem::path(path).parent_path().string());
        const auto it = known.find(path);
        FileStamp now;
        std::error_code failure;
        if (it == known.end() || !ReadFileStamp(path, now, failure) || !(it->second == now)) listing.toRead.push_back(path);
    }
    listing.folders.assign(folders.begin(), folders.end());
    return listing;
}

}  // namespace tellurine
