// What the desktop program's tests share: a prompt object that records every message and answers
// as the test says, a started application on a temporary profile, icon files made and read back
// here, and the mouse on the canvas.
#pragma once

#include <QDialog>
#include <QDialogButtonBox>
#include <QDropEvent>
#include <QPushButton>
#include <QListWidget>
#include <QMimeData>
#include <QProcess>
#include <QProgressDialog>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QtTest>
#include <deque>
#include <functional>
#include <memory>

#include "app/common/prompts.h"
#include "app/icon/dialogs.h"
#include "app/icon/icon_frame.h"
#include "app/icon/icon_project.h"
#include "app/icon/icon_view.h"
#include "app/shell/kv_app.h"
#include "app/shell/main_frame.h"
#include "formats/icon_project.h"
#include "icon/format_maker.h"
#include "image/dib_block.h"
#include "image/file_io.h"

namespace tellurine::app::test {

struct Message {
    QMessageBox::Icon icon;
    QString title;
    QString text;
    QString detail;
};

// The next of the answers a test queued, or `none` once they have all been given.
template <typename T>
T Next(std::deque<T>& answers, T none = {}) {
    if (answers.empty()) return none;
    T answer = std::move(answers.front());
    answers.pop_front();
    return answer;
}

class RecordingPrompts : public UserPrompts {
public:
    std::vector<Message> messages;
    std::vector<QString> savePrompts;
    std::vector<QString> dialogs;                      // class names of the dialogs run
    std::deque<SaveAnswer> saveAnswers;                // answers to "Save changes?" (default: Cancel)
    std::deque<std::function<int(QDialog&)>> dialogActions;  // what to do in each dialog (default: reject)
    std::deque<QString> saveNames;                     // names typed in the save dialog
    std::vector<QString> questions;
    std::deque<bool> yesNoAnswers;                     // answers to yes-or-no questions (default: no)
    std::deque<QStringList> openNames;
    std::deque<QString> items;   // choices from lists (default: cancelled)
    QString offeredItems;        // the last list offered, after its label
    std::deque<QColor> colours;  // colours chosen (default: cancelled)
    QString lastSuggested;       // the name the save dialog proposed last
    std::deque<QString> folderNames;  // folders chosen in the folder dialog

    void ShowMessage(QWidget*, QMessageBox::Icon icon, const QString& title, const QString& text,
                     const QString& detail = {}) override {
        messages.push_back({icon, title, text, detail});
    }
    SaveAnswer AskSaveChanges(QWidget*, const QString& title) override {
        savePrompts.push_back(title);
        return Next(saveAnswers, SaveAnswer::Cancel);
    }
    bool AskYesNo(QWidget*, const QString&, const QString& text) override {
        questions.push_back(text);
        return Next(yesNoAnswers, false);
    }
    bool AskSaveOrCancel(QWidget* parent, const QString& title, const QString& text) override {
        return AskYesNo(parent, title, text);
    }
    int Exec(QDialog& dialog) override {
        dialogs.push_back(dialog.metaObject()->className());
        const auto action = Next(dialogActions);
        return action ? action(dialog) : int(QDialog::Rejected);
    }
    QStringList GetOpenFileNames(QWidget*, const QString&, const QString&) override { return Next(openNames); }
    QString GetSaveFileName(QWidget*, const QString& suggested, const QString&, QString*) override {
        lastSuggested = suggested;
        return Next(saveNames);
    }
    QString GetItem(QWidget*, const QString&, const QString& label, const QStringList& offered, bool& chosen,
                    bool) override {
        offeredItems = label + ": " + offered.join(", ");
        chosen = !items.empty();
        return Next(items);
    }
    QColor GetColor(QWidget*, const QColor&, const QString&, bool) override { return Next(colours); }
    QString GetExistingDirectory(QWidget*, const QString&, const QString&) override { return Next(folderNames); }
    // What to do when long work shows its progress (default: let it run to its end).
    std::function<void(QProgressDialog&)> progressAction;
    int progressShown = 0;
    void ShowProgress(QProgressDialog& dialog) override {
        ++progressShown;
        if (progressAction) progressAction(dialog);
    }
};

// An application started on a profile of its own in a temporary folder.
struct StartedApp {
    QTemporaryDir dir;
    std::unique_ptr<CKvApp> app;
    RecordingPrompts* prompts = nullptr;

