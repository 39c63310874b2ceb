#include "formats/icon_set.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <map>
#include <new>
#include <tuple>
#include <utility>

#include "formats/icns_codec.h"
#include "formats/icns_file.h"
#include "formats/ico_file.h"
#include "formats/icon_project.h"
#include "formats/iconset.h"
#include "formats/image_file.h"
#include "icon/format_maker.h"
#include "image/dib_block.h"
#include "image/file_io.h"
#include "image/threads.h"
#include "imaging/codecs.h"
#include "imaging/color_models.h"
#include "imaging/resample.h"

namespace tellurine {

namespace {

constexpr const char* kPlatformNames[] = {"windows", "macos", "linux", "msix", "android", "ios", "web"};

// Effort of the PNG encoder: the set's pictures are many and small; level 6 packs them barely
// better than 4 at half again the time.
constexpr int kPngLevel = 4;

// Pictures of this side and more are stored as PNG in an .ico.
constexpr int kIcoPngSide = 256;

const int kWindowsIcoSizes[] = {16, 20, 24, 32, 40, 48, 64, 256};
const int kLinuxSizes[] = {16, 22, 24, 32, 48, 64, 128, 256, 512};
const int kFaviconSizes[] = {16, 32, 48};

// The scale factors of a packaged Windows application's assets, in percent.
const int kMsixScales[] = {100, 125, 150, 200, 400};
// The sizes of the app list icon made for a target size rather than a scale, each plated and
// unplated (the taskbar shows the unplated ones).
const int kMsixTargetSizes[] = {16, 20, 24, 30, 32, 36, 40, 48, 60, 64, 72, 80, 96, 256};

// Android's launcher densities and their scale in quarters of mdpi (mdpi 1x ... xxxhdpi 4x).
struct AndroidDensity {
    const char* name;
    int quarters;
};
const AndroidDensity kAndroidDensities[] = {
    {"mdpi", 4}, {"hdpi", 6}, {"xhdpi", 8}, {"xxhdpi", 12}, {"xxxhdpi", 16},
};
constexpr int kLauncherDp = 48;
// The adaptive icon's layers are 108 dp; what every launcher mask leaves is the 66 dp circle in
// their middle.
constexpr int kAdaptiveLayerDp = 108;
constexpr int kAdaptiveSafeDp = 66;
constexpr int kPlayStoreSide = 512;

// iOS's application icon: points in tenths (83.5 pt is 835) at each scale, by device.
struct IosIcon {
    const char* idiom;
    int tenthPoints;
    int scale;
};
const IosIcon kIosIcons[] = {
    {"iphone", 200, 2}, {"iphone", 200, 3}, {"iphone", 290, 2},
    {"iphone", 290, 3}, {"iphone", 400, 2}, {"iphone", 400, 3},
    {"iphone", 600, 2}, {"iphone", 600, 3}, {"ipad", 200, 1},
    {"ipad", 200, 2},   {"ipad", 290, 1},   {"ipad", 290, 2},
    {"ipad", 400, 1},   {"ipad", 400, 2},   {"ipad", 760, 1},
    {"ipad", 760, 2},   {"ipad", 835, 2},   {"ios-marketing", 10240, 1},
};

// Web icons: the maskable ones keep the picture within the safe zone, the middle circle of four
// fifths of the side.
const int kWebIconSizes[] = {192, 512};
constexpr int kAppleTouchSide = 180;

int Scaled(int base, int percent) {
    return (base * percent + 50) / 100;
}

std::string PointsText(int tenths) {
    return tenths % 10 == 0 ? std::to_string(tenths / 10)
                            : std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
}

std::string JsonString(std::string_view text) {
    std::string out = "\"";
    for (const char c : text) {
        const auto u = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (u < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", u);
            out += escaped;
        } else {
            out += c;
        }
    }
    return out + "\"";
}

IconSetFile Png(IconSetPlatform platform, std::string path, int width, int height, int picture) {
    IconSetFile f;
    f.platform = platform;
    f.path = std::move(path);
    f.width = width;
    f.height = height;
    f.picture = picture;
    return f;
}

IconSetFile Square(IconSetPlatform platform, std::string path, int side) {
    return Png(platform, std::move(path), side, side, side);
}

IconSetFile Pictures(IconSetPlatform platform, std::string path, IconSetFileKind kind,
                     std::vector<int> sizes) {
    IconSetFile f;
    f.platform = platform;
    f.path = std::move(path);
    f.kind = kind;
    f.width = f.height = *std::max_element(sizes.begin(), sizes.end());
    f.sizes = std::move(sizes);
    return f;
}

IconSetFile Text(IconSetPlatform platform, std::string path, std::string text) {
    IconSetFile f;
    f.platform = platform;
    f.path = std::move(path);
    f.kind = IconSetFileKind::Text;
    f.text = std::move(text);
    return f;
}

void PlanWindows(std::vector<IconSetFile>& plan, const std::string& stem) {
    plan.push_back(Pictures(IconSetPlatform::Windows, "windows/" + stem + ".ico", IconSetFileKind::Ico,
                            {std::begin(kWindowsIcoSizes), std::end(kWindowsIcoSizes)}));
}

void PlanMacos(std::vector<IconSetFile>& plan, const std::string& stem) {
    std::vector<int> sizes;
    for (const IconsetEntry& e : IconsetEntries()) {
        const int side = e.points * e.scale;
        sizes.push_back(side);
        plan.push_back(Square(IconSetPlatform::Macos, "macos/" + stem + ".iconset/" + e.name, side));
    }
    plan.push_back(Pictures(IconSetPlatform::Macos, "macos/" + stem + ".icns", IconSetFileKind::Icns, sizes));
}

void PlanLinux(std::vector<IconSetFile>& plan, const std::string& stem, bool drawing) {
    for (const int side : kLinuxSizes) {
        const std::string box = std::to_string(side) + "x" + std::to_string(side);
        plan.push_back(
            Square(IconSetPlatform::Linux, "linux/hicolor/" + box + "/apps/" + stem + ".png", side));
    }
    if (drawing) {
        IconSetFile copy;
        copy.platform = IconSetPlatform::Linux;
        copy.path = "linux/hicolor/scalable/apps/" + stem + ".svg";
        copy.kind = IconSetFileKind::DrawingCopy;
        plan.push_back(std::move(copy));
    }
}

void PlanMsix(std::vector<IconSetFile>& plan) {
    const std::string dir = "msix/Images/";
    const auto scaled = [&](const char* asset, int width, int height) {
        for (const int percent : kMsixScales) {
            const int h = Scaled(height, percent);
            plan.push_back(Png(IconSetPlatform::Msix,
                               dir + asset + ".scale-" + std::to_string(percent) + ".png",
                               Scaled(width, percent), h, h));
        }
    };
    scaled("Square44x44Logo", 44, 44);
    for (const int side : kMsixTargetSizes) {
        const std::string stem = dir + "Square44x44Logo.targetsize-" + std::to_string(side);
        plan.push_back(Square(IconSetPlatform::Msix, stem + ".png", side));
        plan.push_back(Square(IconSetPlatform::Msix, stem + "_altform-unplated.png", side));
    }
    scaled("Square150x150Logo", 150, 150);
    // The wide tile: the icon at the tile's height, centred on a clear canvas.
    scaled("Wide310x150Logo", 310, 150);
    scaled("StoreLogo", 50, 50);
}

void PlanAndroid(std::vector<IconSetFile>& plan, IconSetColour background) {
    const std::string res = "android/res/";
    for (const AndroidDensity& d : kAndroidDensities) {
        const std::string dir = res + "mipmap-" + d.name + "/";
        const int side = kLauncherDp * d.quarters / 4;
        plan.push_back(Square(IconSetPlatform::Android, dir + "ic_launcher.png", side));
        IconSetFile round = Square(IconSetPlatform::Android, dir + "ic_launcher_round.png", side);
        round.circle = true;
        plan.push_back(std::move(round));
        const int layer = kAdaptiveLayerDp * d.quarters / 4;
        plan.push_back(Png(IconSetPlatform::Android, dir + "ic_launcher_foreground.png", layer, layer,
                           kAdaptiveSafeDp * d.quarters / 4));
    }
    const std::string adaptive =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
        "<adaptive-icon xmlns:android=\"http://schemas.android.com/apk/res/android\">\n"
        "    <background android:drawable=\"@color/ic_launcher_background\"/>\n"
        "    <foreground android:drawable=\"@mipmap/ic_launcher_foreground\"/>\n"
        "</adaptive-icon>\n";
    plan.push_back(Text(IconSetPlatform::Android, res + "mipmap-anydpi-v26/ic_launcher.xml", adaptive));
    plan.push_back(Text(IconSetPlatform::Android, res + "mipmap-anydpi-v26/ic_launcher_round.xml", adaptive));
    plan.push_back(Text(IconSetPlatform::Android, res + "values/ic_launcher_background.xml",
                        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<resources>\n"
                        "    <color name=\"ic_launcher_background\">" +
                            IconSetColourText(background) + "</color>\n</resources>\n"));
    // The store listing's icon is a full square; the store rounds its corners itself.
    IconSetFile store = Square(IconSetPlatform::Android, "android/ic_launcher-playstore.png", kPlayStoreSide);
    store.ground = background;
    plan.push_back(std::move(store));
}

void PlanIos(std::vector<IconSetFile>& plan, IconSetColour background) {
    const std::string dir = "ios/AppIcon.appiconset/";
    std::string images;
    std::vector<std::string> made;
    for (const IosIcon& icon : kIosIcons) {
        const std::string points = PointsText(icon.tenthPoints);
        const std::string size = points + "x" + points;
        const std::string scale = std::to_string(icon.scale) + "x";
        const std::string name = "Icon-App-" + size + "@" + scale + ".png";
        // iPhone and iPad share the files of the sizes they both use.
        if (std::find(made.begin(), made.end(), name) == made.end()) {
            made.push_back(name);
            IconSetFile f = Square(IconSetPlatform::Ios, dir + name, icon.tenthPoints * icon.scale / 10);
            f.ground = background;  // the system refuses application icons with transparency
            plan.push_back(std::move(f));
        }
        images +=
            std::string(images.empty() ? "" : ",\n") + "    {\n      \"filename\" : " + JsonString(name) +
            ",\n      \"idiom\" : " + JsonString(icon.idiom) + ",\n      \"scale\" : " + JsonString(scale) +
            ",\n      \"size\" : " + JsonString(size) + "\n    }";
    }
    plan.push_back(
        Text(IconSetPlatform::Ios, dir + "Contents.json",
             "{\n  \"images\" : [\n" + images +
                 "\n  ],\n  \"info\" : {\n    \"author\" : \"tellurine\",\n    \"version\" : 1\n  }\n}\n"));
}

void PlanWeb(std::vector<IconSetFile>& plan, const std::string& name, IconSetColour background) {
    plan.push_back(Pictures(IconSetPlatform::Web, "web/favicon.ico", IconSetFileKind::Ico,
                            {std::begin(kFaviconSizes), std::end(kFaviconSizes)}));
    IconSetFile touch = Square(IconSetPlatform::Web, "web/apple-touch-icon.png", kAppleTouchSide);
    touch.ground = background;
    plan.push_back(std::move(touch));
    std::string icons;
    const auto listed = [&](const std::string& file, int side, bool maskable) {
        const std::string sizes = std::to_string(side) + "x" + std::to_string(side);
        icons += std::string(icons.empty() ? "" : ",\n") + "    {\"src\": " + JsonString(file) +
                 ", \"sizes\": " + JsonString(sizes) + ", \"type\": \"image/png\"" +
                 (maskable ? ", \"purpose\": \"maskable\"}" : "}");
    };
    for (const int side : kWebIconSizes) {
        const std::string file = "icon-" + std::to_string(side) + ".png";
        plan.push_back(Square(IconSetPlatform::Web, "web/" + file, side));
        listed(file, side, false);
    }
    for (const int side : kWebIconSizes) {
        const std::string file = "icon-maskable-" + std::to_string(side) + ".png";
        IconSetFile f = Png(IconSetPlatform::Web, "web/" + file, side, side, (side * 4 + 2) / 5);
        f.ground = background;
        plan.push_back(std::move(f));
        listed(file, side, true);
    }
    const std::string colour = JsonString(IconSetColourText(background));
    plan.push_back(Text(IconSetPlatform::Web, "web/site.webmanifest",
                        "{\n  \"name\": " + JsonString(name) + ",\n  \"short_name\": " + JsonString(name) +
                            ",\n  \"icons\": [\n" + icons + "\n  ],\n  \"theme_color\": " + colour +
                            ",\n  \"background_color\": " + colour +
                            ",\n  \"display\": \"standalone\"\n}\n"));
}

}  // namespace

const char* IconSetPlatformName(IconSetPlatform platform) {
    return kPlatformNames[static_cast<int>(platform)];
}

std::optional<IconSetPlatform> FindIconSetPlatform(std::string_view name) {
    for (const IconSetPlatform platform : kIconSetPlatforms) {
        const std::string_view known = IconSetPlatformName(platform);
        if (std::equal(name.begin(), name.end(), known.begin(), known.end(),
                       [](char a, char b) { return std::tolower(static_cast<unsigned char>(a)) == b; }))
            return platform;
    }
    return std::nullopt;
}

std::optional<IconSetColour> ParseIconSetColour(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return std::tolower(c); });
    if (lower == "white") return IconSetColour{255, 255, 255};
    if (lower == "black") return IconSetColour{0, 0, 0};
    const std::optional<COLORREF> colour = ParseHexColor(text);
    if (!colour) return std::nullopt;
    return IconSetColour{GetRValue(*colour), GetGValue(*colour), GetBValue(*colour)};
}

