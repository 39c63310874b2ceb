// tellurine-cli iconset SOURCE -o DIR [--platforms LIST] [--name NAME] [--background COLOR] [--resample hq] [--json]
// Makes the icon files of every platform an application ships on from one picture, drawing or
// icon project; the sizes a project has formats of are used as they are.
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "cli/commands.h"
#include "cli/icon_support.h"
#include "formats/icon_set.h"
#include "image/block.h"
#include "image/file_io.h"

namespace tellurine::cli {

namespace {

struct IconsetOptions {
    std::string source;
    std::string output;
    std::vector<std::string> platforms;
    std::string name;
    std::string background = "white";
    ResampleQuality quality = ResampleQuality::Standard;
    bool json = false;
};

// The platforms named, each once, in the order the set lists them; false, with a message, for a
// word that names none.
bool ParsePlatforms(const std::vector<std::string>& words, std::vector<IconSetPlatform>& platforms) {
    if (words.empty()) {
        platforms.assign(kIconSetPlatforms.begin(), kIconSetPlatforms.end());
        return true;
    }
    for (const std::string& word : words) {
        const auto platform = FindIconSetPlatform(word);
        if (!platform) {
            std::string names;
            for (const IconSetPlatform p : kIconSetPlatforms)
                names += std::string(names.empty() ? "" : ", ") + IconSetPlatformName(p);
            PrintError("iconset: there is no platform \"" + word + "\" (" + names + ")");
            return false;
        }
        if (std::find(platforms.begin(), platforms.end(), *platform) == platforms.end())
            platforms.push_back(*platform);
    }
    std::sort(platforms.begin(), platforms.end());
    return true;
}

// The source's name without its folder and extension ("app" for "art/app.svg" and "app.iconset/").
std::string SourceName(const std::string& source) {
    std::filesystem::path path(source);
    if (!path.has_filename()) path = path.parent_path();
    const std::string stem = path.stem().string();
    return stem.empty() ? "icon" : stem;
}

int RunIconset(const IconsetOptions& o) {
    IconSetRequest request;
    if (!ParsePlatforms(o.platforms, request.platforms)) return kExitUsage;
    const auto background = ParseIconSetColour(o.background);
    if (!background) {
        PrintError("iconset: \"" + o.background + "\" is not a colour (#RRGGBB, #RGB, white or black)");
        return kExitUsage;
    }
    request.background = *background;
    request.name = o.name.empty() ? SourceName(o.source) : o.name;

    KeepFreedMemoryForReuse();
    IconSetSource source;
    std::string error;
    if (!LoadIconSetSource(o.source, source, error)) {
        PrintError("iconset: cannot read " + o.source + ": " + error);
        return kExitFailure;
    }
    source.SetResampleQuality(o.quality);
    request.drawing = source.IsDrawing();
    const std::vector<IconSetFile> plan = PlanIconSet(request);
    std::error_code ec;
    if (std::filesystem::exists(o.output, ec) && !std::filesystem::is_directory(o.output, ec)) {
        PrintError("iconset: the output is a file, not a folder: " + o.output);
        return kExitFailure;
    }
    RemoveKeptFilesOnInterrupt();
    if (!WriteIconSet(source, plan, o.output, std::max(1u, std::thread::hardware_concurrency()), error)) {
        PrintError("iconset: " + error);
        return kExitFailure;
    }

    std::string text;
    if (o.json) {
        nlohmann::ordered_json files = nlohmann::ordered_json::array();
        for (const IconSetFile& f : plan) {
            const bool sized = f.width > 0;
            files.push_back({{"path", (std::filesystem::path(o.output) / f.path).string()},
                             {"width", sized ? nlohmann::ordered_json(f.width) : nlohmann::ordered_json()},
                             {"height", sized ? nlohmann::ordered_json(f.height) : nlohmann::ordered_json()},
                             {"platform", IconSetPlatformName(f.platform)}});
        }
        const nlohmann::ordered_json document = {{"files", std::move(files)}};
        text = document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
    } else {
        for (const IconSetFile& f : plan) {
            text += (std::filesystem::path(o.output) / f.path).string();
            if (f.width > 0) text += " (" + std::to_string(f.width) + "x" + std::to_string(f.height) + ")";
            text += "\n";
        }
    }
    std::fwrite(text.data(), 1, text.size(), stdout);
    if (std::fflush(stdout) != 0) {
        PrintError("iconset: cannot write the listing");
        return kExitFailure;
    }
    return kExitOk;
}

}  // namespace

CommandRunner AddIconsetCommand(CLI::App& app) {
    auto options = std::make_shared<IconsetOptions>();
    CLI::App* sub = app.add_subcommand(
        "iconset",
        "Make every platform's icon files from one picture, drawing or icon (hand-tuned sizes kept)");
    sub->add_option("SOURCE", options->source,
                    "A picture (PNG, BMP, JPEG, ...), an SVG drawing, or an icon (.ico, .icns, .cur, a "
                    "program's icon, "
                    "...) whose formats are used as they are at their sizes")
        ->required();
    sub->add_option("-o,--output", options->output, "The folder the set is written to (created when missing)")
        ->required();
    sub->add_option("--platforms", options->platforms,
                    "Comma-separated, of windows, macos, linux, msix, android, ios, web (default: all)")
        ->delimiter(',');
    sub->add_option(
        "--name", options->name,
        "The application's name, for the files named after it and the web manifest (default: SOURCE's "
        "name)");
    sub->add_option("--background", options->background,
                    "The colour under iOS's, the touch and maskable web icons and Android's adaptive icon "
                    "(#RRGGBB; default white)");
    AddResampleOption(sub, options->quality);
    sub->add_flag("--json", options->json, "List the files written as one JSON document");
    return [options] { return RunIconset(*options); };
}

}  // namespace tellurine::cli
