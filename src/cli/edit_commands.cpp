// tellurine-cli filter FILE --filter NAME|NUMBER [--radius R]
// tellurine-cli resize FILE --size WxH
// tellurine-cli rotate FILE --angle A [--right]
// tellurine-cli flip FILE [--vertical]
// tellurine-cli adjust FILE [--brightness N] [--contrast N] [--hue N] ... [--shadow DX,DY,R,COLOUR,OPACITY]
// each with [--format INDEX] [--group NAME] [-o OUT]: edits every format of an icon (or one), and
// writes it back or to OUT. `filter` also takes an ordinary picture (PNG or BMP in and out).
#include <CLI/CLI.hpp>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <system_error>

#include "cli/commands.h"
#include "cli/icon_support.h"
#include "formats/icon_project.h"
#include "formats/image_file.h"
#include "icon/format_edit.h"
#include "image/file_io.h"
#include "image/raster.h"
#include "imaging/adjust.h"
#include "imaging/filters.h"
#include "imaging/rotate.h"

namespace tellurine::cli {

namespace {

// What every edit command takes besides its own options.
struct EditTarget {
    std::string input;
    std::string output;  // empty: the input is written back
    std::string group;
    int format = -1;  // -1: every format
    ProjectOutput how;
};

void AddTargetOptions(CLI::App* sub, EditTarget& target) {
    sub->add_option("FILE", target.input, kIconFilesHelp)->required();
    sub->add_option("-o,--output", target.output, "File to write (.ico or .icns); default: FILE itself");
    sub->add_option("--format", target.format, "Edit only the format of this index (as info lists them)")
        ->check(CLI::NonNegativeNumber);
    sub->add_option("--group", target.group, "The icon to edit in a file of several named icons (default: the first)");
    AddProjectOutputOptions(sub, target.how);
}

// Reads the icon, runs `edit` on the formats chosen, and writes the icon. `edit` returns false
// for a format it cannot take; the file is then not written.
int EditIcon(const std::string& command, const EditTarget& t, const std::function<bool(CKvIcon&)>& edit) {
    const std::string output = t.output.empty() ? t.input : t.output;
    const std::string ext = LowerExtension(output);
    if (ext != ".ico" && ext != ".icns") {
        PrintError(command + ": the output must end in .ico or .icns" + (t.output.empty() ? " (give -o OUT)" : "") +
                   ": " + output);
        return kExitUsage;
    }
    IconFileContents contents;
    if (!ReadIconInput(t.input, contents)) return kExitFailure;
    NamedIcon* icon = ChooseIcon(command, t.input, contents, t.group);
    if (icon == nullptr) return kExitFailure;
    CIconDoc& doc = icon->doc;
    if (t.format >= doc.GetFormatCount()) {
        PrintError(command + ": " + t.input + " has no format " + std::to_string(t.format) + " (it has " +
                   std::to_string(doc.GetFormatCount()) + ")");
        return kExitFailure;
    }
    for (int i = 0; i < doc.GetFormatCount(); ++i) {
        if (t.format >= 0 && i != t.format) continue;
        CIconObject& f = *doc.GetFormat(i);
        if (!edit(f.Icon())) {
            PrintError(command + ": format " + std::to_string(i) + " (" + std::to_string(f.Width()) + "x" +
                       std::to_string(f.Height()) + ", " + std::to_string(f.BitCount()) +
                       " bpp) cannot be edited so; nothing was written");
            return kExitFailure;
        }
        CKvIcon edited = std::move(f.Icon());
        f.AttachIcon(std::move(edited));
    }
    doc.macintosh = ext == ".icns";

    std::error_code ec;
    const bool replacesInput = t.output.empty() || (std::filesystem::equivalent(t.input, output, ec) && !ec);
    ProjectOutput how = t.how;
    how.durability = replacesInput ? Durability::Flush : Durability::NoFlush;
    return WriteProjectOutput(command, output, doc, how);
}

// --- filter -------------------------------------------------------------------------------------

struct FilterOptions {
    EditTarget target;
    std::string filter;
    int radius = kDefaultBlurRadius;
};

// Lower case, with "&" dropped and spaces and underscores as hyphens: "E&nhance Edges More" and
// "enhance_edges_more" both become "enhance-edges-more".
std::string FilterKey(std::string_view text) {
    std::string key;
    for (const char c : text) {
        if (c == '&') continue;
        key += (c == ' ' || c == '_') ? '-' : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return key;
}

// Filters besides the twelve kernels.
constexpr int kFilterInvert = -2;
constexpr int kFilterGaussian = -3;

// The filter a name or number stands for; 0 for none.
int ParseFilter(const std::string& text) {
    int number = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (ec == std::errc{} && end == text.data() + text.size())
        return number >= 1 && number <= kFilterCount ? number : 0;
    const std::string key = FilterKey(text);
    for (int i = 1; i <= kFilterCount; ++i)
        if (key == FilterKey(FilterMenuText(i))) return i;
    if (key == "invert" || key == "invert-colors") return kFilterInvert;
    if (key == "gaussian-blur" || key == "gaussian") return kFilterGaussian;
    return 0;
}

std::string FilterNames() {
    std::string names;
    for (int i = 1; i <= kFilterCount; ++i) names += std::to_string(i) + " " + FilterKey(FilterMenuText(i)) + ", ";
    return names + "invert, gaussian-blur";
}

// An ordinary picture in and out (PNG or BMP): `edit` on the whole picture, alpha included.
int EditPicture(const std::string& command, const EditTarget& t, const std::function<bool(Block&)>& edit) {
    const std::string output = t.output.empty() ? t.input : t.output;
    ImageFileFormat format{};
    if (!ImageFileFormatFromPath(output, format)) {
        PrintError(command + ": a picture is written as .png or .bmp: " + output);
        return kExitUsage;
    }
    CDIB dib;
    std::string error;
    if (!LoadImageFile(t.input, dib, error)) {
        PrintError(command + ": cannot read " + t.input + ": " + error);
        return kExitFailure;
    }
    Block block = dib.DetachBlock();
    if (!edit(block)) {
        PrintError(command + ": out of memory to edit " + t.input);
        return kExitFailure;
    }
    dib.Attach(std::move(block));
    std::vector<std::uint8_t> bytes;
    if (!EncodeImageFile(dib, format, bytes, error) ||
        !WriteFileAtomically(output, bytes, error, t.output.empty() ? Durability::Flush : Durability::NoFlush)) {
        PrintError(command + ": cannot write " + output + ": " + error);
        return kExitFailure;
    }
    return kExitOk;
}

// True when the input is an ordinary picture (PNG or BMP) rather than an icon.
bool IsPictureInput(const EditTarget& t) {
    ImageFileFormat format{};
    return ImageFileFormatFromPath(t.input, format);
}

int RunFilter(const FilterOptions& o) {
    const int filter = ParseFilter(o.filter);
    if (filter == 0) {
        PrintError("filter: no filter called " + o.filter + "; the filters are " + FilterNames());
        return kExitFailure;
    }
    if (filter == kFilterGaussian && (o.radius < kMinBlurRadius || o.radius > kMaxBlurRadius)) {
        PrintError("filter: the radius must be " + std::to_string(kMinBlurRadius) + ".." +
                   std::to_string(kMaxBlurRadius));
        return kExitFailure;
    }
    if (IsPictureInput(o.target)) {
        return EditPicture("filter", o.target, [&](Block& block) {
            if (filter == kFilterGaussian) return GaussianBlurDib(block, o.radius, -1, -1, -1, -1) != 0;
            if (filter != kFilterInvert) return ApplyFilterToDib(block, filter, -1, -1, -1, -1) != 0;
            const bool alpha = DibBitCount(block) == 32;
            DeviceBitmap inverted = InvertBitmap(DibToDeviceBitmap(block));
            Block out =
                alpha ? DeviceBitmapsToDib32(inverted, DibAlphaToDeviceBitmap(block)) : DeviceBitmapToDib(inverted, 24);
            if (out.empty()) return false;
            block = std::move(out);
            return true;
        });
    }
    return EditIcon("filter", o.target, [&](CKvIcon& icon) {
        if (filter == kFilterGaussian) return BlurFormat(icon, o.radius);
        if (filter == kFilterInvert) return InvertFormat(icon);
        return FilterFormat(icon, filter);
    });
}

// --- resize, rotate, flip ---------------------------------------------------------------------

struct ResizeOptions {
    EditTarget target;
    std::string size;
    ResampleQuality quality = ResampleQuality::Standard;
};

int RunResize(const ResizeOptions& o) {
    int width = 0, height = 0;
    const std::string& s = o.size;
    const std::size_t x = s.find_first_of("xX");
    const auto parse = [](std::string_view text, int& value) {
        const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
        return ec == std::errc{} && end == text.data() + text.size();
    };
    if (x == std::string::npos || !parse(std::string_view(s).substr(0, x), width) ||
        !parse(std::string_view(s).substr(x + 1), height)) {
        PrintError("resize: the size must be WIDTHxHEIGHT, for example 48x48: " + s);
        return kExitFailure;
    }
    if (width < 1 || height < 1 || width > kMaxResizeSide || height > kMaxResizeSide) {
        PrintError("resize: width and height must be 1.." + std::to_string(kMaxResizeSide) + ": " + s);
        return kExitFailure;
    }
    return EditIcon("resize", o.target, [&](CKvIcon& icon) { return ResizeFormat(icon, width, height, o.quality); });
}

struct RotateOptions {
    EditTarget target;
    int angle = 90;
    bool right = false;
};

int RunRotate(const RotateOptions& o) {
    if (o.angle < kMinFreeAngle || o.angle > kMaxFreeAngle) {
        PrintError("rotate: the angle must be " + std::to_string(kMinFreeAngle) + ".." + std::to_string(kMaxFreeAngle));
        return kExitFailure;
    }
    const RotateChoice choice = o.angle == 90    ? RotateChoice::Quarter
                                : o.angle == 180 ? RotateChoice::Half
                                : o.angle == 270 ? RotateChoice::ThreeQuarters
                                                 : RotateChoice::Free;
    const int angle = RotateCommandAngle(o.right ? RotateDirection::Right : RotateDirection::Left, choice, o.angle);
    return EditIcon("rotate", o.target, [&](CKvIcon& icon) { return RotateFormat(icon, angle); });
}

// --- adjust -------------------------------------------------------------------------------------

struct AdjustOptions {
    EditTarget target;
    ColorAdjustment adjustment;
    std::string levels;
    std::string colorize;
    std::string shadow;
    bool grow = false;
};

// The parts of a list separated by commas.
std::vector<std::string> Split(const std::string& text) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (std::size_t comma = text.find(','); comma != std::string::npos; comma = text.find(',', start)) {
        parts.push_back(text.substr(start, comma - start));
        start = comma + 1;
    }
    parts.push_back(text.substr(start));
    return parts;
}

// A finite number; whole when `whole`.
bool ParseNumber(const std::string& text, double& value, bool whole) {
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    return ec == std::errc{} && end == text.data() + text.size() && std::isfinite(value) &&
           (!whole || (value == std::floor(value) && std::abs(value) < 1e6));
}

// "#RRGGBB", "RRGGBB" or a few names.
bool ParseColour(std::string text, std::uint8_t& red, std::uint8_t& green, std::uint8_t& blue) {
    if (text == "black") text = "000000";
    if (text == "white") text = "FFFFFF";
    if (!text.empty() && text[0] == '#') text.erase(0, 1);
    std::uint32_t v = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v, 16);
    if (text.size() != 6 || ec != std::errc{} || end != text.data() + text.size()) return false;
    red = static_cast<std::uint8_t>(v >> 16);
    green = static_cast<std::uint8_t>(v >> 8);
    blue = static_cast<std::uint8_t>(v);
    return true;
}

int RunAdjust(AdjustOptions o) {
    ColorAdjustment& a = o.adjustment;
    // The numbers of a list of `least` to `most` parts, whole but the one at `fractionalAt`; the
    // part at `colourAt` is the caller's to read.
    const auto numbers = [](const std::string& text, std::size_t least, std::size_t most, std::size_t fractionalAt,
                            std::size_t colourAt, std::vector<double>& values) {
        const std::vector<std::string> parts = Split(text);
        values.assign(parts.size(), 0);
        if (parts.size() < least || parts.size() > most) return false;
        for (std::size_t i = 0; i < parts.size(); ++i)
            if (i != colourAt && !ParseNumber(parts[i], values[i], i != fractionalAt)) return false;
        return true;
    };
    constexpr std::size_t kNone = SIZE_MAX;
    std::vector<double> v;
    if (!o.levels.empty()) {
        if (!numbers(o.levels, 3, 5, 2, kNone, v)) {
            PrintError("adjust: --levels takes BLACK,WHITE,GAMMA[,OUTBLACK,OUTWHITE]: " + o.levels);
            return kExitUsage;
        }
        a.inputBlack = static_cast<int>(v[0]);
        a.inputWhite = static_cast<int>(v[1]);
        a.levelsGamma = v[2];
        if (v.size() > 3) a.outputBlack = static_cast<int>(v[3]);
        if (v.size() > 4) a.outputWhite = static_cast<int>(v[4]);
    }
    if (!o.colorize.empty()) {
        if (!numbers(o.colorize, 2, 2, kNone, kNone, v)) {
            PrintError("adjust: --colorize takes HUE,SATURATION: " + o.colorize);
            return kExitUsage;
        }
        a.colorize = true;
        a.colorizeHue = static_cast<int>(v[0]);
        a.colorizeSaturation = static_cast<int>(v[1]);
    }
    DropShadow shadow;
    if (!o.shadow.empty()) {
        if (!numbers(o.shadow, 5, 5, kNone, 3, v) || !ParseColour(Split(o.shadow)[3], shadow.red, shadow.green, shadow.blue)) {
            PrintError("adjust: --shadow takes DX,DY,RADIUS,#RRGGBB,OPACITY: " + o.shadow);
            return kExitUsage;
        }
        shadow.dx = static_cast<int>(v[0]);
        shadow.dy = static_cast<int>(v[1]);
        shadow.radius = static_cast<int>(v[2]);
        shadow.opacity = static_cast<int>(v[4]);
    }
    const char* wrong = CheckColorAdjustment(a);
    if (wrong == nullptr && !o.shadow.empty()) wrong = CheckDropShadow(shadow);
    if (wrong != nullptr) {
        PrintError(std::string("adjust: ") + wrong);
        return kExitUsage;
    }
    const ColorAdjuster adjuster(a);
    if (IsPictureInput(o.target)) {
        return EditPicture("adjust", o.target, [&](Block& block) {
            const auto l = GetDibLayout(block);
            if (!l || (l->bitCount != 24 && l->bitCount != 32)) return false;
            for (std::int32_t y = 0; y < l->height; ++y)
                adjuster.AdjustBgr(block.data() + l->RowOffset(y), static_cast<std::size_t>(l->width),
                                   static_cast<std::size_t>(l->bitCount / 8));
            if (o.shadow.empty()) return true;
            if (l->bitCount != 32) {
                // A shadow needs alpha: the picture is made opaque 32-bit first.
                CDIB opaque;
                opaque.Attach(std::move(block));
                opaque.ConvertTo32(false, 0);
                block = opaque.DetachBlock();
                if (DibBitCount(block) != 32) return false;
            }
            Block shadowed = WithDropShadow(block, shadow, o.grow);
            if (shadowed.empty()) return false;
            block = std::move(shadowed);
            return true;
        });
    }
    if (o.grow) {
        PrintError("adjust: --grow is for pictures: an icon's formats keep their sizes");
        return kExitUsage;
    }
    return EditIcon("adjust", o.target, [&](CKvIcon& icon) {
        if (!AdjustFormat(icon, adjuster)) return false;
        if (o.shadow.empty()) return true;
        if (icon.HasAlpha()) return ShadowFormat(icon, shadow);
        // A soft shadow needs alpha: the format's colours are adjusted, and it is said.
        std::cerr << "tellurine-cli: adjust: the " << icon.Width() << "x" << icon.Height() << " " << icon.BitsPerPixel()
                  << "-bit format has no alpha and gets no shadow\n";
        return true;
    });
}

struct FlipOptions {
    EditTarget target;
    bool vertical = false;
};

}  // namespace

