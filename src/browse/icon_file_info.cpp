#include "browse/icon_file_info.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <utility>

#include "browse/likeness.h"
#include "formats/icon_catalog.h"
#include "formats/image_file.h"
#include "formats/svg_file.h"
#include "image/dib.h"
#include "image/dib_block.h"
#include "image/file_io.h"
#include "imaging/resample.h"

namespace tellurine {
namespace {

constexpr std::array<const char*, kIconFileKindCount> kKindNames = {
    "icon", "cursor", "animated-cursor", "macintosh", "program", "library", "picture", "vector"};

constexpr std::pair<std::string_view, IconFileKind> kExtensions[] = {
    {".ico", IconFileKind::Icon},       {".cur", IconFileKind::Cursor},     {".ani", IconFileKind::AnimatedCursor},
    {".icns", IconFileKind::Macintosh}, {".rsrc", IconFileKind::Macintosh}, {".rsc", IconFileKind::Macintosh},
    {".bin", IconFileKind::Macintosh},  {".exe", IconFileKind::Program},    {".dll", IconFileKind::Program},
    {".ocx", IconFileKind::Program},    {".cpl", IconFileKind::Program},    {".scr", IconFileKind::Program},
    {".icl", IconFileKind::Library},    {".png", IconFileKind::Picture},    {".bmp", IconFileKind::Picture},
    {".jpg", IconFileKind::Picture},    {".jpeg", IconFileKind::Picture},   {".gif", IconFileKind::Picture},
    {".tif", IconFileKind::Picture},    {".tiff", IconFileKind::Picture},   {".psd", IconFileKind::Picture},
    {".psb", IconFileKind::Picture},    {".ora", IconFileKind::Picture},    {".xcf", IconFileKind::Picture},
    {".svg", IconFileKind::Vector},     {".svgz", IconFileKind::Vector}};

// The size a likeness fingerprint is taken at: small formats are drawn for it, and it is cheap.
constexpr int kLikenessSize = 32;

// A 32-bit picture shrunk to fit a square of `side`, its aspect kept; as it is when it fits.
Block FitTile(Block picture, int side) {
    const std::int32_t w = DibWidth(picture), h = DibHeight(picture);
    if (w <= side && h <= side) return picture;
    const double scale = static_cast<double>(side) / std::max(w, h);
    return ShrinkDib32(picture, std::max(1, static_cast<int>(w * scale + 0.5)),
                       std::max(1, static_cast<int>(h * scale + 0.5)));
}

bool Fail(IconFileInfo& info, std::string error) {
    info.error = std::move(error);
    info.formats.clear();
    return false;
}

}  // namespace

std::optional<IconFileKind> IconFileKindOfPath(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    for (const auto& [name, kind] : kExtensions)
        if (extension == name) return kind;
    return std::nullopt;
}

const char* IconFileKindName(IconFileKind kind) {
    return kKindNames[static_cast<std::size_t>(kind)];
}

std::optional<IconFileKind> IconFileKindFromName(std::string_view name) {
    for (std::size_t i = 0; i < kKindNames.size(); ++i)
        if (name == kKindNames[i]) return static_cast<IconFileKind>(i);
    return std::nullopt;
}

bool ReadFileStamp(const std::string& path, FileStamp& stamp, std::error_code& failure) {
    stamp.bytes = std::filesystem::file_size(path, failure);
    const auto written = std::filesystem::last_write_time(path, failure);
    if (failure) return false;
    stamp.modified =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::file_clock::to_sys(written).time_since_epoch())
            .count();
    return true;
}

int NearestFormat(const std::vector<FormatSummary>& formats, int size) {
    // Smaller is nearer: those at least `size` wide by how much wider, then the narrower ones by
    // how much narrower; the deeper first at equal width.
    const auto distance = [size](const FormatSummary& f) {
        return std::pair{f.width >= size ? f.width - size : (1 << 20) + size - f.width, -f.bits};
    };
    const auto nearest = std::min_element(formats.begin(), formats.end(),
                                          [&](const auto& a, const auto& b) { return distance(a) < distance(b); });
    return nearest == formats.end() ? -1 : static_cast<int>(nearest - formats.begin());
}

