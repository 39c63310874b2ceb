// ZIP archives read from memory, as far as documents stored in them need (OpenRaster): the central
// directory's entries, and an entry's bytes, stored or deflated.
//
// The archive is taken as hostile: every offset and length is checked against the bytes, an entry
// is never inflated past the size it declares or past the caller's limit, a declared size the
// compressed bytes could not possibly fill is refused before anything is allocated, and each
// entry's CRC is checked. Encrypted entries, multi-disk archives and ZIP64 are refused.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tellurine {

// Largest number of entries an archive may list.
inline constexpr std::size_t kMaxZipEntries = 65535;

struct ZipEntry {
    std::string name;
    std::uint16_t method = 0;  // 0 stored, 8 deflated
    std::uint16_t flags = 0;
    std::uint32_t crc = 0;
    std::uint64_t compressedSize = 0;
    std::uint64_t size = 0;
    std::uint64_t headerOffset = 0;  // of the entry's local header
};

class ZipArchive {
public:
    // Reads the central directory. False, with a reason, when the bytes are no archive that can be read.
    bool Open(std::span<const std::uint8_t> bytes, std::string& error);

    [[nodiscard]] const std::vector<ZipEntry>& Entries() const { return entries_; }
    // The entry of that exact name, or null.
    [[nodiscard]] const ZipEntry* Find(std::string_view name) const;
    // An entry's bytes, at most `maxBytes` of them. False, with a reason, when the entry is
    // damaged, larger than that, or stored in a way that is not read.
    bool Extract(const ZipEntry& entry, std::size_t maxBytes, std::vector<std::uint8_t>& out, std::string& error) const;

private:
    std::span<const std::uint8_t> bytes_;
    std::vector<ZipEntry> entries_;
};

}  // namespace tellurine
