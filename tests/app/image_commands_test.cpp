// The Image and Filters menus on a format and its selection, their dialogs, long work that can be
// cancelled, and icons made from pictures (one from a window, or a batch of files).
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMdiArea>
#include <QPainter>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QSlider>
#include <QSpinBox>
#include <QTableWidget>
#include <QThreadPool>
#include <set>
#include <tuple>

#include "app/common/image_convert.h"
#include "app/common/long_work.h"
#include "app/icon/adjust_dialog.h"
#include "app/icon/icon_maker.h"
#include "app/icon/icon_project.h"
#include "app/icon/icon_set_export.h"
#include "app/icon/image_dialogs.h"
#include "app/icon/palette_dialog.h"
#include "app_test_support.h"
#include "editor/image_commands.h"
#include "editor/selection.h"
#include "formats/psd_test_writer.h"
#include "shell/new_formats.h"
#include "shell/texts.h"

using namespace tellurine;
using namespace tellurine::app;
using namespace tellurine::app::test;

namespace {

// The whole edited picture: colours and mask, as the canvas holds them.
struct Pixels {
    DeviceBitmap color, mask;
    bool operator==(const Pixels&) const = default;
};
Pixels PixelsOf(const CIconView& view) {
    return {view.State()->color, view.State()->mask};
}

}  // namespace

class ImageCommandsTest : public QObject {
    Q_OBJECT
private slots:
    void dialogsRememberTheirChoicesAndEnableTheirControls();
    void commandsChangeTheSelectionOrTheDepthAndUndo();
    void blurPreviewsAndCancelledWorkChangesNothing();
    void adjustmentsPreviewAndReachEveryFormat();
    void paletteEntriesChangeOrMapThePicture();
    void paletteReducedOnEveryIndexedFormat();
    void dropShadowFallsWhereThePictureIsClear();
    void iconsAreMadeFromPicturesAndDrawings();
    void batchMakesEveryPictureIntoTheFolder();
    void iconSetsKeepTheProjectsOwnSizes();
};

void ImageCommandsTest::dialogsRememberTheirChoicesAndEnableTheirControls() {
    // Rotate: "Left", "90°" and 45 at first; the free angle only while "Free:" is chosen; the
    // accepted choice comes back next time, and "Right" turns clockwise.
    {
        CDialIconRotate first;
        QCOMPARE(std::tuple(first.directionGroup->checkedId(), first.angleGroup->checkedId(),
                            first.freeSpin->value()),
                 std::tuple(0, 0, 45));
        QVERIFY(!first.freeSpin->isEnabled() && !first.rangeNote->isEnabled());
        first.angleGroup->button(3)->setChecked(true);
        QVERIFY(first.freeSpin->isEnabled() && first.rangeNote->isEnabled());
        first.freeSpin->setValue(30);
        first.directionGroup->button(1)->setChecked(true);
        QCOMPARE(first.Angle(), 330);
        first.accept();
        CDialIconRotate second;
        QCOMPARE(std::pair(second.angleGroup->checkedId(), second.freeSpin->value()), std::pair(3, 30));
        QCOMPARE(second.findChild<QLabel*>("note")->text(), QString(text::kRotateNote).mid(1));
        second.angleGroup->button(0)->setChecked(true);
        QCOMPARE(second.Angle(), 270);
        CDialIconRotate::Remembered() = {};
    }
    // Resize: 1..4096, the other side following at the ratio the dialog opened with.
    {
        CDialIconScale dialog(40, 20);
        QCOMPARE(dialog.widthSpin->maximum(), 4096);
        QVERIFY(dialog.keepCheck->isChecked());
        dialog.widthSpin->setValue(100);
        QCOMPARE(dialog.heightSpin->value(), 50);
        dialog.heightSpin->setValue(3);
        QCOMPARE(dialog.widthSpin->value(), 6);
        dialog.keepCheck->setChecked(false);
        dialog.widthSpin->setValue(9);
        QCOMPARE(dialog.heightSpin->value(), 3);
    }
    // Blur: the edit and the slider in step, up to 50.
    {
        CDialIconGaussianBlur dialog(8, false);
        QCOMPARE(dialog.edit->text(), QString("8"));
        dialog.slider->setValue(33);
        QCOMPARE(dialog.edit->text(), QString("33"));
        dialog.edit->setText("70");
        emit dialog.edit->editingFinished();
        QCOMPARE(dialog.Radius(), 50);
    }
}

