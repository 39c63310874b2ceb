// tellurine-cli find DIR [--name PAT] [--size N] [--depth D] [--alpha|--no-alpha] [--kind K]
//                        [--like ICON [--distance N]] [--no-subfolders] [--json]
// Lists the files under DIR that hold icons matching every condition given: a name pattern, a
// format of a size, depth and alpha (all in one format), a kind, and likeness to another icon.
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "browse/search.h"
#include "cli/commands.h"

namespace tellurine::cli {

namespace {

struct FindOptions {
    std::string folder;
    std::string name;
    std::vector<int> sizes;
    std::vector<int> depths;
    bool alpha = false;
    bool noAlpha = false;
    std::vector<std::string> kinds;
    std::string like;
    int distance = 12;
    bool noSubfolders = false;
    bool json = false;
};

std::string FormatsText(const IconFileInfo& info) {
    std::string text;
    for (const FormatSummary& f : info.formats)
        text += (text.empty() ? "" : " ") + std::to_string(f.width) + "x" + std::to_string(f.height) + "x" +
                std::to_string(f.bits);
    return text;
}

int RunFind(const FindOptions& o) {
    std::error_code failure;
    if (!std::filesystem::is_directory(o.folder, failure)) {
        PrintError("find: " + o.folder + " is not a folder");
        return kExitFailure;
    }
    SearchCriteria criteria;
    criteria.namePattern = o.name;
    criteria.sizes = o.sizes;
    criteria.depths = o.depths;
    if (o.alpha || o.noAlpha) criteria.alpha = o.alpha;
    for (const std::string& name : o.kinds) {
        const auto kind = IconFileKindFromName(name);
        if (!kind) {
            PrintError("find: there is no kind \"" + name +
                       "\" (icon, cursor, animated-cursor, macintosh, program, library, picture, vector)");
            return kExitUsage;
        }
        criteria.kinds.push_back(*kind);
    }
    if (!o.like.empty()) {
        IconFileInfo reference;
        if (!ReadIconFileInfo(o.like, reference, true)) {
            PrintError("find: cannot read " + o.like + ": " + reference.error);
            return kExitFailure;
        }
        criteria.like = reference.likeness;
        criteria.maxDistance = o.distance;
    }
    int unreadable = 0;
    const int threads = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
    const std::vector<SearchMatch> matches = FindIcons(o.folder, !o.noSubfolders, criteria, threads, &unreadable);
    std::string text;
    if (o.json) {
        nlohmann::ordered_json list = nlohmann::ordered_json::array();
        for (const SearchMatch& m : matches) {
            nlohmann::ordered_json formats = nlohmann::ordered_json::array();
            for (const FormatSummary& f : m.info.formats)
                formats.push_back({{"width", f.width}, {"height", f.height}, {"bpp", f.bits}, {"alpha", f.bits == 32}});
            list.push_back({{"path", m.info.path},
                            {"kind", IconFileKindName(m.info.kind)},
                            {"bytes", m.info.bytes},
                            {"icons", m.info.icons},
                            {"formats", std::move(formats)}});
            if (m.distance >= 0) list.back()["distance"] = m.distance;
        }
        const nlohmann::ordered_json document = {
            {"folder", o.folder}, {"matches", std::move(list)}, {"unreadable", unreadable}};
        text = document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
    } else {
        for (const SearchMatch& m : matches)
            text += m.info.path + "\t" + IconFileKindName(m.info.kind) + "\t" + FormatsText(m.info) +
                    (m.distance >= 0 ? "\tdistance " + std::to_string(m.distance) : "") + "\n";
    }
    std::fwrite(text.data(), 1, text.size(), stdout);
    if (std::fflush(stdout) != 0) {
        PrintError("find: cannot write the listing");
        return kExitFailure;
    }
    return kExitOk;
}

}  // namespace

CommandRunner AddFindCommand(CLI::App& app) {
    auto options = std::make_shared<FindOptions>();
    CLI::App* sub =
        app.add_subcommand("find", "List the files under a folder that hold icons matching every condition given");
    sub->add_option("DIR", options->folder, "The folder searched, with its subfolders")->required();
    sub->add_option("--name", options->name, "File names matching a pattern: * any run, ? any character, [a-z]");
    sub->add_option("--size", options->sizes, "A format this many pixels wide (repeat for any of several)")
        ->check(CLI::Range(1, 4096));
    sub->add_option("--depth", options->depths, "A format of this many bits per pixel: 1, 4, 8, 24 or 32")
        ->check(CLI::IsMember({1, 4, 8, 16, 24, 32}));
    auto* alpha = sub->add_flag("--alpha", options->alpha, "A format with alpha (32 bits)");
    sub->add_flag("--no-alpha", options->noAlpha, "A format without alpha")->excludes(alpha);
    sub->add_option("--kind", options->kinds,
                    "Files of a kind: icon, cursor, animated-cursor, macintosh, program, library, picture, vector");
    auto* like = sub->add_option("--like", options->like, "Icons that look like this file's icon, nearest first");
    sub->add_option("--distance", options->distance, "With --like, the most fingerprint bits a match differs in")
        ->check(CLI::Range(0, 64))
        ->needs(like);
    sub->add_flag("--no-subfolders", options->noSubfolders, "Search DIR only, not its subfolders");
    sub->add_flag("--json", options->json, "Print the matches as JSON");
    return [options] { return RunFind(*options); };
}

}  // namespace tellurine::cli
