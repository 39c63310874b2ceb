#include "shell/program_tiles.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <new>
#include <set>
#include <thread>

#include "image/file_io.h"
#include "image/threads.h"
#include "imaging/resample.h"
#include "shell/app_support.h"
#include "shell/texts.h"

namespace tellurine::shell {

namespace {

// Groups read and made into tiles at a time, and the least time between two hand-overs of tiles
// (the first ones go at once).
constexpr std::size_t kGroupsPerRound = 8;
constexpr std::chrono::milliseconds kHandOverInterval{50};

// The image of a group its tile shows, chosen from the listed formats as the group of the read
// images would choose it (CIconGroup::FindBestDisplayFormat). The choice depends only on each
// format's size, colour count and alpha, so it is made among blank formats of those: no image is
// decoded for it.
std::size_t ShownImage(const ExeIconGroupListing& listed, const ProgramDisplayChoice& choice) {
    CIconGroup formats;
    for (const StoredImageFormat& f : listed.formats) {
        CKvIcon blank;
        if (blank.SetFormat(f.width, f.height, f.colors, f.alpha) == 0 || formats.AppendFormat(std::move(blank)) == 0)
            throw std::bad_alloc();
    }
    return static_cast<std::size_t>(
        std::max(0, formats.FindBestDisplayFormat(choice.sizeIndex, choice.depthIndex, choice.ratio)));
}

// A listed group's tile: only the image it shows is read (the tile goes without a picture when
// it cannot be read).
ProgramTile MakeTile(const ExeIconGroupListing& listed, std::size_t index, const ProgramDisplayChoice& choice) {
    ProgramTile tile;
    tile.group = index;
    tile.name = listed.name.Display();
    tile.cursor = listed.cursor;
    tile.formatCount = static_cast<int>(listed.images.size());
    const std::size_t best = ShownImage(listed, choice);
    tile.shownWidth = listed.formats[best].width;
    tile.shownHeight = listed.formats[best].height;
    const std::span<const std::uint8_t> data = listed.images[best];
    CKvIcon shown;
    if (shown.ReadImage(data, static_cast<std::uint32_t>(data.size()), 0) == 0) return tile;
    Block picture = shown.To32BitDib();
    const PictureSize size = ThumbnailSize(static_cast<int>(shown.Width()), static_cast<int>(shown.Height()),
                                           static_cast<int>(kProgramTileSide * choice.ratio + 0.5), choice.ratio);
    if (picture.empty() || size.width == 0) return tile;
    if (size.width < static_cast<int>(shown.Width())) picture = ShrinkDib32(picture, size.width, size.height);
    tile.pictureWidth = picture.empty() ? 0 : size.width;
    tile.pictureHeight = picture.empty() ? 0 : size.height;
    tile.picture = std::move(picture);
    return tile;
}

}  // namespace

CIconGroup ProgramListing::ReadGroup(std::size_t group) const {
    CIconGroup read;
    if (group >= groups.size()) return read;
    const ExeIconGroupListing& listed = groups[group];
    read.name = listed.name.Display();
    for (std::size_t i = 0; i < listed.images.size(); ++i) {
        CKvIcon icon;
        const std::span<const std::uint8_t> data = listed.images[i];
        if (icon.ReadImage(data, static_cast<std::uint32_t>(data.size()), 0) == 0 || icon.IsEmpty()) continue;
        if (listed.cursor && i < listed.hotspots.size()) icon.SetPoint(listed.hotspots[i].x, listed.hotspots[i].y);
        if (read.AppendFormat(std::move(icon)) == 0) throw std::bad_alloc();
    }
    return read;
}

CIconDoc ProgramListing::ReadDocument(std::size_t group) const {
    CIconGroup read = ReadGroup(group);
    CIconDoc doc;
    doc.name = read.name;
    doc.cursor = group < groups.size() && groups[group].cursor;
    if (!doc.TakeFormats(read)) throw std::bad_alloc();
    return doc;
}

ProgramReadEnd ReadProgramTiles(const std::string& path, const ProgramDisplayChoice& choice,
                                const std::atomic<bool>& cancel,
                                const std::function<void(std::shared_ptr<const ProgramListing>)>& listed,
                                const std::function<void(std::vector<ProgramTile>)>& tiles) {
    auto listing = std::make_shared<ProgramListing>();
    try {
        std::string error;
        if (!ReadFileBytes(path, listing->bytes, kMaxExeFileBytes, error)) return ProgramReadEnd::NotReadable;
        auto groups = DescribeExeIcons(listing->bytes);
        if (!groups) return ProgramReadEnd::NotReadable;
        listing->groups = std::move(*groups);
    } catch (const std::bad_alloc&) {
        return ProgramReadEnd::OutOfMemory;
    }
    listed(listing);

    // Rounds of a few groups, read on a few threads; the tiles go over in group order.
    const std::vector<ExeIconGroupListing>& groups = listing->groups;
    const unsigned threads = std::clamp(std::thread::hardware_concurrency(), 1u, 4u);
    std::vector<ProgramTile> batch;
    auto lastHandOver = std::chrono::steady_clock::now() - kHandOverInterval;
    for (std::size_t start = 0; start < groups.size(); start += kGroupsPerRound) {
        if (cancel) return ProgramReadEnd::Cancelled;
        const std::size_t end = std::min(groups.size(), start + kGroupsPerRound);
        std::vector<ProgramTile> made(end - start);
        std::atomic<std::size_t> next{start};
        std::atomic<bool> outOfMemory{false};
        const auto work = [&] {
            for (std::size_t g = next++; g < end && !cancel && !outOfMemory; g = next++) {
                try {
                    made[g - start] = MakeTile(groups[g], g, choice);
                } catch (const std::bad_alloc&) {
                    outOfMemory = true;
                }
            }
        };
        RunOnThreads(static_cast<unsigned>(std::min<std::size_t>(threads, end - start)), work);
        if (outOfMemory) return ProgramReadEnd::OutOfMemory;
        for (ProgramTile& tile : made) batch.push_back(std::move(tile));
        const auto now = std::chrono::steady_clock::now();
        if (!batch.empty() && (end == groups.size() || now - lastHandOver >= kHandOverInterval)) {
            tiles(std::move(batch));
            batch.clear();
            lastHandOver = now;
        }
    }
    return cancel ? ProgramReadEnd::Cancelled : ProgramReadEnd::Done;
}

std::string ProgramGroupFileStem(const std::string& programPath, const std::string& group, bool cursor) {
    // The stem: the file name up to its last dot, unless that dot starts the name.
    const std::size_t slash = programPath.find_last_of("/\\");
    const std::string file = slash == std::string::npos ? programPath : programPath.substr(slash + 1);
    const std::size_t dot = file.rfind('.');
    return (dot != std::string::npos && dot > 0 ? file.substr(0, dot) : file) + (cursor ? "-cursor-" : "-") +
           SafeFileNamePart(group);
}

std::string FormatPngFileName(const std::string& stem, std::size_t index, int width, int height, int bpp) {
    return stem + "-" + std::to_string(index) + "-" + std::to_string(width) + "x" + std::to_string(height) + "-" +
           std::to_string(bpp) + ".png";
}

std::string ProgramIcoFileName(const std::string& programPath, const ResourceName& group, bool cursor) {
    return ProgramGroupFileStem(programPath, group.Display(), cursor) + (cursor ? ".cur" : ".ico");
}

std::vector<std::string> UniqueFileNames(const std::vector<std::string>& names) {
    const auto lower = [](std::string s) {
        for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        return s;
    };
    std::vector<std::string> unique;
    std::set<std::string> taken;
    for (const std::string& name : names) {
        const std::size_t dot = name.rfind('.');
        const std::string stem = dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
        const std::string ext = name.substr(stem.size());
        std::string candidate = name;
        for (int n = 2; taken.contains(lower(candidate)); ++n) candidate = stem + " (" + std::to_string(n) + ")" + ext;
        taken.insert(lower(candidate));
        unique.push_back(std::move(candidate));
    }
    return unique;
}

std::string ProgramTileInfo(int formatCount, bool cursor) {
    const std::string count =
        formatCount == 1 ? text::kExeOneFormat : FillText(text::kExeFormatCount, {std::to_string(formatCount)});
    return cursor ? FillText(text::kExeCursorInfo, {count}) : count;
}

std::string ProgramTileToolTip(const std::string& name, int formatCount, int shownWidth, int shownHeight) {
    return FillText(text::kExeTileToolTip,
                    {name, std::to_string(formatCount), std::to_string(shownWidth), std::to_string(shownHeight)});
}

}  // namespace tellurine::shell
