// The clipboard: a picture goes out as the private "Korvane DIB32 Data" format (a packed 32-bit
// bitmap with its alpha) and as PNG and an image for other programs, and comes back from any of them.
#pragma once

#include <QMimeData>
#include <memory>

#include "image/device_bitmap.h"

namespace tellurine::app {

// The MIME type of a private clipboard format, named after it.
inline constexpr const char* kDib32Mime = "Korvane DIB32 Data";

// The clipboard contents for a picture (colours and alpha as grey levels of the same size).
std::unique_ptr<QMimeData> PictureMimeData(const DeviceBitmap& color, const DeviceBitmap& alpha);
// A picture from clipboard contents: the private format first, else PNG, else any image. False
// when there is none (or it is larger than the limits allow).
bool PictureFromMimeData(const QMimeData& data, DeviceBitmap& color, DeviceBitmap& alpha);

}  // namespace tellurine::app
