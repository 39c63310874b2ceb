#include "formats/ne_resources.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <new>
#include <string>

#include "image/bytes.h"

namespace tellurine {

namespace {

constexpr std::size_t kDosHeaderSize = 64;
constexpr std::size_t kNeHeaderSize = 64;
constexpr std::size_t kTypeInfoSize = 8;
constexpr std::size_t kNameInfoSize = 12;
// Integer type and resource identifiers have the high bit set; without it the field is the
// offset of a name in the resource table.
constexpr std::uint16_t kIntegerId = 0x8000;

// NE header fields, as offsets from the header.
constexpr std::size_t kEntryTable = 0x04, kEntryTableSize = 0x06, kFlags = 0x0C, kNonResidentSize = 0x20,
                      kSegmentTable = 0x22, kResourceTable = 0x24, kResidentNames = 0x26, kModuleRefs = 0x28,
                      kImportedNames = 0x2A, kNonResidentNames = 0x2C, kAlignShift = 0x32, kTargetOs = 0x36,
                      kExpectedVersion = 0x3E;

// The NE header's offset, when the bytes have one.
std::optional<std::size_t> NeHeader(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < kDosHeaderSize || bytes[0] != 'M' || bytes[1] != 'Z') return std::nullopt;
    const std::size_t ne = LoadU32(bytes.data() + 0x3C);
    if (ne > bytes.size() || kNeHeaderSize > bytes.size() - ne) return std::nullopt;
    if (bytes[ne] != 'N' || bytes[ne + 1] != 'E') return std::nullopt;
    return ne;
}

// A Pascal string (a length byte, then the bytes, read as Latin-1) at `offset` in `table`.
std::optional<std::string> ReadPascalName(std::span<const std::uint8_t> table, std::size_t offset) {
    if (offset >= table.size()) return std::nullopt;
    const std::size_t length = table[offset];
    if (length > table.size() - offset - 1) return std::nullopt;
    std::string out;
    for (std::size_t i = 0; i < length; ++i) {
        const std::uint8_t c = table[offset + 1 + i];
        AppendUtf8(out, c);
    }
    return out;
}

}  // namespace

bool IsNeFile(std::span<const std::uint8_t> bytes) {
    return NeHeader(bytes).has_value();
}

std::optional<std::vector<ResourceRecord>> ListNeResources(std::span<const std::uint8_t> bytes, std::uint16_t type) {
    const std::optional<std::size_t> ne = NeHeader(bytes);
    if (!ne) return std::nullopt;
    std::vector<ResourceRecord> records;
    const std::size_t tableOffset = *ne + LoadU16(bytes.data() + *ne + kResourceTable);
    // A table offset equal to the resident names table's means there are no resources.
    if (LoadU16(bytes.data() + *ne + kResourceTable) == LoadU16(bytes.data() + *ne + kResidentNames)) return records;
    if (tableOffset > bytes.size() || bytes.size() - tableOffset < 2) return std::nullopt;
    // The table runs to the end of the file at most; names are read from anywhere in it.
    const std::span<const std::uint8_t> table = bytes.subspan(tableOffset);
    const unsigned shift = LoadU16(table.data());
    if (shift > 24) return std::nullopt;  // no file reaches that far

    const std::uint16_t wanted = static_cast<std::uint16_t>(kIntegerId | type);
    std::size_t at = 2;
    while (at + 2 <= table.size()) {
        const std::uint16_t typeId = LoadU16(table.data() + at);
        if (typeId == 0 || table.size() - at < kTypeInfoSize) break;
        const std::size_t count = LoadU16(table.data() + at + 2);
        const std::size_t first = at + kTypeInfoSize;
        const std::size_t present = std::min(count, (table.size() - first) / kNameInfoSize);
        if (typeId != wanted) {
            if (present < count) break;  // the table ends inside this type's records
            at = first + count * kNameInfoSize;
            continue;
        }
        // Only the first entry of the type is read, as Windows's lookup finds only that one.
        for (std::size_t i = 0; i < present && records.size() < kMaxResourceRecords; ++i) {
            const std::uint8_t* n = table.data() + first + i * kNameInfoSize;
            const std::uint64_t offset = std::uint64_t{LoadU16(n)} << shift;
            const std::uint64_t length = std::uint64_t{LoadU16(n + 2)} << shift;
            const std::uint16_t id = LoadU16(n + 6);
            if (offset >= bytes.size()) continue;
            ResourceName name;
            if ((id & kIntegerId) != 0) {
                name.id = static_cast<std::uint16_t>(id & ~kIntegerId);
            } else {
                std::optional<std::string> text = ReadPascalName(table, id);
                if (!text) continue;
                name.text = std::move(*text);
            }
            const std::size_t size = static_cast<std::size_t>(std::min<std::uint64_t>(length, bytes.size() - offset));
            records.push_back({std::move(name), 0, bytes.subspan(static_cast<std::size_t>(offset), size)});
        }
        break;
    }
    return records;
}

