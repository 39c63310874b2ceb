// The program document: the icon groups of a Windows program or library, shown as tiles.
//
// The file is read on a worker thread of the document's own. The worker reads the bytes and lists
// the icon groups with their images' formats, told from the images' headers as the command-line
// tool lists them (groups none of whose images can be read are left out, as it leaves them out);
// then for each group it reads the one image its tile shows (the format chosen for display,
// already scaled for the screen), handing the tiles over in group order as they are ready. The
// images themselves are not kept: a command on a group reads them again from the kept bytes.
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
#include "formats/pe_resources.h"

namespace tellurine::app {

class CKvApp;

// One icon group as its tile shows it.
struct ExeTile {
    std::size_t group = 0;  // the group's place among the listed groups
    QString name;           // its name, or its number in decimal
    int formatCount = 0;    // the images that could be read
    QSize shownSize;        // the size of the format shown
    // The shown format for the screen: small formats pixel for pixel, large ones scaled down to
    // kExeTileIconSide device-independent pixels; its device pixel ratio is set.
    QImage picture;
};

// The largest side of a tile's picture, in device-independent pixels.
inline constexpr int kExeTileIconSide = 96;

// What the document remembers of the display preferences when it starts reading.
struct ExeDisplayChoice {
    int sizeIndex = 3;   // ExeDisplaySize: 16, 32, 48, 256 or the screen-scaled 48
    int depthIndex = 3;  // ExeDisplayColor: 2, 16, 256 colours or true colour with alpha
    qreal ratio = 1.0;   // the screen's device pixel ratio
};

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

signals:
    // Tiles [first, first + count) were appended.
    void tilesAdded(int first, int count);
    // Reading ended with every tile made (possibly none).
    void loaded();
    // The file turned out not to be a readable program; the document shows nothing.
    void loadFailed();

private:
    struct Listing;
    struct WorkerState;
    // The worker's whole run; it touches nothing of the document but hands its results over to
    // the document's thread.
    static void Work(CFileExeDocument* document, std::shared_ptr<WorkerState> state, std::string path,
                     ExeDisplayChoice choice);
    // The worker's results, taken on the document's thread.
    void TakeListing(std::shared_ptr<Listing> listing);
    void TakeTiles(std::shared_ptr<std::vector<ExeTile>> tiles);
    void Finish(bool ok, bool outOfMemory);

    State state_ = State::Loading;
    bool outOfMemory_ = false;
    std::shared_ptr<Listing> listing_;
    std::vector<ExeTile> tiles_;
    int largestSide_ = 0;
    std::shared_ptr<WorkerState> worker_;
    std::thread thread_;
};

// The name a group of the program at `programPath` is saved under, as the command-line tool
// names what it extracts from a program: the program's file name without its extension, "-",
// and the group's name with every character other than a letter, a digit, '.', '_' and '-' made
// '_' (an empty, "." or ".." name gets a leading '_'), then ".ico".
QString ExeIcoFileName(const QString& programPath, const ResourceName& group);

// Opens a program or library file in a window of its own (its icons are read on a worker thread);
// null after telling the user why not. A file whose headers already say it is not a program is
// refused at once; one whose resources turn out unreadable while the worker reads them closes its
// window and says so then.
CKvDocument* OpenProgramFile(CKvApp& app, const QString& path, int templateResource);

}  // namespace tellurine::app
