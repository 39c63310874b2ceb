#include "formats/palette_file.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "image/bytes.h"
#include "image/file_io.h"

namespace tellurine {

namespace {

using Bytes = std::vector<std::uint8_t>;
using ByteSpan = std::span<const std::uint8_t>;

// ---- Names: UTF-8 and UTF-16 ----

constexpr char32_t kReplacement = 0xFFFD;

// The next code point of UTF-8 text; a byte that starts no valid sequence (overlong, surrogate,
// past U+10FFFF, cut short) gives U+FFFD and moves on by one byte.
char32_t NextCodePoint(std::string_view text, std::size_t& at) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(at);
    std::size_t length = 0;
    char32_t cp = 0, least = 0;
    if (lead < 0x80) {
        ++at;
        return lead;
    }
    if ((lead & 0xE0) == 0xC0) {
        length = 2, cp = lead & 0x1F, least = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3, cp = lead & 0x0F, least = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4, cp = lead & 0x07, least = 0x10000;
    } else {
        ++at;
        return kReplacement;
    }
    if (text.size() - at < length) {
        ++at;
        return kReplacement;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xC0) != 0x80) {
            ++at;
            return kReplacement;
        }
        cp = (cp << 6) | (byte(at + i) & 0x3F);
    }
    if (cp < least || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
        ++at;
        return kReplacement;
    }
    at += length;
    return cp;
}

// A name of `units` UTF-16 big-endian code units, ending early at a 0; a lone surrogate becomes
// U+FFFD.
std::string Utf16BeName(ByteSpan bytes, std::size_t units) {
    return CleanPaletteName(
        Utf8FromUtf16(units, [bytes](std::size_t i) { return char32_t{LoadBE16(bytes.data() + 2 * i)}; }, true));
}

void PutBE16(Bytes& out, std::uint32_t v) {
    out.push_back(static_cast<std::uint8_t>(v >> 8));
    out.push_back(static_cast<std::uint8_t>(v));
}

void PutBE32(Bytes& out, std::uint32_t v) {
    PutBE16(out, v >> 16);
    PutBE16(out, v & 0xFFFF);
}

void PutLE32(Bytes& out, std::uint32_t v) {
    out.resize(out.size() + 4);
    StoreU32(out.data() + out.size() - 4, v);
}

void PutText(Bytes& out, std::string_view text) {
    out.insert(out.end(), text.begin(), text.end());
}

// A name's UTF-16 code units, without a terminator.
std::vector<std::uint16_t> Utf16Units(std::string_view name) {
    std::vector<std::uint16_t> units;
    for (std::size_t at = 0; at < name.size();) {
        const char32_t cp = NextCodePoint(name, at);
        if (cp >= 0x10000) {
            units.push_back(static_cast<std::uint16_t>(0xD800 + ((cp - 0x10000) >> 10)));
            units.push_back(static_cast<std::uint16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF)));
        } else {
            units.push_back(static_cast<std::uint16_t>(cp));
        }
    }
    return units;
}

// ---- Colour models ----

std::uint8_t ToByte(double v) {
    if (!(v > 0)) return 0;  // NaN too
    if (v >= 1) return 255;
    return static_cast<std::uint8_t>(std::lround(v * 255));
}

NamedColor Rgb(double r, double g, double b) {
    return {ToByte(r), ToByte(g), ToByte(b), 255, {}, {}};
}

// Hue in degrees, saturation and brightness 0 to 1.
NamedColor FromHsb(double hue, double s, double v) {
    const double h6 = std::fmod(hue, 360.0) / 60.0;
    const double sector = std::floor(h6);
    const double f = h6 - sector;
    const double p = v * (1 - s), q = v * (1 - s * f), t = v * (1 - s * (1 - f));
    switch (static_cast<int>(sector)) {
        case 0: return Rgb(v, t, p);
        case 1: return Rgb(q, v, p);
        case 2: return Rgb(p, v, t);
        case 3: return Rgb(p, q, v);
        case 4: return Rgb(t, p, v);
        default: return Rgb(v, p, q);
    }
}

// Inks 0 to 1, without a profile.
NamedColor FromCmyk(double c, double m, double y, double k) {
    return Rgb((1 - c) * (1 - k), (1 - m) * (1 - k), (1 - y) * (1 - k));
}