    explicit StartedApp(const QStringList& arguments = {}, bool splash = false,
                        const std::function<void(QTemporaryDir&)>& prepare = {},
                        const std::function<void(RecordingPrompts&)>& answers = {})
        : answers_(answers) {
        QDir(dir.path()).mkpath("program");
        QSettings ini(ProfilePath(), QSettings::IniFormat);
        ini.setValue("prefs/ShowSplashScreen", splash ? 1 : 0);
        ini.sync();
        if (prepare) prepare(dir);
        Start(arguments);
    }
    void Start(const QStringList& arguments) {
        StartOptions options;
        options.profileFile = ProfilePath();
        options.programFolder = dir.filePath("program");
        options.appDataFolder = dir.filePath("appdata");
        app = std::make_unique<CKvApp>(options);
        auto recording = std::make_unique<RecordingPrompts>();
        prompts = recording.get();
        if (answers_) answers_(*recording);
        app->SetPrompts(std::move(recording));
        started = app->InitInstance(arguments);
    }
    [[nodiscard]] QString ProfilePath() const { return dir.filePath("profile.ini"); }
    [[nodiscard]] QString Path(const QString& name) const { return dir.filePath(name); }
    bool started = false;
    std::function<void(RecordingPrompts&)> answers_;
};

// A format of a size and depth made from a picture with a transparent frame around a gradient.
inline CKvIcon MakeFormat(int size, int bits, bool compressed = false) {
    Block picture = CreateDibBlock(size, size, 32);
    const auto layout = GetDibLayout(picture);
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x) {
            std::uint8_t* p = picture.data() + layout->RowOffset(y) + static_cast<std::size_t>(x) * 4;
            const bool inside = x > 0 && y > 0 && x < size - 1 && y < size - 1;
            p[0] = static_cast<std::uint8_t>(x * 255 / size);
            p[1] = static_cast<std::uint8_t>(y * 255 / size);
            p[2] = 200;
            p[3] = inside ? 255 : 0;
        }
    CKvIcon icon;
    if (!FormatFromPicture(picture, bits, icon)) qFatal("cannot make a test format");
    icon.SetCompressed(compressed);
    return icon;
}

// A project of the given formats ({size, bits}), those of 256 pixels PNG-compressed.
inline CIconDoc MakeDoc(std::initializer_list<std::pair<int, int>> formats, bool macintosh = false, bool cursor = false) {
    CIconDoc doc;
    doc.macintosh = macintosh;
    doc.cursor = cursor;
    for (const auto& [size, bits] : formats) doc.AddFormat(MakeFormat(size, bits, size >= 256));
    return doc;
}

// Writes a project of the given formats ({size, bits}) to `path` (.ico, .cur or .icns by name).
inline void WriteProject(const QString& path, std::initializer_list<std::pair<int, int>> formats, bool cursor = false) {
    const CIconDoc doc = MakeDoc(formats, path.endsWith(".icns"), cursor);
    std::string error;
    if (!SaveIconProject(path.toStdString(), doc, false, error)) qFatal("cannot write %s: %s", qPrintable(path), error.c_str());
}

// The names a list model shows, row by row.
inline QStringList RowNames(const QAbstractItemModel& model) {
    QStringList names;
    for (int row = 0; row < model.rowCount(); ++row) names << model.index(row, 0).data().toString();
    return names;
}

