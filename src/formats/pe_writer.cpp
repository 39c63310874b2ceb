#include "formats/pe_writer.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "formats/ne_resources.h"
#include "image/bytes.h"

namespace tellurine {

namespace {

constexpr std::uint32_t kHighBit = 0x80000000u;
constexpr std::size_t kSectionHeaderSize = 40;
constexpr std::size_t kResourceEntry = 2, kSecurityEntry = 4;
constexpr std::uint32_t kInitializedData = 0x40, kMemRead = 0x40000000;
// More entries than any real program holds: a directory that claims more is damaged.
constexpr std::size_t kMaxEntries = std::size_t{1} << 20;

struct Section {
    std::size_t header = 0;  // file offset of its header
    std::uint32_t virtualSize = 0, virtualAddress = 0, rawSize = 0, rawOffset = 0, characteristics = 0;
    [[nodiscard]] std::uint64_t MemoryEnd() const {
        return std::uint64_t{virtualAddress} + std::max(virtualSize, rawSize);
    }
};

// The headers of a PE file that placing a resource section changes.
struct Pe {
    std::size_t optional = 0, sectionTable = 0;
    std::size_t dataDirectory = 0;  // file offset of data directory entry 0
    std::uint32_t directoryCount = 0;
    std::uint32_t fileAlignment = 0, sectionAlignment = 0, sizeOfHeaders = 0;
    std::vector<Section> sections;

    [[nodiscard]] std::size_t Directory(std::size_t index) const { return dataDirectory + 8 * index; }
    [[nodiscard]] std::size_t ChecksumOffset() const { return optional + 64; }
};

std::optional<Pe> ReadHeaders(std::span<const std::uint8_t> b) {
    if (b.size() < 64 || b[0] != 'M' || b[1] != 'Z') return std::nullopt;
    // The PE headers follow the DOS header: a file that overlaps them could not be changed safely.
    const std::size_t pe = LoadU32(b.data() + 0x3C);
    if (pe < 64 || pe > b.size() || b.size() - pe < 24 || LoadU32(b.data() + pe) != 0x00004550u) return std::nullopt;
    Pe h;
    const std::size_t count = LoadU16(b.data() + pe + 6);
    const std::size_t optionalSize = LoadU16(b.data() + pe + 20);
    h.optional = pe + 24;
    if (optionalSize > b.size() - h.optional) return std::nullopt;
    const std::uint16_t magic = optionalSize >= 2 ? LoadU16(b.data() + h.optional) : 0;
    const std::size_t countOffset = magic == 0x10b ? 92 : magic == 0x20b ? 108 : 0;
    if (countOffset == 0 || optionalSize < countOffset + 4) return std::nullopt;
    const std::uint8_t* o = b.data() + h.optional;
    h.sectionAlignment = LoadU32(o + 32);
    h.fileAlignment = LoadU32(o + 36);
    h.sizeOfHeaders = LoadU32(o + 60);
    h.directoryCount =
        std::min(LoadU32(o + countOffset), static_cast<std::uint32_t>((optionalSize - countOffset - 4) / 8));
    h.dataDirectory = h.optional + countOffset + 4;
    // Alignments are powers of two; the file's no larger than the section's.
    const auto power = [](std::uint32_t v) { return v != 0 && (v & (v - 1)) == 0; };
    if (!power(h.fileAlignment) || !power(h.sectionAlignment) || h.fileAlignment > 0x10000 ||
        h.sectionAlignment > 0x10000000 || h.directoryCount <= kResourceEntry)
        return std::nullopt;
    h.sectionTable = h.optional + optionalSize;
    if (count * kSectionHeaderSize > b.size() - h.sectionTable) return std::nullopt;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t at = h.sectionTable + i * kSectionHeaderSize;
        const std::uint8_t* s = b.data() + at;
        h.sections.push_back({at, LoadU32(s + 8), LoadU32(s + 12), LoadU32(s + 16), LoadU32(s + 20), LoadU32(s + 36)});
    }
    return h;
}

// A resource directory's name or identifier, its string kept in the file's own UTF-16 units so
// that a name is written back exactly as it was.
struct Key {
    std::optional<std::uint16_t> id;
    std::u16string name;

    // Windows' order: names first, compared without case, then numbers ascending.
    bool operator<(const Key& other) const {
        if (id.has_value() != other.id.has_value()) return !id.has_value();
        if (id) return *id < *other.id;
        const auto upper = [](char16_t c) { return c >= u'a' && c <= u'z' ? static_cast<char16_t>(c - 32) : c; };
        return std::lexicographical_compare(name.begin(), name.end(), other.name.begin(), other.name.end(),
                                            [&](char16_t a, char16_t c) { return upper(a) < upper(c); });
    }
    bool Same(const Key& other) const { return !(*this < other) && !(other < *this); }
};

// One resource's data: bytes of the program or of the icon file, never copied, or bytes made
// here and held by the language itself.
struct Language {
    std::uint16_t id = 0;
    std::uint32_t codePage = 0;
    std::span<const std::uint8_t> data;
    std::shared_ptr<const std::vector<std::uint8_t>> made;
};
struct Named {
    Key key;
    std::vector<Language> languages;
};
struct Type {
    Key key;
    std::vector<Named> names;
};

// Reads the whole three-level directory. Anything that does not lie in the section (a
// directory, a name, a data entry or its data) makes the directory damaged: a writer must not
// drop what it cannot read.
class TreeReader {
public:
    TreeReader(std::span<const std::uint8_t> file, const Pe& pe, std::span<const std::uint8_t> res)
        : file_(file), pe_(pe), res_(res) {}

