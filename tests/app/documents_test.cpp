// Icon projects as a person uses them: new icons, opening every kind of file (and the messages
// when that fails), saving and Save As with the overwrite prompt, the modified state, cursors.
#include <QCheckBox>
#include <QComboBox>
#include <QDirIterator>
#include <QListWidget>
#include <QProcess>
#include <QProgressDialog>
#include <QPushButton>
#include <QRadioButton>
#include <QLabel>
#include <QSpinBox>
#include <QTextBrowser>
#include <filesystem>
#include <set>
#include <tuple>

#include "app/common/image_convert.h"
#include "app/common/long_work.h"
#include "app/icon/icon_files.h"
#include "app/icon/icon_frame.h"
#include "app/icon/icon_project.h"
#include "app/icon/icon_set_export.h"
#include "app/picture/dib_frame.h"
#include "app/shell/main_frame.h"
#include "app_test_support.h"
#include "formats/icns_file.h"
#include "formats/ico_file.h"
#include "image/bytes.h"
#include "shell/doc_templates.h"
#include "shell/texts.h"

using namespace tellurine;
using namespace tellurine::app;
using namespace tellurine::app::test;

namespace {

CIconProject* ActiveProject(StartedApp& s) { return qobject_cast<CIconProject*>(s.app->MainFrame()->ActiveDocument()); }

// The hotspots of a cursor file, one "x,y" per image in file order.
QStringList Hotspots(const QString& path) {
    const CIconDoc doc = ReadIcon(path);
    QStringList hotspots;
    for (int i = 0; i < doc.GetFormatCount(); ++i)
        hotspots << QString("%1,%2").arg(doc.GetFormat(i)->Icon().PointX()).arg(doc.GetFormat(i)->Icon().PointY());
    return hotspots;
}

}  // namespace

class DocumentsTest : public QObject {
    Q_OBJECT
private slots:
    void newIconDialogMakesTheChosenFormatsAndKeepsEachSystemsChoices();
    void openingShowsEveryFormatOfEveryKind();
    void openFailuresSayWhyAndOpenNothing();
    void saveAsAsksBeforeReplacingAFile();
    void modifiedProjectsAskToBeSavedOnCloseAndExit();
    void cursorsKeepTheirHotspots();
    void savingLeavesTheProjectAsItWas();
    void macintoshSavesAskBeforeLeavingFormatsOut();
    void editedFamilyKeepsEveryElement();
    void realFilesOpenOrSayWhy();
};

void DocumentsTest::newIconDialogMakesTheChosenFormatsAndKeepsEachSystemsChoices() {
    StartedApp s;
    // Windows: 16 x 16 at 4 bits, 48 x 48 at 1 bit and 256 x 256 at 32 bits (chosen at first), compressed.
    const QStringList windows = {"16 x 16, 4 bits (16 colors)", "48 x 48, 1 bit (2 colors)",
                                 "256 x 256, 32 bits (true color with alpha)"};
    s.prompts->dialogActions.push_back(Accept<CDialNewIcon>([&](CDialNewIcon& d) {
        QVERIFY(CheckedTexts(*d.formatList).contains(windows[2]));
        ChooseFormats(d, [&](const QString& text) { return windows.contains(text); });
        d.compressCheck->setChecked(true);
    }));
    CIconProject* project = NewIconFromDialog(*s.app->MainFrame());
    QVERIFY(project != nullptr);
    const CIconDoc& doc = project->Doc();
    QCOMPARE(doc.GetFormatCount(), 3);
    QVERIFY(!doc.macintosh);
    QCOMPARE(project->Title(), QString("ICO File1"));
    QVERIFY(!project->IsModified());
    std::set<std::tuple<int, int, bool>> formats;
    for (int i = 0; i < doc.GetFormatCount(); ++i) {
        const CIconObject* f = doc.GetFormat(i);
        // (That a new format is wholly transparent: the icon folder's tests of blank formats.)
        formats.insert({f->Width(), f->BitCount(), f->Icon().IsCompressed()});
    }
    QCOMPARE(formats, (std::set<std::tuple<int, int, bool>>{{16, 4, false}, {48, 1, false}, {256, 32, true}}));
    QCOMPARE(s.app->prefs.CompressVista256x256NewIcon, 1);

    // The dialog remembers the choice; without compression the 256 format stays a bitmap.
    s.prompts->dialogActions.push_back(Accept<CDialNewIcon>([&](CDialNewIcon& d) {
        QCOMPARE(CheckedTexts(*d.formatList), windows);
        QVERIFY(d.compressCheck->isChecked());
        d.compressCheck->setChecked(false);
    }));
    project = NewIconFromDialog(*s.app->MainFrame());
    QCOMPARE(project->Title(), QString("ICO File2"));
    for (int i = 0; i < project->Doc().GetFormatCount(); ++i) QVERIFY(!project->Doc().GetFormat(i)->Icon().IsCompressed());
    QCOMPARE(s.app->prefs.CompressVista256x256NewIcon, 0);

    // Macintosh: a current family's sizes at first, nothing to compress; each system keeps its own
    // choice while the other is shown. The family is made in its own template, which names it.
    s.prompts->dialogActions.push_back(Accept<CDialNewIcon>([&](CDialNewIcon& d) {
        d.formatList->item(0)->setCheckState(Qt::Checked);  // 16 x 16 at 1 bit
        d.macButton->setChecked(true);
        QVERIFY(!d.compressCheck->isEnabled());
        QVERIFY(CheckedTexts(*d.formatList).contains("32 x 32 @2x, 32 bits (true color with alpha)"));
        d.windowsButton->setChecked(true);
        QCOMPARE(CheckedTexts(*d.formatList), QStringList{"16 x 16, 1 bit (2 colors)"} + windows);
        d.macButton->setChecked(true);
        ChooseFormats(d, [](const QString& t) { return t.startsWith("512 x 512") || t.startsWith("32 x 32, 8"); });
    }));
    project = NewIconFromDialog(*s.app->MainFrame());
    QVERIFY(project->Doc().macintosh);
    QCOMPARE(project->Doc().GetFormatCount(), 2);
    QCOMPARE(project->Title(), QString("ICNS File3"));

    // Cancelling makes nothing; with nothing chosen OK says so and the dialog stays open.
    const std::size_t windowCount = s.app->MainFrame()->Children().size();
    QVERIFY(NewIconFromDialog(*s.app->MainFrame()) == nullptr);
    QCOMPARE(s.app->MainFrame()->Children().size(), windowCount);
    CDialNewIcon dialog(s.app->prefs);
    ChooseFormats(dialog, [](const QString&) { return false; });
    QTimer::singleShot(0, [] {
        if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) box->accept();
    });
    dialog.setResult(QDialog::Rejected);
    dialog.accept();
    QCOMPARE(dialog.result(), int(QDialog::Rejected));
}

