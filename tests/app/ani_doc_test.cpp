// Animated cursors as a person uses them: the list of steps, playing them at their rates, a new
// cursor made from a step. (A file that cannot be read: documents_test; opening a file already
// open, and the recent-file list, are the same for every kind of file: see startup_test.)
#include <QListView>
#include <QMdiArea>
#include <QLabel>

#include "app/ani/ani_doc.h"
#include "app/common/image_convert.h"
#include "app/shell/main_frame.h"
#include "app_test_support.h"
#include "formats/ani_test_writer.h"
#include "formats/ico_file.h"
#include "shell/texts.h"

using namespace tellurine;
using namespace tellurine::app;
using namespace tellurine::app::test;

namespace {

using namespace ani_test;

Bytes Text(const std::string& s) { return Bytes(s.begin(), s.end()); }

// A cursor file of one format with a hotspot, as an "icon" sub-chunk.
Bytes CursorFrame(int size, int bits, int hotX, int hotY) {
    CIconDoc doc;
    doc.cursor = true;
    CKvIcon icon = MakeFormat(size, bits);
    icon.SetPoint(hotX, hotY);
    doc.AddFormat(std::move(icon));
    Bytes out;
    if (!WriteIconFile(doc, false, out)) qFatal("cannot write a cursor frame");
    return Chunk("icon", out);
}

// Two frames (a 32 x 32 4-bit cursor, then a 16 x 16 32-bit one) shown by four steps in the order
// 1, 0, 1, 0, with rates of 6, 65539 (which wraps to 3), 0 and 60 jiffies, a title and an author
// in the Windows code page.
Bytes Spinner() {
    return Ani({Anih(2, 4, 10, 3), Table("rate", {6, 65539, 0, 60}), Table("seq ", {1, 0, 1, 0}),
                List("INFO", {Chunk("INAM", Text("Spinner")), Chunk("IART", Text("\xA9 Someone"))}),
                List("fram", {CursorFrame(32, 4, 10, 20), CursorFrame(16, 32, 3, 4)})});
}

// A started application with the spinner open in its window.
struct OpenSpinner {
    StartedApp s;
    CAniDocument* document = nullptr;
    CImageDocMDI* frame = nullptr;
    OpenSpinner() {
        WriteAll(s.Path("spinner.ani"), Spinner());
        document = qobject_cast<CAniDocument*>(s.app->OpenDocumentFile(s.Path("spinner.ani")));
        CKvMdiChild* child = s.app->MainFrame()->ActiveChild();
        frame = child != nullptr ? qobject_cast<CImageDocMDI*>(child->widget()) : nullptr;
    }
};

}  // namespace

class AniDocTest : public QObject {
    Q_OBJECT
private slots:
    void stepsAreListedAndPlayedAtTheirRates();
    void newIconFromStepKeepsPictureAndHotspot();
};