    bool Read(std::vector<Type>& types) {
        return Level(0, 0, [&](const Key& key, std::uint32_t target) {
            Type& type = types.emplace_back();
            type.key = key;
            return (target & kHighBit) != 0 && Level(target & ~kHighBit, 1, [&](const Key& name, std::uint32_t t) {
                       Named& named = type.names.emplace_back();
                       named.key = name;
                       return (t & kHighBit) != 0 && Level(t & ~kHighBit, 2, [&](const Key& language, std::uint32_t d) {
                                  return language.id && (d & kHighBit) == 0 && Data(d, *language.id, named.languages);
                              });
                   });
        });
    }

private:
    template <typename Each>
    bool Level(std::size_t offset, int depth, const Each& each) {
        if (offset > res_.size() || res_.size() - offset < 16) return false;
        const std::size_t count = std::size_t{LoadU16(res_.data() + offset + 12)} + LoadU16(res_.data() + offset + 14);
        entries_ += count;
        if (entries_ > kMaxEntries || count * 8 > res_.size() - offset - 16) return false;
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint8_t* e = res_.data() + offset + 16 + 8 * i;
            Key key;
            const std::uint32_t name = LoadU32(e);
            if ((name & kHighBit) != 0) {
                if (depth == 2 || !ReadName(name & ~kHighBit, key.name)) return false;
            } else {
                key.id = static_cast<std::uint16_t>(name);
            }
            if (!each(key, LoadU32(e + 4))) return false;
        }
        return true;
    }

    bool ReadName(std::size_t offset, std::u16string& out) const {
        if (offset > res_.size() || res_.size() - offset < 2) return false;
        const std::size_t units = LoadU16(res_.data() + offset);
        if (units * 2 > res_.size() - offset - 2) return false;
        for (std::size_t i = 0; i < units; ++i) out += static_cast<char16_t>(LoadU16(res_.data() + offset + 2 + 2 * i));
        return true;
    }

    bool Data(std::size_t offset, std::uint16_t language, std::vector<Language>& out) {
        if (offset > res_.size() || res_.size() - offset < 16) return false;
        const std::uint32_t rva = LoadU32(res_.data() + offset), size = LoadU32(res_.data() + offset + 4);
        dataBytes_ += size;
        if (dataBytes_ > file_.size()) return false;  // data counted twice over cannot exceed the file
        // Empty data lies nowhere: the directory written places it after everything else, at the
        // very end of the section.
        if (size == 0) {
            out.push_back({language, LoadU32(res_.data() + offset + 8), {}, nullptr});
            return true;
        }
        for (const Section& s : pe_.sections) {
            if (rva < s.virtualAddress || rva - s.virtualAddress >= std::max(s.virtualSize, s.rawSize)) continue;
            const std::uint64_t delta = rva - s.virtualAddress;
            const std::uint64_t at = s.rawOffset + delta;
            if (delta + size > s.rawSize || at + size > file_.size()) return false;
            out.push_back({language, LoadU32(res_.data() + offset + 8), file_.subspan(at, size), nullptr});
            return true;
        }
        return false;
    }

    std::span<const std::uint8_t> file_;
    const Pe& pe_;
    std::span<const std::uint8_t> res_;
    std::size_t entries_ = 0;
    std::uint64_t dataBytes_ = 0;
};

