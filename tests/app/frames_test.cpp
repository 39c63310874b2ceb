// What the windows draw: the format bar's thumbnails (crisp on dense screens), the view's picture
// at its own size and magnified, and the new-icon dialog keeping each system's choices.
#include <QCheckBox>
#include <QListWidget>
#include <QRadioButton>

#include "app/documents.h"
#include "app/icon_frame.h"
#include "app/image_convert.h"
#include "app_test_support.h"

using namespace tellurine;
using namespace tellurine::app;
using namespace tellurine::app::test;

class FramesTest : public QObject {
    Q_OBJECT
private slots:
    void thumbnailsAreDrawnForTheScreensDensity();
    void viewShowsTheFormatAtItsSizeAndMagnified();
    void newIconDialogKeepsEachSystemsChoices();
};

void FramesTest::thumbnailsAreDrawnForTheScreensDensity() {
    CIconProject project(101);
    project.Doc().AddFormat(MakeFormat(16, 32));
    project.Doc().AddFormat(MakeFormat(256, 32, true));
    CIconFormatListModel model(project);
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
}

void FramesTest::viewShowsTheFormatAtItsSizeAndMagnified() {
    CIconProject project(101);
    project.Doc().AddFormat(MakeFormat(32, 32));
    project.Doc().AddFormat(MakeFormat(16, 8));
    CIconDocMDI frame(project);
    frame.resize(600, 400);
    frame.show();
    QVERIFY(QTest::qWaitForWindowExposed(&frame));
    for (const int index : {0, 1}) {
        frame.formatBar->SetCurrentFormat(index);
        QCOMPARE(frame.view->Format(), index);
        const QImage picture = ImageFromIcon(project.Doc().GetFormat(index)->Icon());
        const QImage shot = frame.view->grab().toImage();
        const int zoom = frame.view->Zoom();
        QVERIFY(zoom >= 2);
        const int size = picture.width(), left = 10 + size + 10;
        // An opaque pixel inside, at its own size and in the magnified copy.
        for (const auto& [x, y] : {std::pair{5, 5}, std::pair{size - 3, size / 2}}) {
            QCOMPARE(shot.pixelColor(10 + x, 10 + y), picture.pixelColor(x, y));
            QCOMPARE(shot.pixelColor(left + x * zoom + zoom / 2, 10 + y * zoom + zoom / 2), picture.pixelColor(x, y));
        }
        // The transparent frame shows the checkerboard's white or grey.
        const QColor corner = shot.pixelColor(10, 10);
        QVERIFY2(corner == QColor(255, 255, 255) || corner == QColor(204, 204, 204), qPrintable(corner.name()));
    }
}

void FramesTest::newIconDialogKeepsEachSystemsChoices() {
    shell::Preferences prefs;
    CDialNewIcon dialog(prefs);
    const auto checked = [&] {
        QStringList names;
        for (int i = 0; i < dialog.formatList->count(); ++i)
            if (dialog.formatList->item(i)->checkState() == Qt::Checked) names << dialog.formatList->item(i)->text();
        return names;
    };
    QCOMPARE(dialog.formatList->count(), 35);
    const QStringList windowsDefaults = checked();
    QVERIFY(windowsDefaults.contains("256 x 256, 32 bits (true color with alpha)"));
    dialog.formatList->item(0)->setCheckState(Qt::Checked);  // 16 x 16 at 1 bit
    dialog.macButton->setChecked(true);
    QCOMPARE(dialog.formatList->count(), 16);
    QVERIFY(checked().contains("512 x 512, 32 bits (true color with alpha)"));
    dialog.windowsButton->setChecked(true);
    QCOMPARE(checked(), QStringList{"16 x 16, 1 bit (2 colors)"} + windowsDefaults);
    // Nothing chosen: the dialog stays open.
    for (int i = 0; i < dialog.formatList->count(); ++i) dialog.formatList->item(i)->setCheckState(Qt::Unchecked);
    QTimer::singleShot(0, [] {
        if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) box->accept();
    });
    dialog.setResult(QDialog::Rejected);
    dialog.accept();
    QCOMPARE(dialog.result(), int(QDialog::Rejected));
}

QTEST_MAIN(FramesTest)
#include "frames_test.moc"
