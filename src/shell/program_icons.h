// Setting the icons of a program file, as the program window and tellurine-cli do it: the file
// read (mapped when it can be), its icon group replaced or a group added, and the result written
// through a temporary file so that a failure leaves the program as it was.
#pragma once

#include <optional>
#include <string>

#include "formats/pe_writer.h"
#include "icon/icon_doc.h"

namespace tellurine::shell {

struct ProgramIconWrite {
    std::string output;      // where the changed program goes; empty: over the program itself
    bool keepBackup = true;  // over the program itself: its earlier bytes kept as PROGRAM.bak
};

// Sets the program's icons from `icon` (written as an icon file in save order, as a cursor never).
// Ok, or the writer's refusal, or CannotWrite with the reason in `error`.
SetIconStatus ChangeProgramIcon(const std::string& program, const CIconDoc& icon, const SetIconOptions& options,
                                const ProgramIconWrite& write, std::string& error);

// A group number no icon group of the program has (the lowest above those it has), for adding a
// group; nothing when the file cannot be read or every number is taken.
std::optional<std::uint16_t> FreeGroupNumber(const std::string& program);

}  // namespace tellurine::shell
