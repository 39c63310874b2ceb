// The colour dialog as a person uses it: the fields following one another, the square and the
// strip, the screen picker, the recent colours and swatches kept in the profile; and a palette
// entry given a new colour from the colour bar.
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>

#include "app/common/color_dialog.h"
#include "app/icon/color_bar.h"
#include "app_test_support.h"

using namespace tellurine;
using namespace tellurine::app;
using namespace tellurine::app::test;

class ColorDialogTest : public QObject {
    Q_OBJECT
private slots:
    void fieldsFollowEachOtherAndChoicesAreKept();
    void doubleClickOnAPaletteSwatchChangesTheEntry();
};

namespace {

// Red, green, blue, hue, saturation and value as the fields show them.
std::vector<int> Fields(const CColorDialog& d) {
    return {d.red->value(), d.green->value(), d.blue->value(), d.hue->value(), d.saturation->value(), d.value->value()};
}

void MouseOn(QWidget* widget, QEvent::Type type, QPoint at, Qt::MouseButton button, Qt::MouseButtons held) {
    QMouseEvent event(type, at, widget->mapToGlobal(at), button, held, Qt::NoModifier);
    QCoreApplication::sendEvent(widget, &event);
}

}  // namespace

void ColorDialogTest::fieldsFollowEachOtherAndChoicesAreKept() {
    StartedApp s;
    shell::Profile& profile = s.app->Profile();
    s.prompts->dialogActions.push_back(Accept<CColorDialog>([](CColorDialog& d) {
        QCOMPARE(d.hex->text(), QString("#0A141E"));
        QVERIFY(d.alpha->isHidden());
        // A short hex typed: every field follows; text that is no colour goes back when left.
        d.hex->clear();
        QTest::keyClicks(d.hex, "#f80");
        QCOMPARE(Fields(d), (std::vector<int>{255, 136, 0, 32, 100, 100}));
        QTest::keyClicks(d.hex, "zz");
        emit d.hex->editingFinished();
        QCOMPARE(d.hex->text(), QString("#FF8800"));
        d.value->setValue(50);
        QCOMPARE(d.hex->text(), QString("#804400"));
        QCOMPARE(d.red->value(), 128);
        // The square: saturation left to right, value bottom to top; a grey keeps the hue typed.
        const QRect square = d.picker->SquareRect();
        QTest::mouseClick(d.picker, Qt::LeftButton, {}, square.topLeft());
        QCOMPARE(Fields(d), (std::vector<int>{255, 255, 255, 32, 0, 100}));
        QTest::mouseClick(d.picker, Qt::LeftButton, {}, QPoint(square.right(), square.center().y()));
        QCOMPARE(d.Color(), QColor(128, 68, 0));
        // A drag down the strip turns the hue to its end.
        const QRect strip = d.picker->StripRect();
        MouseOn(d.picker, QEvent::MouseButtonPress, strip.topLeft(), Qt::LeftButton, Qt::LeftButton);
        QCOMPARE(d.hue->value(), 0);
        MouseOn(d.picker, QEvent::MouseMove, strip.bottomLeft() + QPoint(0, 30), Qt::NoButton, Qt::LeftButton);
        MouseOn(d.picker, QEvent::MouseButtonRelease, strip.bottomLeft(), Qt::LeftButton, Qt::NoButton);
        QCOMPARE(Fields(d), (std::vector<int>{128, 0, 2, 359, 100, 50}));
        d.red->setValue(0);
        QCOMPARE(Fields(d), (std::vector<int>{0, 0, 2, 240, 100, 1}));
        d.hex->setText("#123456");
        emit d.hex->textEdited(d.hex->text());
    }));
    QCOMPARE(s.prompts->UserPrompts::GetColor(s.app->MainFrame(), QColor(10, 20, 30), "t"), QColor(0x12, 0x34, 0x56));
    QCOMPARE(profile.GetString("colors", "RecentColors", ""), std::to_string(0x563412));
    QCOMPARE(s.app->prefs.RecentColors, std::to_string(0x563412));

    // Again: the recent colour offered; saved swatches added and removed; the screen picker reads
    // a pixel (here the square's corner), Esc giving up on it without closing the dialog.
    const auto again = [&](CColorDialog& d) {
        QCOMPARE(d.recentRow->Colours(), std::vector<std::uint32_t>{0x563412});
        QTest::mouseClick(d.recentRow, Qt::LeftButton, {}, d.recentRow->CellRect(0).center());
        QCOMPARE(d.Color(), QColor(0x12, 0x34, 0x56));
        d.addSwatchButton->click();
        d.SetColor(Qt::red);
        d.addSwatchButton->click();
        QCOMPARE(profile.GetString("colors", "SavedSwatches", ""), "255," + std::to_string(0x563412));
        QTest::mouseClick(d.swatchRow, Qt::RightButton, {}, d.swatchRow->CellRect(1).center());
        QCOMPARE(profile.GetString("colors", "SavedSwatches", ""), "255");

        d.show();
        QVERIFY(QTest::qWaitForWindowExposed(&d));
        const QPoint corner = d.picker->mapToGlobal(d.picker->SquareRect().topLeft() + QPoint(2, 2));
        d.pickButton->click();
        QTest::keyClick(d.PickPopup(), Qt::Key_Escape);
        QVERIFY(!d.Picking() && d.isVisible());
        QCOMPARE(d.Color(), QColor(Qt::red));
        d.SetColor(QColor(0, 0, 255));
        d.picker->repaint();
        d.pickButton->click();
        QWidget* popup = d.PickPopup();
        MouseOn(popup, QEvent::MouseButtonPress, popup->mapFromGlobal(corner), Qt::LeftButton, Qt::LeftButton);
        QVERIFY(!d.Picking());
        QCOMPARE(d.Color(), QColor(250, 250, 252));
    };
    s.prompts->dialogActions.push_back([&again](QDialog& dialog) {
        again(static_cast<CColorDialog&>(dialog));
        return int(QDialog::Rejected);
    });
    QVERIFY(!s.prompts->UserPrompts::GetColor(nullptr, Qt::black, "t").isValid());
    QCOMPARE(s.app->prefs.RecentColors, std::to_string(0x563412));  // cancelled: nothing more
}

void ColorDialogTest::doubleClickOnAPaletteSwatchChangesTheEntry() {
    OpenIcon o({{16, 4}, {16, 8}});
    CColorBar* bar = o.main->colorBar;
    editor::EditSession& session = o.project->Session();
    for (int format = 0; format < 2; ++format) {
        o.frame->formatBar->SetCurrentFormat(format);
        const editor::FormatState before = *session.State(format);
        // An index some visible pixel uses.
        const int used = VisibleIndex(before);
        QVERIFY(used >= 0);
        o.s.prompts->colours.push_back(QColor(1, 2, 3));
        QTest::mouseDClick(bar, Qt::LeftButton, {}, bar->CellRect(used).center());
        const editor::FormatState& after = *session.State(format);
        CompareRepainted(before, after, used, RGB(1, 2, 3));
        QCOMPARE(after.indices, before.indices);  // those of hidden pixels too
        QCOMPARE(editor::SampleColour(bar->Cells()[used], after.palette), COLORREF(RGB(1, 2, 3)));
        // One step undoes it.
        o.main->Action("edit.undo")->trigger();
        QVERIFY(session.State(format)->palette == before.palette);
    }
}

QTEST_MAIN(ColorDialogTest)
#include "color_dialog_test.moc"