namespace {

void Put16(std::vector<std::uint8_t>& out, std::size_t at, std::uint16_t v) {
    StoreU16(out.data() + at, v);
}

void Append16(std::vector<std::uint8_t>& out, std::uint16_t v) {
    out.push_back(static_cast<std::uint8_t>(v));
    out.push_back(static_cast<std::uint8_t>(v >> 8));
}

void AppendPascal(std::vector<std::uint8_t>& out, const std::string& s) {
    out.push_back(static_cast<std::uint8_t>(s.size()));
    out.insert(out.end(), s.begin(), s.end());
}

// A string name as the table holds it: upper-case ASCII of at most 255 bytes.
std::string TableName(const std::string& text) {
    std::string out = text.substr(0, 255);
    for (char& c : out) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return out;
}

}  // namespace

std::optional<GroupResources> SplitIconFile(std::span<const std::uint8_t> file, std::uint16_t firstId) {
    if (file.size() < 6 || LoadU16(file.data()) != 0) return std::nullopt;
    const std::uint16_t fileType = LoadU16(file.data() + 2), count = LoadU16(file.data() + 4);
    if ((fileType != 1 && fileType != 2) || std::size_t{count} * 16 > file.size() - 6) return std::nullopt;
    if (count == 0 || std::size_t{firstId} + count - 1 > 0xFFFF || firstId == 0) return std::nullopt;
    GroupResources out;
    out.cursor = fileType == 2;
    Append16(out.group, 0);
    Append16(out.group, fileType);
    Append16(out.group, count);
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t* d = file.data() + 6 + 16 * i;
        const std::uint32_t size = LoadU32(d + 8), offset = LoadU32(d + 12);
        if (offset > file.size() || size > file.size() - offset || size < 16) return std::nullopt;
        const std::span<const std::uint8_t> image = file.subspan(offset, size);
        std::vector<std::uint8_t>& r = out.images.emplace_back();
        const std::size_t at = out.group.size();
        out.group.resize(at + 14);
        std::uint8_t* e = out.group.data() + at;
        if (out.cursor) {
            // A cursor's hotspot leads its resource; the group's entry holds 16-bit width and
            // height, the height doubled as a bitmap header has it, and the bit count.
            Append16(r, LoadU16(d + 4));
            Append16(r, LoadU16(d + 6));
            const bool png = image[0] == 0x89 && image[1] == 'P';
            StoreU16(e, static_cast<std::uint16_t>(d[0] == 0 ? 256 : d[0]));
            StoreU16(e + 2, static_cast<std::uint16_t>(2 * (d[1] == 0 ? 256 : d[1])));
            StoreU16(e + 4, 1);
            StoreU16(e + 6, png ? 32 : LoadU16(image.data() + 14));
        } else {
            std::memcpy(e, d, 8);  // width, height, colours, reserved, planes, bit count
        }
        r.insert(r.end(), image.begin(), image.end());
        StoreU32(e + 8, static_cast<std::uint32_t>(r.size()));
        StoreU16(e + 12, static_cast<std::uint16_t>(firstId + i));
    }
    return out;
}