void DocumentsTest::openingShowsEveryFormatOfEveryKind() {
    StartedApp s;
    const QString ico = s.Path("seven.ico"), icns = s.Path("family.icns"), png = s.Path("picture.png");
    WriteProject(ico, {{16, 4}, {16, 8}, {32, 32}, {48, 24}, {64, 32}, {128, 32}, {256, 32}});
    WriteProject(icns, {{16, 32}, {32, 8}, {128, 32}});
    QImage picture(40, 30, QImage::Format_ARGB32);
    picture.fill(QColor(10, 20, 200, 128));
    QVERIFY(picture.save(png));
    WriteAll(s.Path("drawing.svg"),
             "<svg xmlns='http://www.w3.org/2000/svg' width='10' height='10'><rect width='10' height='10' "
             "fill='#ff0000'/></svg>");
    WriteAll(s.Path("page.htm"), "<html><body><h1>Hello page</h1></body></html>");

    // An icon: the format bar lists every format with its size and depth.
    QVERIFY(s.app->OpenDocumentFile(ico) != nullptr);
    auto* frame = s.app->MainFrame()->ActiveIconFrame();
    QVERIFY(frame != nullptr);
    const QStringList texts = RowNames(*frame->formatBar->model);
    QCOMPARE(texts.size(), 7);
    QVERIFY(texts.contains("256 x 256\n32 bits"));
    QVERIFY(texts.contains("16 x 16\n4 bits"));
    QVERIFY(texts.contains("48 x 48\n24 bits"));
    const int compressedRow = static_cast<int>(texts.indexOf("256 x 256\n32 bits"));
    // The status bar names the format chosen in the bar (the view following it: frames_test).
    frame->formatBar->SetCurrentFormat(compressedRow);
    QCOMPARE(s.app->MainFrame()->formatPane->text(), QString("256 x 256, 32 bits, PNG-compressed"));

    // A family opens in its own template; an image, a drawing and a page in theirs.
    QVERIFY(s.app->OpenDocumentFile(icns) != nullptr);
    QCOMPARE(ActiveProject(s)->TemplateResource(), shell::kTemplateIcns);
    QVERIFY(ActiveProject(s)->Doc().macintosh);
    // The 8-bit format's mask is written in the mask-only element: no 1-bit format comes back.
    QCOMPARE(ActiveProject(s)->Doc().GetFormatCount(), 3);

    auto* image = qobject_cast<CDibDocument*>(s.app->OpenDocumentFile(png));
    QVERIFY(image != nullptr);
    QCOMPARE(image->image.size(), QSize(40, 30));
    QCOMPARE(image->image.pixelColor(5, 5), QColor(10, 20, 200, 128));

    auto* vector = qobject_cast<CDibDocument*>(s.app->OpenDocumentFile(s.Path("drawing.svg")));
    QVERIFY(vector != nullptr);
    QCOMPARE(vector->image.size(), QSize(512, 512));  // DefaultWmfCX x DefaultWmfCY
    QCOMPARE(vector->image.pixelColor(256, 256), QColor(255, 0, 0));
    QCOMPARE(s.app->MainFrame()->ActiveChild()->widget()->objectName(), QString("CVectorDocMDI"));
    // Its Linux icon set keeps the drawing itself as the scalable icon.
    s.prompts->dialogActions.push_back(Accept<CDialIconSet>([&](CDialIconSet& d) {
        for (QCheckBox* check : d.platformChecks) check->setChecked(check == d.platformChecks[2]);  // Linux
        d.nameEdit->setText("drawing");
        d.folderEdit->setText(s.Path("set"));
    }));
    s.app->MainFrame()->Action("file.exportIconSet")->trigger();
    QCOMPARE(ReadAll(s.Path("set/linux/hicolor/scalable/apps/drawing.svg")), ReadAll(s.Path("drawing.svg")));
    s.prompts->messages.pop_back();  // the set's report of what it wrote

    // An image strip opens as a project of one format per cell, and saves back as a strip; a
    // format of another size is asked about first, and the project stays modified without it.
    QImage strip(64, 16, QImage::Format_ARGB32);
    for (int cell = 0; cell < 4; ++cell)
        for (int y = 0; y < 16; ++y)
            for (int x = 0; x < 16; ++x) strip.setPixelColor(16 * cell + x, y, QColor(60 * cell, 100, 7 * x, 255));
    QVERIFY(strip.save(s.Path("tools.tbf"), "PNG"));
    auto* tools = qobject_cast<CIconProject*>(s.app->OpenDocumentFile(s.Path("tools.tbf")));
    QVERIFY(tools != nullptr);
    QCOMPARE(tools->TemplateResource(), shell::kTemplateToolbarStrip);
    QCOMPARE(tools->Doc().GetFormatCount(), 4);
    tools->AddFormat(MakeFormat(32, 32, false));
    s.prompts->yesNoAnswers = {true};
    QVERIFY(s.app->SaveDocument(tools));
    QVERIFY(s.prompts->questions.back().contains("32 x 32, 32 bits: left out"));
    QVERIFY(tools->IsModified());
    QCOMPARE(QImage(s.Path("tools.tbf"), "PNG"), strip);
    // The same picture as a PNG asks how to open it; as a strip it saves as a new .tbf.
    QVERIFY(strip.save(s.Path("buttons.png")));
    s.prompts->items = {"An icon of 16 pictures of 8 x 8"};
    auto* buttons = qobject_cast<CIconProject*>(s.app->OpenDocumentFile(s.Path("buttons.png")));
    QVERIFY(buttons != nullptr);
    QCOMPARE(s.prompts->offeredItems,
             QString("buttons.png may be a strip of several pictures. Open it as (or type a cell size, such as 24x24):: "
                     "One picture, An icon of 4 pictures of 16 x 16, An icon of 16 pictures of 8 x 8"));
    QCOMPARE(buttons->Doc().GetFormatCount(), 16);
    QVERIFY(buttons->PathName().isEmpty());
    QVERIFY(!s.app->SaveDocument(buttons));
    QVERIFY(s.prompts->lastSuggested.endsWith("buttons.tbf"));
    // A cell size typed in place of the offered ones; one that does not fit is refused, and said.
    s.prompts->items = {"8x16", "100x5"};
    auto* typed = qobject_cast<CIconProject*>(s.app->OpenDocumentFile(s.Path("buttons.png")));
    QVERIFY(typed != nullptr);
    QCOMPARE(typed->Doc().GetFormatCount(), 8);
    QCOMPARE(typed->Doc().GetFormat(0)->Height(), 16);
    QVERIFY(s.prompts->messages.empty());
    QVERIFY(s.app->OpenDocumentFile(s.Path("buttons.png")) == nullptr);
    QVERIFY(s.prompts->messages.back().text.contains("100x5 is not a cell size that fits buttons.png"));
    s.prompts->messages.clear();

    QVERIFY(qobject_cast<CBrowserDocument*>(s.app->OpenDocumentFile(s.Path("page.htm"))) != nullptr);
    QVERIFY(qobject_cast<QTextBrowser*>(s.app->MainFrame()->ActiveChild()->widget())->toPlainText().contains("Hello page"));
    QVERIFY(s.prompts->messages.empty());
    QCOMPARE(s.app->recentFiles.Entries().size(), std::size_t{7});

    // The format bar can be hidden and shown again in every icon window; the choice is kept.
    s.app->MainFrame()->Action("view.formatBar")->trigger();
    QCOMPARE(s.app->prefs.ShowIcoFormatBar, 0);
    QVERIFY(frame->formatBar->isHidden());
    s.app->MainFrame()->Action("view.formatBar")->trigger();
    QVERIFY(!frame->formatBar->isHidden());
}

