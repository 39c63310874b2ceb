#include "formats/image_header.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "formats/format_test_support.h"
#include "png_test_writer.h"
#include "icon/kv_icon.h"
#include "image/bytes.h"

namespace tellurine {
namespace {

using Bytes = std::vector<std::uint8_t>;

// An image in bitmap form as an icon resource holds it, with varied contents.
Bytes Bitmap(int width, int height, std::uint32_t colors, bool alpha) {
    return format_test::ImageBytes(format_test::MakeIcon(width, height, colors, alpha, 1));
}

// A plain 8-bit RGBA PNG stream of a w x h picture.
Bytes RgbaPng(int width, int height) {
    return format_test::ImageBytes(format_test::MakeIcon(width, height, 0, true, 2, true));
}

// The first IDAT chunk's data: its offset in the stream and its length.
std::pair<std::size_t, std::size_t> IdatOf(const Bytes& png) {
    for (std::size_t pos = 8; pos + 12 <= png.size();) {
        const std::size_t length = LoadBE32(png.data() + pos);
        if (std::string(png.begin() + static_cast<std::ptrdiff_t>(pos + 4),
                        png.begin() + static_cast<std::ptrdiff_t>(pos + 8)) == "IDAT")
            return {pos + 8, length};
        pos += length + 12;
    }
    return {0, 0};
}

// The stream with one byte of its compressed data changed, the chunk's CRC made right again (so
// that only inflating it can tell), or left wrong.
Bytes DamagedIdat(Bytes png, std::size_t within, bool fixCrc) {
    const auto [at, length] = IdatOf(png);
    png[at + within] ^= 0x5A;
    if (fixCrc) StoreBE32(png.data() + at + length, png_test::Crc32(png.data() + at - 4, length + 4));
    return png;
}

Bytes Cut(Bytes bytes, std::size_t size) {
    bytes.resize(size);
    return bytes;
}

// A bitmap whose 40-byte header has one 32-bit field set to `value` (at `offset`), or whose
// header is made `size` bytes long (zeros after the first 40) with its size field saying so.
Bytes Patched(Bytes bitmap, std::size_t offset, std::uint32_t value) {
    StoreU32(bitmap.data() + offset, value);
    return bitmap;
}
Bytes LongerHeader(const Bytes& bitmap, std::uint32_t size) {
    Bytes out = bitmap;
    StoreU32(out.data(), size);
    out.insert(out.begin() + 40, size - 40, 0);
    return out;
}

TEST(ImageHeader, DescribesWhatReadingGives) {
    const Bytes rgba = RgbaPng(40, 24);
    const Bytes b4 = Bitmap(16, 16, 16, false);
    const Bytes b32 = Bitmap(33, 17, 0, true);
    // 1 x 1 pictures, whose single pixel is the same data whether interlaced or not.
    const Bytes grey = png_test::PngOf(1, 1, 0, {{0, 0, 0, 255}});
    struct Case {
        const char* what;
        Bytes data;
        bool readable;
    };
    const Case cases[] = {
        {"32-bit bitmap", b32, true},
        {"1-bit bitmap", Bitmap(48, 48, 2, false), true},
        {"4-bit bitmap", b4, true},
        {"8-bit bitmap", Bitmap(20, 10, 256, false), true},
        {"24-bit bitmap", Bitmap(7, 5, 0, false), true},
        {"4-bit with 3 colours used", Patched(b4, 32, 3), true},
        {"no colour count and 0 bits", Patched(Patched(b4, 32, 0), 12, 0x00000001), true},
        {"colours used past the data", Patched(b4, 32, 100000), false},
        {"33 bits (read as 24)", Patched(b32, 12, 0x00210001), true},
        {"40 bits", Patched(b32, 12, 0x00280001), true},
        {"16 bits", Patched(b32, 12, 0x00100001), true},
        {"odd doubled height", Patched(b4, 8, 33), true},
        {"height 1 (0 rows)", Patched(b4, 8, 1), false},
        {"negative height", Patched(b4, 8, static_cast<std::uint32_t>(-32)), false},
        {"width 0", Patched(b4, 4, 0), false},
        {"huge width", Patched(b4, 4, 0x7FFFFFFF), false},
        {"12-byte header", Patched(b4, 0, 12), false},
        {"108-byte header", LongerHeader(b32, 108), true},
        {"124-byte header", LongerHeader(b32, 124), true},
        {"124-byte header, mask cut", Cut(LongerHeader(b32, 124), LongerHeader(b32, 124).size() - 40), true},
        {"124-byte header, pixels cut", Cut(LongerHeader(b32, 124), 124 + 33 * 17 * 4 - 1), false},
        {"mask cut short", Cut(b4, b4.size() - 10), true},
        {"no mask at all", Cut(b4, 40 + 64 + 128), true},
        {"colour pixels cut short", Cut(b4, 40 + 64 + 127), false},
        {"header cut short", Cut(b4, 39), false},
        {"three bytes", Cut(b4, 3), false},
        {"nothing", {}, false},
        {"plain RGBA PNG", rgba, true},
        {"PNG cut short", Cut(rgba, rgba.size() - 1), false},
        {"PNG without its IEND", Cut(rgba, rgba.size() - 12), false},
        {"PNG signature only", Cut(rgba, 8), false},
        {"four bytes of signature", Cut(rgba, 4), false},
        {"PNG data damaged, CRC right", DamagedIdat(rgba, 2, true), false},
        {"PNG data damaged late, CRC right", DamagedIdat(rgba, IdatOf(rgba).second - 3, true), false},
        {"PNG data damaged, CRC wrong", DamagedIdat(rgba, IdatOf(rgba).second / 2, false), false},
        {"grey PNG", grey, true},
        {"RGB PNG", png_test::PngOf(1, 1, 2, {{10, 20, 30, 255}}), true},
        {"palette PNG", png_test::PngOf(1, 1, 3, {{200, 100, 50, 255}}), true},
        {"interlaced grey PNG", png_test::PngOf(1, 1, 0, {{0, 0, 0, 255}}, 1), true},
        {"grey PNG with damaged data", DamagedIdat(grey, 0, true), false},
        {"grey PNG cut short", Cut(grey, grey.size() - 20), false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CKvIcon icon;
        const bool read = icon.ReadImage(c.data, static_cast<std::uint32_t>(c.data.size()), 0) != 0;
        EXPECT_EQ(read, c.readable);
        const std::optional<StoredImageFormat> format = DescribeStoredImage(c.data);
        ASSERT_EQ(format.has_value(), read);
        if (!read) continue;
        EXPECT_EQ(*format, format_test::StoredFormatOf(icon));
        EXPECT_EQ(format->Bits(), icon.BitsPerPixel());
    }
}

}  // namespace
}  // namespace tellurine
