// The icon library document's model: named icons and cursors in order, each kept as the bytes
// of an icon or cursor file so that an icon nobody changed is saved exactly as it was read.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "formats/pe_resources.h"

namespace tellurine::shell {

struct LibraryIcon {
    ResourceName name;
    std::vector<std::uint8_t> file;  // an icon file, or a cursor file for a cursor
    std::uint64_t key = 0;           // the icon's own while icons come, go and move
    [[nodiscard]] bool Cursor() const { return file.size() >= 4 && file[2] == 2 && file[3] == 0; }
};

// What a library is saved as: a 16-bit icon library, or a resource-only 32- or 64-bit DLL.
enum class LibraryKind { Icl, Dll32, Dll64 };

// The highest number a library's icon may have: a 16-bit library's table holds 15 bits.
inline constexpr std::uint16_t kMaxLibraryNumber = 0x7FFF;

// A name typed for an icon: digits alone name a number from 1 to kMaxLibraryNumber, anything
// else (printable ASCII, at most 255 characters, spaces at either end dropped) a string.
// Nothing, with the reason in `error`, when the text can name neither.
std::optional<ResourceName> ParseLibraryName(const std::string& text, std::string& error);

class IconLibrary {
public:
    // The icon and cursor groups of a program or library file (see DescribeExeIcons), each
    // made an icon or cursor file of its readable images, byte for byte. False, with the library
    // left as it was, when the bytes are not a program or library or memory runs out.
    bool Read(std::span<const std::uint8_t> bytes);

    [[nodiscard]] const std::vector<LibraryIcon>& Icons() const { return icons_; }
    // The place of the icon with `key`; nothing when it was removed.
    [[nodiscard]] std::optional<std::size_t> IndexOf(std::uint64_t key) const;

    // Adds an icon or cursor file at `at` (the end when past it), named `name` or, without one or
    // when another icon has it, by the lowest number no icon has. False when the bytes are not an
    // icon or cursor file with an image, or every number is taken.
    bool Add(std::vector<std::uint8_t> file, std::size_t at, std::optional<ResourceName> name = {});
    void Remove(std::size_t index);
    // Moves the icons at `rows`, in that order, so that they stand together before the first icon
    // from `before` on that is not moved itself (at the end when there is none); rows outside the
    // list are passed over. Where the first of them went; nothing when no row was in the list.
    std::optional<std::size_t> Move(const std::vector<int>& rows, int before);
    // The icon with `key` gets new images; false when it is gone or the bytes are not an icon or
    // cursor file.
    bool Replace(std::uint64_t key, std::vector<std::uint8_t> file);
    // Renames an icon; empty when done, else why not (see ParseLibraryName, or a name another
    // icon has: names are compared as Windows looks them up, without case).
    std::string Rename(std::size_t index, const std::string& text);

    // The library as a file of that kind; `moduleName` names a 16-bit library's module (its file's
    // stem). Nothing when the icons do not fit the kind.
    [[nodiscard]] std::optional<std::vector<std::uint8_t>> Write(LibraryKind kind, const std::string& moduleName) const;
    // The names of the files a folder gets, one per icon in order: the library's file stem, "-",
    // the icon's name, ".ico" (".cur" for a cursor), by the rule program icons are saved by.
    [[nodiscard]] std::vector<std::string> FolderNames(const std::string& libraryPath) const;

private:
    [[nodiscard]] bool Taken(const ResourceName& name, std::size_t except) const;
    std::vector<LibraryIcon> icons_;
    std::uint64_t nextKey_ = 1;
};

// The kind a path's extension names: .icl a 16-bit library, .dll one of `dllBits` (32 or 64).
LibraryKind LibraryKindOf(const std::string& path, int dllBits);
// The kind a name given in the save dialog saves as, `filter` the kind of the filter chosen there:
// a name ending .icl or .dll says it (a .dll is 32-bit only with that filter), any other name takes
// the filter's kind, and its extension is added to `path`.
LibraryKind SavedLibraryKind(std::string& path, LibraryKind filter);

}  // namespace tellurine::shell
