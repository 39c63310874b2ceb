#include "formats/icon_catalog.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <iostream>
#include <tuple>

#include "format_test_support.h"
#include "formats/icns_file.h"

namespace tellurine {
namespace {

using format_test::Bytes;

using Summary = std::tuple<std::int32_t, std::int32_t, int>;

std::vector<Summary> Summaries(const CatalogIcon& icon) {
    std::vector<Summary> out;
    for (const CatalogFormat& f : icon.formats) out.emplace_back(f.width, f.height, f.bits);
    return out;
}

std::vector<Summary> Summaries(const CIconDoc& doc) {
    std::vector<Summary> out;
    for (int i = 0; i < doc.GetFormatCount(); ++i) {
        const CIconObject& f = *doc.GetFormat(i);
        out.emplace_back(f.Width(), f.Height(), f.BitCount());
    }
    return out;
}

bool SamePicture(const CKvIcon& a, const CKvIcon& b) {
    const Block pa = a.To32BitDib(), pb = b.To32BitDib();
    return pa.size() == pb.size() && std::memcmp(pa.data(), pb.data(), pa.size()) == 0 && a.PointX() == b.PointX() &&
           a.PointY() == b.PointY();
}

// A stream damaged past its header is listed from the header and found only when decoded: an
// icon file that a full read refuses, a family element that a full read leaves out.
TEST(IconCatalog, StreamDamagedPastItsHeaderIsListedButNotDecoded) {
    const CIconDoc family = format_test::DocOf({format_test::MakeIcon(32, 32, 0, true, 3),
                                                format_test::MakeIcon(256, 256, 0, true, 4)});
    Bytes icns;
    ASSERT_TRUE(WriteIcnsFamily(family, icns, nullptr, {.pngStreams = true}));
    const struct {
        const char* path;
        Bytes bytes;
        std::vector<Summary> listed;
        int fullReadFormats;
    } cases[] = {
        {"a.ico",
         format_test::IconFileOf(
             {format_test::MakeIcon(32, 32, 256, false, 1), format_test::MakeIcon(64, 64, 0, true, 2, true)}),
         {{32, 32, 8}, {64, 64, 32}},
         0},
        {"a.icns", icns, {{32, 32, 32}, {256, 256, 32}}, 1},
    };
    for (auto c : cases) {
        SCOPED_TRACE(c.path);
        c.bytes[c.bytes.size() - 20] ^= 0x55;  // in the last stream's compressed data, before its CRC and IEND
        IconCatalog catalog;
        ASSERT_TRUE(CatalogIconContainer(c.path, c.bytes, catalog));
        ASSERT_EQ(catalog.icons.size(), 1u);
        EXPECT_EQ(Summaries(catalog.icons[0]), c.listed);
        IconFileContents contents;
        ReadIconContainer(c.path, c.bytes, contents);
        EXPECT_EQ(contents.icons.empty() ? 0 : contents.icons[0].doc.GetFormatCount(), c.fullReadFormats);
        CKvIcon image;
        EXPECT_TRUE(ReadCatalogFormat(c.path, c.bytes, catalog, 0, 0, image));
        EXPECT_EQ(image.Width(), 32u);
        for (const auto& [icon, format] : {std::pair{0, 1}, {0, 2}, {1, 0}, {0, -1}})
            EXPECT_FALSE(ReadCatalogFormat(c.path, c.bytes, catalog, icon, format, image)) << icon << "," << format;
    }
}

// Every file of the development corpus: the catalog lists the icons a full read gives, and of
// each icon the formats that decode on their own are, in order, the formats of the full read,
// pixel for pixel. A format listed from its header whose stream is damaged is the one allowed
// difference: a full read leaves it out (a family) or refuses the file (an icon file).
TEST(IconCatalog, CorpusListsAndDecodesWhatAFullReadGives) {
    const std::filesystem::path corpus = format_test::CorpusDir();
    if (!std::filesystem::is_directory(corpus)) GTEST_SKIP() << "no development corpus at " << corpus;
    int listed = 0, undecodable = 0, refusedButListed = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(corpus)) {
        if (!entry.is_regular_file()) continue;
        const std::string path = entry.path().string();
        SCOPED_TRACE(path);
        const Bytes bytes = format_test::ReadBytes(entry.path());
        IconFileContents contents;
        IconCatalog catalog;
        const bool read = ReadIconContainer(path, bytes, contents);
        if (!CatalogIconContainer(path, bytes, catalog)) {
            EXPECT_FALSE(read);
            continue;
        }
        ++listed;
        refusedButListed += read ? 0 : 1;
        EXPECT_TRUE(!read || catalog.container == contents.container);
        const int before = undecodable;
        for (std::size_t i = 0; i < catalog.icons.size(); ++i) {
            std::vector<Summary> decodedFormats;
            std::vector<CKvIcon> pictures;
            for (std::size_t f = 0; f < catalog.icons[i].formats.size(); ++f) {
                CKvIcon decoded;
                if (!ReadCatalogFormat(path, bytes, catalog, static_cast<int>(i), static_cast<int>(f), decoded)) {
                    ++undecodable;
                    continue;
                }
                decodedFormats.push_back(Summaries(catalog.icons[i])[f]);
                pictures.push_back(std::move(decoded));
            }
            if (!read) continue;
            ASSERT_EQ(catalog.icons.size(), contents.icons.size());
            const NamedIcon& named = contents.icons[i];
            EXPECT_EQ(catalog.icons[i].name, named.name);
            EXPECT_EQ(catalog.icons[i].number, named.number);
            ASSERT_EQ(decodedFormats, Summaries(named.doc)) << "icon " << i;
            for (int f = 0; f < named.doc.GetFormatCount(); ++f)
                EXPECT_TRUE(SamePicture(pictures[static_cast<std::size_t>(f)], named.doc.GetFormat(f)->Icon())) << f;
        }
        if (!read) {
            EXPECT_GT(undecodable, before) << "listed a file a full read refuses, every format decoding";
        }
    }
    std::cout << listed << " files listed, " << refusedButListed << " of them refused by a full read; "
              << undecodable << " formats listed but undecodable\n";
}

}  // namespace
}  // namespace tellurine
