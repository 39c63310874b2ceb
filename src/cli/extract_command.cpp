// tellurine-cli extract FILE... -o DIR
// Writes every format of icon files of every kind as an RGBA PNG.
#include <CLI/CLI.hpp>

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "cli/commands.h"
#include "cli/icon_support.h"
#include "image/file_io.h"
#include "imaging/codecs.h"

namespace tellurine::cli {

namespace {

// Icon pictures are small: zlib level 2 packs them within about a sixth of level 6, in half the time.
constexpr int kZlibLevel = 2;
// Files read and encoded ahead of the one being written, at most.
constexpr std::size_t kReadAhead = 8;

struct ExtractOptions {
    std::vector<std::string> files;
    std::string directory;
};

// One PNG file to write, or the reason it cannot be.
struct Output {
    std::string path;
    std::vector<std::uint8_t> bytes;
    std::string error;
};

// Reads one file and encodes its formats in order, handing each result to `publish`; writes
// nothing. Files of named icons put the icon's name after the stem.
template <typename Publish>
void Prepare(const std::string& path, const std::filesystem::path& directory, Publish&& publish) {
    IconFileContents contents;
    Output failure;
    if (!ReadIconInput(path, contents, &failure.error)) {
        publish(std::move(failure));
        return;
    }
    const std::string stem = std::filesystem::path(path).stem().string();
    // An animated cursor: every step, with the depth its frame was stored at.
    for (std::size_t i = 0; i < contents.steps.size(); ++i) {
        const CAniObject& step = contents.steps[i];
        Output out;
        out.path = (directory / (stem + "-" + std::to_string(i) + "-" + std::to_string(step.width) + "x" +
                                 std::to_string(step.height) + "-" + std::to_string(step.bitDepth) + ".png"))
                       .string();
        if (!EncodePng(step.image.GetBlock(), out.bytes, kZlibLevel))
            out.error = "extract: " + path + ": step " + std::to_string(i) + " cannot be converted to PNG";
        publish(std::move(out));
    }
    if (contents.container == IconContainer::Ani) return;
    for (const NamedIcon& icon : contents.icons) {
        const std::string prefix = contents.Named() ? stem + "-" + IconNameForFile(icon) : stem;
        const CIconDoc& doc = icon.doc;
        for (int i = 0; i < doc.GetFormatCount(); ++i) {
            const CIconObject& format = *doc.GetFormat(i);
            Output out;
            out.path = (directory / (prefix + "-" + std::to_string(i) + "-" + std::to_string(format.Width()) + "x" +
                                     std::to_string(format.Height()) + "-" + std::to_string(format.BitCount()) + ".png"))
                           .string();
            // A format read from a plain 8-bit RGBA stream is written as it was stored; every other
            // format is encoded from its icon image block.
            const auto stored = format.Icon().UnchangedPng();
            out.bytes.assign(stored.begin(), stored.end());
            if (out.bytes.empty()) {
                const Block bgra = format.Icon().To32BitDib();
                if (!bgra || !EncodePng(bgra, out.bytes, kZlibLevel))
                    out.error = "extract: " + path + ": format " + std::to_string(i) + " cannot be converted to PNG";
            }
            publish(std::move(out));
        }
    }
}

// Writes one output or reports why it cannot be; false on failure.
bool Finish(const Output& out) {
    if (!out.error.empty()) {
        PrintError(out.error);
        return false;
    }
    std::string error;
    if (!WriteFileAtomically(out.path, out.bytes, error, Durability::NoFlush)) {
        PrintError("extract: cannot write " + out.path + ": " + error);
        return false;
    }
    return true;
}

// Worker threads read and encode, up to kReadAhead files ahead, while this thread writes each PNG
// as soon as it is ready, in command-line and format order (so messages keep that order too).
// Writing waits on the disk; the encoding of the next formats goes on meanwhile.
bool Extract(const std::vector<std::string>& files, const std::filesystem::path& directory) {
    struct Job {
        std::vector<Output> outputs;  // in format order, as they are ready
        bool done = false;
    };
    std::vector<Job> jobs(files.size());
    std::mutex mutex;
    std::condition_variable changed;
    std::size_t next = 0, written = 0;
    auto worker = [&] {
        std::unique_lock lock(mutex);
        for (;;) {
            changed.wait(lock, [&] { return next >= files.size() || next < written + kReadAhead; });
            if (next >= files.size()) return;
            const std::size_t index = next++;
            Job& job = jobs[index];
            lock.unlock();
            Prepare(files[index], directory, [&](Output&& out) {
                const std::lock_guard guard(mutex);
                job.outputs.push_back(std::move(out));
                changed.notify_all();
            });
            lock.lock();
            job.done = true;
            changed.notify_all();
        }
    };
    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    std::vector<std::jthread> workers;
    for (std::size_t i = 0; i < std::min<std::size_t>({cores, files.size(), 8}); ++i) workers.emplace_back(worker);

    bool ok = true;
    for (std::size_t i = 0; i < files.size(); ++i) {
        for (std::size_t j = 0;; ++j) {
            Output out;
            {
                std::unique_lock lock(mutex);
                changed.wait(lock, [&] { return jobs[i].outputs.size() > j || jobs[i].done; });
                if (jobs[i].outputs.size() <= j) break;
                out = std::move(jobs[i].outputs[j]);
            }
            if (!Finish(out)) ok = false;
        }
        {
            const std::lock_guard lock(mutex);
            std::vector<Output>().swap(jobs[i].outputs);
            written = i + 1;
        }
        changed.notify_all();
    }
    return ok;
}

int RunExtract(const ExtractOptions& o) {
    const std::filesystem::path directory(o.directory);
    std::error_code ec;
    std::filesystem::create_directories(directory, ec);
    if (ec || !std::filesystem::is_directory(directory, ec)) {
        PrintError("extract: cannot create the folder " + o.directory + (ec ? ": " + ec.message() : ""));
        return kExitFailure;
    }
    return Extract(o.files, directory) ? kExitOk : kExitFailure;
}

}  // namespace

CommandRunner AddExtractCommand(CLI::App& app) {
    auto options = std::make_shared<ExtractOptions>();
    CLI::App* sub = app.add_subcommand("extract", "Write every format of icon files of every kind (every step of an animated cursor) as an RGBA PNG");
    sub->add_option("FILE", options->files, kIconFilesHelp)->required();
    sub->add_option("-o,--output", options->directory, "Folder for the PNG files (created when missing)")
        ->required();
    return [options] { return RunExtract(*options); };
}

}  // namespace tellurine::cli
