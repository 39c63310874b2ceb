// tellurine-cli info FILE... [--json]
// Lists the formats of icon files of every kind, in file order.
#include <CLI/CLI.hpp>

#include <nlohmann/json.hpp>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "cli/commands.h"
#include "cli/icon_support.h"
#include "formats/icns_codec.h"

namespace tellurine::cli {

namespace {

struct InfoOptions {
    std::vector<std::string> files;
    bool json = false;
};

std::string Plural(std::size_t n, const char* word) {
    return std::to_string(n) + " " + word + (n == 1 ? "" : "s");
}

//   INDEX: WxH, BPP bpp, COLORS colors, alpha|no alpha, png|bitmap
std::string FormatLines(const CIconDoc& doc, const std::string& indent) {
    std::string text;
    for (int i = 0; i < doc.GetFormatCount(); ++i) {
        const CIconObject& f = *doc.GetFormat(i);
        text += indent + std::to_string(i) + ": " + std::to_string(f.Width()) + "x" + std::to_string(f.Height()) +
                ", " + std::to_string(f.BitCount()) + " bpp, " + std::to_string(f.ColorCount()) + " colors, " +
                (f.HasAlpha() ? "alpha, " : "no alpha, ") + (f.Icon().IsCompressed() ? "png\n" : "bitmap\n");
    }
    return text;
}

//   skipped "TYPE" at OFFSET: REASON      (an element of a Macintosh family that was left out)
std::string SkippedLines(const std::vector<IcnsSkippedElement>& skipped, const std::string& indent) {
    std::string text;
    for (const IcnsSkippedElement& e : skipped)
        text += indent + "skipped \"" + PrintableIcnsType(e.type) + "\" at " + std::to_string(e.offset) + ": " +
                IcnsSkipReasonText(e.reason) + "\n";
    return text;
}

//   INDEX: WxH, BPP bpp, hotspot X,Y, rate R
std::string StepLines(const std::vector<CAniObject>& steps) {
    std::string text;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const CAniObject& s = steps[i];
        text += "  " + std::to_string(i) + ": " + std::to_string(s.width) + "x" + std::to_string(s.height) + ", " +
                std::to_string(s.bitDepth) + " bpp, hotspot " + std::to_string(s.hotspotX) + "," +
                std::to_string(s.hotspotY) + ", rate " + std::to_string(s.rate) + "\n";
    }
    return text;
}

// PATH: ani, N steps               (animated cursor)
// PATH: KIND, N formats            (one icon)
// PATH: KIND, N icons              (named icons)
//   icon NAME, M formats
std::string TextBlock(const std::string& path, const IconFileContents& contents) {
    std::string text = path + ": " + IconContainerName(contents.container) + ", ";
    if (contents.container == IconContainer::Ani)
        return text + Plural(contents.steps.size(), "step") + "\n" + StepLines(contents.steps);
    if (!contents.Named()) {
        const CIconDoc& doc = contents.icons.front().doc;
        return text + Plural(static_cast<std::size_t>(doc.GetFormatCount()), "format") + "\n" + FormatLines(doc, "  ") +
               SkippedLines(contents.icons.front().skipped, "  ");
    }
    text += Plural(contents.icons.size(), "icon") + "\n";
    for (const NamedIcon& icon : contents.icons)
        text += "  icon " + icon.name + ", " + Plural(static_cast<std::size_t>(icon.doc.GetFormatCount()), "format") +
                "\n" + FormatLines(icon.doc, "    ") + SkippedLines(icon.skipped, "    ");
    return text;
}

nlohmann::ordered_json JsonFormats(const CIconDoc& doc) {
    nlohmann::ordered_json formats = nlohmann::ordered_json::array();
    for (int i = 0; i < doc.GetFormatCount(); ++i) {
        const CIconObject& f = *doc.GetFormat(i);
        formats.push_back({{"index", i},
                           {"width", f.Width()},
                           {"height", f.Height()},
                           {"bpp", f.BitCount()},
                           {"colors", f.ColorCount()},
                           {"alpha", f.HasAlpha()},
                           {"png", f.Icon().IsCompressed()}});
    }
    return formats;
}

// Present only when an element was left out: [{"type", "offset", "reason"}, ...].
void AddJsonSkipped(nlohmann::ordered_json& object, const std::vector<IcnsSkippedElement>& skipped) {
    if (skipped.empty()) return;
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const IcnsSkippedElement& e : skipped)
        list.push_back({{"type", PrintableIcnsType(e.type)}, {"offset", e.offset}, {"reason", IcnsSkipReasonText(e.reason)}});
    object["skipped"] = std::move(list);
}

nlohmann::ordered_json JsonFile(const std::string& path, const IconFileContents& contents) {
    nlohmann::ordered_json file = {{"path", path}, {"kind", IconContainerName(contents.container)}};
    if (contents.container == IconContainer::Ani) {
        nlohmann::ordered_json steps = nlohmann::ordered_json::array();
        for (std::size_t i = 0; i < contents.steps.size(); ++i) {
            const CAniObject& s = contents.steps[i];
            steps.push_back({{"index", i},
                             {"width", s.width},
                             {"height", s.height},
                             {"bpp", s.bitDepth},
                             {"hotspot", {s.hotspotX, s.hotspotY}},
                             {"rate", s.rate}});
        }
        file["steps"] = std::move(steps);
        return file;
    }
    if (!contents.Named()) {
        file["formats"] = JsonFormats(contents.icons.front().doc);
        AddJsonSkipped(file, contents.icons.front().skipped);
        return file;
    }
    nlohmann::ordered_json groups = nlohmann::ordered_json::array();
    for (const NamedIcon& icon : contents.icons) {
        nlohmann::ordered_json group = {{"name", IconNameJson(icon)}, {"formats", JsonFormats(icon.doc)}};
        AddJsonSkipped(group, icon.skipped);
        groups.push_back(std::move(group));
    }
    file["groups"] = std::move(groups);
    return file;
}

int RunInfo(const InfoOptions& o) {
    int exitCode = kExitOk;
    nlohmann::ordered_json files = nlohmann::ordered_json::array();
    bool first = true;
    for (const std::string& path : o.files) {
        IconFileContents contents;
        if (!ReadIconInput(path, contents)) {
            exitCode = kExitFailure;
            continue;
        }
        if (o.json) {
            files.push_back(JsonFile(path, contents));
        } else {
            const std::string text = (first ? "" : "\n") + TextBlock(path, contents);
            std::fwrite(text.data(), 1, text.size(), stdout);
            first = false;
        }
    }
    if (o.json) {
        // A path that is not UTF-8 is shown with replacement characters rather than failing.
        const nlohmann::ordered_json document = {{"files", std::move(files)}};
        const std::string text = document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
        std::fwrite(text.data(), 1, text.size(), stdout);
    }
    if (std::fflush(stdout) != 0) {
        PrintError("info: cannot write the listing");
        return kExitFailure;
    }
    return exitCode;
}

}  // namespace

CommandRunner AddInfoCommand(CLI::App& app) {
    auto options = std::make_shared<InfoOptions>();
    CLI::App* sub = app.add_subcommand("info", "List the formats of icon, cursor, animated cursor, Macintosh icon and program files");
    sub->add_option("FILE", options->files, kIconFilesHelp)->required();
    sub->add_flag("--json", options->json, "One JSON document for all files");
    return [options] { return RunInfo(*options); };
}

}  // namespace tellurine::cli
