// The resource map of a Macintosh resource fork, found in a bare resource file, in a MacBinary
// file or in an AppleDouble/AppleSingle file. Used to name what a scan of the bytes finds.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tellurine {

struct MacResource {
    std::int32_t id = 0;
    std::string name;            // in UTF-8; empty when the resource has none
    std::size_t dataOffset = 0;  // where its data starts in the file, after the 4-byte length
    std::size_t dataLength = 0;
};

// Mac Roman text, as resource names are stored, in UTF-8.
std::string MacRomanToUtf8(std::span<const std::uint8_t> text);

// Most resources listed from one map (a damaged map can repeat a type and its references).
inline constexpr std::size_t kMaxMacResources = 4096;

// Every resource of the given type (four characters read big-endian) whose data lies inside the
// file, in map order, up to kMaxMacResources. Empty when no well-formed resource map is found.
std::vector<MacResource> ListMacResources(std::span<const std::uint8_t> file, std::uint32_t type);

}  // namespace tellurine