bool ReadIconFileInfo(const std::string& path, IconFileInfo& info, bool likeness, int tileSize) {
    info.path = path;
    info.formats.clear();
    info.error.clear();
    info.tile = {};
    info.kind = IconFileKindOfPath(path).value_or(IconFileKind::Icon);
    std::error_code failure;
    FileStamp stamp;
    if (!ReadFileStamp(path, stamp, failure)) return Fail(info, failure.message());
    info.bytes = stamp.bytes;
    info.modified = stamp.modified;
    Block look;                  // the 32-bit picture the fingerprint is taken of
    std::size_t firstCount = 1;  // the formats of the first icon
    if (info.kind == IconFileKind::Vector) {
        SvgDrawing drawing;
        std::string error;
        if (!drawing.LoadFile(path, error)) return Fail(info, error);
        info.icons = 1;
        info.formats.push_back({drawing.Width(), drawing.Height(), 32});
        if (likeness) look = drawing.Render(kLikenessSize, kLikenessSize);
        if (tileSize > 0) info.tile = drawing.Render(tileSize, tileSize);
    } else if (info.kind == IconFileKind::Picture) {
        CDIB dib;
        std::string error;
        if (!LoadPictureFile(path, dib, error)) return Fail(info, error);
        info.icons = 1;
        info.formats.push_back({dib.Width(), dib.Height(), dib.BitCount()});
        if (likeness || tileSize > 0) look = ConvertDibTo32(dib.GetBlock(), false, 0);
        if (tileSize > 0) info.tile = FitTile(look.Duplicate(), tileSize);
    } else {
        // The formats come from the file's headers; only those the fingerprint and the tile are
        // taken of are decoded.
        Block file;
        std::string error;
        if (!ReadFileBlock(path, file, kMaxMacFileBytes, error)) return Fail(info, error);
        const std::span<const std::uint8_t> bytes = file.bytes();
        IconCatalog catalog;
        if (!CatalogIconContainer(path, bytes, catalog))
            return Fail(info, "not an icon file that can be read: " + path);
        info.icons = static_cast<int>(catalog.icons.size());
        for (const CatalogIcon& icon : catalog.icons)
            for (const CatalogFormat& f : icon.formats) info.formats.push_back({f.width, f.height, f.bits});
        firstCount = catalog.icons.front().formats.size();
        const std::vector<FormatSummary> own(info.formats.begin(),
                                             info.formats.begin() + static_cast<std::ptrdiff_t>(firstCount));
        // A format listed from its header whose stream turns out damaged gives no picture. Both
        // pictures are only looked at: a large JPEG 2000 picture is decoded at a lower resolution
        // that still reaches twice the size, which keeps its fingerprint within a bit or two of
        // the full picture's (at the size itself, five).
        const auto nearest = [&](int size) {
            const int i = NearestFormat(own, size);
            CKvIcon image;
            return i >= 0 && ReadCatalogFormat(path, bytes, catalog, 0, i, image, 2 * size) ? image.To32BitDib()
                                                                                           : Block();
        };
        if (likeness) look = nearest(kLikenessSize);
        if (tileSize > 0) info.tile = FitTile(nearest(tileSize), tileSize);
    }
    if (info.formats.empty() || firstCount == 0) return Fail(info, "no icon");
    // The tile's format, of the first icon: the largest, the deepest of that size.
    info.best = static_cast<int>(
        std::max_element(info.formats.begin(), info.formats.begin() + static_cast<std::ptrdiff_t>(firstCount),
                         [](const FormatSummary& a, const FormatSummary& b) {
                             return std::pair{a.width * a.height, a.bits} < std::pair{b.width * b.height, b.bits};
                         }) -
        info.formats.begin());
    info.likeness = likeness ? LikenessHash(look) : 0;
    return true;
}

}  // namespace tellurine
