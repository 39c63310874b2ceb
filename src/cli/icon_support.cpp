#include "cli/icon_support.h"

#include <cstring>

#include "cli/commands.h"
#include "image/bytes.h"
#include "image/file_io.h"
#include "imaging/codecs.h"

namespace tellurine::cli {

bool ReadIconInput(const std::string& path, std::vector<std::uint8_t>& bytes, CIconDoc& doc, IconFileType& type,
                   std::string* message) {
    std::string error;  // the reason is not shown: the message is the same for every failure
    if (ReadFileBytes(path, bytes, kMaxIconFileBytes, error) && ReadIconFile(bytes, doc, &type)) return true;
    if (message != nullptr)
        *message = path + ": " + kIconReadError;
    else
        PrintError(path + ": " + kIconReadError);
    return false;
}

std::span<const std::uint8_t> StoredImageBytes(std::span<const std::uint8_t> file, int index) {
    // Header of 6 bytes (reserved, type, count), then 16-byte entries whose last two fields are
    // the image's byte count and its offset in the file.
    if (index < 0 || file.size() < 6 || index >= LoadU16(file.data() + 4)) return {};
    const std::size_t entry = 6 + 16 * static_cast<std::size_t>(index);
    if (file.size() < entry + 16) return {};
    const std::size_t size = LoadU32(file.data() + entry + 8), offset = LoadU32(file.data() + entry + 12);
    if (offset > file.size() || size > file.size() - offset) return {};
    return file.subspan(offset, size);
}
}  // namespace tellurine::cli
