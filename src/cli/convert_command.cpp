// tellurine-cli convert IN OUT [--explorer-order] [--group NAME] [--allow-loss] [--png-elements]
// tellurine-cli convert IN --all-groups -o DIR [--explorer-order]
// tellurine-cli convert IN OUT.icl|OUT.dll [--bits 32|64]
// tellurine-cli convert PICTURE OUT --strip auto|WxH
// Reads any supported icon container and writes one icon in the format OUT's extension names: an
// .ico file, an .icns family, an .iconset folder or an image strip (.tbf); or every icon of it, one
// .ico (.cur for a cursor) each, into a folder. With --strip, IN is a picture of several cells
// side by side, each of which becomes a format.
#include <CLI/CLI.hpp>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "cli/commands.h"
#include "cli/icon_support.h"
#include "formats/ico_file.h"
#include "formats/iconset.h"
#include "formats/image_strip.h"
#include "formats/ne_resources.h"
#include "formats/pe_writer.h"
#include "image/block.h"
#include "image/file_io.h"
#include "shell/program_tiles.h"

namespace tellurine::cli {

namespace {

struct ConvertOptions {
    std::string input;
    std::string output;
    std::string group;
    bool allGroups = false;
    std::string directory;
    int bits = 64;  // of a .dll written
    std::string strip;  // the cell size of a picture read as a strip: "auto" or WxH
    ProjectOutput how;
};

// Every icon or group of the input, one file each, named by the rule the program window names
// them by (made unique without case), cursors as cursor files.
int ConvertAllGroups(const ConvertOptions& o) {
    if (!o.output.empty() || o.directory.empty() || !o.group.empty()) {
        PrintError("convert: --all-groups writes into the folder given with -o, and takes neither OUT nor --group");
        return kExitUsage;
    }
    IconFileContents contents;
    if (!ReadIconInput(o.input, contents)) return kExitFailure;
    std::error_code ec;
    std::filesystem::create_directories(o.directory, ec);
    if (ec || !std::filesystem::is_directory(o.directory, ec)) {
        PrintError("convert: cannot create the folder " + o.directory + (ec ? ": " + ec.message() : ""));
        return kExitFailure;
    }
    const std::string stem = std::filesystem::path(o.input).stem().string();
    std::vector<std::string> names;
    for (const NamedIcon& icon : contents.icons) {
        const bool cursor = contents.container == IconContainer::Pe && icon.doc.cursor;
        names.push_back((contents.Named() ? shell::ProgramGroupFileStem(o.input, icon.name, cursor) : stem) +
                        (cursor || contents.container == IconContainer::Cur ? ".cur" : ".ico"));
    }
    names = shell::UniqueFileNames(names);
    int exitCode = kExitOk;
    ProjectOutput how = o.how;
    how.durability = Durability::NoFlush;
    for (std::size_t i = 0; i < contents.icons.size(); ++i) {
        CIconDoc& doc = contents.icons[i].doc;
        doc.macintosh = false;
        doc.cursor = LowerExtension(names[i]) == ".cur";
        const std::string path = (std::filesystem::path(o.directory) / names[i]).string();
        const int code = WriteProjectOutput("convert", path, doc, how);
        if (code != kExitOk) exitCode = code;
    }
    return exitCode;
}

// Every icon or group of the input as one library, a 16-bit icon library (.icl) or a 32- or
// 64-bit resource-only .dll: groups keep their numbers and names (an icon without either is
// numbered by its place), cursors stay cursors.
int ConvertToLibrary(const ConvertOptions& o, IconFileContents& contents) {
    std::vector<LibraryGroup> groups;
    for (std::size_t i = 0; i < contents.icons.size(); ++i) {
        NamedIcon& icon = contents.icons[i];
        LibraryGroup& group = groups.emplace_back();
        if (icon.number && *icon.number > 0 && *icon.number < 0x8000)
            group.name.id = static_cast<std::uint16_t>(*icon.number);
        else if (contents.Named() && !icon.name.empty())
            group.name.text = icon.name;
        else
            group.name.id = static_cast<std::uint16_t>(std::min<std::size_t>(i + 1, 0x7FFF));
        const bool cursor = icon.doc.cursor && (contents.container == IconContainer::Pe ||
                                                contents.container == IconContainer::Cur);
        if (!WriteIconFile(icon.doc, o.how.explorerOrder, group.iconFile, cursor)) {
            PrintError("convert: cannot write " + o.output + ": icon " + icon.name + " cannot be written");
            return kExitFailure;
        }
    }
    const bool icl = LowerExtension(o.output) == ".icl";
    const auto library = icl ? WriteIconLibrary(groups, std::filesystem::path(o.output).stem().string())
                             : WriteResourceLibrary(groups, o.bits == 64);
    if (!library) {
        PrintError("convert: cannot write " + o.output + ": the icons do not fit a " +
                   (icl ? "16-bit icon library" : "resource library"));
        return kExitFailure;
    }
    std::string error;
    if (!WriteFileAtomically(o.output, *library, error)) {
        PrintError("convert: cannot write " + o.output + ": " + error);
        return kExitFailure;
    }
    return kExitOk;
}

int RunConvert(const ConvertOptions& o) {
    KeepFreedMemoryForReuse();
    if (o.allGroups) return ConvertAllGroups(o);
    if (o.output.empty()) {
        PrintError("convert: OUT is required (or --all-groups -o DIR)");
        return kExitUsage;
    }
    const std::string ext = LowerExtension(o.output);
    const bool iconset = IsIconsetPath(o.output);
    if (ext != ".ico" && ext != ".icns" && ext != ".icl" && ext != ".dll" && ext != ".tbf" && !iconset) {
        PrintError("convert: the output must end in .ico, .icns, .icl, .dll, .tbf or .iconset: " + o.output);
        return kExitUsage;
    }
    IconFileContents contents;
    if (!o.strip.empty()) {
        const std::optional<StripCell> cell = (o.strip == "auto") ? std::nullopt : ParseStripCell(o.strip);
        if (!cell && !(o.strip == "auto")) {
            PrintError("convert: --strip takes auto or a cell size such as 16x16: " + o.strip);
            return kExitUsage;
        }
        std::string error;
        NamedIcon& icon = contents.icons.emplace_back();
        if (!LoadStripPicture(o.input, icon.doc, error, cell)) {
            PrintError("convert: " + o.input + ": " + error);
            return kExitFailure;
        }
        contents.container = IconContainer::Strip;
    } else if (!ReadIconInput(o.input, contents)) {
        return kExitFailure;
    }
    if (ext == ".icl" || ext == ".dll") return ConvertToLibrary(o, contents);

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
    sub->add_option("OUT", options->output, "File to write: .ico, .icns, an .iconset folder, an image strip (.tbf), or an .icl or .dll library of every icon of IN");
    sub->add_flag("--all-groups", options->allGroups,
                  "Write every icon or group of IN, one .ico (.cur for a cursor) each, into the folder given with -o");
    sub->add_option("-o,--output", options->directory, "The folder --all-groups writes into (created when missing)");
    sub->add_option("--group", options->group,
                    "The icon to write from a file of several named icons, or the group of a program (default: the first)");
    sub->add_option("--strip", options->strip,
                    "Read IN as a picture of cells side by side, each a format: auto (squares of its height) or WxH");
    sub->add_option("--bits", options->bits, "A .dll library's kind: 32- or 64-bit (default 64)")
        ->check(CLI::IsMember({32, 64}));
    sub->add_flag("--explorer-order", options->how.explorerOrder,
                  "Save an .ico in the explorer-compatible order: smaller formats first, 32-bit formats last");
    AddProjectOutputOptions(sub, options->how);
    return [options] { return RunConvert(*options); };
}

}  // namespace tellurine::cli