// CIE Lab under D50 to sRGB: Lab to XYZ (D50), the Bradford-adapted XYZ to linear sRGB matrix,
// then sRGB's transfer curve.
NamedColor FromLab(double lightness, double a, double b) {
    constexpr double kEpsilon = 216.0 / 24389.0, kKappa = 24389.0 / 27.0;
    const auto inverse = [](double f) {
        const double cube = f * f * f;
        return cube > kEpsilon ? cube : (116 * f - 16) / kKappa;
    };
    const double fy = (lightness + 16) / 116;
    const double x = 0.96422 * inverse(fy + a / 500), y = inverse(fy), z = 0.82521 * inverse(fy - b / 200);
    const auto encode = [](double v) {
        return v <= 0.0031308 ? 12.92 * v : 1.055 * std::pow(v, 1 / 2.4) - 0.055;
    };
    return Rgb(encode(3.1338561 * x - 1.6168667 * y - 0.4906146 * z),
               encode(-0.9787684 * x + 1.9161415 * y + 0.0334540 * z),
               encode(0.0719453 * x - 0.2289914 * y + 1.4052427 * z));
}

// ---- Text lines ----

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f';
}

std::string_view Trim(std::string_view s) {
    while (!s.empty() && IsBlank(s.front())) s.remove_prefix(1);
    while (!s.empty() && IsBlank(s.back())) s.remove_suffix(1);
    return s;
}

// The lines of a text file, a UTF-8 byte order mark dropped, each trimmed of blanks at both ends.
std::vector<std::string_view> Lines(ByteSpan bytes) {
    std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        lines.push_back(Trim(text.substr(0, end)));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return lines;
}

// The next word of `rest`, which moves past it.
std::string_view NextWord(std::string_view& rest) {
    rest = Trim(rest);
    std::size_t end = 0;
    while (end < rest.size() && !IsBlank(rest[end])) ++end;
    const std::string_view word = rest.substr(0, end);
    rest.remove_prefix(end);
    return word;
}

bool ParseNumber(std::string_view word, unsigned limit, unsigned& value) {
    const auto [end, ec] = std::from_chars(word.data(), word.data() + word.size(), value);
    return !word.empty() && ec == std::errc() && end == word.data() + word.size() && value <= limit;
}

// Three (or, when `alpha` is given, optionally four) numbers 0 to 255 from the front of `rest`.
bool ParseRgb(std::string_view& rest, NamedColor& color, bool alpha) {
    unsigned v[4] = {0, 0, 0, 255};
    for (int i = 0; i < 3; ++i)
        if (!ParseNumber(NextWord(rest), 255, v[i])) return false;
    if (alpha && !Trim(rest).empty() && !ParseNumber(NextWord(rest), 255, v[3])) return false;
    color = {static_cast<std::uint8_t>(v[0]),
             static_cast<std::uint8_t>(v[1]),
             static_cast<std::uint8_t>(v[2]),
             static_cast<std::uint8_t>(v[3]),
             {},
             {}};
    return true;
}

std::string LineError(const char* format, std::size_t line, const char* what) {
    return std::string(format) + " line " + std::to_string(line + 1) + ": " + what;
}

std::string TooMany(const char* format) {
    return std::string(format) + ": more than " + std::to_string(kMaxPaletteColors) + " colours";
}

bool IsHexColor(std::string_view s) {
    return s.size() == 8 && std::all_of(s.begin(), s.end(),
                                        [](char c) { return std::isxdigit(static_cast<unsigned char>(c)); });
}

// ---- Readers ----

bool ReadGimp(ByteSpan bytes, PaletteFile& palette, std::string& error) {
    const std::vector<std::string_view> lines = Lines(bytes);
    for (std::size_t i = 1; i < lines.size(); ++i) {
        std::string_view line = lines[i];
        if (line.empty() || line.front() == '#') continue;
        if (line.starts_with("Name:")) {
            palette.name = CleanPaletteName(line.substr(5));
            continue;
        }
        if (line.starts_with("Columns:")) continue;
        NamedColor color;
        if (!ParseRgb(line, color, false)) {
            error = LineError("GIMP palette", i, "expected \"R G B name\" with values 0 to 255");
            return false;
        }
        if (palette.colors.size() == kMaxPaletteColors) {
            error = TooMany("GIMP palette");
            return false;
        }
        color.name = CleanPaletteName(line);
        palette.colors.push_back(std::move(color));
    }
    return true;
}