std::string IconSetColourText(IconSetColour colour) {
    return HexColorText(RGB(colour.red, colour.green, colour.blue));
}

std::string IconSetFileStem(const std::string& name) {
    return SafeFileNamePart(name);
}

std::vector<IconSetFile> PlanIconSet(const IconSetRequest& request) {
    const std::string stem = IconSetFileStem(request.name);
    std::vector<IconSetFile> plan;
    for (const IconSetPlatform platform : request.platforms) {
        switch (platform) {
            case IconSetPlatform::Windows: PlanWindows(plan, stem); break;
            case IconSetPlatform::Macos: PlanMacos(plan, stem); break;
            case IconSetPlatform::Linux: PlanLinux(plan, stem, request.drawing); break;
            case IconSetPlatform::Msix: PlanMsix(plan); break;
            case IconSetPlatform::Android: PlanAndroid(plan, request.background); break;
            case IconSetPlatform::Ios: PlanIos(plan, request.background); break;
            case IconSetPlatform::Web: PlanWeb(plan, request.name, request.background); break;
        }
    }
    return plan;
}

// ---------------------------------------------------------------------------------------------
// The source

struct IconSetSource::State {
    Block picture;  // square, 32 bits
    std::unique_ptr<SvgDrawing> drawing;
    std::vector<std::uint8_t> drawingBytes;
    CIconDoc project;
    bool isProject = false;
    ResampleQuality quality = ResampleQuality::Standard;
};

