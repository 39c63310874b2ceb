// Block: the portable stand-in for a movable, zero-filled global memory block.
//
// A Block owns a run of bytes, zero-filled unless it was made by Uninitialised. It is move-only; an empty Block plays the part of the
// null handle. Allocation never throws: a failed or over-limit allocation yields an empty Block.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>

namespace tellurine {

// No single image allocation may exceed this many bytes (512 MiB). It bounds every size that
// comes from a file header, the clipboard or a request, so hostile input cannot exhaust memory.
inline constexpr std::size_t kMaxBlockBytes = std::size_t{512} * 1024 * 1024;

class Block {
public:
    Block() = default;
    Block(Block&&) noexcept = default;
    Block& operator=(Block&&) noexcept = default;
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;

    // A zero-filled block of `size` bytes; empty when size is 0, above kMaxBlockBytes, or when
    // memory runs out.
    static Block Allocate(std::size_t size);

    // The same without the zero fill, for a block whose every byte the caller writes before
    // anything reads it or it leaves the routine (a decoder's rows, a resampled picture): no
    // pass over memory that is written whole right after.
    static Block Uninitialised(std::size_t size);

    // A byte-for-byte duplicate, or an empty block when this one is empty or memory runs out.
    [[nodiscard]] Block Duplicate() const;

    [[nodiscard]] bool empty() const { return size_ == 0; }
    explicit operator bool() const { return size_ != 0; }
    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] std::uint8_t* data() { return bytes_.get(); }
    [[nodiscard]] const std::uint8_t* data() const { return bytes_.get(); }
    [[nodiscard]] std::span<std::uint8_t> bytes() { return {bytes_.get(), size_}; }
    [[nodiscard]] std::span<const std::uint8_t> bytes() const { return {bytes_.get(), size_}; }

    void Reset() {
        bytes_.reset();
        size_ = 0;
    }

    // Shortens the block to `size` bytes (less than its size, not 0), keeping its first `size`
    // bytes. The memory beyond them stays with the block until it is freed: handing back a
    // sliver would leave a hole just too small for the next block of the first size.
    void Shrink(std::size_t size) {
        if (size != 0 && size < size_) size_ = size;
    }

private:
    struct Free {
        void operator()(std::uint8_t* p) const { std::free(p); }
    };
    std::unique_ptr<std::uint8_t[], Free> bytes_;
    std::size_t size_ = 0;
};

// Asks the allocator to keep the memory of freed large blocks for the next ones instead of
// handing it back to the system at once. A short-lived program that allocates and frees pictures
// of a few megabytes in a row (decode, resample, encode) then touches fresh pages once rather
// than at every step: each fresh page costs a page fault and the kernel's zeroing. Blocks above
// 32 MiB are still mapped on their own. Call it once, early, in a process that ends when its job
// is done; a long-running program keeps the allocator's defaults.
void KeepFreedMemoryForReuse();

// Overflow-checked size arithmetic: false when the exact result does not fit.
inline bool CheckedMul(std::size_t a, std::size_t b, std::size_t& out) {
    return !__builtin_mul_overflow(a, b, &out);
}
inline bool CheckedAdd(std::size_t a, std::size_t b, std::size_t& out) {
    return !__builtin_add_overflow(a, b, &out);
}

}  // namespace tellurine
