// tellurine-cli create IMAGE... -o OUT [--preset NAME] [--sizes LIST] [--depths LIST] [--compress-256] [--mac]
//                      [-j N]
// Makes one icon from each image (two with the preset "Windows + macOS"): every size at every depth.
#include <CLI/CLI.hpp>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "cli/commands.h"
#include "cli/icon_support.h"
#include "formats/icon_project.h"
#include "formats/image_file.h"
#include "icon/format_maker.h"
#include "image/block.h"
#include "image/file_io.h"

namespace tellurine::cli {

namespace {

// The preset that is both the Windows application's and the Macintosh family's.
constexpr const char* kBothPreset = "Windows + macOS";
constexpr const char* kBothPresetId = "windows-macos";

bool IsSameText(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
        return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
    });
}

struct CreateOptions {
    std::vector<std::string> images;
    std::string output;
    std::string preset;
    std::vector<int> sizes;
    std::vector<int> depths;
    bool compress256 = false;
    bool mac = false;
    unsigned jobs = 0;
    ResampleQuality quality = ResampleQuality::Standard;
    ProjectOutput how;
};

// One image and the icon it becomes, made as `request` asks.
struct CreateJob {
    std::string image;
    std::string output;
    const IconProjectRequest* request = nullptr;
};

// Shows how far the batch is: a bar redrawn on a terminal, one line per icon otherwise. Failures
// are lines on stderr either way.
class Progress {
public:
    explicit Progress(std::size_t total) : total_(total), bar_(isatty(STDERR_FILENO) != 0) { Draw(); }

    void Made(const CreateJob& job, int formats) {
        const std::lock_guard lock(mutex_);
        ++done_;
        if (!bar_) std::printf("%s -> %s (%d formats)\n", job.image.c_str(), job.output.c_str(), formats);
        Draw();
    }
    void Failed(const std::string& message) {
        const std::lock_guard lock(mutex_);
        ++done_;
        if (bar_) std::fprintf(stderr, "\r\033[K");
        PrintError(message);
        Draw();
    }
    // Lines printed by the job itself (formats left out) go through here too.
    void Note(const std::function<void()>& print) {
        const std::lock_guard lock(mutex_);
        if (bar_) std::fprintf(stderr, "\r\033[K");
        print();
        Draw();
    }
    void Finish() {
        if (bar_) std::fprintf(stderr, "\n");
        std::fflush(stdout);
    }

private:
    void Draw() {
        if (!bar_) return;
        constexpr int kWidth = 30;
        const int filled = total_ == 0 ? kWidth : static_cast<int>(done_ * kWidth / total_);
        std::fprintf(stderr, "\r[%s%s] %zu/%zu", std::string(static_cast<std::size_t>(filled), '#').c_str(),
                     std::string(static_cast<std::size_t>(kWidth - filled), '-').c_str(), done_, total_);
        std::fflush(stderr);
    }

    std::mutex mutex_;
    std::size_t total_;
    std::size_t done_ = 0;
    bool bar_;
};

bool MakeOne(const CreateJob& job, const ProjectOutput& how, Progress& progress) {
    CIconDoc doc;
    std::vector<int> leftOut;
    std::string error;
    switch (MakeIconFile(job.image, *job.request, job.output, doc, leftOut, error, how.allowLoss,
                         IcnsWriteOptions{how.pngElements})) {
        case MakeIconFileStep::LeftOut:
            progress.Note([&] { ReportLeftOutFormats("create", job.output, doc, leftOut); });
            progress.Failed("create: " + job.output +
                            ": nothing was written; --allow-loss writes it without those formats");
            return false;
        case MakeIconFileStep::Read: progress.Failed("create: cannot read " + job.image + ": " + error); return false;
        case MakeIconFileStep::Make: progress.Failed("create: " + job.image + ": " + error); return false;
        case MakeIconFileStep::Write:
            progress.Failed("create: cannot write " + job.output + ": " + error);
            return false;
        case MakeIconFileStep::Done: break;
    }
    if (!leftOut.empty()) progress.Note([&] { ReportLeftOutFormats("create", job.output, doc, leftOut); });
    progress.Made(job, doc.GetFormatCount() - static_cast<int>(leftOut.size()));
    return true;
}

// Where each image's icon goes: OUT itself for one image (unless OUT is a folder; with two kinds of
// icon, OUT and OUT with the other extension), else OUT/<image stem>.ico (or .icns). False, with a
// message, when OUT cannot serve.
bool PlanOutputs(const CreateOptions& o, const IconProjectRequest& request, bool bothKinds,
                 std::vector<CreateJob>& jobs) {
    const std::string extension = request.macintosh ? ".icns" : ".ico";
    std::error_code ec;
    const bool isFolder = std::filesystem::is_directory(o.output, ec);
    if (o.images.size() == 1 && !isFolder) {
        const std::string ext = LowerExtension(o.output);
        if (ext != ".ico" && ext != ".icns") {
            PrintError("create: the output must end in .ico or .icns, or be a folder: " + o.output);
            return false;
        }
        if (ext != extension && !bothKinds) {
            PrintError("create: " + std::string(request.macintosh ? "--mac makes .icns" : "the preset makes .ico") +
                       " files, not " + o.output);
            return false;
        }
        jobs.push_back(
            {o.images.front(), std::filesystem::path(o.output).replace_extension(extension).string(), &request});
        return true;
    }
    if (!isFolder) {
        std::filesystem::create_directories(o.output, ec);
        if (ec || !std::filesystem::is_directory(o.output, ec)) {
            PrintError("create: cannot create the folder " + o.output + (ec ? ": " + ec.message() : ""));
            return false;
        }
    }
    // Two images of one name (a.png and a.jpg) would write one icon: the later ones get a number.
    const std::vector<std::string> names = IconFileNames(o.images, o.output, extension);
    for (std::size_t i = 0; i < o.images.size(); ++i) jobs.push_back({o.images[i], names[i], &request});
    return true;
}

