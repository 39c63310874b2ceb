// What the icon windows show and what the mouse and keys do there: the format bar's thumbnails
// (crisp on dense screens), the view's picture at its own size and magnified, the colour bar, the
// display preferences, printing, drawing, selecting and the clipboard.
#include <QBuffer>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMdiArea>
#include <QPainter>
#include <QPdfWriter>
#include <QScrollBar>
#include <QSlider>
#include <QSpinBox>

#include "app/common/image_convert.h"
#include "app/icon/clipboard.h"
#include "app/icon/color_bar.h"
#include "app/icon/icon_frame.h"
#include "app/icon/icon_project.h"
#include "app/icon/print.h"
#include "app/shell/main_frame.h"
#include "app/shell/prefs_dialog.h"
#include "app_test_support.h"
#include "shell/texts.h"

using namespace tellurine;
using namespace tellurine::app;
using namespace tellurine::app::test;

class FramesTest : public QObject {
    Q_OBJECT
private slots:
    void thumbnailsAreDrawnForTheScreensDensity();
    void canvasShowsTheFormatMagnifiedAndZooms();
    void mainWindowShowsTheCanvasTitlePointerAndProperties();
    void colourBarFollowsTheEditedDepth();
    void displayPreferencesRepaintEveryWindowAndAreSaved();
    void printingFitsTheFormatToThePage();
    void drawingWithThePencilTheLineAndQuickClicksThenUndoing();
    void selectingMovingCopyingAndPasting();
    void largeFormatsShrinkTheWheelZoomsAboutThePointerAndEscCancels();
};

void FramesTest::thumbnailsAreDrawnForTheScreensDensity() {
    CIconProject project{MakeDoc({{16, 32}, {256, 32}})};
    CIconFormatListModel model(project);
    // A compressed format's thumbnail carries the badge in its corner; a plain one does not.
    const auto thumbnailCorner = [&](int row) {
        const int corner = CIconFormatListModel::kThumbnailSize - 3;
        return model.data(model.index(row), Qt::DecorationRole).value<QPixmap>().toImage().pixelColor(corner, corner);
    };
    const QColor badge = thumbnailCorner(1);
    QVERIFY2(badge.blue() > 150 && badge.red() < 100, qPrintable(badge.name()));
    QVERIFY(thumbnailCorner(0) != badge);
    const QImage formatPicture = ImageFromIcon(project.Doc().GetFormat(0)->Icon());
    for (const qreal ratio : {1.0, 2.0}) {
        model.SetDevicePixelRatio(ratio);
        const QPixmap small = model.data(model.index(0), Qt::DecorationRole).value<QPixmap>();
        const int side = static_cast<int>(CIconFormatListModel::kThumbnailSize * ratio);
        QCOMPARE(small.size(), QSize(side, side));
        QCOMPARE(small.devicePixelRatio(), ratio);
        // A small format is shown pixel for pixel: each of its pixels covers ratio x ratio
        // device pixels, centred.
        const QImage image = small.toImage();
        const int shown = 16 * static_cast<int>(ratio), origin = (side - shown) / 2;
        for (const auto& [x, y] : {std::pair{1, 1}, std::pair{8, 3}, std::pair{14, 14}})
            for (int dy = 0; dy < ratio; ++dy)
                for (int dx = 0; dx < ratio; ++dx)
                    QCOMPARE(image.pixelColor(origin + x * static_cast<int>(ratio) + dx, origin + y * static_cast<int>(ratio) + dy),
                             formatPicture.pixelColor(x, y));
        // A large one is scaled down to the thumbnail.
        QCOMPARE(model.data(model.index(1), Qt::DecorationRole).value<QPixmap>().size(), QSize(side, side));
    }
    // The list follows the formats.
    project.DeleteFormat(0);
    QCOMPARE(model.rowCount(), 1);
    QVERIFY(project.IsModified());
    // Every list shows a picture alike, centred (its size: the shell's test of thumbnails).
    QCOMPARE(ThumbnailRect(QSize(16, 16), 48, 2), QRect(8, 8, 32, 32));
    QCOMPARE(ThumbnailRect(QSize(256, 128), 48), QRect(0, 12, 48, 24));
}

