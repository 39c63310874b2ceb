// tellurine-cli seticon PROGRAM ICON [--group ID|NAME] [--language N] [-o OUT] [--remove-signature] [--no-backup]
// Sets the icon of a Windows program or library: one icon group's images replaced by ICON's.
#include <CLI/CLI.hpp>

#include <cctype>
#include <memory>
#include <string>

#include "cli/commands.h"
#include "cli/icon_support.h"
#include "formats/pe_writer.h"
#include "shell/program_icons.h"

namespace tellurine::cli {

namespace {

struct SetIconCommandOptions {
    std::string program;
    std::string icon;
    std::string group;
    int language = -1;
    std::string output;
    bool removeSignature = false;
    bool noBackup = false;
};

int RunSetIcon(const SetIconCommandOptions& o) {
    SetIconOptions options;
    options.removeSignature = o.removeSignature;
    if (o.language > 0xFFFF) {
        PrintError("seticon: --language takes a number from 0 to 65535");
        return kExitUsage;
    }
    if (o.language >= 0) options.language = static_cast<std::uint16_t>(o.language);
    if (!o.group.empty()) {
        // A group given in digits is a number, as resource listings show numbers.
        const bool number = o.group.find_first_not_of("0123456789") == std::string::npos && o.group.size() <= 5;
        if (number && (std::stoul(o.group) == 0 || std::stoul(o.group) > 0xFFFF)) {
            PrintError("seticon: --group takes a number from 1 to 65535, or a name");
            return kExitUsage;
        }
        options.group = number ? ResourceName{static_cast<std::uint16_t>(std::stoul(o.group)), {}}
                               : ResourceName{std::nullopt, o.group};
    }

    IconFileContents contents;
    if (!ReadIconInput(o.icon, contents)) return kExitFailure;
    std::string error;
    const SetIconStatus status =
        shell::ChangeProgramIcon(o.program, contents.icons.front().doc, options, {o.output, !o.noBackup}, error);
    if (status == SetIconStatus::NotAnIcon) {
        PrintError("seticon: " + o.icon + ": the icon has no format that can be written");
        return kExitFailure;
    }
    if (status != SetIconStatus::Ok) {
        PrintError("seticon: " +
                   (status == SetIconStatus::CannotWrite ? error : o.program + ": " + SetIconStatusText(status)));
        return kExitFailure;
    }
    return kExitOk;
}

}  // namespace

CommandRunner AddSetIconCommand(CLI::App& app) {
    auto options = std::make_shared<SetIconCommandOptions>();
    CLI::App* sub = app.add_subcommand("seticon", "Set the icon of a Windows program or library (.exe, .dll ...)");
    sub->add_option("PROGRAM", options->program, "The program or library to change")->required();
    sub->add_option("ICON", options->icon, "The icon: any icon file or picture the tool reads (its first icon)")
        ->required();
    sub->add_option("--group", options->group,
                    "The icon group to replace, by number or name; added when missing (default: the first group)");
    sub->add_option("--language", options->language,
                    "The group's language (default: the group's own, or the program's first resource's)");
    sub->add_option("-o,--output", options->output, "Write the changed program here instead of over PROGRAM");
    sub->add_flag("--remove-signature", options->removeSignature,
                  "Remove the signature of a signed program instead of refusing to change it");
    sub->add_flag("--no-backup", options->noBackup, "Keep no PROGRAM.bak of the program as it was");
    return [options] { return RunSetIcon(*options); };
}

}  // namespace tellurine::cli
