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

}  // namespace

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
                resource.name.assign(reinterpret_cast<const char*>(map.data() + name + 1), map[name]);
            found.push_back(std::move(resource));
            if (found.size() == kMaxMacResources) return found;
        }
    }
    return found;
}

}  // namespace tellurine
