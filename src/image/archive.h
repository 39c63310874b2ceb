// Archive: a little-endian, seekable byte stream, the portable stand-in for the framework's
// serialisation archive. An archive is either storing (it grows a byte vector) or loading (it
// reads a span that the caller keeps alive). A read past the end fails, leaves the output
// untouched and marks the archive failed; a failed archive stays failed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tellurine {

class Archive {
public:
    static Archive ForStoring() { return Archive(); }
    static Archive ForLoading(std::span<const std::uint8_t> data) { return Archive(data); }

    [[nodiscard]] bool IsStoring() const { return storing_; }
    [[nodiscard]] bool IsLoading() const { return !storing_; }
    [[nodiscard]] bool Failed() const { return failed_; }

    // Storing. Writes go at the current position, overwriting what is there and growing the
    // bytes at the end; Seek lets a writer come back to fill in a placeholder.
    void WriteU8(std::uint8_t v) { Write(&v, 1); }
    void WriteU16(std::uint16_t v);
    void WriteU32(std::uint32_t v);
    void WriteI32(std::int32_t v) { WriteU32(static_cast<std::uint32_t>(v)); }
    void Write(const void* data, std::size_t size);
    void WriteZeros(std::size_t size);
    // Makes room for `size` bytes in all, so that a writer that knows about how much it will
    // write does not move the bytes again and again as they grow.
    void Reserve(std::size_t size) { out_.reserve(size); }

    // Loading.
    bool ReadU8(std::uint8_t& v) { return Read(&v, 1); }
    bool ReadU16(std::uint16_t& v);
    bool ReadU32(std::uint32_t& v);
    bool ReadI32(std::int32_t& v);
    bool Read(void* out, std::size_t size);
    bool Skip(std::size_t size);
    // Up to four bytes at the current position without consuming them.
    bool Peek(void* out, std::size_t size) const;

    [[nodiscard]] std::size_t Position() const { return pos_; }
    [[nodiscard]] std::size_t Size() const { return storing_ ? out_.size() : in_.size(); }
    [[nodiscard]] std::size_t Remaining() const { return Size() - pos_; }
    // Moves to an absolute position inside the data (or at its end); false, and no move, past it.
    bool Seek(std::size_t position);

    [[nodiscard]] const std::vector<std::uint8_t>& Bytes() const { return out_; }
    std::vector<std::uint8_t> TakeBytes() { return std::move(out_); }

private:
    Archive() : storing_(true) {}
    explicit Archive(std::span<const std::uint8_t> data) : storing_(false), in_(data) {}

    bool storing_;
    bool failed_ = false;
    std::size_t pos_ = 0;
    std::vector<std::uint8_t> out_;
    std::span<const std::uint8_t> in_;
};

}  // namespace tellurine