void AniDocTest::stepsAreListedAndPlayedAtTheirRates() {
    OpenSpinner o;
    CImageDocMDI* frame = o.frame;
    QVERIFY(o.document != nullptr && frame != nullptr);
    QVERIFY(o.s.prompts->messages.empty());
    qint64 now = 0;
    frame->clock = [&now] { return now; };

    const QStringList rows = {
        "Step 1: 16 x 16, 32 bits\n6 jiffies (100 ms), hotspot 3,4",
        "Step 2: 32 x 32, 4 bits\n3 jiffies (50 ms), hotspot 10,20",
        "Step 3: 16 x 16, 32 bits\n0 jiffies (0 ms), hotspot 3,4",
        "Step 4: 32 x 32, 4 bits\n60 jiffies (1000 ms), hotspot 10,20",
    };
    QCOMPARE(frame->model->rowCount(), rows.size());
    for (int i = 0; i < rows.size(); ++i) {
        QCOMPARE(frame->model->index(i).data().toString(), rows[i]);
        QVERIFY(!frame->model->index(i).data(Qt::DecorationRole).value<QPixmap>().isNull());
    }
    QCOMPARE(frame->infoLabel->text(), QString::fromUtf8("Title: Spinner\nAuthor: \u00A9 Someone"));
    QVERIFY(frame->stepList->actions().contains(frame->actNewIcon));

    // It plays from the start; Pause stops it.
    QCOMPARE(frame->actPlay->text(), QString("Pause"));
    frame->actPlay->trigger();
    QCOMPARE(frame->actPlay->text(), QString("Play"));
    QVERIFY(!frame->timer.isActive());
    frame->stepList->setCurrentIndex(frame->model->index(0));
    QCOMPARE(frame->CurrentStep(), 0);

    // Steps last 100, 50, 16.67 (a rate of 0 still shows) and 1000 ms, then the first again.
    frame->actPlay->trigger();
    const struct {
        qint64 ms;
        int step;
        int width;
        int nextInMs;
    } ticks[] = {
        {99, 0, 16, 1},    {100, 1, 32, 50},  {150, 2, 16, 17},
        {166, 2, 16, 1},   {167, 3, 32, 1000}, {1166, 3, 32, 1}, {1167, 0, 16, 100},
    };
    for (const auto& t : ticks) {
        now = t.ms;
        frame->OnTimer();
        QCOMPARE(std::tuple(frame->CurrentStep(), frame->stepList->currentIndex().row(),
                            frame->playerView->Picture().width(), frame->timer.interval()),
                 std::tuple(t.step, t.step, t.width, t.nextInMs));
    }
    QCOMPARE(frame->stepLabel->text(), QString("Step 1 of 4"));
    QCOMPARE(frame->playerView->Hotspot(), QPoint(3, 4));

    // Stepping pauses, and wraps at both ends.
    frame->actPreviousStep->trigger();
    QCOMPARE(frame->CurrentStep(), 3);
    QCOMPARE(frame->actPlay->text(), QString("Play"));
    QVERIFY(!frame->timer.isActive());
    frame->actNextStep->trigger();
    frame->actNextStep->trigger();
    QCOMPARE(frame->CurrentStep(), 1);
    QCOMPARE(frame->playerView->Picture(), frame->Document().StepPicture(1));
    QCOMPARE(frame->stepLabel->text(), QString("Step 2 of 4"));
    // The buttons are the registry's commands: run by id, they step the active animation.
    QVERIFY(o.s.app->MainFrame()->commands->Execute("ani.next"));
    QCOMPARE(frame->CurrentStep(), 2);
    QVERIFY(o.s.app->MainFrame()->commands->Execute("ani.previous"));
}

void AniDocTest::newIconFromStepKeepsPictureAndHotspot() {
    OpenSpinner o;
    StartedApp& s = o.s;
    CImageDocMDI* aniFrame = o.frame;
    QVERIFY(aniFrame != nullptr);
    CAniDocument& animation = aniFrame->Document();

    // The step's own picture and hotspot (that the project is a 32-bit cursor of one format: the
    // shell's test of a project made from a step).
    const struct {
        int step;
        QPoint hotspot;
    } cases[] = {{0, {3, 4}}, {1, {10, 20}}};
    for (const auto& c : cases) {
        aniFrame->stepList->setCurrentIndex(aniFrame->model->index(c.step));
        aniFrame->actNewIcon->trigger();
        auto* project = qobject_cast<CIconProject*>(s.app->MainFrame()->ActiveDocument());
        QVERIFY(project != nullptr);
        QCOMPARE(project->Title(), QString("spinner step %1").arg(c.step + 1));
        QVERIFY(!project->IsModified());
        const CIconDoc& doc = project->Doc();
        QCOMPARE(doc.GetFormatCount(), 1);
        const CIconObject& format = *doc.GetFormat(0);
        QCOMPARE(ImageFromIcon(format.Icon()), animation.StepPicture(c.step));
        // (A cursor's hotspot saved and read back: documents_test.)
        QCOMPARE(QPoint(format.Icon().PointX(), format.Icon().PointY()), c.hotspot);
        s.app->MainFrame()->mdiArea->setActiveSubWindow(s.app->MainFrame()->ChildOf(&animation));
    }
    QVERIFY(s.prompts->messages.empty());
}

QTEST_MAIN(AniDocTest)
#include "ani_doc_test.moc"