void ImageCommandsTest::commandsChangeTheSelectionOrTheDepthAndUndo() {
    OpenIcon o({{32, 32}});
    const Pixels original = PixelsOf(*o.view);
    QVERIFY(!o.main->Action("filter.last")->isEnabled());
    o.view->EditFormat([](editor::FormatState& s) { editor::SelectRectangle(s, 4, 4, 19, 11); });
    const Pixels selected = PixelsOf(*o.view);

    // "&Find Edges" on the selection: inside changes, outside stays; Undo brings it back.
    o.main->Action("filter.8")->trigger();
    const Pixels filtered = PixelsOf(*o.view);
    QVERIFY(filtered.color.GetPixel(10, 8) != selected.color.GetPixel(10, 8));
    QCOMPARE(filtered.color.GetPixel(25, 25), selected.color.GetPixel(25, 25));
    QVERIFY(o.project->IsModified());
    o.main->Action("filter.last")->trigger();
    QVERIFY(PixelsOf(*o.view) != filtered);
    o.main->Action("edit.undo")->trigger();
    QVERIFY(PixelsOf(*o.view) == filtered);
    o.main->Action("edit.undo")->trigger();
    QVERIFY(PixelsOf(*o.view) == selected);

    // Resize through its dialog: the 16 x 8 selection floats at 8 x 4; a turn through its dialog
    // turns the floating picture; two undos give the format back.
    o.s.prompts->dialogActions.push_back(Accept<CDialIconScale>([](CDialIconScale& d) { d.widthSpin->setValue(8); }));
    o.main->Action("image.resize")->trigger();
    QVERIFY(o.view->State()->floatingColor.has_value());
    QCOMPARE(QSize(o.view->State()->floatingColor->Width(), o.view->State()->floatingColor->Height()),
             QSize(8, 4));
    o.s.prompts->dialogActions.push_back(Accept<CDialIconRotate>());
    o.main->Action("image.rotate")->trigger();
    QCOMPARE(o.view->State()->floatingColor->Width(), 4);
    o.main->Action("image.flipVertical")->trigger();
    for (int i = 0; i < 3; ++i) o.main->Action("edit.undo")->trigger();
    QVERIFY(!o.view->State()->floatingColor.has_value());
    QVERIFY(PixelsOf(*o.view) == selected);
    QVERIFY(PixelsOf(*o.view) == original);  // selecting changes no pixel

    // A depth from the menu converts the format and is checked there; Undo gives the depth back
    // (and the same pixels: the editor's test of undoing every kind of edit).
    QVERIFY(o.main->Action("image.depth.32")->isChecked());
    o.main->Action("image.depth.8")->trigger();  // 8 bits
    const CIconObject& format = *o.project->Doc().GetFormat(0);
    QCOMPARE(format.BitCount(), 8);  // 256 colours
    QVERIFY(!format.HasAlpha());
    QVERIFY(o.main->Action("image.depth.8")->isChecked());
    o.main->Action("edit.undo")->trigger();
    QCOMPARE(o.project->Doc().GetFormat(0)->BitCount(), 32);  // with alpha
    o.main->Action("edit.redo")->trigger();
    QCOMPARE(o.project->Doc().GetFormat(0)->BitCount(), 8);
}

