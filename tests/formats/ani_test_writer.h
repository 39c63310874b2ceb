// A small writer of animated cursors for the format tests: RIFF chunks, lists, the header and
// the rate and sequence tables.
#pragma once

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <vector>

#include "image/bytes.h"

namespace tellurine::ani_test {

using Bytes = std::vector<std::uint8_t>;

inline void PutU32(Bytes& out, std::uint32_t v) {
    out.resize(out.size() + 4);
    StoreU32(out.data() + out.size() - 4, v);
}

// A chunk, padded to an even size.
inline Bytes Chunk(const char* id, const Bytes& data) {
    Bytes out(8 + data.size() + (data.size() & 1), 0);
    std::copy_n(id, 4, out.begin());
    StoreU32(out.data() + 4, static_cast<std::uint32_t>(data.size()));
    std::copy(data.begin(), data.end(), out.begin() + 8);
    return out;
}

inline Bytes Cat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

inline Bytes Ani(std::initializer_list<Bytes> chunks) {
    Bytes out = Cat({Bytes{'R', 'I', 'F', 'F', 0, 0, 0, 0, 'A', 'C', 'O', 'N'}, Cat(chunks)});
    StoreU32(out.data() + 4, static_cast<std::uint32_t>(out.size() - 8));
    return out;
}

inline Bytes Anih(std::uint32_t frames, std::uint32_t steps, std::uint32_t rate = 10, std::uint32_t flags = 1) {
    Bytes out;
    for (const std::uint32_t v : {36u, frames, steps, 0u, 0u, 0u, 0u, rate, flags}) PutU32(out, v);
    return Chunk("anih", out);
}

// A "rate" or "seq " chunk.
inline Bytes Table(const char* id, const std::vector<std::uint32_t>& values) {
    Bytes out;
    for (const std::uint32_t v : values) PutU32(out, v);
    return Chunk(id, out);
}

inline Bytes List(const char* type, std::initializer_list<Bytes> subChunks) {
    return Chunk("LIST", Cat({Bytes(type, type + 4), Cat(subChunks)}));
}

}  // namespace tellurine::ani_test