void DocumentsTest::openFailuresSayWhyAndOpenNothing() {
    StartedApp s;
    const QString good = s.Path("good.ico");
    WriteProject(good, {{32, 32}});
    QByteArray damaged = ReadAll(good);
    damaged.truncate(40);  // the directory points past the end

    // Every kind of file: one error message, with the file and, where the reader says, why under it.
    const struct {
        const char* file;
        QByteArray bytes;
        QString text;
        bool reason;
    } cases[] = {
        {"damaged.ico", damaged, text::kIconReadError, true},
        {"damaged.icns", "icns", text::kIconReadError, true},
        {"damaged.png", "\x89PNG\r\n\x1a\n garbage", text::kImageReadError, false},
        {"damaged.svg", "<svg this is not", text::kImageReadError, false},
        {"notriff.ani", QByteArray("RIFX\4\0\0\0ACON", 12), text::kIconReadError, true},
        {"empty.ani", "", text::kIconReadError, true},
        {"tool.exe", "MZ and nothing", text::kIconReadError, false},
        {"text.dll", QByteArray(200, 'x'), text::kIconReadError, false},
        {"library.icl", "MZ", text::kIconReadError, false},
        {"found.sea", "Tellurine Explorer 1\nfolder=/x\nsort=sideways\n", text::kExplorerNotReadable, true},
    };
    for (const auto& c : cases) {
        s.prompts->messages.clear();
        WriteAll(s.Path(c.file), c.bytes);
        QVERIFY2(s.app->OpenDocumentFile(s.Path(c.file)) == nullptr, c.file);
        QCOMPARE(s.prompts->messages.size(), std::size_t{1});
        QCOMPARE(s.prompts->messages[0].text, c.text);
        QCOMPARE(s.prompts->messages[0].icon, QMessageBox::Critical);
        const QString detail = s.prompts->messages[0].detail, file = QDir::toNativeSeparators(s.Path(c.file));
        const bool named = detail == file || (c.reason && detail.startsWith(file + ": "));
        QVERIFY2(named, qPrintable(detail));
        QCOMPARE(detail.size() > file.size() + 4, c.reason);
    }
    QVERIFY(s.app->MainFrame()->Children().empty());
    QVERIFY(s.app->recentFiles.Entries().empty());

    // Files are read off the interface thread: when that takes long the progress shows, named
    // after the file, and cancelled there nothing opens and nothing is said.
    const QString picture = s.Path("picture.png");
    QVERIFY(QImage(8, 8, QImage::Format_ARGB32).save(picture));
    ProgressDelayMs() = 0;
    QStringList labels;
    s.prompts->progressAction = [&](QProgressDialog& d) {
        labels << d.labelText();
        emit d.canceled();
    };
    s.prompts->messages.clear();
    QVERIFY(s.app->OpenDocumentFile(good) == nullptr);
    QVERIFY(s.app->OpenDocumentFile(picture) == nullptr);
    QCOMPARE(labels, QStringList({"Opening good.ico...", "Opening picture.png..."}));
    QVERIFY(s.prompts->messages.empty());
    QVERIFY(s.app->MainFrame()->Children().empty());
    s.prompts->progressAction = {};
    QVERIFY(s.app->OpenDocumentFile(good) != nullptr);  // left to run, it opens
    ProgressDelayMs() = 500;
}