// Adds the directory for a section at `rva` to `file`: every directory table first, then the
// names, then the data entries, then the data, each piece of data on an 8-byte boundary. The
// data are added as the spans they are, never copied. Returns the directory's size.
std::size_t WriteTree(std::vector<Type>& types, std::uint32_t rva, FilePieces& file) {
    std::sort(types.begin(), types.end(), [](const Type& a, const Type& b) { return a.key < b.key; });
    std::size_t tables = 16 + 8 * types.size(), strings = 0, dataEntries = 0;
    for (Type& t : types) {
        std::stable_sort(t.names.begin(), t.names.end(), [](const Named& a, const Named& b) { return a.key < b.key; });
        tables += 16 + 8 * t.names.size();
        strings += t.key.id ? 0 : 2 + 2 * t.key.name.size();
        for (Named& n : t.names) {
            std::sort(n.languages.begin(), n.languages.end(),
                      [](const Language& a, const Language& b) { return a.id < b.id; });
            tables += 16 + 8 * n.languages.size();
            strings += n.key.id ? 0 : 2 + 2 * n.key.name.size();
            dataEntries += n.languages.size();
        }
    }
    const auto align8 = [](std::size_t v) { return (v + 7) & ~std::size_t{7}; };
    std::size_t nextTable = 0, nextString = tables, nextEntry = align8(tables + strings);
    std::size_t nextData = nextEntry + 16 * dataEntries;
    const std::span<std::uint8_t> directory = file.Make(nextData);
    const auto place = [&](std::size_t offset) { return directory.data() + offset; };

    const auto table = [&](std::size_t entries) {
        const std::size_t at = nextTable;
        nextTable += 16 + 8 * entries;
        return at;
    };
    const auto entry = [&](std::size_t at, std::size_t index, const Key& key, std::uint32_t target,
                           std::size_t& named) {
        std::uint8_t* e = place(at + 16 + 8 * index);
        if (key.id) {
            StoreU32(e, *key.id);
        } else {
            ++named;
            StoreU32(e, static_cast<std::uint32_t>(nextString) | kHighBit);
            StoreU16(place(nextString), static_cast<std::uint16_t>(key.name.size()));
            for (std::size_t i = 0; i < key.name.size(); ++i)
                StoreU16(place(nextString + 2 + 2 * i), key.name[i]);
            nextString += 2 + 2 * key.name.size();
        }
        StoreU32(e + 4, target);
    };
    const auto counts = [&](std::size_t at, std::size_t named, std::size_t entries) {
        StoreU16(place(at + 12), static_cast<std::uint16_t>(named));
        StoreU16(place(at + 14), static_cast<std::uint16_t>(entries - named));
    };

    // Tables in breadth-first order: the root, every type's table, then every name's.
    const std::size_t root = table(types.size());
    std::vector<std::size_t> typeTables, nameTables;
    for (const Type& t : types) typeTables.push_back(table(t.names.size()));
    for (const Type& t : types)
        for (const Named& n : t.names) nameTables.push_back(table(n.languages.size()));
    std::size_t named = 0, nameIndex = 0;
    for (std::size_t ti = 0; ti < types.size(); ++ti) {
        entry(root, ti, types[ti].key, static_cast<std::uint32_t>(typeTables[ti]) | kHighBit, named);
        std::size_t namedNames = 0;
        for (std::size_t ni = 0; ni < types[ti].names.size(); ++ni, ++nameIndex) {
            const Named& n = types[ti].names[ni];
            const std::size_t languages = nameTables[nameIndex];
            entry(typeTables[ti], ni, n.key, static_cast<std::uint32_t>(languages) | kHighBit, namedNames);
            std::size_t none = 0;
            for (std::size_t li = 0; li < n.languages.size(); ++li) {
                const Language& l = n.languages[li];
                entry(languages, li, Key{l.id, {}}, static_cast<std::uint32_t>(nextEntry), none);
                file.AddZeros(align8(nextData) - nextData);
                nextData = align8(nextData);
                StoreU32(place(nextEntry), rva + static_cast<std::uint32_t>(nextData));
                StoreU32(place(nextEntry + 4), static_cast<std::uint32_t>(l.data.size()));
                StoreU32(place(nextEntry + 8), l.codePage);
                nextEntry += 16;
                file.Add(l.data);
                if (l.made) file.Hold(l.made);
                nextData += l.data.size();
            }
            counts(languages, 0, n.languages.size());
        }
        counts(typeTables[ti], namedNames, types[ti].names.size());
    }
    counts(root, named, types.size());
    return nextData;
}

Type& TypeOf(std::vector<Type>& types, std::uint16_t id) {
    for (Type& t : types)
        if (t.key.id == id) return t;
    types.push_back({Key{id, {}}, {}});
    return types.back();
}

// The icon numbers a group's data names.
std::vector<std::uint16_t> GroupIcons(std::span<const std::uint8_t> data) {
    std::vector<std::uint16_t> ids;
    if (data.size() < 6) return ids;
    const std::size_t count = std::min<std::size_t>(LoadU16(data.data() + 4), (data.size() - 6) / 14);
    for (std::size_t i = 0; i < count; ++i) ids.push_back(LoadU16(data.data() + 6 + 14 * i + 12));
    return ids;
}

Key KeyFor(const ResourceName& name) {
    Key key;
    if (name.id) {
        key.id = name.id;
        return key;
    }
    // UTF-8 to UTF-16, upper-cased as resource compilers store names.
    const std::string& s = name.text;
    for (std::size_t i = 0; i < s.size();) {
        const auto c = static_cast<std::uint8_t>(s[i]);
        const int extra = c < 0x80 ? 0 : c < 0xE0 ? 1 : c < 0xF0 ? 2 : 3;
        char32_t u = extra == 0 ? c : c & (0x3F >> extra);
        for (int k = 1; k <= extra && i + k < s.size(); ++k)
            u = (u << 6) | (static_cast<std::uint8_t>(s[i + k]) & 0x3F);
        i += 1 + extra;
        if (u >= 0x10000) {
            key.name += static_cast<char16_t>(0xD800 + ((u - 0x10000) >> 10));
            key.name += static_cast<char16_t>(0xDC00 + ((u - 0x10000) & 0x3FF));
        } else {
            key.name += static_cast<char16_t>(u >= u'a' && u <= u'z' ? u - 32 : u);
        }
    }
    return key;
}

