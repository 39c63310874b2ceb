// CKvApp: the application object. It brings the program up in a fixed order of steps, owns what
// lives for the whole run (folders, profile, preferences, recent-file lists, palette, clipboard
// formats, the main window) and opens, makes and saves documents.
#pragma once

#include <QObject>
#include <QStringList>
#include <QTimer>
#include <QTranslator>
#include <memory>

#include "app/common/prompts.h"
#include "app/icon/dialogs.h"
#include "icon/icon_doc.h"
#include "image/dib.h"
#include "image/palette.h"
#include "shell/app_support.h"
#include "shell/preferences.h"
#include "shell/recent_files.h"
#include "shell/workbench.h"

namespace tellurine::app {

class CKvDocument;
class CIconProject;
class CMainFrame;
class QSettingsProfile;
class CRecovery;

// What a run is started with besides its command line; tests point these at their own folders.
struct StartOptions {
    QString profileFile;    // an .ini file to keep the profile in; empty: the user's own profile
    QString programFolder;  // empty: the folder of the running program
    QString appDataFolder;  // the roaming application-data folder; empty: the platform's
};

class CKvApp : public QObject, public shell::Workbench {
    Q_OBJECT
public:
    explicit CKvApp(StartOptions options = {});
    ~CKvApp() override;

    // Start-up (see the steps in the .cpp). `arguments` excludes the program. False when start-up
    // failed and the program must end without a window.
    bool InitInstance(const QStringList& arguments);
    // Writes the preferences and recent-file lists back to the profile.
    void ExitInstance();

    // What start-up did, one line per step in the order run.
    [[nodiscard]] const QStringList& StartupLog() const { return startupLog_; }

    QString programFolder;
    QString userDataFolder;
    shell::Preferences prefs;
    shell::StartSwitches switches;
    shell::RecentFileList recentFiles{shell::kRecentFileSection, shell::kRecentFileCount};
    shell::RecentFileList ownRecentFiles{shell::kOwnRecentFileSection, shell::kOwnRecentFileCount};
    Palette palette;
    QStringList clipboardFormats;  // the private formats' MIME types, in registration order
    QTimer timer;  // the 50 ms timer start-up runs; the windows that need a beat listen to it

    [[nodiscard]] CMainFrame* MainFrame() const { return mainFrame_.get(); }
    [[nodiscard]] shell::Profile& Profile();
    [[nodiscard]] UserPrompts& Prompts() { return *prompts_; }
    void SetPrompts(std::unique_ptr<UserPrompts> prompts) { prompts_ = std::move(prompts); }

    // Opens a file through the template its extension and content choose; an icon file of
    // several icons opens one window per icon. Returns the (first) document, or null after
    // telling the user why not.
    CKvDocument* OpenDocumentFile(const QString& path);
    // Save and Save As. False when the document was not saved (cancelled or failed).
    bool SaveDocument(CKvDocument* document);
    bool SaveDocumentAs(CKvDocument* document);
    // Asks whether to save a modified document; false when the user cancels (or saving fails).
    bool SaveModified(CKvDocument* document);
    // Builds the canvas's shared patterns and new-view defaults from the preferences and repaints
    // every open window.
    void ApplyCanvasPreferences();
    // The preferences dialog: on OK the values are taken, applied to every window and saved.
    bool EditPreferences(QWidget* parent);

    // Writes every modified icon project's recovery file now (the timer does it every two minutes).
    void SaveRecoveryFiles();
    [[nodiscard]] CRecovery* Recovery() const { return recovery_.get(); }
    QTimer recoveryTimer;

    void AddToRecentFileList(const QString& path);
    // Takes a file that could not be opened off both recent lists.
    void ForgetRecentFile(const QString& path);
    // The number of the last untitled project ("Icon3").
    int untitledCount = 0;
    // Whether the program's own list shows a path: those that the framework's list does not.
    [[nodiscard]] bool ShowInOwnRecentList(const std::string& path) const;
    // The What's New pages found in the program folder at start-up ("kvwn.htm" first).
    [[nodiscard]] const QStringList& WhatsNewPages() const { return whatsNewPages_; }
    void ShowWhatsNew();

    // A critical message box over the main window, titled `title` or the program's name, with
    // `detail` (the file and the reason) under the text.
    void ShowError(const QString& text, const QString& title = {}, const QString& detail = {});

private:
    void Step(const QString& line) { startupLog_ << line; }
    [[nodiscard]] QStringList FindWhatsNewPages() const;
    // Offers what an earlier run that crashed left, and opens what the user keeps.
    void RestoreRecoveryFiles();
    static QIcon ApplicationIcon();

    StartOptions options_;
    std::unique_ptr<QSettingsProfile> profile_;
    std::unique_ptr<UserPrompts> prompts_;
    std::unique_ptr<CMainFrame> mainFrame_;
    std::unique_ptr<QTranslator> translator_;
    std::unique_ptr<CRecovery> recovery_;
    QStringList startupLog_;
    QStringList whatsNewPages_;
};

}  // namespace tellurine::app
