// Windows animated cursor files (.ani): RIFF "ACON" with an "anih" header, optional "rate" and
// "seq " tables, a "fram" list of complete icon or cursor files, and an "INFO" list.
// Read only.
//
// How a file is read:
//  - Chunks (8-byte header, the data, a pad byte after odd sizes) are read one after another up
//    to the end of the input; the RIFF size is not consulted. A chunk header cut short by the end
//    ends the file normally; chunk data that runs past the end refuses it. Unknown chunks and
//    lists are skipped.
//  - "anih": 36 bytes or more (the rest is skipped). The frame count must be 1 to kMaxAniFrames,
//    the step count 1 to kMaxAniSteps (a file without steps has nothing to show), and flag bit 0
//    (frames are icon or cursor files) must be set. A second "anih" refuses the file.
//  - "rate" and "seq ": one 32-bit entry per step. As many whole entries as the chunk holds are
//    read, up to the step count; entries beyond are ignored, and steps beyond the chunk keep the
//    defaults (the header's rate; the step's own number as its frame index). A table before the
//    "anih" is skipped, as is a "fram" list before it. A later table replaces an earlier one.
//  - "LIST" "fram": every "icon" sub-chunk is a frame, in file order; its data must lie in the
//    file. Frames past the header's frame count are ignored, as are other sub-chunks. Steps are
//    linked to frames once the whole file is read, so "seq " may come before or after the list.
//  - "LIST" "INFO": "INAM" (title) and "IART" (author), up to their first zero byte. One larger
//    than 80 bytes, or than what is left of its list, refuses the file.
//  - In either list, a sub-chunk header that is cut short by the end of the input refuses the file.
//  - A step whose frame index points past the frames read is skipped. A file is usable when it
//    has an "anih", at least one frame and at least one step that shows a frame.
// Each step's picture is the first image of its frame (the first directory entry only), with the
// hotspot from that entry's 16-bit fields at offsets 4 and 6. A frame that cannot be decoded
// refuses the file, as does a total of step pictures above kMaxAniDecodedBytes.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "image/dib.h"

namespace tellurine {

// One animation step: the first image of the step's frame as a 32-bit bitmap with alpha, and the
// values that travel with it.
class CAniObject {
public:
    CDIB image;                  // 32 bits with alpha: a 32-bit image's own alpha when bitDepth is
                                 // 32, else 0 where the AND mask is set and 255 elsewhere
    std::uint32_t width = 0;     // the frame image's width
    std::uint32_t height = 0;    // its height (the image header's height halved; a PNG's own)
    std::uint32_t bitDepth = 0;  // planes x bit count of the image header (32 for a PNG image)
    std::uint32_t hotspotX = 0;  // from the frame file's first directory entry
    std::uint32_t hotspotY = 0;
    std::uint32_t rate = 0;      // display rate in jiffies (1/60 s): the low 16 bits of the step's rate
};

// How reading an animated cursor ended.
enum class AniReadStatus {
    Ok,
    NotReadable,  // not an animated cursor, or damaged
    OutOfMemory,  // "Out of memory to perform operation." ("Fatal error")
};

// Largest .ani file read, and the caps on the counts its header may declare (a header over
// either cap is refused).
inline constexpr std::size_t kMaxAniFileBytes = std::size_t{64} * 1024 * 1024;
inline constexpr std::uint32_t kMaxAniFrames = 4096;
inline constexpr std::uint32_t kMaxAniSteps = 65536;
// Largest total of the steps' 32-bit pictures (each step owns a copy of its frame's picture, and
// many steps may show one frame), counted with each step's own object: 256 MiB. Above it the file
// is refused as NotReadable. A frame is charged for all the steps that show it as soon as it is
// decoded, so the refusal comes before the copies are made.
inline constexpr std::size_t kMaxAniDecodedBytes = std::size_t{256} * 1024 * 1024;

// What a file holds besides its steps.
struct AniFileInfo {
    std::uint32_t frameCount = 0;  // frames read
    // "INAM" and "IART", at most 80 bytes each, in UTF-8 without the spaces around them: bytes
    // that are not UTF-8 are read as Latin-1, as older writers stored them.
    std::string title;
    std::string author;
};

// The counting pass: validates the file's structure (without decoding frames) and returns its
// number of frames read; 0 when it is not a usable animated cursor.
std::uint32_t CountAniFrames(std::span<const std::uint8_t> bytes);

// The loading pass: appends one CAniObject per step that shows a frame, in step order. On any
// failure `steps` is left as it was and `info`, when given, is reset. Steps are never empty on Ok.
AniReadStatus ReadAniSteps(std::span<const std::uint8_t> bytes, std::vector<CAniObject>& steps,
                           AniFileInfo* info = nullptr);

// The same on a file of at most kMaxAniFileBytes; `error` says why when the status is not Ok.
AniReadStatus LoadAniFile(const std::string& path, std::vector<CAniObject>& steps, std::string& error,
                          AniFileInfo* info = nullptr);

}  // namespace tellurine
