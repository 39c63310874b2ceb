// The explorer and search windows as a person uses them: a folder opened from the command line,
// its icon files as tiles as they are read, narrowed and ordered from the window's bar, following
// the folder's changes, opened, copied, stopped, saved as .exp and opened again; a search by
// name and likeness; the collections' dock, filled from windows and by dropping files, exported.
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>

#include "app/common/tile_delegate.h"
#include "app/explorer/collections_dock.h"
#include "app/explorer/explorer_frame.h"
#include "app/icon/clipboard.h"
#include "app/shell/main_frame.h"
#include "app_test_support.h"
#include "shell/texts.h"

using namespace tellurine;
using namespace tellurine::app;
using namespace tellurine::app::test;

namespace {

// The names the window shows, in its order.
QStringList Shown(const CExplorerMDI& frame) { return RowNames(*frame.view->Model()); }

}  // namespace

class ExplorerTest : public QObject {
    Q_OBJECT
private slots:
    void browsesAFolderAndFollowsIt();
    void searchesByNameAndLikeness();
    void keepsCollections();
};

void ExplorerTest::browsesAFolderAndFollowsIt() {
    // Three icons (one in a subfolder, one of 256 pixels, the biggest file) and a damaged one.
    StartedApp s({}, false, [](QTemporaryDir& dir) {
        QDir(dir.path()).mkpath("icons/sub");
        WriteProject(dir.filePath("icons/b.ico"), {{16, 4}, {32, 32}});
        WriteProject(dir.filePath("icons/a.ico"), {{48, 8}, {256, 32}});
        WriteProject(dir.filePath("icons/sub/c.ico"), {{32, 8}});
        const char damaged[] = "\0\0\1\0\1\0damaged";
        WriteAll(dir.filePath("icons/d.ico"), QByteArray(damaged, sizeof damaged - 1));
    });
    CKvDocument* opened = s.app->OpenDocumentFile(s.Path("icons"));
    auto* frame = s.app->MainFrame()->findChild<CExplorerMDI*>();
    QVERIFY(opened != nullptr && frame != nullptr);
    QTRY_VERIFY(!frame->Document().IsScanning());
    QCOMPARE(Shown(*frame), (QStringList{"a.ico", "b.ico", "c.ico", "d.ico"}));
    QCOMPARE(frame->statusLabel->text(), QString(text::kExplorerDone).arg(4).arg(4));
    const CExplorerModel& model = *frame->view->Model();
    QVERIFY(!model.data(model.index(0), kTilePictureRole).value<QImage>().isNull());
    QVERIFY(model.data(model.index(0), Qt::ToolTipRole).toString().contains("256x256"));
    QCOMPARE(model.data(model.index(3), kTileInfoRole).toString(), QString(text::kExplorerUnreadable));
    QVERIFY(!model.data(model.index(3), kTilePictureRole).value<QImage>().isNull());  // a warning sign
    QCOMPARE(QStringList({model.data(model.index(0), kTileInfoRole).toString(),
                          model.data(model.index(2), kTileInfoRole).toString()}),
             QStringList({"256x256, 2 formats", "32x32, 1 format"}));

    // Narrowed and ordered from the bar: the damaged file shows no longer once a size is asked.
    frame->sizeCombo->setCurrentIndex(frame->sizeCombo->findData(32));
    QCOMPARE(Shown(*frame), (QStringList{"b.ico", "c.ico"}));
    frame->alphaCombo->setCurrentIndex(2);  // without alpha
    QCOMPARE(Shown(*frame), (QStringList{"c.ico"}));
    frame->alphaCombo->setCurrentIndex(0);
    frame->sizeCombo->setCurrentIndex(0);
    frame->sortCombo->setCurrentIndex(2);  // by size
    frame->descendingCheck->setChecked(true);
    QCOMPARE(Shown(*frame).front(), QString("a.ico"));
    frame->subfoldersCheck->setChecked(false);
    QTRY_VERIFY(!frame->Document().IsScanning());
    QVERIFY(!Shown(*frame).contains("c.ico"));
    QVERIFY(frame->Document().IsModified());

    // The folder is watched: a new file appears, a removed one goes.
    WriteProject(s.Path("icons/e.ico"), {{24, 32}});
    QTRY_VERIFY_WITH_TIMEOUT(Shown(*frame).contains("e.ico"), 5000);
    QVERIFY(QFile::remove(s.Path("icons/b.ico")));
    QTRY_VERIFY_WITH_TIMEOUT(!Shown(*frame).contains("b.ico"), 5000);

    // Copied as files, the program's own list among them; opened by a double-click's command.
    frame->view->setCurrentIndex(model.index(static_cast<int>(Shown(*frame).indexOf("a.ico"))));
    s.app->MainFrame()->Action("explorer.copy")->trigger();
    const QMimeData* copied = QGuiApplication::clipboard()->mimeData();
    QVERIFY(copied->hasFormat(kFileListMime));
    QCOMPARE(copied->urls().size(), 1);
    QVERIFY(copied->urls().front().toLocalFile().endsWith("a.ico"));
    const std::size_t before = s.app->MainFrame()->Documents().size();
    s.app->MainFrame()->Action("explorer.open")->trigger();
    QCOMPARE(s.app->MainFrame()->Documents().size(), before + 1);

    // Saved as .exp, and opened again with the same options.
    s.prompts->saveNames.push_back(s.Path("icons.exp"));
    QVERIFY(opened->Save(*s.app->MainFrame(), true));
    QVERIFY(ReadAll(s.Path("icons.exp")).contains("subfolders=0\nsort=size\ndescending=1\n"));
    QCOMPARE(s.app->OpenDocumentFile(s.Path("icons.exp")), opened);
    s.app->MainFrame()->CloseDocumentWindow(opened);
    auto* again = qobject_cast<CExplorerDoc*>(s.app->OpenDocumentFile(s.Path("icons.exp")));
    QVERIFY(again != nullptr);
    QVERIFY(!again->Settings().subfolders && again->Settings().sort == ExplorerSort::Size);

    // A new explorer is ordered as the preferences say. Stopped before the first files are
    // taken: what was read stays, and the bar says so.
    s.app->prefs.ExplorerSortBy = 1;
    s.app->prefs.ExplorerSortOrder = 1;
    auto* third = qobject_cast<CExplorerDoc*>(OpenFolderExplorer(*s.app->MainFrame(), s.Path("icons")));
    QVERIFY(third->Settings().sort == ExplorerSort::Date && third->Settings().descending);
    auto* thirdFrame = qobject_cast<CExplorerMDI*>(s.app->MainFrame()->ActiveFrame());
    QVERIFY(third->IsScanning() && thirdFrame->Button("explorer.stop")->isEnabled());
    thirdFrame->Button("explorer.stop")->trigger();
    QTRY_VERIFY(!third->IsScanning());
    QVERIFY(third->WasCancelled() && !thirdFrame->Button("explorer.stop")->isEnabled());
    QVERIFY(thirdFrame->statusLabel->text().startsWith("Stopped:"));
}