IconSetSource::IconSetSource() : state_(std::make_unique<State>()) {}
void IconSetSource::SetResampleQuality(ResampleQuality quality) { state_->quality = quality; }
IconSetSource::~IconSetSource() = default;
IconSetSource::IconSetSource(IconSetSource&&) noexcept = default;
IconSetSource& IconSetSource::operator=(IconSetSource&&) noexcept = default;

namespace {

// The 32-bit picture centred on a clear width x height canvas; with `background`, flattened onto
// that colour; with `circle`, masked to the circle the canvas holds (edges smoothed over a pixel).
Block Compose(const Block& picture, int width, int height, const IconSetColour* background, bool circle) {
    const auto pl = GetDibLayout(picture);
    Block canvas = CreateDibBlock(width, height, 32);
    const auto cl = GetDibLayout(canvas);
    if (!pl || !cl || pl->bitCount != 32) return {};
    const int left = (width - pl->width) / 2;
    const int top = (height - pl->height) / 2;
    for (std::int32_t row = 0; row < pl->height; ++row) {
        const std::int32_t canvasRow = height - 1 - (top + pl->height - 1 - row);
        std::memcpy(canvas.data() + cl->RowOffset(canvasRow) + 4 * static_cast<std::size_t>(left),
                    picture.data() + pl->RowOffset(row), 4 * static_cast<std::size_t>(pl->width));
    }
    const double cx = width / 2.0, cy = height / 2.0, radius = std::min(width, height) / 2.0;
    for (std::int32_t row = 0; row < height; ++row) {
        std::uint8_t* p = canvas.data() + cl->RowOffset(row);
        for (std::int32_t x = 0; x < width; ++x, p += 4) {
            if (background != nullptr) {
                const unsigned a = p[3];
                const auto over = [a](unsigned c, unsigned ground) {
                    return static_cast<std::uint8_t>((c * a + ground * (255 - a) + 127) / 255);
                };
                p[0] = over(p[0], background->blue);
                p[1] = over(p[1], background->green);
                p[2] = over(p[2], background->red);
                p[3] = 255;
            }
            if (circle) {
                const double distance = std::hypot(x + 0.5 - cx, row + 0.5 - cy);
                const double cover = std::clamp(radius - distance + 0.5, 0.0, 1.0);
                p[3] = static_cast<std::uint8_t>(std::lround(p[3] * cover));
            }
        }
    }
    return canvas;
}

Block CentredOnSquare(const Block& picture) {
    const int side = std::max(DibWidth(picture), DibHeight(picture));
    return Compose(picture, side, side, nullptr, false);
}

// Every picture the set scales is scaled here: the one place where the resampler is chosen.
Block ScalePicture(const PreparedResample& prepared, int side) {
    return prepared.Resample(side, side);
}

}  // namespace

