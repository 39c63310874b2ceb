#include "image/archive.h"

#include <cstring>

#include "image/bytes.h"

namespace tellurine {

void Archive::Write(const void* data, std::size_t size) {
    if (size == 0) return;
    if (pos_ == out_.size()) {
        // At the end, as nearly always: appended without zero-filling the room first.
        const auto* bytes = static_cast<const std::uint8_t*>(data);
        out_.insert(out_.end(), bytes, bytes + size);
    } else {
        if (pos_ + size > out_.size()) out_.resize(pos_ + size);
        std::memcpy(out_.data() + pos_, data, size);
    }
    pos_ += size;
}

void Archive::WriteZeros(std::size_t size) {
    if (pos_ + size > out_.size()) out_.resize(pos_ + size);
    std::memset(out_.data() + pos_, 0, size);
    pos_ += size;
}

void Archive::WriteU16(std::uint16_t v) {
    std::uint8_t b[2];
    StoreU16(b, v);
    Write(b, 2);
}

void Archive::WriteU32(std::uint32_t v) {
    std::uint8_t b[4];
    StoreU32(b, v);
    Write(b, 4);
}

bool Archive::Read(void* out, std::size_t size) {
    if (failed_ || storing_ || size > in_.size() - pos_) {
        failed_ = true;
        return false;
    }
    if (size != 0) std::memcpy(out, in_.data() + pos_, size);
    pos_ += size;
    return true;
}

bool Archive::Skip(std::size_t size) {
    if (failed_ || storing_ || size > in_.size() - pos_) {
        failed_ = true;
        return false;
    }
    pos_ += size;
    return true;
}

bool Archive::Peek(void* out, std::size_t size) const {
    if (failed_ || storing_ || size > in_.size() - pos_) return false;
    std::memcpy(out, in_.data() + pos_, size);
    return true;
}

bool Archive::ReadU16(std::uint16_t& v) {
    std::uint8_t b[2];
    if (!Read(b, 2)) return false;
    v = LoadU16(b);
    return true;
}

bool Archive::ReadU32(std::uint32_t& v) {
    std::uint8_t b[4];
    if (!Read(b, 4)) return false;
    v = LoadU32(b);
    return true;
}

bool Archive::ReadI32(std::int32_t& v) {
    std::uint32_t u = 0;
    if (!ReadU32(u)) return false;
    v = static_cast<std::int32_t>(u);
    return true;
}

bool Archive::Seek(std::size_t position) {
    if (position > Size()) return false;
    pos_ = position;
    return true;
}

}  // namespace tellurine
