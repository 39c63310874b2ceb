#include "app/program/exe_doc.h"

#include <QFileInfo>
#include <QPointer>
#include <QStatusBar>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <new>
#include <system_error>

#include "app/common/image_convert.h"
#include "shell/texts.h"
#include "app/program/exe_frame.h"
#include "app/shell/document_io.h"
#include "app/shell/kv_app.h"
#include "app/shell/main_frame.h"
#include "image/file_io.h"
#include "image/threads.h"

namespace tellurine::app {

struct CFileExeDocument::Listing {
    std::shared_ptr<const std::vector<std::uint8_t>> bytes;  // what the groups' images point into
    std::vector<ExeIconGroupListing> groups;                 // only groups with a readable image
};

struct CFileExeDocument::WorkerState {
    std::atomic<bool> cancel{false};
};

namespace {

// Groups read and made into tiles at a time, and the least time between two hand-overs of tiles
// (the first ones go at once), so that a large library is laid out a few times, not per group.
constexpr std::size_t kGroupsPerRound = 8;
constexpr std::chrono::milliseconds kHandOverInterval{50};

// A group's images as the core's reader of programs reads them: each with its own header (a PNG
// stream at its full depth), in stored order. The listing holds only images that can be read.
CIconGroup ReadListedGroup(const ExeIconGroupListing& listed) {
    CIconGroup group;
    group.name = listed.name.Display();
    for (const std::span<const std::uint8_t> data : listed.images) {
        CKvIcon icon;
        if (icon.ReadImage(data, static_cast<std::uint32_t>(data.size()), 0) != 0 && !icon.IsEmpty())
            if (group.AppendFormat(std::move(icon)) == 0) throw std::bad_alloc();
    }
    return group;
}

// The image of a group its tile shows, chosen from the listed formats as the group of the read
// images would choose it (CIconGroup::FindBestDisplayFormat). The choice depends only on each
// format's size, colour count and alpha, so it is made among blank formats of those: no image is
// decoded for it.
std::size_t ShownImage(const ExeIconGroupListing& listed, const ExeDisplayChoice& choice) {
    CIconGroup formats;
    for (const StoredImageFormat& f : listed.formats) {
        CKvIcon blank;
        if (blank.SetFormat(f.width, f.height, f.colors, f.alpha) == 0 || formats.AppendFormat(std::move(blank)) == 0)
            throw std::bad_alloc();
    }
    return static_cast<std::size_t>(
        std::max(0, formats.FindBestDisplayFormat(choice.sizeIndex, choice.depthIndex, choice.ratio)));
}

// The picture of a tile (see ExeTile::picture).
QImage TilePicture(const CKvIcon& icon, qreal ratio) {
    QImage picture = ImageFromIcon(icon).convertToFormat(QImage::Format_ARGB32_Premultiplied);
    if (picture.isNull()) return {};
    const QSize shown = ThumbnailRect(picture.size(), static_cast<int>(kExeTileIconSide * ratio + 0.5), ratio).size();
    const bool smaller = shown.width() < picture.width();
    if (shown != picture.size())
        picture = picture.scaled(shown, Qt::IgnoreAspectRatio, smaller ? Qt::SmoothTransformation : Qt::FastTransformation);
    picture.setDevicePixelRatio(ratio);
    return picture;
}

// A listed group's tile: only the image it shows is read (the tile goes without a picture when
// memory runs out for it).
ExeTile MakeTile(const ExeIconGroupListing& listed, std::size_t index, const ExeDisplayChoice& choice) {
    ExeTile tile;
    tile.group = index;
    tile.name = QString::fromStdString(listed.name.Display());
    tile.formatCount = static_cast<int>(listed.images.size());
    const std::size_t best = ShownImage(listed, choice);
    tile.shownSize = QSize(listed.formats[best].width, listed.formats[best].height);
    const std::span<const std::uint8_t> data = listed.images[best];
    CKvIcon shown;
    if (shown.ReadImage(data, static_cast<std::uint32_t>(data.size()), 0) != 0)
        tile.picture = TilePicture(shown, choice.ratio);
    return tile;
}

// Programs being read: the status bar says "Loading ..." while there is one.
int g_loading = 0;

}  // namespace

QString ExeIcoFileName(const QString& programPath, const ResourceName& group) {
    const QString safeName = QString::fromStdString(SafeFileNamePart(group.Display()));
    // The stem: the file name up to its last dot, unless that dot starts the name.
    const QString file = QFileInfo(programPath).fileName();
    const qsizetype dot = file.lastIndexOf('.');
    return (dot > 0 ? file.left(dot) : file) + "-" + safeName + ".ico";
}

CFileExeDocument::CFileExeDocument(QObject* parent) : CKvDocument(shell::kTemplateExe, parent) {}

CFileExeDocument::~CFileExeDocument() {
    if (worker_) worker_->cancel = true;
    if (thread_.joinable()) thread_.join();
}

void CFileExeDocument::StartLoading(const ExeDisplayChoice& choice) {
    state_ = State::Loading;
    worker_ = std::make_shared<WorkerState>();
    try {
        thread_ = std::thread(&CFileExeDocument::Work, this, worker_, PathName().toStdString(), choice);
    } catch (const std::system_error&) {
        // No thread to be had: told as memory running out, once the caller is done.
        QMetaObject::invokeMethod(this, [this] { Finish(false, true); }, Qt::QueuedConnection);
    }
}

void CFileExeDocument::Work(CFileExeDocument* document, std::shared_ptr<WorkerState> state, std::string path,
                            ExeDisplayChoice choice) {
    const auto finish = [document](bool ok, bool outOfMemory) {
        QMetaObject::invokeMethod(document, [document, ok, outOfMemory] { document->Finish(ok, outOfMemory); },
                                  Qt::QueuedConnection);
    };
    auto listing = std::make_shared<Listing>();
    try {
        auto bytes = std::make_shared<std::vector<std::uint8_t>>();
        std::string error;
        if (!ReadFileBytes(path, *bytes, kMaxExeFileBytes, error)) return finish(false, false);
        auto groups = DescribeExeIcons(*bytes);
        if (!groups) return finish(false, false);
        listing->bytes = std::move(bytes);
        listing->groups = std::move(*groups);
    } catch (const std::bad_alloc&) {
        return finish(false, true);
    }
    QMetaObject::invokeMethod(document, [document, listing] { document->TakeListing(listing); }, Qt::QueuedConnection);

    // Rounds of a few groups, read on a few threads; the tiles go over in group order.
    const std::vector<ExeIconGroupListing>& groups = listing->groups;
    const unsigned threads = std::clamp(std::thread::hardware_concurrency(), 1u, 4u);
    auto batch = std::make_shared<std::vector<ExeTile>>();
    auto lastHandOver = std::chrono::steady_clock::now() - kHandOverInterval;
    for (std::size_t start = 0; start < groups.size(); start += kGroupsPerRound) {
        if (state->cancel) return;
        const std::size_t end = std::min(groups.size(), start + kGroupsPerRound);
        std::vector<ExeTile> made(end - start);
        std::atomic<std::size_t> next{start};
        std::atomic<bool> outOfMemory{false};
        const auto work = [&] {
            for (std::size_t g = next++; g < end && !state->cancel && !outOfMemory; g = next++) {
                try {
                    made[g - start] = MakeTile(groups[g], g, choice);
                } catch (const std::bad_alloc&) {
                    outOfMemory = true;
                }
            }
        };
        RunOnThreads(static_cast<unsigned>(std::min<std::size_t>(threads, end - start)), work);
        if (outOfMemory) return finish(false, true);
        for (ExeTile& tile : made) batch->push_back(std::move(tile));
        const auto now = std::chrono::steady_clock::now();
        if (!batch->empty() && (end == groups.size() || now - lastHandOver >= kHandOverInterval)) {
            QMetaObject::invokeMethod(document, [document, batch] { document->TakeTiles(batch); }, Qt::QueuedConnection);
            batch = std::make_shared<std::vector<ExeTile>>();
            lastHandOver = now;
        }
    }
    if (state->cancel) return;
    finish(true, false);
}

void CFileExeDocument::TakeListing(std::shared_ptr<Listing> listing) { listing_ = std::move(listing); }

void CFileExeDocument::TakeTiles(std::shared_ptr<std::vector<ExeTile>> tiles) {
    const int first = static_cast<int>(tiles_.size());
    for (ExeTile& tile : *tiles) {
        if (!tile.picture.isNull()) {
            const QSizeF shown = tile.picture.deviceIndependentSize();
            largestSide_ = std::max(largestSide_, static_cast<int>(std::ceil(std::max(shown.width(), shown.height()))));
        }
        tiles_.push_back(std::move(tile));
    }
    emit tilesAdded(first, static_cast<int>(tiles_.size()) - first);
}

void CFileExeDocument::Finish(bool ok, bool outOfMemory) {
    if (thread_.joinable()) thread_.join();  // it has nothing left to do but return
    state_ = ok ? State::Ready : State::Failed;
    outOfMemory_ = outOfMemory;
    if (ok) emit loaded();
    else emit loadFailed();
}

CIconGroup CFileExeDocument::ReadGroup(int tile) const {
    if (listing_ == nullptr || tile < 0 || static_cast<std::size_t>(tile) >= tiles_.size()) return {};
    return ReadListedGroup(listing_->groups[tiles_[static_cast<std::size_t>(tile)].group]);
}

CIconDoc CFileExeDocument::ReadIconDoc(int tile) const {
    CIconGroup group = ReadGroup(tile);
    CIconDoc doc;
    doc.name = group.name;
    if (!doc.TakeFormats(group)) throw std::bad_alloc();
    return doc;
}

QString CFileExeDocument::IcoFileName(int tile) const {
    if (listing_ == nullptr || tile < 0 || static_cast<std::size_t>(tile) >= tiles_.size()) return {};
    return ExeIcoFileName(PathName(), listing_->groups[tiles_[static_cast<std::size_t>(tile)].group].name);
}

CKvDocument* OpenProgramFile(CKvApp& app, const QString& path, int) {
    if (!LooksLikeProgramFile(path.toStdString())) {
        ReportUnreadable(app, path, ReadResult::NotReadable, text::kIconReadError);
        return nullptr;
    }
    CMainFrame* main = app.MainFrame();
    auto* document = new CFileExeDocument();
    document->SetPathName(path);
    auto* frame = new CFileExeMDI(app, *document);
    main->AddDocumentWindow(document, frame);

    // "Loading ..." while any program is read; the status bar's usual text after the last.
    ++g_loading;
    main->statusBar()->showMessage(text::kExeLoading);
    auto ended = std::make_shared<bool>(false);
    const auto loadEnded = [bar = QPointer<QStatusBar>(main->statusBar()), ended] {
        if (*ended) return;
        *ended = true;
        if (--g_loading == 0 && bar != nullptr && bar->currentMessage() == text::kExeLoading)
            bar->showMessage(text::kReady);
    };
    QObject::connect(document, &CFileExeDocument::loaded, main, loadEnded);
    QObject::connect(document, &CFileExeDocument::loadFailed, main, loadEnded);
    QObject::connect(document, &QObject::destroyed, main, loadEnded);

    // Resources that cannot be read after all: the window goes, and the file leaves the recent
    // lists that opening it put it on.
    QObject::connect(document, &CFileExeDocument::loadFailed, main, [&app, document] {
        const QString file = document->PathName();
        const bool outOfMemory = document->FailedForMemory();
        if (CKvMdiChild* child = app.MainFrame()->ChildOf(document)) child->close();
        ReportUnreadable(app, file, outOfMemory ? ReadResult::OutOfMemory : ReadResult::NotReadable, text::kIconReadError);
    });

    ExeDisplayChoice choice;
    choice.sizeIndex = std::clamp(app.prefs.ExeDisplaySize, 0, 4);
    choice.depthIndex = std::clamp(app.prefs.ExeDisplayColor, 0, 3);
    choice.ratio = std::max<qreal>(1.0, frame->devicePixelRatioF());
    document->StartLoading(choice);
    return document;
}

}  // namespace tellurine::app