void FramesTest::canvasShowsTheFormatMagnifiedAndZooms() {
    CIconProject project{MakeDoc({{32, 32}, {16, 8}})};
    const CanvasContext context;
    CIconDocMDI frame(project, context);
    frame.resize(700, 500);
    frame.show();
    QVERIFY(QTest::qWaitForWindowExposed(&frame));
    CIconView* view = frame.view;
    for (const int index : {0, 1}) {
        frame.formatBar->SetCurrentFormat(index);
        QCOMPARE(view->Format(), index);
        const QImage picture = ImageFromIcon(project.Doc().GetFormat(index)->Icon());
        const int size = picture.width();
        // A new view fits each format to the window.
        QVERIFY(view->AutoZoom());
        QCOMPARE(view->Zoom(), editor::FitZoom(size, view->viewport()->width(), view->viewport()->height()));
        const QImage shot = view->viewport()->grab().toImage();
        const editor::CanvasPlacement at = view->Placement();
        const int zoom = view->Zoom();
        for (const auto& [x, y] : {std::pair{5, 5}, std::pair{size - 3, size / 2}})
            QCOMPARE(shot.pixelColor(at.originX + x * zoom + zoom / 2, at.originY + y * zoom + zoom / 2), picture.pixelColor(x, y));
        // The preview shows the format at its size on the preview colour.
        const QImage preview = frame.preview->grab().toImage();
        QCOMPARE(preview.pixelColor(1, 1), QColor(0xE1, 0xE1, 0xE1));
        const QPoint centre((frame.preview->width() - size) / 2 + 5, (frame.preview->height() - size) / 2 + 5);
        QCOMPARE(preview.pixelColor(centre), picture.pixelColor(5, 5));
    }
    // Zooming clears auto zoom; each format keeps the zoom it had.
    const int fitted16 = view->Zoom();
    frame.formatBar->SetCurrentFormat(0);
    const int fitted32 = view->Zoom();
    view->ZoomIn();
    QVERIFY(!view->AutoZoom());
    QCOMPARE(view->Zoom(), fitted32 + 1);
    QCOMPARE(view->CanvasTitle(), QString("32 x 32 - 16.7 million + alpha colors - Zoom %1 %").arg((fitted32 + 1) * 100));
    frame.formatBar->SetCurrentFormat(1);
    QCOMPARE(view->Zoom(), fitted16);
    QCOMPARE(view->CanvasTitle(), QString("16 x 16 - 256 colors - Zoom %1 %").arg(fitted16 * 100));
    frame.formatBar->SetCurrentFormat(0);
    QCOMPARE(view->Zoom(), fitted32 + 1);
    view->FitToWindow();
    QVERIFY(view->AutoZoom());
    QCOMPARE(view->Zoom(), fitted32);
    // The scroll area is the zoomed image plus 23.
    for (int i = 0; i < 21; ++i) view->ZoomIn();
    QCOMPARE(view->horizontalScrollBar()->maximum(), 32 * view->Zoom() + 23 - view->viewport()->width());
}

void FramesTest::mainWindowShowsTheCanvasTitlePointerAndProperties() {
    OpenIcon o({{32, 32}, {16, 4}});
    auto& [s, path, main, frame, view, project] = o;
    QVERIFY(project != nullptr);
    QTRY_VERIFY(main->ActiveChild()->windowTitle().startsWith("icon.ico[*] - "));
    QVERIFY(main->ActiveChild()->windowTitle().endsWith(view->CanvasTitle()));
    // The main window names the active document, maximised or not, and nothing without one.
    QCOMPARE(main->windowTitle(), QString("Tellurine - icon.ico"));
    main->ActiveChild()->showMaximized();
    QVERIFY2(main->windowTitle().startsWith("Tellurine - [icon.ico[*] - "), qPrintable(main->windowTitle()));
    main->ActiveChild()->showNormal();
    QCOMPARE(main->windowTitle(), QString("Tellurine - icon.ico"));
    main->Action("help.about")->trigger();  // its box is titled without the menu's "&" and "..."
    QCOMPARE(s.prompts->messages.back().title, QString("About Tellurine"));

    // The pointer's pixel in pane 4, with the pointer picture.
    Mouse(view, QEvent::MouseMove, 3, 7, Qt::NoButton, Qt::NoButton);
    QCOMPARE(main->pointerPane->Text(), QString("@0  3,7"));
    QCOMPARE(main->pointerPane->Picture(), 0);
    QCOMPARE(main->pointerPane->Shown(), QString("  3,7"));

    // The grid's command toggles it; the commands follow the zoom's limits.
    const bool grid = view->GridShown();
    main->Action("view.grid")->trigger();
    QCOMPARE(view->GridShown(), !grid);
    for (int i = 0; i < 40; ++i) main->Action("view.zoomIn")->trigger();
    QVERIFY(!main->Action("view.zoomIn")->isEnabled());
    QVERIFY(main->Action("view.zoomOut")->isEnabled());
    QVERIFY(main->ActiveChild()->windowTitle().endsWith("Zoom 3000 %"));
    // The window's title follows the format shown.
    frame->formatBar->SetCurrentFormat(1 - frame->CurrentFormat());
    QVERIFY(main->ActiveChild()->windowTitle().endsWith(view->CanvasTitle()));
    frame->formatBar->SetCurrentFormat(1 - frame->CurrentFormat());

    // Enter asks for the format's properties; the compressed flag can be changed there.
    const int current = frame->CurrentFormat();
    const bool compressed = project->Doc().GetFormat(current)->Icon().IsCompressed();
    s.prompts->dialogActions.push_back(Accept<CDialFormatProperties>([&](CDialFormatProperties& d) {
        QVERIFY(d.sizeLabel->text().contains(" x "));
        QCOMPARE(d.windowTitle(), QString(text::kPropertiesTitle));
        d.compressedCheck->setChecked(!compressed);
    }));
    view->setFocus();
    QTest::keyClick(view, Qt::Key_Return);
    QCOMPARE(project->Doc().GetFormat(current)->Icon().IsCompressed(), !compressed);
    QVERIFY(project->IsModified());
}