std::optional<std::vector<std::uint8_t>> GroupIconFile(const ExeIconGroupListing& group) {
    const std::size_t count = group.images.size();
    if (count == 0 || count > 0xFFFF || group.formats.size() != count || group.hotspots.size() != count)
        return std::nullopt;
    std::vector<std::uint8_t> out(6 + 16 * count, 0);
    StoreU16(out.data() + 2, group.cursor ? 2 : 1);
    StoreU16(out.data() + 4, static_cast<std::uint16_t>(count));
    for (std::size_t i = 0; i < count; ++i) {
        const StoredImageFormat& f = group.formats[i];
        const std::size_t at = out.size();
        std::uint8_t* e = out.data() + 6 + 16 * i;
        e[0] = static_cast<std::uint8_t>(f.width >= 256 ? 0 : f.width);
        e[1] = static_cast<std::uint8_t>(f.height >= 256 ? 0 : f.height);
        e[2] = static_cast<std::uint8_t>(f.colors < 256 ? f.colors : 0);
        StoreU16(e + 4, group.cursor ? group.hotspots[i].x : std::uint16_t{1});
        StoreU16(e + 6, group.cursor ? group.hotspots[i].y : static_cast<std::uint16_t>(f.Bits()));
        StoreU32(e + 8, static_cast<std::uint32_t>(group.images[i].size()));
        StoreU32(e + 12, static_cast<std::uint32_t>(at));
        out.insert(out.end(), group.images[i].begin(), group.images[i].end());
    }
    return out;
}

