// The subcommands of tellurine-cli. Each adds itself to the application with its options and
// returns the function that runs it; that function returns the process exit code.
#pragma once

#include <functional>
#include <string>

namespace CLI {
class App;
}

namespace tellurine::cli {

// Exit codes: 0 success, 1 a failure (one line on stderr), 2 bad usage.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;

using CommandRunner = std::function<int()>;

// Prints "tellurine-cli: <message>" on stderr.
void PrintError(const std::string& message);

CommandRunner AddReduceCommand(CLI::App& app);
CommandRunner AddInfoCommand(CLI::App& app);
CommandRunner AddExtractCommand(CLI::App& app);
CommandRunner AddConvertCommand(CLI::App& app);
CommandRunner AddCreateCommand(CLI::App& app);
CommandRunner AddIconsetCommand(CLI::App& app);
CommandRunner AddFilterCommand(CLI::App& app);
CommandRunner AddAdjustCommand(CLI::App& app);
CommandRunner AddResizeCommand(CLI::App& app);
CommandRunner AddRotateCommand(CLI::App& app);
CommandRunner AddFlipCommand(CLI::App& app);
CommandRunner AddSetIconCommand(CLI::App& app);
CommandRunner AddPaletteCommand(CLI::App& app);
CommandRunner AddFindCommand(CLI::App& app);

}  // namespace tellurine::cli
