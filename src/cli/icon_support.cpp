#include "cli/icon_support.h"

#include <algorithm>
#include <map>

#include "cli/commands.h"
#include "formats/icns_codec.h"
#include "formats/iconset.h"
#include "image/file_io.h"
#include "shell/texts.h"

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
    return path + ": " + (outOfMemory ? kOutOfMemoryText : text::kIconReadError);
}

nlohmann::ordered_json IconNameJson(const NamedIcon& icon) {
    if (icon.number) return *icon.number;
    return icon.name;
}

std::string IconNameForFile(const NamedIcon& icon) { return SafeFileNamePart(icon.name); }

void ReportLeftOutFormats(const std::string& command, const std::string& output, const CIconDoc& doc,
                          const std::vector<int>& leftOut) {
    const bool iconset = IsIconsetPath(output);
    for (const int i : leftOut) {
        const CIconObject& f = *doc.GetFormat(i);
        const std::vector<std::uint32_t> fits = MacElementsFor(f.Width(), f.Height(), f.BitCount());
        std::string reason;
        if (iconset) {
            reason = "an icon set has no free file for it";
        } else if (fits.empty()) {
            reason = "a Macintosh icon family has no element for it";
        } else if (fits.size() == 1) {
            reason = "its element \"" + IcnsTypeName(fits.front()) + "\" holds another format of that size";
        } else {
            std::string names;
            for (const std::uint32_t type : fits) names += (names.empty() ? "\"" : ", \"") + IcnsTypeName(type) + "\"";
            reason = "its elements " + names + " hold other formats of that size";
        }
        PrintError(command + ": " + output + ": left out format " + std::to_string(i) + " (" +
                   std::to_string(f.Width()) + "x" + std::to_string(f.Height()) + ", " + std::to_string(f.BitCount()) +
                   " bpp): " + reason);
    }
}

int WriteProjectOutput(const std::string& command, const std::string& output, const CIconDoc& doc,
                       const ProjectOutput& how) {
    IconSavePlan plan;
    const IconContainer kind = SaveKindOf(output);
    if (!PlanIconSave(doc, kind, how.explorerOrder, IcnsWriteOptions{how.pngElements}, /*findChanges=*/false, plan)) {
        PrintError(command + ": cannot write " + output + ": " +
                   (kind == IconContainer::Icns      ? "no format of the icon has a Macintosh element, or an element could not be encoded"
                    : kind == IconContainer::Iconset ? "no format of the icon has a picture an icon set can hold"
                                                     : "the icon cannot be written (an empty project, an empty format or a PNG encoding failure)"));
        return kExitFailure;
    }
    ReportLeftOutFormats(command, output, doc, plan.leftOut);
    if (!plan.leftOut.empty() && !how.allowLoss) {
        PrintError(command + ": " + output + ": nothing was written; --allow-loss writes it without those formats");
        return kExitFailure;
    }
    std::string error;
    if (!WritePlannedSave(output, doc, plan, how.durability, error)) {
        PrintError(command + ": cannot write " + output + ": " + error);
        return kExitFailure;
    }
    return kExitOk;
}

void AddResampleOption(CLI::App* sub, ResampleQuality& quality) {
    const std::map<std::string, ResampleQuality> names{{"standard", ResampleQuality::Standard},
                                                       {"hq", ResampleQuality::High}};
    sub->add_option("--resample", quality,
                    "standard (area average, the default) or hq (a sharper filter that keeps symmetric pictures "
                    "symmetric)")
        ->transform(CLI::CheckedTransformer(names, CLI::ignore_case));
}

void AddProjectOutputOptions(CLI::App* sub, ProjectOutput& how) {
    sub->add_flag("--allow-loss", how.allowLoss,
                  "Write a Macintosh family or icon set even when it cannot hold every format (those are left out)");
    sub->add_flag("--png-elements", how.pngElements,
                  "Store new 256 and 512 pixel family elements as PNG, as current Mac tools do, not JPEG 2000");
}

std::string NoSuchIconLine(const std::string& command, const std::string& path, const std::string& group) {
    return command + ": " + path + " has no icon named " + group;
}

NamedIcon* ChooseIcon(const std::string& command, const std::string& path, IconFileContents& contents,
                      const std::string& group) {
    if (contents.icons.empty()) return nullptr;
    if (group.empty()) return &contents.icons.front();
    const auto chosen = std::find_if(contents.icons.begin(), contents.icons.end(),
                                     [&](const NamedIcon& icon) { return icon.name == group; });
    if (chosen == contents.icons.end()) {
        PrintError(NoSuchIconLine(command, path, group));
        return nullptr;
    }
    return &*chosen;
}

}  // namespace tellurine::cli