// Puts the icon file's images in as the group's: see SetProgramIcon.
SetIconStatus ReplaceGroup(std::vector<Type>& types, std::span<const std::uint8_t> icon, const SetIconOptions& o) {
    if (icon.size() < 6 || LoadU16(icon.data()) != 0 || LoadU16(icon.data() + 2) != 1) return SetIconStatus::NotAnIcon;
    const std::size_t count = LoadU16(icon.data() + 4);
    if (count == 0 || count * 16 > icon.size() - 6) return SetIconStatus::NotAnIcon;
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint32_t size = LoadU32(icon.data() + 6 + 16 * i + 8), at = LoadU32(icon.data() + 6 + 16 * i + 12);
        if (at > icon.size() || size > icon.size() - at || size == 0) return SetIconStatus::NotAnIcon;
    }

    // The first resource's language, before any is added: a new group's, when none is given.
    std::uint16_t programLanguage = 0;
    if (!types.empty() && !types.front().names.empty() && !types.front().names.front().languages.empty())
        programLanguage = types.front().names.front().languages.front().id;
    TypeOf(types, 14);
    TypeOf(types, 3);  // may move the types: both are looked up again
    Type& groups = TypeOf(types, 14);
    Type& icons = TypeOf(types, 3);

    Key wanted = o.group ? KeyFor(*o.group) : groups.names.empty() ? Key{1, {}} : groups.names.front().key;
    auto group =
        std::find_if(groups.names.begin(), groups.names.end(), [&](const Named& n) { return n.key.Same(wanted); });
    if (group == groups.names.end()) {
        groups.names.push_back({wanted, {}});
        group = groups.names.end() - 1;
    }
    const std::uint16_t language = o.language                  ? *o.language
                                   : !group->languages.empty() ? group->languages.front().id
                                                               : programLanguage;
    auto slot = std::find_if(group->languages.begin(), group->languages.end(),
                             [&](const Language& l) { return l.id == language; });
    if (slot == group->languages.end()) {
        group->languages.push_back({language, 0, {}, nullptr});
        slot = group->languages.end() - 1;
    }
    const std::vector<std::uint16_t> replaced = GroupIcons(slot->data);
    slot->data = {};

    // Icons no group names any more go; then the new images take the lowest free numbers.
    std::vector<bool> named(0x10000);
    for (const Named& n : groups.names)
        for (const Language& l : n.languages)
            for (const std::uint16_t id : GroupIcons(l.data)) named[id] = true;
    std::erase_if(icons.names, [&](const Named& n) {
        return n.key.id && std::find(replaced.begin(), replaced.end(), *n.key.id) != replaced.end() &&
               !named[*n.key.id];
    });
    std::vector<bool> used(0x10000);
    for (const Named& n : icons.names)
        if (n.key.id) used[*n.key.id] = true;
    std::vector<std::uint8_t> data(6, 0);
    StoreU16(data.data() + 2, 1);
    StoreU16(data.data() + 4, static_cast<std::uint16_t>(count));
    std::uint16_t next = 1;
    for (std::size_t i = 0; i < count; ++i) {
        while (used[next]) {
            if (next == 0xFFFF) return SetIconStatus::NoRoom;
            ++next;
        }
        used[next] = true;
        const std::uint8_t* entry = icon.data() + 6 + 16 * i;
        const std::size_t at = data.size();
        data.resize(at + 14);
        std::memcpy(data.data() + at, entry, 12);  // size, colours, planes, bit count, bytes
        StoreU16(data.data() + at + 12, next);
        const std::uint32_t size = LoadU32(entry + 8), offset = LoadU32(entry + 12);
        icons.names.push_back({Key{next, {}}, {{language, 0, icon.subspan(offset, size), nullptr}}});
    }
    slot->made = std::make_shared<const std::vector<std::uint8_t>>(std::move(data));
    slot->data = *slot->made;
    return SetIconStatus::Ok;
}

std::uint32_t AlignUp(std::uint64_t v, std::uint32_t alignment) {
    return static_cast<std::uint32_t>((v + alignment - 1) & ~std::uint64_t{alignment - 1});
}