void FramesTest::colourBarFollowsTheEditedDepth() {
    OpenIcon o({{16, 8}, {16, 32}, {16, 1}});
    auto& [s, path, main, frame, view, project] = o;
    CColorBar* bar = main->colorBar;
    const auto formatOfDepth = [&](int bits) {
        for (int i = 0; i < project->Doc().GetFormatCount(); ++i)
            if (project->Doc().GetFormat(i)->BitCount() == bits) return i;
        return -1;
    };

    // 8 bits: the palette's entries; a left click chooses the foreground, a right click on the
    // transparent swatch the background.
    frame->formatBar->SetCurrentFormat(formatOfDepth(8));
    QCOMPARE(bar->Bits(), 8);
    QCOMPARE(bar->Cells().size(), std::size_t{256});
    QVERIFY(!bar->foregroundOpacity->isEnabled());
    QTest::mouseClick(bar, Qt::LeftButton, Qt::NoModifier, bar->CellRect(37).center());
    QCOMPARE(s.app->colours.foregroundIndex8, 37);
    QTest::mouseClick(bar, Qt::RightButton, Qt::NoModifier, bar->InvertedRect().center());
    QCOMPARE(s.app->colours.backgroundIndex8, editor::kInvertedIndex);
    const QImage shot = bar->grab().toImage();
    const PaletteEntry entry = project->Doc().GetFormat(formatOfDepth(8))->Icon().BuildDisplayPalette().entries[37];
    QCOMPARE(shot.pixelColor(bar->ForegroundRect().center()), QColor(entry.red, entry.green, entry.blue));

    // 1 bit: black and white; 32 bits: colours and the opacities.
    frame->formatBar->SetCurrentFormat(formatOfDepth(1));
    QCOMPARE(bar->Cells(), (std::vector<editor::ColourValue>{0x000000, 0xFFFFFF}));
    QTest::mouseClick(bar, Qt::LeftButton, Qt::NoModifier, bar->CellRect(1).center());
    QCOMPARE(s.app->colours.foregroundIndex1, 255);
    frame->formatBar->SetCurrentFormat(formatOfDepth(32));
    QVERIFY(bar->foregroundOpacity->isEnabled());
    QTest::mouseClick(bar, Qt::LeftButton, Qt::NoModifier, bar->CellRect(2).center());
    QCOMPARE(s.app->colours.foreground, bar->Cells()[2]);
    bar->foregroundOpacity->setValue(100);
    QCOMPARE(s.app->colours.foregroundOpacity, 100);
    // Each opacity has its number beside the slider, each following the other.
    QCOMPARE(bar->foregroundOpacityValue->value(), 100);
    bar->backgroundOpacityValue->setValue(40);
    QCOMPARE(std::pair(bar->backgroundOpacity->value(), s.app->colours.backgroundOpacity), std::pair(40, 40));
    QVERIFY(bar->backgroundOpacityValue->isEnabled());
    QVERIFY(bar->foregroundOpacityValue->geometry().left() > bar->foregroundOpacity->geometry().right());

    // The choices are kept in the profile at exit (each under its name: the shell's workbench and
    // preference tests).
    s.app->ExitInstance();
    QSettings ini(s.ProfilePath(), QSettings::IniFormat);
    QCOMPARE(ini.value("colors/8bppSavedFgIndex").toInt(), 37);
    QCOMPARE(ini.value("colors/SavedFgRGBColor").toString(), QString::number(bar->Cells()[2]));
}

