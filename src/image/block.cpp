#include "image/block.h"

#include <cstring>

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

Block Block::Duplicate() const {
    Block copy = Allocate(size_);
    if (copy) std::memcpy(copy.data(), data(), size_);
    return copy;
}

}  // namespace tellurine
