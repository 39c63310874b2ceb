// Image strips: several pictures of one size side by side in one picture, as tool bars keep their
// buttons and games their sprites (a sheet of several rows is read the same way, row by row). A
// strip opens as an icon project of one format per cell, and a project of formats of one size
// saves back as a strip.
//
// A strip file (".tbf") is a PNG of the strip with the cell size in a text chunk ("Tellurine
// strip cell", "16x16"), so that any viewer shows it and it reopens cut as it was saved. A strip
// without that chunk is cut by the size its shape suggests (GuessStripCell).
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "icon/icon_doc.h"
#include "image/block.h"

namespace tellurine {

// The largest strip file read (64 MiB).
inline constexpr std::size_t kMaxStripFileBytes = std::size_t{64} * 1024 * 1024;
// The most cells a strip is cut into.
inline constexpr int kMaxStripCells = 1024;

struct StripCell {
    std::int32_t width = 0;
    std::int32_t height = 0;
    bool operator==(const StripCell&) const = default;
};

// The cell size a picture's shape suggests: squares of its height when its width is two or more
// times that, squares of its width for a picture standing up; nothing when neither divides.
std::optional<StripCell> GuessStripCell(std::int32_t width, std::int32_t height);

// The cells a picture may be cut into, for the user to choose from: squares of the guessed side,
// then of half of it while they still divide the picture and are 8 pixels or more, at most
// three, none making more than kMaxStripCells cells. Empty when the shape suggests no strip.
std::vector<StripCell> OfferedStripCells(std::int32_t width, std::int32_t height);

// "16x16" and back; nothing for text that is not two sizes of 1..kMaxDibDimension.
std::string StripCellText(StripCell cell);
std::optional<StripCell> ParseStripCell(std::string_view text);

// Cuts a 32-bit picture into `doc` (emptied first): one 32-bit format per cell, left to right,
// then row by row from the top. Pixels past the last whole cell of a row or column are left
// out. False, with `error` set and `doc` empty, when the cell does not fit the picture, there
// would be more than kMaxStripCells cells, or memory runs out.
bool SplitStrip(const Block& picture32, StripCell cell, CIconDoc& doc, std::string& error);

// The formats of the project side by side as one 32-bit picture, in the project's order; every
// format is of the first one's size, and those of another size are left out and listed in
// `leftOut`. Empty for an empty project or when memory runs out.
Block JoinStrip(const CIconDoc& doc, std::vector<int>* leftOut = nullptr);

// A strip file from a project (JoinStrip, then PNG with the cell size). False when nothing
// can be written.
bool WriteStripFile(const CIconDoc& doc, std::vector<std::uint8_t>& out, std::vector<int>* leftOut = nullptr);

// True for a PNG stream that holds the cell size of a strip file.
bool IsStripFile(std::span<const std::uint8_t> bytes);

// A strip file, or any PNG, cut into `doc` by `cell` when given, else by the cell its chunk
// says, else by the guess, else whole.
bool ReadStripFile(std::span<const std::uint8_t> bytes, CIconDoc& doc, std::string& error,
                   std::optional<StripCell> cell = std::nullopt);

// The same for a picture file of any kind the program reads (a PNG as above).
bool LoadStripPicture(const std::string& path, CIconDoc& doc, std::string& error,
                      std::optional<StripCell> cell = std::nullopt);

}  // namespace tellurine
