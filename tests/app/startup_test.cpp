// Start-up as the program runs it: the order of its steps, what each leaves behind, the
// command-line switches, the profile read and written back, files from the command line and by
// dropping.
#include <QDropEvent>
#include <QMdiArea>
#include <QMenu>
#include <QMimeData>

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
    void stepsRunInOrderAndLeaveTheirEffects();
    void aMissingProfileGivesEveryDefaultAndExitWritesThemBack();
    void switchesAtOnceAndAtTheEnd();
    void filesFromTheCommandLineAndDropped();
    void whatsNewIsShownOncePerPage();
    void recentFileMenus();
};

void StartupTest::stepsRunInOrderAndLeaveTheirEffects() {
    StartedApp s({}, /*splash=*/true);
    QVERIFY(s.started);
    QStringList steps;
    for (const QString& line : s.app->StartupLog()) steps << line.section(':', 0, 0);
    const QStringList expected = {"program folder", "window class", "component library", "user-data folder",
                                  "profile",        "language",     "palette",           "clipboard formats",
                                  "recent files",   "preferences",  "splash",            "templates",
                                  "switch",         "main frame",   "timer",             "drawing tools",
                                  "accept files",   "command line", "show"};
    QCOMPARE(steps, expected);

    CMainFrame* frame = s.app->MainFrame();
    QCOMPARE(frame->objectName(), QString("KVTellurineClass"));
    QVERIFY(frame->isVisible());
    QVERIFY(frame->acceptDrops());
    QVERIFY(s.app->timer.isActive());
    QCOMPARE(s.app->timer.interval(), 50);
    QVERIFY(s.app->StartupLog().contains("templates: 11"));
    QCOMPARE(s.app->clipboardFormats,
             QStringList({"Korvane MB40 File List", "Korvane IconEdit Data", "Korvane DIB32 Data", "Korvane PAL Data",
                          "Korvane IconFormat Data"}));
    QCOMPARE(s.app->palette.size(), std::size_t{256});
    QCOMPARE(s.app->programFolder, s.Path("program") + "/");
    QCOMPARE(s.app->userDataFolder, s.Path("appdata") + "/Korvane/Tellurine/");
    QVERIFY(!s.app->userDataFolder.contains("//"));
    QCOMPARE(QCoreApplication::organizationName(), QString("Korvane"));
}

void StartupTest::aMissingProfileGivesEveryDefaultAndExitWritesThemBack() {
    QTemporaryDir dir;
    StartOptions options;
    options.profileFile = dir.filePath("none.ini");  // no such file
    options.programFolder = dir.path();
    options.appDataFolder = dir.path();
    {
        CKvApp app(options);
        app.SetPrompts(std::make_unique<RecordingPrompts>());
        QVERIFY(app.InitInstance({}));
        QCOMPARE(app.prefs.NewPicWidth, 256);
        QCOMPARE(app.prefs.NewPicBpp, 32);
        QCOMPARE(app.prefs.JpegQuality, 80);
        QCOMPARE(app.prefs.ShowSplashScreen, 1);
        QVERIFY(app.StartupLog().contains("splash"));
        QVERIFY(app.recentFiles.Entries().empty());
        app.prefs.JpegQuality = 91;
        app.AddToRecentFileList("/somewhere/a.ico");
        app.ExitInstance();
    }
    QSettings ini(options.profileFile, QSettings::IniFormat);
    for (const shell::PreferenceName& n : shell::AllPreferenceNames())
        QVERIFY2(ini.contains(QString::fromStdString(n.section + "/" + n.name)), n.name.c_str());
    QCOMPARE(ini.value("prefs/JpegQuality").toInt(), 91);
    QCOMPARE(ini.value("prefs/TransparencyColorSheme").toInt(), 2);
    QCOMPARE(ini.value("Recent File List/File1").toString(), QString("/somewhere/a.ico"));
    QCOMPARE(ini.value("Korvane Recent Files/File1").toString(), QString("/somewhere/a.ico"));
}