void ExplorerTest::searchesByNameAndLikeness() {
    StartedApp s({}, false, [](QTemporaryDir& dir) {
        QDir(dir.path()).mkpath("found");
        WriteProject(dir.filePath("found/app.ico"), {{32, 32}});
        WriteProject(dir.filePath("found/apple.ico"), {{48, 32}});
        WriteProject(dir.filePath("found/tool.ico"), {{32, 8}});
        WriteProject(dir.filePath("like.ico"), {{32, 32}});
    });
    s.prompts->folderNames.push_back(s.Path("found"));
    s.app->MainFrame()->Action("file.findIcons")->trigger();
    auto* frame = qobject_cast<CExplorerMDI*>(s.app->MainFrame()->ActiveFrame());
    QVERIFY(frame != nullptr && frame->nameEdit != nullptr);
    QCOMPARE(frame->Document().TemplateResource(), shell::kTemplateSearch);
    QTRY_VERIFY(!frame->Document().IsScanning());
    frame->nameEdit->setText("app*");
    QCOMPARE(Shown(*frame), (QStringList{"app.ico", "apple.ico"}));
    // Like the test picture: every file holds it, so all show; a file unlike it would not.
    frame->nameEdit->clear();
    s.prompts->openNames.push_back({s.Path("like.ico")});
    frame->chooseLike();
    QTRY_VERIFY(!frame->Document().IsScanning());
    QVERIFY(frame->Document().Settings().criteria.like.has_value());
    QCOMPARE(frame->likeLabel->text(), QString("like.ico"));
    QCOMPARE(Shown(*frame).size(), 3);
    s.prompts->saveNames.push_back(s.Path("found.sea"));
    QVERIFY(frame->Document().Save(*s.app->MainFrame(), false));
    QVERIFY(ReadAll(s.Path("found.sea")).contains("like=" + s.Path("like.ico").toUtf8()));
}

