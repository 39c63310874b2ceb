// The program window as a person uses it: the icon groups of a program as tiles (the same groups,
// in the same order, as the command-line tool lists), read while the window is already up, opened
// as projects, copied, saved one by one or all at once; and the files that are not programs.
#include <QClipboard>
#include <QJsonArray>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStatusBar>
#include <algorithm>
#include <tuple>

#include "app/icon/clipboard.h"
#include "app/icon/icon_project.h"
#include "app/program/exe_frame.h"
#include "app/shell/main_frame.h"
#include "app_test_support.h"
#include "formats/ico_file.h"
#include "formats/pe_test_writer.h"
#include "image/archive.h"
#include "image/bytes.h"
#include "shell/texts.h"

using namespace tellurine;
using namespace tellurine::app;
using namespace tellurine::app::test;

namespace {

// The icons of the test program: number, then size and depth (0: bytes that are no image).
struct StoredIcon {
    std::uint16_t id;
    int size;
    int bits;
    bool png = false;
};
const StoredIcon kIcons[] = {{1, 16, 8}, {2, 32, 32}, {3, 256, 32, true}, {4, 48, 4}, {5, 0, 0}};

// Its groups: a number, a name that a file name cannot hold as it is, a group of nothing readable
// (left out), a missing icon (skipped), and one number in two languages.
struct StoredGroup {
    pe_test::Name name;
    std::uint16_t language;
    std::vector<std::uint16_t> icons;
};
const std::vector<StoredGroup> kGroups = {{std::uint16_t{1}, 0, {1, 2, 3}},
                                        {std::u16string(u"MAIN ICON"), 0, {4, 99}},
                                        {std::uint16_t{7}, 0, {5}},
                                        {std::uint16_t{2}, 1033, {2}},
                                        {std::uint16_t{2}, 1031, {1, 4}}};
// The file names Save All gives the groups the tool lists, in its order (the program is "tool.dll").
const QStringList kSavedNames = {"tool-1.ico", "tool-MAIN_ICON.ico", "tool-2.ico", "tool-2 (2).ico"};

std::vector<std::uint8_t> StoredImage(const StoredIcon& icon) {
    if (icon.size == 0) return {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    const CKvIcon format = MakeFormat(icon.size, icon.bits);
    Archive ar = Archive::ForStoring();
    std::uint32_t written = 0;
    if (icon.png ? format.WritePngImage(ar, written) == 0 : format.WriteImage(ar, written) == 0)
        qFatal("cannot write a test image");
    return ar.TakeBytes();
}

std::vector<std::uint8_t> TestProgram(bool pe64, pe_test::Layout* layout = nullptr) {
    std::vector<pe_test::Resource> resources;
    for (const StoredIcon& icon : kIcons) resources.push_back({std::uint16_t{3}, icon.id, 0, StoredImage(icon)});
    for (const StoredGroup& group : kGroups)
        resources.push_back({std::uint16_t{14}, group.name, group.language, pe_test::GroupData(group.icons)});
    return pe_test::WritePe(resources, pe64, layout);
}

// What `tellurine-cli info --json` lists for a program: each group's name and its formats as
// "WxH/bpp".
std::vector<std::pair<QString, QStringList>> CliGroups(const QString& path) {
    QProcess cli;
    cli.start(TELLURINE_CLI, {"info", "--json", path});
    if (!cli.waitForFinished(30000) || cli.exitCode() != 0) return {};
    const QJsonArray files = QJsonDocument::fromJson(cli.readAllStandardOutput()).object()["files"].toArray();
    std::vector<std::pair<QString, QStringList>> groups;
    for (const QJsonValue group : files.at(0).toObject()["groups"].toArray()) {
        const QJsonValue name = group.toObject()["name"];
        QStringList formats;
        for (const QJsonValue f : group.toObject()["formats"].toArray())
            formats << QString("%1x%2/%3").arg(f["width"].toInt()).arg(f["height"].toInt()).arg(f["bpp"].toInt());
        groups.emplace_back(name.isDouble() ? QString::number(name.toInt()) : name.toString(), formats);
    }
    return groups;
}

QStringList FormatTexts(const CIconDoc& doc) {
    QStringList texts;
    for (int i = 0; i < doc.GetFormatCount(); ++i)
        texts << QString("%1x%2/%3").arg(doc.GetFormat(i)->Width()).arg(doc.GetFormat(i)->Height()).arg(doc.GetFormat(i)->BitCount());
    return texts;
}

CFileExeMDI* FrameOf(StartedApp& s, CKvDocument* document) {
    CKvMdiChild* child = s.app->MainFrame()->ChildOf(document);
    return child != nullptr ? qobject_cast<CFileExeMDI*>(child->widget()) : nullptr;
}

// Opens a program and waits until every tile is made.
CFileExeMDI* OpenLoaded(StartedApp& s, const QString& path) {
    auto* document = qobject_cast<CFileExeDocument*>(s.app->OpenDocumentFile(path));
    if (document == nullptr) return nullptr;
    if (!QTest::qWaitFor([&] { return !document->IsLoading(); }, 20000)) return nullptr;
    return FrameOf(s, document);
}

// Chooses a tile in the window, made the active one (the commands act on the active window).
void Select(CFileExeMDI& frame, int row) {
    if (auto* child = qobject_cast<QMdiSubWindow*>(frame.parentWidget())) child->mdiArea()->setActiveSubWindow(child);
    frame.view->selectionModel()->select(frame.view->Model()->index(row), QItemSelectionModel::ClearAndSelect);
}

QString Status(StartedApp& s) { return s.app->MainFrame()->statusBar()->currentMessage(); }

QStringList Sorted(QStringList list) {
    list.sort();
    return list;
}

}  // namespace

class ExeDocTest : public QObject {
    Q_OBJECT
private slots:
    void readsWhileTheWindowIsUp();
    void listsOpensAndCopiesTheGroups();
    void savesGroupsAsIcoFiles();
    void filesThatAreNotProgramsSayOnce();
    void opensCursorGroupsAsCursorsUnderFileNames();
    void replacesAndAddsIconsAndSavesPngs();
};

void ExeDocTest::readsWhileTheWindowIsUp() {
    StartedApp s;
    // A library of many groups, so that reading takes a while.
    std::vector<pe_test::Resource> resources;
    for (std::uint16_t i = 1; i <= 150; ++i) {
        resources.push_back({std::uint16_t{3}, i, 0, StoredImage({i, 256, 32, true})});
        resources.push_back({std::uint16_t{14}, i, 0, pe_test::GroupData({{i}})});
    }
    const QString big = s.Path("big.dll");
    WriteAll(big, pe_test::WritePe(resources, true));

    // The window is up at once, with "Loading ..." and no commands on the whole file yet.
    auto* document = qobject_cast<CFileExeDocument*>(s.app->OpenDocumentFile(big));
    QVERIFY(document != nullptr);
    CFileExeMDI* frame = FrameOf(s, document);
    QVERIFY(frame != nullptr && frame->isVisible());
    QVERIFY(document->IsLoading());
    QCOMPARE(Status(s), QString("Loading ..."));
    QVERIFY(!s.app->MainFrame()->Action("program.saveAll")->isEnabled());
    QTRY_VERIFY_WITH_TIMEOUT(!document->IsLoading(), 20000);
    QCOMPARE(Status(s), QString("Ready"));
    QCOMPARE(frame->view->Model()->rowCount(), 150);
    QVERIFY(s.app->MainFrame()->Action("program.saveAll")->isEnabled());
    QVERIFY(!s.app->MainFrame()->Action("program.open")->isEnabled() && !s.app->MainFrame()->Action("program.copy")->isEnabled());

    // Closed while it reads: the reading stops, nothing is said, the status bar comes back.
    s.app->MainFrame()->ActiveChild()->close();
    QTRY_VERIFY(s.app->MainFrame()->Children().empty());
    auto* again = qobject_cast<CFileExeDocument*>(s.app->OpenDocumentFile(big));
    QVERIFY(again != nullptr && again->IsLoading());
    s.app->MainFrame()->ActiveChild()->close();
    QTRY_VERIFY(s.app->MainFrame()->Children().empty());
    QTRY_COMPARE(Status(s), QString("Ready"));
    QVERIFY(s.prompts->messages.empty());

    // A program without icons says so in its window.
    const QString bare = s.Path("bare.exe");
    WriteAll(bare, pe_test::WritePe({}, false, nullptr, false));
    CFileExeMDI* empty = OpenLoaded(s, bare);
    QVERIFY(empty != nullptr);
    QCOMPARE(empty->view->Model()->rowCount(), 0);
    QCOMPARE(empty->view->Message(), QString("This file contains no icons."));
    QVERIFY(!s.app->MainFrame()->Action("program.saveAll")->isEnabled());
    QVERIFY(s.prompts->messages.empty());
}

void ExeDocTest::listsOpensAndCopiesTheGroups() {
    StartedApp s;
    const QString path = s.Path("tool.dll");
    WriteAll(path, TestProgram(false));
    const auto cli = CliGroups(path);
    QCOMPARE(cli.size(), std::size_t{4});  // the unreadable group left out
    CFileExeMDI* frame = OpenLoaded(s, path);
    QVERIFY(frame != nullptr);
    QVERIFY(frame->view->Message().isEmpty());
    QVERIFY(s.prompts->messages.empty());

    // A tile a group, named and counted as the command-line tool lists it; each opens as a new
    // project holding the formats listed for it (their pixels: the formats folder's reader tests).
    const CExeTileModel& tiles = *frame->view->Model();
    QCOMPARE(tiles.rowCount(), static_cast<int>(cli.size()));
    for (int row = 0; row < tiles.rowCount(); ++row) {
        const auto& [name, formats] = cli[static_cast<std::size_t>(row)];
        QCOMPARE(tiles.index(row).data(Qt::DisplayRole).toString(), name);
        QCOMPARE(tiles.index(row).data(kTileInfoRole).toString(),
                 formats.size() == 1 ? QString("1 format") : QString("%1 formats").arg(formats.size()));
        Select(*frame, row);
        s.app->MainFrame()->Action("program.open")->trigger();
        auto* project = qobject_cast<CIconProject*>(s.app->MainFrame()->ActiveDocument());
        QVERIFY(project != nullptr);
        QCOMPARE(project->Title(), "tool.dll: " + name);
        QCOMPARE(FormatTexts(project->Doc()), formats);
        QVERIFY(!project->IsModified());
    }
    // ExeDisplaySize 3 and ExeDisplayColor 3 show the 256-pixel format, scaled to the tile.
    QCOMPARE(tiles.Tile(0)->shownSize, QSize(256, 256));
    QCOMPARE(tiles.Tile(0)->picture.deviceIndependentSize(), QSizeF(shell::kProgramTileSide, shell::kProgramTileSide));

    // Every group chosen: all open; copying and saving need exactly one.
    const int before = static_cast<int>(s.app->MainFrame()->Children().size());
    Select(*frame, 0);
    frame->view->selectAll();
    CMainFrame* main = s.app->MainFrame();
    QVERIFY(main->Action("program.open")->isEnabled() && !main->Action("program.copy")->isEnabled() &&
            !main->Action("program.saveIco")->isEnabled());
    s.app->MainFrame()->Action("program.open")->trigger();
    QCOMPARE(static_cast<int>(s.app->MainFrame()->Children().size()), before + 4);

    // Copy puts the whole group on the clipboard as formats, and its largest as a picture.
    Select(*frame, 0);
    s.app->MainFrame()->Action("program.copy")->trigger();
    const QMimeData* copied = QGuiApplication::clipboard()->mimeData();
    QVERIFY(copied != nullptr);
    CIconDoc copiedDoc;
    for (CKvIcon& f : FormatsFromMimeData(*copied)) copiedDoc.AddFormat(std::move(f));
    QCOMPARE(FormatTexts(copiedDoc), cli[0].second);
    DeviceBitmap color, alpha;
    QVERIFY(PictureFromMimeData(*copied, color, alpha));
    QCOMPARE(color.Width(), 256);
    // A file manager gets it as an .ico file, named as Save names it.
    QCOMPARE(copied->urls().size(), 1);
    const QString file = copied->urls().front().toLocalFile();
    QCOMPARE(QString::fromUtf8(copied->data(kFileListMime)), file);
    QCOMPARE(QFileInfo(file).fileName(), frame->Document().IcoFileName(0));
    QCOMPARE(FormatTexts(ReadIcon(file)), cli[0].second);  // its images as the program stores them
    // The whole icon pastes as a new project of its formats.
    CKvApp& app = *s.app;
    QTRY_VERIFY(app.MainFrame()->Action("edit.pasteAsNewIcon")->isEnabled());
    const std::size_t windows = app.MainFrame()->Children().size();
    app.MainFrame()->Action("edit.pasteAsNewIcon")->trigger();
    QCOMPARE(app.MainFrame()->Children().size(), windows + 1);
    auto* pasted = qobject_cast<CIconProject*>(app.MainFrame()->ActiveDocument());
    QVERIFY(pasted != nullptr && pasted->IsModified() == false);
    QCOMPARE(pasted->Doc().GetFormatCount(), copiedDoc.GetFormatCount());

    // A window's own buttons follow its own tiles and act on it, even when another window is active.
    const QString second = s.Path("second.dll");
    WriteAll(second, TestProgram(false));
    CFileExeMDI* other = OpenLoaded(s, second);
    QVERIFY(other != nullptr && app.MainFrame()->ActiveChild()->widget() == other);
    QVERIFY(!app.MainFrame()->Action("program.copy")->isEnabled());  // nothing chosen in the active one
    QVERIFY(frame->Button("program.copy")->isEnabled());             // one chosen in this one
    QGuiApplication::clipboard()->clear();
    frame->Button("program.copy")->trigger();
    QCOMPARE(app.MainFrame()->ActiveChild()->widget(), frame);
    QVERIFY(QGuiApplication::clipboard()->mimeData()->hasFormat(kIconEditMime));

    // Tiles dragged out go as .ico files, one a group.
    CExeTileModel* model = frame->view->Model();
    QVERIFY(model->flags(model->index(0)) & Qt::ItemIsDragEnabled);
    const std::unique_ptr<QMimeData> dragged(model->mimeData({model->index(1), model->index(0)}));
    QVERIFY(dragged != nullptr);
    QCOMPARE(dragged->urls().size(), 2);
    const QStringList listed = QString::fromUtf8(dragged->data(kFileListMime)).split('\n');
    QCOMPARE(listed, QStringList({dragged->urls()[0].toLocalFile(), dragged->urls()[1].toLocalFile()}));
    QCOMPARE(QFileInfo(listed[1]).fileName(), frame->Document().IcoFileName(1));
    QVERIFY(QFileInfo(listed[1]).size() > 0);
}

void ExeDocTest::savesGroupsAsIcoFiles() {
    StartedApp s;
    const QString path = s.Path("tool.dll");
    WriteAll(path, TestProgram(true));
    CFileExeMDI* frame = OpenLoaded(s, path);
    QVERIFY(frame != nullptr);
    const QString out = s.Path("out");
    QVERIFY(QDir().mkpath(out));

    // Save All: one .ico per group, named as the command-line tool names what it extracts, each
    // reading back as the group's formats.
    s.prompts->folderNames = {out};
    s.app->MainFrame()->Action("program.saveAll")->trigger();
    QVERIFY(s.prompts->messages.empty());
    QCOMPARE(QDir(out).entryList(QDir::Files, QDir::Name), Sorted(kSavedNames));
    const auto cli = CliGroups(path);
    // Compared as sets: the writer stores the formats in its save order.
    for (int i = 0; i < kSavedNames.size(); ++i)
        QCOMPARE(Sorted(FormatTexts(ReadIcon(QDir(out).filePath(kSavedNames[i])))),
                 Sorted(cli[static_cast<std::size_t>(i)].second));

    // Again into the same folder: one question for the files there; "no" leaves them alone.
    const QString one = QDir(out).filePath("tool-1.ico");
    QFile::resize(one, 10);
    s.prompts->folderNames = {out};
    s.app->MainFrame()->Action("program.saveAll")->trigger();
    QCOMPARE(s.prompts->questions.size(), std::size_t{1});
    QVERIFY(s.prompts->questions[0].startsWith("4 of the files already exist in"));
    QCOMPARE(QFileInfo(one).size(), 10);

    // Save as .ico: the chosen group under the proposed name, beside the program; a name
    // without the extension gets it; replacing asks first.
    Select(*frame, 1);
    s.prompts->saveNames = {s.Path("single")};
    s.app->MainFrame()->Action("program.saveIco")->trigger();
    QVERIFY(s.prompts->lastSuggested.endsWith("/tool-MAIN_ICON.ico"));
    QVERIFY(QFileInfo(s.Path("single.ico")).size() > 0);
    s.prompts->saveNames = {one};
    s.prompts->yesNoAnswers = {true};
    s.app->MainFrame()->Action("program.saveIco")->trigger();
    QCOMPARE(s.prompts->questions.size(), std::size_t{2});
    QCOMPARE(ReadAll(one), ReadAll(s.Path("single.ico")));
    // Into a folder that is not there: the message names the file, then the reason.
    const QString nowhere = s.Path("missing/x.ico");
    s.prompts->saveNames = {nowhere};
    s.app->MainFrame()->Action("program.saveIco")->trigger();
    QVERIFY(s.prompts->messages.back().text.startsWith(QString(text::kSaveFailed).arg(QDir::toNativeSeparators(nowhere), "")));
    s.prompts->messages.clear();

    // A folder that is not there: one message naming what failed, nothing left behind.
    QVERIFY(QDir(out).removeRecursively());
    s.prompts->folderNames = {out};
    s.app->MainFrame()->Action("program.saveAll")->trigger();
    QCOMPARE(s.prompts->messages.size(), std::size_t{1});
    QVERIFY(s.prompts->messages[0].text.contains("tool-MAIN_ICON.ico"));
    QVERIFY(!QFileInfo::exists(out));
}

void ExeDocTest::filesThatAreNotProgramsSayOnce() {
    // Found out by the worker after the window is up (other files that are not programs:
    // documents_test): the window goes, and the message is said once.
    StartedApp s;
    pe_test::Layout layout;
    std::vector<std::uint8_t> lost = TestProgram(false, &layout);
    StoreU32(lost.data() + layout.resourceDirectory, 0x90000);  // the resources lie in no section
    WriteAll(s.Path("lost.dll"), lost);
    s.app->OpenDocumentFile(s.Path("lost.dll"));
    QTRY_VERIFY(s.app->MainFrame()->Children().empty());
    QTRY_COMPARE(s.prompts->messages.size(), std::size_t{1});
    QTest::qWait(50);
    QCOMPARE(s.prompts->messages.size(), std::size_t{1});
    QCOMPARE(s.prompts->messages[0].text, QString(text::kIconReadError));
    QCOMPARE(Status(s), QString("Ready"));
    QVERIFY(s.app->recentFiles.Entries().empty());
}

void ExeDocTest::opensCursorGroupsAsCursorsUnderFileNames() {
    StartedApp s;
    const QString path = s.Path("tool.dll");
    std::vector<std::uint8_t> cursor = {3, 0, 4, 0};  // the hotspot (3, 4), then the image
    const std::vector<std::uint8_t> image = StoredImage({1, 32, 1});
    cursor.insert(cursor.end(), image.begin(), image.end());
    std::vector<std::uint8_t> group = pe_test::GroupData({{1}});
    group[2] = 2;  // a cursor group
    WriteAll(path, pe_test::WritePe({{std::uint16_t{3}, std::uint16_t{1}, 0, StoredImage(kIcons[0])},
                                     {std::uint16_t{14}, std::uint16_t{1}, 0, pe_test::GroupData({{1}})},
                                     {std::uint16_t{1}, std::uint16_t{1}, 0, cursor},
                                     {std::uint16_t{12}, std::u16string(u"ARROW"), 0, group}},
                                    false));
    CFileExeMDI* frame = OpenLoaded(s, path);
    QVERIFY(frame != nullptr);
    QCOMPARE(frame->view->Model()->rowCount(), 2);  // the icon group, then the cursor group

    // The cursor opens as a cursor project with its hotspot; Save As offers a cursor file named
    // by the program window's rule, and an icon group a name without the window title's colon.
    const QStringList expected = {"tool-1.ico", "tool-cursor-ARROW.cur"};
    for (int row = 0; row < 2; ++row) {
        Select(*frame, row);
        s.app->MainFrame()->Action("program.open")->trigger();
        auto* project = qobject_cast<CIconProject*>(s.app->MainFrame()->ActiveDocument());
        QVERIFY(project != nullptr);
        QCOMPARE(project->Doc().cursor, row == 1);
        if (row == 1) QCOMPARE(project->Doc().GetFormat(0)->Icon().PointY(), 4);
        s.prompts->saveNames.push_back({});
        project->Save(*s.app->MainFrame(), true);
        QCOMPARE(QFileInfo(s.prompts->lastSuggested).fileName(), expected[row]);
        QCOMPARE(frame->Document().IcoFileName(row), expected[row]);
    }
}

void ExeDocTest::replacesAndAddsIconsAndSavesPngs() {
    StartedApp s;
    const QString path = s.Path("tool.dll");
    WriteAll(path, TestProgram(false));
    const QByteArray original = ReadAll(path);
    std::vector<std::uint8_t> iconFile;
    QVERIFY(WriteIconFile(MakeDoc({{48, 32}, {20, 8}}), false, iconFile));
    WriteAll(s.Path("new.ico"), iconFile);
    CMainFrame& main = *s.app->MainFrame();

    // The chosen group's formats come out as PNG files named as tellurine-cli names them.
    CFileExeMDI* frame = OpenLoaded(s, path);
    QVERIFY(frame != nullptr);
    Select(*frame, 0);
    QDir().mkpath(s.Path("png"));
    s.prompts->folderNames.push_back(s.Path("png"));
    main.Action("program.savePng")->trigger();
    QCOMPARE(QDir(s.Path("png")).entryList(QDir::Files),
             QStringList({"tool-1-0-16x16-8.png", "tool-1-1-32x32-32.png", "tool-1-2-256x256-32.png"}));
    // Saved there again, the files are asked about first: declined, none is written.
    const QString first = s.Path("png/tool-1-0-16x16-8.png");
    QVERIFY(QFile::remove(s.Path("png/tool-1-1-32x32-32.png")) && QFile::resize(first, 3));
    s.prompts->folderNames.push_back(s.Path("png"));
    main.Action("program.savePng")->trigger();
    QVERIFY(s.prompts->questions.back().contains("tool-1-2-256x256-32.png"));
    QCOMPARE(QFileInfo(first).size(), 3);
    QVERIFY(!QFileInfo::exists(s.Path("png/tool-1-1-32x32-32.png")));

    // Replace: group 1 takes the icon's two formats, the file reopens showing them, the program
    // as it was stays beside it.
    s.prompts->openNames.push_back({s.Path("new.ico")});
    main.Action("program.replaceIcon")->trigger();
    CFileExeMDI* reopened = nullptr;
    QTRY_VERIFY((reopened = qobject_cast<CFileExeMDI*>(main.ActiveChild() ? main.ActiveChild()->widget() : nullptr)) &&
                !reopened->Document().IsLoading());
    QCOMPARE(ReadAll(path + ".bak"), original);
    // The directory is written again in Windows' order, named groups first.
    const std::vector<ExeTile>& now = reopened->Document().Tiles();
    QCOMPARE(now.front().name, QString("MAIN ICON"));
    const auto one = std::find_if(now.begin(), now.end(), [](const ExeTile& t) { return t.name == "1"; });
    QVERIFY(one != now.end() && one->formatCount == 2);
    const int tiles = static_cast<int>(reopened->Document().Tiles().size());

    // Add: a new group numbered above every group the program has.
    s.prompts->openNames.push_back({s.Path("new.ico")});
    main.Action("program.addIcon")->trigger();
    QTRY_VERIFY((reopened = qobject_cast<CFileExeMDI*>(main.ActiveChild() ? main.ActiveChild()->widget() : nullptr)) &&
                !reopened->Document().IsLoading() && static_cast<int>(reopened->Document().Tiles().size()) == tiles + 1);
    QCOMPARE(reopened->Document().Tiles().back().name, QString("8"));  // above group 7, which shows no tile
    QVERIFY(s.prompts->messages.empty());
}

QTEST_MAIN(ExeDocTest)
#include "exe_doc_test.moc"
