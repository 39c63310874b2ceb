#include "app/program/exe_doc.h"

#include <QFileInfo>
#include <QPointer>
#include <QStatusBar>
#include <algorithm>
#include <cmath>
#include <new>
#include <system_error>

#include "app/common/app_context.h"
#include "app/common/file_reading.h"
#include "app/common/image_convert.h"
#include "app/program/exe_frame.h"
#include "shell/texts.h"

namespace tellurine::app {

namespace {

// Programs being read: the status bar says "Loading ..." while there is one.
int g_loading = 0;

}  // namespace

CFileExeDocument::CFileExeDocument(QObject* parent) : CKvDocument(shell::kTemplateExe, parent) {}

CFileExeDocument::~CFileExeDocument() {
    if (cancel_) *cancel_ = true;
    if (thread_.joinable()) thread_.join();
}

void CFileExeDocument::StartLoading(const ExeDisplayChoice& choice) {
    state_ = State::Loading;
    devicePixelRatio_ = choice.ratio;
    cancel_ = std::make_shared<std::atomic<bool>>(false);
    // The worker touches nothing of the document: it hands its results over to the document's
    // thread, where they are taken in the order they were sent.
    const auto work = [this, cancel = cancel_, path = PathName().toStdString(), choice] {
        const shell::ProgramReadEnd end = shell::ReadProgramTiles(
            path, choice, *cancel,
            [this](std::shared_ptr<const shell::ProgramListing> listing) {
                QMetaObject::invokeMethod(this, [this, listing] { listing_ = listing; }, Qt::QueuedConnection);
            },
            [this](std::vector<shell::ProgramTile> tiles) {
                QMetaObject::invokeMethod(this, [this, made = std::make_shared<decltype(tiles)>(std::move(tiles))] {
                    TakeTiles(*made);
                }, Qt::QueuedConnection);
            });
        if (end != shell::ProgramReadEnd::Cancelled)
            QMetaObject::invokeMethod(this, [this, end] { Finish(end); }, Qt::QueuedConnection);
    };
    try {
        thread_ = std::thread(work);
    } catch (const std::system_error&) {
        // No thread to be had: told as memory running out, once the caller is done.
        QMetaObject::invokeMethod(this, [this] { Finish(shell::ProgramReadEnd::OutOfMemory); }, Qt::QueuedConnection);
    }
}

void CFileExeDocument::TakeTiles(std::vector<shell::ProgramTile>& tiles) {
    const int first = static_cast<int>(tiles_.size());
    for (shell::ProgramTile& made : tiles) {
        ExeTile tile{made.group, QString::fromStdString(made.name), made.formatCount,
                     QSize(made.shownWidth, made.shownHeight), {}, made.cursor};
        QImage picture = ImageFromDib32(made.picture).convertToFormat(QImage::Format_ARGB32_Premultiplied);
        if (!picture.isNull()) {
            // A small picture grows by whole multiples, its pixels kept square.
            const QSize shown(made.pictureWidth, made.pictureHeight);
            if (picture.size() != shown) picture = picture.scaled(shown, Qt::IgnoreAspectRatio, Qt::FastTransformation);
            picture.setDevicePixelRatio(devicePixelRatio_);
            const QSizeF side = picture.deviceIndependentSize();
            largestSide_ = std::max(largestSide_, static_cast<int>(std::ceil(std::max(side.width(), side.height()))));
            tile.picture = std::move(picture);
        }
        tiles_.push_back(std::move(tile));
    }
    emit tilesAdded(first, static_cast<int>(tiles_.size()) - first);
}

void CFileExeDocument::Finish(shell::ProgramReadEnd end) {
    if (thread_.joinable()) thread_.join();  // it has nothing left to do but return
    state_ = end == shell::ProgramReadEnd::Done ? State::Ready : State::Failed;
    outOfMemory_ = end == shell::ProgramReadEnd::OutOfMemory;
    if (state_ == State::Ready) emit loaded();
    else emit loadFailed();
}

CIconGroup CFileExeDocument::ReadGroup(int tile) const {
    if (listing_ == nullptr || tile < 0 || static_cast<std::size_t>(tile) >= tiles_.size()) return {};
    return listing_->ReadGroup(tiles_[static_cast<std::size_t>(tile)].group);
}

CIconDoc CFileExeDocument::ReadIconDoc(int tile) const {
    if (listing_ == nullptr || tile < 0 || static_cast<std::size_t>(tile) >= tiles_.size()) return {};
    return listing_->ReadDocument(tiles_[static_cast<std::size_t>(tile)].group);
}

const ExeIconGroupListing* CFileExeDocument::Group(int tile) const {
    if (listing_ == nullptr || tile < 0 || static_cast<std::size_t>(tile) >= tiles_.size()) return nullptr;
    return &listing_->groups[tiles_[static_cast<std::size_t>(tile)].group];
}

QString CFileExeDocument::IcoFileName(int tile) const {
    if (listing_ == nullptr || tile < 0 || static_cast<std::size_t>(tile) >= tiles_.size()) return {};
    const ExeIconGroupListing& group = listing_->groups[tiles_[static_cast<std::size_t>(tile)].group];
    return QString::fromStdString(shell::ProgramIcoFileName(PathName().toStdString(), group.name, group.cursor));
}

CKvDocument* OpenProgramFile(AppContext& app, const QString& path, int) {
    if (!LooksLikeProgramFile(path.toStdString())) {
        ReportUnreadable(app, path, ReadResult::NotReadable, text::kIconReadError);
        return nullptr;
    }
    QMainWindow* main = app.Window();
    auto* document = new CFileExeDocument();
    document->SetPathName(path);
    auto* frame = new CFileExeMDI(app, *document);
    app.AddDocumentWindow(document, frame);

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
        app.CloseDocumentWindow(document);
        ReportUnreadable(app, file, outOfMemory ? ReadResult::OutOfMemory : ReadResult::NotReadable, text::kIconReadError);
    });

    ExeDisplayChoice choice;
    choice.sizeIndex = std::clamp(app.Prefs().ExeDisplaySize, 0, 4);
    choice.depthIndex = std::clamp(app.Prefs().ExeDisplayColor, 0, 3);
    choice.ratio = std::max<qreal>(1.0, frame->devicePixelRatioF());
    document->StartLoading(choice);
    return document;
}

}  // namespace tellurine::app
