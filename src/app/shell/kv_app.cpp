#include "app/shell/kv_app.h"

#include <QApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QMdiArea>
#include <QSplashScreen>
#include <QStandardPaths>
#include <QPainter>
#include <QScreen>
#include <cstdlib>
#include <memory>
#include <new>

#include "app/ani/ani_doc.h"
#include "app/picture/dib_frame.h"
#include "app/program/exe_doc.h"
#include "app/icon/icon_project.h"
#include "app/icon/icon_frame.h"
#include "app/icon/icon_view.h"
#include "app/common/image_convert.h"
#include "app/common/long_work.h"
#include "app/shell/main_frame.h"
#include "app/shell/prefs_dialog.h"
#include "app/shell/qsettings_profile.h"
#include "app/shell/recovery.h"
#include "app/common/texts.h"
#include "formats/icon_project.h"
#include "formats/icns_codec.h"
#include "formats/icns_file.h"
#include "formats/iconset.h"
#include "formats/image_file.h"
#include "icon/format_maker.h"
#include "image/dib.h"
#include "image/dib_block.h"
#include "image/file_io.h"

// The program's resources live in a static library: they are registered by hand.
static void InitResources() { Q_INIT_RESOURCE(tellurine); }

namespace tellurine::app {

namespace {

// The first bytes of a file, enough for every check of the template choice.
bool ReadHead(const QString& path, std::vector<std::uint8_t>& head) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return false;
    const QByteArray bytes = file.read(4096);
    head.assign(bytes.begin(), bytes.end());
    return true;
}

QString Native(const std::string& s) { return QString::fromStdString(s); }

// The colour bar's numbers and the preferences (section "colors") they are kept in.
constexpr std::pair<int shell::Preferences::*, int editor::ColourSelection::*> kSavedColourNumbers[] = {
    {&shell::Preferences::SavedFgIndex8bpp, &editor::ColourSelection::foregroundIndex8},
    {&shell::Preferences::SavedBkIndex8bpp, &editor::ColourSelection::backgroundIndex8},
    {&shell::Preferences::SavedFgIndex1bpp, &editor::ColourSelection::foregroundIndex1},
    {&shell::Preferences::SavedBkIndex1bpp, &editor::ColourSelection::backgroundIndex1},
    {&shell::Preferences::FgOpacity, &editor::ColourSelection::foregroundOpacity},
    {&shell::Preferences::BkOpacity, &editor::ColourSelection::backgroundOpacity},
};

}  // namespace

CKvApp::CKvApp(StartOptions options) : options_(std::move(options)), prompts_(std::make_unique<UserPrompts>()) {
    InitResources();
}

CKvApp::~CKvApp() {
    mainFrame_.reset();
    recovery_.reset();
    if (translator_) QCoreApplication::removeTranslator(translator_.get());
}

shell::Profile& CKvApp::Profile() { return *profile_; }

