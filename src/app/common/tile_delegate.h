// Tiles of a grid of icons (a program's groups, a library's icons): a picture centred in a
// square, the name under it and, when asked for, an information line under that.
#pragma once

#include <QListView>
#include <QStyledItemDelegate>
#include <functional>

namespace tellurine::app {

// The roles a tile model answers besides the name (Qt::DisplayRole).
inline constexpr int kTilePictureRole = Qt::UserRole + 1;  // QImage with its device pixel ratio set
inline constexpr int kTileInfoRole = Qt::UserRole + 2;     // the line under the name ("7 formats")

// A list view made a grid of tiles that wraps with its width, several of them chosen at once,
// its actions its context menu.
void SetUpTileGrid(QListView& view);
// What a grid says in place of tiles, written across its middle.
void PaintGridMessage(QListView& view, const QString& message);

class CTileDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    // `largestSide`: the side of the largest picture shown so far, in device-independent pixels
    // (0 when none is); the square takes it, kept between 16 and the tiles' largest.
    CTileDelegate(std::function<int()> largestSide, bool showInfo, QObject* parent = nullptr);
    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    // A name is edited on its own line, under the picture.
    void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const override;
    // The side of the pictures' square, in device-independent pixels.
    [[nodiscard]] int IconSide() const;
    // The grid a list view in icon mode takes for these tiles.
    [[nodiscard]] QSize GridSize(const QWidget& view) const;
    // Pictures are laid over a light checkerboard, so that what is transparent shows as such.
    bool checkerboard = false;
    // The least width of a tile's text, in device-independent pixels.
    int textWidth = 80;

private:
    std::function<int()> largestSide_;
    bool showInfo_;
};

}  // namespace tellurine::app
