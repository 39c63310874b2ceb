#include "app/icon/clipboard.h"

#include <QBuffer>
#include <QDir>
#include <QImage>
#include <QUrl>

#include "app/common/image_convert.h"
#include "icon/icon_group.h"
#include "image/dib_block.h"
#include "image/file_io.h"
#include "image/raster.h"
#include "shell/clipboard_forms.h"

namespace tellurine::app {

namespace {

QByteArray Bytes(const std::vector<std::uint8_t>& bytes) {
    return QByteArray(reinterpret_cast<const char*>(bytes.data()), static_cast<qsizetype>(bytes.size()));
}

std::span<const std::uint8_t> Span(const QByteArray& bytes) {
    return {reinterpret_cast<const std::uint8_t*>(bytes.constData()), static_cast<std::size_t>(bytes.size())};
}

bool FromQImage(const QImage& image, DeviceBitmap& color, DeviceBitmap& alpha) {
    if (image.isNull() || image.width() > shell::kMaxPasteSide || image.height() > shell::kMaxPasteSide) return false;
    const Block dib = Dib32FromImage(image);
    color = DibToDeviceBitmap(dib);
    alpha = DibAlphaToDeviceBitmap(dib);
    return !color.IsNull() && !alpha.IsNull();
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
        if (const QByteArray bytes = Bytes(shell::GroupBytes(group)); !bytes.isEmpty()) data.setData(kIconFormatMime, bytes);
    if (const QByteArray bytes = Bytes(shell::PaletteBytes(palette)); !bytes.isEmpty()) data.setData(kPaletteMime, bytes);
}

void AddIconData(QMimeData& data, CIconGroup& group) {
    if (const QByteArray bytes = Bytes(shell::GroupBytes(group)); !bytes.isEmpty()) data.setData(kIconEditMime, bytes);
}

std::unique_ptr<QMimeData> WholeIconMimeData(CIconGroup& group) {
    if (group.FormatCount() == 0) return nullptr;
    const Block dib = group.LargestFormat()->To32BitDib();
    std::unique_ptr<QMimeData> mime = PictureMimeData(DibToDeviceBitmap(dib), DibAlphaToDeviceBitmap(dib));
    AddIconData(*mime, group);
    if (const QByteArray whole = mime->data(kIconEditMime); !whole.isEmpty()) mime->setData(kIconFormatMime, whole);
    return mime;
}

bool IconFromMimeData(const QMimeData& data, CIconDoc& doc) {
    CIconGroup group;
    if (!data.hasFormat(kIconEditMime) || !shell::GroupFromBytes(Span(data.data(kIconEditMime)), group) ||
        group.FormatCount() == 0)
        return false;
    return doc.TakeFormats(group) && doc.GetFormatCount() > 0;
}

void AddFileList(QMimeData& data, const QStringList& paths) {
    QList<QUrl> urls;
    for (const QString& path : paths) urls << QUrl::fromLocalFile(path);
    data.setUrls(urls);
    data.setData(kFileListMime, paths.join('\n').toUtf8());
}

void AddCopiedFiles(QMimeData& data, const std::vector<std::pair<QString, std::vector<std::uint8_t>>>& files) {
    const QString folder = QDir(QDir::tempPath()).filePath("tellurine-copied");
    QStringList written;
    if (QDir().mkpath(folder))
        for (const auto& [name, bytes] : files) {
            const QString path = QDir(folder).filePath(name);
            std::string error;
            if (WriteFileAtomically(path.toStdString(), bytes, error, Durability::NoFlush)) written << path;
        }
    if (!written.isEmpty()) AddFileList(data, written);
}

std::vector<CKvIcon> FormatsFromMimeData(const QMimeData& data) {
    return data.hasFormat(kIconFormatMime) ? shell::FormatsFromBytes(Span(data.data(kIconFormatMime))) : std::vector<CKvIcon>{};
}

bool PaletteFromMimeData(const QMimeData& data, Palette& palette) {
    return data.hasFormat(kPaletteMime) && shell::PaletteFromBytes(Span(data.data(kPaletteMime)), palette);
}

bool PictureFromMimeData(const QMimeData& data, DeviceBitmap& color, DeviceBitmap& alpha) {
    if (data.hasFormat(kDib32Mime) && shell::PictureFromDibBytes(Span(data.data(kDib32Mime)), color, alpha)) return true;
    if (data.hasFormat("image/png") && FromQImage(QImage::fromData(data.data("image/png"), "PNG"), color, alpha))
        return true;
    return data.hasImage() && FromQImage(qvariant_cast<QImage>(data.imageData()), color, alpha);
}

}  // namespace tellurine::app