bool CKvApp::InitInstance(const QStringList& arguments) {
    // 1. The program folder.
    programFolder = options_.programFolder.isEmpty()
                        ? Native(shell::ProgramFolder(QCoreApplication::applicationFilePath().toStdString()))
                        : QDir(options_.programFolder).absolutePath() + '/';
    Step("program folder: " + programFolder);

    // 2. The main window class: the main window carries its name as its object name (step 14).
    Step(QString("window class: ") + shell::kMainWindowClass);
    // 3. The component object library has no counterpart here.
    Step("component library: none");

    // 4. The user-data folder, under the roaming application-data folder.
    QString appData = options_.appDataFolder;
    if (appData.isEmpty()) {
#ifdef Q_OS_WIN
        appData = qEnvironmentVariable("APPDATA");
#endif
        if (appData.isEmpty()) appData = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    }
    userDataFolder = Native(shell::UserDataFolder(appData.toStdString()));
    Step("user-data folder: " + userDataFolder);

    // 5. The profile under the organisation's key.
    profile_ = options_.profileFile.isEmpty() ? std::make_unique<QSettingsProfile>()
                                              : std::make_unique<QSettingsProfile>(options_.profileFile);
    QCoreApplication::setOrganizationName(shell::kOrganization);
    QCoreApplication::setApplicationName(shell::kApplicationName);
    Step("profile: " + profile_->FileName());

    // 6. The interface language: a translation beside the program for the user's language
    // ("tellurine_fr.qm"), English built in.
    const QString language = QLocale::languageToCode(QLocale().language());
    translator_ = std::make_unique<QTranslator>();
    if (language != "en" && translator_->load("tellurine_" + language, programFolder)) {
        QCoreApplication::installTranslator(translator_.get());
        Step("language: " + language);
    } else {
        translator_.reset();
        Step("language: en");
    }

    // 7. Shared images (the tool cursors arrive with the drawing tools) and the display palette.
    palette = shell::ApplicationPalette();
    Step("palette: 256 entries");

    // 8. The private clipboard formats, as MIME types named after them.
    clipboardFormats.clear();
    for (const char* name : shell::kClipboardFormatNames) clipboardFormats << name;
    Step("clipboard formats: " + clipboardFormats.join(", "));

    // 9. The recent-file lists.
    recentFiles.Load(*profile_);
    ownRecentFiles.Load(*profile_);
    Step(QString("recent files: %1 + %2").arg(recentFiles.Capacity()).arg(ownRecentFiles.Capacity()));

    // 10. The preferences.
    shell::LoadPreferences(*profile_, prefs);
    ApplyCanvasPreferences();
    colours.foreground = shell::ProfileColour(prefs.SavedFgRGBColor, 0);
    colours.background = shell::ProfileColour(prefs.SavedBkRGBColor, editor::kTransparentColour);
    for (const auto& [pref, colour] : kSavedColourNumbers) colours.*colour = prefs.*pref;
    Step("preferences");

    // 11. The splash, while the rest starts.
    const QIcon appIcon = ApplicationIcon();
    std::unique_ptr<CSplashWnd> splash;
    if (prefs.ShowSplashScreen != 0) {
        splash = std::make_unique<CSplashWnd>(appIcon.pixmap(128));
        splash->show();
        splash->repaint();
        Step("splash");
    }

    // 12. The document templates.
    templates.clear();
    for (const shell::DocTemplateInfo& t : shell::DocTemplates()) templates.push_back(t.resource);
    Step(QString("templates: %1").arg(templates.size()));

    // 13. The update and librarian switches of the raw command line.
    std::vector<std::string> args;
    for (const QString& a : arguments) args.push_back(a.toStdString());
    switches = shell::ParseStartSwitches(shell::RawCommandLine(args));
    Step(switches.deletePatch ? "switch: delpatch " + Native(switches.patchPath)
         : switches.librarian ? "switch: librarian " + Native(switches.librarianArgument)
                              : QString("switch: none"));

    // 14. The main window.
    mainFrame_ = std::make_unique<CMainFrame>(*this);
    InstallBusyCursor();
    mainFrame_->setObjectName(shell::kMainWindowClass);
    mainFrame_->setWindowIcon(appIcon);
    Step("main frame");

    // 15. The 50 ms timer.
    timer.setInterval(50);
    QObject::connect(&timer, &QTimer::timeout, mainFrame_.get(), &CMainFrame::OnTimer, Qt::UniqueConnection);
    timer.start();
    Step("timer: 50 ms");

    // 16. The drawing tools, in their fixed order.
    tools.clear();
    for (const editor::ToolKind kind :
         {editor::ToolKind::Select, editor::ToolKind::Pick, editor::ToolKind::Replacer, editor::ToolKind::Pen, editor::ToolKind::Brush,
          editor::ToolKind::Fill, editor::ToolKind::Rectangle, editor::ToolKind::FilledRectangle,
          editor::ToolKind::Ellipse, editor::ToolKind::FilledEllipse, editor::ToolKind::Line, editor::ToolKind::Frame3D})
        tools.push_back(editor::MakeTool(kind));
    canvas.colours = &colours;
    // Palette colours are drawn as the screen shows them (rounded on 15- and 16-bit screens).
    const int screenBits = QGuiApplication::primaryScreen() != nullptr ? QGuiApplication::primaryScreen()->depth() : 32;
    for (const auto& tool : tools) {
        tool->settings.smoothEdges = prefs.Smooth32BppDraw != 0;
        tool->settings.screenBits = screenBits;
    }
    SetCurrentTool(editor::ToolKind::Pen);
    Step("drawing tools");

    // 17. Files dropped on the main window are opened.
    mainFrame_->setAcceptDrops(true);
    Step("accept files");

    // 18. The files of the command line.
    int opened = 0;
    for (const std::string& file : shell::CommandLineFiles(args))
        if (OpenDocumentFile(Native(file)) != nullptr) ++opened;
    Step(QString("command line: %1 opened").arg(opened));
    // Unsaved work of a run that crashed, and this run's own recovery files from now on.
    recovery_ = std::make_unique<CRecovery>(userDataFolder + "Recovery/");
    RestoreRecoveryFiles();
    bool intervalGiven = false;
    const int interval = qEnvironmentVariableIntValue("TELLURINE_RECOVERY_INTERVAL_MS", &intervalGiven);
    recoveryTimer.setInterval(intervalGiven && interval > 0 ? interval : 2 * 60 * 1000);
    QObject::connect(&recoveryTimer, &QTimer::timeout, this, &CKvApp::SaveRecoveryFiles, Qt::UniqueConnection);
    recoveryTimer.start();
    // A new icon to start with, when the user asked for one and gave no file.
    if (opened == 0 && prefs.NewIcoDocAtStartup != 0) QTimer::singleShot(0, this, [this] { OnFileNew(); });
    if (switches.deletePatch && !switches.patchPath.empty()) {
        QFile::remove(Native(switches.patchPath));
        Step("patch deleted");
    }

    // 19. Show the main window.
    mainFrame_->show();
    if (splash) {
        splash->finish(mainFrame_.get());
        splash.reset();
    }
    Step("show");

    // 20. What's New, once per version of the page. The pages found are kept for the Help command.
    whatsNewPages_ = FindWhatsNewPages();
    const QStringList& pages = whatsNewPages_;
    if (!pages.isEmpty()) {
        const QString seen = QString("%1 %2").arg(pages.size()).arg(QFileInfo(pages.front()).lastModified().toSecsSinceEpoch());
        if (Native(profile_->GetString("Settings", "WhatsNewSeen", "")) != seen) {
            profile_->WriteString("Settings", "WhatsNewSeen", seen.toStdString());
            ShowWhatsNew();
            Step("what's new");
        }
    }
    mainFrame_->updateActions();
    return true;
}

