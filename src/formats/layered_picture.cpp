#include "formats/layered_picture.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstring>
#include <new>

#include "formats/ora_file.h"
#include "formats/psd_file.h"
#include "formats/xcf_file.h"
#include "image/dib.h"
#include "image/dib_block.h"
#include "image/file_io.h"
#include "imaging/adjust.h"

namespace tellurine {

bool IsLayeredPicturePath(const std::string& path) {
    const std::string ext = LowerExtension(path);
    return ext == ".psd" || ext == ".psb" || ext == ".ora" || ext == ".xcf";
}

const char* LayeredPictureKind(const std::string& path) {
    const std::string ext = LowerExtension(path);
    if (ext == ".psd" || ext == ".psb") return "Photoshop document";
    if (ext == ".ora") return "OpenRaster document";
    return ext == ".xcf" ? "GIMP document" : "layered document";
}

bool IsLayeredPictureFile(std::span<const std::uint8_t> bytes) {
    return IsPsdFile(bytes) || IsOraFile(bytes) || IsXcfFile(bytes);
}

bool ReadLayeredPicture(std::span<const std::uint8_t> bytes, LayeredPicture& doc, std::string& error) {
    if (IsOraFile(bytes)) return ReadOraFile(bytes, doc, error);
    if (IsPsdFile(bytes)) return ReadPsdFile(bytes, doc, error);
    if (IsXcfFile(bytes)) return ReadXcfFile(bytes, doc, error);
    doc = {};
    error = "not a Photoshop, OpenRaster or GIMP document";
    return false;
}

namespace {

const std::array<float, 256>& LinearTable() {
    static const std::array<float, 256> table = [] {
        std::array<float, 256> t{};
        for (std::size_t i = 0; i < t.size(); ++i) {
            const double e = static_cast<double>(i) / 255;
            t[i] = static_cast<float>(e <= 0.04045 ? e / 12.92 : std::pow((e + 0.055) / 1.055, 2.4));
        }
        return t;
    }();
    return table;
}

// Encoded values of linear light in steps of 1/65535: fine enough that even the darkest steps
// round as the formula does.
const std::vector<std::uint8_t>& EncodedTable() {
    static const std::vector<std::uint8_t> table = [] {
        std::vector<std::uint8_t> t(65536);
        for (std::size_t i = 0; i < t.size(); ++i) {
            const double l = static_cast<double>(i) / 65535;
            const double e = l <= 0.0031308 ? 12.92 * l : 1.055 * std::pow(l, 1 / 2.4) - 0.055;
            t[i] = static_cast<std::uint8_t>(std::lround(e * 255));
        }
        return t;
    }();
    return table;
}

}  // namespace

void ApplyLayerOpacity(Block& picture32, double opacity) {
    const auto layout = GetDibLayout(picture32);
    if (!layout || layout->bitCount != 32 || opacity >= 1.0) return;
    const auto scale = static_cast<std::uint32_t>(std::lround(std::max(opacity, 0.0) * 65536));
    for (std::int32_t y = 0; y < layout->height; ++y) {
        std::uint8_t* row = picture32.data() + layout->RowOffset(y);
        for (std::int32_t x = 0; x < layout->width; ++x)
            row[4 * x + 3] = static_cast<std::uint8_t>((row[4 * x + 3] * scale + 32768) >> 16);
    }
}

float LinearOfSrgb(std::uint8_t value) {
    return LinearTable()[value];
}

std::uint8_t SrgbOfLinear(float linear) {
    return EncodedTable()[static_cast<std::size_t>(std::lround(std::clamp(linear, 0.0F, 1.0F) * 65535))];
}

Block CompositeLayers(const LayeredPicture& doc) {
    try {
        Block canvas = CreateDibBlock(doc.width, doc.height, 32);
        const auto cl = GetDibLayout(canvas);
        if (!cl) return {};
        const auto& linear = LinearTable();
        const auto& encoded = EncodedTable();
        for (const PictureLayer& layer : doc.layers) {
            const auto l = GetDibLayout(layer.picture32);
            if (!layer.visible || !l || l->bitCount != 32) continue;
            const std::int64_t x0 = std::max<std::int64_t>(layer.left, 0), y0 = std::max<std::int64_t>(layer.top, 0);
            const std::int64_t x1 = std::min<std::int64_t>(std::int64_t{layer.left} + l->width, doc.width);
            const std::int64_t y1 = std::min<std::int64_t>(std::int64_t{layer.top} + l->height, doc.height);
            for (std::int64_t y = y0; y < y1; ++y) {
                const std::uint8_t* from =
                    layer.picture32.data() + l->RowOffset(static_cast<std::int32_t>(l->height - 1 - (y - layer.top)));
                std::uint8_t* to = canvas.data() + cl->RowOffset(static_cast<std::int32_t>(doc.height - 1 - y));
                for (std::int64_t x = x0; x < x1; ++x) {
                    const std::uint8_t* s = from + 4 * (x - layer.left);
                    std::uint8_t* d = to + 4 * x;
                    if (!layer.linearLight) {
                        BlendOver(s, d);
                        continue;
                    }
                    const std::uint32_t sa = s[3], da = d[3];
                    if (sa == 0) continue;
                    // "Over" as BlendOver, the colours mixed in linear light.
                    const std::uint32_t under = da * (255 - sa);
                    const std::uint32_t total = sa * 255 + under;
                    for (std::size_t c = 0; c < 3; ++c) {
                        const float mixed =
                            (linear[s[c]] * static_cast<float>(sa * 255) + linear[d[c]] * static_cast<float>(under)) /
                            static_cast<float>(total);
                        d[c] = encoded[static_cast<std::size_t>(std::lround(std::min(mixed, 1.0F) * 65535))];
                    }
                    d[3] = static_cast<std::uint8_t>((total + 127) / 255);
                }
            }
        }
        return canvas;
    } catch (const std::bad_alloc&) {
        return {};
    }
}

namespace {

// The layer name's scanner: lower-case letters, digits and the rest one at a time.
class NameScanner {
public:
    explicit NameScanner(std::string_view text) : text_(text) {}
    void SkipSpaces() {
        while (pos_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[pos_]))) ++pos_;
    }
    [[nodiscard]] bool AtEnd() const { return pos_ >= text_.size(); }
    [[nodiscard]] char Peek() const {
        return AtEnd() ? '\0' : static_cast<char>(std::tolower(static_cast<unsigned char>(text_[pos_])));
    }
    bool Take(char c) {
        if (Peek() != c) return false;
        ++pos_;
        return true;
    }
    bool Word(std::string_view word) {
        if (text_.size() - pos_ < word.size()) return false;
        for (std::size_t i = 0; i < word.size(); ++i)
            if (std::tolower(static_cast<unsigned char>(text_[pos_ + i])) != word[i]) return false;
        pos_ += word.size();
        return true;
    }
    // A decimal number of at most 5 digits.
    bool Number(int& value) {
        std::size_t digits = 0;
        value = 0;
        while (!AtEnd() && std::isdigit(static_cast<unsigned char>(text_[pos_])) && digits < 6) {
            value = value * 10 + (text_[pos_++] - '0');
            ++digits;
        }
        return digits > 0 && digits <= 5;
    }

private:
    std::string_view text_;
    std::size_t pos_ = 0;
};

}  // namespace

