#include "app/explorer/explorer_doc.h"

#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QScreen>
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <unordered_set>

#include "app/common/app_context.h"
#include "app/common/file_reading.h"
#include "app/common/image_convert.h"
#include "app/explorer/explorer_frame.h"
#include "browse/likeness.h"
#include "image/file_io.h"
#include "shell/texts.h"

namespace tellurine::app {

namespace {

// The most folders watched for changes; a tree with more is read again only when asked.
constexpr int kMaxWatchedFolders = 256;
// How often the worker hands over what it has read, at most.
constexpr auto kBatchInterval = std::chrono::milliseconds(40);
// How long the folder must be still before it is read again.
constexpr int kRescanDelayMs = 400;

}  // namespace

// What the worker hands over: the listing once, then files read, then the end.
struct CExplorerDoc::Batch {
    std::optional<ExplorerListing> listing;
    std::vector<ExplorerEntry> entries;
    bool end = false;
    int generation = 0;  // the reading it comes from: a stopped one's late batches are dropped
};

CExplorerDoc::CExplorerDoc(int templateResource, QObject* parent) : CKvDocument(templateResource, parent) {
    if (const QScreen* screen = QGuiApplication::primaryScreen()) ratio_ = screen->devicePixelRatio();
    rescan_.setSingleShot(true);
    rescan_.setInterval(kRescanDelayMs);
    connect(&rescan_, &QTimer::timeout, this, [this] {
        // A change while reading is read when the reading ends.
        if (scanning_)
            rescan_.start();
        else
            Scan();
    });
    connect(&watcher_, &QFileSystemWatcher::directoryChanged, this, [this] { rescan_.start(); });
}

CExplorerDoc::~CExplorerDoc() {
    StopWorker();
}

void CExplorerDoc::StopWorker() {
    if (cancel_) *cancel_ = true;
    if (thread_.joinable()) thread_.join();
}

void CExplorerDoc::SetSettings(const ExplorerSettings& settings) {
    const bool newFiles = settings.folder != settings_.folder || settings.subfolders != settings_.subfolders;
    const bool newLikeness = settings.likeFile != settings_.likeFile;
    const std::optional<std::uint64_t> like = settings_.criteria.like;
    settings_ = settings;
    settings_.criteria.like = newLikeness ? std::nullopt : like;
    SetModifiedFlag(true);
    // Before the first reading the settings are only taken.
    if (!started_) return;
    if (newFiles || newLikeness) {
        StartWorker(false);
    } else {
        emit entriesReset();
    }
}

void CExplorerDoc::Scan() {
    started_ = true;
    StartWorker(true);
}

void CExplorerDoc::Cancel() {
    if (!scanning_) return;
    *cancel_ = true;
    cancelled_ = true;
}

void CExplorerDoc::StartWorker(bool keepEntries) {
    StopWorker();
    if (!keepEntries) {
        entries_.clear();
        byPath_.clear();
        emit entriesReset();
    }
    // The worker touches nothing of the document: it works from copies and hands its results over
    // to the document's thread, where they are taken in the order they were sent.
    std::unordered_map<std::string, FileStamp> known;
    for (const ExplorerEntry& e : entries_) known.emplace(e.info.path, FileStamp{e.info.modified, e.info.bytes});
    cancel_ = std::make_shared<std::atomic<bool>>(false);
    scanning_ = true;
    cancelled_ = false;
    listed_ = read_ = 0;
    emit progress();
    const bool likeness = !settings_.likeFile.empty();
    const auto post = [this, generation = ++generation_](std::shared_ptr<Batch> batch) {
        batch->generation = generation;
        QMetaObject::invokeMethod(
            this, [this, batch] { Take(batch); }, Qt::QueuedConnection);
    };
    const auto work = [post, likeness, known = std::move(known), settings = settings_, cancel = cancel_,
                       side = static_cast<int>(kTileSide * ratio_ + 0.5), ratio = ratio_] {
        auto listing = std::make_shared<Batch>();
        listing->listing = ListExplorerTree(settings, known, cancel.get());
        // The document only reads the listing, so the worker reads it too rather than copy it.
        const std::vector<std::string>& toRead = listing->listing->toRead;
        post(listing);
        std::mutex guard;
        auto pending = std::make_shared<Batch>();
        auto sent = std::chrono::steady_clock::now();
        ReadIconFileInfos(
            toRead, likeness, static_cast<int>(std::max(1u, std::thread::hardware_concurrency())),
            [&](IconFileInfo&& info) {
                ExplorerEntry entry;
                QImage picture = ImageFromDib32(info.tile).convertToFormat(QImage::Format_ARGB32_Premultiplied);
                picture.setDevicePixelRatio(ratio);
                entry.picture = std::move(picture);
                info.tile = {};
                entry.info = std::move(info);
                const std::scoped_lock lock(guard);
                pending->entries.push_back(std::move(entry));
                if (std::chrono::steady_clock::now() - sent >= kBatchInterval) {
                    post(std::exchange(pending, std::make_shared<Batch>()));
                    sent = std::chrono::steady_clock::now();
                }
            },
            cancel.get(), side);
        pending->end = true;
        post(pending);
    };
    try {
        thread_ = std::thread(work);
    } catch (const std::system_error&) {
        scanning_ = false;
        emit progress();
    }
}

void CExplorerDoc::Take(const std::shared_ptr<Batch>& batch) {
    if (batch->generation != generation_) return;
    bool reset = false;
    if (const std::optional<ExplorerListing>& listing = batch->listing) {
        // Files gone from the folder go from the tiles.
        const std::unordered_set<std::string> there(listing->paths.begin(), listing->paths.end());
        const std::size_t before = entries_.size();
        std::erase_if(entries_, [&there](const ExplorerEntry& e) { return !there.contains(e.info.path); });
        reset = entries_.size() != before;
        byPath_.clear();
        for (std::size_t i = 0; i < entries_.size(); ++i) byPath_.emplace(entries_[i].info.path, i);
        settings_.criteria.like = listing->like;
        listed_ = static_cast<int>(listing->paths.size());
        read_ = listed_ - static_cast<int>(listing->toRead.size());
        Watch(listing->folders);
    }
    const int first = static_cast<int>(entries_.size());
    for (ExplorerEntry& entry : batch->entries) {
        ++read_;
        // A file read again (it changed) takes its old tile's place.
        if (const auto old = byPath_.find(entry.info.path); old != byPath_.end()) {
            entries_[old->second] = std::move(entry);
            reset = true;
        } else {
            byPath_.emplace(entry.info.path, entries_.size());
            entries_.push_back(std::move(entry));
        }
    }
    if (batch->end) {
        if (thread_.joinable()) thread_.join();  // it has nothing left to do but return
        scanning_ = false;
    }
    if (reset)
        emit entriesReset();
    else if (static_cast<int>(entries_.size()) > first)
        emit entriesAdded(first, static_cast<int>(entries_.size()) - first);
    emit progress();
}

void CExplorerDoc::Watch(const std::vector<std::string>& folders) {
    if (const QStringList watched = watcher_.directories(); !watched.isEmpty()) watcher_.removePaths(watched);
    QStringList paths;
    for (const std::string& folder : folders) {
        if (paths.size() >= kMaxWatchedFolders) break;
        paths << QString::fromStdString(folder);
    }
    if (!paths.isEmpty()) watcher_.addPaths(paths);
}

bool CExplorerDoc::Shows(const ExplorerEntry& entry) const {
    const SearchCriteria& c = settings_.criteria;
    const std::string name = std::filesystem::path(entry.info.path).filename().string();
    if (!c.namePattern.empty() && !MatchesNamePattern(c.namePattern, name)) return false;
    if (!entry.info.error.empty())
        return showUnreadable && c.sizes.empty() && c.depths.empty() && !c.alpha && !c.like &&
               (c.kinds.empty() || std::find(c.kinds.begin(), c.kinds.end(), entry.info.kind) != c.kinds.end());
    // A likeness asked for but not yet known (its file unreadable) asks nothing.
    return MatchesCriteria(entry.info, c);
}

bool CExplorerDoc::Save(AppContext& app, bool choose) {
    const bool search = TemplateResource() == shell::kTemplateSearch;
    QString path = PathName();
    if (choose || path.isEmpty()) {
        const QString suggested =
            QDir(QString::fromStdString(settings_.folder))
                .filePath(QFileInfo(QString::fromStdString(settings_.folder)).fileName() + (search ? ".sea" : ".exp"));
        path = app.Prompts().GetSaveFileName(app.Window(), suggested,
                                             search ? text::kSearchFilter : text::kExplorerFilter, nullptr);
        if (path.isEmpty()) return false;
    }
    ExplorerSettings saved = settings_;
    saved.criteria.like.reset();
    const std::string bytes = WriteExplorerSettings(saved);
    std::string error;
    if (!WriteFileAtomically(path.toStdString(), std::vector<std::uint8_t>(bytes.begin(), bytes.end()), error)) {
        app.ShowError(QString(text::kSaveFailed).arg(path, QString::fromStdString(error)));
        return false;
    }
    SetPathName(path);
    SetModifiedFlag(false);
    app.AddToRecentFileList(path);
    return true;
}

namespace {

CKvDocument* ShowExplorer(AppContext& app, CExplorerDoc* document) {
    document->showUnreadable = app.Prefs().ExplorerRemoveNoIconFiles == 0;
    auto* frame = new CExplorerMDI(app, *document);
    app.AddDocumentWindow(document, frame);
    document->Scan();
    return document;
}

}  // namespace

CKvDocument* OpenExplorerFile(AppContext& app, const QString& path, int templateResource) {
    std::vector<std::uint8_t> bytes;
    std::string error;
    ExplorerSettings settings;
    if (!ReadFileBytes(path.toStdString(), bytes, kMaxExplorerFileBytes, error) ||
        !ReadExplorerSettings(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()), settings,
                              error)) {
        ReportUnreadable(app, path, ReadResult::NotReadable, text::kExplorerNotReadable, error);
        return nullptr;
    }
    auto* document = new CExplorerDoc(templateResource);
    document->SetSettings(settings);
    document->SetModifiedFlag(false);
    document->SetPathName(path);
    return ShowExplorer(app, document);
}