void CKvApp::ExitInstance() {
    recoveryTimer.stop();
    if (!profile_) return;
    prefs.SavedFgRGBColor = shell::ProfileColourText(colours.foreground);
    prefs.SavedBkRGBColor = shell::ProfileColourText(colours.background);
    for (const auto& [pref, colour] : kSavedColourNumbers) prefs.*pref = colours.*colour;
    shell::SavePreferences(*profile_, prefs);
    recentFiles.Save(*profile_);
    ownRecentFiles.Save(*profile_);
    profile_->Sync();
}

QIcon CKvApp::ApplicationIcon() {
    // The program's own icon, made from the picture in the source tree and read by our reader,
    // every format of it in one icon.
    QIcon icon;
    QFile file(":/tellurine/tellurine.ico");
    if (!file.open(QIODevice::ReadOnly)) return icon;
    const QByteArray bytes = file.readAll();
    IconFileContents contents;
    if (!ReadIconContainer("tellurine.ico", std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()),
                           contents))
        return icon;
    const CIconDoc& doc = contents.icons.front().doc;
    for (int i = 0; i < doc.GetFormatCount(); ++i) icon.addPixmap(QPixmap::fromImage(ImageFromIcon(doc.GetFormat(i)->Icon())));
    return icon;
}

void CKvApp::ShowError(const QString& message, const QString& title) {
    prompts_->ShowMessage(mainFrame_.get(), QMessageBox::Critical, title.isEmpty() ? text::kAppTitle : title, message);
}

// ---- Opening -----------------------------------------------------------------------------------

