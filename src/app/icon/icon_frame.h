// The icon project's window: the format bar (every format as a thumbnail) beside the view of the
// chosen format.
#pragma once

#include <QAbstractListModel>
#include <QListView>
#include <QPixmap>
#include <QWidget>
#include <functional>
#include <vector>

#include "app/icon/icon_project.h"
#include "app/icon/icon_view.h"

namespace tellurine::app {

class AppContext;

// The formats of a project as list rows: a thumbnail over the transparency checkerboard with a
// "PNG" badge on compressed formats, and "W x H" and "N bits" as text.
class CIconFormatListModel : public QAbstractListModel {
    Q_OBJECT
public:
    explicit CIconFormatListModel(CIconProject& project, QObject* parent = nullptr);
    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    // Side of a thumbnail in device-independent pixels; thumbnails are drawn at `ratio` device
    // pixels per such pixel, so that they stay crisp on high-density screens.
    static constexpr int kThumbnailSize = 48;
    void SetDevicePixelRatio(qreal ratio);
    // The text of a format's row.
    // "32 x 32\n32 bits", or "32 x 32 @2x\n32 bits" for a family's 64-pixel "ic12".
    static QString FormatText(const CIconDoc& doc, int row);

private slots:
    void Reload();

private:
    QPixmap Thumbnail(int row) const;
    CIconProject& project_;
    qreal ratio_ = 1.0;
    mutable std::vector<QPixmap> thumbnails_;
};

class CIconFormatListBox : public QListView {
    Q_OBJECT
public:
    explicit CIconFormatListBox(QWidget* parent = nullptr);

protected:
    bool event(QEvent* event) override;
};

// The bar that lists the formats.
class CFormatBar : public QWidget {
    Q_OBJECT
public:
    CFormatBar(CIconProject& project, QWidget* parent = nullptr);
    [[nodiscard]] int CurrentFormat() const;
    void SetCurrentFormat(int index);
    CIconFormatListBox* list = nullptr;
    CIconFormatListModel* model = nullptr;

signals:
    void currentFormatChanged(int index);
};

// The preview: the format at its own size on the preview colour (PreviewColor).
class CIconPreview : public QWidget {
    Q_OBJECT
public:
    CIconPreview(CIconProject& project, const CanvasContext& context, QWidget* parent = nullptr);
    [[nodiscard]] int Format() const { return format_; }
    [[nodiscard]] QSize sizeHint() const override;

public slots:
    void SetFormat(int index);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void Refresh();
    CIconProject& project_;
    const CanvasContext& context_;
    int format_ = -1;
    QImage picture_;
};

// The icon project's frame: the format bar with the preview under it, beside the canvas.
class CIconDocMDI : public QWidget {
    Q_OBJECT
public:
    CIconDocMDI(CIconProject& project, const CanvasContext& context, QWidget* parent = nullptr);
    [[nodiscard]] CIconProject& Project() { return project_; }
    [[nodiscard]] int CurrentFormat() const { return formatBar->CurrentFormat(); }
    CFormatBar* formatBar = nullptr;
    CIconPreview* preview = nullptr;
    CIconView* view = nullptr;

    // The Edit menu's commands on this window's format (icon_edit.cpp). Each does nothing when
    // the window shows no format.
    void Undo();
    void Redo();
    void Copy();
    void Cut();
    void Paste();
    // The clipboard's formats (or its picture, as a 32-bit format) added to the project.
    void PasteAsFormat();
    void DeleteSelection();
    void SelectAll();
    void SetPreserveTransparency(bool on);
    void ToggleFloatingBehind();
    void DeleteFormat();

signals:
    void currentFormatChanged(int index);

private:
    CIconProject& project_;
};

// The active window's canvas when that window is an icon project's and shows a format; null
// otherwise.
CIconView* ActiveCanvas(const AppContext& app);

}  // namespace tellurine::app
