#include "formats/zip_archive.h"

#include <zlib.h>

#include <algorithm>
#include <climits>

#include "image/bytes.h"

namespace tellurine {

namespace {

constexpr std::uint32_t kEndSignature = 0x06054B50;
constexpr std::uint32_t kCentralSignature = 0x02014B50;
constexpr std::uint32_t kLocalSignature = 0x04034B50;
constexpr std::size_t kEndBytes = 22;
constexpr std::size_t kCentralBytes = 46;
constexpr std::size_t kLocalBytes = 30;
// The most a deflated byte can stand for: zlib's largest ratio is a little above 1,032 to 1.
constexpr std::uint64_t kMaxDeflateRatio = 1040;

// The end-of-directory record: searched from the end, past a comment of up to 65,535 bytes.
std::size_t FindEnd(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < kEndBytes) return SIZE_MAX;
    const std::size_t lowest = bytes.size() - kEndBytes - std::min<std::size_t>(bytes.size() - kEndBytes, 65535);
    for (std::size_t at = bytes.size() - kEndBytes + 1; at-- > lowest;) {
        if (LoadU32(bytes.data() + at) == kEndSignature &&
            at + kEndBytes + LoadU16(bytes.data() + at + 20) == bytes.size())
            return at;
    }
    return SIZE_MAX;
}

}  // namespace

bool ZipArchive::Open(std::span<const std::uint8_t> bytes, std::string& error) {
    bytes_ = {};
    entries_.clear();
    const std::size_t end = FindEnd(bytes);
    if (end == SIZE_MAX) {
        error = "not a ZIP archive (no end of directory)";
        return false;
    }
    const std::uint8_t* e = bytes.data() + end;
    const std::uint16_t disk = LoadU16(e + 4), directoryDisk = LoadU16(e + 6);
    const std::uint16_t onDisk = LoadU16(e + 8), count = LoadU16(e + 10);
    const std::uint32_t directorySize = LoadU32(e + 12), directoryOffset = LoadU32(e + 16);
    if (disk != 0 || directoryDisk != 0 || onDisk != count) {
        error = "archives on several disks are not read";
        return false;
    }
    if (directoryOffset == 0xFFFFFFFF || directorySize == 0xFFFFFFFF || count == 0xFFFF) {
        error = "ZIP64 archives are not read";
        return false;
    }
    if (std::uint64_t{directoryOffset} + directorySize > end) {
        error = "the archive's directory lies outside it";
        return false;
    }
    std::size_t at = directoryOffset;
    const std::size_t stop = at + directorySize;
    for (std::uint16_t i = 0; i < count; ++i) {
        if (stop - at < kCentralBytes || LoadU32(bytes.data() + at) != kCentralSignature) {
            error = "the archive's directory is damaged";
            entries_.clear();
            return false;
        }
        const std::uint8_t* c = bytes.data() + at;
        const std::size_t nameLength = LoadU16(c + 28), extraLength = LoadU16(c + 30), commentLength = LoadU16(c + 32);
        const std::size_t recordBytes = kCentralBytes + nameLength + extraLength + commentLength;
        if (stop - at < recordBytes) {
            error = "the archive's directory is damaged";
            entries_.clear();
            return false;
        }
        ZipEntry entry;
        entry.flags = LoadU16(c + 8);
        entry.method = LoadU16(c + 10);
        entry.crc = LoadU32(c + 16);
        entry.compressedSize = LoadU32(c + 20);
        entry.size = LoadU32(c + 24);
        entry.headerOffset = LoadU32(c + 42);
        entry.name.assign(reinterpret_cast<const char*>(c + kCentralBytes), nameLength);
        entries_.push_back(std::move(entry));
        at += recordBytes;
    }
    bytes_ = bytes;
    return true;
}

const ZipEntry* ZipArchive::Find(std::string_view name) const {
    const auto found =
        std::find_if(entries_.begin(), entries_.end(), [&](const ZipEntry& e) { return e.name == name; });
    return found != entries_.end() ? &*found : nullptr;
}

bool ZipArchive::Extract(const ZipEntry& entry, std::size_t maxBytes, std::vector<std::uint8_t>& out,
                         std::string& error) const {
    out.clear();
    const auto fail = [&](const char* reason) {
        error = "\"" + entry.name + "\": " + reason;
        out.clear();
        return false;
    };
    if ((entry.flags & 1) != 0) return fail("encrypted entries are not read");
    if (entry.method != 0 && entry.method != 8) return fail("the compression method is not read");
    if (entry.size > maxBytes) return fail("the entry is too large");
    if (entry.headerOffset > bytes_.size() || bytes_.size() - entry.headerOffset < kLocalBytes ||
        LoadU32(bytes_.data() + entry.headerOffset) != kLocalSignature)
        return fail("the entry's header is missing");
    const std::uint8_t* local = bytes_.data() + entry.headerOffset;
    const std::uint64_t dataOffset = entry.headerOffset + kLocalBytes + LoadU16(local + 26) + LoadU16(local + 28);
    if (dataOffset > bytes_.size() || bytes_.size() - dataOffset < entry.compressedSize)
        return fail("the entry runs past the end of the archive");
    const std::span<const std::uint8_t> data =
        bytes_.subspan(static_cast<std::size_t>(dataOffset), static_cast<std::size_t>(entry.compressedSize));
    if (entry.method == 0) {
        if (entry.compressedSize != entry.size) return fail("a stored entry's sizes differ");
        out.assign(data.begin(), data.end());
    } else {
        if (entry.size > entry.compressedSize * kMaxDeflateRatio + 64) return fail("the entry's size is impossible");
        out.resize(static_cast<std::size_t>(entry.size));
        z_stream zs{};
        if (inflateInit2(&zs, -MAX_WBITS) != Z_OK) return fail("out of memory");
        zs.next_in = const_cast<Bytef*>(data.data());
        zs.avail_in = static_cast<uInt>(std::min<std::size_t>(data.size(), UINT_MAX));
        zs.next_out = out.data();
        zs.avail_out = static_cast<uInt>(out.size());
        // One byte more than declared would show a stream that says less than it holds.
        std::uint8_t extra = 0;
        int result = inflate(&zs, Z_FINISH);
        if (result == Z_BUF_ERROR && zs.avail_out == 0 && zs.avail_in > 0) {
            zs.next_out = &extra;
            zs.avail_out = 1;
            result = inflate(&zs, Z_FINISH);
            if (zs.avail_out == 0) result = Z_DATA_ERROR;
        }
        const bool whole = result == Z_STREAM_END && zs.total_out == entry.size;
        inflateEnd(&zs);
        if (!whole) return fail("the entry's compressed data is damaged");
    }
    const auto crc = crc32(crc32(0, nullptr, 0), out.data(), static_cast<uInt>(out.size()));
    if (crc != entry.crc) return fail("the entry's checksum does not match");
    return true;
}

}  // namespace tellurine