CKvDocument* OpenFolderExplorer(AppContext& app, const QString& folder, bool search) {
    const shell::Preferences& prefs = app.Prefs();
    ExplorerSettings settings;
    settings.folder = QDir(folder).absolutePath().toStdString();
    settings.sort = static_cast<ExplorerSort>(std::clamp(prefs.ExplorerSortBy, 0, 2));
    settings.descending = prefs.ExplorerSortOrder != 0;
    // Pictures and programs are listed as the preferences say; every kind when both are.
    if (prefs.ExplorerShowImageFiles == 0 || prefs.ExplorerShowProgramFiles == 0) {
        settings.criteria.kinds = {IconFileKind::Icon, IconFileKind::Cursor, IconFileKind::AnimatedCursor,
                                   IconFileKind::Macintosh};
        if (prefs.ExplorerShowProgramFiles != 0)
            settings.criteria.kinds.insert(settings.criteria.kinds.end(),
                                           {IconFileKind::Program, IconFileKind::Library});
        if (prefs.ExplorerShowImageFiles != 0)
            settings.criteria.kinds.insert(settings.criteria.kinds.end(),
                                           {IconFileKind::Picture, IconFileKind::Vector});
    }
    auto* document = new CExplorerDoc(search ? shell::kTemplateSearch : shell::kTemplateExplorer);
    document->SetSettings(settings);
    document->SetModifiedFlag(false);
    document->SetTitle(QFileInfo(folder).fileName().isEmpty() ? folder : QFileInfo(folder).fileName());
    return ShowExplorer(app, document);
}

}  // namespace tellurine::app
