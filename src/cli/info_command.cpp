// tellurine-cli info FILE... [--json]
// Lists the formats of icon files of every kind, in file order.
#include <CLI/CLI.hpp>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/commands.h"
#include "cli/icon_support.h"
#include "formats/icns_codec.h"
#include "formats/mapped_file.h"
#include "formats/ne_resources.h"
#include "formats/pe_resources.h"

namespace tellurine::cli {

namespace {

struct InfoOptions {
    std::vector<std::string> files;
    bool json = false;
};

std::string Plural(std::size_t n, const char* word) {
    return std::to_string(n) + " " + word + (n == 1 ? "" : "s");
}

// One line of a listing: a format as it reads.
struct FormatRow {
    int width = 0;
    int height = 0;
    int bpp = 0;
    std::uint32_t colors = 0;
    bool alpha = false;
    bool png = false;
    std::uint32_t element = 0;  // a Macintosh family's element for the format (0: not a family)
    std::optional<Hotspot> hotspot;  // a cursor's
};

std::vector<FormatRow> FormatRows(const CIconDoc& doc) {
    std::vector<FormatRow> rows;
    const std::vector<std::uint32_t> elements = doc.macintosh ? AssignMacElements(doc) : std::vector<std::uint32_t>();
    for (int i = 0; i < doc.GetFormatCount(); ++i) {
        const CIconObject& f = *doc.GetFormat(i);
        rows.push_back({f.Width(), f.Height(), f.BitCount(), f.ColorCount(), f.HasAlpha(), f.Icon().IsCompressed(),
                        elements.empty() ? 0 : elements[static_cast<std::size_t>(i)], std::nullopt});
    }
    return rows;
}

// A program's images as their headers tell them: what reading them would give the formats.
std::vector<FormatRow> FormatRows(const std::vector<StoredImageFormat>& formats) {
    std::vector<FormatRow> rows;
    for (const StoredImageFormat& f : formats)
        rows.push_back({f.width, f.height, f.Bits(), f.colors, f.alpha, f.png, 0, std::nullopt});
    return rows;
}

//   INDEX: WxH, BPP bpp, COLORS colors, alpha|no alpha, png|bitmap
std::string FormatLines(const std::vector<FormatRow>& rows, const std::string& indent) {
    std::string text;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const FormatRow& f = rows[i];
        text += indent + std::to_string(i) + ": " + std::to_string(f.width) + "x" + std::to_string(f.height) + ", " +
                std::to_string(f.bpp) + " bpp, " + std::to_string(f.colors) + " colors, " +
                (f.alpha ? "alpha, " : "no alpha, ") + (f.png ? "png" : "bitmap") +
                (f.hotspot ? ", hotspot " + std::to_string(f.hotspot->x) + "," + std::to_string(f.hotspot->y) : "") +
                "\n";
    }
    return text;
}

//   skipped "TYPE" at OFFSET: REASON      (an element of a Macintosh family that was left out)
std::string SkippedLines(const std::vector<IcnsSkippedElement>& skipped, const std::string& indent) {
    std::string text;
    for (const IcnsSkippedElement& e : skipped)
        text += indent + "skipped \"" + PrintableIcnsType(e.type) + "\" at " + std::to_string(e.offset) + ": " +
                IcnsSkipReasonText(e.reason) + "\n";
    return text;
}

//   INDEX: WxH, BPP bpp, hotspot X,Y, rate R
std::string StepLines(const std::vector<CAniObject>& steps) {
    std::string text;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const CAniObject& s = steps[i];
        text += "  " + std::to_string(i) + ": " + std::to_string(s.width) + "x" + std::to_string(s.height) + ", " +
                std::to_string(s.bitDepth) + " bpp, hotspot " + std::to_string(s.hotspotX) + "," +
                std::to_string(s.hotspotY) + ", rate " + std::to_string(s.rate) + "\n";
    }
    return text;
}

