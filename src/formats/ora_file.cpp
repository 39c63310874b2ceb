#include "formats/ora_file.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <new>
#include <string_view>
#include <vector>

#include "formats/zip_archive.h"
#include "image/bytes.h"
#include "image/dib.h"
#include "image/dib_block.h"
#include "imaging/codecs.h"

namespace tellurine {

namespace {

constexpr std::string_view kOraMime = "image/openraster";
constexpr std::size_t kMaxStackBytes = std::size_t{4} * 1024 * 1024;
constexpr std::size_t kMaxEntryBytes = std::size_t{256} * 1024 * 1024;
constexpr std::size_t kMaxOraLayers = 4096;
constexpr std::size_t kMaxNesting = 256;
constexpr int kMaxOffset = 1 << 20;

[[noreturn]] void Fail(std::string reason) {
    layered_detail::Refuse(std::move(reason));
}

// One tag of the stack file: an element opened (perhaps closed at once) or closed.
struct Tag {
    std::string name;
    std::vector<std::pair<std::string, std::string>> attributes;
    bool closing = false;
    bool empty = false;  // "<layer ... />"

    [[nodiscard]] const std::string* Attribute(std::string_view key) const {
        for (const auto& [k, v] : attributes)
            if (k == key) return &v;
        return nullptr;
    }
};

// A scanner of the XML the stack file is written in, as much of it as the file needs: the
// declaration, comments, CDATA and the document type are skipped, text between tags is ignored,
// and the five named entities and numeric ones are decoded in attribute values.
class XmlScanner {
public:
    explicit XmlScanner(std::string_view text) : text_(text) {}

    // The next tag; false at the end of the text.
    bool Next(Tag& tag) {
        for (;;) {
            const std::size_t open = text_.find('<', pos_);
            if (open == std::string_view::npos) return false;
            pos_ = open + 1;
            if (Skip("?", "?>") || Skip("!--", "-->") || Skip("![CDATA[", "]]>") || Skip("!", ">")) continue;
            tag = {};
            tag.closing = Take('/');
            tag.name = Name();
            if (tag.name.empty()) Fail("the stack file has a tag without a name");
            for (;;) {
                SkipSpaces();
                if (Take('>')) return true;
                if (Take('/')) {
                    if (!Take('>')) Fail("the stack file has a broken tag");
                    tag.empty = true;
                    return true;
                }
                std::string key = Name();
                SkipSpaces();
                if (key.empty() || !Take('=')) Fail("the stack file has a broken attribute");
                SkipSpaces();
                tag.attributes.emplace_back(std::move(key), Value());
            }
        }
    }

private:
    bool Skip(std::string_view start, std::string_view end) {
        if (text_.substr(pos_, start.size()) != start) return false;
        const std::size_t close = text_.find(end, pos_ + start.size());
        if (close == std::string_view::npos) Fail("the stack file ends inside a tag");
        pos_ = close + end.size();
        return true;
    }
    bool Take(char c) {
        if (pos_ >= text_.size() || text_[pos_] != c) return false;
        ++pos_;
        return true;
    }
    void SkipSpaces() {
        while (pos_ < text_.size() &&
               (text_[pos_] == ' ' || text_[pos_] == '\t' || text_[pos_] == '\n' || text_[pos_] == '\r'))
            ++pos_;
    }
    std::string Name() {
        const std::size_t start = pos_;
        while (pos_ < text_.size() && std::string_view(" \t\r\n=/>\"'<").find(text_[pos_]) == std::string_view::npos)
            ++pos_;
        return std::string(text_.substr(start, pos_ - start));
    }
    std::string Value() {
        if (pos_ >= text_.size() || (text_[pos_] != '"' && text_[pos_] != '\''))
            Fail("the stack file has a broken attribute");
        const char quote = text_[pos_++];
        const std::size_t close = text_.find(quote, pos_);
        if (close == std::string_view::npos) Fail("the stack file ends inside a tag");
        const std::string_view raw = text_.substr(pos_, close - pos_);
        pos_ = close + 1;
        std::string value;
        for (std::size_t i = 0; i < raw.size(); ++i) {
            if (raw[i] != '&') {
                value += raw[i];
                continue;
            }
            const std::size_t semi = raw.find(';', i);
            if (semi == std::string_view::npos) Fail("the stack file has a broken entity");
            value += Entity(raw.substr(i + 1, semi - i - 1));
            i = semi;
        }
        return value;
    }
    static std::string Entity(std::string_view name) {
        static constexpr std::pair<std::string_view, char> kNamed[] = {
            {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};
        for (const auto& [n, c] : kNamed)
            if (name == n) return std::string(1, c);
        if (name.size() < 2 || name[0] != '#') Fail("the stack file has an unknown entity");
        const bool hex = name[1] == 'x' || name[1] == 'X';
        const std::string_view digits = name.substr(hex ? 2 : 1);
        std::uint32_t code = 0;
        const auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), code, hex ? 16 : 10);
        if (ec != std::errc{} || end != digits.data() + digits.size() || code == 0 || code > 0x10FFFF)
            Fail("the stack file has a broken entity");
        std::string out;
        AppendUtf8(out, code);
        return out;
    }

