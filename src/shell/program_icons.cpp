#include "shell/program_icons.h"

#include <span>
#include <vector>

#include "formats/ico_file.h"
#include "formats/mapped_file.h"
#include "image/file_io.h"

namespace tellurine::shell {

namespace {

// The program's bytes: mapped, or read when it cannot be mapped.
struct ProgramBytes {
    MappedFile mapped;
    std::vector<std::uint8_t> read;
    std::span<const std::uint8_t> bytes;

    bool Open(const std::string& path, std::string& error) {
        if (mapped.Open(path, kMaxExeFileBytes)) {
            bytes = mapped.Bytes();
            return true;
        }
        if (!ReadFileBytes(path, read, kMaxExeFileBytes, error)) return false;
        bytes = read;
        return true;
    }
};

}  // namespace

SetIconStatus ChangeProgramIcon(const std::string& program, const CIconDoc& icon, const SetIconOptions& options,
                                const ProgramIconWrite& write, std::string& error) {
    std::vector<std::uint8_t> iconFile, changed;
    if (!WriteIconFile(icon, false, iconFile, false)) return SetIconStatus::NotAnIcon;
    ProgramBytes in;
    if (!in.Open(program, error)) return SetIconStatus::CannotWrite;
    if (const SetIconStatus status = SetProgramIcon(in.bytes, iconFile, options, changed); status != SetIconStatus::Ok)
        return status;
    // A new file beside the program need not wait for the disk: the program is still there.
    const bool inPlace = write.output.empty();
    if (inPlace && write.keepBackup && !WriteFileAtomically(program + ".bak", in.bytes, error)) {
        error = "cannot keep a backup " + program + ".bak: " + error;
        return SetIconStatus::CannotWrite;
    }
    const std::string& output = inPlace ? program : write.output;
    if (!WriteFileAtomically(output, changed, error, inPlace ? Durability::Flush : Durability::NoFlush)) {
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
