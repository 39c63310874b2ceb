#include "cli/icon_support.h"

#include "cli/commands.h"

namespace tellurine::cli {

bool ReadIconInput(const std::string& path, IconFileContents& contents, std::string* message) {
    std::string error;  // the reason is not shown: the message is the same for every failure
    if (LoadIconContainer(path, contents, error)) return true;
    if (message != nullptr)
        *message = path + ": " + kIconReadError;
    else
        PrintError(path + ": " + kIconReadError);
    return false;
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

}  // namespace tellurine::cli
