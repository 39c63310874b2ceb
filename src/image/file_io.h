// Whole-file reads with a size limit, and writes that never leave a half-written file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tellurine {

// A path's extension with its dot, in lower case (".ico"); empty when it has none.
std::string LowerExtension(const std::string& path);

// Reads the whole file. False, with a reason in `error`, when it cannot be opened or read, or
// when it is larger than `limit` bytes.
bool ReadFileBytes(const std::string& path, std::vector<std::uint8_t>& out, std::size_t limit,
                   std::string& error);

// How hard a write insists that the bytes reached the disk before the file replaces the old one.
enum class Durability {
    Flush,    // the user's own documents: flushed before the rename
    NoFlush,  // outputs that can be made again (extracted pictures): renamed without waiting
};

// Writes `bytes` to a new file beside `path` and renames it over `path` only once everything was
// written. On failure the temporary file is removed, an existing file at `path` is left as it
// was, and `error` says why. A file that is replaced keeps its permission bits. Safe to call
// from several threads.
bool WriteFileAtomically(const std::string& path, std::span<const std::uint8_t> bytes, std::string& error,
                         Durability durability = Durability::Flush);

}  // namespace tellurine
