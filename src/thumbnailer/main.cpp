// tellurine-thumbnailer -s SIZE INPUT OUTPUT
// The thumbnail of an icon file, program or library for the desktop's file managers, written as
// an RGBA PNG: what their thumbnailer entries run for every such file shown.
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "formats/icon_project.h"
#include "formats/icon_thumbnail.h"
#include "image/block.h"
#include "image/file_io.h"
#include "imaging/jpeg2000.h"

namespace {

using namespace tellurine;

constexpr const char* kProgram = "tellurine-thumbnailer";
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;
// A file manager waits for each thumbnail: one that takes longer than this is given up.
constexpr unsigned kTimeLimitSeconds = 2;
// Thumbnails are asked for up to 1024 pixels; a size past this is a mistake.
constexpr int kMaxSize = 4096;

// The line the time limit prints, made before the limit is set (a signal handler cannot build it).
char timeoutLine[8192];
std::size_t timeoutLineLength = 0;

extern "C" void GiveUp(int) {
    RemoveKeptFiles();
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, timeoutLine, timeoutLineLength);
    ::_exit(kExitFailure);
}

void ArmTimeLimit(const std::string& input) {
    const std::string line =
        std::string(kProgram) + ": " + input + ": gave up after " + std::to_string(kTimeLimitSeconds) + " s\n";
    timeoutLineLength = std::min(line.size(), sizeof timeoutLine);
    std::memcpy(timeoutLine, line.data(), timeoutLineLength);
    struct sigaction action {};
    action.sa_handler = GiveUp;
    sigemptyset(&action.sa_mask);
    ::sigaction(SIGALRM, &action, nullptr);
    ::alarm(kTimeLimitSeconds);
}

int Fail(const std::string& message, int code = kExitFailure) {
    std::fprintf(stderr, "%s: %s\n", kProgram, message.c_str());
    return code;
}

struct Arguments {
    int size = 0;
    std::string input, output;
};

// -s SIZE (or -sSIZE) and the two paths, in any order.
bool ParseArguments(int argc, char** argv, Arguments& args, std::string& error) {
    std::vector<std::string> paths;
    std::string_view size;
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        if (arg == "-s" && i + 1 < argc) {
            size = argv[++i];
        } else if (arg.starts_with("-s") && arg.size() > 2) {
            size = arg.substr(2);
        } else if (arg.starts_with("-") && arg.size() > 1) {
            error = "unknown option " + std::string(arg);
            return false;
        } else {
            paths.emplace_back(arg);
        }
    }
    if (size.empty() || paths.size() != 2) {
        error = "usage: tellurine-thumbnailer -s SIZE INPUT OUTPUT.png";
        return false;
    }
    const auto [end, ec] = std::from_chars(size.data(), size.data() + size.size(), args.size);
    if (ec != std::errc() || end != size.data() + size.size() || args.size < 1 || args.size > kMaxSize) {
        error = "-s wants a size in pixels from 1 to " + std::to_string(kMaxSize) + ", not \"" + std::string(size) +
                "\"";
        return false;
    }
    args.input = paths[0];
    args.output = paths[1];
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
        std::fputs("tellurine-thumbnailer " TELLURINE_VERSION "\n", stdout);
        return 0;
    }
    Arguments args;
    std::string error;
    if (!ParseArguments(argc, argv, args, error)) return Fail(error, kExitUsage);
    ArmTimeLimit(args.input);
    RemoveKeptFilesOnInterrupt();
    KeepFreedMemoryForReuse();  // a decoder's buffers of a megabyte each, freed and taken again
    // The file manager waits for this one picture: a JPEG 2000 one is decoded on every core.
    SetReducedDecodeThreads(static_cast<int>(std::thread::hardware_concurrency()));

    // The file is read once, whole: it is never looked at again, whatever happens to it meanwhile.
    Block bytes;
    if (!ReadFileBlock(args.input, bytes, kMaxMacFileBytes, error)) return Fail(args.input + ": " + error);
    std::vector<std::uint8_t> png;
    if (!MakeIconThumbnail(args.input, bytes.bytes(), args.size, png, error))
        return Fail(args.input + ": " + error);
    // The thumbnail is whole before OUTPUT is touched. A file the client made for it is written
    // into; otherwise the thumbnail is written beside OUTPUT and renamed over it once whole, so a
    // failure leaves no file behind. (Xfce's tumbler makes the file and reads the thumbnail back through
    // its own handle on it.)
    struct stat made {};
    if (::lstat(args.output.c_str(), &made) == 0 && S_ISREG(made.st_mode)) {
        if (!WriteIntoFile(args.output, png, error)) return Fail("cannot write " + args.output + ": " + error);
        return 0;
    }
    FileReplacer writer(Durability::NoFlush);
    if (!writer.Write(args.output, png, error)) return Fail("cannot write " + args.output + ": " + error);
    return 0;
}
