// A most-recently-used file list kept in the profile: section SECTION, values "File1" to "FileN".
#pragma once

#include <string>
#include <vector>

#include "shell/profile.h"

namespace tellurine::shell {

class RecentFileList {
public:
    RecentFileList(std::string section, std::size_t capacity, std::size_t displayLength = 30)
        : section_(std::move(section)), capacity_(capacity), displayLength_(displayLength) {}

    // Puts a path first, taking it out of its old place; the oldest entry falls off a full list.
    void Add(const std::string& path);
    void Remove(const std::string& path);
    [[nodiscard]] const std::vector<std::string>& Entries() const { return entries_; }
    [[nodiscard]] std::size_t Capacity() const { return capacity_; }
    [[nodiscard]] const std::string& Section() const { return section_; }
    // The menu text of entry i: "&1 name" with the name abbreviated (see AbbreviatePath).
    [[nodiscard]] std::string MenuText(std::size_t i) const;

    void Load(const Profile& profile);
    // Writes every entry and removes the values of emptied places.
    void Save(Profile& profile) const;

private:
    std::string section_;
    std::size_t capacity_;
    std::size_t displayLength_;
    std::vector<std::string> entries_;
};

// The framework's list of 10 files and the program's own of 20, whose menu commands are
// numbered from kOwnRecentFirstCommand.
inline constexpr const char* kRecentFileSection = "Recent File List";
inline constexpr std::size_t kRecentFileCount = 10;
inline constexpr const char* kOwnRecentFileSection = "Korvane Recent Files";
inline constexpr std::size_t kOwnRecentFileCount = 20;
inline constexpr int kOwnRecentFirstCommand = 33900;

}  // namespace tellurine::shell
