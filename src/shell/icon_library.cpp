#include "shell/icon_library.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <new>

#include "formats/ne_resources.h"
#include "formats/pe_writer.h"
#include "image/file_io.h"
#include "shell/program_tiles.h"

namespace tellurine::shell {

namespace {

// Whether the bytes are an icon or cursor file with at least one image, all within it.
bool IsIconFile(std::span<const std::uint8_t> file) {
    return SplitIconFile(file, 1).has_value();
}

bool SameName(const ResourceName& a, const ResourceName& b) {
    if (a.id || b.id) return a.id == b.id;
    return std::equal(a.text.begin(), a.text.end(), b.text.begin(), b.text.end(), [](char x, char y) {
        return std::toupper(static_cast<unsigned char>(x)) == std::toupper(static_cast<unsigned char>(y));
    });
}

}  // namespace

std::optional<ResourceName> ParseLibraryName(const std::string& text, std::string& error) {
    const std::size_t first = text.find_first_not_of(' '), last = text.find_last_not_of(' ');
    const std::string name = first == std::string::npos ? std::string() : text.substr(first, last - first + 1);
    ResourceName out;
    if (name.empty()) {
        error = "an icon needs a name or a number";
    } else if (std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        const unsigned long number = name.size() <= 5 ? std::stoul(name) : 0;
        if (number >= 1 && number <= kMaxLibraryNumber) {
            out.id = static_cast<std::uint16_t>(number);
            return out;
        }
        error = "a number must be from 1 to 32767";
    } else if (name.size() > 255 ||
               !std::all_of(name.begin(), name.end(), [](char c) { return c >= 0x20 && c < 0x7F; })) {
        error = "a name holds at most 255 letters, digits, spaces and ASCII punctuation";
    } else {
        out.text = name;
        return out;
    }
    return std::nullopt;
}

bool IconLibrary::Read(std::span<const std::uint8_t> bytes) {
    try {
        const auto groups = DescribeExeIcons(bytes);
        if (!groups) return false;
        std::vector<LibraryIcon> icons;
        for (const ExeIconGroupListing& group : *groups)
            if (std::optional<std::vector<std::uint8_t>> file = GroupIconFile(group))
                icons.push_back({group.name, std::move(*file), nextKey_++});
        icons_ = std::move(icons);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

std::optional<std::size_t> IconLibrary::IndexOf(std::uint64_t key) const {
    const auto it = std::find_if(icons_.begin(), icons_.end(), [&](const LibraryIcon& i) { return i.key == key; });
    if (it == icons_.end()) return std::nullopt;
    return static_cast<std::size_t>(it - icons_.begin());
}

bool IconLibrary::Taken(const ResourceName& name, std::size_t except) const {
    for (std::size_t i = 0; i < icons_.size(); ++i)
        if (i != except && SameName(icons_[i].name, name)) return true;
    return false;
}

bool IconLibrary::Add(std::vector<std::uint8_t> file, std::size_t at, std::optional<ResourceName> name) {
    if (!IsIconFile(file)) return false;
    if (!name || Taken(*name, icons_.size())) {
        name = ResourceName{};
        std::uint16_t number = 1;
        while (Taken(ResourceName{number, {}}, icons_.size()))
            if (++number > kMaxLibraryNumber) return false;
        name->id = number;
    }
    icons_.insert(icons_.begin() + static_cast<std::ptrdiff_t>(std::min(at, icons_.size())),
                  LibraryIcon{std::move(*name), std::move(file), nextKey_++});
    return true;
}

void IconLibrary::Remove(std::size_t index) {
    if (index < icons_.size()) icons_.erase(icons_.begin() + static_cast<std::ptrdiff_t>(index));
}

std::optional<std::size_t> IconLibrary::Move(const std::vector<int>& rows, int before) {
    // Both lists are made before any icon leaves the library, so that running out of memory
    // loses none.
    std::vector<bool> moving(icons_.size());
    std::vector<LibraryIcon> moved, order;
    moved.reserve(icons_.size());
    order.reserve(icons_.size());
    for (const int row : rows) {
        const auto at = static_cast<std::size_t>(row);
        if (row < 0 || at >= icons_.size() || moving[at]) continue;
        moving[at] = true;
        moved.push_back(std::move(icons_[at]));
    }
    if (moved.empty()) return std::nullopt;
    std::optional<std::size_t> first;
    const auto putMoved = [&] {
        first = order.size();
        for (LibraryIcon& icon : moved) order.push_back(std::move(icon));
    };
    for (std::size_t i = 0; i < icons_.size(); ++i) {
        if (moving[i]) continue;
        if (!first && static_cast<std::ptrdiff_t>(i) >= before) putMoved();
        order.push_back(std::move(icons_[i]));
    }
    if (!first) putMoved();
    icons_ = std::move(order);
    return first;
}

bool IconLibrary::Replace(std::uint64_t key, std::vector<std::uint8_t> file) {
    const std::optional<std::size_t> index = IndexOf(key);
    if (!index || !IsIconFile(file)) return false;
    icons_[*index].file = std::move(file);
    return true;
}

std::string IconLibrary::Rename(std::size_t index, const std::string& text) {
    std::string error;
    const std::optional<ResourceName> name = ParseLibraryName(text, error);
    if (!name) return error;
    if (index >= icons_.size()) return "the icon is no longer in the library";
    if (Taken(*name, index)) return "another icon is named " + name->Display();
    icons_[index].name = *name;
    return {};
}

std::optional<std::vector<std::uint8_t>> IconLibrary::Write(LibraryKind kind, const std::string& moduleName) const {
    try {
        std::vector<LibraryGroup> groups;
        for (const LibraryIcon& icon : icons_) groups.push_back({icon.name, icon.file});
        if (kind == LibraryKind::Icl) return WriteIconLibrary(groups, moduleName);
        return WriteResourceLibrary(groups, kind == LibraryKind::Dll64);
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

std::vector<std::string> IconLibrary::FolderNames(const std::string& libraryPath) const {
    std::vector<std::string> names;
    for (const LibraryIcon& icon : icons_) names.push_back(ProgramIcoFileName(libraryPath, icon.name, icon.Cursor()));
    return UniqueFileNames(names);
}

LibraryKind LibraryKindOf(const std::string& path, int dllBits) {
    if (LowerExtension(path) == ".dll") return dllBits == 32 ? LibraryKind::Dll32 : LibraryKind::Dll64;
    return LibraryKind::Icl;
}

LibraryKind SavedLibraryKind(std::string& path, LibraryKind filter) {
    const std::string ext = LowerExtension(path);
    if (ext == ".icl") return LibraryKind::Icl;
    if (ext == ".dll") return filter == LibraryKind::Dll32 ? filter : LibraryKind::Dll64;
    path += filter == LibraryKind::Icl ? ".icl" : ".dll";
    return filter;
}

}  // namespace tellurine::shell
