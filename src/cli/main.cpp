// tellurine-cli: Tellurine's icon and image operations from the command line.
#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <string>

#include "cli/commands.h"

namespace tellurine::cli {

void PrintError(const std::string& message) { std::fprintf(stderr, "tellurine-cli: %s\n", message.c_str()); }

}  // namespace tellurine::cli

namespace {

using namespace tellurine::cli;

struct Command {
    const char* name;
    CommandRunner (*add)(CLI::App&);
};

// In the order the help lists them.
constexpr std::array<Command, 14> kCommands{{
    {"reduce", AddReduceCommand},
    {"info", AddInfoCommand},
    {"extract", AddExtractCommand},
    {"convert", AddConvertCommand},
    {"seticon", AddSetIconCommand},
    {"create", AddCreateCommand},
    {"iconset", AddIconsetCommand},
    {"filter", AddFilterCommand},
    {"adjust", AddAdjustCommand},
    {"resize", AddResizeCommand},
    {"rotate", AddRotateCommand},
    {"flip", AddFlipCommand},
    {"palette", AddPaletteCommand},
    {"find", AddFindCommand},
}};

const Command* FindCommand(const char* name) {
    for (const Command& command : kCommands)
        if (std::strcmp(command.name, name) == 0) return &command;
    return nullptr;
}

}  // namespace

int main(int argc, char** argv) {
    // A lone --version is answered before any parser is set up: the line CLI11 would print.
    if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
        std::fputs("tellurine-cli " TELLURINE_VERSION "\n", stdout);
        return kExitOk;
    }
    // A word that names no command is told as such, with the commands there are.
    if (argc > 1 && argv[1][0] != '-' && FindCommand(argv[1]) == nullptr) {
        std::array<std::string, kCommands.size()> sorted;
        std::transform(kCommands.begin(), kCommands.end(), sorted.begin(), [](const Command& c) { return c.name; });
        std::sort(sorted.begin(), sorted.end());
        std::string names;
        for (const std::string& name : sorted) names += (names.empty() ? "" : ", ") + name;
        PrintError(std::string("unknown command \"") + argv[1] + "\"; the commands are " + names +
                   " (see --help)");
        return kExitUsage;
    }

    CLI::App app{"Tellurine: icons and images from the command line", "tellurine-cli"};
    app.set_version_flag("--version", "tellurine-cli " TELLURINE_VERSION);
    app.require_subcommand(1, 1);

    // Setting up a command's options costs more than a small icon job's own work, so a process
    // sets up only the command it runs when the first word names it: exactly one command runs
    // (require_subcommand(1, 1)), and every later word is that command's. Anything else (help,
    // options first) gets them all.
    std::array<CommandRunner, kCommands.size()> runners;
    if (argc > 1 && argv[1][0] != '-') {
        const Command* command = FindCommand(argv[1]);
        runners[static_cast<std::size_t>(command - kCommands.data())] = command->add(app);
    } else {
        for (std::size_t i = 0; i < kCommands.size(); ++i) runners[i] = kCommands[i].add(app);
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        const int code = app.exit(e);
        return code == 0 ? kExitOk : kExitUsage;
    }
    // Exactly one subcommand was parsed (require_subcommand(1, 1)).
    const Command* command = FindCommand(app.get_subcommands().front()->get_name().c_str());
    return runners[static_cast<std::size_t>(command - kCommands.data())]();
}
