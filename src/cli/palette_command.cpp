// tellurine-cli palette convert IN OUT [--format NAME]
// tellurine-cli palette info IN [--json]
// Palette files (GIMP, JASC and RIFF .pal, .aco, .ase, Paint.NET): converted from one format to
// another, or listed. The format read is found from the content; the one written from OUT's
// extension, or --format.
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "cli/commands.h"
#include "formats/palette_file.h"
#include "image/file_io.h"

namespace tellurine::cli {

namespace {

// How many colours the text listing shows (--json lists them all).
constexpr std::size_t kListedColors = 16;

struct PaletteOptions {
    std::string input;
    std::string output;
    std::string format;
    bool json = false;
};

bool LoadPalette(const std::string& path, PaletteFile& palette, std::string& formatName) {
    std::vector<std::uint8_t> bytes;
    std::string error;
    if (!ReadFileBytes(path, bytes, kMaxPaletteFileBytes, error) || !ReadPaletteFile(bytes, palette, error)) {
        PrintError("palette: cannot read " + path + ": " + error);
        return false;
    }
    formatName = PaletteFormatName(*DetectPaletteFormat(bytes));
    return true;
}

std::string Hex(const NamedColor& c) {
    char text[12];
    std::snprintf(text, sizeof text, c.alpha == 255 ? "#%02X%02X%02X" : "#%02X%02X%02X%02X", c.red, c.green,
                  c.blue, c.alpha);
    return text;
}

int RunConvert(const PaletteOptions& o) {
    const std::optional<PaletteFormat> format =
        o.format.empty() ? PaletteFormatFromPath(o.output) : PaletteFormatFromName(o.format);
    if (!format) {
        PrintError(o.format.empty()
                       ? "palette convert: " + o.output +
                             " has no palette extension (.gpl, .pal, .aco, .ase, .txt); give --format"
                       : "palette convert: there is no palette format \"" + o.format +
                             "\" (gimp, jasc, riff, aco1, aco, ase, paintnet)");
        return kExitUsage;
    }
    PaletteFile palette;
    std::string readFormat, error;
    if (!LoadPalette(o.input, palette, readFormat)) return kExitFailure;
    // A palette without a name of its own is called after its file, for the formats that keep one.
    if (palette.name.empty()) palette.name = CleanPaletteName(std::filesystem::path(o.input).stem().string());
    for (const std::string& reason : palette.skipped) PrintError("palette convert: left out " + reason);
    std::vector<std::uint8_t> bytes;
    if (!WritePaletteFile(palette, *format, bytes, error) || !WriteFileAtomically(o.output, bytes, error)) {
        PrintError("palette convert: cannot write " + o.output + ": " + error);
        return kExitFailure;
    }
    return kExitOk;
}

int RunInfo(const PaletteOptions& o) {
    PaletteFile palette;
    std::string format;
    if (!LoadPalette(o.input, palette, format)) return kExitFailure;
    std::string text;
    if (o.json) {
        nlohmann::ordered_json colors = nlohmann::ordered_json::array();
        for (std::size_t i = 0; i < palette.colors.size(); ++i) {
            const NamedColor& c = palette.colors[i];
            colors.push_back({{"index", i},
                              {"hex", Hex(c)},
                              {"red", c.red},
                              {"green", c.green},
                              {"blue", c.blue},
                              {"alpha", c.alpha},
                              {"name", c.name}});
            if (!c.group.empty()) colors.back()["group"] = c.group;
        }
        nlohmann::ordered_json document = {{"path", o.input},
                                           {"format", format},
                                           {"name", palette.name},
                                           {"count", palette.colors.size()},
                                           {"colors", std::move(colors)}};
        if (!palette.skipped.empty()) document["skipped"] = palette.skipped;
        text = document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
    } else {
        text = o.input + ": " + format + ", " + std::to_string(palette.colors.size()) +
               (palette.colors.size() == 1 ? " colour" : " colours") +
               (palette.name.empty() ? "" : ", \"" + palette.name + "\"") + "\n";
        const std::size_t shown = std::min(palette.colors.size(), kListedColors);
        for (std::size_t i = 0; i < shown; ++i) {
            const NamedColor& c = palette.colors[i];
            text += "  " + std::to_string(i) + ": " + Hex(c) + (c.name.empty() ? "" : " " + c.name) +
                    (c.group.empty() ? "" : " (" + c.group + ")") + "\n";
        }
        if (shown < palette.colors.size())
            text += "  ... " + std::to_string(palette.colors.size() - shown) + " more\n";
        for (const std::string& reason : palette.skipped) text += "  left out " + reason + "\n";
    }
    std::fwrite(text.data(), 1, text.size(), stdout);
    if (std::fflush(stdout) != 0) {
        PrintError("palette info: cannot write the listing");
        return kExitFailure;
    }
    return kExitOk;
}

}  // namespace

CommandRunner AddPaletteCommand(CLI::App& app) {
    auto options = std::make_shared<PaletteOptions>();
    CLI::App* sub =
        app.add_subcommand("palette", "Convert or list palette files (.gpl, .pal, .aco, .ase, .txt)");
    sub->require_subcommand(1, 1);
    CLI::App* convert = sub->add_subcommand("convert", "Write a palette in another format");
    convert->add_option("IN", options->input, "A palette file of any of the formats, found from its content")
        ->required();
    convert->add_option("OUT", options->output, "The file written, in the format its extension names")
        ->required();
    convert->add_option(
        "--format", options->format,
        "The format written whatever OUT's extension: gimp, jasc, riff, aco1, aco, ase, paintnet");
    CLI::App* info = sub->add_subcommand("info", "List a palette: its format, name, count and first colours");
    info->add_option("IN", options->input, "A palette file")->required();
    info->add_flag("--json", options->json, "One JSON document, with every colour");
    return [options, convert] { return convert->parsed() ? RunConvert(*options) : RunInfo(*options); };
}

}  // namespace tellurine::cli