CKvDocument* CKvApp::OpenDocumentFile(const QString& givenPath) {
    const QString path = QFileInfo(givenPath).absoluteFilePath();
    // A file already open is brought to the front.
    for (CKvMdiChild* child : mainFrame_->Children()) {
        if (QFileInfo(child->Document()->PathName()) == QFileInfo(path)) {
            mainFrame_->mdiArea->setActiveSubWindow(child);
            return child->Document();
        }
    }

    std::vector<std::uint8_t> head;
    const bool iconset = IsIconsetPath(path.toStdString()) && QFileInfo(path).isDir();
    if (!iconset && !ReadHead(path, head)) {
        QFile file(path);
        file.open(QIODevice::ReadOnly);
        ShowError(QString(text::kFileNotFound).arg(QDir::toNativeSeparators(path), file.errorString()));
        recentFiles.Remove(path.toStdString());
        ownRecentFiles.Remove(path.toStdString());
        mainFrame_->updateRecentMenus();
        return nullptr;
    }
    const int resource = shell::ChooseDocTemplate(path.toStdString(), head);
    const shell::DocTemplateInfo& info = *shell::FindDocTemplate(resource);

    CKvDocument* first = nullptr;
    switch (shell::DocKindOf(resource)) {
        case shell::DocKind::NotYet: {
            QString kind = Native(shell::DocString(info, shell::kRegFileTypeName));
            prompts_->ShowMessage(mainFrame_.get(), QMessageBox::Information, text::kAppTitle,
                                  QString(text::kCannotOpenYet).arg(QFileInfo(path).fileName(), kind));
            return nullptr;
        }
        case shell::DocKind::IconProject: {
            // Read on a worker: a large family (JPEG 2000, 1024-pixel PNG) takes many frames.
            struct Read {
                IconFileContents contents;
                std::string error;
                bool ok = false;
            };
            auto read = std::make_shared<Read>();
            if (!RunFileRead(*prompts_, mainFrame_.get(), path, [read, file = path.toStdString()] {
                    try {
                        read->ok = LoadIconContainer(file, read->contents, read->error);
                    } catch (const std::bad_alloc&) {
                        read->error = kOutOfMemoryText;
                    }
                }))
                return nullptr;
            if (!read->ok) {
                if (read->error == kOutOfMemoryText) ShowError(text::kOutOfMemory, text::kOutOfMemoryTitle);
                else ShowError(text::kIconReadError);
                return nullptr;
            }
            IconFileContents& contents = read->contents;
            for (NamedIcon& icon : contents.icons) {
                const bool mac = icon.doc.macintosh;
                auto* project = new CIconProject(mac ? shell::kTemplateIcns : shell::kTemplateIco);
                project->Doc() = std::move(icon.doc);
                project->container = contents.container;
                project->SetPathName(path);
                if (contents.Named()) project->SetTitle(QFileInfo(path).fileName() + ": " + Native(icon.name));
                auto* frame = new CIconDocMDI(*project, canvas);
                mainFrame_->AddDocumentWindow(project, frame);
                if (first == nullptr) first = project;
            }
            break;
        }
        case shell::DocKind::Image:
        case shell::DocKind::Vector: {
            // A picture is decoded on a worker (a large photograph takes many frames); a drawing is
            // rendered here, where its fonts are.
            auto picture = std::make_shared<QImage>();
            if (resource == shell::kTemplateVector) {
                *picture = RenderDrawing(path, QSize(prefs.DefaultWmfCX, prefs.DefaultWmfCY));
            } else if (!RunFileRead(*prompts_, mainFrame_.get(), path, [picture, path] { *picture = ReadPicture(path); })) {
                return nullptr;
            }
            const QImage image = *picture;
            if (image.isNull()) {
                ShowError(text::kImageReadError);
                return nullptr;
            }
            auto* document = new CDibDocument(resource);
            document->image = image;
            document->SetPathName(path);
            mainFrame_->AddDocumentWindow(document, new CDibDocMDI(*document, info.frame));
            first = document;
            break;
        }
        case shell::DocKind::Animation: first = OpenAnimatedCursor(*this, path); break;
        case shell::DocKind::Program: first = OpenProgramFile(*this, path); break;
        case shell::DocKind::WebPage: {
            auto* document = new CBrowserDocument(resource);
            document->SetPathName(path);
            mainFrame_->AddDocumentWindow(document, new CBrowserDocMDI(*document));
            first = document;
            break;
        }
    }
    if (first != nullptr) AddToRecentFileList(path);
    return first;
}

// ---- New projects and formats ------------------------------------------------------------------

CIconProject* CKvApp::OnFileNew() {
    CDialNewIcon dialog(prefs, mainFrame_.get());
    if (prompts_->Exec(dialog) != QDialog::Accepted) return nullptr;
    return NewIconProject(dialog.Choice());
}

