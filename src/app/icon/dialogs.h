// The program's dialogs: new icon, new format, the overwrite prompts, What's New, the splash.
#pragma once

#include <QDateTime>
#include <QDialog>
#include <QImage>
#include <QSplashScreen>
#include <cstdint>
#include <vector>

#include "shell/icon_making.h"
#include "shell/new_formats.h"
#include "shell/preferences.h"

class QButtonGroup;
class QCheckBox;
class QComboBox;
class QLabel;
class QLayout;
class QListWidget;
class QRadioButton;
class QSpinBox;
class QTextBrowser;

namespace tellurine::app {

using shell::NewIconChoice;

// Windows or Macintosh, the formats to make, and whether 256-pixel formats are compressed. The
// choices start from the preferences and are remembered there when the dialog is accepted.
class CDialNewIcon : public QDialog {
    Q_OBJECT
public:
    CDialNewIcon(shell::Preferences& prefs, QWidget* parent = nullptr);
    [[nodiscard]] NewIconChoice Choice() const;

    QRadioButton* windowsButton = nullptr;
    QRadioButton* macButton = nullptr;
    QListWidget* formatList = nullptr;
    QCheckBox* compressCheck = nullptr;

public slots:
    void accept() override;

protected:
    [[nodiscard]] shell::Preferences& Prefs() { return prefs_; }

private slots:
    void OnSystemChanged();

private:
    void FillList();
    void RememberList();
    shell::Preferences& prefs_;
    bool listIsMac_ = false;
};

// A new format's size and depth.
class CDialNewFormat : public QDialog {
    Q_OBJECT
public:
    CDialNewFormat(bool macintosh, int width, int height, int bits, QWidget* parent = nullptr);
    [[nodiscard]] int FormatWidth() const;
    [[nodiscard]] int FormatHeight() const;
    [[nodiscard]] int FormatBits() const;

    QSpinBox* widthBox = nullptr;
    QSpinBox* heightBox = nullptr;
    QComboBox* depthBox = nullptr;
};

// A format's size and depth, and its compressed flag, which may be changed.
class CDialFormatProperties : public QDialog {
    Q_OBJECT
public:
    // `elements`: the Macintosh elements the format can be written as (a choice is shown when
    // there are two or more), `element` the one it is written as now.
    CDialFormatProperties(int width, int height, int bits, bool compressed, QWidget* parent = nullptr,
                          const std::vector<std::uint32_t>& elements = {}, std::uint32_t element = 0);
    [[nodiscard]] bool Compressed() const;
    // The element chosen; 0 when no choice was shown.
    [[nodiscard]] std::uint32_t Element() const;
    QLabel* sizeLabel = nullptr;
    QLabel* depthLabel = nullptr;
    QCheckBox* compressedCheck = nullptr;
    QComboBox* elementBox = nullptr;
};

// What the overwrite prompt shows of the file on disk and of the project about to replace it.
struct OverwriteFacts {
    QString path;
    qint64 existingSize = 0;
    QDateTime existingDate;
    QImage existingPicture;  // the file's best format, when it can be read
    qint64 projectSize = 0;  // the bytes the save writes
    QDateTime projectDate;   // the project's last change
    QImage projectPicture;
    bool macintosh = false;
};

// Asks before a project replaces an existing file, showing both side by side, each described by
// lines headed "Size:" and "Date Modified:".
class CDialAskOverwriteIconProject : public QDialog {
    Q_OBJECT
public:
    explicit CDialAskOverwriteIconProject(const OverwriteFacts& facts, QWidget* parent = nullptr);
    // Every text the dialog shows, top to bottom, for checking.
    [[nodiscard]] QStringList Texts() const;

protected:
    CDialAskOverwriteIconProject(const OverwriteFacts& facts, const char* question, QWidget* parent);
};

// The same for a Macintosh icon family.
class CDialAskOverwriteIconProjectMac : public CDialAskOverwriteIconProject {
    Q_OBJECT
public:
    explicit CDialAskOverwriteIconProjectMac(const OverwriteFacts& facts, QWidget* parent = nullptr);
};

// Shows the What's New page (and any further "kvwn*.htm" pages) from the program folder.
class CDialWhatsNew : public QDialog {
    Q_OBJECT
public:
    CDialWhatsNew(const QStringList& pages, QWidget* parent = nullptr);
    QTextBrowser* browser = nullptr;
};

// The start-up splash, drawn by the program itself.
class CSplashWnd : public QSplashScreen {
    Q_OBJECT
public:
    explicit CSplashWnd(const QPixmap& icon);
};

// "12,345 bytes" in the user's locale.
QString ByteCountText(qint64 bytes);

}  // namespace tellurine::app
