#include "app/shell/kv_app.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QLocale>
#include <QPainter>
#include <QScreen>
#include <QSplashScreen>
#include <QStandardPaths>
#include <memory>

#include "app/common/image_convert.h"
#include "app/common/long_work.h"
#include "app/icon/icon_files.h"
#include "app/icon/icon_frame.h"
#include "app/icon/icon_project.h"
#include "app/icon/recovery.h"
#include "app/shell/main_frame.h"
#include "app/shell/prefs_dialog.h"
#include "app/shell/qsettings_profile.h"
#include "formats/icon_project.h"
#include "image/file_io.h"
#include "shell/texts.h"

// The program's resources live in a static library: they are registered by hand.
static void InitResources() { Q_INIT_RESOURCE(tellurine); }

namespace tellurine::app {

namespace {

QString Native(const std::string& s) { return QString::fromStdString(s); }

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
    prompts_->KeepColoursIn(&prefs, profile_.get());
    ApplyCanvasPreferences();
    TakeColours(prefs);
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
    Step(QString("templates: %1").arg(shell::DocTemplates().size()));

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
    timer.start();
    Step("timer: 50 ms");

    // 16. The drawing tools, in their fixed order.
    const QScreen* screen = QGuiApplication::primaryScreen();
    MakeTools(prefs, screen != nullptr ? screen->depth() : 32);
    mainFrame_->updateActions();  // the menus and the palette show the current tool
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
    if (opened == 0 && prefs.NewIcoDocAtStartup != 0)
        QTimer::singleShot(0, this, [this] { NewIconFromDialog(*mainFrame_); });
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
    GiveColours(prefs);
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

void CKvApp::ShowError(const QString& message, const QString& title, const QString& detail) {
    prompts_->ShowMessage(mainFrame_.get(), QMessageBox::Critical, title.isEmpty() ? text::kAppTitle : title, message,
                          detail);
}

// ---- Preferences -------------------------------------------------------------------------------

void CKvApp::ApplyCanvasPreferences() {
    ApplyPreferences(prefs);
    if (mainFrame_)
        for (QWidget* w : mainFrame_->findChildren<QWidget*>()) w->update();
}

bool CKvApp::EditPreferences(QWidget* parent) {
    // The colour bar's numbers are live: the dialog shows them as they are now, and gives them back.
    GiveColourNumbers(prefs);
    CPrefsPropertySheet sheet(prefs, Prompts(), parent);
    if (prompts_->Exec(sheet) != QDialog::Accepted) return false;
    prefs = sheet.Values();
    TakeColourNumbers(prefs);
    ApplyCanvasPreferences();
    if (mainFrame_) mainFrame_->updateActions();
    shell::SavePreferences(*profile_, prefs);
    profile_->Sync();
    return true;
}

// ---- Recent files, What's New, timer -----------------------------------------------------------

void CKvApp::AddToRecentFileList(const QString& path) {
    const std::string native = QDir::toNativeSeparators(path).toStdString();
    recentFiles.Add(native);
    ownRecentFiles.Add(native);
    if (mainFrame_) mainFrame_->updateRecentMenus();
}

void CKvApp::ForgetRecentFile(const QString& path) {
    const std::string native = QDir::toNativeSeparators(path).toStdString();
    recentFiles.Remove(native);
    ownRecentFiles.Remove(native);
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
            auto* project = new CIconProject(std::move(contents.icons.front().doc));
            if (!e.originalPath.isEmpty()) {
                project->SetPathName(e.originalPath);
                project->container = shell::RecoveredSaveKind(e.originalPath.toStdString());
            } else {
                project->SetTitle(e.title);
            }
            project->SetModifiedFlag(true);
            mainFrame_->AddDocumentWindow(project, new CIconDocMDI(*project, canvas));
        }
    }
    recovery_->Discard(found);
}

}  // namespace tellurine::app