void ImageCommandsTest::blurPreviewsAndCancelledWorkChangesNothing() {
    OpenIcon o({{256, 32}});
    const Pixels original = PixelsOf(*o.view);
    // The preview shows on the canvas while the dialog is open, and goes with it.
    bool previewed = false;
    o.s.prompts->dialogActions.push_back([&](QDialog& dialog) {
        auto& blur = dynamic_cast<CDialIconGaussianBlur&>(dialog);
        blur.previewCheck->setChecked(true);
        blur.slider->setValue(50);
        // Worked out on a worker, the preview comes a little later.
        previewed = QTest::qWaitFor([&] { return PixelsOf(*o.view) != original; }, 10000);
        return int(QDialog::Rejected);
    });
    o.main->Action("filter.gaussianBlur")->trigger();
    QVERIFY(previewed);
    QVERIFY(PixelsOf(*o.view) == original);
    QVERIFY(!o.project->IsModified());
    // A preview ended before its work is done never shows.
    QSignalSpy shown(o.view, &CIconView::previewShown);
    o.view->ShowPreview([](editor::FormatState& st) { return editor::BlurImage(st, 30); });
    o.view->EndPreview();
    QThreadPool::globalInstance()->waitForDone();
    QCoreApplication::processEvents();
    QCOMPARE(shown.count(), 0);
    QVERIFY(PixelsOf(*o.view) == original);

    // Accepted, the work shows its progress; cancelled there, nothing changes.
    ProgressDelayMs() = 0;
    o.s.prompts->progressAction = [](QProgressDialog& d) { emit d.canceled(); };
    o.s.prompts->dialogActions.push_back(
        Accept<CDialIconGaussianBlur>([](CDialIconGaussianBlur& d) { d.slider->setValue(12); }));
    o.main->Action("filter.gaussianBlur")->trigger();
    QCOMPARE(o.s.prompts->progressShown, 1);
    QVERIFY(PixelsOf(*o.view) == original);
    QVERIFY(!o.project->IsModified());
    QVERIFY(!o.main->Action("edit.undo")->isEnabled());
    QCOMPARE(o.s.app->prefs.iGaussianBlurRadius, 12);  // the radius is kept all the same

    // Left to run, the same command changes the format.
    o.s.prompts->progressAction = {};
    o.s.prompts->dialogActions.push_back(Accept<CDialIconGaussianBlur>());
    o.main->Action("filter.gaussianBlur")->trigger();
    QVERIFY(PixelsOf(*o.view) != original);
    QVERIFY(o.project->IsModified());
    ProgressDelayMs() = 500;
}

void ImageCommandsTest::adjustmentsPreviewAndReachEveryFormat() {
    OpenIcon o({{32, 32}, {16, 8}});
    editor::EditSession& session = o.project->Session();
    const int shown = o.view->Format();
    const int indexed = session.State(0)->depth == 8 ? 0 : 1, full = 1 - indexed;
    const editor::FormatState shownBefore = *session.State(shown), fullBefore = *session.State(full),
                              indexedBefore = *session.State(indexed);
    // The preview follows the fields; Reset takes every value back; invert on every format is
    // then accepted.
    bool previewed = false;
    ColorAdjustment reset;
    reset.hue = -1;
    std::pair<int, int> typed;  // the hue and brightness fields take what is typed
    std::tuple<int, int, int, int> levels;
    o.s.prompts->dialogActions.push_back([&](QDialog& dialog) -> int {
        auto& adjust = dynamic_cast<CDialIconAdjust&>(dialog);
        adjust.hue->setValue(120);
        adjust.brightness->setValue(-30);
        typed = {adjust.hue->value(), adjust.brightness->value()};
        adjust.gamma->setValue(2.0);
        // The levels fields reach the adjustment.
        adjust.inputBlack->setValue(10);
        adjust.inputWhite->setValue(200);
        adjust.outputBlack->setValue(20);
        adjust.outputWhite->setValue(240);
        const ColorAdjustment a = adjust.Adjustment();
        levels = {a.inputBlack, a.inputWhite, a.outputBlack, a.outputWhite};
        adjust.reset();
        reset = adjust.Adjustment();
        adjust.invertCheck->setChecked(true);
        previewed = QTest::qWaitFor(
            [&] { return PixelsOf(*o.view) != Pixels{shownBefore.color, shownBefore.mask}; }, 10000);
        adjust.allFormatsCheck->setChecked(true);
        adjust.accept();
        return adjust.result();
    });
    o.main->Action("image.adjustColors")->trigger();
    QVERIFY(ColorAdjuster(reset).IsIdentity());
    QCOMPARE(typed, std::pair(120, -30));
    QCOMPARE(levels, std::tuple(10, 200, 20, 240));
    QVERIFY(previewed);
    // The full-colour format: every colour inverted, its transparency kept.
    const editor::FormatState& fullAfter = *session.State(full);
    QVERIFY(fullAfter.mask == fullBefore.mask);
    for (int y = 0; y < fullBefore.Height(); ++y)
        for (int x = 0; x < fullBefore.Width(); ++x)
            QCOMPARE(fullAfter.color.GetPixel(x, y), fullBefore.color.GetPixel(x, y) ^ 0xFFFFFF);
    // The indexed one through its palette: each entry inverted, and the same indices but under
    // the mask (where the entry nearest the old black or white is taken).
    const editor::FormatState& indexedAfter = *session.State(indexed);
    for (int y = 0; y < indexedBefore.Height(); ++y)
        for (int x = 0; x < indexedBefore.Width(); ++x) {
            const std::size_t i = static_cast<std::size_t>(y * indexedBefore.Width() + x);
            if (Visible(indexedBefore, x, y)) QCOMPARE(indexedAfter.indices[i], indexedBefore.indices[i]);
        }
    QVERIFY(!indexedBefore.palette.empty());
    for (std::size_t i = 0; i < indexedBefore.palette.size(); ++i)
        QCOMPARE(indexedAfter.palette.entries[i].green, std::uint8_t(255 - indexedBefore.palette.entries[i].green));
    // One step in each: undo gives the shown format back.
    o.main->Action("edit.undo")->trigger();
    QVERIFY(PixelsOf(*o.view) == (Pixels{shownBefore.color, shownBefore.mask}));
}

