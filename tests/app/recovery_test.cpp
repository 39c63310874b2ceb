// Never losing work: a real program killed in the middle of an edit leaves a recovery file, and
// the next start offers to restore it; saving or closing removes it.
#include <QProcess>

#include "app/common/image_convert.h"
#include "app/icon/icon_project.h"
#include "app/icon/recovery.h"
#include "app/shell/main_frame.h"
#include "app_test_support.h"

using namespace tellurine;
using namespace tellurine::app;
using namespace tellurine::app::test;

class RecoveryTest : public QObject {
    Q_OBJECT
private slots:
    void aKilledProgramsEditIsRestoredAtTheNextStart();
    void savingClosingAndRefusingRemoveTheFiles();
};

void RecoveryTest::aKilledProgramsEditIsRestoredAtTheNextStart() {
    // Before the program starts on its profile, another run on the same profile opens the icon,
    // draws, and is killed mid-edit: nothing saved, nothing closed.
    QByteArray original;
    const auto killedRun = [&](QTemporaryDir& dir) {
        const QString icon = dir.filePath("icon.ico");
        WriteProject(icon, {{16, 32}});
        original = ReadAll(icon);
        QProcess child;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("QT_QPA_PLATFORM", "offscreen");
        env.insert("TELLURINE_RECOVERY_INTERVAL_MS", "50");
        child.setProcessEnvironment(env);
        child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        child.start(TELLURINE_RECOVERY_CHILD, {dir.filePath("profile.ini"), dir.filePath("appdata"), icon});
        QVERIFY(child.waitForStarted());
        QByteArray said;
        QTRY_VERIFY_WITH_TIMEOUT(
            (said += child.readAllStandardOutput()).contains("ready") || child.state() != QProcess::Running, 20000);
        QCOMPARE(child.state(), QProcess::Running);
        child.kill();
        QVERIFY(child.waitForFinished());
    };
    StartedApp s({}, false, killedRun, [](RecordingPrompts& p) { p.yesNoAnswers = {true}; });
    QVERIFY(s.started);
    const QString icon = s.Path("icon.ico");
    QCOMPARE(ReadAll(icon), original);  // the user's file was never touched

    // The start offers the work; taking it opens the icon, modified, with the drawn pixel.
    QCOMPARE(s.prompts->questions.size(), std::size_t{1});
    QVERIFY(s.prompts->questions[0].contains(QDir::toNativeSeparators(icon)));
    auto* project = qobject_cast<CIconProject*>(s.app->MainFrame()->ActiveDocument());
    QVERIFY(project != nullptr);
    QCOMPARE(project->PathName(), icon);
    QVERIFY(project->IsModified());
    QCOMPARE(ImageFromIcon(project->Doc().GetFormat(0)->Icon()).pixelColor(1, 1), QColor(255, 0, 0));
    QVERIFY(s.app->Recovery()->Found().empty());  // taken once, not offered again
}

void RecoveryTest::savingClosingAndRefusingRemoveTheFiles() {
    OpenIcon o({{16, 32}});
    auto& [s, icon, main, frame, view, project] = o;
    s.app->SaveRecoveryFiles();
    QVERIFY(s.app->Recovery()->FileOf(project).isEmpty());  // nothing to keep while unmodified
    project->DeleteFormat(0);
    project->AddFormat(MakeFormat(32, 8));
    s.app->SaveRecoveryFiles();
    const QString file = s.app->Recovery()->FileOf(project);
    QVERIFY(QFileInfo::exists(file + ".icon"));
    QVERIFY(s.app->SaveDocument(project));
    QVERIFY(!QFileInfo::exists(file + ".icon"));
    QVERIFY(!QFileInfo::exists(file + ".txt"));

    // Closing without saving removes it too.
    project->DeleteFormat(0);
    project->AddFormat(MakeFormat(16, 4));
    s.app->SaveRecoveryFiles();
    const QString again = s.app->Recovery()->FileOf(project);
    QVERIFY(QFileInfo::exists(again + ".icon"));
    s.prompts->saveAnswers = {UserPrompts::SaveAnswer::Discard};
    s.app->MainFrame()->Action("file.close")->trigger();
    QCoreApplication::processEvents();
    QVERIFY(!QFileInfo::exists(again + ".icon"));

    // What another run left is refused: no window, and the files are gone.
    const QString left = s.Path("appdata/Korvane/Tellurine/Recovery/");
    QDir().mkpath(left);
    QFile::copy(icon, left + "999999-1.icon");
    WriteAll(left + "999999-1.txt", QString("999999-1.icon\n%1\nicon.ico\n").arg(icon).toUtf8());
    QCOMPARE(s.app->Recovery()->Found().size(), std::size_t{1});
    s.app.reset();
    s.Start({});
    QCOMPARE(s.prompts->questions.size(), std::size_t{1});
    QVERIFY(s.app->MainFrame()->Children().empty());
    QVERIFY(!QFileInfo::exists(left + "999999-1.icon"));

    // Restored, a project is saved in place only into a kind of file a save writes: an icon set
    // yes, an animated cursor's step no (it asks for a new name).
    const std::pair<QString, QString> entries[] = {{"999998-1", s.Path("family.iconset")}, {"999998-2", s.Path("moving.ani")}};
    for (const auto& [name, original] : entries) {
        QFile::copy(icon, left + name + ".icon");
        WriteAll(left + name + ".txt", QString("%1.icon\n%2\nx\n").arg(name, original).toUtf8());
    }
    s.app.reset();
    s.answers_ = [](RecordingPrompts& p) { p.yesNoAnswers = {true}; };
    s.Start({});
    QCOMPARE(s.app->MainFrame()->Children().size(), std::size_t{2});
    for (CKvMdiChild* child : s.app->MainFrame()->Children()) {
        auto* restored = qobject_cast<CIconProject*>(child->Document());
        QVERIFY(restored != nullptr && restored->IsModified());
        QCOMPARE(restored->CanSaveInPlace(), restored->PathName().endsWith(".iconset"));
    }
}

QTEST_MAIN(RecoveryTest)
#include "recovery_test.moc"
