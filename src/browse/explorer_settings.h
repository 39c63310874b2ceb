// What an explorer or search window keeps in its file (".exp", ".sea"): the folder, whether its
// subfolders are included, the order of the tiles and the conditions a file must meet to show.
//
// The file is text, one "name=value" line each after the first line "Tellurine Explorer 1";
// lists are comma-separated, and unknown names are passed over so that later versions may add
// some. Example:
//   Tellurine Explorer 1
//   folder=/home/ann/icons
//   subfolders=1
//   sort=date
//   descending=0
//   kinds=icon,macintosh
//   sizes=32,48
//   depths=32
//   alpha=1
//   name=app*
//   like=/home/ann/icons/app.ico
//   distance=12
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "browse/search.h"

namespace tellurine {

enum class ExplorerSort { Name, Date, Size };

struct ExplorerSettings {
    std::string folder;
    bool subfolders = true;
    ExplorerSort sort = ExplorerSort::Name;
    bool descending = false;
    // The conditions; `criteria.like` is taken from `likeFile` when the window opens.
    SearchCriteria criteria;
    std::string likeFile;
};

// The first line of the file.
inline constexpr std::string_view kExplorerFileHeader = "Tellurine Explorer 1";
// Files larger than this are not explorer files.
inline constexpr std::size_t kMaxExplorerFileBytes = 64 * 1024;

std::string WriteExplorerSettings(const ExplorerSettings& settings);
// False, with the reason in `error`, for a file without the header, without a folder, or with a
// value that does not read (a size that is no number, an unknown kind or order).
bool ReadExplorerSettings(std::string_view text, ExplorerSettings& settings, std::string& error);

// Whether file `a` comes before `b` in the order asked for: by file name ignoring case, by date
// (then name) or by size in bytes (then name); descending reverses it.
bool ExplorerBefore(const IconFileInfo& a, const IconFileInfo& b, ExplorerSort sort, bool descending);
// The same with each file's name as ExplorerSortName gives it, worked out once for many
// comparisons.
bool ExplorerBefore(const IconFileInfo& a, const std::string& nameA, const IconFileInfo& b, const std::string& nameB,
                    ExplorerSort sort, bool descending);
// A file's name as the order compares it: lower case.
std::string ExplorerSortName(const IconFileInfo& info);

// What a reading of an explorer's tree starts from: the icon files there now (ListIconFiles), the
// folders that hold them and the tree's own (to be watched for changes), the files to read (those
// not in `known` as they are now, by their stamps), and the likeness file's fingerprint when the
// settings name one that can be read.
struct ExplorerListing {
    std::vector<std::string> paths, folders, toRead;
    std::optional<std::uint64_t> like;
};
ExplorerListing ListExplorerTree(const ExplorerSettings& settings,
                                 const std::unordered_map<std::string, FileStamp>& known,
                                 const std::atomic<bool>* cancel = nullptr);

}  // namespace tellurine