void ImageCommandsTest::paletteEntriesChangeOrMapThePicture() {
    OpenIcon o({{16, 8}});
    editor::EditSession& session = o.project->Session();
    const editor::FormatState before = *session.State(0);
    // An entry changed by a double-click: its pixels follow, every index kept.
    const int used = VisibleIndex(before);
    QVERIFY(used >= 0);
    o.s.prompts->colours.push_back(QColor(1, 2, 3));
    o.s.prompts->dialogActions.push_back(Accept<CDialPalette>([used](CDialPalette& d) {
        d.grid->cellDoubleClicked(used / 16, used % 16);
    }));
    o.main->Action("image.palette")->trigger();
    const editor::FormatState edited = *session.State(0);
    CompareRepainted(before, edited, used, RGB(1, 2, 3));
    // A swatch dragged to the first place takes its pixels with it: the picture shows as before.
    // (Where the other entries go: the editor's tests of the palette draft and of reordering.)
    const Pixels shown = PixelsOf(*o.view);
    o.s.prompts->dialogActions.push_back(Accept<CDialPalette>([used](CDialPalette& d) {
        const auto centre = [&d](int i) {
            return QPoint(d.grid->columnViewportPosition(i % 16) + 11, d.grid->rowViewportPosition(i / 16) + 11);
        };
        QTest::mousePress(d.grid->viewport(), Qt::LeftButton, {}, centre(used));
        QTest::mouseRelease(d.grid->viewport(), Qt::LeftButton, {}, centre(0));
    }));
    o.main->Action("image.palette")->trigger();
    QVERIFY(PixelsOf(*o.view) == shown);
    const editor::FormatState& moved = *session.State(0);
    QVERIFY(moved.palette.entries[0] == edited.palette.entries[static_cast<std::size_t>(used)]);
    // A loaded palette of two colours is mapped onto the picture: every visible pixel black or
    // white, and a palette saved as GIMP's reads back the same.
    const QString gpl = o.s.Path("bw.gpl");
    WriteAll(gpl, QByteArray("GIMP Palette\nName: bw\n0 0 0 Black\n255 255 255 White\n"));
    o.s.prompts->openNames.push_back({gpl});
    o.s.prompts->saveNames.push_back(o.s.Path("saved.gpl"));
    o.s.prompts->dialogActions.push_back(Accept<CDialPalette>([](CDialPalette& d) {
        d.load();
        d.save();
    }));
    o.main->Action("image.palette")->trigger();
    const editor::FormatState& mapped = *session.State(0);
    for (int y = 0; y < before.Height(); ++y)
        for (int x = 0; x < before.Width(); ++x)
            if (Visible(before, x, y))
                QVERIFY(mapped.color.GetPixel(x, y) == 0 || mapped.color.GetPixel(x, y) == 0xFFFFFF);
    QVERIFY(ReadAll(o.s.Path("saved.gpl")).startsWith("GIMP Palette\n"));
    QVERIFY(ReadAll(o.s.Path("saved.gpl")).contains("255 255 255"));
    // Undo takes the mapping back.
    o.main->Action("edit.undo")->trigger();
    QVERIFY(session.State(0)->palette == moved.palette);
}

