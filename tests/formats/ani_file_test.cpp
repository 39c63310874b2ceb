#include "formats/ani_file.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "formats/ani_test_writer.h"
#include "formats/format_test_support.h"
#include "formats/ico_file.h"
#include "image/bytes.h"

namespace tellurine {
namespace {

using namespace ani_test;

// An icon file of one w x w 32-bit image (PNG when asked); its first pixel has alpha 0x80 and no
// AND bit, so its alpha tells whether the image's own alpha was kept.
Bytes IconFile(int w, bool png = false) {
    CKvIcon icon;
    EXPECT_EQ(icon.SetFormat(w, w, 0, true), 1);
    IconImageLayout l;
    EXPECT_TRUE(icon.GetLayout(l));
    icon.GetBlock().data()[l.pixelOffset + 3] = 0x80;
    icon.SetCompressed(png);
    return format_test::IconFileOf({icon});
}

Bytes Icon(int w) { return Chunk("icon", IconFile(w)); }

// Frames 0, 1, 2 are 1, 2 and 3 pixels wide, so a step's width names its frame.
Bytes ThreeFrames() { return List("fram", {Icon(1), Icon(2), Icon(3)}); }

// Each step as "width@rate".
std::string Steps(const std::vector<CAniObject>& steps) {
    std::string out;
    for (const CAniObject& s : steps) {
        if (!out.empty()) out += ' ';
        out += std::to_string(s.width) + '@' + std::to_string(s.rate);
    }
    return out;
}

std::vector<CAniObject> Read(const Bytes& file, AniReadStatus expected = AniReadStatus::Ok) {
    std::vector<CAniObject> steps;
    EXPECT_EQ(ReadAniSteps(file, steps), expected);
    return steps;
}

// --- Headers, tables and the chunk walk ---------------------------------------------------

// Every file either reads to its frames and steps or is refused, by the counting pass and by
// reading alike, however many frames or steps the header claims.
TEST(AniFile, EachFileGivesItsStepsOrIsRefused) {
    const Bytes frames = ThreeFrames(), good = Ani({Anih(3, 3), frames});
    Bytes notAcon = good;
    notAcon[11] = 'X';
    const Bytes seq = Table("seq ", {2, 0, 2, 9, 2, 1, 1});
    Bytes cutFrame = Ani({Anih(1, 1), List("fram", {Icon(4)})});
    StoreU32(cutFrame.data() + cutFrame.size() - IconFile(4).size() - 4, 0x7FFFFFFF);
    Bytes overList = Ani({List("INFO", {Chunk("IART", Bytes(8, 'A'))}), Anih(3, 3), frames});
    StoreU32(overList.data() + 12 + 8 + 4 + 4, 9);
    struct Case {
        const char* name;
        Bytes file;
        std::uint32_t frames;  // counted; 0 when the file is refused
        std::string steps;     // as Steps() gives them
    };
    const Case cases[] = {
        {"three frames and steps", good, 3, "1@10 2@10 3@10"},
        {"no frames", Ani({Anih(0, 3), frames}), 0, ""},
        {"frames that are not icon files", Ani({Anih(3, 3, 10, 2), frames}), 0, ""},
        {"no steps: nothing to show", Ani({Anih(3, 0), frames}), 0, ""},
        {"no header", Ani({frames}), 0, ""},
        {"two headers", Ani({Anih(3, 3), Anih(3, 3), frames}), 0, ""},
        {"not ACON", notAcon, 0, ""},
        {"frames and steps at their caps", Ani({Anih(kMaxAniFrames, kMaxAniSteps), frames}), 3, "1@10 2@10 3@10"},
        {"frames past the cap", Ani({Anih(kMaxAniFrames + 1, 3), frames}), 0, ""},
        {"steps past the cap", Ani({Anih(3, kMaxAniSteps + 1), frames}), 0, ""},
        {"billions of frames and steps", Ani({Anih(0xFFFFFFFF, 0xFFFFFFFF), frames}), 0, ""},
        // Without tables step n shows frame n at the header's rate; steps past the frames are skipped.
        {"steps past the frames", Ani({Anih(3, 5, 7), frames}), 3, "1@7 2@7 3@7"},
        // Rates keep their low 16 bits (0x12345 gives 0x2345); a short table leaves the last
        // steps at the header's rate.
        {"rate table", Ani({Anih(3, 3, 7), Table("rate", {65536 + 5, 0x12345}), frames}), 3, "1@5 2@9029 3@7"},
        // A sequence may show a frame many times, point past the frames (skipped), be longer than
        // the steps (the rest ignored), and come before or after the frames.
        {"sequence before the frames", Ani({Anih(3, 6), seq, frames}), 3, "3@10 1@10 3@10 3@10 2@10"},
        {"sequence after the frames", Ani({Anih(3, 6), frames, seq}), 3, "3@10 1@10 3@10 3@10 2@10"},
        {"short sequence: later steps on their own frames", Ani({Anih(3, 3), Table("seq ", {2}), frames}), 3,
         "3@10 2@10 3@10"},
        {"tables before the header are skipped",
         Ani({Table("rate", {1, 1, 1}), Table("seq ", {2, 2, 2}), Anih(3, 3, 7), frames}), 3, "1@7 2@7 3@7"},
        {"frames past the frame count are not read", Ani({Anih(2, 3), frames}), 2, "1@10 2@10"},
        {"every step past the frames", Ani({Anih(3, 2), Table("seq ", {5, 6}), frames}), 0, ""},
        // The end of the input inside a chunk header ends the file; inside chunk data it refuses it.
        {"chunk header cut by the end", Cat({good, Bytes{'j', 'u', 'n', 'k', 9}}), 3, "1@10 2@10 3@10"},
        {"chunk data cut by the end", Bytes(good.begin(), good.end() - 2), 0, ""},
        {"chunk larger than the file", Cat({good, Bytes{'j', 'u', 'n', 'k', 0xFF, 0xFF, 0xFF, 0xFF}}), 0, ""},
        {"frame running past the end", cutFrame, 0, ""},
        {"title of 81 bytes", Ani({List("INFO", {Chunk("INAM", Bytes(81, 'T'))}), Anih(3, 3), frames}), 0, ""},
        {"text larger than what is left of its list", overList, 0, ""},
        // Found by the fuzzer: a list that claims more than the file holds, with a text running
        // past the end; refused without reading past the input.
        {"list and text past the end",
         {'R', 'I', 'F', 'F', 0xDC, 0xFF, 0xFF, 0x00, 'A', 'C', 'O', 'N', 'L', 'I', 'S', 'T', 0x0F, 0, 0, 0, 'I', 'N',
          'F', 'O', 'I', 'N', 'A', 'M', 4, 0, 0, 0, 0x04, 0xA5, 0xA5},
         0, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(CountAniFrames(c.file), c.frames);
        EXPECT_EQ(Steps(Read(c.file, c.frames == 0 ? AniReadStatus::NotReadable : AniReadStatus::Ok)), c.steps);
    }
}

// Title and author come from the INFO list, up to 80 bytes; odd sizes are padded at the top level,
// in lists and for frames, and unknown chunks, lists and sub-chunks are skipped on the way.
TEST(AniFile, InfoTextsAreReadAmongSkippedAndPaddedChunks) {
    Bytes oddFrame = IconFile(2);
    oddFrame.push_back(0xEE);
    AniFileInfo info;
    std::vector<CAniObject> steps;
    ASSERT_EQ(ReadAniSteps(Ani({Chunk("junk", {1, 2, 3}), List("INFO", {Chunk("INAM", {'a', 'b', 'c'}),
                                                                   Chunk("IART", {'x', 0, 'y'})}),
                               Anih(2, 2), List("othr", {Icon(5)}),
                               List("fram", {Chunk("icon", oddFrame), Chunk("junk", {9}), Icon(3)})}),
                           steps, &info),
              AniReadStatus::Ok);
    // The author up to its first zero byte.
    EXPECT_EQ(std::tuple(Steps(steps), info.frameCount, info.title, info.author),
              std::tuple("2@10 3@10", 2u, "abc", "x"));

    // In UTF-8 without the spaces around it: bytes that are not well-formed UTF-8 (a stray or
    // missing continuation, an overlong form, a surrogate, past U+10FFFF) are Latin-1.
    for (const auto& [stored, read] : std::vector<std::pair<std::string, std::string>>{
             {std::string(80, 'T'), std::string(80, 'T')},
             {" \xA9 Someone\t\r\n", "\u00A9 Someone"},
             {"Zo\xC3\xAB \xF0\x9F\x98\x80", "Zo\u00EB \U0001F600"},
             {"\x80", "\u0080"},
             {"\xC3", "\u00C3"},
             {"\xC3(", "\u00C3("},
             {"\xC1\xA9", "\u00C1\u00A9"},
             {"\xED\xA0\x80", "\u00ED\u00A0\u0080"},
             {"\xF4\x90\x80\x80", "\u00F4\u0090\u0080\u0080"},
             {"   ", ""}}) {
        const Bytes title(stored.begin(), stored.end());
        ASSERT_EQ(ReadAniSteps(Ani({List("INFO", {Chunk("INAM", title)}), Anih(3, 3), ThreeFrames()}), steps, &info),
                  AniReadStatus::Ok);
        EXPECT_EQ(info.title, read) << stored;
    }

    // Every step owns its picture, even when steps share a frame.
    steps = Read(Ani({Anih(3, 2), Table("seq ", {1, 1}), ThreeFrames()}));
    ASSERT_EQ(steps.size(), 2u);
    EXPECT_NE(steps[0].image.GetBlock().data(), steps[1].image.GetBlock().data());
    EXPECT_EQ(steps[0].image.GetBlock().bytes().size(), steps[1].image.GetBlock().bytes().size());
}

// --- Pictures -------------------------------------------------------------------------------

// The step of a one-frame file: its picture (colours, and alpha from the image or its mask),
// depth, size and hotspot (the 16-bit fields at 4 and 6 of the frame's first directory entry,
// which an icon file fills with planes and bit count).
TEST(AniFile, PicturesAlphaHotspotsAndBounds) {
    // A 4-bit cursor: colour 3 is red C0; top row pixels 0 and 1 are colour 3, pixel 0 masked.
    CKvIcon icon;
    ASSERT_EQ(icon.SetFormat(4, 2, 16, false), 1);
    IconImageLayout l;
    ASSERT_TRUE(icon.GetLayout(l));
    std::uint8_t* base = icon.GetBlock().data();
    base[l.tableOffset + 4 * 3 + 2] = 0xC0;
    base[l.pixelOffset + l.colorStride] = 0x33;
    base[l.maskOffset + l.maskStride] = 0x80;
    Bytes cursor = format_test::IconFileOf({icon});
    StoreU16(cursor.data() + 2, 2);
    StoreU16(cursor.data() + 6 + 4, 3);
    StoreU16(cursor.data() + 6 + 6, 1);
    // A 32-bit image whose planes make planes x bits 64.
    Bytes planes2 = IconFile(3);
    StoreU16(planes2.data() + LoadU32(planes2.data() + 6 + 12) + 12, 2);
    // The cursor's image, then a second image whose data lies past the end: not an icon file, but
    // only a frame's first image is read.
    CKvIcon small;
    ASSERT_EQ(small.SetFormat(2, 2, 0, false), 1);
    Bytes damaged = format_test::IconFileOf({icon, small});
    StoreU32(damaged.data() + 6 + 16 + 12, 0xFFFFFF00);
    CIconDoc check;
    EXPECT_FALSE(ReadIconFile(damaged, check));

    using Px = format_test::Rgba;
    struct Case {
        const char* name;
        Bytes frame;
        std::uint32_t bitDepth, width, height, hotspotX, hotspotY;
        std::vector<std::pair<std::pair<int, int>, Px>> pixels;  // (x, y from the top): expected
    };
    const Case cases[] = {
        {"32-bit image keeps its alpha", IconFile(5), 32, 5, 5, 1, 32, {{{0, 4}, {0, 0, 0, 0x80}}, {{1, 4}, {}}}},
        {"PNG image keeps its alpha", IconFile(5, true), 32, 5, 5, 1, 32, {{{0, 4}, {0, 0, 0, 0x80}}, {{1, 4}, {}}}},
        {"4-bit cursor", cursor, 4, 4, 2, 3, 1, {{{0, 0}, {0xC0, 0, 0, 0}}, {{1, 0}, {0xC0, 0, 0, 255}}}},
        {"planes x bits 64 takes alpha from the mask", planes2, 64, 3, 3, 1, 32, {{{0, 2}, {0, 0, 0, 255}}}},
        {"damage past the first image", damaged, 4, 4, 2, 1, 4,
         {{{0, 0}, {0xC0, 0, 0, 0}}, {{1, 0}, {0xC0, 0, 0, 255}}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::vector<CAniObject> steps = Read(Ani({Anih(1, 1), List("fram", {Chunk("icon", c.frame)})}));
        ASSERT_EQ(steps.size(), 1u);
        const CAniObject& s = steps[0];
        EXPECT_EQ(std::tuple(s.bitDepth, s.width, s.height, s.hotspotX, s.hotspotY),
                  std::tuple(c.bitDepth, c.width, c.height, c.hotspotX, c.hotspotY));
        EXPECT_EQ(std::tuple(s.image.BitCount(), s.image.Width(), s.image.Height()),
                  std::tuple(32, static_cast<int>(c.width), static_cast<int>(c.height)));
        const std::vector<Px> picture = format_test::PictureOf(s.image.GetBlock());
        for (const auto& [at, rgba] : c.pixels)
            EXPECT_EQ(picture[at.second * c.width + at.first], rgba) << at.first << "," << at.second;
    }

    // A frame whose first image is damaged refuses the file.
    StoreU32(damaged.data() + 6 + 12, 0xFFFFFF00);
    EXPECT_TRUE(Read(Ani({Anih(1, 1), List("fram", {Chunk("icon", damaged)})}), AniReadStatus::NotReadable).empty());

    // Decoded pictures are bounded: one small PNG frame of 512 x 512 (1 MiB decoded) shown by many
    // steps is refused as soon as the frame is decoded, before the steps' copies are made.
    const Bytes frame = List("fram", {Chunk("icon", IconFile(512, true))});
    ASSERT_LT(frame.size(), 64u * 1024);
    const std::uint32_t over = kMaxAniDecodedBytes / (512 * 512 * 4) + 1;
    EXPECT_EQ(Read(Ani({Anih(1, 2), Table("seq ", {0, 0}), frame})).size(), 2u);
    EXPECT_EQ(CountAniFrames(Ani({Anih(1, over), Table("seq ", std::vector<std::uint32_t>(over, 0)), frame})), 1u);
    Read(Ani({Anih(1, over), Table("seq ", std::vector<std::uint32_t>(over, 0)), frame}), AniReadStatus::NotReadable);
}

}  // namespace
}  // namespace tellurine
