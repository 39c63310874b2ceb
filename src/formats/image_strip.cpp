#include "formats/image_strip.h"

#include <zlib.h>

#include <array>
#include <charconv>
#include <cstring>
#include <fstream>
#include <new>

#include "formats/image_file.h"
#include "icon/format_maker.h"
#include "image/bytes.h"
#include "image/dib.h"
#include "image/dib_block.h"
#include "image/file_io.h"
#include "imaging/codecs.h"
#include "imaging/resample.h"

namespace tellurine {
namespace {

// The text chunk's keyword; its text is the cell size, "16x16".
constexpr std::string_view kCellKeyword = "Tellurine strip cell";
constexpr std::size_t kSignatureSize = 8;

// The text of the cell chunk, when the stream has one before its pixel data. Chunks are walked
// by their lengths only as far as the stream reaches.
std::optional<std::string> FindCellText(std::span<const std::uint8_t> png) {
    std::size_t at = kSignatureSize;
    while (at + 12 <= png.size()) {
        const std::uint32_t length = LoadBE32(png.data() + at);
        if (length > png.size() - at - 12) return std::nullopt;
        const auto* type = png.data() + at + 4;
        const auto* data = type + 4;
        if (std::memcmp(type, "IDAT", 4) == 0 || std::memcmp(type, "IEND", 4) == 0) return std::nullopt;
        if (std::memcmp(type, "tEXt", 4) == 0 && length > kCellKeyword.size() &&
            std::memcmp(data, kCellKeyword.data(), kCellKeyword.size()) == 0 && data[kCellKeyword.size()] == 0) {
            const auto* text = reinterpret_cast<const char*>(data + kCellKeyword.size() + 1);
            return std::string(text, length - kCellKeyword.size() - 1);
        }
        at += std::size_t{length} + 12;
    }
    return std::nullopt;
}

// The stream with the cell chunk put after its header chunk (the first, 25 bytes from the start).
void InsertCellText(std::vector<std::uint8_t>& png, StripCell cell) {
    const std::string data = std::string(kCellKeyword) + '\0' + StripCellText(cell);
    std::vector<std::uint8_t> chunk(data.size() + 12);
    StoreBE32(chunk.data(), static_cast<std::uint32_t>(data.size()));
    std::memcpy(chunk.data() + 4, "tEXt", 4);
    std::memcpy(chunk.data() + 8, data.data(), data.size());
    const auto crc = crc32(0, chunk.data() + 4, static_cast<uInt>(data.size() + 4));
    StoreBE32(chunk.data() + 8 + data.size(), static_cast<std::uint32_t>(crc));
    constexpr std::size_t kAfterHeader = kSignatureSize + 12 + 13;
    png.insert(png.begin() + static_cast<std::ptrdiff_t>(kAfterHeader), chunk.begin(), chunk.end());
}

}  // namespace

std::optional<StripCell> GuessStripCell(std::int32_t width, std::int32_t height) {
    if (width <= 0 || height <= 0) return std::nullopt;
    if (width >= 2 * height && width % height == 0) return StripCell{height, height};
    if (height >= 2 * width && height % width == 0) return StripCell{width, width};
    return std::nullopt;
}

std::vector<StripCell> OfferedStripCells(std::int32_t width, std::int32_t height) {
    std::vector<StripCell> cells;
    const std::optional<StripCell> guess = GuessStripCell(width, height);
    if (!guess) return cells;
    for (std::int32_t side = guess->width; side >= 8 && cells.size() < 3; side /= 2) {
        const std::int64_t count = std::int64_t{width / side} * (height / side);
        if (width % side != 0 || height % side != 0 || count > kMaxStripCells) break;
        cells.push_back({side, side});
    }
    return cells;
}

std::string StripCellText(StripCell cell) { return std::to_string(cell.width) + "x" + std::to_string(cell.height); }

std::optional<StripCell> ParseStripCell(std::string_view text) {
    const std::size_t x = text.find_first_of("xX");
    if (x == std::string_view::npos) return std::nullopt;
    StripCell cell;
    const auto parse = [](std::string_view part, std::int32_t& value) {
        const auto [end, ec] = std::from_chars(part.data(), part.data() + part.size(), value);
        return ec == std::errc{} && end == part.data() + part.size() && value >= 1 && value <= kMaxDibDimension;
    };
    if (!parse(text.substr(0, x), cell.width) || !parse(text.substr(x + 1), cell.height)) return std::nullopt;
    return cell;
}

bool SplitStrip(const Block& picture32, StripCell cell, CIconDoc& doc, std::string& error) {
    doc.RemoveAll();
    const auto layout = GetDibLayout(picture32);
    if (!layout || layout->bitCount != 32) {
        error = "the strip is not a picture that can be read";
        return false;
    }
    if (cell.width < 1 || cell.height < 1 || cell.width > layout->width || cell.height > layout->height) {
        error = "a cell of " + StripCellText(cell) + " does not fit a picture of " +
                StripCellText({layout->width, layout->height});
        return false;
    }
    const std::int32_t columns = layout->width / cell.width, rows = layout->height / cell.height;
    if (std::int64_t{columns} * rows > kMaxStripCells) {
        error = "a cell of " + StripCellText(cell) + " would cut the picture into more than " +
                std::to_string(kMaxStripCells) + " pictures";
        return false;
    }
    try {
        for (std::int32_t row = 0; row < rows; ++row)
            for (std::int32_t column = 0; column < columns; ++column) {
                const std::int32_t left = column * cell.width, top = row * cell.height;
                const Block piece = CropDib(picture32, left, top, left + cell.width - 1, top + cell.height - 1);
                CKvIcon icon;
                if (piece.empty() || !FormatFromPicture(piece, 32, icon)) throw std::bad_alloc();
                doc.AddFormat(std::move(icon));
            }
    } catch (const std::bad_alloc&) {
        doc.RemoveAll();
        error = "there is not enough memory to cut the strip";
        return false;
    }
    return true;
}

Block JoinStrip(const CIconDoc& doc, std::vector<int>* leftOut) {
    if (doc.GetFormatCount() == 0) return {};
    const CKvIcon& first = doc.GetFormat(0)->Icon();
    const auto cellWidth = static_cast<std::int32_t>(first.Width()), cellHeight = static_cast<std::int32_t>(first.Height());
    std::vector<Block> pictures;
    for (int i = 0; i < doc.GetFormatCount(); ++i) {
        const CKvIcon& icon = doc.GetFormat(i)->Icon();
        if (static_cast<std::int32_t>(icon.Width()) != cellWidth || static_cast<std::int32_t>(icon.Height()) != cellHeight) {
            if (leftOut != nullptr) leftOut->push_back(i);
            continue;
        }
        pictures.push_back(icon.To32BitDib());
        if (pictures.back().empty()) return {};
    }
    if (std::int64_t{cellWidth} * static_cast<std::int64_t>(pictures.size()) > kMaxDibDimension) return {};
    Block strip = CreateDibBlock(cellWidth * static_cast<std::int32_t>(pictures.size()), cellHeight, 32);
    const auto layout = GetDibLayout(strip);
    if (!layout) return {};
    const std::size_t rowBytes = static_cast<std::size_t>(cellWidth) * 4;
    for (std::size_t n = 0; n < pictures.size(); ++n) {
        const auto cellLayout = GetDibLayout(pictures[n]);
        if (!cellLayout) return {};
        for (std::int32_t y = 0; y < cellHeight; ++y)
            std::memcpy(strip.data() + layout->RowOffset(y) + n * rowBytes,
                        pictures[n].data() + cellLayout->RowOffset(y), rowBytes);
    }
    return strip;
}

bool WriteStripFile(const CIconDoc& doc, std::vector<std::uint8_t>& out, std::vector<int>* leftOut) {
    out.clear();
    const Block strip = JoinStrip(doc, leftOut);
    if (strip.empty() || !EncodePng(strip, out)) {
        out.clear();
        return false;
    }
    const CKvIcon& first = doc.GetFormat(0)->Icon();
    InsertCellText(out, {static_cast<std::int32_t>(first.Width()), static_cast<std::int32_t>(first.Height())});
    return true;
}

bool IsStripFile(std::span<const std::uint8_t> bytes) { return IsPngStream(bytes) && FindCellText(bytes).has_value(); }

bool ReadStripFile(std::span<const std::uint8_t> bytes, CIconDoc& doc, std::string& error,
                   std::optional<StripCell> cell) {
    doc.RemoveAll();
    std::int32_t width = 0, height = 0;
    if (!IsPngStream(bytes) || !PngDimensions(bytes, width, height)) {
        error = "the file is not a PNG picture";
        return false;
    }
    if (const std::optional<std::string> text = FindCellText(bytes); text && !cell) cell = ParseStripCell(*text);
    if (!cell) cell = GuessStripCell(width, height);
    if (!cell) cell = StripCell{width, height};
    const Block picture = DecodePng(bytes, 32);
    if (picture.empty()) {
        error = "the PNG picture is damaged";
        return false;
    }
    return SplitStrip(picture, *cell, doc, error);
}

bool LoadStripPicture(const std::string& path, CIconDoc& doc, std::string& error, std::optional<StripCell> cell) {
    doc.RemoveAll();
    std::array<std::uint8_t, kSignatureSize> head{};
    std::ifstream file(path, std::ios::binary);
    if (file.read(reinterpret_cast<char*>(head.data()), head.size()) && IsPngStream(head)) {
        std::vector<std::uint8_t> bytes;
        if (!ReadFileBytes(path, bytes, kMaxStripFileBytes, error)) return false;
        return ReadStripFile(bytes, doc, error, cell);
    }
    CDIB picture;
    if (!LoadPictureFile(path, picture, error)) return false;
    const Block picture32 = picture.BitCount() == 32 ? picture.GetBlock().Duplicate()
                                                     : ConvertDibTo32(picture.GetBlock(), false, 0);
    if (!cell) cell = GuessStripCell(picture.Width(), picture.Height());
    if (!cell) cell = StripCell{picture.Width(), picture.Height()};
    return SplitStrip(picture32, *cell, doc, error);
}

}  // namespace tellurine