void StartupTest::switchesAtOnceAndAtTheEnd() {
    {
        // Both switches: the patch is deleted and the librarian switch is not taken.
        QTemporaryDir dir;
        const QString patch = dir.filePath("update.tmp");
        WriteAll(patch, "old");
        StartedApp s({"/librarian:Icons", "/delpatch:" + patch});
        QVERIFY(s.app->switches.deletePatch);
        QCOMPARE(QString::fromStdString(s.app->switches.patchPath), patch);
        QVERIFY(!s.app->switches.librarian);
        QVERIFY(!QFile::exists(patch));
        QVERIFY(s.prompts->messages.empty());  // the switch's text is no file to open
    QVERIFY(s.app->MainFrame()->Children().empty());
    }
    {
        StartedApp s({"/librarian:"});
        QVERIFY(s.app->switches.librarian);
        QCOMPARE(QString::fromStdString(s.app->switches.librarianArgument), QString());
        QVERIFY(!QFileInfo::exists(s.Path("update.tmp")));
    }
}

void StartupTest::filesFromTheCommandLineAndDropped() {
    QTemporaryDir dir;
    const QString a = dir.filePath("a.ico"), b = dir.filePath("b.cur"), c = dir.filePath("c.icns");
    WriteProject(a, {{16, 32}, {32, 8}});
    WriteProject(b, {{32, 32}}, /*cursor=*/true);
    WriteProject(c, {{32, 32}, {128, 32}});
    StartedApp s({a, b});
    QCOMPARE(s.app->MainFrame()->Children().size(), std::size_t{2});
    QCOMPARE(s.app->recentFiles.Entries().front(), b.toStdString());

    // A file dropped on the main window opens as if chosen in the open dialog.
    auto* mime = new QMimeData;
    mime->setUrls({QUrl::fromLocalFile(c)});
    QDragEnterEvent enter(QPoint(100, 100), Qt::CopyAction, mime, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(s.app->MainFrame(), &enter);
    QVERIFY(enter.isAccepted());
    QDropEvent drop(QPointF(100, 100), Qt::CopyAction, mime, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(s.app->MainFrame(), &drop);
    QCOMPARE(s.app->MainFrame()->Children().size(), std::size_t{3});
    QCOMPARE(s.app->MainFrame()->ActiveDocument()->TemplateResource(), shell::kTemplateIcns);
    delete mime;

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
    QVERIFY(s.app->StartupLog().contains("what's new"));
    auto* dialog = s.app->MainFrame()->findChild<CDialWhatsNew*>();
    QVERIFY(dialog != nullptr);
    QVERIFY(dialog->browser->toPlainText().contains("Tellurine news"));
    QVERIFY(dialog->browser->toPlainText().contains("More news"));
    QCOMPARE(s.app->WhatsNewPages().size(), 2);
    s.app->ExitInstance();

    s.app.reset();
    s.Start({});
    QVERIFY(!s.app->StartupLog().contains("what's new"));
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
    QVERIFY(recent[0]->text().size() <= 33);
    QCOMPARE(recent[9]->text().left(4), QString("1&0 "));
    // The program's own list shows what the framework's list no longer holds, numbered from 33900.
    const QList<QAction*> more = frame->moreRecentMenu->actions();
    QCOMPARE(more.size(), 2);
    QCOMPARE(more[0]->property("command").toInt(), 33900 + 10);
    QCOMPARE(more[1]->data().toString(), s.Path("folder/f0.ico"));
    // Choosing an entry opens it; one that has gone away is said so and leaves the lists.
    recent[0]->trigger();
    QCOMPARE(s.app->MainFrame()->Children().size(), std::size_t{1});
    frame->recentMenu->actions()[1]->trigger();
    QCOMPARE(s.prompts->messages.size(), std::size_t{1});
    QCOMPARE(frame->recentMenu->actions().size(), 9);
    QCOMPARE(s.app->ownRecentFiles.Entries().size(), std::size_t{11});
}

QTEST_MAIN(StartupTest)
#include "startup_test.moc"
