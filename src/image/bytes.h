// Little-endian loads and stores on unaligned bytes. Every multi-byte field of a packed bitmap,
// an icon file or an archive goes through these, so the code does not depend on the host's order.
#pragma once

#include <cstdint>

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

}  // namespace tellurine