void FramesTest::displayPreferencesRepaintEveryWindowAndAreSaved() {
    OpenIcon o({{16, 32}});
    auto& [s, path, main, frame, view, project] = o;
    const auto corner = [&] {
        // The top-left pixel of the image is transparent: it shows the backdrop.
        const editor::CanvasPlacement at = view->Placement();
        return view->viewport()->grab().toImage().pixelColor(at.originX + 2, at.originY + 2);
    };
    QVERIFY(corner() == QColor(0xEB, 0xEB, 0xEB) || corner() == QColor(255, 255, 255));

    // The dark scheme on a plain backdrop, no grid in new windows, stronger lines every 4.
    s.prompts->dialogActions.push_back(Accept<CPrefsPropertySheet>([](CPrefsPropertySheet& d) {
        d.transparencyStyle->setCurrentIndex(0);
        d.colourScheme->setCurrentIndex(4);
        QCOMPARE(CPrefsPropertySheet::ButtonColour(d.transparentColor1), 0x303030u);
        d.showGrid->setChecked(false);
        d.strongerSpacing->setValue(4);
        CPrefsPropertySheet::SetButtonColour(d.gridColor, 0x0000FF);
        // The pages of plain values, each widget named after its value.
        QVERIFY(!d.template findChild<QCheckBox*>("ShowSplashScreen")->isChecked());  // the test's profile
        d.template findChild<QCheckBox*>("ShowSplashScreen")->setChecked(true);
        d.template findChild<QCheckBox*>("Smooth32BppDraw")->setChecked(false);
        QCOMPARE(d.template findChild<QSpinBox*>("FgOpacity")->value(), 200);  // the colour bar's, as it is now
        d.template findChild<QSpinBox*>("FgOpacity")->setValue(99);
        d.template findChild<QLineEdit*>("ActualDir")->setText("/somewhere/icons");
    }));
    s.app->colours.foregroundOpacity = 200;
    s.app->MainFrame()->Action("app.preferences")->trigger();
    QCOMPARE(std::tuple(s.app->prefs.TransparencyStyle, s.app->prefs.TransparencyColorSheme,
                        s.app->canvas.resources.settings.gridStrongerPixelCount),
             std::tuple(0, 4, 4));
    QVERIFY(!s.app->canvas.showGrid);
    QCOMPARE(corner(), QColor(0x30, 0x30, 0x30));
    QSettings ini(s.ProfilePath(), QSettings::IniFormat);
    QCOMPARE(ini.value("prefs/TransparentColor1").toString(), QString::number(0x303030));
    QCOMPARE(ini.value("prefs/GridColor").toString(), QString::number(0x0000FF));
    QCOMPARE(ini.value("prefs/ShowSplashScreen").toInt(), 1);
    QCOMPARE(ini.value("folders/ActualDir").toString(), QString("/somewhere/icons"));
    QCOMPARE(s.app->colours.foregroundOpacity, 99);
    QVERIFY(!s.app->MainFrame()->Action("tools.smoothEdges")->isChecked());

    // Cancelling changes nothing.
    s.prompts->dialogActions.push_back([](QDialog&) { return int(QDialog::Rejected); });
    s.app->MainFrame()->Action("app.preferences")->trigger();
    QCOMPARE(s.app->prefs.TransparencyColorSheme, 4);
}

