// CIconView: the editing canvas of one format of an icon project, magnified over the
// transparency backdrop with the pixel grid, through the editor's renderer.
#pragma once

#include <QAbstractScrollArea>
#include <functional>
#include <vector>

#include "app/icon/icon_project.h"
#include "editor/canvas.h"
#include "editor/canvas_resources.h"
#include "editor/tools.h"
#include "shell/workbench.h"

namespace tellurine::app {

using shell::CanvasContext;

class CIconView : public QAbstractScrollArea {
    Q_OBJECT
public:
    CIconView(CIconProject& project, const CanvasContext& context, QWidget* parent = nullptr);

    [[nodiscard]] int Format() const { return format_; }
    [[nodiscard]] int Zoom() const { return scale_.zoom; }
    // Below 100 %: image pixels per screen pixel (1 at 100 % and above).
    [[nodiscard]] int Shrink() const { return scale_.shrink; }
    [[nodiscard]] bool CanZoomIn() const { return format_ >= 0 && editor::ZoomIn(scale_).zoom <= MaxZoom() && editor::ZoomIn(scale_) != scale_; }
    [[nodiscard]] bool CanZoomOut() const { return format_ >= 0 && editor::ZoomOut(scale_) != scale_; }
    [[nodiscard]] bool AutoZoom() const { return autoZoom_; }
    [[nodiscard]] bool GridShown() const { return gridShown_; }
    // The image's place in the view's content (scroll offsets not applied).
    [[nodiscard]] editor::CanvasViewport Viewport() const;
    [[nodiscard]] editor::CanvasPlacement Placement() const;
    // The pixel under a point of the viewport.
    [[nodiscard]] editor::PixelHit PixelAt(const QPoint& viewportPoint) const;
    // "%d x %d - %s colors - Zoom %d %%" for the edited format; empty without one.
    [[nodiscard]] QString CanvasTitle() const;
    // Called after the view's first paint (the start-up benchmark ends there).
    static std::function<void()> firstPaintHook;

public slots:
    void SetFormat(int index);
    void ZoomIn();
    void ZoomOut();
    void FitToWindow();
    void ToggleGrid();
    // Takes the edited format's pixels again (after the formats changed).
    void Reload();
    // Repaints the whole format (after its selection changed).
    void RefreshCanvas();

public:
    // The edited format's state (null without one) and its project.
    [[nodiscard]] editor::FormatState* State() const { return state_; }
    [[nodiscard]] CIconProject& Project() const { return project_; }
    // Changes the edited format as one undoable step of the project's edit session (`change` edits
    // its state) and repaints. The caller checks first that there is a state.
    void EditFormat(const std::function<void(editor::FormatState&)>& change);
    // Shows what `command` would make of the format, without changing it, until EndPreview (the
    // blur dialog's preview). Each call starts again from the format as it was.
    void ShowPreview(const std::function<bool(editor::FormatState&)>& command);
    void EndPreview();

signals:
    void canvasTitleChanged();
    // The colour picker changed the colour bar's colours.
    void coloursPicked();
    void pointerMoved(int x, int y, bool inside);
    void propertiesRequested();
    void undoRequested();
    // The selection's size changed (0 x 0 without one).
    void selectionChanged(int width, int height);
    // A preview asked for by ShowPreview is on the canvas.
    void previewShown();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    // A quick second click is a press like any other for the drawing tools.
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    // Ctrl+wheel zooms about the pointer.
    void wheelEvent(QWheelEvent* event) override;
    void EmitSelection();
    void scrollContentsBy(int dx, int dy) override;

private:
    void LoadBitmaps();
    // Repaints the view over a rectangle of image pixels.
    void UpdatePixels(const editor::CanvasRect& pixels);
    void ToolResult(const editor::ToolResult& result);
    void UpdateScrollArea();
    // The edges moved by the selection handle under a viewport point (0 for none, or when the
    // selection tool is not the current one or the selection floats).
    [[nodiscard]] int HandleAt(const QPoint& viewportPoint) const;
    void SetScale(editor::ViewScale scale, bool autoZoom);
    [[nodiscard]] int MaxZoom() const;

    CIconProject& project_;
    int format_ = -1;
    editor::ViewScale scale_;
    int wheelDelta_ = 0;  // the wheel's turn not yet made a zoom step
    bool autoZoom_ = true;
    bool gridShown_ = true;
    std::vector<editor::ViewScale> records_;  // each format's zoom when it was last shown
    const CanvasContext& context_;
    editor::FormatState* state_ = nullptr;  // the edited format's pixels, kept by the project
    bool stroking_ = false;  // this view's stroke is in progress in the session
    int previewGeneration_ = 0;  // the preview last asked for; older results are dropped
    int pointerKey_ = -1;  // what the pointer shows now: a Qt shape, or 1000 + tool and its cursor
    editor::CanvasRenderer renderer_;
};

}  // namespace tellurine::app
