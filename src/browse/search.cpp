#include "browse/search.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <mutex>
#include <thread>

#include "browse/likeness.h"

namespace tellurine {
namespace {

char Lower(char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

bool Cancelled(const std::atomic<bool>* cancel) {
    return cancel != nullptr && cancel->load();
}

// Whether `c` is in the set that opens at pattern[at] (past the "["); `at` is left past the "]".
// A set without its "]" matches nothing.
bool InSet(std::string_view pattern, std::size_t& at, char c) {
    bool found = false;
    bool first = true;
    while (at < pattern.size() && (pattern[at] != ']' || first)) {
        first = false;
        const char low = Lower(pattern[at]);
        if (at + 2 < pattern.size() && pattern[at + 1] == '-' && pattern[at + 2] != ']') {
            found = found || (low <= c && c <= Lower(pattern[at + 2]));
            at += 3;
        } else {
            found = found || low == c;
            ++at;
        }
    }
    if (at >= pattern.size()) return false;
    ++at;
    return found;
}

}  // namespace

bool MatchesNamePattern(std::string_view pattern, std::string_view name) {
    // Greedy with one step back to the last star: linear in practice, never exponential.
    std::size_t p = 0, n = 0, star = std::string_view::npos, resume = 0;
    while (n < name.size()) {
        const char c = Lower(name[n]);
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            resume = n;
            continue;
        }
        if (p < pattern.size() && pattern[p] == '[') {
            std::size_t at = p + 1;
            if (InSet(pattern, at, c)) {
                p = at;
                ++n;
                continue;
            }
        } else if (p < pattern.size() && (pattern[p] == '?' || Lower(pattern[p]) == c)) {
            ++p;
            ++n;
            continue;
        }
        if (star == std::string_view::npos) return false;
        p = star + 1;
        n = ++resume;
    }
    while (p < pattern.size() && pattern[p] == '*') ++p;
    return p == pattern.size();
}

bool MatchesCriteria(const IconFileInfo& info, const SearchCriteria& c) {
    if (!c.kinds.empty() && std::find(c.kinds.begin(), c.kinds.end(), info.kind) == c.kinds.end()) return false;
    const auto listed = [](const std::vector<int>& list, int value) {
        return list.empty() || std::find(list.begin(), list.end(), value) != list.end();
    };
    const bool formatFits = std::any_of(info.formats.begin(), info.formats.end(), [&](const FormatSummary& f) {
        return listed(c.sizes, f.width) && listed(c.depths, f.bits) && (!c.alpha || *c.alpha == (f.bits == 32));
    });
    if (!formatFits) return false;
    return !c.like || LikenessDistance(*c.like, info.likeness) <= c.maxDistance;
}

std::vector<std::string> ListIconFiles(const std::string& folder, bool recursive, const std::atomic<bool>* cancel) {
    namespace fs = std::filesystem;
    std::vector<std::string> paths;
    std::error_code failure;
    const auto take = [&](const fs::directory_entry& entry) {
        std::error_code ignored;
        if (entry.is_regular_file(ignored) && IconFileKindOfPath(entry.path().string()))
            paths.push_back(entry.path().string());
    };
    if (recursive) {
        fs::recursive_directory_iterator it(folder, fs::directory_options::skip_permission_denied, failure);
        for (; !failure && it != fs::recursive_directory_iterator() && !Cancelled(cancel); it.increment(failure))
            take(*it);
    } else {
        fs::directory_iterator it(folder, fs::directory_options::skip_permission_denied, failure);
        for (; !failure && it != fs::directory_iterator() && !Cancelled(cancel); it.increment(failure)) take(*it);
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

void ReadIconFileInfos(const std::vector<std::string>& paths, bool likeness, int threads,
                       const std::function<void(IconFileInfo&&)>& each, const std::atomic<bool>* cancel, int tileSize) {
    std::atomic<std::size_t> next{0};
    const auto work = [&] {
        for (std::size_t i = next++; i < paths.size() && !Cancelled(cancel); i = next++) {
            IconFileInfo info;
            ReadIconFileInfo(paths[i], info, likeness, tileSize);
            each(std::move(info));
        }
    };
    std::vector<std::jthread> workers;
    for (int i = 1; i < std::clamp(threads, 1, 64); ++i) workers.emplace_back(work);
    work();
}

std::vector<SearchMatch> FindIcons(const std::string& folder, bool recursive, const SearchCriteria& criteria,
                                   int threads, int* unreadable, const std::atomic<bool>* cancel) {
    std::vector<std::string> paths = ListIconFiles(folder, recursive, cancel);
    std::erase_if(paths, [&](const std::string& path) {
        return !MatchesNamePattern(criteria.namePattern.empty() ? "*" : criteria.namePattern,
                                   std::filesystem::path(path).filename().string());
    });
    std::vector<SearchMatch> matches;
    int failed = 0;
    std::mutex guard;
    ReadIconFileInfos(
        paths, criteria.like.has_value(), threads,
        [&](IconFileInfo&& info) {
            const bool read = info.error.empty();
            const bool match = read && MatchesCriteria(info, criteria);
            const int distance = criteria.like ? LikenessDistance(*criteria.like, info.likeness) : -1;
            const std::scoped_lock lock(guard);
            failed += read ? 0 : 1;
            if (match) matches.push_back({std::move(info), distance});
        },
        cancel);
    std::sort(matches.begin(), matches.end(), [](const SearchMatch& a, const SearchMatch& b) {
        return std::pair{a.distance, a.info.path} < std::pair{b.distance, b.info.path};
    });
    if (unreadable != nullptr) *unreadable = failed;
    return matches;
}

}  // namespace tellurine
