// The librarian's collections: named sets of icons gathered from anywhere, kept in the user-data
// folder. A collection is a folder under the collections' folder and each of its icons an icon or
// cursor file in it, named after the icon, so that the icons stay readable by any program, a file
// dropped into the folder by hand joins the collection, and a collection can be copied as it is.
// The icons of a collection are listed in the order of their names.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "shell/icon_library.h"

namespace tellurine::shell {

// An icon as an icon or cursor file, with the name it is to be kept under.
struct IconFileBytes {
    std::string name;
    std::vector<std::uint8_t> file;
    [[nodiscard]] bool Cursor() const { return file.size() >= 4 && file[2] == 2 && file[3] == 0; }
};

// The icons a file gives, each as an icon or cursor file: an icon or cursor file as it is, byte
// for byte, named after the file; every icon of any other file the program reads (a Macintosh
// family, an animated cursor's frames, a program's or library's groups, a picture) written as an
// icon file, named by its container or after the file. Empty, with the reason in `error`, when the
// file gives none.
std::vector<IconFileBytes> IconFilesOf(const std::string& path, std::string& error);

class Collections {
public:
    // The collections kept under `folder` (made when the first collection is).
    explicit Collections(std::filesystem::path folder) : folder_(std::move(folder)) {}
    [[nodiscard]] const std::filesystem::path& Folder() const { return folder_; }

    // The collections' names, in order.
    [[nodiscard]] std::vector<std::string> Names() const;
    // A collection's folder (whether or not it exists).
    [[nodiscard]] std::filesystem::path PathOf(const std::string& collection) const { return folder_ / collection; }
    // A collection's icon and cursor files, in the order of their names.
    [[nodiscard]] std::vector<std::filesystem::path> Icons(const std::string& collection) const;

    // Each of these gives an empty text when done, else why not (nothing is changed then).
    // A new, empty collection; its name as typed, spaces at either end dropped.
    std::string Create(const std::string& name);
    std::string Rename(const std::string& collection, const std::string& newName);
    // Removes the collection with its icons (files that are not icons stay, and the folder with them).
    std::string Remove(const std::string& collection);

    // Adds icons: each is written to a new file named after it (a number added when the name is
    // taken), never over another. Gives the files made; `error` says why an icon was not added.
    std::vector<std::filesystem::path> Add(const std::string& collection, const std::vector<IconFileBytes>& icons,
                                           std::string& error);
    // Removes one icon's file; false, with the reason, when it cannot be removed.
    static bool RemoveIcon(const std::filesystem::path& icon, std::string& error);

    // The collection as an icon library of `kind`, its icons named by their files' names as far as
    // a library name can hold them. Nothing, with the reason, when an icon cannot be read or the
    // icons do not fit the kind.
    [[nodiscard]] std::optional<std::vector<std::uint8_t>> Library(const std::string& collection, LibraryKind kind,
                                                                   const std::string& moduleName,
                                                                   std::string& error) const;
    // The file names the collection's icons get in `folder` that a file there has already.
    [[nodiscard]] std::vector<std::string> ExportClashes(const std::string& collection,
                                                         const std::filesystem::path& folder) const;
    // Copies the collection's icons into `folder` (made if missing), each file as it is; a file
    // of the same name there is replaced only when `replace`, else left as it is. False with the
    // reason when a copy fails (the files copied before it stay).
    bool ExportFolder(const std::string& collection, const std::filesystem::path& folder, bool replace,
                      std::string& error) const;

private:
    std::filesystem::path folder_;
};

// Why a name cannot name a collection or an icon file in one (empty, a path, a control
// character, too long); empty when it can. `name` has its spaces at either end dropped.
std::string CheckCollectionName(std::string& name);

}  // namespace tellurine::shell
