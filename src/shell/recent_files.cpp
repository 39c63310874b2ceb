#include "shell/recent_files.h"

#include <algorithm>

#include "shell/app_support.h"

namespace tellurine::shell {

void RecentFileList::Add(const std::string& path) {
    if (path.empty() || capacity_ == 0) return;
    Remove(path);
    entries_.insert(entries_.begin(), path);
    if (entries_.size() > capacity_) entries_.resize(capacity_);
}

void RecentFileList::Remove(const std::string& path) {
    entries_.erase(std::remove(entries_.begin(), entries_.end(), path), entries_.end());
}

std::string RecentFileList::MenuText(std::size_t i) const {
    if (i >= entries_.size()) return {};
    // Mnemonics 1 to 9, then 0 for the tenth; further entries have none.
    std::string number;
    if (i < 9) number.append(1, '&').append(std::to_string(i + 1));
    else if (i == 9) number = "1&0";
    else number = std::to_string(i + 1);
    std::string name = AbbreviatePath(entries_[i], displayLength_);
    // A '&' of the name is doubled so that the menu shows it.
    std::string escaped;
    for (const char c : name) {
        if (c == '&') escaped += '&';
        escaped += c;
    }
    return number + " " + escaped;
}

void RecentFileList::Load(const Profile& profile) {
    entries_.clear();
    for (std::size_t i = 0; i < capacity_; ++i) {
        std::string path = profile.GetString(section_, "File" + std::to_string(i + 1), "");
        if (!path.empty() && std::find(entries_.begin(), entries_.end(), path) == entries_.end())
            entries_.push_back(std::move(path));
    }
}

void RecentFileList::Save(Profile& profile) const {
    for (std::size_t i = 0; i < capacity_; ++i) {
        const std::string name = "File" + std::to_string(i + 1);
        if (i < entries_.size()) profile.WriteString(section_, name, entries_[i]);
        else profile.Remove(section_, name);
    }
}

}  // namespace tellurine::shell