int RunCreate(const CreateOptions& o) {
    KeepFreedMemoryForReuse();  // the picture's steps free and allocate megabytes in turn
    // The preset named, else the Macintosh one for --mac or an .icns, else the Windows
    // application's; sizes and depths given replace the preset's.
    const bool mac = o.mac || (o.images.size() == 1 && LowerExtension(o.output) == ".icns");
    std::vector<const IconPreset*> presets;
    if (o.preset.empty()) {
        presets.push_back(FindIconPreset(mac ? "macos" : "windows"));
    } else if (FindIconPreset(o.preset) != nullptr) {
        presets.push_back(FindIconPreset(o.preset));
    } else if (IsSameText(o.preset, kBothPreset) || IsSameText(o.preset, kBothPresetId)) {
        presets = {FindIconPreset("windows"), FindIconPreset("macos")};
    } else {
        PrintError("create: there is no preset " + o.preset + " (windows, windows-classic, macos, windows-macos)");
        return kExitUsage;
    }
    std::vector<IconProjectRequest> requests;
    for (const IconPreset* preset : presets) {
        IconProjectRequest& request = requests.emplace_back();
        request.sizes = o.sizes.empty() ? preset->sizes : o.sizes;
        request.depths = o.depths.empty() ? preset->depths : o.depths;
        request.compressLarge = preset->compressLarge || o.compress256;
        request.macintosh = preset->macintosh || (o.mac && presets.size() == 1);
        request.quality = o.quality;
    }
    for (const int size : requests.front().sizes) {
        if (size < 1 || size > kMaxMadeFormatSize) {
            PrintError("create: size " + std::to_string(size) + " is not in 1.." + std::to_string(kMaxMadeFormatSize));
            return kExitFailure;
        }
    }
    for (const int bits : requests.front().depths) {
        if (!IsMakeableDepth(bits)) {
            PrintError("create: depth " + std::to_string(bits) + " is not one of 1, 4, 8, 24, 32");
            return kExitFailure;
        }
    }

    std::vector<CreateJob> jobs;
    for (const IconProjectRequest& request : requests)
        if (!PlanOutputs(o, request, requests.size() > 1, jobs)) return kExitFailure;

    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    const auto workers = static_cast<unsigned>(std::min<std::size_t>(o.jobs == 0 ? cores : o.jobs, jobs.size()));
    // One image: its sizes share the threads. Several: one image per thread.
    for (IconProjectRequest& request : requests)
        request.threads = jobs.size() == 1 ? (o.jobs == 0 ? cores : o.jobs) : 1;

    Progress progress(jobs.size());
    std::atomic<std::size_t> next{0};
    std::atomic<bool> allMade{true};
    auto work = [&] {
        for (std::size_t i = next++; i < jobs.size(); i = next++)
            if (!MakeOne(jobs[i], o.how, progress)) allMade = false;
    };
    {
        std::vector<std::jthread> threads;
        for (unsigned t = 1; t < workers; ++t) threads.emplace_back(work);
        work();
    }
    progress.Finish();
    return allMade ? kExitOk : kExitFailure;
}

}  // namespace

CommandRunner AddCreateCommand(CLI::App& app) {
    auto options = std::make_shared<CreateOptions>();
    CLI::App* sub = app.add_subcommand("create", "Make an icon from each image: every size at every depth");
    sub->add_option("IMAGE", options->images, "Images to make icons from (PNG, BMP, JPEG, TIFF, GIF, ...)")->required();
    sub->add_option("-o,--output", options->output,
                    "The icon to write (.ico or .icns) for one image, or a folder for several (created when missing)")
        ->required();
    sub->add_option("--preset", options->preset,
                    "The formats made: \"Windows application\" (windows: 16,24,32,48,64,256 at 32 bits, 256 as PNG; "
                    "the default), \"Windows classic\" (windows-classic: at 8 and 4 bits too), \"macOS\" (macos: "
                    "16 to 1024, as --mac), \"Windows + macOS\" (windows-macos: an .ico and an .icns of each image)");
    sub->add_option("--sizes", options->sizes, "Sizes in pixels, comma-separated, instead of the preset's")
        ->delimiter(',');
    sub->add_option("--depths", options->depths,
                    "Bits per pixel, comma-separated, of 1, 4, 8, 24, 32, instead of the preset's")
        ->delimiter(',');
    sub->add_flag("--compress-256", options->compress256, "Store formats of 256 pixels and larger as PNG");
    sub->add_flag("--mac", options->mac, "Make Macintosh icon families (.icns)");
    AddResampleOption(sub, options->quality);
    AddProjectOutputOptions(sub, options->how);
    sub->add_option("-j,--jobs", options->jobs, "Images made at once (default: the number of cores)")
        ->check(CLI::Range(1u, 64u));
    return [options] { return RunCreate(*options); };
}

}  // namespace tellurine::cli
