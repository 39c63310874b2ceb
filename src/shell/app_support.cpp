#include "shell/app_support.h"

#include <algorithm>
#include <cctype>

namespace tellurine::shell {

namespace {

bool IsSeparator(char c) { return c == '/' || c == '\\'; }

}  // namespace

std::string ProgramFolder(const std::string& programPath) {
    std::string path = programPath.substr(0, 260);
    const std::size_t cut = path.find_last_of("/\\");
    return cut == std::string::npos ? std::string() : path.substr(0, cut + 1);
}

std::string UserDataFolder(const std::string& appDataFolder) {
    // Windows folders use backslashes; elsewhere the folder's own separator is kept.
    const char separator = appDataFolder.find('\\') != std::string::npos ? '\\' : '/';
    std::string folder = appDataFolder;
    if (folder.empty() || !IsSeparator(folder.back())) folder += separator;
    return folder + kOrganization + separator + kApplicationName + separator;
}

Palette ApplicationPalette() {
    Palette palette;
    palette.entries.resize(256);
    for (int i = 0; i < 256; ++i) {
        PaletteEntry& e = palette.entries[static_cast<std::size_t>(i)];
        e.red = static_cast<std::uint8_t>(((i & 192) * 255 + 96) / 192);
        e.green = static_cast<std::uint8_t>(((i & 56) * 1020 + 112) / 224);
        e.blue = static_cast<std::uint8_t>(((i & 6) * 8160 + 96) / 192);
        e.flags = 0;
    }
    return palette;
}

namespace {

std::string SwitchText(std::string_view rest) {
    std::string text(rest);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.pop_back();
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"') text = text.substr(1, text.size() - 2);
    return text;
}

}  // namespace

StartSwitches ParseStartSwitches(std::string_view raw) {
    StartSwitches switches;
    constexpr std::string_view kDelPatch = "/delpatch:";
    constexpr std::string_view kLibrarian = "/librarian:";
    if (const std::size_t at = raw.find(kDelPatch); at != std::string_view::npos) {
        switches.deletePatch = true;
        switches.patchPath = SwitchText(raw.substr(at + kDelPatch.size()));
    } else if (const std::size_t lib = raw.find(kLibrarian); lib != std::string_view::npos) {
        switches.librarian = true;
        switches.librarianArgument = SwitchText(raw.substr(lib + kLibrarian.size()));
    }
    return switches;
}

std::vector<std::string> CommandLineFiles(const std::vector<std::string>& arguments) {
    std::vector<std::string> files;
    for (const std::string& arg : arguments) {
        // The update and librarian switches take the rest of the command line as their text.
        if (arg.rfind("/delpatch:", 0) == 0 || arg.rfind("/librarian:", 0) == 0) break;
        if (arg.empty() || arg[0] == '-') continue;
        // A switch is "/name" or "/name:..." with a name of letters alone; "/home/me/a.ico" is a path.
        if (arg[0] == '/') {
            const std::string name = arg.substr(1, arg.find(':') - 1);
            if (!name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
                    return std::isalpha(static_cast<unsigned char>(c)) != 0;
                }))
                continue;
        }
        files.push_back(arg);
    }
    return files;
}

std::string RawCommandLine(const std::vector<std::string>& arguments) {
    std::string raw;
    for (const std::string& arg : arguments) {
        if (!raw.empty()) raw += ' ';
        const bool quote = arg.find_first_of(" \t") != std::string::npos;
        raw += quote ? '"' + arg + '"' : arg;
    }
    return raw;
}

std::string AbbreviatePath(const std::string& path, std::size_t maxLength) {
    if (path.size() <= maxLength) return path;
    const std::size_t nameAt = path.find_last_of("/\\");
    const std::string name = nameAt == std::string::npos ? path : path.substr(nameAt + 1);
    if (nameAt != std::string::npos) {
        // The root and the first folder ("/home/", "C:\Icons\"), then "...", then the name.
        const std::size_t root = path.size() > 2 && path[1] == ':' ? 3 : path.find_first_not_of("/\\");
        const std::size_t first = path.find_first_of("/\\", root);
        if (first != std::string::npos && first < nameAt) {
            const std::string shortened = path.substr(0, first + 1) + "..." + path[nameAt] + name;
            if (shortened.size() <= maxLength) return shortened;
        }
    }
    if (name.size() <= maxLength) return name;
    return name.substr(0, maxLength > 3 ? maxLength - 3 : 0) + "...";
}

}  // namespace tellurine::shell

namespace tellurine::shell {

std::span<const TransparencyScheme> TransparencySchemes() {
    static constexpr TransparencyScheme kSchemes[] = {
        {"Custom", 0xEBEBEB, 0xFFFFFF},       {"Grey", 0xC0C0C0, 0xE0E0E0},
        {"Light", 0xEBEBEB, 0xFFFFFF},        {"Medium", 0xA0A0A0, 0xC8C8C8},
        {"Dark", 0x303030, 0x484848},         {"Blue", 0xF0D8C0, 0xFFF0E0},
    };
    return kSchemes;
}

}  // namespace tellurine::shell

namespace tellurine::shell {

WindowPlace CascadedPlace(const WindowPlace* last, int step, int width, int height, int areaWidth, int areaHeight) {
    if (last == nullptr) return {};
    const WindowPlace next{last->x + step, last->y + step};
    if (next.x + width > areaWidth || next.y + height > areaHeight) return {};
    return next;
}

PictureSize ThumbnailSize(int width, int height, int side, double ratio) {
    if (width <= 0 || height <= 0 || side <= 0) return {};
    if (width > side || height > side) {
        // Scaled to fit, keeping its shape, with the sides rounded down.
        const long long fitWidth = static_cast<long long>(side) * width / height;
        if (fitWidth <= side) return {std::max(1, static_cast<int>(fitWidth)), side};
        return {side, std::max(1, static_cast<int>(static_cast<long long>(side) * height / width))};
    }
    const int times = std::clamp(static_cast<int>(ratio), 1, std::min(side / width, side / height));
    return {width * times, height * times};
}

std::string FillText(std::string_view text, std::initializer_list<std::string> args) {
    std::string filled;
    for (std::size_t i = 0; i < text.size(); ++i) {
        std::size_t end = i + 1;
        std::size_t number = 0;
        while (end < text.size() && end < i + 3 && text[end] >= '0' && text[end] <= '9')
            number = number * 10 + static_cast<std::size_t>(text[end++] - '0');
        if (text[i] == '%' && number >= 1 && number <= args.size()) {
            filled += *(args.begin() + (number - 1));
            i = end - 1;
        } else {
            filled += text[i];
        }
    }
    return filled;
}

}  // namespace tellurine::shell
