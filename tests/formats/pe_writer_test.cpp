#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "formats/format_test_support.h"
#include "formats/mapped_file.h"
#include "formats/pe_resources.h"
#include "formats/pe_test_writer.h"
#include "formats/pe_writer.h"
#include "image/bytes.h"
#include "image/file_io.h"

namespace tellurine {
namespace {

using format_test::Bytes;
using pe_test::GroupData;

// A program of two icon groups (1 in English, MAIN in German and French sharing icon 3), a
// version resource, a resource of a named type, and 300 bytes appended after its sections.
struct Program {
    Bytes file;
    pe_test::Layout layout;
    Bytes version = Bytes(90, 0x56), custom = {1, 2, 3};
    Bytes overlay;
};

Program MakeProgram(bool pe64) {
    Program p;
    const auto image = [](int size, std::uint32_t seed) {
        return format_test::ImageBytes(format_test::MakeIcon(size, size, 16, false, seed));
    };
    p.file = pe_test::WritePe({{std::uint16_t{3}, std::uint16_t{1}, 1033, image(16, 1)},
                               {std::uint16_t{3}, std::uint16_t{2}, 1033, image(32, 2)},
                               {std::uint16_t{3}, std::uint16_t{3}, 1031, image(48, 3)},
                               {std::uint16_t{14}, std::uint16_t{1}, 1033, GroupData({{1}, {2}, {3}})},
                               {std::uint16_t{14}, std::u16string(u"MAIN"), 1031, GroupData({{3}})},
                               {std::uint16_t{14}, std::u16string(u"MAIN"), 1036, GroupData({{3}})},
                               {std::uint16_t{16}, std::uint16_t{1}, 1033, p.version},
                               {std::u16string(u"CUSTOM"), std::uint16_t{5}, 0, p.custom}},
                              pe64, &p.layout);
    for (int i = 0; i < 300; ++i) p.overlay.push_back(static_cast<std::uint8_t>(i * 7));
    p.file.insert(p.file.end(), p.overlay.begin(), p.overlay.end());
    return p;
}

// Sections and the fields of the optional header the writer keeps right.
struct Headers {
    std::size_t sections;
    std::uint32_t sizeOfImage, initializedData, checksum, resourceRva, lastRawEnd;
};
Headers HeadersOf(const Bytes& f, const pe_test::Layout& layout) {
    const std::size_t o = layout.optionalHeader;
    Headers h{LoadU16(f.data() + o - 20 + 2),
              LoadU32(f.data() + o + 56),
              LoadU32(f.data() + o + 8),
              LoadU32(f.data() + o + 64),
              LoadU32(f.data() + layout.resourceDirectory),
              0};
    const std::size_t table = o + LoadU16(f.data() + o - 20 + 16);
    for (std::size_t i = 0; i < h.sections; ++i)
        h.lastRawEnd =
            std::max(h.lastRawEnd, LoadU32(f.data() + table + 40 * i + 20) + LoadU32(f.data() + table + 40 * i + 16));
    return h;
}

Bytes Records(const Bytes& file, std::uint16_t type) {
    Bytes out;
    const auto records = ListResources(file, type);
    for (const ResourceRecord& r : *records) {
        out.push_back(static_cast<std::uint8_t>(r.language));
        out.insert(out.end(), r.data.begin(), r.data.end());
    }
    return out;
}

class SetIcon : public ::testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(Widths, SetIcon, ::testing::Bool(),
                         [](const auto& p) { return std::string(p.param ? "PE32plus" : "PE32"); });

TEST_P(SetIcon, ReplacesOneGroupAndKeepsEverythingElse) {
    const std::vector<CKvIcon> formats = {format_test::MakeIcon(24, 24, 0, true, 7),
                                          format_test::MakeIcon(64, 64, 0, true, 8, true)};
    const Bytes icon = format_test::IconFileOf(formats);

    // In place (the resource section is the last) and in a new section (it is not): the same
    // resources either way.
    for (const bool moveText : {false, true}) {
        SCOPED_TRACE(moveText ? "new section" : "in place");
        Program p = MakeProgram(GetParam());
        // An installer's payload, long enough to be copied file to file when written as pieces.
        for (int i = 0; i < 40000; ++i) p.overlay.push_back(static_cast<std::uint8_t>(i * 13 + i / 256));
        p.file.insert(p.file.end(), p.overlay.end() - 40000, p.overlay.end());
        if (moveText) StoreU32(p.file.data() + p.layout.rsrcSectionHeader - 40 + 12, 0x100000);
        StoreU32(p.file.data() + p.layout.optionalHeader + 64, 1);  // a checksum to keep right
        // A COFF symbol table after the sections, as unstripped MinGW programs have.
        const std::size_t symbols = p.layout.optionalHeader - 20 + 8;
        StoreU32(p.file.data() + symbols, static_cast<std::uint32_t>(p.file.size() - p.overlay.size()));
        Bytes out;
        ASSERT_EQ(SetProgramIcon(p.file, icon, {}, out), SetIconStatus::Ok);

        // Written as pieces, most of them copied from the program's file by the kernel, the new
        // file holds the same bytes, the checksum taken over the pieces included.
        const format_test::ScratchDir dir;
        format_test::WriteBytes(dir / "app.exe", p.file);
        const int fd = ::open((dir / "app.exe").c_str(), O_RDONLY | O_CLOEXEC);
        MappedFile mapped;
        ASSERT_TRUE(fd >= 0 && mapped.Open(fd, 1 << 20));
        FilePieces pieces;
        ASSERT_EQ(SetProgramIcon(mapped.Bytes(), icon, {}, pieces), SetIconStatus::Ok);
        std::string error;
        ASSERT_TRUE(WritePiecesAtomically((dir / "new.exe").string(), pieces, fd, error)) << error;
        ::close(fd);
        Bytes written;
        ASSERT_TRUE(ReadFileBytes((dir / "new.exe").string(), written, 1 << 20, error));
        EXPECT_EQ(written, out);

        const auto groups = ReadExeIcons(out);
        ASSERT_TRUE(groups);
        ASSERT_EQ(groups->size(), 3u);
        // Names before numbers, as Windows sorts them; group 1 keeps its language and holds the new images.
        EXPECT_EQ((*groups)[2].name.Display(), "1");
        EXPECT_EQ((*groups)[2].language, 1033);
        ASSERT_EQ((*groups)[2].group.FormatCount(), 2);
        // In the icon file's order: the 64-pixel image first.
        for (int i = 0; i < 2; ++i)
            EXPECT_EQ(format_test::ImageBytes(*(*groups)[2].group.FormatAt(i)),
                      format_test::ImageBytes(formats[1 - i]));
        EXPECT_EQ((*groups)[0].name.Display(), "MAIN");
        EXPECT_EQ((*groups)[0].group.FormatAt(0)->Width(), 48);
        // Icons 1 and 2 went with the old group, icon 3 stays for MAIN, the new ones took 1 and 2.
        std::vector<std::string> icons;
        const auto records = ListResources(out, 3);
        for (const ResourceRecord& r : *records) icons.push_back(r.name.Display() + "/" + std::to_string(r.language));
        EXPECT_EQ(icons, (std::vector<std::string>{"1/1033", "2/1033", "3/1031"}));
        EXPECT_EQ(Records(out, 16), Records(p.file, 16));

        const Headers before = HeadersOf(p.file, p.layout), after = HeadersOf(out, p.layout);
        EXPECT_EQ(after.sections, before.sections + (moveText ? 1 : 0));
        EXPECT_EQ(after.resourceRva == before.resourceRva, !moveText);
        EXPECT_GT(after.sizeOfImage, moveText ? 0x100000u : 0x2000u);
        EXPECT_EQ(after.sizeOfImage % 0x1000, 0u);
        EXPECT_GT(after.initializedData, 0u);
        EXPECT_EQ(after.checksum, PeChecksum(out, p.layout.optionalHeader + 64));
        // What followed the sections follows them still, byte for byte.
        ASSERT_EQ(out.size(), after.lastRawEnd + p.overlay.size());
        EXPECT_TRUE(
            std::equal(p.overlay.begin(), p.overlay.end(), out.end() - static_cast<std::ptrdiff_t>(p.overlay.size())));
        EXPECT_EQ(LoadU32(out.data() + symbols), out.size() - p.overlay.size());

        // Naming a group that is not there adds it; the program's first language is its.
        ASSERT_EQ(SetProgramIcon(out, icon, {ResourceName{std::nullopt, "extra"}, std::nullopt, false}, out),
                  SetIconStatus::Ok);
        const auto more = ReadExeIcons(out);
        ASSERT_TRUE(more);
        ASSERT_EQ(more->size(), 4u);
        EXPECT_EQ((*more)[0].name.Display(), "EXTRA");
    }

    // Headers that claim to reach into the bytes after the sections: those bytes are kept as what
    // follows the sections, and the program given can be changed again.
    Program p = MakeProgram(GetParam());
    StoreU32(p.file.data() + p.layout.optionalHeader + 60, static_cast<std::uint32_t>(p.file.size() - 10));
    Bytes once, twice;
    ASSERT_EQ(SetProgramIcon(p.file, icon, {}, once), SetIconStatus::Ok);
    EXPECT_TRUE(
        std::equal(p.overlay.begin(), p.overlay.end(), once.end() - static_cast<std::ptrdiff_t>(p.overlay.size())));
    EXPECT_EQ(SetProgramIcon(once, icon, {}, twice), SetIconStatus::Ok);
}

TEST(SetIcon, RefusesWhatItCannotChangeWhole) {
    const Bytes icon = format_test::IconFileOf({format_test::MakeIcon(16, 16, 16, false, 1)});
    struct Case {
        const char* what;
        std::function<void(Program&)> damage;
        SetIconStatus status;
        bool removeSignature = false;
    };
    const std::vector<Case> cases = {
        {"signed",
         [](Program& p) {
             StoreU32(p.file.data() + p.layout.optionalHeader + 96 + 32,
                      static_cast<std::uint32_t>(p.file.size() - 100));
             StoreU32(p.file.data() + p.layout.optionalHeader + 96 + 36, 100);
         },
         SetIconStatus::Signed},
        {"not a program", [](Program& p) { p.file[0] = 'X'; }, SetIconStatus::NotAProgram},
        {"data outside its section",
         [](Program& p) { StoreU32(p.file.data() + p.layout.dataEntry[0] + 4, 0x7FFFFFFF); }, SetIconStatus::Damaged},
        {"headers past 2 GiB", [](Program& p) { StoreU32(p.file.data() + p.layout.optionalHeader + 60, 0xFFFFF300); },
         SetIconStatus::Damaged},
        {"directory count past the section",
         [](Program& p) { StoreU16(p.file.data() + pe_test::kRsrcRaw + 14, 0xFFFF); }, SetIconStatus::Damaged},
        {"no room for a section header",
         [](Program& p) {
             StoreU32(p.file.data() + p.layout.rsrcSectionHeader - 40 + 12, 0x100000);
             p.file[p.layout.rsrcSectionHeader + 40] = 1;  // where the new header would go
         },
         SetIconStatus::NoRoom},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Program p = MakeProgram(false);
        c.damage(p);
        Bytes out = {9};
        EXPECT_EQ(SetProgramIcon(p.file, icon, {}, out), c.status);
        EXPECT_TRUE(out.empty());
    }
    Program p = MakeProgram(false);
    Bytes out;
    EXPECT_EQ(SetProgramIcon(p.file, Bytes{0, 0, 1, 0, 1, 0}, {}, out), SetIconStatus::NotAnIcon);

    // A signature removed: its bytes gone from the end, its directory entry cleared, a symbol
    // table between the sections and it still found.
    cases[0].damage(p);
    const std::size_t symbols = p.layout.optionalHeader - 20 + 8;
    StoreU32(p.file.data() + symbols, static_cast<std::uint32_t>(p.file.size() - p.overlay.size() + 10));
    ASSERT_EQ(SetProgramIcon(p.file, icon, {std::nullopt, std::nullopt, true}, out), SetIconStatus::Ok);
    EXPECT_EQ(LoadU32(out.data() + p.layout.optionalHeader + 96 + 36), 0u);
    const Bytes kept(p.overlay.begin(), p.overlay.end() - 100);
    EXPECT_TRUE(std::equal(kept.begin(), kept.end(), out.end() - static_cast<std::ptrdiff_t>(kept.size())));
    EXPECT_EQ(LoadU32(out.data() + symbols), out.size() - kept.size() + 10);

    // Cut anywhere, a program is refused or changed, never read past its end.
    const Program whole = MakeProgram(true);
    for (std::size_t size = 0; size < whole.file.size(); size += 61)
        (void)SetProgramIcon(std::span(whole.file).first(size), icon, {}, out);
}

// The loader's checksum, word by word, against the one the writer takes four bytes at a time and
// over pieces: at every length's parity, with the field anywhere (at an odd place, cut off by
// the end, past it), over words whose sum wraps, and over pieces of odd lengths.
TEST(PeChecksum, IsTheLoadersSumOverWholeFilesAndPieces) {
    const auto loader = [](const Bytes& b, std::size_t field) {
        std::uint64_t sum = 0;
        for (std::size_t i = 0; i < b.size(); i += 2) {
            std::uint32_t word = 0;
            for (std::size_t k = 0; k < 2 && i + k < b.size(); ++k)
                if (i + k < field || i + k >= field + 4) word |= std::uint32_t{b[i + k]} << (8 * k);
            sum += word;
            sum = (sum & 0xFFFF) + (sum >> 16);
        }
        return static_cast<std::uint32_t>((sum & 0xFFFF) + (sum >> 16) + b.size());
    };
    struct Case {
        const char* what;
        Bytes bytes;
    };
    std::vector<Case> cases = {{"empty", {}},       {"one byte", {0x80}},       {"zeros", Bytes(37, 0)},
                               {"all ones", Bytes(41, 0xFF)}, {"ones, even", Bytes(64, 0xFF)}};
    // 0xFFFF and 1, which wrap to 1; words summing to 0xFFFF exactly; noise at several lengths.
    cases.push_back({"wraps", {0xFF, 0xFF, 0x01, 0x00}});
    cases.push_back({"sums to 0xFFFF", {0xFF, 0x7F, 0x00, 0x80, 0x00}});
    for (const std::size_t size : {9u, 1000u, 4099u, 70001u}) {
        Bytes noise(size);
        for (std::size_t i = 0; i < size; ++i) noise[i] = static_cast<std::uint8_t>((i * 2654435761u) >> 13);
        cases.push_back({"noise", std::move(noise)});
    }
    for (const Case& c : cases) {
        const std::size_t size = c.bytes.size();
        for (const std::size_t field : {std::size_t{0}, std::size_t{1}, std::size_t{6}, size / 2 | 1,
                                        size - std::min<std::size_t>(size, 2), size + 8}) {
            SCOPED_TRACE(std::string(c.what) + ", " + std::to_string(size) + " bytes, field at " +
                         std::to_string(field));
            const std::uint32_t expected = loader(c.bytes, field);
            EXPECT_EQ(PeChecksum(c.bytes, field), expected);
            for (const std::size_t step : {1u, 3u, 4u, 7u, 4096u}) {
                FilePieces pieces;
                for (std::size_t at = 0; at < size; at += step)
                    pieces.Add(std::span(c.bytes).subspan(at, std::min(step, size - at)));
                EXPECT_EQ(PeChecksum(pieces, field), expected) << "pieces of " << step;
            }
        }
    }
}

}  // namespace
}  // namespace tellurine