bool ReadJasc(ByteSpan bytes, PaletteFile& palette, std::string& error) {
    const std::vector<std::string_view> lines = Lines(bytes);
    unsigned count = 0;
    if (lines.size() < 3 || lines[1] != "0100" || !ParseNumber(lines[2], 0xFFFFFFFF, count)) {
        error = "JASC palette: the header is not \"JASC-PAL\", \"0100\" and a colour count";
        return false;
    }
    if (count > kMaxPaletteColors) {
        error = TooMany("JASC palette");
        return false;
    }
    if (lines.size() - 3 < count) {
        error = "JASC palette: " + std::to_string(count) + " colours declared, " +
                std::to_string(lines.size() - 3) + " lines follow";
        return false;
    }
    for (std::size_t i = 3; i < 3 + count; ++i) {
        std::string_view line = lines[i];
        NamedColor color;
        if (!ParseRgb(line, color, true) || !Trim(line).empty()) {
            error = LineError("JASC palette", i, "expected \"R G B\" with values 0 to 255");
            return false;
        }
        palette.colors.push_back(color);
    }
    return true;
}

bool ReadPaintNet(ByteSpan bytes, PaletteFile& palette, std::string& error) {
    const std::vector<std::string_view> lines = Lines(bytes);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const std::string_view line = lines[i];
        if (line.empty() || line.front() == ';') continue;
        if (!IsHexColor(line)) {
            error = LineError("Paint.NET palette", i, "expected 8 hexadecimal digits AARRGGBB");
            return false;
        }
        if (palette.colors.size() == kMaxPaletteColors) {
            error = TooMany("Paint.NET palette");
            return false;
        }
        std::uint32_t argb = 0;
        std::from_chars(line.data(), line.data() + 8, argb, 16);
        palette.colors.push_back({static_cast<std::uint8_t>(argb >> 16),
                                  static_cast<std::uint8_t>(argb >> 8),
                                  static_cast<std::uint8_t>(argb),
                                  static_cast<std::uint8_t>(argb >> 24),
                                  {},
                                  {}});
    }
    return true;
}

bool ReadRiff(ByteSpan bytes, PaletteFile& palette, std::string& error) {
    const std::uint64_t declared = std::uint64_t{LoadU32(bytes.data() + 4)} + 8;
    if (declared > bytes.size()) {
        error = "RIFF palette: the file is cut short (" + std::to_string(bytes.size()) + " of " +
                std::to_string(declared) + " bytes)";
        return false;
    }
    for (std::size_t at = 12; at + 8 <= declared;) {
        const std::uint32_t size = LoadU32(bytes.data() + at + 4);
        const std::size_t body = at + 8;
        if (size > declared - body) {
            error = "RIFF palette: a chunk runs past the end of the file";
            return false;
        }
        if (std::memcmp(bytes.data() + at, "data", 4) != 0) {
            at = body + size + (size & 1);
            continue;
        }
        const std::size_t count = size < 4 ? 0 : LoadU16(bytes.data() + body + 2);
        if (size < 4 || LoadU16(bytes.data() + body) != 0x0300 || 4 + 4 * count > size) {
            error = "RIFF palette: the data chunk is not version 0x0300 with its " + std::to_string(count) +
                    " entries";
            return false;
        }
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint8_t* p = bytes.data() + body + 4 + 4 * i;
            palette.colors.push_back({p[0], p[1], p[2], 255, {}, {}});
        }
        return true;
    }
    error = "RIFF palette: there is no data chunk";
    return false;
}