SetIconStatus Set(std::span<const std::uint8_t> b, std::span<const std::uint8_t> icon, const SetIconOptions& o,
                  FilePieces& out) {
    std::optional<Pe> pe = ReadHeaders(b);
    if (!pe) return SetIconStatus::NotAProgram;
    // Images end below 2 GiB: headers said to reach past that are damaged.
    if (pe->sizeOfHeaders >= 0x7FFF0000u) return SetIconStatus::Damaged;
    if (pe->directoryCount > kSecurityEntry && LoadU32(b.data() + pe->Directory(kSecurityEntry) + 4) != 0 &&
        !o.removeSignature)
        return SetIconStatus::Signed;

    // Where the sections' bytes end (the headers', when no section has any); what follows is kept
    // as it is after them, even where the headers claim to reach into it.
    std::uint64_t rawEnd = 0;
    for (const Section& s : pe->sections)
        if (s.rawSize != 0) rawEnd = std::max<std::uint64_t>(rawEnd, std::uint64_t{s.rawOffset} + s.rawSize);
    if (rawEnd == 0) rawEnd = pe->sizeOfHeaders;
    if (rawEnd > b.size()) return SetIconStatus::Damaged;
    // No section's bytes may lie over the headers, which the writer changes.
    const std::size_t headersEnd = pe->sectionTable + pe->sections.size() * kSectionHeaderSize;
    for (const Section& s : pe->sections)
        if (s.rawSize != 0 && s.rawOffset < headersEnd) return SetIconStatus::Damaged;

    // The resource tree, and the section that holds it.
    std::vector<Type> types;
    const std::uint32_t rootRva = LoadU32(b.data() + pe->Directory(kResourceEntry));
    Section* holder = nullptr;
    if (rootRva != 0) {
        for (Section& s : pe->sections)
            if (rootRva >= s.virtualAddress && rootRva - s.virtualAddress < std::max(s.virtualSize, s.rawSize)) {
                holder = &s;
                break;
            }
        if (holder == nullptr || rootRva - holder->virtualAddress >= holder->rawSize) return SetIconStatus::Damaged;
        const std::size_t start = holder->rawOffset + (rootRva - holder->virtualAddress);
        const std::span<const std::uint8_t> res = b.subspan(start, holder->rawOffset + holder->rawSize - start);
        if (!TreeReader(b, *pe, res).Read(types)) return SetIconStatus::Damaged;
    }
    if (const SetIconStatus s = ReplaceGroup(types, icon, o); s != SetIconStatus::Ok) return s;
    // A directory table counts its entries in 16 bits.
    for (const Type& t : types)
        for (const Named& n : t.names)
            if (t.names.size() > 0xFFFF || n.languages.size() > 0xFFFF) return SetIconStatus::NoRoom;

    // The section grows in place when it is the last one in the file and in memory and starts with
    // the directory; otherwise a new one is added after the last.
    const bool last =
        holder != nullptr && holder->virtualAddress == rootRva &&
        std::all_of(pe->sections.begin(), pe->sections.end(), [&](const Section& s) {
            return &s == holder || (s.MemoryEnd() <= holder->virtualAddress &&
                                    (s.rawSize == 0 || std::uint64_t{s.rawOffset} + s.rawSize <= holder->rawOffset));
        });
    Section placed;
    if (last) {
        placed = *holder;
    } else {
        const std::size_t header = pe->sectionTable + pe->sections.size() * kSectionHeaderSize;
        std::uint64_t firstRaw = pe->sizeOfHeaders;
        for (const Section& s : pe->sections)
            if (s.rawSize != 0) firstRaw = std::min<std::uint64_t>(firstRaw, s.rawOffset);
        if (header + kSectionHeaderSize > firstRaw || pe->sections.size() >= 96 ||
            !std::all_of(b.begin() + static_cast<std::ptrdiff_t>(header),
                         b.begin() + static_cast<std::ptrdiff_t>(header + kSectionHeaderSize),
                         [](std::uint8_t v) { return v == 0; }))
            return SetIconStatus::NoRoom;
        // The new section follows the headers and every section in memory.
        std::uint64_t memoryEnd = pe->sizeOfHeaders;
        for (const Section& s : pe->sections) memoryEnd = std::max(memoryEnd, s.MemoryEnd());
        placed.header = header;
        // Images end below 2 GiB; a section table that reaches past that has no place for one more.
        if (memoryEnd >= 0x7FFF0000u) return SetIconStatus::NoRoom;
        placed.virtualAddress = AlignUp(memoryEnd, pe->sectionAlignment);
        placed.rawOffset = AlignUp(rawEnd, pe->fileAlignment);
        placed.characteristics = kInitializedData | kMemRead;
    }
    // The file: the headers, what lies before the section, the section, then what followed the
    // sections (the signature taken out of it when it is removed). Every field that changes lies in
    // the headers up to the end of the section table (with the new header when one is added),
    // which are copied; the rest are spans of the program.
    std::uint64_t certificate = 0, certificateSize = 0;
    if (pe->directoryCount > kSecurityEntry) {
        certificate = LoadU32(b.data() + pe->Directory(kSecurityEntry));
        certificateSize = LoadU32(b.data() + pe->Directory(kSecurityEntry) + 4);
    }
    const std::size_t before = last ? placed.rawOffset : rawEnd;
    const std::size_t headerBytes = pe->sectionTable + (pe->sections.size() + (last ? 0 : 1)) * kSectionHeaderSize;
    out = FilePieces(b);
    const std::span<std::uint8_t> headers = out.Make(headerBytes);
    std::memcpy(headers.data(), b.data(), headerBytes);
    out.Add(b.subspan(headerBytes, before - headerBytes));
    out.AddZeros(placed.rawOffset - before);
    const std::size_t tree = WriteTree(types, placed.virtualAddress, out);
    placed.virtualSize = static_cast<std::uint32_t>(tree);
    placed.rawSize = AlignUp(tree, pe->fileAlignment);
    if (std::uint64_t{placed.virtualAddress} + placed.virtualSize > 0x7FFFFFFF ||
        std::uint64_t{placed.rawOffset} + placed.rawSize + (b.size() - rawEnd) > 0x7FFFFFFF)
        return SetIconStatus::NoRoom;
    out.AddZeros(placed.rawSize - tree);
    // What followed the sections, but for the bytes from `cut` to `resume` (a signature removed).
    std::uint64_t cut = b.size(), resume = b.size();
    if (certificateSize != 0 && certificate < b.size() && certificate + certificateSize > rawEnd) {
        cut = std::max(rawEnd, certificate);
        resume = std::max(rawEnd, std::min<std::uint64_t>(certificate + certificateSize, b.size()));
    }
    const std::uint64_t tail = out.Size();
    out.Add(b.subspan(rawEnd, cut - rawEnd));
    out.Add(b.subspan(resume));

    // The headers that follow from it.
    std::uint8_t* const file = headers.data();
    if (!last) StoreU16(file + pe->optional - 20 + 2, static_cast<std::uint16_t>(pe->sections.size() + 1));
    // A COFF symbol table after the sections (unstripped MinGW programs have one, which binutils
    // read) moved with what followed them.
    const std::size_t symbolTable = pe->optional - 20 + 8;
    const std::uint64_t symbols = LoadU32(b.data() + symbolTable);
    if (symbols >= rawEnd && symbols < b.size() && (symbols < cut || symbols >= resume)) {
        const std::uint64_t now = tail + (symbols < cut ? symbols - rawEnd : cut - rawEnd + (symbols - resume));
        StoreU32(file + symbolTable, static_cast<std::uint32_t>(now));
    }
    std::uint8_t* h = file + placed.header;
    if (!last) std::memcpy(h, ".rsrc\0\0\0", 8);
    StoreU32(h + 8, placed.virtualSize);
    StoreU32(h + 12, placed.virtualAddress);
    StoreU32(h + 16, placed.rawSize);
    StoreU32(h + 20, placed.rawOffset);
    StoreU32(h + 36, last ? placed.characteristics : kInitializedData | kMemRead);
    if (last)
        *holder = placed;
    else
        pe->sections.push_back(placed);
    std::uint64_t imageEnd = pe->sizeOfHeaders;
    std::uint32_t initialized = 0;
    for (const Section& s : pe->sections) {
        imageEnd = std::max<std::uint64_t>(
            imageEnd, s.virtualAddress + AlignUp(s.virtualSize != 0 ? s.virtualSize : s.rawSize, pe->sectionAlignment));
        if ((s.characteristics & kInitializedData) != 0) initialized += s.rawSize;
    }
    StoreU32(file + pe->optional + 56, AlignUp(imageEnd, pe->sectionAlignment));
    StoreU32(file + pe->optional + 8, initialized);
    StoreU32(file + pe->Directory(kResourceEntry), placed.virtualAddress);
    StoreU32(file + pe->Directory(kResourceEntry) + 4, placed.virtualSize);
    if (certificateSize != 0) {
        StoreU32(file + pe->Directory(kSecurityEntry), 0);
        StoreU32(file + pe->Directory(kSecurityEntry) + 4, 0);
    }
    if (LoadU32(b.data() + pe->ChecksumOffset()) != 0)
        StoreU32(file + pe->ChecksumOffset(), PeChecksum(out, pe->ChecksumOffset()));
    return SetIconStatus::Ok;
}