void ImageCommandsTest::paletteReducedOnEveryIndexedFormat() {
    // The picture's three best colours mapped onto both indexed formats, the 32-bit one untouched.
    OpenIcon o({{16, 8}, {32, 4}, {16, 32}});
    editor::EditSession& session = o.project->Session();
    const editor::FormatState deep = *session.State(2);
    const Palette before[] = {session.State(0)->palette, session.State(1)->palette};
    o.s.prompts->dialogActions.push_back(Accept<CDialPalette>([](CDialPalette& d) {
        d.reduceCount->setValue(3);
        d.reduce();
        d.allFormatsCheck->setChecked(true);
    }));
    o.main->Action("image.palette")->trigger();
    for (int format : {0, 1}) {
        const editor::FormatState& s = *session.State(format);
        std::set<COLORREF> colours;
        for (int y = 0; y < s.Height(); ++y)
            for (int x = 0; x < s.Width(); ++x)
                if (Visible(s, x, y)) colours.insert(s.color.GetPixel(x, y));
        QVERIFY2(colours.size() <= 3, qPrintable(QString::number(colours.size())));
        QVERIFY2(colours.size() >= 2, qPrintable(QString("%1 %2").arg(format).arg(colours.size())));
    }
    QVERIFY(session.State(2)->color.Row(0)[0] == deep.color.Row(0)[0]);
    // One step in each: undo gives the shown format back.
    o.main->Action("edit.undo")->trigger();
    QVERIFY(session.State(0)->palette == before[0] && session.State(1)->palette != before[1]);
}

void ImageCommandsTest::dropShadowFallsWhereThePictureIsClear() {
    // A 32 x 32 format opaque but for its one-pixel border, and a sharp red shadow two pixels
    // right and down at full opacity: the right border is shadow, the left one stays clear.
    OpenIcon o({{32, 32}});
    const editor::FormatState before = *o.project->Session().State(0);
    o.s.prompts->colours.push_back(QColor(255, 0, 0));
    o.s.prompts->dialogActions.push_back(Accept<CDialDropShadow>([](CDialDropShadow& d) {
        d.dx->setValue(2);
        d.dy->setValue(2);
        d.radius->setValue(0);
        d.opacity->setValue(100);
        d.chooseColor();
    }));
    o.main->Action("image.dropShadow")->trigger();
    const editor::FormatState& after = *o.project->Session().State(0);
    QCOMPARE(after.color.GetPixel(31, 10), COLORREF(RGB(255, 0, 0)));
    QCOMPARE(after.mask.GetPixel(31, 10), after.mask.GetPixel(10, 10));
    QVERIFY(after.mask.GetPixel(31, 10) != before.mask.GetPixel(31, 10));
    QCOMPARE(after.mask.GetPixel(0, 10), before.mask.GetPixel(0, 10));
    QCOMPARE(after.color.GetPixel(10, 10), before.color.GetPixel(10, 10));
}

