// tellurine-cli: Tellurine's icon and image operations from the command line.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <iostream>
#include <vector>

#include "cli/commands.h"

namespace tellurine::cli {

void PrintError(const std::string& message) { std::fprintf(stderr, "tellurine-cli: %s\n", message.c_str()); }

}  // namespace tellurine::cli

int main(int argc, char** argv) {
    using namespace tellurine::cli;
    CLI::App app{"Tellurine: icons and images from the command line", "tellurine-cli"};
    app.set_version_flag("--version", "tellurine-cli " TELLURINE_VERSION);
    app.require_subcommand(1, 1);

    std::vector<std::pair<CLI::App*, CommandRunner>> commands;
    auto add = [&](CommandRunner runner) { commands.emplace_back(app.get_subcommands().back(), std::move(runner)); };
    add(AddReduceCommand(app));

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        const int code = app.exit(e);
        return code == 0 ? kExitOk : kExitUsage;
    }
    for (auto& [sub, run] : commands)
        if (sub->parsed()) return run();
    return kExitUsage;
}