void FramesTest::printingFitsTheFormatToThePage() {
    PrintPage page;
    page.picture = ImageFromIcon(MakeFormat(16, 32));
    page.header = "icon.ico";
    page.footer = "16 x 16, 32 bits";
    for (const bool headerAndFooter : {true, false}) {
        page.headerAndFooter = headerAndFooter;
        QImage sheet(800, 1000, QImage::Format_ARGB32);
        sheet.fill(Qt::white);
        QPainter painter(&sheet);
        const QRect target = PaintPrintPage(painter, sheet.rect(), page);
        painter.end();
        // Scaled to fit the width, centred, pixel for pixel.
        QCOMPARE(target.size(), QSize(800, 800));
        if (!headerAndFooter) QCOMPARE(target.center().y(), 499);
        const int cell = 800 / 16;
        QCOMPARE(sheet.pixelColor(target.left() + 5 * cell + 2, target.top() + 7 * cell + cell - 2), page.picture.pixelColor(5, 7));
        // The header is printed above the picture when asked for.
        bool ink = false;
        for (int y = 0; y < target.top(); ++y)
            for (int x = 300; x < 500; ++x) ink |= sheet.pixelColor(x, y) != QColor(Qt::white);
        QCOMPARE(ink, headerAndFooter);
    }
    // A PDF file, as a printer would receive the page.
    QTemporaryDir dir;
    QPdfWriter pdf(dir.filePath("format.pdf"));
    QVERIFY(PrintFormatPage(pdf, page));
    QVERIFY(ReadAll(dir.filePath("format.pdf")).startsWith("%PDF"));
}

void FramesTest::drawingWithThePencilTheLineAndQuickClicksThenUndoing() {
    OpenIcon o({{16, 32}});
    auto& [s, path, main, frame, view, project] = o;
    s.app->colours.foreground = 0x0000FF;  // red
    s.app->colours.foregroundOpacity = 255;
    const auto pixel = [&](int x, int y) { return ImageFromIcon(project->Doc().GetFormat(0)->Icon()).pixelColor(x, y); };
    const QImage original = ImageFromIcon(MakeFormat(16, 32));
    const QColor red(255, 0, 0), before = pixel(5, 3);
    QVERIFY(before != red);
    QVERIFY(!main->Action("edit.undo")->isEnabled());

    // The pencil, drawn across a row.
    main->Action("tool.pencil")->trigger();
    // Each tool its own pointer over the image, hot where it draws.
    Mouse(view, QEvent::MouseMove, 4, 4, Qt::NoButton, Qt::NoButton);
    const QCursor pencil = view->viewport()->cursor();
    QCOMPARE(pencil.shape(), Qt::BitmapCursor);
    QCOMPARE(pencil.hotSpot(), QPoint(7, 7));
    main->Action("tool.fill")->trigger();
    Mouse(view, QEvent::MouseMove, 5, 4, Qt::NoButton, Qt::NoButton);
    QVERIFY(view->viewport()->cursor().pixmap().toImage() != pencil.pixmap().toImage());
    main->Action("tool.pencil")->trigger();
    Drag(view, {3, 3}, {9, 3});
    for (int x = 3; x <= 9; ++x) QCOMPARE(pixel(x, 3), red);
    QCOMPARE(pixel(10, 3), original.pixelColor(10, 3));
    QVERIFY(project->IsModified());
    QVERIFY(main->Action("edit.undo")->isEnabled());

    // The line tool: a straight line from the press to the release.
    main->Action("tool.line")->trigger();
    Drag(view, {2, 10}, {12, 10});
    for (int x = 2; x <= 12; ++x) QCOMPARE(pixel(x, 10), red);
    // The canvas shows it.
    const editor::CanvasPlacement at = view->Placement();
    const QImage shot = view->viewport()->grab().toImage();
    QCOMPARE(shot.pixelColor(at.originX + 6 * view->Zoom() + view->Zoom() / 2 - view->horizontalScrollBar()->value(),
                             at.originY + 10 * view->Zoom() + view->Zoom() / 2 - view->verticalScrollBar()->value()),
             red);

    // Ctrl+Z takes the line back, Backspace in the canvas the pencil's stroke; Ctrl+Y redoes.
    main->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(main));
    view->setFocus();
    QTest::keyClick(view, Qt::Key_Z, Qt::ControlModifier);
    QCOMPARE(pixel(6, 10), original.pixelColor(6, 10));
    QCOMPARE(pixel(5, 3), red);
    view->setFocus();
    QTest::keyClick(view, Qt::Key_Backspace);
    QCOMPARE(pixel(5, 3), before);
    QVERIFY(!main->Action("edit.undo")->isEnabled());
    QTest::keyClick(view, Qt::Key_Y, Qt::ControlModifier);
    QCOMPARE(pixel(5, 3), red);
    QVERIFY(main->Action("edit.redo")->isEnabled());

    s.app->SetCurrentTool(editor::ToolKind::Pen);
    s.app->colours.foreground = RGB(0, 0, 255);
    // Quick clicks arrive as a press, then a double-click instead of the next press: every click
    // paints, ten along a row and two dabs on one pixel.
    const auto click = [&](int x, int y, bool quick) {
        const QEvent::Type press = quick ? QEvent::MouseButtonDblClick : QEvent::MouseButtonPress;
        Mouse(view, press, x, y, Qt::LeftButton, Qt::LeftButton);
        Mouse(view, QEvent::MouseButtonRelease, x, y, Qt::LeftButton, Qt::NoButton);
    };
    for (int x = 0; x < 10; ++x) click(x, 2, x % 2 == 1);
    s.app->colours.foregroundOpacity = 0;  // erases first
    click(3, 9, false);
    s.app->colours.foregroundOpacity = 128;
    for (int i = 0; i < 2; ++i) click(3, 9, true);
    const editor::FormatState& state = *project->EditState(0);
    for (int x = 0; x < 10; ++x) QCOMPARE(state.color.GetPixel(x, 2), RGB(0, 0, 255));
    QCOMPARE(GetRValue(state.mask.GetPixel(3, 9)), 192);  // two dabs at half opacity, not one

    // The gradient commands reach every tool; the reflected effect is the mode plus 10.
    main->Action("gradient.3")->trigger();
    main->Action("gradients.reflected")->trigger();
    for (const auto& t : s.app->tools) QCOMPARE(t->settings.gradient, 13);
    main->Action("tools.smoothEdges")->trigger();
    QCOMPARE(s.app->prefs.Smooth32BppDraw, 0);
    for (const auto& t : s.app->tools) QVERIFY(!t->settings.smoothEdges);
}

