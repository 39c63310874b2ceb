// Icons made from pictures: the formats chosen in the new-icon dialog made from one picture, and a
// batch of picture files made into icon files in one folder, through the same core entry points
// as tellurine-cli create (MakeIconProject, MakeIconFile).
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "formats/icon_project.h"
#include "formats/layered_picture.h"
#include "shell/new_formats.h"

namespace tellurine::shell {

// What the new-icon dialog asks for.
struct NewIconChoice {
    bool macintosh = false;
    std::vector<NewFormat> formats;
    bool compressLarge = false;
};

// The requests for the chosen formats: MakeIconProject makes every size at every depth, so formats
// are gathered into groups of sizes that share their depths.
std::vector<IconProjectRequest> RequestsForFormats(const NewIconChoice& choice);

using tellurine::DrawingRenderer;

// Makes the chosen formats into `doc`, sorted: a raster `picture` is resampled from its one
// picture; a drawing (when `drawing` is given) is rendered at each size and each rendering made at
// that size alone, so that small sizes stay sharp. `base` gives the options every request shares
// (transparent colour, filter level, threads). False, with `error`, when nothing could be made.
bool MakeProjectFromPicture(const CDIB& picture, const DrawingRenderer& drawing, const NewIconChoice& choice,
                            const IconProjectRequest& base, CIconDoc& doc, std::string& error);
// The same from a layered document: its layers named by size are formats as drawn
// (MakeIconProjectFromLayers), the chosen formats no layer gives are made from its merged picture.
bool MakeProjectFromLayers(const LayeredPicture& layered, const NewIconChoice& choice, const IconProjectRequest& base,
                        CIconDoc& doc, std::string& error);

// The batch's lists as they start: every Windows size at 32, 8 and 4 bits, or a Macintosh
// family's sizes at 32 bits.
struct BatchLists {
    const char* sizes;
    const char* depths;
};
BatchLists DefaultBatchLists(bool macintosh);

// The request that lists of sizes and depths ("16, 32,48") stand for; false when a list does not
// read, is empty, or names a size or depth that cannot be made.
bool ReadBatchRequest(std::string_view sizes, std::string_view depths, bool macintosh, bool compress,
                      IconProjectRequest& request);

// A batch: every picture made into an icon file in `folder` (named by IconFileNames), a picture
// per core. `stop` hands out no more pictures; those being made finish, each written whole or not
// at all. `done` is called, from the worker threads, as each picture ends.
struct BatchResult {
    int made = 0;
    std::vector<std::pair<std::string, std::string>> failures;  // each failed picture and why
};
BatchResult MakeIconFiles(const std::vector<std::string>& pictures, const std::string& folder,
                          const IconProjectRequest& request, const std::atomic<bool>& stop,
                          const std::function<void()>& done);

}  // namespace tellurine::shell
