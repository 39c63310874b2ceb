// The folder explorer and search documents: every file under a folder that holds icons, read on
// worker threads into tiles that arrive as they are ready, the folder watched so that the tiles
// follow its changes; saved as the folder and its options (".exp", or ".sea" for a search).
#pragma once

#include <QFileSystemWatcher>
#include <QImage>
#include <QTimer>
#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

#include "app/common/document.h"
#include "browse/explorer_settings.h"

namespace tellurine::app {

class AppContext;

// One file as its tile shows it.
struct ExplorerEntry {
    IconFileInfo info;  // its tile's picture taken out, into `picture`
    QImage picture;     // device pixel ratio set; null when the file cannot be read
};

class CExplorerDoc : public CKvDocument {
    Q_OBJECT
public:
    // The side of a tile's picture, in device-independent pixels.
    static constexpr int kTileSide = 48;

    // `templateResource`: the explorer's or the search's template.
    explicit CExplorerDoc(int templateResource, QObject* parent = nullptr);
    // Stops the worker (it looks between two files) and waits for it.
    ~CExplorerDoc() override;

    [[nodiscard]] const ExplorerSettings& Settings() const { return settings_; }
    // New settings: a new folder, subfolders or likeness reads the files again (once Scan has
    // been called); the order and conditions only change what is shown. Marks the document
    // modified.
    void SetSettings(const ExplorerSettings& settings);
    // Reads the folder, keeping what was read of files that have not changed since.
    void Scan();
    // Stops reading; the tiles made so far stay.
    void Cancel();
    [[nodiscard]] bool IsScanning() const { return scanning_; }
    [[nodiscard]] bool WasCancelled() const { return cancelled_; }
    // Files found by the listing, and of them those read so far.
    [[nodiscard]] int FilesListed() const { return listed_; }
    [[nodiscard]] int FilesRead() const { return read_; }

    [[nodiscard]] const std::vector<ExplorerEntry>& Entries() const { return entries_; }
    // Whether a file's tile shows under the conditions (a file that cannot be read shows while no
    // condition on its formats is set, unless the preference says to leave such files out).
    [[nodiscard]] bool Shows(const ExplorerEntry& entry) const;
    bool showUnreadable = true;

    bool Save(AppContext& app, bool choose) override;
    [[nodiscard]] bool CanSave() const override { return true; }
    [[nodiscard]] bool SaveWanted() const override { return IsModified() || PathName().isEmpty(); }

signals:
    // Entries [first, first + count) were appended.
    void entriesAdded(int first, int count);
    // Entries were replaced or removed (a change in the folder), or the conditions changed:
    // everything shown is to be worked out again.
    void entriesReset();
    // Reading started, progressed or ended.
    void progress();

private:
    struct Batch;
    void StartWorker(bool keepEntries);
    void StopWorker();
    void Take(const std::shared_ptr<Batch>& batch);
    void Watch(const std::vector<std::string>& folders);

    ExplorerSettings settings_;
    std::vector<ExplorerEntry> entries_;
    std::unordered_map<std::string, std::size_t> byPath_;
    std::shared_ptr<std::atomic<bool>> cancel_;
    std::thread thread_;
    bool scanning_ = false;
    bool started_ = false;
    int generation_ = 0;
    bool cancelled_ = false;
    int listed_ = 0;
    int read_ = 0;
    qreal ratio_ = 1;
    QFileSystemWatcher watcher_;
    QTimer rescan_;
};

// Opens an explorer (".exp") or search (".sea") file in a window; null after telling why not.
CKvDocument* OpenExplorerFile(AppContext& app, const QString& path, int templateResource);
// Opens a new explorer window on a folder (as `tellurine FOLDER` does), or a new search window
// when `search`, with the options the preferences give.
CKvDocument* OpenFolderExplorer(AppContext& app, const QString& folder, bool search = false);

}  // namespace tellurine::app
