// A file's bytes mapped into memory rather than copied: for reading large files of which only a
// small part is looked at (the headers and compressed images of a program's icons), so that the
// parts never looked at cost neither a copy nor fresh memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace tellurine {

class MappedFile {
public:
    MappedFile() = default;
    ~MappedFile();
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;
    MappedFile(MappedFile&& other) noexcept;
    MappedFile& operator=(MappedFile&& other) noexcept;

    // Maps the regular file at `path` read-only. False, and nothing mapped, when it cannot be
    // opened, is not a regular file, is empty or larger than `limit`, or cannot be mapped: the
    // caller then reads it as it reads any file, which says why. A file changed by another
    // program while it is mapped shows the change; one cut short while mapped ends the process
    // when the missing part is read, as for any mapping.
    bool Open(const std::string& path, std::size_t limit);
    // The same for a file the caller opened, which it may close once this returns.
    bool Open(int fd, std::size_t limit);

    [[nodiscard]] std::span<const std::uint8_t> Bytes() const { return {data_, size_}; }

private:
    void Close();
    const std::uint8_t* data_ = nullptr;
    std::size_t size_ = 0;
};

}  // namespace tellurine