CommandRunner AddFilterCommand(CLI::App& app) {
    auto o = std::make_shared<FilterOptions>();
    CLI::App* sub = app.add_subcommand("filter", "Run a filter on every format of an icon, or on a picture");
    AddTargetOptions(sub, o->target);
    sub->add_option("--filter", o->filter, "Filter name or number: " + FilterNames())->required();
    sub->add_option("--radius", o->radius, "Radius of gaussian-blur, 2..50")->default_val(kDefaultBlurRadius);
    return [o] { return RunFilter(*o); };
}

CommandRunner AddResizeCommand(CLI::App& app) {
    auto o = std::make_shared<ResizeOptions>();
    CLI::App* sub = app.add_subcommand("resize", "Resample every format of an icon to a new size");
    AddTargetOptions(sub, o->target);
    sub->add_option("--size", o->size, "New size, WIDTHxHEIGHT, each 1..4096")->required();
    AddResampleOption(sub, o->quality);
    return [o] { return RunResize(*o); };
}

CommandRunner AddRotateCommand(CLI::App& app) {
    auto o = std::make_shared<RotateOptions>();
    CLI::App* sub = app.add_subcommand("rotate", "Turn every format of an icon (counter-clockwise unless --right)");
    AddTargetOptions(sub, o->target);
    sub->add_option("--angle", o->angle, "Degrees, 1..359: 90, 180 and 270 are exact quarter turns")->required();
    sub->add_flag("--right", o->right, "Turn clockwise");
    return [o] { return RunRotate(*o); };
}

