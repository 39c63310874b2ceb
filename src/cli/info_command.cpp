// tellurine-cli info FILE... [--json]
// Lists the formats of icon and cursor files, in file order.
#include <CLI/CLI.hpp>

#include <nlohmann/json.hpp>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "cli/commands.h"
#include "cli/icon_support.h"

namespace tellurine::cli {

namespace {

struct InfoOptions {
    std::vector<std::string> files;
    bool json = false;
};

const char* KindName(IconFileType type) { return type == IconFileType::Cursor ? "cur" : "ico"; }

// PATH: KIND, N formats
//   INDEX: WxH, BPP bpp, COLORS colors, alpha|no alpha, png|bitmap
std::string TextBlock(const std::string& path, IconFileType type, const CIconDoc& doc) {
    const int count = doc.GetFormatCount();
    std::string text = path + ": " + KindName(type) + ", " + std::to_string(count) + (count == 1 ? " format\n" : " formats\n");
    for (int i = 0; i < count; ++i) {
        const CIconObject& f = *doc.GetFormat(i);
        text += "  " + std::to_string(i) + ": " + std::to_string(f.Width()) + "x" + std::to_string(f.Height()) + ", " +
                std::to_string(f.BitCount()) + " bpp, " + std::to_string(f.ColorCount()) + " colors, " +
                (f.HasAlpha() ? "alpha, " : "no alpha, ") + (f.Icon().IsCompressed() ? "png\n" : "bitmap\n");
    }
    return text;
}

nlohmann::ordered_json JsonFile(const std::string& path, IconFileType type, const CIconDoc& doc) {
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
    return {{"path", path}, {"kind", KindName(type)}, {"formats", std::move(formats)}};
}

int RunInfo(const InfoOptions& o) {
    int exitCode = kExitOk;
    nlohmann::ordered_json files = nlohmann::ordered_json::array();
    bool first = true;
    for (const std::string& path : o.files) {
        CIconDoc doc;
        IconFileType type = IconFileType::Icon;
        if (!ReadIconInput(path, doc, type)) {
            exitCode = kExitFailure;
            continue;
        }
        if (o.json) {
            files.push_back(JsonFile(path, type, doc));
        } else {
            const std::string text = (first ? "" : "\n") + TextBlock(path, type, doc);
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
    CLI::App* sub = app.add_subcommand("info", "List the formats of icon and cursor files");
    sub->add_option("FILE", options->files, "Icon (.ico) or cursor (.cur) files")->required();
    sub->add_flag("--json", options->json, "One JSON document for all files");
    return [options] { return RunInfo(*options); };
}

}  // namespace tellurine::cli
