// The program document: the icon groups of a Windows program or library, shown as tiles, read
// on a worker thread of the document's own by shell::ReadProgramTiles.
#pragma once

#include <QImage>
#include <QString>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "app/icon/icon_project.h"
#include "shell/program_tiles.h"

namespace tellurine::app {

class AppContext;

// One icon group as its tile shows it.
struct ExeTile {
    std::size_t group = 0;  // the group's place among the listed groups
    QString name;           // its name, or its number in decimal
    int formatCount = 0;    // the images that could be read
    QSize shownSize;        // the size of the format shown
    // The shown format for the screen: small formats pixel for pixel, large ones scaled down to
    // shell::kProgramTileSide device-independent pixels; its device pixel ratio is set.
    QImage picture;
    bool cursor = false;  // a cursor group, saved and opened as a cursor
};

using ExeDisplayChoice = shell::ProgramDisplayChoice;

class CFileExeDocument : public CKvDocument {
    Q_OBJECT
public:
    enum class State { Loading, Ready, Failed };

    explicit CFileExeDocument(QObject* parent = nullptr);
    // Stops the worker (it looks between two groups) and waits for it.
    ~CFileExeDocument() override;

    // Starts reading the program at the document's path on the worker thread.
    void StartLoading(const ExeDisplayChoice& choice);
    [[nodiscard]] State GetState() const { return state_; }
    [[nodiscard]] bool IsLoading() const { return state_ == State::Loading; }
    // Set when reading failed for lack of memory (rather than a file that cannot be read).
    [[nodiscard]] bool FailedForMemory() const { return outOfMemory_; }

    // The tiles made so far, in group order.
    [[nodiscard]] const std::vector<ExeTile>& Tiles() const { return tiles_; }
    // The largest side of the pictures shown so far, in device-independent pixels.
    [[nodiscard]] int LargestPictureSide() const { return largestSide_; }

    // The group of a tile with its images read again from the file, in their stored order (the
    // images that cannot be read left out), named by the group's name. Throws std::bad_alloc when
    // memory runs out.
    [[nodiscard]] CIconGroup ReadGroup(int tile) const;
    // The same as an icon project's formats, named as the group.
    [[nodiscard]] CIconDoc ReadIconDoc(int tile) const;
    // The name of the .ico file a tile's group is saved to (see ExeIcoFileName).
    [[nodiscard]] QString IcoFileName(int tile) const;
    // The program's bytes as read; empty before the listing arrives.
    [[nodiscard]] std::span<const std::uint8_t> Bytes() const {
        return listing_ != nullptr ? std::span<const std::uint8_t>(listing_->bytes) : std::span<const std::uint8_t>();
    }
    // A tile's group as listed; null for a tile out of range.
    [[nodiscard]] const ExeIconGroupListing* Group(int tile) const;

signals:
    // Tiles [first, first + count) were appended.
    void tilesAdded(int first, int count);
    // Reading ended with every tile made (possibly none).
    void loaded();
    // The file turned out not to be a readable program; the document shows nothing.
    void loadFailed();

private:
    // The worker's results, taken on the document's thread.
    void TakeTiles(std::vector<shell::ProgramTile>& tiles);
    void Finish(shell::ProgramReadEnd end);

    State state_ = State::Loading;
    bool outOfMemory_ = false;
    std::shared_ptr<const shell::ProgramListing> listing_;
    std::vector<ExeTile> tiles_;
    int largestSide_ = 0;
    qreal devicePixelRatio_ = 1;  // of the screen the tiles are made for
    std::shared_ptr<std::atomic<bool>> cancel_;
    std::thread thread_;
};

// Opens a program or library file in a window of its own (its icons are read on a worker thread);
// null after telling the user why not. A file whose headers already say it is not a program is
// refused at once; one whose resources turn out unreadable while the worker reads them closes its
// window and says so then.
CKvDocument* OpenProgramFile(AppContext& app, const QString& path, int templateResource);

}  // namespace tellurine::app