// PATH: ani, N steps               (animated cursor)
// PATH: KIND, N formats            (one icon)
// PATH: KIND, N icons              (named icons)
//   icon NAME, M formats
std::string TextBlock(const std::string& path, const IconFileContents& contents) {
    std::string text = path + ": " + IconContainerName(contents.container) + ", ";
    if (contents.container == IconContainer::Ani)
        return text + Plural(contents.steps.size(), "step") + "\n" + StepLines(contents.steps);
    if (!contents.Named()) {
        const CIconDoc& doc = contents.icons.front().doc;
        return text + Plural(static_cast<std::size_t>(doc.GetFormatCount()), "format") + "\n" +
               FormatLines(FormatRows(doc), "  ") +
               SkippedLines(contents.icons.front().skipped, "  ");
    }
    text += Plural(contents.icons.size(), "icon") + "\n";
    for (const NamedIcon& icon : contents.icons)
        text += "  icon " + icon.name + ", " + Plural(static_cast<std::size_t>(icon.doc.GetFormatCount()), "format") +
                "\n" + FormatLines(FormatRows(icon.doc), "    ") + SkippedLines(icon.skipped, "    ");
    return text;
}

// A program group's formats, a cursor's with their hotspots.
std::vector<FormatRow> ProgramRows(const ExeIconGroupListing& group) {
    std::vector<FormatRow> rows = FormatRows(group.formats);
    if (group.cursor)
        for (std::size_t i = 0; i < rows.size() && i < group.hotspots.size(); ++i) rows[i].hotspot = group.hotspots[i];
    return rows;
}

// What a program is called in listings: "pe", or "ne" for a 16-bit program or icon library.
std::string ProgramKindName(std::span<const std::uint8_t> bytes) {
    return IsNeFile(bytes) ? "ne" : IconContainerName(IconContainer::Pe);
}

// The same for a program listed from its images' headers (see ReadProgramListing): its icon
// groups, then its cursor groups with each format's hotspot.
std::string ProgramTextBlock(const std::string& path, const std::string& kind,
                             const std::vector<ExeIconGroupListing>& groups) {
    const std::size_t cursors = static_cast<std::size_t>(
        std::count_if(groups.begin(), groups.end(), [](const ExeIconGroupListing& g) { return g.cursor; }));
    std::string text = path + ": " + kind;
    if (cursors < groups.size()) text += ", " + Plural(groups.size() - cursors, "icon");
    if (cursors > 0) text += ", " + Plural(cursors, "cursor");
    text += "\n";
    for (const ExeIconGroupListing& group : groups) {
        text += std::string(group.cursor ? "  cursor " : "  icon ") + group.name.Display() + ", " +
                Plural(group.formats.size(), "format") + "\n";
        text += FormatLines(ProgramRows(group), "    ");
    }
    return text;
}

nlohmann::ordered_json JsonFormats(const std::vector<FormatRow>& rows) {
    nlohmann::ordered_json formats = nlohmann::ordered_json::array();
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const FormatRow& f = rows[i];
        formats.push_back({{"index", static_cast<int>(i)},
                           {"width", f.width},
                           {"height", f.height},
                           {"bpp", f.bpp},
                           {"colors", f.colors},
                           {"alpha", f.alpha},
                           {"png", f.png}});
        // A family's formats say the element they are saved in, and its scale (2 for "@2x").
        if (f.element != 0) {
            formats.back()["element"] = PrintableIcnsType(f.element);
            formats.back()["scale"] = MacElementScale(f.element);
        }
        if (f.hotspot) formats.back()["hotspot"] = {f.hotspot->x, f.hotspot->y};
    }
    return formats;
}

// Present only when an element was left out: [{"type", "offset", "reason"}, ...].
void AddJsonSkipped(nlohmann::ordered_json& object, const std::vector<IcnsSkippedElement>& skipped) {
    if (skipped.empty()) return;
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const IcnsSkippedElement& e : skipped)
        list.push_back({{"type", PrintableIcnsType(e.type)}, {"offset", e.offset}, {"reason", IcnsSkipReasonText(e.reason)}});
    object["skipped"] = std::move(list);
}

