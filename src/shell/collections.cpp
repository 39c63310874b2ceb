#include "shell/collections.h"

#include <algorithm>
#include <cctype>
#include <system_error>

#include "formats/ico_file.h"
#include "formats/icon_project.h"
#include "formats/ne_resources.h"
#include "formats/pe_resources.h"
#include "image/file_io.h"
#include "shell/texts.h"

namespace tellurine::shell {

namespace fs = std::filesystem;

namespace {

// The longest name a collection or an icon in one may have, in bytes: room is left for the
// number a taken name gets and the extension, within the 255 bytes most file systems allow.
constexpr std::size_t kMaxNameBytes = 200;

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// Names in the order a person reads a list: without case first, then as they are.
bool NameBefore(const std::string& a, const std::string& b) {
    const std::string la = Lower(a), lb = Lower(b);
    return la != lb ? la < lb : a < b;
}

bool IsIconFileName(const fs::path& path) {
    const std::string extension = LowerExtension(path.string());
    return extension == ".ico" || extension == ".cur";
}

// Whether another collection than `except` has the name, compared without case (some file
// systems do not tell "Icons" from "icons").
bool NameTaken(const Collections& collections, const std::string& name, const std::string& except = {}) {
    const std::vector<std::string> names = collections.Names();
    return std::any_of(names.begin(), names.end(),
                       [&](const std::string& other) { return other != except && Lower(other) == Lower(name); }) ||
           (Lower(name) != Lower(except) && fs::exists(collections.PathOf(name)));
}

std::string Replace(std::string text, const std::string& value) {
    if (const std::size_t at = text.find("%1"); at != std::string::npos) text.replace(at, 2, value);
    return text;
}

}  // namespace

std::string CheckCollectionName(std::string& name) {
    const std::size_t first = name.find_first_not_of(' '), last = name.find_last_not_of(' ');
    name = first == std::string::npos ? std::string() : name.substr(first, last - first + 1);
    if (name.empty()) return text::kCollectionNameEmpty;
    if (name.size() > kMaxNameBytes) return text::kCollectionNameLong;
    const bool bad =
        name == "." || name == ".." || name.front() == '.' || std::any_of(name.begin(), name.end(), [](char c) {
            return static_cast<unsigned char>(c) < 0x20 || c == 0x7F || c == '/' || c == '\\' || c == ':' || c == '*' ||
                   c == '?' || c == '"' || c == '<' || c == '>' || c == '|';
        });
    return bad ? text::kCollectionNameBad : std::string();
}

std::vector<IconFileBytes> IconFilesOf(const std::string& path, std::string& error) {
    std::vector<IconFileBytes> icons;
    const std::string stem = fs::path(path).stem().string();
    std::vector<std::uint8_t> bytes;
    // An icon or cursor file goes as it is, byte for byte.
    if (ReadFileBytes(path, bytes, kMaxExeFileBytes, error) && SplitIconFile(bytes, 1)) {
        icons.push_back({stem, std::move(bytes)});
        return icons;
    }
    IconFileContents contents;
    if (!LoadIconContainer(path, contents, error)) return icons;
    for (const NamedIcon& icon : contents.icons) {
        IconFileBytes out{contents.Named() ? icon.name : stem, {}};
        if (WriteIconFile(icon.doc, false, out.file, icon.doc.cursor)) icons.push_back(std::move(out));
    }
    if (icons.empty()) error = text::kCollectionNoIcon;
    return icons;
}

std::vector<std::string> Collections::Names() const {
    std::vector<std::string> names;
    std::error_code ec;
    for (fs::directory_iterator it(folder_, ec), end; !ec && it != end; it.increment(ec)) {
        const std::string name = it->path().filename().string();
        if (!name.empty() && name.front() != '.' && it->is_directory(ec)) names.push_back(name);
    }
    std::sort(names.begin(), names.end(), NameBefore);
    return names;
}

std::vector<fs::path> Collections::Icons(const std::string& collection) const {
    std::vector<fs::path> icons;
    std::error_code ec;
    for (fs::directory_iterator it(PathOf(collection), ec), end; !ec && it != end; it.increment(ec))
        if (IsIconFileName(it->path()) && it->is_regular_file(ec)) icons.push_back(it->path());
    std::sort(icons.begin(), icons.end(), [](const fs::path& a, const fs::path& b) {
        return NameBefore(a.filename().string(), b.filename().string());
    });
    return icons;
}

std::string Collections::Create(const std::string& typed) {
    std::string name = typed;
    if (std::string why = CheckCollectionName(name); !why.empty()) return why;
    if (NameTaken(*this, name)) return Replace(text::kCollectionExists, name);
    std::error_code ec;
    fs::create_directories(PathOf(name), ec);
    return ec ? ec.message() : std::string();
}

std::string Collections::Rename(const std::string& collection, const std::string& typed) {
    std::string name = typed;
    if (std::string why = CheckCollectionName(name); !why.empty()) return why;
    if (name == collection) return {};
    if (NameTaken(*this, name, collection)) return Replace(text::kCollectionExists, name);
    std::error_code ec;
    fs::rename(PathOf(collection), PathOf(name), ec);
    return ec ? ec.message() : std::string();
}

std::string Collections::Remove(const std::string& collection) {
    std::error_code ec;
    for (const fs::path& icon : Icons(collection))
        if (!fs::remove(icon, ec) && ec) return ec.message();
    // Whatever else the folder holds is not the collection's: the folder stays with it.
    if (fs::is_empty(PathOf(collection), ec)) fs::remove(PathOf(collection), ec);
    return {};
}

std::vector<fs::path> Collections::Add(const std::string& collection, const std::vector<IconFileBytes>& icons,
                                       std::string& error) {
    std::vector<fs::path> made;
    std::error_code ec;
    fs::create_directories(PathOf(collection), ec);
    if (ec) {
        error = ec.message();
        return made;
    }
    for (const IconFileBytes& icon : icons) {
        std::string name = icon.name;
        if (!CheckCollectionName(name).empty()) name = SafeFileNamePart(name).substr(0, kMaxNameBytes);
        const std::string extension = icon.Cursor() ? ".cur" : ".ico";
        fs::path path = PathOf(collection) / (name + extension);
        for (int number = 2; fs::exists(path, ec) || ec; ++number)
            path = PathOf(collection) / (name + " (" + std::to_string(number) + ")" + extension);
        if (!WriteFileAtomically(path.string(), icon.file, error)) return made;
        made.push_back(path);
    }
    return made;
}

bool Collections::RemoveIcon(const fs::path& icon, std::string& error) {
    std::error_code ec;
    if (fs::remove(icon, ec)) return true;
    error = ec ? ec.message() : text::kCollectionIconGone;
    return false;
}

std::optional<std::vector<std::uint8_t>> Collections::Library(const std::string& collection, LibraryKind kind,
                                                              const std::string& moduleName, std::string& error) const {
    IconLibrary library;
    for (const fs::path& icon : Icons(collection)) {
        std::vector<std::uint8_t> bytes;
        std::string unused;
        if (!ReadFileBytes(icon.string(), bytes, kMaxExeFileBytes, error)) return std::nullopt;
        // An icon whose name a library cannot hold is numbered.
        if (!library.Add(std::move(bytes), library.Icons().size(), ParseLibraryName(icon.stem().string(), unused))) {
            error = Replace(text::kCollectionIconUnreadable, icon.filename().string());
            return std::nullopt;
        }
    }
    std::optional<std::vector<std::uint8_t>> file = library.Write(kind, moduleName);
    if (!file) error = text::kCollectionNoFit;
    return file;
}

std::vector<std::string> Collections::ExportClashes(const std::string& collection, const fs::path& folder) const {
    std::vector<std::string> clashes;
    std::error_code ec;
    for (const fs::path& icon : Icons(collection))
        if (fs::exists(folder / icon.filename(), ec)) clashes.push_back(icon.filename().string());
    return clashes;
}

bool Collections::ExportFolder(const std::string& collection, const fs::path& folder, bool replace,
                               std::string& error) const {
    std::error_code ec;
    fs::create_directories(folder, ec);
    if (ec) {
        error = ec.message();
        return false;
    }
    for (const fs::path& icon : Icons(collection)) {
        const fs::path target = folder / icon.filename();
        if (fs::exists(target, ec) && !replace) continue;
        std::vector<std::uint8_t> bytes;
        if (!ReadFileBytes(icon.string(), bytes, kMaxExeFileBytes, error) ||
            !WriteFileAtomically(target.string(), bytes, error))
            return false;
    }
    return true;
}

}  // namespace tellurine::shell