bool IconSetSource::SetPicture(Block picture32) {
    if (DibBitCount(picture32) != 32) return false;
    *state_ = State{};
    state_->picture =
        DibWidth(picture32) == DibHeight(picture32) ? std::move(picture32) : CentredOnSquare(picture32);
    return !state_->picture.empty();
}

void IconSetSource::SetDrawing(std::unique_ptr<SvgDrawing> drawing, std::vector<std::uint8_t> bytes) {
    *state_ = State{};
    state_->drawing = std::move(drawing);
    state_->drawingBytes = std::move(bytes);
}

bool IconSetSource::SetProject(CIconDoc doc) {
    if (doc.GetFormatCount() == 0) return false;
    *state_ = State{};
    state_->project = std::move(doc);
    state_->isProject = true;
    return true;
}

bool IconSetSource::IsDrawing() const {
    return state_->drawing != nullptr;
}
bool IconSetSource::IsProject() const {
    return state_->isProject;
}
const CIconDoc* IconSetSource::Project() const {
    return state_->isProject ? &state_->project : nullptr;
}
std::span<const std::uint8_t> IconSetSource::DrawingBytes() const {
    return state_->drawingBytes;
}

bool LoadIconSetSource(const std::string& path, IconSetSource& source, std::string& error) {
    const auto loadDrawing = [&](std::vector<std::uint8_t> bytes) {
        auto drawing = std::make_unique<SvgDrawing>();
        if (!drawing->Load(bytes, error)) return false;
        source.SetDrawing(std::move(drawing), std::move(bytes));
        return true;
    };
    std::vector<std::uint8_t> bytes;
    if (IsSvgFile(path, {}))
        return ReadFileBytes(path, bytes, kMaxSvgBytes, error) && loadDrawing(std::move(bytes));
    IconFileContents contents;
    bool unreadable = false;
    if (LoadIconContainer(path, contents, error, &unreadable)) {
        for (NamedIcon& icon : contents.icons)
            if (source.SetProject(std::move(icon.doc))) return true;
        error = "the file holds no icon format";
        return false;
    }
    if (unreadable) return false;
    CDIB picture;
    std::string pictureError;
    if (LoadPictureFile(path, picture, pictureError)) {
        if (source.SetPicture(picture.DetachBlock())) return true;
        error = "out of memory";
        return false;
    }
    std::string svgError;
    if (ReadFileBytes(path, bytes, kMaxSvgBytes, svgError) &&
        IsSvgFile(path, std::span(bytes).first(std::min<std::size_t>(bytes.size(), 1024))))
        return loadDrawing(std::move(bytes));
    error = "not a picture, drawing or icon file that can be read";
    return false;
}

