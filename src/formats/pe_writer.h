// Setting the icons of Windows programs and libraries (PE files, 32- and 64-bit) without running
// anything: the resource directory is read whole, changed, written again and placed in the file.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "formats/ne_resources.h"
#include "formats/pe_resources.h"
#include "image/file_io.h"

namespace tellurine {

struct SetIconOptions {
    // The group to replace: its number or name (a name compared without case, as Windows looks
    // names up). Without one, the first icon group the program lists, or a new group 1 when it
    // has none. A group that is not there is added under that name.
    std::optional<ResourceName> group;
    // The language of the group to replace or add. Without one, the group's first language, or
    // for a new group the language of the program's first resource (0, neutral, when it has none).
    std::optional<std::uint16_t> language;
    // A signed program is refused, since its signature would no longer match; with this set the
    // signature is removed instead.
    bool removeSignature = false;
};

enum class SetIconStatus {
    Ok,
    NotAProgram,  // not a PE file this writer can change
    Damaged,      // a resource directory or section table that cannot be read whole
    Signed,       // a signature would break (see removeSignature)
    NotAnIcon,    // the icon file is not one
    NoRoom,       // no room for a new section header, or a file past what PE allows
    OutOfMemory,
    CannotWrite,  // reading the program or writing the result failed (told by the caller)
};

// The text told for a status that is not Ok.
const char* SetIconStatusText(SetIconStatus status);

// The program with the group's images replaced by those of `iconFile` (an icon file's bytes,
// as WriteIconFile writes them), in `out` (which may be the vector `program` lies in; it is
// emptied when the status is not Ok).
//
// The group keeps its name and language; its new images get the lowest icon numbers no icon of
// the program uses, and icons that no group uses any more after the change are deleted (those
// other groups share are kept). Every other resource is kept as it is. The resource directory
// is written again in the order Windows sorts it (named entries first, by name without case,
// then numbers ascending). When the resource section is the program's last section it is grown
// or shrunk in place; otherwise a new section ".rsrc" is added after the last one (the old one
// stays, unused). Bytes appended after the last section (an installer's payload) follow the
// sections byte for byte (a COFF symbol table among them still pointed at). SizeOfImage,
// SizeOfInitializedData and the resource data directory entry are made right, and the checksum
// is computed again when the program had one.
SetIconStatus SetProgramIcon(std::span<const std::uint8_t> program, std::span<const std::uint8_t> iconFile,
                             const SetIconOptions& options, std::vector<std::uint8_t>& out);

// The same program as pieces, for writing without making it in memory: the changed headers and
// the new resource directory made here, and spans of `program` (everything else the program
// holds, most of it in a few long spans) and of `iconFile`, which must outlive the pieces. `out`
// is emptied when the status is not Ok.
SetIconStatus SetProgramIcon(std::span<const std::uint8_t> program, std::span<const std::uint8_t> iconFile,
                             const SetIconOptions& options, FilePieces& out);

// A resource-only library (.dll) of the groups in the given order, 32-bit or, with `wide`, 64-bit:
// a DLL without code whose one section holds the icon groups (type 14) and icons (3), then the
// cursor groups (12) and cursors (1) when there are any, all language neutral, images numbered
// from 1 within each kind in group order, the directory sorted as Windows sorts it. Explorer's
// icon chooser and LoadImage read it like any library. Nothing when a group's file is not an
// icon or cursor file whose images all lie in it, a group is numbered 0, or a kind would hold
// more than 65,535 images.
std::optional<std::vector<std::uint8_t>> WriteResourceLibrary(const std::vector<LibraryGroup>& groups, bool wide);

// The checksum of a PE file as the loader computes it: 16-bit words added with carry (the
// checksum field's bytes counted as zero), plus the file's length.
std::uint32_t PeChecksum(std::span<const std::uint8_t> bytes, std::size_t checksumOffset);
std::uint32_t PeChecksum(const FilePieces& file, std::size_t checksumOffset);

}  // namespace tellurine
