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

}  // namespace tellurine::cli