std::optional<NamedFormat> ParseFormatName(std::string_view name) {
    NameScanner in(name);
    NamedFormat format;
    in.SkipSpaces();
    if (!in.Number(format.size)) return std::nullopt;
    in.SkipSpaces();
    if (in.Take('x')) {
        int second = 0;
        in.SkipSpaces();
        if (!in.Number(second) || second != format.size) return std::nullopt;
    }
    bool depthGiven = false;
    for (in.SkipSpaces(); !in.AtEnd(); in.SkipSpaces()) {
        int bits = 0;
        if (in.Take('@')) {
            in.SkipSpaces();
            if (!in.Number(bits)) return std::nullopt;
        } else if (in.Word("png")) {
            if (format.png) return std::nullopt;
            format.png = true;
            continue;
        } else if (in.Number(bits)) {
            if (!in.Take('-')) in.SkipSpaces();
            if (!in.Word("bit") && !in.Word("bpp")) return std::nullopt;
            in.Take('s');
        } else {
            return std::nullopt;
        }
        if (depthGiven) return std::nullopt;
        depthGiven = true;
        format.bits = bits;
    }
    if (format.size < 1 || format.size > kMaxMadeFormatSize || !IsMakeableDepth(format.bits)) return std::nullopt;
    if (format.png && format.bits != 32) return std::nullopt;
    return format;
}