int IconSetFormatFor(const CIconDoc& doc, int side, bool& exact) {
    exact = false;
    int best = -1;
    const auto area = [&](int i) {
        const CIconObject* f = doc.GetFormat(i);
        return static_cast<std::int64_t>(f->Width()) * f->Height();
    };
    // The deepest of equals: a 32-bit format when there is one.
    const auto better = [&](int i) {
        if (best < 0) return true;
        if (area(i) != area(best)) return area(i) < area(best);
        return doc.GetFormat(i)->BitCount() > doc.GetFormat(best)->BitCount();
    };
    for (int i = 0; i < doc.GetFormatCount(); ++i) {
        const CIconObject* f = doc.GetFormat(i);
        if (f->Width() == side && f->Height() == side && better(i)) best = i;
    }
    if (best >= 0) {
        exact = true;
        return best;
    }
    for (int i = 0; i < doc.GetFormatCount(); ++i) {
        const CIconObject* f = doc.GetFormat(i);
        if (f->Width() > side && f->Height() > side && better(i)) best = i;
    }
    if (best >= 0) return best;
    const CIconObject* largest = doc.LargestFormat();
    for (int i = 0; i < doc.GetFormatCount(); ++i)
        if (doc.GetFormat(i) == largest) return i;
    return -1;
}

