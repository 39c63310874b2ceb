// tellurine-cli: Tellurine's icon and image operations from the command line.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <iostream>
#include <map>
#include <string>

#include "cli/commands.h"

namespace tellurine::cli {

void PrintError(const std::string& message) { std::fprintf(stderr, "tellurine-cli: %s\n", message.c_str()); }

}  // namespace tellurine::cli

int main(int argc, char** argv) {
    using namespace tellurine::cli;
    CLI::App app{"Tellurine: icons and images from the command line", "tellurine-cli"};
    app.set_version_flag("--version", "tellurine-cli " TELLURINE_VERSION);
    app.require_subcommand(1, 1);

    std::map<std::string, CommandRunner> commands;
    commands["reduce"] = AddReduceCommand(app);
    commands["info"] = AddInfoCommand(app);
    commands["extract"] = AddExtractCommand(app);
    commands["convert"] = AddConvertCommand(app);
    commands["create"] = AddCreateCommand(app);
    commands["filter"] = AddFilterCommand(app);
    commands["resize"] = AddResizeCommand(app);
    commands["rotate"] = AddRotateCommand(app);
    commands["flip"] = AddFlipCommand(app);

    // A word that names no command is told as such, with the commands there are.
    if (argc > 1 && argv[1][0] != '-' && !commands.contains(argv[1])) {
        std::string names;
        for (const auto& [name, runner] : commands) names += (names.empty() ? "" : ", ") + name;
        PrintError(std::string("unknown command \"") + argv[1] + "\"; the commands are " + names +
                   " (see --help)");
        return kExitUsage;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        const int code = app.exit(e);
        return code == 0 ? kExitOk : kExitUsage;
    }
    // Exactly one subcommand was parsed (require_subcommand(1, 1)).
    return commands.at(app.get_subcommands().front()->get_name())();
}
