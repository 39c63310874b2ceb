// The icon library window as a person uses it: a new library filled from files, renamed,
// reordered by commands and by dragging, saved as .icl, .dll and a folder of icons; a library
// opened from its file, one icon edited in its own window and saved back into it.
#include <QClipboard>
#include <QGuiApplication>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMimeData>
#include <QPointer>
#include <QUrl>

#include "app/icon/clipboard.h"
#include "app/icon/icon_project.h"
#include "app/library/library_frame.h"
#include "app/program/exe_doc.h"
#include "app/shell/main_frame.h"
#include "app_test_support.h"
#include "formats/ico_file.h"
#include "shell/icon_library.h"
#include "shell/texts.h"

using namespace tellurine;
using namespace tellurine::app;
using namespace tellurine::app::test;

namespace {

QStringList Names(const CFileIclMDI& frame) { return RowNames(*frame.model); }

// The names a library file holds, in the order it lists them.
QStringList NamesIn(const QString& path) {
    shell::IconLibrary library;
    const QByteArray bytes = ReadAll(path);
    if (!library.Read(
            std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), static_cast<std::size_t>(bytes.size()))))
        return {"(unreadable)"};
    QStringList names;
    for (const shell::LibraryIcon& icon : library.Icons()) names << QString::fromStdString(icon.name.Display());
    return names;
}

CFileIclMDI* Active(CMainFrame& main) {
    return main.ActiveChild() != nullptr ? qobject_cast<CFileIclMDI*>(main.ActiveChild()->widget()) : nullptr;
}

void Select(CFileIclMDI& frame, std::initializer_list<int> rows) {
    if (auto* child = qobject_cast<QMdiSubWindow*>(frame.parentWidget())) child->mdiArea()->setActiveSubWindow(child);
    frame.view->selectionModel()->clearSelection();
    for (const int row : rows)
        frame.view->selectionModel()->select(frame.model->index(row), QItemSelectionModel::Select);
}

}  // namespace

class LibraryTest : public QObject {
    Q_OBJECT
private slots:
    void buildsALibraryAndSavesItInEveryKind();
    void anIconOpenedFromALibraryIsSavedBackIntoIt();
};

void LibraryTest::buildsALibraryAndSavesItInEveryKind() {
    StartedApp s;
    CMainFrame& main = *s.app->MainFrame();
    WriteProject(s.Path("folder.ico"), {{32, 32}, {16, 8}});
    WriteProject(s.Path("disk.ico"), {{48, 32}});
    WriteProject(s.Path("arrow.cur"), {{32, 32}}, true);
    WriteAll(s.Path("notes.txt"), QByteArray("not an icon"));

    // A new library takes the files chosen, each named after its file; a file with no icon is told.
    QVERIFY(main.commands->Execute("file.newLibrary"));
    CFileIclMDI* frame = Active(main);
    QVERIFY(frame != nullptr);
    QVERIFY(!main.Action("library.saveFolder")->isEnabled());
    s.prompts->openNames.push_back(
        {s.Path("folder.ico"), s.Path("disk.ico"), s.Path("arrow.cur"), s.Path("notes.txt")});
    main.Action("library.add")->trigger();
    QCOMPARE(Names(*frame), QStringList({"folder", "disk", "arrow"}));
    QCOMPARE(frame->model->index(0).data(kTileInfoRole).toString(), QString("2 formats"));
    QCOMPARE(frame->model->index(2).data(kTileInfoRole).toString(), QString("cursor, 1 format"));
    QCOMPARE(s.prompts->messages.size(), std::size_t{1});
    QVERIFY(s.prompts->messages.back().text.contains("notes.txt"));

    // Renamed in place: a number, or a name nobody has; a taken name is refused and said why.
    QVERIFY(frame->model->setData(frame->model->index(1), "7", Qt::EditRole));
    QVERIFY(!frame->model->setData(frame->model->index(2), "FOLDER", Qt::EditRole));
    QCOMPARE(s.prompts->messages.back().text,
             QString(text::kLibraryBadName).arg("FOLDER", "another icon is named FOLDER"));

    // Reordered by the commands and by dragging the tiles; removed.
    Select(*frame, {2});
    QVERIFY(!main.Action("library.moveLater")->isEnabled());
    main.Action("library.moveEarlier")->trigger();
    QCOMPARE(Names(*frame), QStringList({"folder", "arrow", "7"}));
    std::unique_ptr<QMimeData> dragged(frame->model->mimeData({frame->model->index(0)}));
    frame->model->dropMimeData(dragged.get(), Qt::MoveAction, 3, 0, {});
    QCOMPARE(Names(*frame), QStringList({"arrow", "7", "folder"}));
    QVERIFY(frame->view->selectionModel()->isSelected(frame->model->index(2)));
    QMimeData files;
    files.setUrls({QUrl::fromLocalFile(s.Path("disk.ico"))});
    QVERIFY(frame->model->dropMimeData(&files, Qt::CopyAction, -1, 0, frame->model->index(0)));
    QCOMPARE(Names(*frame), QStringList({"disk", "arrow", "7", "folder"}));
    Select(*frame, {0});
    main.Action("library.remove")->trigger();
    QCOMPARE(Names(*frame), QStringList({"arrow", "7", "folder"}));
    QVERIFY(frame->Document().IsModified());

    // Saved as a 16-bit library (the extension added), then as a 64-bit DLL; both list the icons.
    s.prompts->saveNames.push_back(s.Path("tools"));
    QVERIFY(main.commands->Execute("file.save"));
    QCOMPARE(frame->Document().PathName(), s.Path("tools.icl"));
    QVERIFY(!frame->Document().IsModified());
    QCOMPARE(NamesIn(s.Path("tools.icl")), QStringList({"7", "FOLDER", "ARROW"}));
    s.prompts->saveNames.push_back(s.Path("tools.dll"));
    QVERIFY(main.commands->Execute("file.saveAs"));
    QCOMPARE(NamesIn(s.Path("tools.dll")), QStringList({"FOLDER", "7", "ARROW"}));
    QCOMPARE(ReadAll(s.Path("tools.dll")).mid(0x84, 2), QByteArray("\x64\x86", 2));  // an x64 image

    // A folder of icon files, each the library's bytes: the .ico went in byte for byte.
    QDir().mkpath(s.Path("out"));
    s.prompts->folderNames.push_back(s.Path("out"));
    main.Action("library.saveFolder")->trigger();
    QCOMPARE(QDir(s.Path("out")).entryList(QDir::Files),
             QStringList({"tools-7.ico", "tools-cursor-arrow.cur", "tools-folder.ico"}));
    QCOMPARE(ReadAll(s.Path("out/tools-folder.ico")), ReadAll(s.Path("folder.ico")));

    // Copied (or dragged out), an icon goes as a whole icon and as its own file.
    Select(*frame, {2});
    main.Action("library.copy")->trigger();
    const QMimeData* copied = QGuiApplication::clipboard()->mimeData();
    QVERIFY(copied->hasFormat(kIconEditMime) && copied->urls().size() == 1);
    QCOMPARE(ReadAll(copied->urls().front().toLocalFile()), ReadAll(s.Path("folder.ico")));
}