std::optional<std::vector<std::uint8_t>> WriteIconLibrary(const std::vector<LibraryGroup>& groups,
                                                          const std::string& moduleName) {
    try {
        // The resources by type, each with its identifier or name: groups of each kind, then
        // their images, numbered from 1 within each kind as Windows numbers them.
        struct Resource {
            std::uint16_t id = 0;  // with kIntegerId, or 0 for a name
            std::string name;
            std::vector<std::uint8_t> data;
        };
        struct Type {
            std::uint16_t id;
            std::vector<Resource> resources;
        };
        Type iconGroups{kIntegerId | 14, {}}, icons{kIntegerId | 3, {}};
        Type cursorGroups{kIntegerId | 12, {}}, cursors{kIntegerId | 1, {}};
        for (const LibraryGroup& g : groups) {
            const bool cursor = g.iconFile.size() >= 4 && LoadU16(g.iconFile.data() + 2) == 2;
            Type& images = cursor ? cursors : icons;
            std::optional<GroupResources> split =
                SplitIconFile(g.iconFile, static_cast<std::uint16_t>(images.resources.size() + 1));
            if (!split || images.resources.size() + split->images.size() >= kIntegerId) return std::nullopt;
            Resource group;
            if (g.name.id) {
                if (*g.name.id == 0 || *g.name.id >= kIntegerId) return std::nullopt;
                group.id = static_cast<std::uint16_t>(kIntegerId | *g.name.id);
            } else {
                group.name = TableName(g.name.text);
            }
            group.data = std::move(split->group);
            for (std::vector<std::uint8_t>& image : split->images) {
                Resource r;
                r.id = static_cast<std::uint16_t>(kIntegerId | (images.resources.size() + 1));
                r.data = std::move(image);
                images.resources.push_back(std::move(r));
            }
            (cursor ? cursorGroups : iconGroups).resources.push_back(std::move(group));
        }
        std::vector<const Type*> types;
        for (const Type* t : {&iconGroups, &icons, &cursorGroups, &cursors})
            if (!t->resources.empty()) types.push_back(t);

        // Headers and tables: a DOS header pointing at the NE header, no segments, the resource
        // table with its names, the resident names (the module's name), empty module and import
        // tables, an empty entry table and the non-resident names (a description).
        std::vector<std::uint8_t> out(kDosHeaderSize + kNeHeaderSize, 0);
        out[0] = 'M';
        out[1] = 'Z';
        StoreU32(out.data() + 0x3C, kDosHeaderSize);
        const std::size_t ne = kDosHeaderSize;
        out[ne] = 'N';
        out[ne + 1] = 'E';
        out[ne + 2] = 5;  // linker version
        const std::size_t resourceTable = out.size();
        Append16(out, 0);                     // the shift, set once the data's size is known
        std::vector<std::size_t> nameFields;  // NAMEINFO id fields that name a string, in order
        std::vector<const std::string*> names;
        std::vector<std::size_t> records;
        for (const Type* t : types) {
            Append16(out, t->id);
            Append16(out, static_cast<std::uint16_t>(t->resources.size()));
            out.resize(out.size() + 4, 0);
            for (const Resource& r : t->resources) {
                records.push_back(out.size());
                out.resize(out.size() + kNameInfoSize, 0);
                Put16(out, records.back() + 4, 0x1030);  // moveable, pure, discardable
                Put16(out, records.back() + 6, r.id);
                if (r.id == 0) {
                    nameFields.push_back(records.back() + 6);
                    names.push_back(&r.name);
                }
            }
        }
        Append16(out, 0);
        for (std::size_t i = 0; i < names.size(); ++i) {
            if (out.size() - resourceTable >= kIntegerId) return std::nullopt;
            Put16(out, nameFields[i], static_cast<std::uint16_t>(out.size() - resourceTable));
            AppendPascal(out, *names[i]);
        }
        out.push_back(0);
        const std::size_t residentNames = out.size();
        AppendPascal(out, TableName(moduleName.empty() ? "ICONS" : moduleName));
        Append16(out, 0);
        out.push_back(0);
        const std::size_t moduleRefs = out.size();
        const std::size_t importedNames = out.size();
        out.push_back(0);
        const std::size_t entryTable = out.size();
        Append16(out, 0);
        const std::size_t nonResident = out.size();
        AppendPascal(out, "Icon library");
        Append16(out, 0);
        out.push_back(0);
        if (out.size() - ne >= 0x10000) return std::nullopt;

        StoreU16(out.data() + ne + kEntryTable, static_cast<std::uint16_t>(entryTable - ne));
        StoreU16(out.data() + ne + kEntryTableSize, 2);
        StoreU16(out.data() + ne + kFlags, 0x8000);  // a library module
        StoreU16(out.data() + ne + kNonResidentSize, static_cast<std::uint16_t>(out.size() - nonResident));
        StoreU16(out.data() + ne + kSegmentTable, static_cast<std::uint16_t>(resourceTable - ne));
        StoreU16(out.data() + ne + kResourceTable, static_cast<std::uint16_t>(resourceTable - ne));
        StoreU16(out.data() + ne + kResidentNames, static_cast<std::uint16_t>(residentNames - ne));
        StoreU16(out.data() + ne + kModuleRefs, static_cast<std::uint16_t>(moduleRefs - ne));
        StoreU16(out.data() + ne + kImportedNames, static_cast<std::uint16_t>(importedNames - ne));
        StoreU32(out.data() + ne + kNonResidentNames, static_cast<std::uint32_t>(nonResident));
        out[ne + kTargetOs] = 2;                               // Windows
        StoreU16(out.data() + ne + kExpectedVersion, 0x030A);  // 3.10

        // The smallest shift (16 bytes at least) whose 16-bit units reach every resource's
        // start and length once each starts on a unit.
        const auto fits = [&](unsigned s) {
            const std::size_t unit = std::size_t{1} << s;
            std::size_t end = (out.size() + unit - 1) / unit * unit;
            for (const Type* t : types)
                for (const Resource& r : t->resources) {
                    const std::size_t units = (r.data.size() + unit - 1) / unit;
                    if ((end >> s) > 0xFFFF || units > 0xFFFF) return false;
                    end += units * unit;
                }
            return true;
        };
        unsigned shift = 4;
        while (shift < 15 && !fits(shift)) ++shift;
        if (!fits(shift)) return std::nullopt;
        Put16(out, resourceTable, static_cast<std::uint16_t>(shift));
        StoreU16(out.data() + ne + kAlignShift, static_cast<std::uint16_t>(shift));

        const std::size_t unit = std::size_t{1} << shift;
        std::size_t record = 0;
        for (const Type* t : types)
            for (const Resource& r : t->resources) {
                out.resize((out.size() + unit - 1) / unit * unit, 0);
                const std::size_t units = (r.data.size() + unit - 1) / unit;
                Put16(out, records[record], static_cast<std::uint16_t>(out.size() >> shift));
                Put16(out, records[record] + 2, static_cast<std::uint16_t>(units));
                ++record;
                out.insert(out.end(), r.data.begin(), r.data.end());
            }
        out.resize((out.size() + unit - 1) / unit * unit, 0);
        return out;
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

}  // namespace tellurine