CIconProject* CKvApp::NewIconProject(const NewIconChoice& choice) {
    if (choice.formats.empty()) return nullptr;
    CIconDoc doc;
    doc.macintosh = choice.macintosh;
    for (const shell::NewFormat& format : choice.formats) {
        // A new format is fully transparent, an indexed one with its depth's standard palette.
        CKvIcon icon;
        if (!MakeBlankFormat(format.size, format.size, format.bits, icon)) {
            ShowError(text::kOutOfMemory, text::kOutOfMemoryTitle);
            return nullptr;
        }
        if (format.size >= 256 && (choice.compressLarge || choice.macintosh)) icon.SetCompressed(true);
        doc.AddFormat(std::move(icon));
    }
    return OpenNewProject(std::move(doc));
}

CIconProject* CKvApp::OpenNewProject(CIconDoc&& doc, const QString& title) {
    const int resource = doc.macintosh ? shell::kTemplateIcns : shell::kTemplateIco;
    auto project = std::make_unique<CIconProject>(resource);
    project->Doc() = std::move(doc);
    project->SetTitle(title.isEmpty() ? Native(shell::DocString(project->Template(), shell::kDocName)) +
                                            QString::number(++untitledCount_)
                                      : title);
    CIconProject* result = project.get();
    mainFrame_->AddDocumentWindow(project.release(), new CIconDocMDI(*result, canvas));
    return result;
}

int CKvApp::AddFormatTo(CIconProject& project, int from, QWidget* parent, const CDIB* picture) {
    const CIconObject* source = picture == nullptr ? project.Doc().GetFormat(from) : nullptr;
    // A picture offers its own size, within what a format can have.
    const int largest = project.Doc().macintosh ? 1024 : 256;
    const int width = picture != nullptr ? std::min(picture->Width(), largest) : source != nullptr ? source->Width() : 32;
    const int height = picture != nullptr ? std::min(picture->Height(), largest) : source != nullptr ? source->Height() : 32;
    CDialNewFormat dialog(project.Doc().macintosh, width, height, source != nullptr ? source->BitCount() : 32, parent);
    if (prompts_->Exec(dialog) != QDialog::Accepted) return -1;
    const int w = dialog.FormatWidth(), h = dialog.FormatHeight(), bits = dialog.FormatBits();
    for (int i = 0; i < project.Doc().GetFormatCount(); ++i) {
        const CIconObject* f = project.Doc().GetFormat(i);
        if (f->Width() == w && f->Height() == h && f->BitCount() == bits) {
            prompts_->ShowMessage(parent, QMessageBox::Information, text::kAppTitle,
                                  QString(text::kFormatExists).arg(w).arg(h).arg(QString::fromStdString(shell::BitsText(bits))));
            return -1;
        }
    }
    CKvIcon icon;
    bool made = false;
    if (picture != nullptr) {
        made = MakeFormatFromImage(*picture, w, h, bits, icon);
    } else if (source != nullptr) {
        // The new format is the current one's picture at the new size and depth.
        const ResizeFilterPreference filter{prefs.ApplyFilterToCreateIconFromImageValue != 10,
                                            prefs.ApplyFilterToCreateIconFromImageValue};
        made = MakeFormatFromFormat(source->Icon(), w, h, bits, filter, icon);
    } else {
        const Block empty = CreateDibBlock(w, h, 32);
        made = !empty.empty() && FormatFromPicture(empty, bits, icon);
    }
    if (!made) {
        ShowError(text::kOutOfMemory, text::kOutOfMemoryTitle);
        return -1;
    }
    if (w >= 256 && h >= 256 && (project.Doc().macintosh || prefs.AutoEnableVistaCompression != 0))
        icon.SetCompressed(true);
    project.AddFormat(std::move(icon));
    return project.Doc().GetFormatCount() - 1;
}

