// Finding files that hold icons under a folder: by name pattern, size, depth, alpha, kind, and
// likeness to another icon, read on worker threads.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "browse/icon_file_info.h"

namespace tellurine {

struct SearchCriteria {
    // Shell wildcards (* any run, ? any one character, [abc] and [a-z] one of a set) matched
    // against the whole file name, ignoring case; empty for any name.
    std::string namePattern;
    // A format must be one of these widths, one of these depths and with (or without) alpha, all
    // at once; empty lists and no alpha ask nothing.
    std::vector<int> sizes;
    std::vector<int> depths;
    std::optional<bool> alpha;
    std::vector<IconFileKind> kinds;  // any kind when empty
    // Like an icon: its fingerprint, and the most bits a match may differ in.
    std::optional<std::uint64_t> like;
    int maxDistance = 12;
};

// Whether `name` matches a wildcard pattern (see SearchCriteria), ignoring ASCII case.
bool MatchesNamePattern(std::string_view pattern, std::string_view name);
// Whether a file read by ReadIconFileInfo passes everything but its name.
bool MatchesCriteria(const IconFileInfo& info, const SearchCriteria& criteria);

// The files of a kind IconFileKindOfPath knows in `folder`, and in its subfolders when
// `recursive` (symbolic links to folders are not followed), sorted. Folders that cannot be read
// are passed over; the listing stops early when `cancel` becomes true.
std::vector<std::string> ListIconFiles(const std::string& folder, bool recursive,
                                       const std::atomic<bool>* cancel = nullptr);

// Reads `paths` on `threads` workers (at least one; the calling thread is one of them) as
// ReadIconFileInfo does, and calls `each` with every file read, from the worker that read it, in
// no particular order (`each` guards what it shares). Files that cannot be read come with their
// error set. Stops early when `cancel` becomes true.
void ReadIconFileInfos(const std::vector<std::string>& paths, bool likeness, int threads,
                       const std::function<void(IconFileInfo&&)>& each, const std::atomic<bool>* cancel = nullptr,
                       int tileSize = 0);

struct SearchMatch {
    IconFileInfo info;
    int distance = -1;  // the likeness distance when the search asked for one
};

// The files under `folder` that match: sorted by path, or with likeness asked for, the nearest
// first. `unreadable` (when given) counts the files of a known kind that could not be read.
std::vector<SearchMatch> FindIcons(const std::string& folder, bool recursive, const SearchCriteria& criteria,
                                   int threads, int* unreadable = nullptr, const std::atomic<bool>* cancel = nullptr);

}  // namespace tellurine