// A language entry that owns bytes made here.
Language Owned(std::vector<std::uint8_t>&& bytes) {
    Language l;
    l.made = std::make_shared<const std::vector<std::uint8_t>>(std::move(bytes));
    l.data = *l.made;
    return l;
}

std::optional<std::vector<std::uint8_t>> WriteLibrary(const std::vector<LibraryGroup>& groups, bool wide) {
    // The resources: icon groups, icons, cursor groups and cursors, images numbered from 1 within
    // each kind in group order, every one language neutral.
    std::vector<Type> types;
    for (const int id : {14, 3, 12, 1}) types.push_back({Key{static_cast<std::uint16_t>(id), {}}, {}});
    for (const LibraryGroup& g : groups) {
        const bool cursor = g.iconFile.size() >= 4 && LoadU16(g.iconFile.data() + 2) == 2;
        Type& images = types[cursor ? 3 : 1];
        if (g.name.id && *g.name.id == 0) return std::nullopt;
        std::optional<GroupResources> split =
            SplitIconFile(g.iconFile, static_cast<std::uint16_t>(std::min<std::size_t>(images.names.size() + 1, 0xFFFF)));
        if (!split || images.names.size() + split->images.size() > 0xFFFF) return std::nullopt;
        types[cursor ? 2 : 0].names.push_back({KeyFor(g.name), {Owned(std::move(split->group))}});
        for (std::vector<std::uint8_t>& image : split->images) {
            const auto id = static_cast<std::uint16_t>(images.names.size() + 1);
            images.names.push_back({Key{id, {}}, {Owned(std::move(image))}});
        }
    }
    std::erase_if(types, [](const Type& t) { return t.names.empty(); });
    if (types.empty() || types.front().names.size() > 0xFFFF) return std::nullopt;

    // A DOS header and the stub that says the file is not for DOS, the PE headers of a DLL with
    // no code and one section, the resource section at 0x1000 in memory and 0x200 in the file.
    constexpr std::size_t kPe = 0x80, kHeaders = 0x200;
    constexpr std::uint32_t kSectionRva = 0x1000, kFileAlign = 0x200, kSectionAlign = 0x1000;
    const std::size_t optionalSize = wide ? 240 : 224;
    FilePieces file;
    const std::span<std::uint8_t> out = file.Make(kHeaders);
    static constexpr std::uint8_t kStub[] = {0x0E, 0x1F, 0xBA, 0x0E, 0x00, 0xB4, 0x09, 0xCD,
                                             0x21, 0xB8, 0x01, 0x4C, 0xCD, 0x21};
    static constexpr char kStubText[] = "This program cannot be run in DOS mode.\r\r\n$";
    std::memcpy(out.data(), "MZ", 2);
    StoreU16(out.data() + 2, 0x90);   // bytes on the last page
    StoreU16(out.data() + 4, 3);      // pages
    StoreU16(out.data() + 8, 4);      // header paragraphs
    StoreU16(out.data() + 12, 0xFFFF);
    StoreU16(out.data() + 16, 0xB8);  // stack pointer
    StoreU16(out.data() + 24, 0x40);  // relocations
    StoreU32(out.data() + 0x3C, kPe);
    std::memcpy(out.data() + 0x40, kStub, sizeof kStub);
    std::memcpy(out.data() + 0x40 + sizeof kStub, kStubText, sizeof kStubText - 1);
    std::memcpy(out.data() + kPe, "PE\0\0", 4);
    std::uint8_t* coff = out.data() + kPe + 4;
    StoreU16(coff, wide ? 0x8664 : 0x014C);
    StoreU16(coff + 2, 1);
    StoreU16(coff + 16, static_cast<std::uint16_t>(optionalSize));
    // An executable image that is a DLL; 32-bit words, or addresses above 2 GB for a 64-bit one.
    StoreU16(coff + 18, wide ? 0x2022 : 0x2102);
    const std::size_t optional = kPe + 24;
    std::uint8_t* o = out.data() + optional;
    StoreU16(o, wide ? 0x20B : 0x10B);
    o[2] = 14;  // linker version
    StoreU32(o + 20, kSectionRva);
    if (wide) {
        StoreU32(o + 28, 0x1);  // image base 0x180000000: its high word
        StoreU32(o + 24, 0x80000000u);
    } else {
        StoreU32(o + 24, kSectionRva);
        StoreU32(o + 28, 0x10000000u);
    }
    StoreU32(o + 32, kSectionAlign);
    StoreU32(o + 36, kFileAlign);
    StoreU16(o + 40, 6);  // operating system and subsystem versions 6.0
    StoreU16(o + 48, 6);
    StoreU32(o + 60, kHeaders);
    StoreU16(o + 68, 2);       // the Windows GUI subsystem
    StoreU16(o + 70, 0x0500);  // no SEH, NX compatible
    // Stack and heap: reserve, commit (64-bit fields in a 64-bit image, whose high words stay 0).
    for (std::size_t i = 0; i < 4; ++i) StoreU32(o + 72 + (wide ? 8 : 4) * i, i % 2 == 0 ? 0x100000 : 0x1000);
    const std::size_t directories = wide ? 108 : 92;
    StoreU32(o + directories, 16);
    const std::size_t header = optional + optionalSize;

    const std::size_t tree = WriteTree(types, kSectionRva, file);
    const std::uint32_t raw = AlignUp(tree, kFileAlign);
    if (std::uint64_t{kHeaders} + raw > 0x7FFFFFFF) return std::nullopt;
    file.AddZeros(raw - tree);
    StoreU32(o + 8, raw);  // initialized data
    StoreU32(o + 56, kSectionRva + AlignUp(tree, kSectionAlign));
    StoreU32(o + directories + 4 + 8 * kResourceEntry, kSectionRva);
    StoreU32(o + directories + 8 + 8 * kResourceEntry, static_cast<std::uint32_t>(tree));
    std::uint8_t* h = out.data() + header;
    std::memcpy(h, ".rsrc\0\0\0", 8);
    StoreU32(h + 8, static_cast<std::uint32_t>(tree));
    StoreU32(h + 12, kSectionRva);
    StoreU32(h + 16, raw);
    StoreU32(h + 20, kHeaders);
    StoreU32(h + 36, kInitializedData | kMemRead);
    StoreU32(o + 64, PeChecksum(file, optional + 64));
    std::vector<std::uint8_t> bytes;
    file.AppendTo(bytes);
    return bytes;
}

}  // namespace