void ImageCommandsTest::iconsAreMadeFromPicturesAndDrawings() {
    StartedApp s;
    CMainFrame* main = s.app->MainFrame();
    // A PNG: an opaque red square on a transparent ground.
    QImage png(64, 64, QImage::Format_ARGB32);
    png.fill(Qt::transparent);
    QPainter(&png).fillRect(16, 16, 32, 32, QColor(255, 0, 0));
    QVERIFY(png.save(s.Path("square.png")));
    // A drawing whose left half is filled: sharp at every size.
    WriteAll(s.Path("half.svg"),
             "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 16 16' width='16' height='16'>"
             "<rect x='0' y='0' width='8' height='16' fill='#0000ff'/></svg>");

    // An opaque picture whose green ground becomes transparent through the corner's colour.
    QImage opaque(64, 64, QImage::Format_RGB32);
    opaque.fill(qRgb(0, 200, 0));
    QPainter(&opaque).fillRect(16, 16, 32, 32, QColor(255, 0, 0));
    QVERIFY(opaque.save(s.Path("opaque.bmp")));

    for (const QString name : {"square.png", "opaque.bmp", "half.svg"}) {
        // With an icon in front (the one just made), the command asks for the picture first.
        if (name == "opaque.bmp")
            s.prompts->openNames.push_back({s.Path(name)});
        else
            QVERIFY(s.app->OpenDocumentFile(s.Path(name)) != nullptr);
        s.prompts->dialogActions.push_back(Accept<CDialIconFromImage>([&](CDialIconFromImage& d) {
            ChooseFormats(d, [](const QString& t) {
                return t.startsWith("16 x 16, 32 ") || t.startsWith("48 x 48, 8 ") || t.startsWith("256 x 256, 32 ");
            });
            d.transparentCheck->setChecked(name == "opaque.bmp");
        }));
        // The symmetric square is made with the high-quality resampler, which keeps it symmetric.
        s.app->prefs.HighQualityResample = name == "square.png" ? 1 : 0;
        main->Action("file.newIconFromImage")->trigger();
        auto* project = qobject_cast<CIconProject*>(main->ActiveDocument());
        QVERIFY(project != nullptr);
        // Each format is there with its picture (saving it: documents_test).
        const CIconDoc& doc = project->Doc();
        QCOMPARE(doc.GetFormatCount(), 3);
        for (int i = 0; i < doc.GetFormatCount(); ++i) {
            const QImage image = ImageFromIcon(doc.GetFormat(i)->Icon());
            const int size = image.width();
            if (name == "square.png" && doc.GetFormat(i)->BitCount() == 32)
                QCOMPARE(image.mirrored(true, false), image);
            if (name != "half.svg") {
                QCOMPARE(qAlpha(image.pixel(0, 0)), 0);
                QVERIFY(qRed(image.pixel(size / 2, size / 2)) > 240);
                QCOMPARE(qAlpha(image.pixel(size / 2, size / 2)), 255);
            } else {
                // Rendered at the size itself: the edge between the halves stays hard.
                QCOMPARE(qAlpha(image.pixel(size / 2 - 1, size / 2)), 255);
                QCOMPARE(qAlpha(image.pixel(size / 2, size / 2)), 0);
                QCOMPARE(qBlue(image.pixel(0, 0)), 255);
            }
        }
    }
    // The chosen formats are remembered.
    const auto list = shell::WindowsNewFormats();
    for (std::size_t i = 0; i < list.size(); ++i) {
        const bool chosen = (list[i].size == 16 && list[i].bits == 32) || (list[i].size == 48 && list[i].bits == 8) ||
                            (list[i].size == 256 && list[i].bits == 32);
        QCOMPARE(s.app->prefs.CreateFormatFromImage[i], chosen ? 1 : 0);
    }

    auto* project = qobject_cast<CIconProject*>(main->ActiveDocument());
    // A preset chooses its formats (and its system) in the list at once.
    QStringList chosenByPreset;
    s.prompts->dialogActions.push_back([&](QDialog& dialog) {
        auto& d = static_cast<CDialIconFromImage&>(dialog);
        for (const int preset : {3, 1}) {  // "macOS", then "Windows application"
            d.presetBox->setCurrentIndex(preset);
            emit d.presetBox->activated(preset);
            QStringList names;
            for (const QString& text : CheckedTexts(*d.formatList)) names << text.section(',', 0, 0);
            chosenByPreset << QString("%1 %2 %3")
                                  .arg(d.macButton->isChecked())
                                  .arg(d.compressCheck->isChecked())
                                  .arg(names.join("/"));
        }
        return int(QDialog::Rejected);
    });
    QVERIFY(s.app->OpenDocumentFile(s.Path("square.png")) != nullptr);
    main->Action("file.newIconFromImage")->trigger();
    QCOMPARE(chosenByPreset, QStringList({"1 1 16 x 16/32 x 32/32 x 32 @2x/128 x 128/256 x 256/512 x 512/1024 x 1024",
                                          "0 1 16 x 16/24 x 24/32 x 32/48 x 48/64 x 64/256 x 256"}));

    // A format added to a project from a picture file.
    main->mdiArea->setActiveSubWindow(main->ChildOf(project));
    s.prompts->openNames.push_back({s.Path("square.png")});
    s.prompts->dialogActions.push_back(Accept<CDialNewFormat>([](CDialNewFormat& d) {
        QCOMPARE(d.widthBox->value(), 64);
        d.widthBox->setValue(24);
        d.heightBox->setValue(24);
    }));
    main->Action("icon.newFormatFromImage")->trigger();
    QCOMPARE(project->Doc().GetFormatCount(), 4);
    bool found = false;
    for (int i = 0; i < 4; ++i) found = found || project->Doc().GetFormat(i)->Width() == 24;
    QVERIFY(found);

    // A Photoshop document: its layer named "16" is that format as drawn, the 32 is made from the
    // merged picture.
    const auto pattern = [](int x, int y) {
        return psd_test::Rgba{static_cast<std::uint8_t>(x * 16), static_cast<std::uint8_t>(y * 16), 200, 255};
    };
    const auto flat = [](int, int) { return psd_test::Rgba{10, 20, 30, 255}; };
    const psd_test::Bytes psd =
        psd_test::WritePsd({32, 32, {{"16", 0, 0, 16, 16, pattern, true, 255, false, {}}}, flat, false, true});
    WriteAll(s.Path("layers.psd"), psd);
    QVERIFY(s.app->OpenDocumentFile(s.Path("layers.psd")) != nullptr);
    s.prompts->dialogActions.push_back(Accept<CDialIconFromImage>([](CDialIconFromImage& d) {
        ChooseFormats(d, [](const QString& t) { return t.startsWith("16 x 16, 32 ") || t.startsWith("32 x 32, 32 "); });
    }));
    main->Action("file.newIconFromImage")->trigger();
    const CIconDoc& layered = qobject_cast<CIconProject*>(main->ActiveDocument())->Doc();
    QCOMPARE(layered.GetFormatCount(), 2);
    for (int i = 0; i < 2; ++i) {
        const QImage image = ImageFromIcon(layered.GetFormat(i)->Icon());
        QCOMPARE(image.pixelColor(5, 3), image.width() == 16 ? QColor(80, 48, 200) : QColor(10, 20, 30));
    }
}

