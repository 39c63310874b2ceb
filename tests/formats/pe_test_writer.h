// A small writer of PE files for the tests: DOS header, "PE\0\0", COFF header, a PE32 or PE32+
// optional header with 16 data-directory entries, and two sections, an empty ".text" and an
// ".rsrc" holding a three-level resource directory (type, name, language) built from a list of
// resources. Entries stand in each directory in the order the resources first name them, so a
// test can write them in any order; the named and numbered counts are filled in from the entries.
// The layout tells where everything went, for tests that damage the file afterwards.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "image/bytes.h"

namespace tellurine::pe_test {

using Name = std::variant<std::uint16_t, std::u16string>;

struct Resource {
    Name type;
    Name name;
    std::uint16_t language = 0;
    std::vector<std::uint8_t> data;
};

// File offsets of the parts of a written file; per-resource lists follow the input order.
struct Layout {
    std::size_t optionalHeader = 0;
    std::size_t resourceDirectory = 0;  // data-directory entry 2: RVA, then size
    std::size_t rsrcSectionHeader = 0;  // the root directory is the section's first byte, at kRsrcRaw
    std::vector<std::size_t> typeEntry, nameEntry, languageEntry, dataEntry, data;
    std::vector<std::size_t> nameDirectory, languageDirectory;  // the directory each entry is in
};

constexpr std::uint32_t kTextRva = 0x1000, kRsrcRva = 0x2000;
constexpr std::size_t kTextRaw = 0x400, kRsrcRaw = 0x600;

inline std::vector<std::uint8_t> WritePe(const std::vector<Resource>& resources, bool pe64,
                                         Layout* where = nullptr, bool withResources = true) {
    Layout layout;
    // The tree: types in first-mention order, their names likewise, then languages.
    struct Lang {
        std::uint16_t id;
        std::size_t resource;
    };
    struct NameNode {
        Name name;
        std::vector<Lang> langs;
    };
    struct TypeNode {
        Name type;
        std::vector<NameNode> names;
    };
    std::vector<TypeNode> types;
    for (std::size_t r = 0; r < resources.size(); ++r) {
        auto t = std::find_if(types.begin(), types.end(),
                              [&](const TypeNode& n) { return n.type == resources[r].type; });
        if (t == types.end()) t = types.insert(types.end(), TypeNode{resources[r].type, {}});
        auto n = std::find_if(t->names.begin(), t->names.end(),
                              [&](const NameNode& x) { return x.name == resources[r].name; });
        if (n == t->names.end()) n = t->names.insert(t->names.end(), NameNode{resources[r].name, {}});
        n->langs.push_back({resources[r].language, r});
    }

    // Section contents: directories, data entries, strings, then the data, each part aligned.
    std::vector<std::uint8_t> s;
    auto grow = [&s](std::size_t n, std::size_t align) {
        s.resize((s.size() + align - 1) / align * align);
        const std::size_t at = s.size();
        s.resize(at + n);
        return at;
    };
    auto directory = [&](std::size_t entries, std::size_t named) {
        const std::size_t at = grow(16 + 8 * entries, 4);
        StoreU16(s.data() + at + 12, static_cast<std::uint16_t>(named));
        StoreU16(s.data() + at + 14, static_cast<std::uint16_t>(entries - named));
        return at;
    };
    auto countNamed = [](const auto& list, auto key) {
        return static_cast<std::size_t>(std::count_if(list.begin(), list.end(), [&](const auto& x) {
            return std::holds_alternative<std::u16string>(key(x));
        }));
    };
    std::vector<std::pair<std::size_t, const Name*>> nameFields;  // entry offset, name to write
    const std::size_t n = resources.size();
    // Offsets in the section until the end, where they become file offsets.
    const auto lists = {&layout.typeEntry, &layout.nameEntry, &layout.languageEntry, &layout.dataEntry,
                        &layout.data, &layout.nameDirectory, &layout.languageDirectory};
    for (std::vector<std::size_t>* list : lists) list->assign(n, 0);

    const std::size_t root =
        directory(types.size(), countNamed(types, [](const TypeNode& t) { return t.type; }));
    for (std::size_t ti = 0; ti < types.size(); ++ti) {
        const std::size_t typeEntry = root + 16 + 8 * ti;
        nameFields.emplace_back(typeEntry, &types[ti].type);
        const std::size_t nameDir = directory(
            types[ti].names.size(), countNamed(types[ti].names, [](const NameNode& x) { return x.name; }));
        StoreU32(s.data() + typeEntry + 4, 0x80000000u | static_cast<std::uint32_t>(nameDir));
        for (std::size_t ni = 0; ni < types[ti].names.size(); ++ni) {
            const NameNode& nn = types[ti].names[ni];
            const std::size_t nameEntry = nameDir + 16 + 8 * ni;
            nameFields.emplace_back(nameEntry, &nn.name);
            const std::size_t langDir = directory(nn.langs.size(), 0);
            StoreU32(s.data() + nameEntry + 4, 0x80000000u | static_cast<std::uint32_t>(langDir));
            for (std::size_t li = 0; li < nn.langs.size(); ++li) {
                const std::size_t r = nn.langs[li].resource, langEntry = langDir + 16 + 8 * li;
                StoreU32(s.data() + langEntry, nn.langs[li].id);
                layout.typeEntry[r] = typeEntry;
                layout.nameEntry[r] = nameEntry;
                layout.languageEntry[r] = langEntry;
                layout.nameDirectory[r] = nameDir;
                layout.languageDirectory[r] = langDir;
            }
        }
    }
    for (std::size_t r = 0; r < n; ++r) {
        layout.dataEntry[r] = grow(16, 4);
        StoreU32(s.data() + layout.languageEntry[r] + 4, static_cast<std::uint32_t>(layout.dataEntry[r]));
    }
    for (const auto& [entry, name] : nameFields) {
        if (const auto* id = std::get_if<std::uint16_t>(name)) {
            StoreU32(s.data() + entry, *id);
            continue;
        }
        const std::u16string& text = std::get<std::u16string>(*name);
        const std::size_t at = grow(2 + 2 * text.size(), 2);
        StoreU16(s.data() + at, static_cast<std::uint16_t>(text.size()));
        for (std::size_t i = 0; i < text.size(); ++i) StoreU16(s.data() + at + 2 + 2 * i, text[i]);
        StoreU32(s.data() + entry, 0x80000000u | static_cast<std::uint32_t>(at));
    }
    for (std::size_t r = 0; r < n; ++r) {
        layout.data[r] = grow(resources[r].data.size(), 8);
        std::copy(resources[r].data.begin(), resources[r].data.end(),
                  s.begin() + static_cast<std::ptrdiff_t>(layout.data[r]));
        StoreU32(s.data() + layout.dataEntry[r], kRsrcRva + static_cast<std::uint32_t>(layout.data[r]));
        StoreU32(s.data() + layout.dataEntry[r] + 4, static_cast<std::uint32_t>(resources[r].data.size()));
    }
    const std::size_t virtualSize = s.size();
    const std::size_t rawSize = (s.size() + 0x1FF) / 0x200 * 0x200;

    // Headers.
    const std::size_t pe = 0x80, optional = pe + 24, optionalSize = pe64 ? 240 : 224;
    const std::size_t sections = optional + optionalSize;
    std::vector<std::uint8_t> f(kRsrcRaw + rawSize, 0);
    std::copy_n("MZ", 2, f.begin());
    StoreU32(f.data() + 0x3C, static_cast<std::uint32_t>(pe));
    std::copy_n("PE", 2, f.begin() + static_cast<std::ptrdiff_t>(pe));
    StoreU16(f.data() + pe + 4, pe64 ? 0x8664 : 0x14C);
    StoreU16(f.data() + pe + 6, 2);
    StoreU16(f.data() + pe + 20, static_cast<std::uint16_t>(optionalSize));
    StoreU16(f.data() + pe + 22, pe64 ? 0x2022 : 0x2102);  // executable DLL (large address aware / 32-bit)
    std::uint8_t* o = f.data() + optional;
    StoreU16(o, pe64 ? 0x20B : 0x10B);
    StoreU32(o + 32, 0x1000);  // section alignment
    StoreU32(o + 36, 0x200);   // file alignment
    StoreU16(o + 40, 6);       // operating system version
    StoreU16(o + 48, 6);       // subsystem version
    StoreU32(o + 56, static_cast<std::uint32_t>(kRsrcRva + (virtualSize + 0xFFF) / 0x1000 * 0x1000));
    StoreU32(o + 60, static_cast<std::uint32_t>(kTextRaw));  // size of headers
    StoreU16(o + 68, 2);                                     // subsystem: GUI
    const std::size_t dirs = pe64 ? 112 : 96;
    StoreU32(o + dirs - 4, 16);
    if (withResources) {
        StoreU32(o + dirs + 16, kRsrcRva);
        StoreU32(o + dirs + 20, static_cast<std::uint32_t>(virtualSize));
    }
    auto section = [&](std::size_t at, const char* name, std::uint32_t vsize, std::uint32_t rva,
                       std::uint32_t raw, std::uint32_t rawPointer, std::uint32_t flags) {
        for (std::size_t i = 0; name[i] != 0; ++i) f[at + i] = static_cast<std::uint8_t>(name[i]);
        StoreU32(f.data() + at + 8, vsize);
        StoreU32(f.data() + at + 12, rva);
        StoreU32(f.data() + at + 16, raw);
        StoreU32(f.data() + at + 20, rawPointer);
        StoreU32(f.data() + at + 36, flags);
    };
    section(sections, ".text", 0x10, kTextRva, 0x200, kTextRaw, 0x60000020u);
    section(sections + 40, ".rsrc", static_cast<std::uint32_t>(virtualSize), kRsrcRva,
            static_cast<std::uint32_t>(rawSize), kRsrcRaw, 0x40000040u);
    f[kTextRaw] = 0xC3;  // ret
    std::copy(s.begin(), s.end(), f.begin() + kRsrcRaw);

    if (where != nullptr) {
        layout.optionalHeader = optional;
        layout.resourceDirectory = optional + dirs + 16;
        layout.rsrcSectionHeader = sections + 40;
        for (std::vector<std::size_t>* list : lists)
            for (std::size_t& at : *list) at += kRsrcRaw;
        *where = std::move(layout);
    }
    return f;
}

// Icon group data: header (0, 1, count), then per icon a 14-byte entry whose identifier is the
// last field. The reader goes by the images: every entry says 16 x 16 at 32 bits and no byte count.
inline std::vector<std::uint8_t> GroupData(const std::vector<std::uint16_t>& ids) {
    std::vector<std::uint8_t> g(6 + 14 * ids.size(), 0);
    StoreU16(g.data() + 2, 1);
    StoreU16(g.data() + 4, static_cast<std::uint16_t>(ids.size()));
    for (std::size_t i = 0; i < ids.size(); ++i) {
        std::uint8_t* e = g.data() + 6 + 14 * i;
        e[0] = e[1] = 16;
        StoreU16(e + 4, 1);
        StoreU16(e + 6, 32);
        StoreU16(e + 12, ids[i]);
    }
    return g;
}

}  // namespace tellurine::pe_test