// One part of a .aco file (version 1, or version 2 with names) from the reader's position.
bool ReadAcoPart(BigEndianReader& in, std::uint16_t version, PaletteFile& palette, std::string& error) {
    std::uint16_t count = 0;
    const std::string part = ".aco version " + std::to_string(version);
    if (!in.U16(count)) {
        error = part + ": the colour count is missing";
        return false;
    }
    for (std::size_t i = 0; i < count; ++i) {
        std::uint16_t v[5] = {};
        std::string name;
        for (std::uint16_t& word : v)
            if (!in.U16(word)) {
                error =
                    part + ": colour " + std::to_string(i) + " of " + std::to_string(count) + " is cut short";
                return false;
            }
        std::uint32_t units = 0;
        std::span<const std::uint8_t> text;
        if (version == 2 &&
            (!in.U32(units) || units > in.Left() / 2 || !in.Bytes(std::size_t{2} * units, text))) {
            error = part + ": the name of colour " + std::to_string(i) + " runs past the end of the file";
            return false;
        }
        if (version == 2) name = Utf16BeName(text, units);
        NamedColor color;
        const double w = v[1], x = v[2], y = v[3], z = v[4];
        switch (v[0]) {
            case 0: color = Rgb(w / 65535, x / 65535, y / 65535); break;
            case 1: color = FromHsb(w / 65536 * 360, x / 65535, y / 65535); break;
            case 2: color = FromCmyk(1 - w / 65535, 1 - x / 65535, 1 - y / 65535, 1 - z / 65535); break;
            case 7:
                color = FromLab(w / 100, static_cast<std::int16_t>(v[2]) / 100.0,
                                static_cast<std::int16_t>(v[3]) / 100.0);
                break;
            case 8: color = Rgb(1 - w / 10000, 1 - w / 10000, 1 - w / 10000); break;
            default:
                palette.skipped.push_back("colour " + std::to_string(i) +
                                          (name.empty() ? "" : " \"" + name + "\"") + ": colour space " +
                                          std::to_string(v[0]) +
                                          " (an ink book's or unknown) has no conversion to RGB");
                continue;
        }
        color.name = std::move(name);
        palette.colors.push_back(std::move(color));
    }
    return true;
}

// True when a .aco part of this version starts at `at`.
bool AcoPartAt(ByteSpan bytes, std::size_t at, std::uint16_t version) {
    return bytes.size() >= at + 4 && LoadBE16(bytes.data() + at) == version;
}

bool ReadAco(ByteSpan bytes, PaletteFile& palette, std::string& error) {
    BigEndianReader in(bytes);
    std::uint16_t version = 0;
    in.U16(version);
    if (version == 1) {
        if (!ReadAcoPart(in, 1, palette, error)) return false;
        // A version 2 part after the first repeats its colours with names: it replaces them.
        std::uint16_t next = 0;
        if (!in.U16(next) || next != 2) return true;
        palette = {};
    }
    return ReadAcoPart(in, 2, palette, error);
}

// A name of .ase: a 16-bit count of UTF-16 units, its terminating 0 included, then the units.
bool AseName(BigEndianReader& in, std::string& name) {
    std::uint16_t units = 0;
    std::span<const std::uint8_t> text;
    if (!in.U16(units) || !in.Bytes(std::size_t{2} * units, text)) return false;
    name = Utf16BeName(text, units);
    return true;
}