void DocumentsTest::saveAsAsksBeforeReplacingAFile() {
    StartedApp s;
    const QString existing = s.Path("existing.ico");
    WriteProject(existing, {{16, 32}, {32, 32}});
    const QByteArray before = ReadAll(existing);
    NewIconProject(*s.app->MainFrame(), {false, {{48, 32, true}}, false});
    CIconProject* project = ActiveProject(s);

    // The save dialog proposes ".ico"; declining the overwrite prompt leaves the file alone.
    QStringList shown;
    s.prompts->saveNames = {existing};
    s.prompts->dialogActions.push_back([&](QDialog& d) {
        shown = qobject_cast<CDialAskOverwriteIconProject*>(&d)->Texts();
        return static_cast<int>(QDialog::Rejected);
    });
    QVERIFY(!s.app->SaveDocumentAs(project));
    QVERIFY(s.prompts->lastSuggested.endsWith("ICO File1.ico"));
    QCOMPARE(s.prompts->dialogs.back(), QString("tellurine::app::CDialAskOverwriteIconProject"));
    QCOMPARE(ReadAll(existing), before);
    QCOMPARE(shown.filter(QRegularExpression("^Size: [\\d,.\\s]+ bytes$")).size(), 2);
    QCOMPARE(shown.filter(QRegularExpression("^Date Modified: .+")).size(), 2);
    QVERIFY(shown.contains("Size: " + QLocale::system().toString(before.size()) + " bytes"));
    QVERIFY(shown.contains("The file existing.ico already exists. Do you want to replace it?"));
    QVERIFY(project->PathName().isEmpty());

    // Confirming replaces it with the project.
    s.prompts->saveNames = {existing};
    s.prompts->dialogActions.push_back([](QDialog&) { return static_cast<int>(QDialog::Accepted); });
    QVERIFY(s.app->SaveDocumentAs(project));
    QCOMPARE(project->PathName(), existing);
    QCOMPARE(project->Title(), QString("existing.ico"));
    QVERIFY(!project->IsModified());
    QCOMPARE(ReadIcon(existing).GetFormatCount(), 1);
    QCOMPARE(s.app->recentFiles.Entries().front(), existing.toStdString());

    // Saving in place asks nothing; a name without an extension gets the project's.
    const std::size_t prompts = s.prompts->dialogs.size();
    QVERIFY(s.app->SaveDocument(project));
    QCOMPARE(s.prompts->dialogs.size(), prompts);
    s.prompts->saveNames = {s.Path("plain")};
    QVERIFY(s.app->SaveDocumentAs(project));
    QVERIFY(QFile::exists(s.Path("plain.ico")));

    // A Macintosh project proposes ".icns", asks with the Macintosh prompt and writes a family.
    const QString family = s.Path("family.icns");
    WriteProject(family, {{32, 32}});
    NewIconProject(*s.app->MainFrame(), {true, {{128, 32, true}, {32, 32, true}}, false});
    s.prompts->saveNames = {family};
    s.prompts->dialogActions.push_back([&](QDialog& d) {
        shown = qobject_cast<CDialAskOverwriteIconProject*>(&d)->Texts();
        return static_cast<int>(QDialog::Accepted);
    });
    QVERIFY(s.app->SaveDocumentAs(ActiveProject(s)));
    QVERIFY(s.prompts->lastSuggested.endsWith(".icns"));
    QCOMPARE(s.prompts->dialogs.back(), QString("tellurine::app::CDialAskOverwriteIconProjectMac"));
    QVERIFY(shown.contains("The Macintosh icon file family.icns already exists. Do you want to replace it?"));
    QCOMPARE(ReadAll(family).left(4), QByteArray("icns"));
}