    std::string_view text_;
    std::size_t pos_ = 0;
};

// A whole number attribute (a writer may put "12.0"), within ±limit.
int IntegerOf(const Tag& tag, std::string_view key, int fallback, int lowest, int highest) {
    const std::string* text = tag.Attribute(key);
    if (text == nullptr) return fallback;
    double value = 0;
    const auto [end, ec] = std::from_chars(text->data(), text->data() + text->size(), value);
    if (ec != std::errc{} || end != text->data() + text->size() || !(value >= lowest && value <= highest))
        Fail("the stack file's \"" + std::string(key) + "\" is out of range");
    return static_cast<int>(std::lround(value));
}

// An opacity attribute, 0..1 (a value that is no number counts as opaque).
double OpacityOf(const Tag& tag) {
    const std::string* text = tag.Attribute("opacity");
    double value = 1.0;
    if (text == nullptr || std::from_chars(text->data(), text->data() + text->size(), value).ec != std::errc{} ||
        std::isnan(value))
        return 1.0;
    return std::clamp(value, 0.0, 1.0);
}

bool HiddenBy(const Tag& tag) {
    const std::string* visibility = tag.Attribute("visibility");
    return visibility != nullptr && *visibility == "hidden";
}

struct ListedLayer {
    std::string name;
    std::string source;
    int x = 0;
    int y = 0;
    double opacity = 1.0;
    bool visible = true;
};

// The stack file: the canvas size, and the layers bottom to top, groups flattened.
std::vector<ListedLayer> ReadStack(std::string_view text, LayeredPicture& doc) {
    struct Group {
        double opacity = 1.0;
        bool visible = true;
    };
    std::vector<Group> groups;
    std::vector<ListedLayer> layers;
    XmlScanner xml(text);
    Tag tag;
    bool image = false;
    while (xml.Next(tag)) {
        if (tag.name == "image" && !tag.closing) {
            if (image) Fail("the stack file has two images");
            image = true;
            doc.width = IntegerOf(tag, "w", 0, 1, kMaxDibDimension);
            doc.height = IntegerOf(tag, "h", 0, 1, kMaxDibDimension);
            if (doc.width == 0 || doc.height == 0) Fail("the stack file gives no canvas size");
        } else if (!image) {
            continue;
        } else if (tag.name == "stack" && tag.closing) {
            if (!groups.empty()) groups.pop_back();
        } else if (tag.name == "stack" && !tag.empty) {
            if (groups.size() >= kMaxNesting) Fail("the stack file's groups are nested too deep");
            const Group parent = groups.empty() ? Group{} : groups.back();
            groups.push_back({parent.opacity * OpacityOf(tag), parent.visible && !HiddenBy(tag)});
        } else if (tag.name == "layer" && !tag.closing) {
            if (layers.size() >= kMaxOraLayers) Fail("the document has too many layers");
            const Group group = groups.empty() ? Group{} : groups.back();
            const std::string* source = tag.Attribute("src");
            if (source == nullptr) Fail("a layer names no picture");
            const std::string* name = tag.Attribute("name");
            layers.push_back({name != nullptr ? *name : std::string(), *source,
                              IntegerOf(tag, "x", 0, -kMaxOffset, kMaxOffset),
                              IntegerOf(tag, "y", 0, -kMaxOffset, kMaxOffset), group.opacity * OpacityOf(tag),
                              group.visible && !HiddenBy(tag)});
        }
    }
    if (!image) Fail("the stack file has no image");
    std::reverse(layers.begin(), layers.end());
    return layers;
}

// A PNG entry decoded at 32 bits, its pixels charged to the document's budget first.
Block ReadPicture(const ZipArchive& zip, const std::string& name, std::int64_t& budget) {
    const ZipEntry* entry = zip.Find(name);
    if (entry == nullptr) Fail("the picture \"" + name + "\" is missing from the archive");
    std::vector<std::uint8_t> png;
    std::string error;
    if (!zip.Extract(*entry, kMaxEntryBytes, png, error)) Fail(error);
    std::int32_t width = 0, height = 0;
    if (!PngDimensions(png, width, height)) Fail("\"" + name + "\" is not a PNG picture");
    budget -= std::int64_t{width} * height;
    if (budget < 0) Fail("the document's pictures are too large");
    Block picture = DecodePng(png, 32);
    if (picture.empty()) Fail("\"" + name + "\" is damaged or cannot be decoded");
    return picture;
}

}  // namespace