bool ReadAse(ByteSpan bytes, PaletteFile& palette, std::string& error) {
    BigEndianReader in(bytes.subspan(4));
    std::uint16_t major = 0, minor = 0;
    std::uint32_t blocks = 0;
    if (!in.U16(major) || !in.U16(minor) || !in.U32(blocks) || major != 1) {
        error = ".ase: the header is not version 1 with a block count";
        return false;
    }
    if (blocks > in.Left() / 6) {
        error = ".ase: " + std::to_string(blocks) + " blocks declared, but " + std::to_string(in.Left()) +
                " bytes follow";
        return false;
    }
    std::string group;
    for (std::uint32_t i = 0; i < blocks; ++i) {
        const std::string where = ".ase block " + std::to_string(i);
        std::uint16_t type = 0;
        std::uint32_t length = 0;
        BigEndianReader block;
        if (!in.U16(type) || !in.U32(length) || !in.Section(length, block)) {
            error = where + ": runs past the end of the file";
            return false;
        }
        if (type == 0xC002) group.clear();
        if (type == 0xC001 && !AseName(block, group)) {
            error = where + ": the group name runs past the end of its block";
            return false;
        }
        if (type != 0x0001) continue;
        NamedColor color;
        std::span<const std::uint8_t> model;
        if (!AseName(block, color.name) || !block.Bytes(4, model)) {
            error = where + ": the colour's name or model runs past the end of its block";
            return false;
        }
        const std::string modelName(model.begin(), model.end());
        const std::size_t values = modelName == "CMYK" ? 4 : modelName == "Gray" ? 1 : 3;
        if (modelName != "RGB " && modelName != "CMYK" && modelName != "Gray" && modelName != "LAB ") {
            palette.skipped.push_back("block " + std::to_string(i) + " \"" + color.name +
                                      "\": colour model \"" + CleanPaletteName(modelName) + "\" is unknown");
            continue;
        }
        float v[4] = {};
        for (std::size_t k = 0; k < values; ++k) {
            std::uint32_t raw = 0;
            if (!block.U32(raw)) {
                error = where + ": the colour's values run past the end of its block";
                return false;
            }
            v[k] = std::bit_cast<float>(raw);
            if (!std::isfinite(v[k])) {
                error = where + ": a colour value is not a finite number";
                return false;
            }
        }
        const NamedColor converted = modelName == "CMYK"   ? FromCmyk(v[0], v[1], v[2], v[3])
                                     : modelName == "Gray" ? Rgb(v[0], v[0], v[0])
                                     : modelName == "LAB " ? FromLab(v[0] * 100.0, v[1], v[2])
                                                           : Rgb(v[0], v[1], v[2]);
        color = {converted.red, converted.green, converted.blue, 255, std::move(color.name), group};
        if (palette.colors.size() == kMaxPaletteColors) {
            error = TooMany(".ase");
            return false;
        }
        palette.colors.push_back(std::move(color));
    }
    return true;
}

// ---- Writers ----

std::string Number3(unsigned v) {
    char text[8];
    std::snprintf(text, sizeof text, "%3u", v);
    return text;
}

void WriteGimp(const PaletteFile& palette, Bytes& out) {
    PutText(out, "GIMP Palette\n");
    const std::string name = CleanPaletteName(palette.name);
    if (!name.empty()) PutText(out, "Name: " + name + "\n");
    PutText(out, "Columns: 0\n#\n");
    for (const NamedColor& c : palette.colors)
        PutText(out, Number3(c.red) + " " + Number3(c.green) + " " + Number3(c.blue) + "\t" +
                         CleanPaletteName(c.name) + "\n");
}

void WriteJasc(const PaletteFile& palette, Bytes& out) {
    PutText(out, "JASC-PAL\r\n0100\r\n" + std::to_string(palette.colors.size()) + "\r\n");
    for (const NamedColor& c : palette.colors)
        PutText(out, std::to_string(c.red) + " " + std::to_string(c.green) + " " + std::to_string(c.blue) +
                         "\r\n");
}

void WriteRiff(const PaletteFile& palette, Bytes& out) {
    const auto count = static_cast<std::uint32_t>(palette.colors.size());
    PutText(out, "RIFF");
    PutLE32(out, 16 + 4 * count);
    PutText(out, "PAL data");
    PutLE32(out, 4 + 4 * count);
    PutLE32(out, 0x0300 | (count << 16));
    for (const NamedColor& c : palette.colors) out.insert(out.end(), {c.red, c.green, c.blue, 0});
}

void WriteAcoPart(const PaletteFile& palette, std::uint16_t version, Bytes& out) {
    PutBE16(out, version);
    PutBE16(out, static_cast<std::uint32_t>(palette.colors.size()));
    for (const NamedColor& c : palette.colors) {
        for (const std::uint32_t v : {0u, c.red * 257u, c.green * 257u, c.blue * 257u, 0u}) PutBE16(out, v);
        if (version == 1) continue;
        const std::vector<std::uint16_t> units = Utf16Units(CleanPaletteName(c.name));
        PutBE32(out, static_cast<std::uint32_t>(units.size() + 1));
        for (const std::uint16_t unit : units) PutBE16(out, unit);
        PutBE16(out, 0);
    }
}

void PutAseName(Bytes& out, const std::vector<std::uint16_t>& units) {
    PutBE16(out, static_cast<std::uint32_t>(units.size() + 1));
    for (const std::uint16_t unit : units) PutBE16(out, unit);
    PutBE16(out, 0);
}

