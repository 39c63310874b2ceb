// Writes the small seed files of the animated-cursor fuzz target. Runs only when asked:
//   TELLURINE_ANI_SEED_DIR=fuzz/seeds/ani_reader build/.../tests_formats --gtest_filter='AniSeeds.*'
#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "formats/ani_file.h"
#include "formats/ani_test_writer.h"
#include "formats/format_test_support.h"
#include "image/bytes.h"

namespace tellurine {
namespace {

using namespace ani_test;

// An icon file of one image with varied pixels and mask; a cursor with hotspot (1, 2) when asked.
Bytes Frame(int size, std::uint32_t colors, bool alpha, bool png, bool cursor = false) {
    Bytes out = format_test::IconFileOf({format_test::MakeIcon(size, size, colors, alpha, 1, png)});
    if (cursor) {
        StoreU16(out.data() + 2, 2);
        StoreU16(out.data() + 6 + 4, 1);
        StoreU16(out.data() + 6 + 6, 2);
    }
    return out;
}

void Save(const std::filesystem::path& path, const Bytes& bytes) {
    ASSERT_GT(CountAniFrames(bytes), 0u) << path;
    format_test::SaveSeed(path, bytes, 4096);
}

TEST(AniSeeds, WriteWhenAsked) {
    const std::filesystem::path out = format_test::SeedDir("TELLURINE_ANI_SEED_DIR");
    if (out.empty()) GTEST_SKIP() << "set TELLURINE_ANI_SEED_DIR to write the seeds";

    // Two frames, rates and a sequence that repeats a frame and points past the frames, titles.
    Save(out / "tables.ani",
         Ani({List("INFO", {Chunk("INAM", {'s', 'e', 'e', 'd', 0}), Chunk("IART", {'t', 0})}), Anih(2, 5, 6),
              Table("rate", {1, 65541, 3, 4, 5}), Table("seq ", {1, 0, 1, 7, 0}),
              List("fram",
                   {Chunk("icon", Frame(8, 16, false, false, true)), Chunk("icon", Frame(6, 2, false, false))})}));
    // Defaults only; a 32-bit frame and an 8-bit one.
    Save(out / "defaults.ani",
         Ani({Anih(2, 2),
              List("fram", {Chunk("icon", Frame(4, 0, true, false)), Chunk("icon", Frame(4, 256, false, false))})}));
    // A PNG cursor frame, the sequence after the frames, an unknown odd-sized chunk.
    Save(out / "png_seq_after.ani",
         Ani({Chunk("odd ", {1, 2, 3}), Anih(1, 3, 2), List("fram", {Chunk("icon", Frame(12, 0, true, true, true))}),
              Table("seq ", {0, 0, 0})}));
    // A 24-bit frame and a file that ends inside a chunk header.
    Bytes cut = Ani({Anih(1, 1, 1), List("fram", {Chunk("icon", Frame(3, 0, false, false))})});
    cut.insert(cut.end(), {'j', 'u', 'n'});
    Save(out / "cut_header.ani", cut);
}

}  // namespace
}  // namespace tellurine
