#include "app/icon/clipboard.h"

#include <QBuffer>
#include <QImage>
#include <QUrl>
#include <cstring>

#include "app/common/image_convert.h"
#include "icon/icon_group.h"
#include "image/archive.h"
#include "image/dib_block.h"
#include "image/raster.h"

namespace tellurine::app {

namespace {

// Pictures pasted from elsewhere are taken up to this side.
constexpr int kMaxPasteSide = 4096;

bool FromQImage(QImage image, DeviceBitmap& color, DeviceBitmap& alpha) {
    if (image.isNull() || image.width() > kMaxPasteSide || image.height() > kMaxPasteSide) return false;
    image = image.convertToFormat(QImage::Format_ARGB32);
    color = DeviceBitmap::Create(image.width(), image.height());
    alpha = DeviceBitmap::Create(image.width(), image.height());
    if (color.IsNull() || alpha.IsNull()) return false;
    for (int y = 0; y < image.height(); ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const QRgb p = row[x];
            color.SetPixel(x, y, RGB(static_cast<std::uint8_t>(qRed(p)), static_cast<std::uint8_t>(qGreen(p)),
                                     static_cast<std::uint8_t>(qBlue(p))));
            const auto a = static_cast<std::uint8_t>(qAlpha(p));
            alpha.SetPixel(x, y, RGB(a, a, a));
        }
    }
    return true;
}

QByteArray GroupArchive(CIconGroup& group) {
    Archive ar = Archive::ForStoring();
    if (!group.Serialize(ar)) return {};
    const std::vector<std::uint8_t> bytes = ar.TakeBytes();
    return QByteArray(reinterpret_cast<const char*>(bytes.data()), static_cast<qsizetype>(bytes.size()));
}

bool GroupFromArchive(const QByteArray& bytes, CIconGroup& group) {
    Archive ar = Archive::ForLoading(std::span(reinterpret_cast<const std::uint8_t*>(bytes.constData()), bytes.size()));
    return group.Serialize(ar);
}

}  // namespace

std::unique_ptr<QMimeData> PictureMimeData(const DeviceBitmap& color, const DeviceBitmap& alpha) {
    auto data = std::make_unique<QMimeData>();
    const Block dib = DeviceBitmapsToDib32(color, alpha);
    if (dib.empty()) return data;
    data->setData(kDib32Mime, QByteArray(reinterpret_cast<const char*>(dib.data()), static_cast<qsizetype>(dib.size())));
    const QImage image = ImageFromDib32(dib);
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    if (image.save(&buffer, "PNG")) data->setData("image/png", png);
    data->setImageData(image);
    return data;
}

void AddFormatData(QMimeData& data, const CKvIcon& icon, const Palette& palette) {
    CIconGroup group;
    if (group.AppendFormatCopy(icon) >= 0)
        if (const QByteArray bytes = GroupArchive(group); !bytes.isEmpty()) data.setData(kIconFormatMime, bytes);
    if (!palette.empty() && palette.size() <= 256) {
        QByteArray pal;
        const auto u16 = [&pal](std::uint16_t v) {
            pal.append(static_cast<char>(v & 0xFF));
            pal.append(static_cast<char>(v >> 8));
        };
        u16(palette.version);
        u16(static_cast<std::uint16_t>(palette.size()));
        for (const PaletteEntry& e : palette.entries)
            for (const std::uint8_t b : {e.red, e.green, e.blue, e.flags}) pal.append(static_cast<char>(b));
        data.setData(kPaletteMime, pal);
    }
}

void AddIconData(QMimeData& data, CIconGroup& group) {
    if (const QByteArray bytes = GroupArchive(group); !bytes.isEmpty()) data.setData(kIconEditMime, bytes);
}

bool IconFromMimeData(const QMimeData& data, CIconDoc& doc) {
    CIconGroup group;
    if (!data.hasFormat(kIconEditMime) || !GroupFromArchive(data.data(kIconEditMime), group) || group.FormatCount() == 0)
        return false;
    return doc.TakeFormats(group) && doc.GetFormatCount() > 0;
}

void AddFileList(QMimeData& data, const QStringList& paths) {
    QList<QUrl> urls;
    for (const QString& path : paths) urls << QUrl::fromLocalFile(path);
    data.setUrls(urls);
    data.setData(kFileListMime, paths.join('\n').toUtf8());
}

std::vector<CKvIcon> FormatsFromMimeData(const QMimeData& data) {
    std::vector<CKvIcon> formats;
    if (!data.hasFormat(kIconFormatMime)) return formats;
    CIconGroup group;
    if (!GroupFromArchive(data.data(kIconFormatMime), group)) return formats;
    for (int i = 0; i < group.FormatCount(); ++i)
        if (CKvIcon* icon = group.FormatAt(i); icon != nullptr && !icon->IsEmpty()) formats.push_back(std::move(*icon));
    return formats;
}

bool PaletteFromMimeData(const QMimeData& data, Palette& palette) {
    if (!data.hasFormat(kPaletteMime)) return false;
    const QByteArray bytes = data.data(kPaletteMime);
    if (bytes.size() < 4) return false;
    const auto u16 = [&bytes](int at) {
        return static_cast<std::uint16_t>(static_cast<std::uint8_t>(bytes[at]) | (static_cast<std::uint8_t>(bytes[at + 1]) << 8));
    };
    const std::uint16_t count = u16(2);
    if (count == 0 || count > 256 || bytes.size() < 4 + 4 * count) return false;
    palette.version = u16(0);
    palette.entries.resize(count);
    for (int i = 0; i < count; ++i) {
        const auto* e = reinterpret_cast<const std::uint8_t*>(bytes.constData()) + 4 + 4 * i;
        palette.entries[static_cast<std::size_t>(i)] = {e[0], e[1], e[2], e[3]};
    }
    return true;
}

bool PictureFromMimeData(const QMimeData& data, DeviceBitmap& color, DeviceBitmap& alpha) {
    if (data.hasFormat(kDib32Mime)) {
        // Hostile until checked: the block must lay out as a 32-bit bitmap of a sane size.
        const QByteArray bytes = data.data(kDib32Mime);
        Block dib = Block::Allocate(static_cast<std::size_t>(bytes.size()));
        if (!dib.empty()) {
            std::memcpy(dib.data(), bytes.constData(), dib.size());
            const auto layout = GetDibLayout(dib);
            if (layout && layout->bitCount == 32 && layout->width <= kMaxPasteSide && layout->height <= kMaxPasteSide) {
                color = DibToDeviceBitmap(dib);
                alpha = DibAlphaToDeviceBitmap(dib);
                if (!color.IsNull() && !alpha.IsNull()) return true;
            }
        }
    }
    if (data.hasFormat("image/png") && FromQImage(QImage::fromData(data.data("image/png"), "PNG"), color, alpha))
        return true;
    return data.hasImage() && FromQImage(qvariant_cast<QImage>(data.imageData()), color, alpha);
}

}  // namespace tellurine::app