// ---------------------------------------------------------------------------------------------
// Making the files

class IconSetMaker {
public:
    IconSetMaker(const IconSetSource& source, std::span<const IconSetFile> plan, unsigned threads)
        : source_(*source.state_), plan_(plan), threads_(std::max(1u, threads)) {}

    bool Make(std::vector<std::vector<std::uint8_t>>& files, std::string& error) {
        try {
            if (!MakePictures(error)) return false;
            return MakeFiles(files, error);
        } catch (const std::bad_alloc&) {
            error = "out of memory";
            return false;
        }
    }

private:
    // A PNG file's look: files of equal looks are one encoding.
    using Look = std::tuple<int, int, int, std::optional<IconSetColour>, bool>;

    static Look LookOf(const IconSetFile& f) { return {f.width, f.height, f.picture, f.ground, f.circle}; }

    // Runs work(i) for each i of `order` on the threads, taken in that order.
    template <typename Work>
    void Share(const std::vector<std::size_t>& order, Work&& work) {
        std::atomic<std::size_t> next{0};
        auto run = [&] {
            for (std::size_t i = next++; i < order.size(); i = next++) work(order[i]);
        };
        RunOnThreads(
            std::clamp<unsigned>(threads_, 1, static_cast<unsigned>(std::max<std::size_t>(order.size(), 1))),
            run);
    }