void LibraryTest::anIconOpenedFromALibraryIsSavedBackIntoIt() {
    StartedApp s;
    CMainFrame& main = *s.app->MainFrame();
    std::vector<std::uint8_t> a, b;
    QVERIFY(WriteIconFile(MakeDoc({{32, 32}, {16, 4}}), false, a) && WriteIconFile(MakeDoc({{24, 8}}), false, b));
    shell::IconLibrary made;
    QVERIFY(made.Add(a, 0, ResourceName{{}, "MAIN"}) && made.Add(b, 1));
    WriteAll(s.Path("lib.icl"), *made.Write(shell::LibraryKind::Icl, "lib"));

    // A program's groups open as a library too, which proposes the program's name for itself.
    WriteAll(s.Path("lib.dll"), *made.Write(shell::LibraryKind::Dll32, "lib"));
    auto* program = qobject_cast<CFileExeDocument*>(s.app->OpenDocumentFile(s.Path("lib.dll")));
    QVERIFY(program != nullptr && QTest::qWaitFor([&] { return !program->IsLoading(); }, 20000));
    QVERIFY(main.commands->Execute("program.openLibrary"));
    QVERIFY(Active(main) != nullptr);
    QCOMPARE(Names(*Active(main)), QStringList({"MAIN", "1"}));
    s.prompts->saveNames.push_back(s.Path("again.dll"));
    QVERIFY(main.commands->Execute("file.save"));
    QCOMPARE(s.prompts->lastSuggested, s.Path("lib.icl"));
    QCOMPARE(NamesIn(s.Path("again.dll")), QStringList({"MAIN", "1"}));

    QVERIFY(s.app->OpenDocumentFile(s.Path("lib.icl")) != nullptr);
    CFileIclMDI* frame = Active(main);
    QVERIFY(frame != nullptr);
    QCOMPARE(Names(*frame), QStringList({"MAIN", "1"}));
    Select(*frame, {0});
    main.Action("library.open")->trigger();
    auto* project = qobject_cast<CIconProject*>(main.ActiveDocument());
    QVERIFY(project != nullptr);
    QCOMPARE(project->Title(), QString("lib.icl: MAIN"));
    QCOMPARE(project->Doc().GetFormatCount(), 2);

    // Its save goes into the library, which then has changes of its own to save.
    QVERIFY(project->DeleteFormat(1));
    QVERIFY(main.commands->Execute("file.save"));
    QVERIFY(!project->IsModified());
    QCOMPARE(frame->model->index(0).data(kTileInfoRole).toString(), QString("1 format"));
    QVERIFY(frame->Document().IsModified());
    QVERIFY(s.prompts->saveNames.empty() && s.prompts->messages.empty());

    // The library closed unsaved, the project's save asks for a file of its own.
    s.prompts->saveAnswers.push_back(UserPrompts::SaveAnswer::Discard);
    const QPointer<CFileIclDocument> library = &frame->Document();
    main.ChildOf(library)->close();
    QTRY_VERIFY(library.isNull());
    project->AddFormat(MakeFormat(16, 32));
    s.prompts->saveNames.push_back(s.Path("main.ico"));
    QVERIFY(s.app->SaveDocument(project));
    QCOMPARE(s.prompts->lastSuggested, QString("lib-MAIN.ico"));
    QCOMPARE(ReadIcon(s.Path("main.ico")).GetFormatCount(), 2);
}

QTEST_MAIN(LibraryTest)
#include "library_test.moc"