nlohmann::ordered_json JsonFile(const std::string& path, const IconFileContents& contents) {
    nlohmann::ordered_json file = {{"path", path}, {"kind", IconContainerName(contents.container)}};
    if (contents.container == IconContainer::Ani) {
        nlohmann::ordered_json steps = nlohmann::ordered_json::array();
        for (std::size_t i = 0; i < contents.steps.size(); ++i) {
            const CAniObject& s = contents.steps[i];
            steps.push_back({{"index", i},
                             {"width", s.width},
                             {"height", s.height},
                             {"bpp", s.bitDepth},
                             {"hotspot", {s.hotspotX, s.hotspotY}},
                             {"rate", s.rate}});
        }
        file["steps"] = std::move(steps);
        return file;
    }
    if (!contents.Named()) {
        file["formats"] = JsonFormats(FormatRows(contents.icons.front().doc));
        AddJsonSkipped(file, contents.icons.front().skipped);
        return file;
    }
    nlohmann::ordered_json groups = nlohmann::ordered_json::array();
    for (const NamedIcon& icon : contents.icons) {
        nlohmann::ordered_json group = {{"name", IconNameJson(icon)}, {"formats", JsonFormats(FormatRows(icon.doc))}};
        AddJsonSkipped(group, icon.skipped);
        groups.push_back(std::move(group));
    }
    file["groups"] = std::move(groups);
    return file;
}

nlohmann::ordered_json ProgramJson(const std::string& path, const std::string& kind,
                                   const std::vector<ExeIconGroupListing>& groups) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const ExeIconGroupListing& group : groups) {
        nlohmann::ordered_json name = group.name.id ? nlohmann::ordered_json(*group.name.id)
                                                    : nlohmann::ordered_json(group.name.text);
        list.push_back({{"name", std::move(name)}, {"formats", JsonFormats(ProgramRows(group))}});
        // A cursor group says so; each of its formats gives its hotspot.
        if (group.cursor) list.back()["cursor"] = true;
    }
    return {{"path", path}, {"kind", kind}, {"groups", std::move(list)}};
}

// A program's icon groups told from the images' headers, without making any picture, when `path`
// is a program with at least one group that can be listed (the groups' images point into `file`);
// false for anything else, which is then read as every file is (and says why it cannot be, when
// it cannot).
bool ReadProgramListing(const std::string& path, MappedFile& file, std::vector<ExeIconGroupListing>& groups) {
    if (!file.Open(path, kMaxMacFileBytes) || ClassifyIconFile(path, file.Bytes()) != IconContainer::Pe) return false;
    std::optional<std::vector<ExeIconGroupListing>> listed = DescribeExeIcons(file.Bytes());
    if (!listed || listed->empty()) return false;
    groups = std::move(*listed);
    return true;
}

int RunInfo(const InfoOptions& o) {
    int exitCode = kExitOk;
    nlohmann::ordered_json files = nlohmann::ordered_json::array();
    bool first = true;
    for (const std::string& path : o.files) {
        MappedFile file;
        std::vector<ExeIconGroupListing> program;
        if (ReadProgramListing(path, file, program)) {
            if (o.json) {
                files.push_back(ProgramJson(path, ProgramKindName(file.Bytes()), program));
            } else {
                const std::string text = (first ? "" : "\n") + ProgramTextBlock(path, ProgramKindName(file.Bytes()), program);
                std::fwrite(text.data(), 1, text.size(), stdout);
                first = false;
            }
            continue;
        }
        IconFileContents contents;
        if (!ReadIconInput(path, contents)) {
            exitCode = kExitFailure;
            continue;
        }
        if (o.json) {
            files.push_back(JsonFile(path, contents));
        } else {
            const std::string text = (first ? "" : "\n") + TextBlock(path, contents);
            std::fwrite(text.data(), 1, text.size(), stdout);
            first = false;
        }
    }
    if (o.json) {
        // A path that is not UTF-8 is shown with replacement characters rather than failing.
        const nlohmann::ordered_json document = {{"files", std::move(files)}};
        const std::string text = document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
        std::fwrite(text.data(), 1, text.size(), stdout);
    }
    if (std::fflush(stdout) != 0) {
        PrintError("info: cannot write the listing");
        return kExitFailure;
    }
    return exitCode;
}

}  // namespace

CommandRunner AddInfoCommand(CLI::App& app) {
    auto options = std::make_shared<InfoOptions>();
    CLI::App* sub = app.add_subcommand("info", "List the formats of icon, cursor, animated cursor, Macintosh icon and program files");
    sub->add_option("FILE", options->files, kIconFilesHelp)->required();
    sub->add_flag("--json", options->json, "One JSON document for all files");
    return [options] { return RunInfo(*options); };
}

}  // namespace tellurine::cli