void FramesTest::largeFormatsShrinkTheWheelZoomsAboutThePointerAndEscCancels() {
    OpenIcon o({{256, 32}});
    auto& [s, path, main, frame, view, project] = o;
    main->show();
    main->ActiveChild()->resize(330, 330);
    QCoreApplication::processEvents();
    // Too big for the window: fitting shows it whole at 1/2, without the grid.
    view->FitToWindow();
    QCOMPARE(std::pair(view->Zoom(), view->Shrink()), std::pair(1, 2));
    QVERIFY(view->CanvasTitle().endsWith("Zoom 50 %"));
    QVERIFY(main->Action("view.zoomIn")->isEnabled() && main->Action("view.zoomOut")->isEnabled());
    const QImage picture = ImageFromIcon(project->Doc().GetFormat(0)->Icon());
    const QImage shot = view->viewport()->grab().toImage();
    editor::CanvasPlacement at = view->Placement();
    const auto screen = [&](int x, int y) {
        return QPoint((at.originX + x * view->Zoom()) / view->Shrink() - view->horizontalScrollBar()->value(),
                      (at.originY + y * view->Zoom()) / view->Shrink() - view->verticalScrollBar()->value());
    };
    const QColor seen = shot.pixelColor(screen(200, 60)), wanted = picture.pixelColor(200, 60);
    QVERIFY2(std::abs(seen.red() - wanted.red()) + std::abs(seen.green() - wanted.green()) + std::abs(seen.blue() - wanted.blue()) < 12,
             qPrintable(seen.name() + " " + wanted.name()));
    editor::PixelHit hit = view->PixelAt(screen(200, 60));
    QVERIFY(std::abs(hit.x - 200) <= 1 && std::abs(hit.y - 60) <= 1);

    // Ctrl+wheel zooms in about the pointer: the pixel under it stays under it across (the picture
    // is wider than the window; it is not as tall, so it stays centred down).
    const QPoint pointer = screen(140, 120);
    QWheelEvent wheel(pointer, view->viewport()->mapToGlobal(pointer), {}, {0, 120}, Qt::NoButton, Qt::ControlModifier,
                      Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(view->viewport(), &wheel);
    QCOMPARE(view->Shrink(), 1);
    QVERIFY(!view->AutoZoom());
    hit = view->PixelAt(pointer);
    QVERIFY2(std::abs(hit.x - 140) <= 1, qPrintable(QString::number(hit.x)));
    QCOMPARE(view->Placement().originY, (view->viewport()->height() - 256) / 2);
    // Ctrl+= zooms in too.
    main->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(main));
    view->setFocus();
    QTest::keyClick(view, Qt::Key_Equal, Qt::ControlModifier);
    QCOMPARE(view->Zoom(), 2);

    // Esc while a line is dragged drops it: nothing drawn, nothing to undo.
    main->Action("tool.line")->trigger();
    const QImage before = ImageFromIcon(project->Doc().GetFormat(0)->Icon());
    view->verticalScrollBar()->setValue(0);
    view->horizontalScrollBar()->setValue(0);
    Mouse(view, QEvent::MouseButtonPress, 20, 20, Qt::LeftButton, Qt::LeftButton);
    Mouse(view, QEvent::MouseMove, 60, 40, Qt::NoButton, Qt::LeftButton);
    QTest::keyClick(view, Qt::Key_Escape);
    Mouse(view, QEvent::MouseButtonRelease, 60, 40, Qt::LeftButton, Qt::NoButton);
    QCOMPARE(ImageFromIcon(project->Doc().GetFormat(0)->Icon()), before);
    QCOMPARE(project->EditState(0)->color.GetPixel(40, 30), project->Session().State(0)->color.GetPixel(40, 30));
    QVERIFY(!project->IsModified());
    QVERIFY(!main->Action("edit.undo")->isEnabled());
}

