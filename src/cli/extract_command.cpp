// tellurine-cli extract FILE... -o DIR
// Writes every format of icon files of every kind as an RGBA PNG.
#include <CLI/CLI.hpp>

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "cli/commands.h"
#include "cli/icon_support.h"
#include "formats/mapped_file.h"
#include "formats/pe_resources.h"
#include "image/block.h"
#include "image/file_io.h"
#include "imaging/codecs.h"
#include "shell/program_tiles.h"

namespace tellurine::cli {

namespace {

// Icon pictures are small: level 1 packs them within a few percent of level 6, in half the time.
constexpr int kPngLevel = 1;
// Files of this size and more are mapped rather than read.
constexpr std::uintmax_t kMapFileBytes = std::uintmax_t{1} << 20;
// Files read ahead of the one being written, at most.
constexpr std::size_t kReadAhead = 8;

struct ExtractOptions {
    std::vector<std::string> files;
    std::string directory;
    std::string group;  // only this icon or group, when set
};

// One PNG file to write: what to encode (a step of an animated cursor, a format of an icon, or
// an image of a program as stored), and once encoded, its bytes or why there are none. The file
// is named when it is written: a program's images are numbered within their group by then, those
// that cannot be read left out.
struct Output {
    const CAniObject* step = nullptr;
    const CIconObject* format = nullptr;
    std::span<const std::uint8_t> image;
    std::size_t group = 0;  // a program image's group
    std::string prefix;     // the file's stem, then its icon's name when icons are named
    std::size_t index = 0;
    std::int32_t width = 0, height = 0;
    int bpp = 0;
    std::vector<std::uint8_t> bytes;
    std::string error;     // set when the whole file cannot be read
    bool unreadable = false;  // a program image that cannot be read: no file, no number
    bool failed = false;      // the encoding failed
    bool ready = false;
};

// One file of the command line, from its reading to the writing of its last PNG.
struct Job {
    MappedFile mapped;                    // the file's bytes, mapped
    std::vector<std::uint8_t> read;       // or read, when it cannot be mapped
    std::span<const std::uint8_t> bytes;  // kept for programs, whose outputs point into it
    IconFileContents contents;
    bool program = false;
    std::vector<Output> outputs;  // fixed once planned
    bool planned = false;
    std::size_t handedOut = 0;  // outputs given to an encoder so far
};

std::vector<Output> Failure(std::string line) {
    std::vector<Output> outputs(1);
    outputs[0].error = std::move(line);
    outputs[0].ready = true;
    return outputs;
}

// A program's images, as stored: nothing is decoded here, and the images are read one by one as
// they are encoded, so that a library of thousands of icons never has them all in memory at once.
std::vector<Output> PlanProgram(const std::string& path, Job& job, const std::string& only) {
    const auto groups = ListExeIconGroups(job.bytes);
    if (!groups || groups->empty()) return Failure(ReadFailureLine(path, false));
    job.program = true;
    std::vector<Output> outputs;
    bool found = false;
    for (std::size_t g = 0; g < groups->size(); ++g) {
        const StoredExeIconGroup& group = (*groups)[g];
        if (!only.empty() && group.name.Display() != only) continue;
        found = true;
        const std::string prefix = shell::ProgramGroupFileStem(path, group.name.Display(), group.cursor);
        for (const std::span<const std::uint8_t> image : group.images) {
            Output& out = outputs.emplace_back();
            out.image = image;
            out.group = g;
            out.prefix = prefix;
        }
    }
    if (!found) return Failure(NoSuchIconLine("extract", path, only));
    return outputs;
}

// Reads one file and lists the PNG files it gives, encoding nothing yet: every step of an
// animated cursor, with the depth its frame was stored at, every image of every icon group of a
// program, or every format of every icon. Files of named icons put the icon's name after the
// stem. A file that cannot be read gives one output holding the reason.
std::vector<Output> Plan(const std::string& path, Job& job, const std::string& only) {
    std::string error;
    // A large file is mapped rather than read: a program of many megabytes then costs neither a
    // copy nor a fresh page for each of its pages. Small ones are read into memory that the
    // files before them freed.
    std::error_code ec;
    if (std::filesystem::file_size(path, ec) >= kMapFileBytes && !ec && job.mapped.Open(path, kMaxMacFileBytes)) {
        job.bytes = job.mapped.Bytes();
    } else {
        if (!ReadFileBytes(path, job.read, kMaxMacFileBytes, error)) return Failure(path + ": " + error);
        job.bytes = job.read;
    }
    if (ClassifyIconFile(path, job.bytes) == IconContainer::Pe) return PlanProgram(path, job, only);
    bool outOfMemory = false;
    IconFileContents& contents = job.contents;
    const bool read = ReadIconContainer(path, job.bytes, contents, &outOfMemory);
    job.bytes = {};
    job.mapped = MappedFile();
    std::vector<std::uint8_t>().swap(job.read);
    if (!read) return Failure(ReadFailureLine(path, outOfMemory));

    std::vector<Output> outputs;
    const std::string stem = std::filesystem::path(path).stem().string();
    for (std::size_t i = 0; i < contents.steps.size(); ++i) {
        const CAniObject& step = contents.steps[i];
        Output& out = outputs.emplace_back();
        out.step = &step;
        out.prefix = stem;
        out.index = i;
        out.width = step.width;
        out.height = step.height;
        out.bpp = step.bitDepth;
    }
    if (contents.container == IconContainer::Ani) return outputs;
    if (!only.empty() && (!contents.Named() || std::none_of(contents.icons.begin(), contents.icons.end(),
                                                            [&](const NamedIcon& i) { return i.name == only; })))
        return Failure(NoSuchIconLine("extract", path, only));
    for (const NamedIcon& icon : contents.icons) {
        if (!only.empty() && icon.name != only) continue;
        const std::string prefix = contents.Named() ? stem + "-" + IconNameForFile(icon) : stem;
        for (int i = 0; i < icon.doc.GetFormatCount(); ++i) {
            const CIconObject& format = *icon.doc.GetFormat(i);
            Output& out = outputs.emplace_back();
            out.format = &format;
            out.prefix = prefix;
            out.index = static_cast<std::size_t>(i);
            out.width = format.Width();
            out.height = format.Height();
            out.bpp = format.BitCount();
        }
    }
    return outputs;
}

// A format read from a plain 8-bit RGBA stream is written as it was stored; every other format
// is encoded from its icon image block.
void EncodeFormat(const CIconObject& format, Output& out) {
    const auto stored = format.Icon().UnchangedPng();
    out.bytes.assign(stored.begin(), stored.end());
    if (out.bytes.empty()) out.failed = !format.Icon().EncodePngStream(out.bytes, kPngLevel);
}

// A program's image: a plain RGBA PNG in perfect order is copied as it is, having been checked
// but never decoded (it is what reading and writing it again would give); anything else is read
// into a format as ReadExeIcons would read it, and encoded.
void EncodeProgramImage(Output& out) {
    std::int32_t w = 0, h = 0;
    IconImageLayout layout;
    if (IsIntactPlainRgbaPng(out.image) && PngDimensions(out.image, w, h) &&
        CKvIcon::ComputeLayout(w, h, 0, true, layout)) {
        out.width = w;
        out.height = h;
        out.bpp = CIconObject::DepthFromColors(0, true);
        out.bytes.assign(out.image.begin(), out.image.end());
        return;
    }
    CKvIcon icon;
    if (!icon.ReadImage(out.image, static_cast<std::uint32_t>(out.image.size()), 0)) {
        out.unreadable = true;
        return;
    }
    CIconObject format;
    format.AttachIcon(std::move(icon));
    out.width = format.Width();
    out.height = format.Height();
    out.bpp = format.BitCount();
    EncodeFormat(format, out);
}

void Encode(const std::string& path, Output& out) {
    try {
        if (out.step != nullptr)
            out.failed = !EncodePng(out.step->image.GetBlock(), out.bytes, kPngLevel);
        else if (out.format != nullptr)
            EncodeFormat(*out.format, out);
        else
            EncodeProgramImage(out);
    } catch (const std::bad_alloc&) {
        out.bytes = {};
        out.error = ReadFailureLine(path, true);
    }
}

// Writes one output or reports why it cannot be; false on failure.
bool Finish(const std::string& source, const std::filesystem::path& directory, const Output& out,
            FileReplacer& writer) {
    if (!out.error.empty()) {
        PrintError(out.error);
        return false;
    }
    if (out.failed) {
        PrintError("extract: " + source + ": " + (out.step != nullptr ? "step " : "format ") +
                   std::to_string(out.index) + " cannot be converted to PNG");
        return false;
    }
    const std::string path =
        (directory / shell::FormatPngFileName(out.prefix, out.index, out.width, out.height, out.bpp)).string();
    std::string error;
    if (!writer.Write(path, out.bytes, error)) {
        PrintError("extract: cannot write " + path + ": " + error);
        return false;
    }
    return true;
}

// A single file of less than this is read and encoded on the calling thread before its PNGs are
// written: its few small PNGs take less time than starting a thread, and every thread's stack,
// compressor and memory arena are fresh pages.
constexpr std::uintmax_t kNoWorkerFileBytes = std::uintmax_t{1} << 18;

bool IsOneSmallFile(const std::vector<std::string>& files) {
    std::error_code ec;
    return files.size() == 1 && std::filesystem::file_size(files[0], ec) < kNoWorkerFileBytes && !ec;
}

// Worker threads read files, up to kReadAhead ahead of the one being written, and encode their
// outputs, the earliest file's first, so that the formats of one large file are encoded on every
// core. This thread writes each PNG as soon as it is ready, in command-line and format order (so
// messages keep that order too); the encoding goes on while it waits on the disk.
bool Extract(const std::vector<std::string>& files, const std::filesystem::path& directory, const std::string& only) {
    std::vector<Job> jobs(files.size());
    std::mutex mutex;
    std::condition_variable changed;
    std::size_t next = 0, written = 0, reading = 0;
    // The earliest planned file with an output no encoder has taken yet, or files.size().
    auto encodable = [&] {
        for (std::size_t i = written; i < next; ++i)
            if (jobs[i].planned && jobs[i].handedOut < jobs[i].outputs.size()) return i;
        return files.size();
    };
    auto worker = [&] {
        std::unique_lock lock(mutex);
        for (;;) {
            std::size_t job = files.size();
            changed.wait(lock, [&] {
                job = encodable();
                return job < files.size() || (next < files.size() && next < written + kReadAhead) ||
                       (next >= files.size() && reading == 0);
            });
            if (job < files.size()) {
                Output& out = jobs[job].outputs[jobs[job].handedOut++];
                lock.unlock();
                Encode(files[job], out);
                lock.lock();
                out.ready = true;
                changed.notify_all();
            } else if (next < files.size()) {
                const std::size_t index = next++;
                ++reading;
                lock.unlock();
                std::vector<Output> outputs;
                try {
                    outputs = Plan(files[index], jobs[index], only);
                } catch (const std::bad_alloc&) {
                    outputs = Failure(ReadFailureLine(files[index], true));
                }
                lock.lock();
                --reading;
                Job& planned = jobs[index];
                planned.outputs = std::move(outputs);
                planned.planned = true;
                // A file that cannot be read gives only its reason, which needs no encoding.
                if (planned.outputs.size() == 1 && planned.outputs[0].ready) planned.handedOut = 1;
                changed.notify_all();
            } else {
                return;
            }
        }
    };
    std::vector<std::jthread> workers;
    if (IsOneSmallFile(files)) {
        worker();  // with one file it returns once the file is read and every output encoded
    } else {
        const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
        for (unsigned i = 0; i < std::min(cores, 8u); ++i) workers.emplace_back(worker);
    }

    // Extracting again into the same folder writes each PNG into the storage of a file the last
    // run wrote, rather than freeing it and making a new one.
    FileReplacer writer(Durability::NoFlush);
    bool ok = true;
    for (std::size_t i = 0; i < files.size(); ++i) {
        std::size_t group = 0, numbered = 0, images = 0;
        bool program = false;
        for (std::size_t j = 0;; ++j) {
            Output out;
            {
                std::unique_lock lock(mutex);
                changed.wait(lock, [&] {
                    return jobs[i].planned && (j >= jobs[i].outputs.size() || jobs[i].outputs[j].ready);
                });
                if (j >= jobs[i].outputs.size()) break;
                out = std::move(jobs[i].outputs[j]);
                program = jobs[i].program;
            }
            if (out.unreadable) continue;
            ++images;
            if (program) {
                if (out.group != group) numbered = 0;
                group = out.group;
                out.index = numbered++;
            }
            if (!Finish(files[i], directory, out, writer)) ok = false;
        }
        // A program none of whose images can be read is a file that cannot be read.
        if (program && images == 0) {
            PrintError(ReadFailureLine(files[i], false));
            ok = false;
        }
        Job done;
        {
            const std::lock_guard lock(mutex);
            std::swap(done, jobs[i]);
            written = i + 1;
        }
        changed.notify_all();
    }  // each file's contents are freed here, outside the lock
    return ok;
}

int RunExtract(const ExtractOptions& o) {
    KeepFreedMemoryForReuse();
    RemoveKeptFilesOnInterrupt();  // Ctrl+C leaves no old file beside the PNGs
    const std::filesystem::path directory(o.directory);
    std::error_code ec;
    std::filesystem::create_directories(directory, ec);
    if (ec || !std::filesystem::is_directory(directory, ec)) {
        PrintError("extract: cannot create the folder " + o.directory + (ec ? ": " + ec.message() : ""));
        return kExitFailure;
    }
    return Extract(o.files, directory, o.group) ? kExitOk : kExitFailure;
}

}  // namespace

CommandRunner AddExtractCommand(CLI::App& app) {
    auto options = std::make_shared<ExtractOptions>();
    CLI::App* sub = app.add_subcommand("extract", "Write every format of icon files of every kind (every step of an animated cursor) as an RGBA PNG");
    sub->add_option("FILE", options->files, kIconFilesHelp)->required();
    sub->add_option("-o,--output", options->directory, "Folder for the PNG files (created when missing)")
        ->required();
    sub->add_option("--group", options->group,
                    "Only the icon of this name from a file of several named icons, or this group of a program");
    return [options] { return RunExtract(*options); };
}

}  // namespace tellurine::cli