std::optional<std::vector<std::uint8_t>> WriteResourceLibrary(const std::vector<LibraryGroup>& groups, bool wide) {
    try {
        return WriteLibrary(groups, wide);
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

const char* SetIconStatusText(SetIconStatus status) {
    switch (status) {
        case SetIconStatus::Ok: return "";
        case SetIconStatus::NotAProgram: return "not a 32- or 64-bit Windows program or library";
        case SetIconStatus::Damaged: return "its resources or sections are damaged and cannot be rewritten whole";
        case SetIconStatus::Signed:
            return "it is signed, and changing it would break the signature (--remove-signature removes it)";
        case SetIconStatus::NotAnIcon: return "the icon is not an icon file with at least one image";
        case SetIconStatus::NoRoom: return "there is no room in its headers for a new section";
        case SetIconStatus::OutOfMemory: return "there is not enough memory";
        case SetIconStatus::CannotWrite: return "it cannot be read or written";
    }
    return "";
}

SetIconStatus SetProgramIcon(std::span<const std::uint8_t> program, std::span<const std::uint8_t> iconFile,
                             const SetIconOptions& options, FilePieces& out) {
    SetIconStatus status = SetIconStatus::OutOfMemory;
    try {
        status = Set(program, iconFile, options, out);
    } catch (const std::bad_alloc&) {
    }
    if (status != SetIconStatus::Ok) out = FilePieces();
    return status;
}

SetIconStatus SetProgramIcon(std::span<const std::uint8_t> program, std::span<const std::uint8_t> iconFile,
                             const SetIconOptions& options, std::vector<std::uint8_t>& out) {
    // Made apart and moved in at the end: `out` may hold the very program being read.
    std::vector<std::uint8_t> made;
    FilePieces pieces;
    SetIconStatus status = SetProgramIcon(program, iconFile, options, pieces);
    if (status == SetIconStatus::Ok) {
        try {
            pieces.AppendTo(made);
        } catch (const std::bad_alloc&) {
            made.clear();
            status = SetIconStatus::OutOfMemory;
        }
    }
    out = std::move(made);
    return status;
}

namespace {

// The checksum's sum, taken over a file given in pieces: 16-bit little-endian words added with
// their carries brought back in (a sum modulo 0xFFFF, zero only when every word is), the
// checksum field's bytes counted as zero. Two words read as one 32-bit number, w0 + 65536 * w1,
// add the same modulo 0xFFFF as w0 + w1, since 65536 is 1 modulo 0xFFFF: so the bytes are added
// four at a time, and the sum is folded only now and then.
class ChecksumSum {
public:
    explicit ChecksumSum(std::size_t field) : field_(field) {}

    void Add(std::span<const std::uint8_t> bytes) {
        static constexpr std::uint8_t kZeros[4] = {};
        const std::uint64_t start = length_, end = start + bytes.size();
        if (field_ >= end || field_ + 4 <= start) {
            Words(bytes);
            return;
        }
        const auto from = static_cast<std::size_t>(field_ > start ? field_ - start : 0);
        const auto to = static_cast<std::size_t>(std::min<std::uint64_t>(field_ + 4 - start, bytes.size()));
        Words(bytes.first(from));
        Words(std::span(kZeros, to - from));
        Words(bytes.subspan(to));
    }

    [[nodiscard]] std::uint32_t Result() const { return Fold(sum_) + static_cast<std::uint32_t>(length_); }

private:
    // The same sum modulo 0xFFFF, zero only when `v` is: at most 0xFFFF.
    static std::uint32_t Fold(std::uint64_t v) { return v == 0 ? 0 : static_cast<std::uint32_t>((v - 1) % 0xFFFF + 1); }

    void Words(std::span<const std::uint8_t> bytes) {
        const std::uint8_t* p = bytes.data();
        std::size_t n = bytes.size();
        if (n == 0) return;
        // A byte at an odd place in the file is the high byte of its word.
        if ((length_ & 1) != 0) {
            sum_ += std::uint64_t{*p} << 8;
            ++p;
            --n;
            ++length_;
        }
        length_ += n;
        // Each sum takes 2^27 numbers of 32 bits at most between folds: no overflow.
        while (n >= 4) {
            const std::size_t run = std::min<std::size_t>(n / 4, std::size_t{1} << 28);
            std::uint64_t a = 0, b = 0;
            std::size_t i = 0;
            for (; i + 2 <= run; i += 2) {
                a += LoadU32(p + 4 * i);
                b += LoadU32(p + 4 * i + 4);
            }
            if (i < run) a += LoadU32(p + 4 * i);
            sum_ = std::uint64_t{Fold(sum_)} + Fold(a) + Fold(b);
            p += 4 * run;
            n -= 4 * run;
        }
        if (n >= 2) {
            sum_ += LoadU16(p);
            p += 2;
            n -= 2;
        }
        if (n == 1) sum_ += *p;  // the low byte of a word whose high byte may follow
    }

    std::uint64_t field_;
    std::uint64_t sum_ = 0, length_ = 0;
};

}  // namespace

std::uint32_t PeChecksum(std::span<const std::uint8_t> bytes, std::size_t checksumOffset) {
    ChecksumSum sum(checksumOffset);
    sum.Add(bytes);
    return sum.Result();
}

std::uint32_t PeChecksum(const FilePieces& file, std::size_t checksumOffset) {
    ChecksumSum sum(checksumOffset);
    for (const FilePieces::Piece& piece : file.Pieces()) sum.Add(piece.bytes);
    return sum.Result();
}

}  // namespace tellurine