    bool MakePictures(std::string& error) {
        for (const IconSetFile& f : plan_) {
            if (f.kind == IconSetFileKind::Png) sides_.push_back(f.picture);
            sides_.insert(sides_.end(), f.sizes.begin(), f.sizes.end());
        }
        std::sort(sides_.begin(), sides_.end(), std::greater<>());
        sides_.erase(std::unique(sides_.begin(), sides_.end()), sides_.end());
        pictures_.resize(sides_.size());
        // A project's format for each side, and the prepared sources of the sides scaled.
        std::vector<int> formats(sides_.size(), -1);
        std::vector<bool> exact(sides_.size(), false);
        std::map<int, std::size_t> prepared;
        const CIconDoc* project = source_.isProject ? &source_.project : nullptr;
        if (project != nullptr) {
            for (std::size_t i = 0; i < sides_.size(); ++i) {
                bool isExact = false;
                formats[i] = IconSetFormatFor(*project, sides_[i], isExact);
                exact[i] = isExact;
                if (isExact) exactFormats_[sides_[i]] = formats[i];
                if (!isExact && !prepared.contains(formats[i])) {
                    Block picture = project->GetFormat(formats[i])->Icon().To32BitDib();
                    if (DibWidth(picture) != DibHeight(picture)) picture = CentredOnSquare(picture);
                    if (picture.empty()) {
                        error = "a format of the icon cannot be read as a picture";
                        return false;
                    }
                    prepared[formats[i]] = sourcePictures_.size();
                    sourcePictures_.push_back(std::make_unique<Block>(std::move(picture)));
                }
            }
        } else if (!source_.drawing) {
            preparations_.push_back(std::make_unique<PreparedResample>(source_.picture, threads_, source_.quality));
        }
        for (const auto& picture : sourcePictures_)
            preparations_.push_back(std::make_unique<PreparedResample>(*picture, threads_, source_.quality));

        std::vector<std::size_t> order(sides_.size());
        for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
        std::atomic<bool> failed{false};
        Share(order, [&](std::size_t i) {
            const int side = sides_[i];
            Block made;
            if (source_.drawing)
                made = source_.drawing->Render(side, side);
            else if (project != nullptr && exact[i])
                made = project->GetFormat(formats[i])->Icon().To32BitDib();
            else
                made = ScalePicture(*preparations_[project != nullptr ? prepared.at(formats[i]) : 0], side);
            if (made.empty()) failed = true;
            pictures_[i] = std::move(made);
        });
        if (failed) {
            error = source_.drawing ? "the drawing cannot be rendered at every size" : "out of memory";
            return false;
        }
        return true;
    }

    const Block& PictureOf(int side) const {
        const auto at = std::find(sides_.begin(), sides_.end(), side);
        return pictures_[static_cast<std::size_t>(at - sides_.begin())];
    }

    bool EncodeLook(const Look& look, std::vector<std::uint8_t>& out) const {
        const auto& [width, height, side, ground, circle] = look;
        const Block& picture = PictureOf(side);
        if (width == side && height == side && !ground && !circle) return EncodePng(picture, out, kPngLevel);
        const Block composed = Compose(picture, width, height, ground ? &*ground : nullptr, circle);
        // A flattened picture is stored without alpha: iOS refuses icons that have an alpha channel.
        return !composed.empty() &&
               EncodePng(composed, out, kPngLevel, ground ? PngChannels::Rgb : PngChannels::Rgba);
    }

    // A 32-bit format of the picture of that side.
    bool TrueColourFormat(int side, CKvIcon& icon) const {
        return FormatFromPicture(PictureOf(side), 32, icon);
    }

    bool MakeIco(const IconSetFile& f, std::vector<std::uint8_t>& out) const {
        CIconDoc doc;
        for (const int side : f.sizes) {
            CKvIcon icon;
            const auto tuned = exactFormats_.find(side);
            if (tuned != exactFormats_.end()) {
                // The hand-tuned format as it is; a large true-colour one stored as PNG all the same.
                icon = source_.project.GetFormat(tuned->second)->Icon();
                if (side >= kIcoPngSide && icon.BitsPerPixel() == 32) icon.SetCompressed(true);
            } else {
                if (!TrueColourFormat(side, icon)) return false;
                if (side >= kIcoPngSide) {
                    icon.SetCompressed(true);
                    icon.EncodeStoredPng(kPngLevel);
                }
            }
            doc.AddFormat(std::move(icon));
        }
        return WriteIconFile(doc, false, out, false);
    }

