// Little-endian loads and stores on unaligned bytes. Every multi-byte field of a packed bitmap,
// an icon file or an archive goes through these, so the code does not depend on the host's order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tellurine {

inline std::uint16_t LoadU16(const std::uint8_t* p) {
    return static_cast<std::uint16_t>(p[0] | (p[1] << 8));
}
inline std::uint32_t LoadU32(const std::uint8_t* p) {
    return std::uint32_t{p[0]} | (std::uint32_t{p[1]} << 8) | (std::uint32_t{p[2]} << 16) |
           (std::uint32_t{p[3]} << 24);
}
inline std::int32_t LoadI32(const std::uint8_t* p) { return static_cast<std::int32_t>(LoadU32(p)); }
inline std::int16_t LoadI16(const std::uint8_t* p) { return static_cast<std::int16_t>(LoadU16(p)); }

inline void StoreU16(std::uint8_t* p, std::uint16_t v) {
    p[0] = static_cast<std::uint8_t>(v);
    p[1] = static_cast<std::uint8_t>(v >> 8);
}
inline void StoreU32(std::uint8_t* p, std::uint32_t v) {
    p[0] = static_cast<std::uint8_t>(v);
    p[1] = static_cast<std::uint8_t>(v >> 8);
    p[2] = static_cast<std::uint8_t>(v >> 16);
    p[3] = static_cast<std::uint8_t>(v >> 24);
}
inline void StoreI32(std::uint8_t* p, std::int32_t v) { StoreU32(p, static_cast<std::uint32_t>(v)); }

inline std::uint16_t LoadBE16(const std::uint8_t* p) {
    return static_cast<std::uint16_t>((p[0] << 8) | p[1]);
}
inline std::uint32_t LoadBE32(const std::uint8_t* p) {
    return (std::uint32_t{p[0]} << 24) | (std::uint32_t{p[1]} << 16) | (std::uint32_t{p[2]} << 8) |
           std::uint32_t{p[3]};
}
inline void StoreBE32(std::uint8_t* p, std::uint32_t v) {
    p[0] = static_cast<std::uint8_t>(v >> 24);
    p[1] = static_cast<std::uint8_t>(v >> 16);
    p[2] = static_cast<std::uint8_t>(v >> 8);
    p[3] = static_cast<std::uint8_t>(v);
}

// True when `text` is well-formed UTF-8: every sequence whole, none overlong, no surrogate and
// nothing past U+10FFFF.
inline bool IsUtf8(std::string_view text) {
    constexpr char32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};  // the least code of each length
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        if (lead < 0x80) {
            ++i;
            continue;
        }
        const std::size_t length = lead < 0xC0 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF8 ? 4 : 0;
        if (length == 0 || length > text.size() - i) return false;
        char32_t code = lead & (0xFF >> (length + 1));
        for (std::size_t k = 1; k < length; ++k) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xC0) != 0x80) return false;
            code = code << 6 | (next & 0x3F);
        }
        if (code < kLeast[length] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return false;
        i += length;
    }
    return true;
}

// Appends a code point (up to U+10FFFF) to `out` as UTF-8.
inline void AppendUtf8(std::string& out, char32_t code) {
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0 | (code >> 6));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        out += static_cast<char>(0xE0 | (code >> 12));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (code >> 18));
        out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    }
}

// `count` UTF-16 code units, unit i given by `unitAt(i)`, as UTF-8: a surrogate pair gives its
// code point and a lone surrogate U+FFFD; with `stopAtZero` the text ends at the first 0 unit.
template <typename UnitAt>
std::string Utf8FromUtf16(std::size_t count, UnitAt unitAt, bool stopAtZero) {
    std::string out;
    for (std::size_t i = 0; i < count; ++i) {
        char32_t unit = unitAt(i);
        if (unit == 0 && stopAtZero) break;
        if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < count) {
            const char32_t low = unitAt(i + 1);
            if (low >= 0xDC00 && low <= 0xDFFF) {
                unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
                ++i;
            }
        }
        AppendUtf8(out, unit >= 0xD800 && unit <= 0xDFFF ? char32_t{0xFFFD} : unit);
    }
    return out;
}

// A cursor over big-endian fields that refuses to go past the end of its bytes (the layered
// document readers' fields).
class BigEndianReader {
public:
    BigEndianReader() = default;
    explicit BigEndianReader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

    [[nodiscard]] std::size_t Left() const { return bytes_.size() - pos_; }
    [[nodiscard]] std::size_t Pos() const { return pos_; }
    // Moves to an absolute position (a pointer of the document); false past the end.
    bool Seek(std::uint64_t pos) {
        if (pos > bytes_.size()) return false;
        pos_ = static_cast<std::size_t>(pos);
        return true;
    }
    bool Skip(std::uint64_t count) {
        if (count > Left()) return false;
        pos_ += static_cast<std::size_t>(count);
        return true;
    }
    bool Bytes(std::size_t count, std::span<const std::uint8_t>& out) {
        if (count > Left()) return false;
        out = bytes_.subspan(pos_, count);
        pos_ += count;
        return true;
    }
    bool U8(std::uint8_t& v) {
        if (Left() < 1) return false;
        v = bytes_[pos_++];
        return true;
    }
    bool U16(std::uint16_t& v) {
        if (Left() < 2) return false;
        v = LoadBE16(bytes_.data() + pos_);
        pos_ += 2;
        return true;
    }
    bool U32(std::uint32_t& v) {
        if (Left() < 4) return false;
        v = LoadBE32(bytes_.data() + pos_);
        pos_ += 4;
        return true;
    }
    bool I32(std::int32_t& v) {
        std::uint32_t u = 0;
        if (!U32(u)) return false;
        v = static_cast<std::int32_t>(u);
        return true;
    }
    // A length of 4 bytes, or of 8 in a large document.
    bool Length(bool wide, std::uint64_t& v) {
        std::uint32_t high = 0, low = 0;
        if (wide && !U32(high)) return false;
        if (!U32(low)) return false;
        v = (std::uint64_t{high} << 32) | low;
        return true;
    }
    // A section of `length` bytes, as its own reader.
    bool Section(std::uint64_t length, BigEndianReader& out) {
        if (length > Left()) return false;
        out = BigEndianReader(bytes_.subspan(pos_, static_cast<std::size_t>(length)));
        pos_ += static_cast<std::size_t>(length);
        return true;
    }

private:
    std::span<const std::uint8_t> bytes_;
    std::size_t pos_ = 0;
};

}  // namespace tellurine