bool IsOraFile(std::span<const std::uint8_t> bytes) {
    constexpr std::string_view kName = "mimetype";
    if (bytes.size() < 30 || LoadU32(bytes.data()) != 0x04034B50 || LoadU16(bytes.data() + 8) != 0) return false;
    const std::size_t nameLength = LoadU16(bytes.data() + 26), extraLength = LoadU16(bytes.data() + 28);
    const std::size_t data = 30 + nameLength + extraLength;
    if (nameLength != kName.size() || bytes.size() < data + kOraMime.size()) return false;
    return std::memcmp(bytes.data() + 30, kName.data(), kName.size()) == 0 &&
           std::memcmp(bytes.data() + data, kOraMime.data(), kOraMime.size()) == 0;
}

bool ReadOraFile(std::span<const std::uint8_t> bytes, LayeredPicture& doc, std::string& error) {
    return layered_detail::ReadRefusing(doc, error, [&] {
        if (bytes.size() > kMaxLayeredFileBytes) Fail("the file is too large");
        if (!IsOraFile(bytes)) Fail("not an OpenRaster document");
        ZipArchive zip;
        std::string reason;
        if (!zip.Open(bytes, reason)) Fail(reason);
        const ZipEntry* stack = zip.Find("stack.xml");
        if (stack == nullptr) Fail("the document has no stack.xml");
        std::vector<std::uint8_t> text;
        if (!zip.Extract(*stack, kMaxStackBytes, text, reason)) Fail(reason);
        const std::vector<ListedLayer> listed =
            ReadStack(std::string_view(reinterpret_cast<const char*>(text.data()), text.size()), doc);
        std::int64_t budget = kMaxLayeredPixels;
        for (const ListedLayer& l : listed) {
            PictureLayer layer{l.name, l.x, l.y, ReadPicture(zip, l.source, budget), l.visible};
            ApplyLayerOpacity(layer.picture32, l.opacity);
            doc.layers.push_back(std::move(layer));
        }
        if (zip.Find("mergedimage.png") != nullptr) {
            Block merged = ReadPicture(zip, "mergedimage.png", budget);
            const auto layout = GetDibLayout(merged);
            if (layout && layout->width == doc.width && layout->height == doc.height) doc.composite = std::move(merged);
        }
        if (doc.composite.empty()) {
            budget -= std::int64_t{doc.width} * doc.height;
            if (budget < 0) Fail("the document's pictures are too large");
            doc.composite = CompositeLayers(doc);
            if (doc.composite.empty()) Fail("out of memory");
        }
    });
}

}  // namespace tellurine