void DocumentsTest::modifiedProjectsAskToBeSavedOnCloseAndExit() {
    OpenIcon o({{32, 32}, {16, 32}});
    auto& [s, path, frame, iconFrame, view, project] = o;
    QVERIFY(!frame->Action("file.save")->isEnabled());
    QVERIFY(frame->Action("icon.deleteFormat")->isEnabled());

    // Adding a format through the command marks the project modified and shows it.
    const auto add24 = Accept<CDialNewFormat>([](CDialNewFormat& d) {
        d.widthBox->setValue(24);
        d.heightBox->setValue(24);
        d.depthBox->setCurrentIndex(2);  // 256 colours
    });
    s.prompts->dialogActions.push_back(add24);
    frame->Action("icon.newFormat")->trigger();
    QCOMPARE(project->Doc().GetFormatCount(), 3);
    const CIconObject* added = project->Doc().GetFormat(2);
    QCOMPARE(std::pair(added->Width(), added->BitCount()), std::pair(24, 8));
    // It is the current format's picture at the new size, not a blank one.
    QVERIFY(ImageFromIcon(added->Icon()).pixelColor(12, 12).alpha() > 0);
    QVERIFY(project->IsModified());
    QVERIFY(frame->ActiveChild()->isWindowModified());
    QVERIFY(frame->Action("file.save")->isEnabled());
    QCOMPARE(frame->ActiveIconFrame()->CurrentFormat(), 2);

    // The same format twice is refused with a message.
    s.prompts->dialogActions.push_back(add24);
    frame->Action("icon.newFormat")->trigger();
    QCOMPARE(project->Doc().GetFormatCount(), 3);
    QCOMPARE(s.prompts->messages.back().text, QString("The icon already has a 24 x 24 format at 8 bits."));

    // Closing asks; Cancel keeps the window, Discard closes it without writing.
    const QByteArray onDisk = ReadAll(path);
    s.prompts->saveAnswers = {UserPrompts::SaveAnswer::Cancel};
    frame->Action("file.close")->trigger();
    QCoreApplication::processEvents();
    QCOMPARE(s.prompts->savePrompts, std::vector<QString>{"icon.ico"});
    QCOMPARE(frame->Children().size(), std::size_t{1});

    // Deleting a format also marks it; exit asks too, and Save writes the file.
    frame->ActiveIconFrame()->formatBar->SetCurrentFormat(0);
    frame->Action("icon.deleteFormat")->trigger();
    QCOMPARE(project->Doc().GetFormatCount(), 2);
    s.prompts->saveAnswers = {UserPrompts::SaveAnswer::Save};
    QVERIFY(frame->close());
    QCOMPARE(s.prompts->savePrompts.size(), std::size_t{2});
    QVERIFY(ReadAll(path) != onDisk);
    QCOMPARE(ReadIcon(path).GetFormatCount(), 2);

    // Discard closes without writing.
    StartedApp t;
    t.app->OpenDocumentFile(path);
    ActiveProject(t)->DeleteFormat(0);
    t.prompts->saveAnswers = {UserPrompts::SaveAnswer::Discard};
    const QByteArray saved = ReadAll(path);
    // The window's views go before the document they show.
    QStringList gone;
    QObject::connect(t.app->MainFrame()->ActiveIconFrame()->view, &QObject::destroyed, [&] { gone << "view"; });
    QObject::connect(t.app->MainFrame()->ActiveDocument(), &QObject::destroyed, [&] { gone << "document"; });
    t.app->MainFrame()->Action("file.close")->trigger();
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(t.app->MainFrame()->Children().empty());
    QCOMPARE(gone, QStringList({"view", "document"}));
    QCOMPARE(ReadAll(path), saved);
}

