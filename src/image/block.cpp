#include "image/block.h"

#include <cstring>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace tellurine {

Block Block::Allocate(std::size_t size) {
    Block block;
    if (size == 0 || size > kMaxBlockBytes) return block;
    auto* p = static_cast<std::uint8_t*>(std::calloc(size, 1));
    if (p == nullptr) return block;
    block.bytes_.reset(p);
    block.size_ = size;
    return block;
}

Block Block::Uninitialised(std::size_t size) {
    Block block;
    if (size == 0 || size > kMaxBlockBytes) return block;
    auto* p = static_cast<std::uint8_t*>(std::malloc(size));
    if (p == nullptr) return block;
    block.bytes_.reset(p);
    block.size_ = size;
    return block;
}

Block Block::Duplicate() const {
    Block copy = Uninitialised(size_);
    if (copy) std::memcpy(copy.data(), data(), size_);
    return copy;
}

void KeepFreedMemoryForReuse() {
#if defined(__GLIBC__)
    // Without these, every block of 128 KiB or more (and, once the first such block is freed,
    // every block above the size of the largest freed so far) is mapped afresh and unmapped on
    // free, and the heap's free top is trimmed back to the system.
    constexpr int kMapOwnBytes = 32 * 1024 * 1024;
    mallopt(M_MMAP_THRESHOLD, kMapOwnBytes);
    mallopt(M_TRIM_THRESHOLD, 4 * kMapOwnBytes);
#endif
}

}  // namespace tellurine