void CKvApp::EditFormatProperties(CIconProject& project, int index, QWidget* parent) {
    CIconObject* format = project.Doc().GetFormat(index);
    if (format == nullptr) return;
    CIconDoc& doc = project.Doc();
    std::vector<std::uint32_t> elements;
    std::uint32_t element = 0;
    if (doc.macintosh) {
        elements = MacElementsFor(format->Width(), format->Height(), format->BitCount());
        element = AssignMacElements(doc)[static_cast<std::size_t>(index)];
    }
    CDialFormatProperties dialog(format->Width(), format->Height(), format->BitCount(), format->Icon().IsCompressed(),
                                 parent, elements, element);
    if (prompts_->Exec(dialog) != QDialog::Accepted) return;
    const std::uint32_t chosen = dialog.Element();
    const bool newElement = chosen != 0 && chosen != element;
    if (dialog.Compressed() == format->Icon().IsCompressed() && !newElement) return;
    format->Icon().SetCompressed(dialog.Compressed());
    if (newElement) ChooseMacElement(doc, index, chosen);
    project.NotifyFormatsChanged(true);
}

void CKvApp::ApplyCanvasPreferences() {
    editor::CanvasSettings s;
    s.transparencyStyle = prefs.TransparencyStyle;
    s.transparentColor1 = shell::ProfileColour(prefs.TransparentColor1, 0xEBEBEB) & 0xFFFFFF;
    s.transparentColor2 = shell::ProfileColour(prefs.TransparentColor2, 0xFFFFFF) & 0xFFFFFF;
    s.gridStyle = prefs.GridStyle;
    s.gridColor = shell::ProfileColour(prefs.GridColor, 0xA0A0A0) & 0xFFFFFF;
    s.gridStrongerLine = prefs.GridStrongerLine != 0;
    s.gridStrongerPixelCount = prefs.GridStrongerPixelCount;
        canvas.resources = editor::CanvasResources::Build(s);
    canvas.showGrid = prefs.ShowGrid != 0;
    canvas.autoZoom = prefs.DefaultZoomAuto != 0;
    canvas.previewColor = shell::ProfileColour(prefs.PreviewColor, 0xE1E1E1) & 0xFFFFFF;
    canvas.transparentCopy = prefs.TransparentCopy != 0;
    if (mainFrame_)
        for (QWidget* w : mainFrame_->findChildren<QWidget*>()) w->update();
}

bool CKvApp::EditPreferences(QWidget* parent) {
    CPrefsPropertySheet sheet(prefs, Prompts(), parent);
    if (prompts_->Exec(sheet) != QDialog::Accepted) return false;
    prefs = sheet.Values();
    ApplyCanvasPreferences();
    shell::SavePreferences(*profile_, prefs);
    profile_->Sync();
    return true;
}

// ---- Saving ------------------------------------------------------------------------------------

bool CKvApp::SaveDocument(CKvDocument* document) {
    auto* project = qobject_cast<CIconProject*>(document);
    if (project == nullptr) return false;
    if (!project->CanSaveInPlace()) return SaveDocumentAs(document);
    return DoSave(*project, project->PathName());
}

bool CKvApp::SaveDocumentAs(CKvDocument* document) {
    auto* project = qobject_cast<CIconProject*>(document);
    if (project == nullptr) return false;
    const bool mac = project->Doc().macintosh;
    // The proposed name: the document's own, with the extension of what the project is.
    QString base = project->PathName().isEmpty() ? project->Title() : project->PathName();
    if (!project->PathName().isEmpty()) {
        const QFileInfo info(base);
        base = info.absolutePath() + '/' + info.completeBaseName();
    } else if (!prefs.ActualDir.empty()) {
        base = Native(prefs.ActualDir) + '/' + base;
    }
    const QString suggested = base + project->Doc().DefaultExtension();

    std::vector<shell::FileFilter> filters = shell::SaveFileFilters(mac);
    for (const shell::FileFilter& f : shell::SaveFileFilters(!mac)) filters.push_back(f);
    QString filterText, selected;
    for (const shell::FileFilter& f : filters) {
        const QString one = Native(f.QtFilter());
        filterText += (filterText.isEmpty() ? "" : ";;") + one;
        // The filter of what the project is now is offered first.
        if (selected.isEmpty() && Native(f.patterns.front()).endsWith(project->Doc().DefaultExtension())) selected = one;
    }
    QString path = prompts_->GetSaveFileName(mainFrame_.get(), suggested, filterText, &selected);
    if (path.isEmpty()) return false;
    const std::string ext = LowerExtension(path.toStdString());
    if (ext != ".ico" && ext != ".cur" && ext != ".icns" && ext != ".iconset") {
        // No extension of ours: the chosen filter's is added.
        const qsizetype star = selected.indexOf("*.");
        const QString added = star >= 0 ? selected.mid(star + 1).section(' ', 0, 0).remove(')') : QString(".ico");
        path += added;
    }
    return DoSave(*project, path);
}