void WriteAse(const PaletteFile& palette, Bytes& out) {
    PutText(out, "ASEF");
    PutBE32(out, 0x00010000);
    const std::size_t countAt = out.size();
    PutBE32(out, 0);
    std::uint32_t blocks = 0;
    std::string open;  // the group the colours written last are in
    const auto close = [&] {
        if (open.empty()) return;
        PutBE16(out, 0xC002);
        PutBE32(out, 0);
        ++blocks;
        open.clear();
    };
    for (const NamedColor& c : palette.colors) {
        const std::string group = CleanPaletteName(c.group);
        if (group != open) {
            close();
            if (!group.empty()) {
                const std::vector<std::uint16_t> units = Utf16Units(group);
                PutBE16(out, 0xC001);
                PutBE32(out, static_cast<std::uint32_t>(2 + 2 * (units.size() + 1)));
                PutAseName(out, units);
                ++blocks;
                open = group;
            }
        }
        const std::vector<std::uint16_t> units = Utf16Units(CleanPaletteName(c.name));
        PutBE16(out, 0x0001);
        PutBE32(out, static_cast<std::uint32_t>(2 + 2 * (units.size() + 1) + 4 + 12 + 2));
        PutAseName(out, units);
        PutText(out, "RGB ");
        for (const std::uint8_t v : {c.red, c.green, c.blue})
            PutBE32(out, std::bit_cast<std::uint32_t>(v / 255.0f));
        PutBE16(out, 2);  // a process colour
        ++blocks;
    }
    close();
    StoreBE32(out.data() + countAt, blocks);
}

void WritePaintNet(const PaletteFile& palette, Bytes& out) {
    PutText(out, "; paint.net Palette File\r\n; Colors are AARRGGBB in hexadecimal\r\n");
    for (const NamedColor& c : palette.colors) {
        char line[16];
        std::snprintf(line, sizeof line, "%02X%02X%02X%02X\r\n", c.alpha, c.red, c.green, c.blue);
        PutText(out, line);
    }
}

}  // namespace

std::string CleanPaletteName(std::string_view name) {
    std::vector<char32_t> points;
    for (std::size_t at = 0; at < name.size();) {
        const char32_t cp = NextCodePoint(name, at);
        points.push_back(cp < 0x20 || cp == 0x7F ? U' ' : cp);
    }
    const auto first = std::find_if(points.begin(), points.end(), [](char32_t c) { return c != U' '; });
    points.erase(points.begin(), first);
    if (points.size() > kMaxPaletteNameChars) points.resize(kMaxPaletteNameChars);
    while (!points.empty() && points.back() == U' ') points.pop_back();
    std::string out;
    for (const char32_t cp : points) AppendUtf8(out, cp);
    return out;
}

const char* PaletteFormatName(PaletteFormat format) {
    switch (format) {
        case PaletteFormat::Gimp: return "gimp";
        case PaletteFormat::JascPal: return "jasc";
        case PaletteFormat::RiffPal: return "riff";
        case PaletteFormat::AcoV1: return "aco1";
        case PaletteFormat::AcoV2: return "aco";
        case PaletteFormat::Ase: return "ase";
        case PaletteFormat::PaintNet: return "paintnet";
    }
    return "";
}

std::optional<PaletteFormat> PaletteFormatFromName(std::string_view name) {
    for (const PaletteFormat f :
         {PaletteFormat::Gimp, PaletteFormat::JascPal, PaletteFormat::RiffPal, PaletteFormat::AcoV1,
          PaletteFormat::AcoV2, PaletteFormat::Ase, PaletteFormat::PaintNet})
        if (name == PaletteFormatName(f)) return f;
    return std::nullopt;
}

std::optional<PaletteFormat> PaletteFormatFromPath(const std::string& path) {
    const std::string ext = LowerExtension(path);
    if (ext == ".gpl") return PaletteFormat::Gimp;
    if (ext == ".pal") return PaletteFormat::JascPal;
    if (ext == ".aco") return PaletteFormat::AcoV2;
    if (ext == ".ase") return PaletteFormat::Ase;
    if (ext == ".txt") return PaletteFormat::PaintNet;
    return std::nullopt;
}