void DocumentsTest::cursorsKeepTheirHotspots() {
    StartedApp s;
    const QString cursor = s.Path("arrow.cur");
    CIconDoc made;
    made.cursor = true;
    for (const auto& [size, x, y] : {std::tuple{16, 3, 11}, std::tuple{32, 20, 6}}) {
        CKvIcon format = MakeFormat(size, 32);
        format.SetPoint(x, y);
        made.AddFormat(std::move(format));
    }
    std::string error;
    QVERIFY(SaveIconProject(cursor.toStdString(), made, false, error));
    const QStringList hotspots = Hotspots(cursor);
    QVERIFY(hotspots.contains("3,11") && hotspots.contains("20,6"));

    s.app->OpenDocumentFile(cursor);
    CIconProject* project = ActiveProject(s);
    QVERIFY(project->Doc().cursor);
    QCOMPARE(project->Doc().DefaultExtension(), ".cur");
    // Save writes a cursor again, with the same hotspots, in place.
    project->SetModifiedFlag(true);
    QVERIFY(s.app->SaveDocument(project));
    QCOMPARE(Hotspots(cursor), hotspots);
    QCOMPARE(LoadU16(reinterpret_cast<const std::uint8_t*>(ReadAll(cursor).constData()) + 2), 2);

    // Save As offers both: as .ico it is an icon (type 1), as .cur a cursor again.
    s.prompts->saveNames = {s.Path("arrow.ico")};
    QVERIFY(s.app->SaveDocumentAs(project));
    QCOMPARE(LoadU16(reinterpret_cast<const std::uint8_t*>(ReadAll(s.Path("arrow.ico")).constData()) + 2), 1);
    QVERIFY(!project->Doc().cursor);
    s.prompts->saveNames = {s.Path("again.cur")};
    QVERIFY(s.app->SaveDocumentAs(project));
    QCOMPARE(Hotspots(s.Path("again.cur")), hotspots);
}

