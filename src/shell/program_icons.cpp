#include "shell/program_icons.h"

#include <fcntl.h>
#include <unistd.h>

#include <span>
#include <vector>

#include "formats/ico_file.h"
#include "formats/mapped_file.h"
#include "image/file_io.h"

namespace tellurine::shell {

namespace {

// The program's bytes: mapped, or read when it cannot be mapped; the file kept open while it is
// mapped, so that its bytes can be copied from it file to file.
struct ProgramBytes {
    int fd = -1;
    MappedFile mapped;
    std::vector<std::uint8_t> read;
    std::span<const std::uint8_t> bytes;

    ProgramBytes() = default;
    ProgramBytes(const ProgramBytes&) = delete;
    ProgramBytes& operator=(const ProgramBytes&) = delete;
    ~ProgramBytes() {
        if (fd >= 0) ::close(fd);
    }

    bool Open(const std::string& path, std::string& error) {
        fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd >= 0 && mapped.Open(fd, kMaxExeFileBytes)) {
            bytes = mapped.Bytes();
            return true;
        }
        if (fd >= 0) ::close(fd);
        fd = -1;
        if (!ReadFileBytes(path, read, kMaxExeFileBytes, error)) return false;
        bytes = read;
        return true;
    }
};

}  // namespace

SetIconStatus ChangeProgramIcon(const std::string& program, const CIconDoc& icon, const SetIconOptions& options,
                                const ProgramIconWrite& write, std::string& error) {
    std::vector<std::uint8_t> iconFile;
    if (!WriteIconFile(icon, false, iconFile, false)) return SetIconStatus::NotAnIcon;
    ProgramBytes in;
    if (!in.Open(program, error)) return SetIconStatus::CannotWrite;
    FilePieces changed;
    if (const SetIconStatus status = SetProgramIcon(in.bytes, iconFile, options, changed); status != SetIconStatus::Ok)
        return status;
    // A new file beside the program need not wait for the disk: the program is still there.
    const bool inPlace = write.output.empty();
    if (inPlace && write.keepBackup) {
        FilePieces whole(in.bytes);
        whole.Add(in.bytes);
        if (!WritePiecesAtomically(program + ".bak", whole, in.fd, error)) {
            error = "cannot keep a backup " + program + ".bak: " + error;
            return SetIconStatus::CannotWrite;
        }
    }
    const std::string& output = inPlace ? program : write.output;
    if (!WritePiecesAtomically(output, changed, in.fd, error, inPlace ? Durability::Flush : Durability::NoFlush)) {
        error = "cannot write " + output + ": " + error;
        return SetIconStatus::CannotWrite;
    }
    return SetIconStatus::Ok;
}

std::optional<std::uint16_t> FreeGroupNumber(const std::string& program) {
    ProgramBytes in;
    std::string error;
    if (!in.Open(program, error)) return std::nullopt;
    const auto groups = ListResources(in.bytes, 14);
    if (!groups) return std::nullopt;
    std::uint32_t next = 1;
    for (const ResourceRecord& r : *groups)
        if (r.name.id && *r.name.id >= next) next = *r.name.id + 1u;
    if (next > 0xFFFF) return std::nullopt;
    return static_cast<std::uint16_t>(next);
}

}  // namespace tellurine::shell
