// tellurine-cli convert IN OUT [--explorer-order] [--group NAME] [--allow-loss] [--png-elements]
// Reads any supported icon container and writes one icon in the format OUT's extension names: an
// .ico file, an .icns family or an .iconset folder.
#include <CLI/CLI.hpp>

#include <filesystem>
#include <memory>
#include <string>
#include <system_error>

#include "cli/commands.h"
#include "cli/icon_support.h"
#include "formats/iconset.h"
#include "image/block.h"

namespace tellurine::cli {

namespace {

struct ConvertOptions {
    std::string input;
    std::string output;
    std::string group;
    ProjectOutput how;
};

int RunConvert(const ConvertOptions& o) {
    KeepFreedMemoryForReuse();
    const std::string ext = LowerExtension(o.output);
    const bool iconset = IsIconsetPath(o.output);
    if (ext != ".ico" && ext != ".icns" && !iconset) {
        PrintError("convert: the output must end in .ico, .icns or .iconset: " + o.output);
        return kExitUsage;
    }
    IconFileContents contents;
    if (!ReadIconInput(o.input, contents)) return kExitFailure;

    NamedIcon* chosen = ChooseIcon("convert", o.input, contents, o.group);
    if (chosen == nullptr) return kExitFailure;
    CIconDoc& doc = chosen->doc;
    doc.macintosh = ext == ".icns" || iconset;
    doc.cursor = false;  // a cursor read is written as an icon

    // The output is made from an input that stays on disk, so the save does not wait for the disk
    // to confirm it, unless it replaces that very input: then the new file is the only copy.
    std::error_code ec;
    const bool replacesInput = std::filesystem::equivalent(o.input, o.output, ec) && !ec;
    ProjectOutput how = o.how;
    how.durability = replacesInput ? Durability::Flush : Durability::NoFlush;
    return WriteProjectOutput("convert", o.output, doc, how);
}

}  // namespace

CommandRunner AddConvertCommand(CLI::App& app) {
    auto options = std::make_shared<ConvertOptions>();
    CLI::App* sub = app.add_subcommand("convert", "Rewrite an icon as a Windows icon file or a Macintosh icon family");
    sub->add_option("IN", options->input, kIconFilesHelp)->required();
    sub->add_option("OUT", options->output, "File to write: .ico, .icns, or an .iconset folder")->required();
    sub->add_option("--group", options->group,
                    "The icon to write from a file of several named icons, or the group of a program (default: the first)");
    sub->add_flag("--explorer-order", options->how.explorerOrder,
                  "Save an .ico in the explorer-compatible order: smaller formats first, 32-bit formats last");
    AddProjectOutputOptions(sub, options->how);
    return [options] { return RunConvert(*options); };
}

}  // namespace tellurine::cli
