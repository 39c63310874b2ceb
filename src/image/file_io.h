// Whole-file reads with a size limit, and writes that never leave a half-written file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tellurine {

// Reads the whole file. False, with a reason in `error`, when it cannot be opened or read, or
// when it is larger than `limit` bytes.
bool ReadFileBytes(const std::string& path, std::vector<std::uint8_t>& out, std::size_t limit,
                   std::string& error);

// Writes `bytes` to a new file beside `path` and renames it over `path` only once everything was
// written and flushed. On failure the temporary file is removed, an existing file at `path` is
// left as it was, and `error` says why. A file that is replaced keeps its permission bits.
bool WriteFileAtomically(const std::string& path, std::span<const std::uint8_t> bytes, std::string& error);

}  // namespace tellurine
