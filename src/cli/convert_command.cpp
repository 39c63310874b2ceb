// tellurine-cli convert IN OUT [--explorer-order]
// Reads any supported icon container and writes it in the format OUT's extension names.
#include <CLI/CLI.hpp>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <memory>
#include <string>

#include "cli/commands.h"
#include "cli/icon_support.h"

namespace tellurine::cli {

namespace {

struct ConvertOptions {
    std::string input;
    std::string output;
    bool explorerOrder = false;
};

std::string LowerExtension(const std::string& path) {
    std::string ext = std::filesystem::path(path).extension().string();
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ext;
}

int RunConvert(const ConvertOptions& o) {
    if (LowerExtension(o.output) != ".ico") {
        PrintError("convert: the output must end in .ico: " + o.output);
        return kExitUsage;
    }
    CIconDoc doc;
    IconFileType type = IconFileType::Icon;
    if (!ReadIconInput(o.input, doc, type)) return kExitFailure;
    // The output is made from an input that stays on disk, so the save does not wait for the disk
    // to confirm it, unless it replaces that very input: then the new file is the only copy.
    std::error_code ec;
    const bool replacesInput = std::filesystem::equivalent(o.input, o.output, ec) && !ec;
    std::string error;
    if (!SaveIconFile(o.output, doc, o.explorerOrder, error,
                      replacesInput ? Durability::Flush : Durability::NoFlush)) {
        PrintError("convert: cannot write " + o.output + ": " + error);
        return kExitFailure;
    }
    return kExitOk;
}

}  // namespace

CommandRunner AddConvertCommand(CLI::App& app) {
    auto options = std::make_shared<ConvertOptions>();
    CLI::App* sub = app.add_subcommand("convert", "Rewrite an icon or cursor file as an icon file");
    sub->add_option("IN", options->input, "Icon (.ico) or cursor (.cur) file to read")->required();
    sub->add_option("OUT", options->output, "File to write: .ico")->required();
    sub->add_flag("--explorer-order", options->explorerOrder,
                  "Save in the explorer-compatible order: smaller formats first, 32-bit formats last");
    return [options] { return RunConvert(*options); };
}

}  // namespace tellurine::cli
