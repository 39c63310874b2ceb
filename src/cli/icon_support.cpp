#include "cli/icon_support.h"

#include "cli/commands.h"

namespace tellurine::cli {

bool ReadIconInput(const std::string& path, CIconDoc& doc, IconFileType& type, std::string* message) {
    std::string error;  // the reason is not shown: the message is the same for every failure
    if (LoadIconFile(path, doc, error, &type)) return true;
    if (message != nullptr)
        *message = path + ": " + kIconReadError;
    else
        PrintError(path + ": " + kIconReadError);
    return false;
}

}  // namespace tellurine::cli