    bool MakeIcns(const IconSetFile& f, std::vector<std::uint8_t>& out) const {
        CIconDoc doc;
        doc.macintosh = true;
        const std::span<const IconsetEntry> entries = IconsetEntries();
        for (std::size_t i = 0; i < f.sizes.size(); ++i) {
            CKvIcon icon;
            if (!TrueColourFormat(f.sizes[i], icon)) return false;
            if (i < entries.size()) icon.SetMacElement({entries[i].element, false});
            doc.AddFormat(std::move(icon));
        }
        std::vector<int> leftOut;
        return WriteIcnsFamily(doc, out, &leftOut, IcnsWriteOptions{true}) && leftOut.empty();
    }

    bool MakeFiles(std::vector<std::vector<std::uint8_t>>& files, std::string& error) {
        files.assign(plan_.size(), {});
        // One encoding for each look; the other files of that look are copies.
        std::map<Look, std::size_t> firstOfLook;
        std::vector<std::size_t> order;
        for (std::size_t i = 0; i < plan_.size(); ++i) {
            const IconSetFile& f = plan_[i];
            if (f.kind == IconSetFileKind::Text) {
                files[i].assign(f.text.begin(), f.text.end());
            } else if (f.kind == IconSetFileKind::DrawingCopy) {
                files[i] = source_.drawingBytes;
            } else if (f.kind != IconSetFileKind::Png || firstOfLook.emplace(LookOf(f), i).second) {
                order.push_back(i);
            }
        }
        const auto cost = [&](std::size_t i) {
            const IconSetFile& f = plan_[i];
            return static_cast<std::int64_t>(f.width) * f.height * (f.kind == IconSetFileKind::Png ? 1 : 2);
        };
        std::stable_sort(order.begin(), order.end(),
                         [&](std::size_t a, std::size_t b) { return cost(a) > cost(b); });
        std::atomic<bool> failed{false};
        Share(order, [&](std::size_t i) {
            const IconSetFile& f = plan_[i];
            bool ok = false;
            switch (f.kind) {
                case IconSetFileKind::Png: ok = EncodeLook(LookOf(f), files[i]); break;
                case IconSetFileKind::Ico: ok = MakeIco(f, files[i]); break;
                case IconSetFileKind::Icns: ok = MakeIcns(f, files[i]); break;
                default: break;
            }
            if (!ok) failed = true;
        });
        if (failed) {
            error = "a file of the set cannot be encoded";
            return false;
        }
        for (std::size_t i = 0; i < plan_.size(); ++i)
            if (plan_[i].kind == IconSetFileKind::Png) {
                const std::size_t first = firstOfLook.at(LookOf(plan_[i]));
                if (first != i) files[i] = files[first];
            }
        return true;
    }

    const IconSetSource::State& source_;
    std::span<const IconSetFile> plan_;
    unsigned threads_;
    std::vector<int> sides_;  // largest first
    std::vector<Block> pictures_;
    std::map<int, int> exactFormats_;  // side -> the project's format of exactly that size
    std::vector<std::unique_ptr<Block>> sourcePictures_;  // a project's formats that sizes are scaled from
    std::vector<std::unique_ptr<PreparedResample>> preparations_;
};

bool MakeIconSetFiles(const IconSetSource& source, std::span<const IconSetFile> plan, unsigned threads,
                      std::vector<std::vector<std::uint8_t>>& files, std::string& error) {
    return IconSetMaker(source, plan, threads).Make(files, error);
}

bool WriteIconSet(const IconSetSource& source, std::span<const IconSetFile> plan, const std::string& folder,
                  unsigned threads, std::string& error) {
    std::vector<std::vector<std::uint8_t>> files;
    if (!MakeIconSetFiles(source, plan, threads, files, error)) return false;
    namespace fs = std::filesystem;
    FileReplacer replacer(Durability::NoFlush);
    for (std::size_t i = 0; i < plan.size(); ++i) {
        const fs::path path = fs::path(folder) / plan[i].path;
        std::error_code ec;
        fs::create_directories(path.parent_path(), ec);
        std::string why;
        if (ec) {
            error = "cannot make the folder " + path.parent_path().string() + ": " + ec.message();
            return false;
        }
        if (!replacer.Write(path.string(), files[i], why)) {
            error = "cannot write " + path.string() + ": " + why;
            return false;
        }
    }
    return true;
}

}  // namespace tellurine
