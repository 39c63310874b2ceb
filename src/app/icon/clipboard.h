// The clipboard: a picture goes out as the private "Korvane DIB32 Data" format (a packed 32-bit
// bitmap with its alpha) and as PNG and an image for other programs, and comes back from any of them.
#pragma once

#include <QMimeData>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "icon/icon_doc.h"
#include "icon/icon_group.h"
#include "icon/kv_icon.h"
#include "image/device_bitmap.h"
#include "image/palette.h"

namespace tellurine::app {

// The MIME types of the private clipboard formats, named after them.
inline constexpr const char* kDib32Mime = "Korvane DIB32 Data";
inline constexpr const char* kIconFormatMime = "Korvane IconFormat Data";
inline constexpr const char* kPaletteMime = "Korvane PAL Data";
inline constexpr const char* kIconEditMime = "Korvane IconEdit Data";
inline constexpr const char* kFileListMime = "Korvane MB40 File List";

// The clipboard contents for a picture (colours and alpha as grey levels of the same size).
std::unique_ptr<QMimeData> PictureMimeData(const DeviceBitmap& color, const DeviceBitmap& alpha);
// Adds a whole format: its icon image in the icon group's archive form, and its palette (version,
// count, then red, green, blue and flags per entry, as a logical palette) when it has one.
void AddFormatData(QMimeData& data, const CKvIcon& icon, const Palette& palette);
// The formats clipboard contents carry (as a project's new formats); empty when there are none.
std::vector<CKvIcon> FormatsFromMimeData(const QMimeData& data);
// Adds a whole icon, its formats in the icon group's archive form, for pasting as a new project.
void AddIconData(QMimeData& data, CIconGroup& group);
// A whole icon copied out of a program or library: its largest, deepest format as a picture for
// other programs, and its formats for this one (as a new project, or as formats a project pastes).
// Null for a group without formats.
std::unique_ptr<QMimeData> WholeIconMimeData(CIconGroup& group);
// The whole icon clipboard contents carry; false when there is none.
bool IconFromMimeData(const QMimeData& data, CIconDoc& doc);
// Adds files for other programs: as URLs, and as the program's own list (one full path a line).
void AddFileList(QMimeData& data, const QStringList& paths);
// Adds files for other programs from their names and bytes: each written as it is (nothing is
// encoded while a drag starts) into a temporary folder of the program's own.
void AddCopiedFiles(QMimeData& data, const std::vector<std::pair<QString, std::vector<std::uint8_t>>>& files);

// A palette from clipboard contents; false when there is none.
bool PaletteFromMimeData(const QMimeData& data, Palette& palette);

// A picture from clipboard contents: the private format first, else PNG, else any image. False
// when there is none (or it is larger than the limits allow).
bool PictureFromMimeData(const QMimeData& data, DeviceBitmap& color, DeviceBitmap& alpha);

}  // namespace tellurine::app