void ImageCommandsTest::batchMakesEveryPictureIntoTheFolder() {
    StartedApp s;
    QImage picture(40, 30, QImage::Format_ARGB32);
    picture.fill(qRgba(0, 128, 0, 255));
    QVERIFY(picture.save(s.Path("a.png")));
    QVERIFY(picture.save(s.Path("b.png")));
    WriteAll(s.Path("broken.png"), "\x89PNG not really");
    const QString folder = s.Path("icons");
    s.prompts->openNames.push_back({s.Path("a.png"), s.Path("b.png"), s.Path("broken.png")});
    s.prompts->folderNames.push_back(folder);
    s.prompts->dialogActions.push_back(Accept<CDialBatch>([](CDialBatch& d) {
        QTest::mouseClick(d.findChildren<QPushButton*>().at(0), Qt::LeftButton);  // Add...
        QTest::mouseClick(d.findChildren<QPushButton*>().at(2), Qt::LeftButton);  // Browse...
        d.sizesEdit->setText("16, 32");
        d.depthsEdit->setText("32,4");
    }));
    s.app->MainFrame()->Action("file.batch")->trigger();
    QCOMPARE(ReadIcon(folder + "/a.ico").GetFormatCount(), 4);  // 16 and 32 pixels, at 32 and 4 bits
    QVERIFY(QFile::exists(folder + "/b.ico"));
    QVERIFY(!QFile::exists(folder + "/broken.ico"));
    QCOMPARE(s.prompts->messages.size(), std::size_t{1});
    QVERIFY(s.prompts->messages.back().text.startsWith(
        QString(text::kBatchDone).arg(2).arg(3).arg(QDir::toNativeSeparators(folder))));
    QVERIFY(s.prompts->messages.back().text.contains("broken.png"));

    // Sizes that do not read keep the dialog open with a message.
    s.prompts->messages.clear();
    CDialBatch dialog(*s.prompts, folder);
    dialog.pictureList->addItem(s.Path("a.png"));
    dialog.sizesEdit->setText("16,x");
    dialog.accept();
    QCOMPARE(dialog.result(), int(QDialog::Rejected));
    QCOMPARE(s.prompts->messages.back().text, QString(text::kBatchBadList));
}

