// tellurine-cli filter FILE --filter NAME|NUMBER [--radius R]
// tellurine-cli resize FILE --size WxH
// tellurine-cli rotate FILE --angle A [--right]
// tellurine-cli flip FILE [--vertical]
// each with [--format INDEX] [--group NAME] [-o OUT]: edits every format of an icon (or one), and
// writes it back or to OUT. `filter` also takes an ordinary picture (PNG or BMP in and out).
#include <CLI/CLI.hpp>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <filesystem>
#include <functional>
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
#include "imaging/filters.h"
#include "imaging/rotate.h"

namespace tellurine::cli {

namespace {

// What every edit command takes besides its own options.
struct EditTarget {
    std::string input;
    std::string output;  // empty: the input is written back
    std::string group;
    int format = -1;     // -1: every format
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
    if (ec == std::errc{} && end == text.data() + text.size()) return number >= 1 && number <= kFilterCount ? number : 0;
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

// An ordinary picture in and out: the filter on the whole picture, alpha included.
int FilterPicture(const FilterOptions& o, int filter, ImageFileFormat format) {
    const std::string output = o.target.output.empty() ? o.target.input : o.target.output;
    CDIB dib;
    std::string error;
    if (!LoadImageFile(o.target.input, dib, error)) {
        PrintError("filter: cannot read " + o.target.input + ": " + error);
        return kExitFailure;
    }
    Block block = dib.DetachBlock();
    bool ok = false;
    if (filter == kFilterGaussian) {
        ok = GaussianBlurDib(block, o.radius, -1, -1, -1, -1) != 0;
    } else if (filter == kFilterInvert) {
        const bool alpha = DibBitCount(block) == 32;
        DeviceBitmap inverted = InvertBitmap(DibToDeviceBitmap(block));
        Block out = alpha ? DeviceBitmapsToDib32(inverted, DibAlphaToDeviceBitmap(block)) : DeviceBitmapToDib(inverted, 24);
        ok = !out.empty();
        if (ok) block = std::move(out);
    } else {
        ok = ApplyFilterToDib(block, filter, -1, -1, -1, -1) != 0;
    }
    if (!ok) {
        PrintError("filter: out of memory to filter " + o.target.input);
        return kExitFailure;
    }
    dib.Attach(std::move(block));
    std::vector<std::uint8_t> bytes;
    if (!EncodeImageFile(dib, format, bytes, error) ||
        !WriteFileAtomically(output, bytes, error, o.target.output.empty() ? Durability::Flush : Durability::NoFlush)) {
        PrintError("filter: cannot write " + output + ": " + error);
        return kExitFailure;
    }
    return kExitOk;
}

int RunFilter(const FilterOptions& o) {
    const int filter = ParseFilter(o.filter);
    if (filter == 0) {
        PrintError("filter: no filter called " + o.filter + "; the filters are " + FilterNames());
        return kExitFailure;
    }
    if (filter == kFilterGaussian && (o.radius < kMinBlurRadius || o.radius > kMaxBlurRadius)) {
        PrintError("filter: the radius must be " + std::to_string(kMinBlurRadius) + ".." + std::to_string(kMaxBlurRadius));
        return kExitFailure;
    }
    ImageFileFormat pictureFormat{};
    if (ImageFileFormatFromPath(o.target.input, pictureFormat)) {
        const std::string output = o.target.output.empty() ? o.target.input : o.target.output;
        if (!ImageFileFormatFromPath(output, pictureFormat)) {
            PrintError("filter: a picture is written as .png or .bmp: " + output);
            return kExitUsage;
        }
        return FilterPicture(o, filter, pictureFormat);
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
    return [o] {
        return EditIcon("flip", o->target, [&](CKvIcon& icon) { return FlipFormat(icon, o->vertical); });
    };
}

}  // namespace tellurine::cli
