// The animated-cursor document: the steps of an .ani file, listed with their rates and hotspots and
// played at their rates.
#pragma once

#include <QAbstractListModel>
#include <QImage>
#include <QPixmap>
#include <QString>
#include <QTimer>
#include <QWidget>
#include <functional>
#include <vector>

#include "app/icon/icon_project.h"
#include "editor/ani_player.h"
#include "editor/canvas_resources.h"
#include "formats/ani_file.h"

class QAction;
class QLabel;
class QListView;

namespace tellurine::app {

class AppContext;

// An animated cursor as read: its steps in play order (a frame shown by several steps is in each
// of them) and its title and author. Read only.
class CAniDocument : public CKvDocument {
    Q_OBJECT
public:
    explicit CAniDocument(QObject* parent = nullptr);

    std::vector<CAniObject> steps;
    AniFileInfo info;

    // The steps' display rates, in jiffies, for the player.
    [[nodiscard]] std::vector<std::uint32_t> Rates() const;
    // A step's row in the list: its number (from 1), size, depth, rate and hotspot.
    [[nodiscard]] QString StepText(int step) const;
    // A step's picture (alpha not premultiplied); null outside the steps.
    [[nodiscard]] QImage StepPicture(int step) const;
    // The title and the author on two lines, each only when the file names it.
    [[nodiscard]] QString InfoText() const;
};

// The steps as list rows: a thumbnail over the checkerboard and the step's text.
class CAniStepListModel : public QAbstractListModel {
    Q_OBJECT
public:
    explicit CAniStepListModel(const CAniDocument& document, QObject* parent = nullptr);
    static constexpr int kThumbnailSize = 32;
    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;

private:
    [[nodiscard]] QPixmap Thumbnail(int row) const;
    const CAniDocument& document_;
    mutable std::vector<QPixmap> thumbnails_;  // made when a row is first shown
};

// The player's picture: the shown step at the largest whole zoom that fits, over the canvas's
// transparency backdrop, with its hotspot marked.
class CAniPlayerView : public QWidget {
    Q_OBJECT
public:
    explicit CAniPlayerView(const editor::CanvasResources& resources, QWidget* parent = nullptr);
    void SetPicture(const QImage& picture, QPoint hotspot);
    [[nodiscard]] const QImage& Picture() const { return picture_; }
    [[nodiscard]] QPoint Hotspot() const { return hotspot_; }
    [[nodiscard]] int Zoom() const;
    // Where the magnified picture lies in the view.
    [[nodiscard]] QRect PictureRect() const;
    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    const editor::CanvasResources& resources_;
    QImage picture_;
    QPoint hotspot_;
};

// The animated cursor's frame: the list of steps beside the player with its buttons.
class CImageDocMDI : public QWidget {
    Q_OBJECT
public:
    CImageDocMDI(AppContext& app, CAniDocument& document, QWidget* parent = nullptr);
    [[nodiscard]] CAniDocument& Document() { return document_; }

    QListView* stepList = nullptr;
    CAniStepListModel* model = nullptr;
    CAniPlayerView* playerView = nullptr;
    QLabel* infoLabel = nullptr;
    QLabel* stepLabel = nullptr;
    QAction* actPlay = nullptr;
    QAction* actPreviousStep = nullptr;
    QAction* actNextStep = nullptr;
    QAction* actNewIcon = nullptr;
    editor::AniPlayer player;
    QTimer timer;  // due when the next step shows
    // The player's clock in milliseconds; a steady clock unless a test sets its own.
    std::function<qint64()> clock;

    // The step shown (and selected in the list); -1 without steps.
    [[nodiscard]] int CurrentStep() const { return player.Step(); }
    // What the window's commands may do now: play and step through several steps; make an icon
    // of the shown one.
    [[nodiscard]] bool CanPlay() const { return player.StepCount() > 1; }
    [[nodiscard]] bool HasStep() const { return player.Step() >= 0; }

public slots:
    void updateActions();
    void OnPlay();
    void OnPreviousStep();
    void OnNextStep();
    // Opens a new icon project (a cursor) made from the shown step.
    void OnNewIconFromStep();
    // Takes the clock: shows the step it has reached and waits for the next.
    void OnTimer();

private:
    // Shows the player's step in the view and the list.
    void ShowStep();
    void Schedule();

    AppContext& app_;
    CAniDocument& document_;
};

// The animation windows' commands: play or pause, the previous and next steps, a new icon of the
// shown step.
void RegisterAnimationCommands(AppContext& app);

// Reads an animated cursor and opens it in a window of its own; null after telling the user why not.
CKvDocument* OpenAnimatedCursor(AppContext& app, const QString& path, int templateResource);

}  // namespace tellurine::app
