#include "shell/icon_making.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

#include "image/threads.h"

namespace tellurine::shell {

namespace {

// "16,32, 48" as numbers; false for anything else.
bool ReadNumbers(std::string_view text, std::vector<int>& numbers) {
    numbers.clear();
    while (!text.empty()) {
        const std::size_t comma = text.find(',');
        std::string_view part = text.substr(0, comma);
        text = comma == std::string_view::npos ? std::string_view{} : text.substr(comma + 1);
        while (!part.empty() && part.front() == ' ') part.remove_prefix(1);
        while (!part.empty() && part.back() == ' ') part.remove_suffix(1);
        if (part.empty()) continue;
        if (part.size() > 9 || !std::all_of(part.begin(), part.end(), [](char c) { return c >= '0' && c <= '9'; }))
            return false;
        numbers.push_back(std::stoi(std::string(part)));
    }
    return !numbers.empty();
}

}  // namespace

std::vector<IconProjectRequest> RequestsForFormats(const NewIconChoice& choice) {
    std::map<int, std::vector<int>> depthsOfSize;
    for (const NewFormat& f : choice.formats) depthsOfSize[f.size].push_back(f.bits);
    std::map<std::vector<int>, std::vector<int>> sizesOfDepths;
    for (auto& [size, depths] : depthsOfSize) {
        std::sort(depths.begin(), depths.end());
        sizesOfDepths[depths].push_back(size);
    }
    std::vector<IconProjectRequest> requests;
    for (const auto& [depths, sizes] : sizesOfDepths) {
        IconProjectRequest r;
        r.sizes = sizes;
        r.depths = depths;
        r.macintosh = choice.macintosh;
        r.compressLarge = choice.compressLarge || choice.macintosh;
        requests.push_back(std::move(r));
    }
    return requests;
}

namespace {

// Makes each group of the chosen formats with `make` and gathers them, sorted. A format of a size
// and depth already made (a document's size layer comes with every group) is kept once.
bool MakeChosenFormats(const NewIconChoice& choice, const IconProjectRequest& base, CIconDoc& doc, std::string& error,
                       const std::function<bool(const IconProjectRequest&, CIconDoc&)>& make) {
    doc.RemoveAll();
    doc.macintosh = choice.macintosh;
    for (IconProjectRequest request : RequestsForFormats(choice)) {
        request.threads = base.threads;
        request.filterLevel = base.filterLevel;
        request.transparentColor = base.transparentColor;
        request.quality = base.quality;
        CIconDoc made;
        if (!make(request, made)) {
            doc.RemoveAll();
            return false;
        }
        for (int i = 0; i < made.GetFormatCount(); ++i) {
            const CIconObject& f = *made.GetFormat(i);
            bool seen = false;
            for (int j = 0; j < doc.GetFormatCount() && !seen; ++j)
                seen = doc.GetFormat(j)->Width() == f.Width() && doc.GetFormat(j)->Height() == f.Height() &&
                       doc.GetFormat(j)->BitCount() == f.BitCount();
            if (!seen) doc.AddFormat(std::move(made.GetFormat(i)->Icon()));
        }
    }
    if (doc.GetFormatCount() == 0) error = "no format was made";
    doc.SortFormats(false);
    return doc.GetFormatCount() > 0;
}

}  // namespace

bool MakeProjectFromPicture(const CDIB& picture, const DrawingRenderer& drawing, const NewIconChoice& choice,
                            const IconProjectRequest& base, CIconDoc& doc, std::string& error) {
    // A drawing is rendered at each size itself, so nothing is resampled.
    return MakeChosenFormats(choice, base, doc, error, [&](const IconProjectRequest& request, CIconDoc& made) {
        return drawing ? MakeIconProjectFromDrawing(drawing, request, made, error)
                       : MakeIconProject(picture, request, made, error);
    });
}

bool MakeProjectFromLayers(const LayeredPicture& layered, const NewIconChoice& choice, const IconProjectRequest& base,
                        CIconDoc& doc, std::string& error) {
    return MakeChosenFormats(choice, base, doc, error, [&](const IconProjectRequest& request, CIconDoc& made) {
        return MakeIconProjectFromLayers(layered, request, made, error);
    });
}

BatchLists DefaultBatchLists(bool macintosh) {
    return macintosh ? BatchLists{"16,32,48,128,256,512,1024", "32"} : BatchLists{"16,24,32,48,64,128,256", "32,8,4"};
}

bool ReadBatchRequest(std::string_view sizes, std::string_view depths, bool macintosh, bool compress,
                      IconProjectRequest& request) {
    request = {};
    if (!ReadNumbers(sizes, request.sizes) || !ReadNumbers(depths, request.depths)) return false;
    for (const int size : request.sizes)
        if (size < 1 || size > kMaxMadeFormatSize) return false;
    for (const int bits : request.depths)
        if (!IsMakeableDepth(bits)) return false;
    request.macintosh = macintosh;
    request.compressLarge = macintosh || compress;
    return true;
}

BatchResult MakeIconFiles(const std::vector<std::string>& pictures, const std::string& folder,
                          const IconProjectRequest& request, const std::atomic<bool>& stop,
                          const std::function<void()>& done) {
    BatchResult result;
    std::error_code ignored;
    std::filesystem::create_directories(folder, ignored);
    const std::vector<std::string> outputs = IconFileNames(pictures, folder, request.macintosh ? ".icns" : ".ico");
    IconProjectRequest one = request;
    one.threads = 1;  // one picture per core
    std::atomic<std::size_t> next{0};
    std::mutex mutex;
    const auto work = [&] {
        for (std::size_t i = next++; i < pictures.size() && !stop; i = next++) {
            CIconDoc doc;
            std::vector<int> leftOut;
            std::string error;
            const bool made = MakeIconFile(pictures[i], one, outputs[i], doc, leftOut, error) == MakeIconFileStep::Done;
            {
                const std::lock_guard lock(mutex);
                if (made)
                    ++result.made;
                else
                    result.failures.emplace_back(pictures[i], error);
            }
            if (done) done();
        }
    };
    const auto cores = static_cast<std::size_t>(std::max(1u, std::thread::hardware_concurrency()));
    RunOnThreads(static_cast<unsigned>(std::clamp<std::size_t>(pictures.size(), 1, cores)), work);
    return result;
}

}  // namespace tellurine::shell