void DocumentsTest::savingLeavesTheProjectAsItWas() {
    // Formats out of the save order, the last one chosen.
    OpenIcon o({{16, 32}, {48, 8}, {32, 4}});
    CKvIcon added;
    QVERIFY(MakeBlankFormat(16, 16, 1, added));
    o.project->AddFormat(std::move(added));  // the save order would put it first
    o.frame->formatBar->SetCurrentFormat(2);
    const auto order = [&] {
        QList<int> widths;
        for (int i = 0; i < o.project->Doc().GetFormatCount(); ++i) widths << o.project->Doc().GetFormat(i)->Width();
        return widths;
    };
    const QList<int> before = order();
    QCOMPARE(CIconFormatListModel::FormatText(o.project->Doc(), 3), QString("16 x 16\n1 bit"));
    o.project->Session().Edit(2, [](editor::FormatState& st) { editor::SelectRectangle(st, 1, 1, 5, 5); });
    const QString other = o.s.Path("other.ico");
    WriteProject(other, {{16, 32}});
    // "Don't Replace", a save that succeeds, and one to a folder that is not there.
    o.s.prompts->saveNames = {other};
    QVERIFY(!o.s.app->SaveDocumentAs(o.project));
    // The save runs on a worker; its progress offers no Cancel, and a cancel cannot stop it.
    ProgressDelayMs() = 0;
    o.s.prompts->progressAction = [](QProgressDialog& d) {
        QVERIFY(d.findChild<QPushButton*>() == nullptr);
        emit d.canceled();
    };
    QVERIFY(o.s.app->SaveDocument(o.project));
    QVERIFY(o.s.prompts->progressShown >= 2);  // encoding, then writing
    o.s.prompts->progressAction = {};
    ProgressDelayMs() = 500;
    const QString target = o.s.Path("missing-folder/icon.ico");
    o.s.prompts->saveNames = {target};
    QVERIFY(!o.s.app->SaveDocumentAs(o.project));
    QCOMPARE(o.s.prompts->messages.size(), std::size_t{1});
    const QString failed = o.s.prompts->messages[0].text;
    QVERIFY(failed.startsWith("The file " + QDir::toNativeSeparators(target) + " could not be saved: "));
    QVERIFY(!QFileInfo::exists(target));
    QCOMPARE(o.project->PathName(), o.path);
    QCOMPARE(order(), before);
    QCOMPARE(o.frame->CurrentFormat(), 2);
    QCOMPARE(o.view->Format(), 2);
    QVERIFY(o.project->EditState(2)->selectionActive);
    QCOMPARE(o.project->EditState(2)->selection.right, 5);
    // Only a folder a save went to is remembered.
    QCOMPARE(QString::fromStdString(o.s.app->prefs.ActualDir), QFileInfo(o.path).absolutePath());
    QCOMPARE(o.project->Doc().GetFormat(3)->BitCount(), 1);
}

void DocumentsTest::macintoshSavesAskBeforeLeavingFormatsOut() {
    OpenIcon o({{64, 32}, {96, 32}, {256, 32}, {256, 32}, {32, 4}});
    CIconFormatListModel* model = o.frame->formatBar->model;
    const QString family = o.s.Path("icon.icns");
    // Cancel at the question: nothing is written.
    o.s.prompts->saveNames = {family};
    QVERIFY(!o.s.app->SaveDocumentAs(o.project));
    QVERIFY(!QFileInfo::exists(family));
    QVERIFY(o.s.prompts->questions.back().contains("96 x 96, 32 bits: left out"));
    // The Windows colours of the 4-bit format become the Macintosh palette's.
    QVERIFY(o.s.prompts->questions.back().contains("32 x 32, 4 bits: saved with other colors or transparency"));
    // Saved without it: the project stays modified, and shows its formats as the family holds them.
    o.s.prompts->saveNames = {family};
    o.s.prompts->yesNoAnswers = {true};
    QVERIFY(o.s.app->SaveDocumentAs(o.project));
    QCOMPARE(ReadAll(family).left(4), QByteArray("icns"));
    QVERIFY(o.project->IsModified());
    QStringList shown = RowNames(*model);
    QVERIFY(shown.contains("32 x 32 @2x\n32 bits"));
    const int plain = static_cast<int>(shown.indexOf("256 x 256\n32 bits"));
    const int twice = static_cast<int>(shown.indexOf("128 x 128 @2x\n32 bits"));
    QVERIFY(plain >= 0 && twice >= 0);
    // The plain 256 chosen as 128 @2x in its properties: the other becomes the plain 256.
    o.s.prompts->dialogActions.push_back(Accept<CDialFormatProperties>([](CDialFormatProperties& d) {
        QVERIFY(d.elementBox != nullptr);
        d.elementBox->setCurrentIndex(d.elementBox->findText("ic13 (128 x 128 @2x)"));
    }));
    EditFormatProperties(*o.s.app->MainFrame(), *o.project, plain, o.frame);
    shown = RowNames(*model);
    QCOMPARE(shown[plain], QString("128 x 128 @2x\n32 bits"));
    QCOMPARE(shown[twice], QString("256 x 256\n32 bits"));
    // As an icon set folder, reopened with the same pictures.
    const QString folder = o.s.Path("Icon.iconset");
    o.s.prompts->saveNames = {folder};
    o.s.prompts->yesNoAnswers = {true};
    QVERIFY(o.s.app->SaveDocumentAs(o.project));
    QCOMPARE(QDir(folder).entryList(QDir::Files),
             (QStringList{"icon_128x128@2x.png", "icon_256x256.png", "icon_32x32.png", "icon_32x32@2x.png"}));
    std::filesystem::copy(folder.toStdString(), o.s.Path("Copy.iconset").toStdString());  // the saved one is open
    auto* set = qobject_cast<CIconProject*>(o.s.app->OpenDocumentFile(o.s.Path("Copy.iconset")));
    QVERIFY(set != nullptr && set != o.project && set->Doc().macintosh);
    QCOMPARE(set->Doc().GetFormatCount(), 4);
}