std::optional<PaletteFormat> DetectPaletteFormat(std::span<const std::uint8_t> bytes) {
    const std::vector<std::string_view> lines = Lines(bytes.first(std::min<std::size_t>(bytes.size(), 4096)));
    const auto starts = [&](std::string_view magic) {
        return bytes.size() >= magic.size() && std::memcmp(bytes.data(), magic.data(), magic.size()) == 0;
    };
    if (!lines.empty() && lines.front() == "GIMP Palette") return PaletteFormat::Gimp;
    if (!lines.empty() && lines.front() == "JASC-PAL") return PaletteFormat::JascPal;
    if (starts("RIFF") && bytes.size() >= 12 && std::memcmp(bytes.data() + 8, "PAL ", 4) == 0)
        return PaletteFormat::RiffPal;
    if (starts("ASEF")) return PaletteFormat::Ase;
    // A .aco starts with its version, 1 or 2, and a count; text palettes never start with a 0.
    if (bytes.size() >= 4 && LoadBE16(bytes.data()) == 2) return PaletteFormat::AcoV2;
    if (bytes.size() >= 4 && LoadBE16(bytes.data()) == 1)
        return AcoPartAt(bytes, 4 + std::size_t{LoadBE16(bytes.data() + 2)} * 10, 2) ? PaletteFormat::AcoV2
                                                                                     : PaletteFormat::AcoV1;
    const auto first =
        std::find_if(lines.begin(), lines.end(), [](std::string_view l) { return !l.empty(); });
    if (first != lines.end() && (first->front() == ';' || IsHexColor(*first))) return PaletteFormat::PaintNet;
    return std::nullopt;
}

bool ReadPaletteFile(std::span<const std::uint8_t> bytes, PaletteFile& palette, std::string& error) {
    palette = {};
    error.clear();
    const std::optional<PaletteFormat> format = DetectPaletteFormat(bytes);
    bool ok = false;
    if (!format) {
        error = "not a palette file (GIMP, JASC, RIFF, .aco, .ase or Paint.NET)";
    } else if (*format == PaletteFormat::Gimp) {
        ok = ReadGimp(bytes, palette, error);
    } else if (*format == PaletteFormat::JascPal) {
        ok = ReadJasc(bytes, palette, error);
    } else if (*format == PaletteFormat::RiffPal) {
        ok = ReadRiff(bytes, palette, error);
    } else if (*format == PaletteFormat::Ase) {
        ok = ReadAse(bytes, palette, error);
    } else if (*format == PaletteFormat::PaintNet) {
        ok = ReadPaintNet(bytes, palette, error);
    } else {
        ok = ReadAco(bytes, palette, error);
    }
    if (ok && palette.colors.empty() && !palette.skipped.empty()) {
        error = "no colour of the palette could be converted: " + palette.skipped.front();
        ok = false;
    }
    if (!ok) palette = {};
    return ok;
}

bool WritePaletteFile(const PaletteFile& palette, PaletteFormat format, std::vector<std::uint8_t>& out,
                      std::string& error) {
    out.clear();
    error.clear();
    const std::size_t count = palette.colors.size();
    const bool counted16 =
        format == PaletteFormat::RiffPal || format == PaletteFormat::AcoV1 || format == PaletteFormat::AcoV2;
    if (counted16 && count > 0xFFFF) {
        error = std::string(format == PaletteFormat::RiffPal ? "RIFF palettes" : ".aco files") +
                " hold at most 65535 colours; this one has " + std::to_string(count);
        return false;
    }
    if (format == PaletteFormat::PaintNet && count > kMaxPaintNetColors) {
        error = "Paint.NET palettes hold at most 96 colours; this one has " + std::to_string(count);
        return false;
    }
    if (count > kMaxPaletteColors) {
        error = "a palette holds at most " + std::to_string(kMaxPaletteColors) + " colours";
        return false;
    }
    switch (format) {
        case PaletteFormat::Gimp: WriteGimp(palette, out); break;
        case PaletteFormat::JascPal: WriteJasc(palette, out); break;
        case PaletteFormat::RiffPal: WriteRiff(palette, out); break;
        case PaletteFormat::AcoV1: WriteAcoPart(palette, 1, out); break;
        case PaletteFormat::AcoV2:
            WriteAcoPart(palette, 1, out);
            WriteAcoPart(palette, 2, out);
            break;
        case PaletteFormat::Ase: WriteAse(palette, out); break;
        case PaletteFormat::PaintNet: WritePaintNet(palette, out); break;
    }
    return true;
}

}  // namespace tellurine
