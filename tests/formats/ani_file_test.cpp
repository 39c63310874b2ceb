#include "formats/ani_file.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <initializer_list>
#include <string>
#include <vector>

#include "formats/ico_file.h"
#include "image/bytes.h"
#include "image/dib_block.h"

namespace tellurine {
namespace {

using Bytes = std::vector<std::uint8_t>;

// --- A small writer of animated cursors ---------------------------------------------------

void PutU32(Bytes& out, std::uint32_t v) {
    out.resize(out.size() + 4);
    StoreU32(out.data() + out.size() - 4, v);
}

Bytes Chunk(const char* id, const Bytes& data, bool pad = true) {
    Bytes out(id, id + 4);
    PutU32(out, static_cast<std::uint32_t>(data.size()));
    out.insert(out.end(), data.begin(), data.end());
    if (pad && (data.size() & 1) != 0) out.push_back(0);
    return out;
}

Bytes Cat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

Bytes Ani(std::initializer_list<Bytes> chunks) {
    const Bytes body = Cat(chunks);
    Bytes out{'R', 'I', 'F', 'F'};
    PutU32(out, static_cast<std::uint32_t>(body.size() + 4));
    out.insert(out.end(), {'A', 'C', 'O', 'N'});
    out.insert(out.end(), body.begin(), body.end());
    return out;
}

Bytes Anih(std::uint32_t frames, std::uint32_t steps, std::uint32_t rate = 10, std::uint32_t flags = 1) {
    Bytes out;
    for (const std::uint32_t v : {36u, frames, steps, 0u, 0u, 0u, 0u, rate, flags}) PutU32(out, v);
    return Chunk("anih", out);
}

Bytes Table(const char* id, std::vector<std::uint32_t> values) {
    Bytes out;
    for (const std::uint32_t v : values) PutU32(out, v);
    return Chunk(id, out);
}

Bytes List(const char* type, std::initializer_list<Bytes> subChunks) {
    return Chunk("LIST", Cat({Bytes(type, type + 4), Cat(subChunks)}));
}

// An icon file of one w x w 32-bit image (PNG when asked); its first pixel has alpha 0x80 and no
// AND bit, so its alpha tells whether the image's own alpha was kept.
Bytes IconFile(int w, bool png = false) {
    CKvIcon icon;
    EXPECT_EQ(icon.SetFormat(w, w, 0, true), 1);
    IconImageLayout l;
    EXPECT_TRUE(icon.GetLayout(l));
    icon.GetBlock().data()[l.pixelOffset + 3] = 0x80;
    icon.SetCompressed(png);
    CIconDoc doc;
    doc.AddFormat(std::move(icon));
    Bytes out;
    EXPECT_TRUE(WriteIconFile(doc, false, out));
    return out;
}

Bytes Icon(int w) { return Chunk("icon", IconFile(w)); }

// Frames 0, 1, 2 are 1, 2 and 3 pixels wide, so a step's width names its frame.
Bytes ThreeFrames() { return List("fram", {Icon(1), Icon(2), Icon(3)}); }

std::vector<std::uint32_t> Widths(const std::vector<CAniObject>& steps) {
    std::vector<std::uint32_t> out;
    for (const CAniObject& s : steps) out.push_back(s.width);
    return out;
}

std::vector<CAniObject> Read(const Bytes& file, AniReadStatus expected = AniReadStatus::Ok) {
    std::vector<CAniObject> steps;
    EXPECT_EQ(ReadAniSteps(file, steps), expected);
    return steps;
}

void ExpectRefused(const Bytes& file) {
    EXPECT_EQ(CountAniFrames(file), 0u);
    EXPECT_TRUE(Read(file, AniReadStatus::NotReadable).empty());
}

// Blue, green, red, alpha of picture pixel (x, y), y from the top.
std::array<std::uint8_t, 4> Pixel(const CDIB& image, int x, int y) {
    const auto l = GetDibLayout(image.GetBlock());
    const std::uint8_t* p = image.GetBlock().data() + l->RowOffset(l->height - 1 - y) + 4 * x;
    return {p[0], p[1], p[2], p[3]};
}

// --- The header ----------------------------------------------------------------------------

TEST(AniFile, HeaderIsValidatedAndCountsAreCapped) {
    EXPECT_EQ(CountAniFrames(Ani({Anih(3, 3), ThreeFrames()})), 3u);
    ExpectRefused(Ani({Anih(0, 3), ThreeFrames()}));
    ExpectRefused(Ani({Anih(3, 3, 10, 2), ThreeFrames()}));  // frames are not icon files
    ExpectRefused(Ani({Anih(3, 0), ThreeFrames()}));         // nothing to show
    ExpectRefused(Ani({ThreeFrames()}));                     // no header
    ExpectRefused(Ani({Anih(3, 3), Anih(3, 3), ThreeFrames()}));
    Bytes notAcon = Ani({Anih(3, 3), ThreeFrames()});
    notAcon[11] = 'X';
    ExpectRefused(notAcon);

    // At the caps the file reads; past them (or billions of steps) it is refused at once.
    EXPECT_EQ(Read(Ani({Anih(kMaxAniFrames, kMaxAniSteps), ThreeFrames()})).size(), 3u);
    const auto start = std::chrono::steady_clock::now();
    ExpectRefused(Ani({Anih(kMaxAniFrames + 1, 3), ThreeFrames()}));
    ExpectRefused(Ani({Anih(3, kMaxAniSteps + 1), ThreeFrames()}));
    ExpectRefused(Ani({Anih(0xFFFFFFFF, 0xFFFFFFFF), ThreeFrames()}));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

// --- Steps, rates and the sequence ------------------------------------------------------------

TEST(AniFile, StepsTakeDefaultsAndTables) {
    // Without tables step n shows frame n at the header's rate; steps past the frames are skipped.
    std::vector<CAniObject> steps = Read(Ani({Anih(3, 5, 7), ThreeFrames()}));
    EXPECT_EQ(Widths(steps), (std::vector<std::uint32_t>{1, 2, 3}));
    for (const CAniObject& s : steps) EXPECT_EQ(s.rate, 7u);

    // Rates keep their low 16 bits; a short table leaves the last steps at the default.
    steps = Read(Ani({Anih(3, 3, 7), Table("rate", {65536 + 5, 0x12345}), ThreeFrames()}));
    ASSERT_EQ(steps.size(), 3u);
    EXPECT_EQ(steps[0].rate, 5u);
    EXPECT_EQ(steps[1].rate, 0x2345u);
    EXPECT_EQ(steps[2].rate, 7u);

    // A sequence may show a frame many times, point past the frames (skipped), be longer than
    // the steps (the rest ignored), and come after the frames.
    const Bytes seq = Table("seq ", {2, 0, 2, 9, 2, 1, 1});
    EXPECT_EQ(Widths(Read(Ani({Anih(3, 6), seq, ThreeFrames()}))), (std::vector<std::uint32_t>{3, 1, 3, 3, 2}));
    EXPECT_EQ(Widths(Read(Ani({Anih(3, 6), ThreeFrames(), seq}))), (std::vector<std::uint32_t>{3, 1, 3, 3, 2}));
    // A short sequence leaves the later steps on their own frames.
    EXPECT_EQ(Widths(Read(Ani({Anih(3, 3), Table("seq ", {2}), ThreeFrames()}))),
              (std::vector<std::uint32_t>{3, 2, 3}));

    // Every step owns its picture, even when steps share a frame.
    steps = Read(Ani({Anih(3, 2), Table("seq ", {1, 1}), ThreeFrames()}));
    ASSERT_EQ(steps.size(), 2u);
    EXPECT_NE(steps[0].image.GetBlock().data(), steps[1].image.GetBlock().data());
    EXPECT_EQ(steps[0].image.GetBlock().bytes().size(), steps[1].image.GetBlock().bytes().size());

    // Tables before the header are skipped; frames past the frame count are not read; a file
    // whose steps all point past the frames has nothing to show.
    steps = Read(Ani({Table("rate", {1, 1, 1}), Table("seq ", {2, 2, 2}), Anih(3, 3, 7), ThreeFrames()}));
    EXPECT_EQ(Widths(steps), (std::vector<std::uint32_t>{1, 2, 3}));
    EXPECT_EQ(steps[0].rate, 7u);
    EXPECT_EQ(CountAniFrames(Ani({Anih(2, 3), ThreeFrames()})), 2u);
    ExpectRefused(Ani({Anih(3, 2), Table("seq ", {5, 6}), ThreeFrames()}));
}

// --- The chunk walk -------------------------------------------------------------------------

TEST(AniFile, ChunkWalkPadsSkipsAndStopsAtTheEnd) {
    // Odd sizes are padded at the top level, in lists and for frames; unknown chunks, lists and
    // sub-chunks are skipped.
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
    EXPECT_EQ(Widths(steps), (std::vector<std::uint32_t>{2, 3}));
    EXPECT_EQ(info.frameCount, 2u);
    EXPECT_EQ(info.title, "abc");
    EXPECT_EQ(info.author, "x");

    // The end of the input inside a chunk header ends the file; inside chunk data it refuses it.
    const Bytes good = Ani({Anih(3, 3), ThreeFrames()});
    EXPECT_EQ(Read(Cat({good, Bytes{'j', 'u', 'n', 'k', 9}})).size(), 3u);
    ExpectRefused(Bytes(good.begin(), good.end() - 2));
    Bytes hugeChunk = Cat({good, Bytes{'j', 'u', 'n', 'k'}});
    PutU32(hugeChunk, 0xFFFFFFFF);
    ExpectRefused(hugeChunk);
    // A frame that runs past the end is refused too.
    Bytes cutFrame = Ani({Anih(1, 1), List("fram", {Icon(4)})});
    StoreU32(cutFrame.data() + cutFrame.size() - IconFile(4).size() - 4, 0x7FFFFFFF);
    ExpectRefused(cutFrame);
}

TEST(AniFile, InfoTextsAreLimitedTo80Bytes) {
    const auto withTitle = [](std::size_t n) {
        return Ani({List("INFO", {Chunk("INAM", Bytes(n, 'T'))}), Anih(3, 3), ThreeFrames()});
    };
    AniFileInfo info;
    std::vector<CAniObject> steps;
    EXPECT_EQ(ReadAniSteps(withTitle(80), steps, &info), AniReadStatus::Ok);
    EXPECT_EQ(info.title, std::string(80, 'T'));
    ExpectRefused(withTitle(81));
    // A text larger than what is left of its list is refused.
    Bytes overList = Ani({List("INFO", {Chunk("IART", Bytes(8, 'A'))}), Anih(3, 3), ThreeFrames()});
    StoreU32(overList.data() + 12 + 8 + 4 + 4, 9);
    ExpectRefused(overList);
    // A list that claims more than the file holds, with a text running past the end (found by the
    // fuzzer): refused without reading past the input.
    const Bytes cut = {'R', 'I', 'F', 'F', 0xDC, 0xFF, 0xFF, 0x00, 'A', 'C', 'O', 'N', 'L', 'I', 'S', 'T', 0x0F, 0, 0, 0,
                       'I', 'N', 'F', 'O', 'I', 'N', 'A', 'M', 4, 0, 0, 0, 0x04, 0xA5, 0xA5};
    ExpectRefused(cut);
    EXPECT_EQ(CountAniFrames(cut), 0u);
}

// --- Pictures -------------------------------------------------------------------------------

TEST(AniFile, PicturesAlphaAndHotspots) {
    // A 32-bit frame keeps its own alpha; a PNG frame too, at its own size.
    for (const bool png : {false, true}) {
        const std::vector<CAniObject> steps =
            Read(Ani({Anih(1, 1), List("fram", {Chunk("icon", IconFile(5, png))})}));
        ASSERT_EQ(steps.size(), 1u);
        EXPECT_EQ(steps[0].bitDepth, 32u);
        EXPECT_EQ(steps[0].image.BitCount(), 32);
        EXPECT_EQ(steps[0].image.Width(), 5);
        EXPECT_EQ(steps[0].image.Height(), 5);
        EXPECT_EQ(Pixel(steps[0].image, 0, 4)[3], 0x80);
        EXPECT_EQ(Pixel(steps[0].image, 1, 4)[3], 0);
    }

    // A 4-bit cursor: colours through its table, alpha from its mask, hotspot from its entry.
    CKvIcon icon;
    ASSERT_EQ(icon.SetFormat(4, 2, 16, false), 1);
    IconImageLayout l;
    ASSERT_TRUE(icon.GetLayout(l));
    std::uint8_t* base = icon.GetBlock().data();
    base[l.tableOffset + 4 * 3 + 2] = 0xC0;  // colour 3 is red C0
    base[l.pixelOffset + l.colorStride] = 0x33;  // top row, pixels 0 and 1
    base[l.maskOffset + l.maskStride] = 0x80;    // top row, pixel 0 transparent
    CIconDoc doc;
    doc.AddFormat(std::move(icon));
    Bytes cursor;
    ASSERT_TRUE(WriteIconFile(doc, false, cursor));
    StoreU16(cursor.data() + 2, 2);
    StoreU16(cursor.data() + 6 + 4, 3);
    StoreU16(cursor.data() + 6 + 6, 1);
    std::vector<CAniObject> steps = Read(Ani({Anih(1, 1), List("fram", {Chunk("icon", cursor)})}));
    ASSERT_EQ(steps.size(), 1u);
    EXPECT_EQ(steps[0].bitDepth, 4u);
    EXPECT_EQ(steps[0].height, 2u);
    EXPECT_EQ(steps[0].hotspotX, 3u);
    EXPECT_EQ(steps[0].hotspotY, 1u);
    EXPECT_EQ(Pixel(steps[0].image, 0, 0), (std::array<std::uint8_t, 4>{0, 0, 0xC0, 0}));
    EXPECT_EQ(Pixel(steps[0].image, 1, 0), (std::array<std::uint8_t, 4>{0, 0, 0xC0, 255}));

    // A 32-bit image whose planes make planes x bits 64 takes its alpha from the mask.
    Bytes planes2 = IconFile(3);
    StoreU16(planes2.data() + LoadU32(planes2.data() + 6 + 12) + 12, 2);
    steps = Read(Ani({Anih(1, 1), List("fram", {Chunk("icon", planes2)})}));
    ASSERT_EQ(steps.size(), 1u);
    EXPECT_EQ(steps[0].bitDepth, 64u);
    EXPECT_EQ(Pixel(steps[0].image, 0, 2)[3], 255);

    // Only the first image of a frame is read: damage in the second does not matter.
    CIconDoc two;
    two.AddFormat(CKvIcon(doc.GetFormat(0)->Icon()));
    CKvIcon small;
    ASSERT_EQ(small.SetFormat(2, 2, 0, false), 1);
    two.AddFormat(std::move(small));
    Bytes damaged;
    ASSERT_TRUE(WriteIconFile(two, false, damaged));
    StoreU32(damaged.data() + 6 + 16 + 12, 0xFFFFFF00);
    CIconDoc check;
    EXPECT_FALSE(ReadIconFile(damaged, check));
    EXPECT_EQ(Read(Ani({Anih(1, 1), List("fram", {Chunk("icon", damaged)})})).size(), 1u);
    // A frame whose first image is damaged refuses the file.
    StoreU32(damaged.data() + 6 + 12, 0xFFFFFF00);
    EXPECT_EQ(Read(Ani({Anih(1, 1), List("fram", {Chunk("icon", damaged)})}), AniReadStatus::NotReadable).size(),
              0u);
}

TEST(AniFile, DecodedPicturesAreBounded) {
    // One small PNG frame of 512 x 512 (1 MiB decoded) shown by many steps: refused as soon as
    // the frame is decoded, before the steps' copies are made.
    const Bytes frame = List("fram", {Chunk("icon", IconFile(512, true))});
    ASSERT_LT(frame.size(), 64u * 1024);
    const std::uint32_t over = kMaxAniDecodedBytes / (512 * 512 * 4) + 1;
    EXPECT_EQ(Read(Ani({Anih(1, 2), Table("seq ", {0, 0}), frame})).size(), 2u);
    EXPECT_EQ(CountAniFrames(Ani({Anih(1, over), Table("seq ", std::vector<std::uint32_t>(over, 0)), frame})), 1u);
    Read(Ani({Anih(1, over), Table("seq ", std::vector<std::uint32_t>(over, 0)), frame}), AniReadStatus::NotReadable);
}

}  // namespace
}  // namespace tellurine