namespace {

// Runs a Python script with Pillow on a file and gives its standard output.
QString Pillow(const QString& script, const QString& path) {
    QProcess python;
    python.start("/usr/bin/python3", {"-c", script, path});
    if (!python.waitForFinished(60000)) return "python did not run";
    return QString::fromUtf8(python.readAllStandardOutput()).trimmed();
}

}  // namespace

void DocumentsTest::editedFamilyKeepsEveryElement() {
    // A family as current Mac tools make it: Pillow's, from one 1024-pixel picture, @2x elements too.
    StartedApp s;
    const QString path = s.Path("app.icns");
    Pillow("import sys\nfrom PIL import Image\nImage.new('RGBA', (1024, 1024), (200, 120, 40, 255)).save(sys.argv[1])", path);
    const QString elements =
        "import sys, struct\nd = open(sys.argv[1], 'rb').read()\nat, out = 8, []\n"
        "while at < len(d):\n    out.append(d[at:at + 4].decode()); at += struct.unpack('>I', d[at + 4:at + 8])[0]\n"
        "print(' '.join(sorted(t for t in out if t != 'TOC ')))";
    const QString before = Pillow(elements, path);
    QCOMPARE(before, QString("ic07 ic08 ic09 ic10 ic11 ic12 ic13 ic14"));
    auto* project = qobject_cast<CIconProject*>(s.app->OpenDocumentFile(path));
    QVERIFY(project != nullptr);
    QCOMPARE(project->Doc().GetFormatCount(), 8);
    // Paint one pixel of the 64 x 64 format ("32 x 32 @2x") and save in place.
    int row = -1;
    for (int i = 0; i < project->Doc().GetFormatCount(); ++i)
        if (FormatSizeText(project->Doc(), i) == "32 x 32 @2x") row = i;
    QVERIFY(row >= 0);
    project->Session().Edit(row, [](editor::FormatState& st) { st.color.SetPixel(5, 6, RGB(0, 0, 255)); });
    QVERIFY(s.app->SaveDocument(project));
    QVERIFY(s.prompts->questions.empty());  // the family holds everything
    QVERIFY(!project->IsModified());
    QCOMPARE(Pillow(elements, path), before);
    // Pillow reads the edit from the element ("ic12", 32 x 32 at scale 2).
    QCOMPARE(Pillow("import sys\nfrom PIL.IcnsImagePlugin import IcnsFile\n"
                    "g = IcnsFile(open(sys.argv[1], 'rb')).getimage((32, 32, 2)).convert('RGBA')\n"
                    "print(g.size, g.getpixel((5, 6)), g.getpixel((6, 6)))",
                    path),
             QString("(64, 64) (0, 0, 255, 255) (200, 120, 40, 255)"));
}

void DocumentsTest::realFilesOpenOrSayWhy() {
    QDirIterator it(TELLURINE_CORPUS_DIR, QDir::Files, QDirIterator::Subdirectories);
    if (!it.hasNext()) QSKIP("no development corpus beside the checkout");
    StartedApp s;
    int opened = 0, refused = 0;
    while (it.hasNext()) {
        const QString path = it.next();
        if (path.endsWith(".md") || path.endsWith(".tsv")) continue;
        s.prompts->messages.clear();
        CKvDocument* document = s.app->OpenDocumentFile(path);
        // Every file either opens, or is refused with exactly one message and no window.
        if (document != nullptr) {
            ++opened;
            QVERIFY2(s.prompts->messages.empty(), qPrintable(path));
            // Its windows show every format; then they close without asking.
            QCoreApplication::processEvents();
            for (CKvMdiChild* child : s.app->MainFrame()->Children()) {
                auto* project = qobject_cast<CIconProject*>(child->Document());
                QVERIFY2(project == nullptr || project->Doc().GetFormatCount() > 0, qPrintable(path));
                QVERIFY(!child->Document()->IsModified());
                child->close();
            }
            QCoreApplication::processEvents();
            QVERIFY(s.app->MainFrame()->Children().empty());
        } else {
            ++refused;
            QVERIFY2(s.prompts->messages.size() == 1, qPrintable(path));
            QVERIFY(s.app->MainFrame()->Children().empty());
        }
    }
    qInfo("%d files opened, %d refused", opened, refused);
    QVERIFY(opened > 100);
}

QTEST_MAIN(DocumentsTest)
#include "documents_test.moc"