CommandRunner AddFlipCommand(CLI::App& app) {
    auto o = std::make_shared<FlipOptions>();
    CLI::App* sub = app.add_subcommand("flip", "Mirror every format of an icon left to right (or top to bottom)");
    AddTargetOptions(sub, o->target);
    sub->add_flag("--vertical", o->vertical, "Mirror top to bottom");
    return [o] { return EditIcon("flip", o->target, [&](CKvIcon& icon) { return FlipFormat(icon, o->vertical); }); };
}

CommandRunner AddAdjustCommand(CLI::App& app) {
    auto o = std::make_shared<AdjustOptions>();
    CLI::App* sub = app.add_subcommand(
        "adjust",
        "Adjust the colours of every format of an icon at once (indexed ones through their palette), or of a picture");
    AddTargetOptions(sub, o->target);
    ColorAdjustment& a = o->adjustment;
    sub->add_option("--brightness", a.brightness, "-100..100");
    sub->add_option("--contrast", a.contrast, "-100..100");
    sub->add_option("--hue", a.hue, "Degrees to turn the hue, -360..360");
    sub->add_option("--saturation", a.saturation, "-100..100");
    sub->add_option("--lightness", a.lightness, "-100..100");
    sub->add_option("--colorize", o->colorize, "HUE,SATURATION: one hue (0..360) at that saturation (0..100)");
    sub->add_option("--levels", o->levels, "BLACK,WHITE,GAMMA[,OUTBLACK,OUTWHITE], e.g. 10,240,1.2");
    sub->add_option("--gamma", a.gamma, "0.1..10 (above 1 lightens)");
    sub->add_flag("--invert", a.invert, "Invert the colours, keeping alpha");
    sub->add_option("--shadow", o->shadow,
                    "DX,DY,RADIUS,#RRGGBB,OPACITY: a drop shadow under formats with alpha (e.g. 2,2,3,#000000,60)");
    sub->add_flag("--grow", o->grow, "With --shadow on a picture: grow the canvas to hold the whole shadow");
    return [o] { return RunAdjust(*o); };
}

}  // namespace tellurine::cli