void FramesTest::selectingMovingCopyingAndPasting() {
    OpenIcon o({{16, 32}});
    auto& [s, path, main, frame, view, project] = o;
    const QImage original = ImageFromIcon(MakeFormat(16, 32));
    const auto pixel = [&](int x, int y) { return ImageFromIcon(project->Doc().GetFormat(0)->Icon()).pixelColor(x, y); };
    main->Action("tool.select")->trigger();

    // A rectangle, its size in pane 5; then dragged by (5, 5).
    Drag(view, {2, 2}, {5, 5});
    QCOMPARE(main->selectionPane->Text(), QString("@1  4x4"));
    QVERIFY(!project->IsModified());  // selecting changes no pixel
    // Its bottom-right handle (on the frame's corner) resizes it, and changes no pixel either.
    Mouse(view, QEvent::MouseMove, 6, 6, Qt::NoButton, Qt::NoButton, /*corner=*/true);
    QCOMPARE(view->viewport()->cursor().shape(), Qt::SizeFDiagCursor);
    Mouse(view, QEvent::MouseButtonPress, 6, 6, Qt::LeftButton, Qt::LeftButton, /*corner=*/true);
    Mouse(view, QEvent::MouseMove, 9, 7, Qt::NoButton, Qt::LeftButton);
    Mouse(view, QEvent::MouseButtonRelease, 9, 7, Qt::LeftButton, Qt::NoButton);
    QCOMPARE(main->selectionPane->Text(), QString("@1  8x6"));
    Mouse(view, QEvent::MouseButtonPress, 10, 8, Qt::LeftButton, Qt::LeftButton, /*corner=*/true);
    Mouse(view, QEvent::MouseMove, 5, 5, Qt::NoButton, Qt::LeftButton);
    Mouse(view, QEvent::MouseButtonRelease, 5, 5, Qt::LeftButton, Qt::NoButton);
    QCOMPARE(main->selectionPane->Text(), QString("@1  4x4"));
    QVERIFY(!project->IsModified());
    Drag(view, {3, 3}, {8, 8});
    QVERIFY(project->IsModified());
    QCOMPARE(pixel(7, 7), original.pixelColor(2, 2));
    QCOMPARE(pixel(10, 10), original.pixelColor(5, 5));
    QCOMPARE(pixel(2, 2).alpha(), 0);  // lifted from there
    QCOMPARE(main->selectionPane->Text(), QString("@1  4x4"));

    // Copy: the private format and PNG for other programs.
    main->Action("edit.copy")->trigger();
    const QMimeData* data = QGuiApplication::clipboard()->mimeData();
    QVERIFY(data->hasFormat("Korvane DIB32 Data"));
    const QImage png = QImage::fromData(data->data("image/png"), "PNG");
    QCOMPARE(png.size(), QSize(4, 4));
    QCOMPARE(png.pixelColor(0, 0), original.pixelColor(2, 2));

    // The arrow keys move it; Undo takes moves back one by one.
    view->setFocus();
    QTest::keyClick(view, Qt::Key_Right);
    QCOMPARE(pixel(8, 7), original.pixelColor(2, 2));
    main->Action("edit.undo")->trigger();
    QCOMPARE(pixel(7, 7), original.pixelColor(2, 2));

    // A picture from another program, pasted: it floats at the selection's corner.
    QImage red(3, 3, QImage::Format_ARGB32);
    red.fill(QColor(255, 0, 0));
    auto* outside = new QMimeData;
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    red.save(&buffer, "PNG");
    outside->setData("image/png", bytes);
    QGuiApplication::clipboard()->setMimeData(outside);
    main->Action("edit.paste")->trigger();
    QCOMPARE(main->selectionPane->Text(), QString("@1  3x3"));
    QCOMPARE(pixel(7, 7), QColor(255, 0, 0));
    QCOMPARE(pixel(9, 9), QColor(255, 0, 0));
    // Delete removes the floating picture; the image under it shows again.
    main->Action("edit.delete")->trigger();
    QCOMPARE(pixel(7, 7), original.pixelColor(2, 2));
    // With the whole format selected, it floats at the format's corner.
    main->Action("edit.selectAll")->trigger();
    main->Action("edit.paste")->trigger();
    QVERIFY(pixel(0, 0) == QColor(255, 0, 0) && pixel(2, 2) == QColor(255, 0, 0) &&
            pixel(3, 3) != QColor(255, 0, 0));
    main->Action("edit.delete")->trigger();

    // What was copied comes back through the private format, pixel for pixel.
    main->Action("edit.selectAll")->trigger();
    QCOMPARE(main->selectionPane->Text(), QString("@1  16x16"));
    main->Action("edit.copy")->trigger();
    DeviceBitmap color, alpha;
    QVERIFY(PictureFromMimeData(*QGuiApplication::clipboard()->mimeData(), color, alpha));
    QCOMPARE(color.Width(), 16);
    QCOMPARE(GetRValue(alpha.GetPixel(2, 2)), 0);
    const QColor c = original.pixelColor(5, 6);
    QCOMPARE(color.GetPixel(5, 6), RGB(static_cast<std::uint8_t>(c.red()), static_cast<std::uint8_t>(c.green()),
                                       static_cast<std::uint8_t>(c.blue())));

    // A whole 8-bit format copied from another icon goes as itself and with its palette; pasted as
    // a new format it arrives with its size, depth and pixels.
    const QString other = s.Path("other.ico");
    WriteProject(other, {{24, 8}});
    s.app->OpenDocumentFile(other);
    main->Action("edit.copy")->trigger();
    QVERIFY(QGuiApplication::clipboard()->mimeData()->hasFormat("Korvane IconFormat Data"));
    Palette palette;
    QVERIFY(PaletteFromMimeData(*QGuiApplication::clipboard()->mimeData(), palette));
    QCOMPARE(palette.size(), std::size_t{256});
    const QImage copied = ImageFromIcon(qobject_cast<CIconProject*>(main->ActiveDocument())->Doc().GetFormat(0)->Icon());
    main->mdiArea->setActiveSubWindow(main->ChildOf(project));
    main->Action("edit.pasteAsFormat")->trigger();
    QCOMPARE(project->Doc().GetFormatCount(), 2);
    const CIconObject* pasted = project->Doc().GetFormat(1);
    QCOMPARE(std::pair(pasted->Width(), pasted->BitCount()), std::pair(24, 8));
    QCOMPARE(ImageFromIcon(pasted->Icon()), copied);
    // A picture from elsewhere pasted as a format is a 32-bit one of its size.
    QGuiApplication::clipboard()->setImage(QImage(5, 7, QImage::Format_ARGB32));
    main->Action("edit.pasteAsFormat")->trigger();
    QCOMPARE(project->Doc().GetFormatCount(), 3);
    QCOMPARE(std::pair(project->Doc().GetFormat(2)->Height(), project->Doc().GetFormat(2)->BitCount()),
             std::pair(7, 32));
    QVERIFY(!main->Action("edit.pasteAsNewIcon")->isEnabled());  // a picture is no whole icon

    // A whole format copied carries the whole icon too: pasted as a new icon, every format comes.
    auto* source = qobject_cast<CIconProject*>(s.app->OpenDocumentFile(other));
    source->AddFormat(MakeFormat(16, 32));
    const int formats = source->Doc().GetFormatCount();
    main->Action("edit.copy")->trigger();
    QVERIFY(QGuiApplication::clipboard()->mimeData()->hasFormat("Korvane IconEdit Data"));
    main->Action("edit.pasteAsNewIcon")->trigger();
    auto* whole = qobject_cast<CIconProject*>(main->ActiveDocument());
    QVERIFY(whole != nullptr && whole != source);
    QCOMPARE(whole->Doc().GetFormatCount(), formats);
    for (int i = 0; i < formats; ++i)
        QCOMPARE(ImageFromIcon(whole->Doc().GetFormat(i)->Icon()), ImageFromIcon(source->Doc().GetFormat(i)->Icon()));
}

QTEST_MAIN(FramesTest)
#include "frames_test.moc"
