#include "formats/image_strip.h"

#include <gtest/gtest.h>

#include "formats/icon_project.h"
#include "icon/format_maker.h"
#include "imaging/codecs.h"
#include "png_test_writer.h"
#include "test_support.h"

namespace tellurine {
namespace {

using test::At;
using test::MakeDib;
using test::Px;

// A picture whose every pixel says where it is: blue its column, green its stored row.
Block Numbered(int w, int h) {
    return MakeDib(w, h, 32, [](int x, int y) { return Px{static_cast<std::uint8_t>(x), static_cast<std::uint8_t>(y), 7, 255}; });
}

// A PNG of the picture with a text chunk put after its header, as any writer may place one.
std::vector<std::uint8_t> PngWithText(const Block& picture, const std::string& keyword, const std::string& text) {
    std::vector<std::uint8_t> png;
    EXPECT_TRUE(EncodePng(picture, png));
    std::vector<png_test::Chunk> chunks = png_test::ChunksOf(png);
    const std::string data = keyword + '\0' + text;
    chunks.insert(chunks.begin() + 1, {"tEXt", std::vector<std::uint8_t>(data.begin(), data.end())});
    return png_test::Assemble(chunks);
}

TEST(ImageStrip, CellsAreGuessedFromTheShapeAndParsed) {
    struct Case {
        int w, h;
        std::optional<StripCell> cell;
    };
    for (const Case& c : {Case{160, 16, StripCell{16, 16}}, {16, 64, StripCell{16, 16}}, {32, 16, StripCell{16, 16}},
                          {16, 16, std::nullopt}, {24, 16, std::nullopt}, {50, 16, std::nullopt}, {0, 16, std::nullopt}})
        EXPECT_EQ(GuessStripCell(c.w, c.h), c.cell) << c.w << " x " << c.h;
    // Offered: the guess and its halves while they divide the picture, 8 pixels or more, at most
    // three, and never past the cell limit.
    using Cells = std::vector<StripCell>;
    EXPECT_EQ(OfferedStripCells(256, 32), (Cells{{32, 32}, {16, 16}, {8, 8}}));
    EXPECT_EQ(OfferedStripCells(96, 24), (Cells{{24, 24}, {12, 12}}));  // 6 does not reach 8
    EXPECT_EQ(OfferedStripCells(40, 20), (Cells{{20, 20}, {10, 10}}));  // 5 does not divide
    EXPECT_EQ(OfferedStripCells(4096, 16), (Cells{{16, 16}, {8, 8}}));  // 256, then 1024 cells
    EXPECT_EQ(OfferedStripCells(8200, 8), (Cells{}));                   // 1025 cells
    EXPECT_EQ(OfferedStripCells(30, 30), (Cells{}));
    EXPECT_EQ(ParseStripCell("24x16"), (StripCell{24, 16}));
    EXPECT_EQ(ParseStripCell("8X8"), (StripCell{8, 8}));
    for (const char* bad : {"", "16", "x16", "16x", "0x16", "16x-1", "16x16x", "99999x1", " 16x16"})
        EXPECT_FALSE(ParseStripCell(bad).has_value()) << bad;
}

TEST(ImageStrip, SplitsRowByRowAndJoinsBackWhatSharesTheFirstSize) {
    // A sheet of 3 x 2 cells of 4 x 3, with a column and a row left over.
    const Block sheet = Numbered(13, 7);
    CIconDoc doc;
    std::string error;
    ASSERT_TRUE(SplitStrip(sheet, {4, 3}, doc, error)) << error;
    ASSERT_EQ(doc.GetFormatCount(), 6);
    for (int n = 0; n < 6; ++n) {
        const Block cell = doc.GetFormat(n)->Icon().To32BitDib();
        // Cells go left to right from the top: cell n starts at column 4 (n % 3), top row 3 (n / 3).
        EXPECT_EQ(At(cell, 0, 2), At(sheet, 4 * (n % 3), 6 - 3 * (n / 3))) << n;
        EXPECT_EQ(At(cell, 3, 0), At(sheet, 4 * (n % 3) + 3, 4 - 3 * (n / 3))) << n;
    }

    // Joined, the cells lie in one row; a format of another size is left out and named.
    CKvIcon other;
    ASSERT_TRUE(MakeBlankFormat(5, 3, 32, other));
    doc.AddFormat(std::move(other));
    std::vector<int> leftOut;
    const Block strip = JoinStrip(doc, &leftOut);
    EXPECT_EQ(leftOut, std::vector<int>{6});
    ASSERT_EQ(std::pair(DibWidth(strip), DibHeight(strip)), std::pair(24, 3));
    EXPECT_EQ(At(strip, 12 + 1, 2), At(sheet, 1, 3));  // cell 3 (second row, first column)

    // Cells that do not fit, or too many of them, are refused and leave the project empty.
    for (const StripCell cell : {StripCell{14, 3}, StripCell{4, 8}, StripCell{0, 3}}) {
        EXPECT_FALSE(SplitStrip(sheet, cell, doc, error));
        EXPECT_EQ(doc.GetFormatCount(), 0);
    }
    EXPECT_FALSE(SplitStrip(Numbered(kMaxStripCells + 1, 1), {1, 1}, doc, error));
    EXPECT_NE(error.find("more than"), std::string::npos);
}

TEST(ImageStrip, FilesKeepTheirCellAndAreReadAsStripsByContent) {
    CIconDoc doc;
    std::string error;
    ASSERT_TRUE(SplitStrip(Numbered(30, 10), {6, 10}, doc, error));
    // 6 x 10 cells are not what the shape suggests (10 x 10): the file says so itself.
    IconSavePlan plan;
    ASSERT_TRUE(PlanIconSave(doc, SaveKindOf("tools.TBF"), false, {}, false, plan));
    EXPECT_EQ(std::pair(plan.kind, plan.Whole(doc)), std::pair(IconContainer::Strip, true));
    EXPECT_TRUE(FileHoldsDocument(doc, plan.bytes));  // known by its content, whatever its name
    EXPECT_EQ(ClassifyIconFile("tools.png", plan.bytes), IconContainer::Strip);
    EXPECT_EQ(png_test::Assemble(png_test::ChunksOf(plan.bytes)), plan.bytes);  // every chunk's CRC is right

    // A PNG without the chunk is cut by its shape; a cell asked for wins over the chunk; a chunk
    // that says nothing sensible, or another writer's text, is ignored.
    struct Case {
        std::vector<std::uint8_t> bytes;
        std::optional<StripCell> asked;
        int formats;
    };
    std::vector<std::uint8_t> plain;
    ASSERT_TRUE(EncodePng(Numbered(30, 10), plain));
    for (const Case& c : {Case{plan.bytes, std::nullopt, 5}, {plan.bytes, StripCell{15, 5}, 4}, {plain, std::nullopt, 3},
                          {PngWithText(Numbered(30, 10), "Tellurine strip cell", "0x99999"), std::nullopt, 3},
                          {PngWithText(Numbered(30, 10), "Comment", "6x10"), std::nullopt, 3},
                          {PngWithText(Numbered(30, 10), "Tellurine strip cell", "1x1"), std::nullopt, 300}}) {
        CIconDoc read;
        ASSERT_TRUE(ReadStripFile(c.bytes, read, error, c.asked)) << error;
        EXPECT_EQ(read.GetFormatCount(), c.formats);
    }

    // Damage: a chunk length past the end, a stream cut short, and no PNG at all.
    std::vector<std::uint8_t> lying = plan.bytes;
    lying[33] = 0x7F;
    std::vector<std::uint8_t> cut(plan.bytes.begin(), plan.bytes.begin() + 60);
    for (const auto& bytes : {lying, cut, std::vector<std::uint8_t>{'B', 'M', 0, 0}}) {
        CIconDoc read;
        EXPECT_FALSE(ReadStripFile(bytes, read, error));
        EXPECT_EQ(read.GetFormatCount(), 0);
        EXPECT_FALSE(error.empty());
    }
}

}  // namespace
}  // namespace tellurine