bool CKvApp::DoSave(CIconProject& project, const QString& path) {
    // The document is not touched until the file is written: the kind, the order of the formats
    // and the chosen format stay as they are whatever the save does.
    const CIconDoc& doc = project.Doc();
    const IconContainer kind = SaveKindOf(path.toStdString());
    IconSavePlan plan;
    if (!PlanIconSave(doc, kind, prefs.WinExplorerCompatibleOrder != 0, IcnsWriteOptions{prefs.MacPngElements != 0},
                      /*findChanges=*/true, plan)) {
        const char* why = kind == IconContainer::Icns      ? text::kNoMacElement
                          : kind == IconContainer::Iconset ? text::kNoIconsetPicture
                                                           : text::kFormatNotWritten;
        ShowError(QString(text::kSaveFailed).arg(QDir::toNativeSeparators(path), why));
        return false;
    }
    const QFileInfo target(path);
    // What the file cannot hold is asked about before anything is written: formats left out, and
    // formats a family stores otherwise (colours of its fixed palettes, one mask for a size).
    if (!plan.leftOut.empty() || !plan.changed.empty()) {
        QStringList lines;
        for (const auto& [list, what] : {std::pair{&plan.leftOut, text::kLeftOut}, std::pair{&plan.changed, text::kSavedChanged}})
            for (const int i : *list)
                if (const CIconObject* f = doc.GetFormat(i))
                    lines << QString("%1 x %2, %3: %4")
                                 .arg(f->Width())
                                 .arg(f->Height())
                                 .arg(QString::fromStdString(shell::BitsText(f->BitCount())), what);
        if (!prompts_->AskSaveOrCancel(mainFrame_.get(), text::kAppTitle,
                                       QString(text::kFormatsLeftOutQuestion).arg(target.fileName(), lines.join('\n'))))
            return false;
    }

    if (target.exists() && target != QFileInfo(project.PathName())) {
        OverwriteFacts facts;
        facts.path = path;
        facts.existingSize = target.size();
        facts.existingDate = target.lastModified();
        IconFileContents existing;
        std::string error;
        if (LoadIconContainer(path.toStdString(), existing, error) && !existing.icons.empty())
            if (const CIconObject* best = existing.icons.front().doc.LargestFormat())
                facts.existingPicture = ImageFromIcon(best->Icon());
        facts.projectSize = static_cast<qint64>(plan.bytes.size());
        facts.projectDate = project.LastChange();
        if (const CIconObject* best = doc.LargestFormat()) facts.projectPicture = ImageFromIcon(best->Icon());
        facts.macintosh = kind == IconContainer::Icns || kind == IconContainer::Iconset;
        std::unique_ptr<CDialAskOverwriteIconProject> dialog =
            facts.macintosh ? std::make_unique<CDialAskOverwriteIconProjectMac>(facts, mainFrame_.get())
                            : std::make_unique<CDialAskOverwriteIconProject>(facts, mainFrame_.get());
        if (prompts_->Exec(*dialog) != QDialog::Accepted) return false;
    }

    std::string error;
    if (!WritePlannedSave(path.toStdString(), doc, plan, Durability::Flush, error)) {
        ShowError(QString(text::kSaveFailed).arg(QDir::toNativeSeparators(path), Native(error)));
        return false;
    }
    // A file that holds less than the document (formats left out, colours of a fixed palette, an
    // icon set's pictures all at 32 bits) leaves it modified, so that closing it still asks.
    const bool whole = plan.Whole(doc);
    // The file is written: from here on the document is that file's, under its kind.
    CIconDoc& saved = project.Doc();
    const bool wasMacintosh = saved.macintosh;
    saved.macintosh = kind == IconContainer::Icns || kind == IconContainer::Iconset;
    saved.cursor = kind == IconContainer::Cur;
    project.container = kind;
    project.SetPathName(target.absoluteFilePath());
    prefs.ActualDir = target.absolutePath().toStdString();
    project.SetModifiedFlag(!whole);
    // Sizes show as the new kind of file holds them ("32 x 32 @2x" only in a family).
    if (saved.macintosh != wasMacintosh) emit project.formatsChanged();
    if (whole && recovery_) recovery_->Forget(&project);
    AddToRecentFileList(target.absoluteFilePath());
    mainFrame_->updateActions();
    return true;
}