Block SizeLayerPicture(const LayeredPicture& doc, const PictureLayer& layer, int size) {
    const auto l = GetDibLayout(layer.picture32);
    if (!l || l->bitCount != 32) return {};
    // The part of the layer on the canvas, in canvas coordinates.
    const std::int64_t x0 = std::max<std::int64_t>(layer.left, 0), y0 = std::max<std::int64_t>(layer.top, 0);
    const std::int64_t x1 = std::min<std::int64_t>(std::int64_t{layer.left} + l->width, doc.width);
    const std::int64_t y1 = std::min<std::int64_t>(std::int64_t{layer.top} + l->height, doc.height);
    if (x1 <= x0 || y1 <= y0) return {};
    const auto w = static_cast<std::int32_t>(x1 - x0), h = static_cast<std::int32_t>(y1 - y0);
    const bool inPlace = doc.width == doc.height && doc.width == size;
    const std::int32_t side = inPlace ? size : std::max(w, h);
    // Where the visible part's top-left pixel lands on the square.
    const std::int64_t toX = inPlace ? x0 : (side - w) / 2, toY = inPlace ? y0 : (side - h) / 2;
    Block square = CreateDibBlock(side, side, 32);
    const auto sl = GetDibLayout(square);
    if (!sl) return {};
    for (std::int32_t y = 0; y < h; ++y) {
        const auto layerRow = static_cast<std::int32_t>(y0 - layer.top + y);
        const auto squareRow = static_cast<std::int32_t>(toY + y);
        const std::uint8_t* from = layer.picture32.data() + l->RowOffset(l->height - 1 - layerRow) +
                                   4 * static_cast<std::size_t>(x0 - layer.left);
        std::uint8_t* to = square.data() + sl->RowOffset(side - 1 - squareRow) + 4 * static_cast<std::size_t>(toX);
        std::memcpy(to, from, 4 * static_cast<std::size_t>(w));
    }
    return square;
}

bool MakeIconProjectFromLayers(const LayeredPicture& layered, const IconProjectRequest& request, CIconDoc& doc,
                               std::string& error) {
    doc.RemoveAll();
    std::vector<CKvIcon> named;
    std::vector<std::pair<int, int>> made;  // size and depth of the formats the layers give
    try {
        for (auto layer = layered.layers.rbegin(); layer != layered.layers.rend(); ++layer) {
            const std::optional<NamedFormat> format = ParseFormatName(layer->name);
            if (!format || std::find(made.begin(), made.end(), std::pair{format->size, format->bits}) != made.end())
                continue;
            CDIB picture;
            picture.Attach(SizeLayerPicture(layered, *layer, format->size));
            if (picture.IsEmpty()) continue;
            CKvIcon icon;
            if (!MakeFormatFromImage(picture, format->size, format->size, format->bits, icon, request.quality)) {
                error = "the layer \"" + layer->name + "\" cannot be made a format";
                return false;
            }
            if (format->png || (request.compressLarge && format->size >= 256)) {
                icon.SetCompressed(true);
                if (!request.macintosh) icon.EncodeStoredPng();
            }
            named.push_back(std::move(icon));
            made.emplace_back(format->size, format->bits);
        }
        IconProjectRequest rest = request;
        rest.sizes.clear();
        for (const int size : request.sizes)
            if (std::none_of(made.begin(), made.end(), [&](const auto& m) { return m.first == size; }))
                rest.sizes.push_back(size);
        if (!rest.sizes.empty()) {
            CDIB composite;
            composite.Attach(layered.composite.Duplicate());
            if (!MakeIconProject(std::move(composite), rest, doc, error)) return false;
        } else if (named.empty()) {
            error = "no sizes to make";
            return false;
        }
        for (CKvIcon& icon : named) doc.AddFormat(std::move(icon));
    } catch (const std::bad_alloc&) {
        doc.RemoveAll();
        error = "out of memory";
        return false;
    }
    doc.macintosh = request.macintosh;
    doc.SortFormats(false);
    return true;
}

}  // namespace tellurine