void ImageCommandsTest::iconSetsKeepTheProjectsOwnSizes() {
    OpenIcon o({{48, 32}});
    const auto sixteen = [](const CIconDoc& doc) {
        for (int i = 0; i < doc.GetFormatCount(); ++i)
            if (doc.GetFormat(i)->Width() == 16) return ImageFromIcon(doc.GetFormat(i)->Icon());
        return QImage();
    };
    // A hand-drawn 16 x 16: a pattern no scaling of the 48 makes.
    QImage small(16, 16, QImage::Format_ARGB32);
    CKvIcon drawn;
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x) small.setPixelColor(x, y, (x + y) % 2 ? QColor(255, 0, 0) : QColor(0, 0, 255));
    QVERIFY(FormatFromPicture(Dib32FromImage(small), 32, drawn));
    o.project->AddFormat(std::move(drawn));
    QVERIFY(o.main->Action("file.exportIconSet")->isEnabled());
    const QString folder = o.s.Path("set");
    o.s.prompts->dialogActions.push_back(Accept<CDialIconSet>([&](CDialIconSet& d) {
        QCOMPARE(d.nameEdit->text(), QString("icon"));
        for (QCheckBox* check : d.platformChecks) check->setChecked(false);
        d.platformChecks[0]->setChecked(true);  // Windows
        d.platformChecks[6]->setChecked(true);  // the web
        d.folderEdit->setText(folder);
    }));
    o.main->Action("file.exportIconSet")->trigger();
    QCOMPARE(o.s.prompts->messages.back().text.section(' ', 1),
             QString("files were written to %1.").arg(QDir::toNativeSeparators(folder)));
    // (Each platform's files and sizes: the formats folder's tests of icon sets.)
    QCOMPARE(sixteen(ReadIcon(folder + "/windows/icon.ico")), small);  // as drawn, not scaled
    QVERIFY(QFile::exists(folder + "/web/site.webmanifest"));
    QVERIFY(!QFile::exists(folder + "/linux"));

    // Nothing chosen, or a colour that is none, keeps the dialog open with a message.
    CDialIconSet dialog(*o.s.prompts, folder, "icon");
    dialog.backgroundEdit->setText("mauve-ish");
    dialog.accept();
    QCOMPARE(dialog.result(), int(QDialog::Rejected));
    QCOMPARE(o.s.prompts->messages.back().text, QString(text::kIconSetBadColour));
    for (QCheckBox* check : dialog.platformChecks) check->setChecked(false);
    dialog.accept();
    QCOMPARE(o.s.prompts->messages.back().text, QString(text::kIconSetNoPlatform));
}

QTEST_MAIN(ImageCommandsTest)
#include "image_commands_test.moc"