bool CKvApp::SaveModified(CKvDocument* document) {
    if (document == nullptr || !document->IsModified()) return true;
    switch (prompts_->AskSaveChanges(mainFrame_.get(), document->Title())) {
        case UserPrompts::SaveAnswer::Save: return SaveDocument(document);
        case UserPrompts::SaveAnswer::Discard: return true;
        case UserPrompts::SaveAnswer::Cancel: return false;
    }
    return false;
}

// ---- Recent files, What's New, timer -----------------------------------------------------------

void CKvApp::AddToRecentFileList(const QString& path) {
    const std::string native = QDir::toNativeSeparators(path).toStdString();
    recentFiles.Add(native);
    ownRecentFiles.Add(native);
    if (mainFrame_) mainFrame_->updateRecentMenus();
}

bool CKvApp::ShowInOwnRecentList(const std::string& path) const {
    const auto& shown = recentFiles.Entries();
    return std::find(shown.begin(), shown.end(), path) == shown.end();
}

QStringList CKvApp::FindWhatsNewPages() const {
    QStringList pages;
    const QDir folder(programFolder);
    if (folder.exists("kvwn.htm")) pages << folder.filePath("kvwn.htm");
    for (const QString& name : folder.entryList({"kvwn*.htm"}, QDir::Files, QDir::Name))
        if (name != "kvwn.htm") pages << folder.filePath(name);
    return pages;
}

void CKvApp::ShowWhatsNew() {
    if (whatsNewPages_.isEmpty()) return;
    auto* dialog = new CDialWhatsNew(whatsNewPages_, mainFrame_.get());
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->show();
}

void CKvApp::OnTimer() { ++timerTicks; }

void CKvApp::SaveRecoveryFiles() {
    if (!recovery_ || !mainFrame_) return;
    for (CKvMdiChild* child : mainFrame_->Children())
        if (auto* project = qobject_cast<CIconProject*>(child->Document()); project != nullptr && project->IsModified())
            recovery_->Save(*project);
}

void CKvApp::RestoreRecoveryFiles() {
    const std::vector<CRecovery::Entry> found = recovery_->Found();
    if (found.empty()) return;
    QStringList names;
    for (const CRecovery::Entry& e : found) names << (e.originalPath.isEmpty() ? e.title : QDir::toNativeSeparators(e.originalPath));
    if (prompts_->AskYesNo(mainFrame_.get(), text::kRestoreTitle, QString(text::kRestoreQuestion).arg(names.join('\n')))) {
        for (const CRecovery::Entry& e : found) {
            IconFileContents contents;
            std::string error;
            if (!LoadIconContainer(e.iconFile.toStdString(), contents, error) || contents.icons.empty()) continue;
            CIconDoc& doc = contents.icons.front().doc;
            auto* project = new CIconProject(doc.macintosh ? shell::kTemplateIcns : shell::kTemplateIco);
            project->Doc() = std::move(doc);
            if (!e.originalPath.isEmpty()) {
                project->SetPathName(e.originalPath);
                const std::string ext = LowerExtension(e.originalPath.toStdString());
                project->container = ext == ".icns" ? IconContainer::Icns : ext == ".cur" ? IconContainer::Cur
                                   : ext == ".ico"  ? IconContainer::Ico
                                                    : IconContainer::Unknown;
            } else {
                project->SetTitle(e.title);
            }
            project->SetModifiedFlag(true);
            mainFrame_->AddDocumentWindow(project, new CIconDocMDI(*project, canvas));
        }
    }
    recovery_->Discard(found);
}

editor::CDrawTool* CKvApp::Tool(editor::ToolKind kind) const {
    for (const auto& tool : tools)
        if (tool->Kind() == kind) return tool.get();
    return nullptr;
}

void CKvApp::SetCurrentTool(editor::ToolKind kind) { canvas.tool = Tool(kind); }

}  // namespace tellurine::app