void ExplorerTest::keepsCollections() {
    // Two collections in the folder the preferences name; the librarian switch picks the second.
    StartedApp s({"/librarian:Second"}, false, [](QTemporaryDir& dir) {
        QSettings(dir.filePath("profile.ini"), QSettings::IniFormat)
            .setValue("folders/LibrarianLocation", dir.filePath("library"));
        QDir(dir.path()).mkpath("library/First");
        QDir(dir.path()).mkpath("library/Second");
        WriteProject(dir.filePath("library/First/one.ico"), {{16, 4}});
        WriteProject(dir.filePath("project.ico"), {{32, 32}});
        WriteProject(dir.filePath("arrow.cur"), {{32, 8}}, true);
        WriteAll(dir.filePath("notes.txt"), QByteArray("no icon"));
    });
    CMainFrame& main = *s.app->MainFrame();
    CCollectionsDock* dock = main.collectionsDock;
    QVERIFY(dock != nullptr && !dock->isHidden());
    QCOMPARE(dock->Current(), QString("Second"));
    QCOMPARE(dock->combo->count(), 2);
    QTRY_VERIFY(!dock->emptyLabel->isHidden());
    QVERIFY(!main.Action("librarian.add")->isEnabled());

    // An open project joins the collection shown, written as an icon file.
    QVERIFY(s.app->OpenDocumentFile(s.Path("project.ico")) != nullptr);
    main.updateActions();
    main.Action("librarian.add")->trigger();
    QCOMPARE(ReadIcon(s.Path("library/Second/project.ico")).GetFormatCount(), 1);
    QTRY_COMPARE(RowNames(*dock->view->Model()), (QStringList{"project.ico"}));

    // Files dropped on the grid join it as they are; one without icons is named to the user.
    QVERIFY(DropFiles(dock->view->viewport(), {s.Path("arrow.cur"), s.Path("notes.txt")}));
    QCOMPARE(ReadAll(s.Path("library/Second/arrow.cur")), ReadAll(s.Path("arrow.cur")));
    QVERIFY(s.prompts->messages.back().text.contains(QDir::toNativeSeparators(s.Path("notes.txt"))));
    QTRY_COMPARE(RowNames(*dock->view->Model()), (QStringList{"arrow.cur", "project.ico"}));

    // Exported as a library, and as a folder where a file of the same name stays unless replacing
    // is chosen.
    s.prompts->saveNames.push_back(s.Path("second.icl"));
    main.Action("librarian.exportLibrary")->trigger();
    shell::IconLibrary library;
    const QByteArray icl = ReadAll(s.Path("second.icl"));
    QVERIFY(library.Read(std::span(reinterpret_cast<const std::uint8_t*>(icl.data()), icl.size())));
    QCOMPARE(library.Icons().size(), std::size_t{2});
    QVERIFY(library.Icons()[0].Cursor() != library.Icons()[1].Cursor());
    QDir(s.dir.path()).mkpath("out");
    WriteAll(s.Path("out/project.ico"), QByteArray("mine"));
    s.prompts->folderNames.push_back(s.Path("out"));
    s.prompts->yesNoAnswers.push_back(false);
    main.Action("librarian.exportFolder")->trigger();
    QCOMPARE(ReadAll(s.Path("out/project.ico")), QByteArray("mine"));
    QCOMPARE(ReadAll(s.Path("out/arrow.cur")), ReadAll(s.Path("arrow.cur")));

    // An icon removed after asking; a collection made, renamed and deleted.
    dock->view->setCurrentIndex(dock->view->Model()->index(0));
    s.prompts->yesNoAnswers.push_back(true);
    main.Action("librarian.remove")->trigger();
    QVERIFY(!QFile::exists(s.Path("library/Second/arrow.cur")));
    s.prompts->items.push_back("Third");
    main.Action("librarian.new")->trigger();
    QCOMPARE(dock->Current(), QString("Third"));
    s.prompts->items.push_back("First");
    main.Action("librarian.rename")->trigger();
    QCOMPARE(s.prompts->messages.back().text, QString("A collection named \"First\" already exists."));
    s.prompts->items.push_back("Gone");
    main.Action("librarian.rename")->trigger();
    QVERIFY(QDir(s.Path("library/Gone")).exists());
    s.prompts->yesNoAnswers.push_back(true);
    main.Action("librarian.delete")->trigger();
    QVERIFY(!QDir(s.Path("library/Gone")).exists());
    QCOMPARE(dock->Current(), QString("First"));

    // Hidden, it stays hidden at the next start.
    main.Action("view.collections")->trigger();
    QVERIFY(dock->isHidden());
    main.close();
    s.app->ExitInstance();
    QCOMPARE(QSettings(s.ProfilePath(), QSettings::IniFormat).value("specs/LibrarianVisible").toInt(), 0);
}

QTEST_MAIN(ExplorerTest)
#include "explorer_test.moc"
