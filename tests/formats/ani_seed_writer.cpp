// Writes the small seed files of the animated-cursor fuzz target. Runs only when asked:
//   TELLURINE_ANI_SEED_DIR=fuzz/seeds/ani_reader build/.../tests_formats --gtest_filter='AniSeeds.*'
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <string>
#include <vector>

#include "formats/ani_file.h"
#include "formats/ico_file.h"
#include "image/bytes.h"

namespace tellurine {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes Chunk(const std::string& id, const Bytes& data) {
    Bytes out(id.begin(), id.end());
    out.resize(8);
    StoreU32(out.data() + 4, static_cast<std::uint32_t>(data.size()));
    out.insert(out.end(), data.begin(), data.end());
    if ((data.size() & 1) != 0) out.push_back(0);
    return out;
}

Bytes Cat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

Bytes Words(std::initializer_list<std::uint32_t> values) {
    Bytes out(values.size() * 4);
    std::size_t i = 0;
    for (const std::uint32_t v : values) StoreU32(out.data() + 4 * i++, v);
    return out;
}

Bytes Ani(std::initializer_list<Bytes> chunks) {
    const Bytes body = Cat(chunks);
    Bytes out = Cat({Bytes{'R', 'I', 'F', 'F'}, Words({static_cast<std::uint32_t>(body.size() + 4)}),
                     Bytes{'A', 'C', 'O', 'N'}, body});
    return out;
}

Bytes Anih(std::uint32_t frames, std::uint32_t steps, std::uint32_t rate) {
    return Chunk("anih", Words({36, frames, steps, 0, 0, 0, 0, rate, 1}));
}

Bytes List(const std::string& type, std::initializer_list<Bytes> subChunks) {
    return Chunk("LIST", Cat({Bytes(type.begin(), type.end()), Cat(subChunks)}));
}

// An icon file of one image with varied pixels and mask; a cursor with hotspot (1, 2) when asked.
Bytes Frame(int size, std::uint32_t colors, bool alpha, bool png, bool cursor = false) {
    CKvIcon icon;
    EXPECT_EQ(icon.SetFormat(size, size, colors, alpha), 1);
    IconImageLayout l;
    EXPECT_TRUE(icon.GetLayout(l));
    std::uint8_t* base = icon.GetBlock().data();
    for (std::size_t i = l.tableOffset; i < l.maskOffset; ++i) base[i] = static_cast<std::uint8_t>(i * 29 + 3);
    for (std::size_t i = l.maskOffset; i < l.blockSize; ++i) base[i] = i % 2 == 0 ? 0xA5 : 0;
    icon.SetCompressed(png);
    CIconDoc doc;
    doc.AddFormat(std::move(icon));
    Bytes out;
    EXPECT_TRUE(WriteIconFile(doc, false, out));
    if (cursor) {
        StoreU16(out.data() + 2, 2);
        StoreU16(out.data() + 6 + 4, 1);
        StoreU16(out.data() + 6 + 6, 2);
    }
    return out;
}

void Save(const std::filesystem::path& path, const Bytes& bytes) {
    ASSERT_LT(bytes.size(), 4096u) << path;
    ASSERT_GT(CountAniFrames(bytes), 0u) << path;
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()),
                                                static_cast<std::streamsize>(bytes.size()));
}

TEST(AniSeeds, WriteWhenAsked) {
    const char* dir = std::getenv("TELLURINE_ANI_SEED_DIR");
    if (dir == nullptr) GTEST_SKIP() << "set TELLURINE_ANI_SEED_DIR to write the seeds";
    const std::filesystem::path out(dir);
    std::filesystem::create_directories(out);

    // Two frames, rates and a sequence that repeats a frame and points past the frames, titles.
    Save(out / "tables.ani",
         Ani({List("INFO", {Chunk("INAM", {'s', 'e', 'e', 'd', 0}), Chunk("IART", {'t', 0})}), Anih(2, 5, 6),
              Chunk("rate", Words({1, 65541, 3, 4, 5})), Chunk("seq ", Words({1, 0, 1, 7, 0})),
              List("fram", {Chunk("icon", Frame(8, 16, false, false, true)), Chunk("icon", Frame(6, 2, false, false))})}));
    // Defaults only; a 32-bit frame and an 8-bit one.
    Save(out / "defaults.ani",
         Ani({Anih(2, 2, 10), List("fram", {Chunk("icon", Frame(4, 0, true, false)),
                                            Chunk("icon", Frame(4, 256, false, false))})}));
    // A PNG cursor frame, the sequence after the frames, an unknown odd-sized chunk.
    Save(out / "png_seq_after.ani",
         Ani({Chunk("odd ", {1, 2, 3}), Anih(1, 3, 2), List("fram", {Chunk("icon", Frame(12, 0, true, true, true))}),
              Chunk("seq ", Words({0, 0, 0}))}));
    // A 24-bit frame and a file that ends inside a chunk header.
    Bytes cut = Ani({Anih(1, 1, 1), List("fram", {Chunk("icon", Frame(3, 0, false, false))})});
    cut.insert(cut.end(), {'j', 'u', 'n'});
    Save(out / "cut_header.ani", cut);
}

}  // namespace
}  // namespace tellurine
