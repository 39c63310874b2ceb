#include "formats/mac_resource.h"

#include "image/bytes.h"

namespace tellurine {

namespace {

struct Fork {
    std::size_t offset = 0;
    std::size_t length = 0;
};

// Where the resource fork lies: a MacBinary file keeps it after the data fork (both padded to
// 128 bytes, after a 128-byte header); AppleSingle and AppleDouble files list it as entry 2; a
// bare resource file is the fork itself.
Fork FindFork(std::span<const std::uint8_t> file) {
    const std::size_t size = file.size();
    if (size >= 26) {
        const std::uint32_t magic = LoadBE32(file.data());
        if (magic == 0x00051600 || magic == 0x00051607) {
            const std::size_t count = LoadBE16(file.data() + 24);
            for (std::size_t i = 0; i < count && 26 + 12 * (i + 1) <= size; ++i) {
                const std::uint8_t* entry = file.data() + 26 + 12 * i;
                if (LoadBE32(entry) != 2) continue;
                const std::size_t offset = LoadBE32(entry + 4), length = LoadBE32(entry + 8);
                if (offset <= size && length <= size - offset) return {offset, length};
            }
            return {};
        }
    }
    // MacBinary: byte 0 and byte 74 zero, a name of 1 to 63 bytes, and fork lengths that fit.
    if (size >= 128 && file[0] == 0 && file[74] == 0 && file[1] >= 1 && file[1] <= 63) {
        const std::size_t dataLength = LoadBE32(file.data() + 83), resourceLength = LoadBE32(file.data() + 87);
        const std::size_t offset = 128 + (dataLength + 127) / 128 * 128;
        if (dataLength < size && offset <= size && resourceLength <= size - offset) return {offset, resourceLength};
    }
    return {0, size};
}

// Unicode of the Mac Roman characters 0x80 to 0xFF.
constexpr char16_t kMacRomanHigh[128] = {
    0x00C4, 0x00C5, 0x00C7, 0x00C9, 0x00D1, 0x00D6, 0x00DC, 0x00E1, 0x00E0, 0x00E2, 0x00E4, 0x00E3, 0x00E5, 0x00E7,
    0x00E9, 0x00E8, 0x00EA, 0x00EB, 0x00ED, 0x00EC, 0x00EE, 0x00EF, 0x00F1, 0x00F3, 0x00F2, 0x00F4, 0x00F6, 0x00F5,
    0x00FA, 0x00F9, 0x00FB, 0x00FC, 0x2020, 0x00B0, 0x00A2, 0x00A3, 0x00A7, 0x2022, 0x00B6, 0x00DF, 0x00AE, 0x00A9,
    0x2122, 0x00B4, 0x00A8, 0x2260, 0x00C6, 0x00D8, 0x221E, 0x00B1, 0x2264, 0x2265, 0x00A5, 0x00B5, 0x2202, 0x2211,
    0x220F, 0x03C0, 0x222B, 0x00AA, 0x00BA, 0x03A9, 0x00E6, 0x00F8, 0x00BF, 0x00A1, 0x00AC, 0x221A, 0x0192, 0x2248,
    0x2206, 0x00AB, 0x00BB, 0x2026, 0x00A0, 0x00C0, 0x00C3, 0x00D5, 0x0152, 0x0153, 0x2013, 0x2014, 0x201C, 0x201D,
    0x2018, 0x2019, 0x00F7, 0x25CA, 0x00FF, 0x0178, 0x2044, 0x20AC, 0x2039, 0x203A, 0xFB01, 0xFB02, 0x2021, 0x00B7,
    0x201A, 0x201E, 0x2030, 0x00C2, 0x00CA, 0x00C1, 0x00CB, 0x00C8, 0x00CD, 0x00CE, 0x00CF, 0x00CC, 0x00D3, 0x00D4,
    0xF8FF, 0x00D2, 0x00DA, 0x00DB, 0x00D9, 0x0131, 0x02C6, 0x02DC, 0x00AF, 0x02D8, 0x02D9, 0x02DA, 0x00B8, 0x02DD,
    0x02DB, 0x02C7,
};

}  // namespace

std::string MacRomanToUtf8(std::span<const std::uint8_t> text) {
    std::string out;
    for (std::uint8_t c : text) {
        const char32_t u = c < 0x80 ? c : kMacRomanHigh[c - 0x80];
        AppendUtf8(out, u);
    }
    return out;
}

std::vector<MacResource> ListMacResources(std::span<const std::uint8_t> file, std::uint32_t type) {
    std::vector<MacResource> found;
    const Fork fork = FindFork(file);
    if (fork.length < 16) return found;
    const std::uint8_t* base = file.data() + fork.offset;
    const std::size_t dataOffset = LoadBE32(base), mapOffset = LoadBE32(base + 4);
    const std::size_t dataLength = LoadBE32(base + 8), mapLength = LoadBE32(base + 12);
    if (dataOffset > fork.length || dataLength > fork.length - dataOffset || mapOffset > fork.length ||
        mapLength > fork.length - mapOffset || mapLength < 30)
        return found;
    const std::span<const std::uint8_t> map(base + mapOffset, mapLength);
    const std::size_t typeList = LoadBE16(map.data() + 24), nameList = LoadBE16(map.data() + 26);
    if (typeList + 2 > map.size()) return found;
    const std::size_t typeCount = std::size_t{LoadBE16(map.data() + typeList)} + 1;
    if (typeCount == 0x10000) return found;  // -1: an empty map
    for (std::size_t t = 0; t < typeCount; ++t) {
        const std::size_t at = typeList + 2 + 8 * t;
        if (at + 8 > map.size()) break;
        if (LoadBE32(map.data() + at) != type) continue;
        const std::size_t count = std::size_t{LoadBE16(map.data() + at + 4)} + 1;
        const std::size_t refs = typeList + LoadBE16(map.data() + at + 6);
        for (std::size_t r = 0; r < count; ++r) {
            const std::size_t ref = refs + 12 * r;
            if (ref + 12 > map.size()) break;
            MacResource resource;
            resource.id = static_cast<std::int16_t>(LoadBE16(map.data() + ref));
            const std::uint16_t nameOffset = LoadBE16(map.data() + ref + 2);
            const std::size_t offset = (std::size_t{map[ref + 5]} << 16) | (std::size_t{map[ref + 6]} << 8) | map[ref + 7];
            if (offset + 4 > dataLength) continue;
            const std::size_t length = LoadBE32(base + dataOffset + offset);
            if (length > dataLength - offset - 4) continue;
            resource.dataOffset = fork.offset + dataOffset + offset + 4;
            resource.dataLength = length;
            // Names are Pascal strings in the name list; one that runs off the map is ignored.
            const std::size_t name = nameList + nameOffset;
            if (nameOffset != 0xFFFF && name < map.size() && name + 1 + map[name] <= map.size())
                resource.name = MacRomanToUtf8(map.subspan(name + 1, map[name]));
            found.push_back(std::move(resource));
            if (found.size() == kMaxMacResources) return found;
        }
    }
    return found;
}

}  // namespace tellurine
