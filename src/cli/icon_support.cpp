#include "cli/icon_support.h"

#include <algorithm>

#include "cli/commands.h"
#include "formats/icns_codec.h"

namespace tellurine::cli {

bool ReadIconInput(const std::string& path, IconFileContents& contents, std::string* message) {
    // A file that cannot be read says why ("cannot open: No such file or directory"); one that
    // holds nothing readable gets the program's one message for damaged files.
    std::string error;
    bool fileUnreadable = false;
    if (LoadIconContainer(path, contents, error, &fileUnreadable)) return true;
    const std::string line = fileUnreadable ? path + ": " + error : ReadFailureLine(path, error == kOutOfMemoryText);
    if (message != nullptr)
        *message = line;
    else
        PrintError(line);
    return false;
}

std::string ReadFailureLine(const std::string& path, bool outOfMemory) {
    return path + ": " + (outOfMemory ? kOutOfMemoryText : kIconReadError);
}

nlohmann::ordered_json IconNameJson(const NamedIcon& icon) {
    if (icon.number) return *icon.number;
    return icon.name;
}

std::string IconNameForFile(const NamedIcon& icon) {
    std::string name = icon.name;
    for (char& c : name) {
        const bool safe = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
                          c == '_' || c == '-';
        if (!safe) c = '_';
    }
    if (name.empty() || name == "." || name == "..") name = "_" + name;
    return name;
}

void ReportLeftOutFormats(const std::string& command, const std::string& output, const CIconDoc& doc,
                          const std::vector<int>& leftOut) {
    for (const int i : leftOut) {
        const CIconObject& f = *doc.GetFormat(i);
        const int row = FindIcnsRow(f.Width(), f.Height(), f.BitCount() == 32 ? 24 : f.BitCount());
        const std::string reason =
            row < 0 ? "a Macintosh icon family has no element for it"
                    : "its element \"" + IcnsTypeName(kIcnsRows[row].type) + "\" holds another format of that size";
        PrintError(command + ": " + output + ": left out format " + std::to_string(i) + " (" +
                   std::to_string(f.Width()) + "x" + std::to_string(f.Height()) + ", " + std::to_string(f.BitCount()) +
                   " bpp): " + reason);
    }
}

NamedIcon* ChooseIcon(const std::string& command, const std::string& path, IconFileContents& contents,
                      const std::string& group) {
    if (contents.icons.empty()) return nullptr;
    if (group.empty()) return &contents.icons.front();
    const auto chosen = std::find_if(contents.icons.begin(), contents.icons.end(),
                                     [&](const NamedIcon& icon) { return icon.name == group; });
    if (chosen == contents.icons.end()) {
        PrintError(command + ": " + path + " has no icon named " + group);
        return nullptr;
    }
    return &*chosen;
}

}  // namespace tellurine::cli