inline QByteArray ReadAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline void WriteAll(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

inline void WriteAll(const QString& path, const std::vector<std::uint8_t>& bytes) {
    WriteAll(path, QByteArray(reinterpret_cast<const char*>(bytes.data()), static_cast<qsizetype>(bytes.size())));
}

// The first icon of a file as the program's reader gives it: no formats when the file does not read.
inline CIconDoc ReadIcon(const QString& path) {
    IconFileContents contents;
    std::string error;
    if (!LoadIconContainer(path.toStdString(), contents, error) || contents.icons.empty()) return {};
    return std::move(contents.icons.front().doc);
}

// A started application with one icon of the given formats ({size, bits}) open.
struct OpenIcon {
    StartedApp s;
    QString path = s.Path("icon.ico");
    CMainFrame* main = nullptr;
    CIconDocMDI* frame = nullptr;
    CIconView* view = nullptr;
    CIconProject* project = nullptr;
    explicit OpenIcon(std::initializer_list<std::pair<int, int>> formats) {
        WriteProject(path, formats);
        project = qobject_cast<CIconProject*>(s.app->OpenDocumentFile(path));
        main = s.app->MainFrame();
        frame = main->ActiveIconFrame();
        view = frame->view;
    }
};

// Sends a mouse event to the canvas at the centre of image pixel (x, y), or at its top-left corner
// (where a selection's handles are), with the buttons held.
inline void Mouse(CIconView* view, QEvent::Type type, int x, int y, Qt::MouseButton button, Qt::MouseButtons held,
                  bool corner = false) {
    const editor::CanvasPlacement at = view->Placement();
    const int within = corner ? 0 : view->Zoom() / 2;
    const QPointF point(at.originX + x * view->Zoom() + within - view->horizontalScrollBar()->value(),
                        at.originY + y * view->Zoom() + within - view->verticalScrollBar()->value());
    QMouseEvent event(type, point, view->viewport()->mapToGlobal(point), button, held, Qt::NoModifier);
    QCoreApplication::sendEvent(view->viewport(), &event);
}

// Presses the left button on one pixel, moves through the middle to another and lets go there.
inline void Drag(CIconView* view, QPoint from, QPoint to) {
    Mouse(view, QEvent::MouseButtonPress, from.x(), from.y(), Qt::LeftButton, Qt::LeftButton);
    Mouse(view, QEvent::MouseMove, (from.x() + to.x()) / 2, (from.y() + to.y()) / 2, Qt::NoButton, Qt::LeftButton);
    Mouse(view, QEvent::MouseMove, to.x(), to.y(), Qt::NoButton, Qt::LeftButton);
    Mouse(view, QEvent::MouseButtonRelease, to.x(), to.y(), Qt::LeftButton, Qt::NoButton);
}

// Ticks exactly the formats of a new-icon list whose text is `wanted`.
inline void ChooseFormats(CDialNewIcon& dialog, const std::function<bool(const QString&)>& wanted) {
    for (int i = 0; i < dialog.formatList->count(); ++i) {
        QListWidgetItem* item = dialog.formatList->item(i);
        item->setCheckState(wanted(item->text()) ? Qt::Checked : Qt::Unchecked);
    }
}

// The texts of a list's ticked items, in its order.
inline QStringList CheckedTexts(const QListWidget& list) {
    QStringList texts;
    for (int i = 0; i < list.count(); ++i)
        if (list.item(i)->checkState() == Qt::Checked) texts << list.item(i)->text();
    return texts;
}

// Whether a pixel of an edited format shows: its mask leaves it visible.
inline bool Visible(const editor::FormatState& format, int x, int y) {
    return (format.mask.GetPixel(x, y) & 0xFFFFFF) != 0xFFFFFF;
}

// The palette index of the first pixel of an indexed format that shows, or -1 when none does.
inline int VisibleIndex(const editor::FormatState& format) {
    for (int y = 0; y < format.Height(); ++y)
        for (int x = 0; x < format.Width(); ++x)
            if (Visible(format, x, y))
                return format.indices[static_cast<std::size_t>(y * format.Width() + x)];
    return -1;
}

// After a palette entry was given a colour: the entry holds it, every pixel that shows keeps its
// index, and the entry's pixels show the colour.
inline void CompareRepainted(const editor::FormatState& before, const editor::FormatState& after, int entry,
                             COLORREF colour) {
    QVERIFY((after.palette.entries[static_cast<std::size_t>(entry)] ==
             PaletteEntry{GetRValue(colour), GetGValue(colour), GetBValue(colour), 0}));
    for (int y = 0; y < before.Height(); ++y)
        for (int x = 0; x < before.Width(); ++x) {
            const auto i = static_cast<std::size_t>(y * before.Width() + x);
            if (!Visible(before, x, y)) continue;
            QCOMPARE(after.indices[i], before.indices[i]);
            if (before.indices[i] == entry) QCOMPARE(after.color.GetPixel(x, y), colour);
        }
}

// Drags files over a widget and, when it takes them, drops them there; whether it took them.
inline bool DropFiles(QWidget* widget, const QStringList& paths) {
    QMimeData mime;
    QList<QUrl> urls;
    for (const QString& path : paths) urls << QUrl::fromLocalFile(path);
    mime.setUrls(urls);
    QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(widget, &enter);
    if (!enter.isAccepted()) return false;
    QDropEvent drop(QPointF(5, 5), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(widget, &drop);
    return true;
}

// Lets the test fill a dialog in, then presses its OK button (which may refuse and keep it open).
template <typename Dialog>
std::function<int(QDialog&)> Accept(std::function<void(Dialog&)> setUp = {}) {
    return [setUp](QDialog& dialog) {
        auto* d = qobject_cast<Dialog*>(&dialog);
        if (d == nullptr) qFatal("unexpected dialog %s", dialog.metaObject()->className());
        if (setUp) setUp(*d);
        dialog.setResult(QDialog::Rejected);
        // The button itself where the dialog has one, so that its wiring is tried too.
        const auto* box = dialog.findChild<QDialogButtonBox*>();
        if (QPushButton* ok = box != nullptr ? box->button(QDialogButtonBox::Ok) : nullptr)
            ok->click();
        else
            dialog.accept();
        return dialog.result();
    };
}

}  // namespace tellurine::app::test
