// Start-up as the program runs it: what its steps leave behind, the profile read and written back,
// files and switches from the command line, dropped files, What's New and the recent-file menus.
#include <QMdiArea>
#include <QMenu>

#include <QTextBrowser>

#include "app/icon/icon_project.h"
#include "app/shell/main_frame.h"
#include "app_test_support.h"
#include "shell/doc_templates.h"

using namespace tellurine;
using namespace tellurine::app;
using namespace tellurine::app::test;

class StartupTest : public QObject {
    Q_OBJECT
private slots:
    void aMissingProfileGivesEveryDefaultAndExitWritesThemBack();
    void filesAndSwitchesFromTheCommandLineAndDropped();
    void whatsNewIsShownOncePerPage();
    void recentFileMenus();
};

void StartupTest::aMissingProfileGivesEveryDefaultAndExitWritesThemBack() {
    StartedApp s({}, false, [](QTemporaryDir& dir) { QFile::remove(dir.filePath("profile.ini")); });
    QVERIFY(s.started);
    CKvApp& app = *s.app;
    // The main window is up and takes dropped files; the timer runs; the folders are those given.
    QVERIFY(app.MainFrame()->isVisible());
    QVERIFY(app.MainFrame()->acceptDrops());
    QVERIFY(app.timer.isActive());
    QCOMPARE(app.programFolder, s.Path("program") + "/");
    QCOMPARE(app.userDataFolder, s.Path("appdata") + "/Korvane/Tellurine/");
    // The defaults show the splash.
    QVERIFY(app.StartupLog().contains("splash"));
    QVERIFY(app.recentFiles.Entries().empty());
    app.prefs.JpegQuality = 91;
    app.AddToRecentFileList("/somewhere/a.ico");
    app.ExitInstance();
    // (That every value is written under its name: the shell's preference tests.)
    QSettings ini(s.ProfilePath(), QSettings::IniFormat);
    QCOMPARE(ini.value("prefs/JpegQuality").toInt(), 91);
    QCOMPARE(ini.value("Recent File List/File1").toString(), QString("/somewhere/a.ico"));
    QCOMPARE(ini.value("Korvane Recent Files/File1").toString(), QString("/somewhere/a.ico"));
}

void StartupTest::filesAndSwitchesFromTheCommandLineAndDropped() {
    QTemporaryDir dir;
    const QString a = dir.filePath("a.ico"), b = dir.filePath("b.cur"), c = dir.filePath("c.icns");
    const QString patch = dir.filePath("update.tmp");
    WriteProject(a, {{16, 32}, {32, 8}});
    WriteProject(b, {{32, 32}}, /*cursor=*/true);
    WriteProject(c, {{32, 32}, {128, 32}});
    WriteAll(patch, "old");
    // The files open; the switches are taken, not opened as files: the patch is deleted.
    StartedApp s({a, b, "/librarian:Icons", "/delpatch:" + patch});
    QCOMPARE(s.app->MainFrame()->Children().size(), std::size_t{2});
    QCOMPARE(s.app->recentFiles.Entries().front(), b.toStdString());
    QVERIFY(!QFile::exists(patch));
    QVERIFY(s.prompts->messages.empty());

    // A file dropped on the main window opens as if chosen in the open dialog.
    QVERIFY(DropFiles(s.app->MainFrame(), {c}));
    QCOMPARE(s.app->MainFrame()->Children().size(), std::size_t{3});
    QCOMPARE(s.app->MainFrame()->ActiveDocument()->TemplateResource(), shell::kTemplateIcns);

    // Opening a file already open brings its window forward instead of a second one.
    s.app->OpenDocumentFile(a);
    QCOMPARE(s.app->MainFrame()->Children().size(), std::size_t{3});
    QCOMPARE(s.app->MainFrame()->ActiveDocument()->PathName(), a);
}

void StartupTest::whatsNewIsShownOncePerPage() {
    const auto prepare = [](QTemporaryDir& dir) {
        WriteAll(dir.filePath("program/kvwn.htm"), "<p>Tellurine news</p>");
        WriteAll(dir.filePath("program/kvwn2.htm"), "<p>More news</p>");
    };
    StartedApp s({}, false, prepare);
    auto* dialog = s.app->MainFrame()->findChild<CDialWhatsNew*>();
    QVERIFY(dialog != nullptr);
    QVERIFY(dialog->browser->toPlainText().contains("Tellurine news"));
    QVERIFY(dialog->browser->toPlainText().contains("More news"));
    QCOMPARE(s.app->WhatsNewPages().size(), 2);
    s.app->ExitInstance();

    s.app.reset();
    s.Start({});
    QVERIFY(s.app->MainFrame()->findChild<CDialWhatsNew*>() == nullptr);
}

void StartupTest::recentFileMenus() {
    StartedApp s;
    const QString icon = s.Path("recent.ico");
    WriteProject(icon, {{16, 32}});
    for (int i = 0; i < 11; ++i) s.app->AddToRecentFileList(s.Path(QString("folder/f%1.ico").arg(i)));
    s.app->AddToRecentFileList(icon);
    CMainFrame* frame = s.app->MainFrame();
    const QList<QAction*> recent = frame->recentMenu->actions();
    QCOMPARE(recent.size(), 10);
    QCOMPARE(recent[0]->text(), QString::fromStdString("&1 " + shell::AbbreviatePath(icon.toStdString())));
    // The program's own list shows what the framework's list no longer holds.
    const QList<QAction*> more = frame->moreRecentMenu->actions();
    QCOMPARE(more.size(), 2);
    QCOMPARE(more[1]->data().toString(), s.Path("folder/f0.ico"));
    // Choosing an entry opens it; one that has gone away is said so and leaves the lists.
    recent[0]->trigger();
    QCOMPARE(s.app->MainFrame()->Children().size(), std::size_t{1});
    frame->recentMenu->actions()[1]->trigger();
    QCOMPARE(s.prompts->messages.size(), std::size_t{1});
    const QString gone = QDir::toNativeSeparators(s.Path("folder/f10.ico"));
    QVERIFY(s.prompts->messages[0].text.startsWith("The file " + gone + " cannot be opened"));
    QCOMPARE(frame->recentMenu->actions().size(), 9);
    QCOMPARE(s.app->ownRecentFiles.Entries().size(), std::size_t{11});
}

QTEST_MAIN(StartupTest)
#include "startup_test.moc"
