// Icons made from pictures: a new project from a picture open in a window, and a batch of picture
// files made into icon files in one folder, through the same core entry points as tellurine-cli
// create (MakeIconProject, MakeIconFile).
#pragma once

#include <QDialog>
#include <QImage>
#include <QString>
#include <QStringList>
#include <string>

#include "app/icon/dialogs.h"
#include "icon/icon_doc.h"
#include "shell/icon_making.h"

class QCheckBox;
class QComboBox;
class QLineEdit;
class QListWidget;
class QSlider;

namespace tellurine::app {

class UserPrompts;

// Makes the chosen formats from a picture (see shell::MakeProjectFromPicture): a raster, or the file
// at `layeredPath` read again: an SVG drawing rendered at each size, or a layered document
// (Photoshop, OpenRaster) whose size layers are formats as drawn (shell::MakeProjectFromLayers).
bool MakeProjectFromPicture(const QImage& raster, const QString& layeredPath, const NewIconChoice& choice,
                            const IconProjectRequest& base, CIconDoc& doc, std::string& error);

// The new-icon dialog for a picture: the formats to make (the new-icon dialog's, remembered in
// CreateFormatFromImage%02d and CreateFormatFromImageMac%02d), whether the top-left pixel's colour becomes transparent, and the filter after the
// resize (ApplyFilterToCreateIconFromImageValue, 0 smooths, 10 leaves, 20 sharpens).
class CDialIconFromImage : public CDialNewIcon {
    Q_OBJECT
public:
    CDialIconFromImage(shell::Preferences& prefs, QWidget* parent = nullptr);
    QCheckBox* transparentCheck = nullptr;
    QSlider* filterSlider = nullptr;
    // The formats of a preset (IconPresets), chosen in the list below at once; the first entry
    // leaves the list as it is.
    QComboBox* presetBox = nullptr;

public slots:
    void accept() override;
};

// Picture files, the folder their icons go to, and what the icons hold, as tellurine-cli create
// takes them.
class CDialBatch : public QDialog {
    Q_OBJECT
public:
    CDialBatch(UserPrompts& prompts, const QString& folder, QWidget* parent = nullptr);
    QListWidget* pictureList = nullptr;
    QLineEdit* folderEdit = nullptr;
    QLineEdit* sizesEdit = nullptr;
    QLineEdit* depthsEdit = nullptr;
    QCheckBox* compressCheck = nullptr;
    QCheckBox* macCheck = nullptr;

    [[nodiscard]] QStringList Pictures() const;
    // The request the choices stand for (see shell::ReadBatchRequest).
    bool Request(IconProjectRequest& request) const;

public slots:
    void accept() override;

private slots:
    void OnAdd();
    void OnRemove();
    void OnBrowse();

private:
    UserPrompts& prompts_;
};

// Makes an icon file of every picture into `folder` (shell::MakeIconFiles), with a progress dialog
// whose Cancel stops the batch (icons already written stay; none is left half written). Returns
// the number of icons made; `failures` receives one line per picture that failed.
int RunBatch(UserPrompts& prompts, QWidget* parent, const QStringList& pictures, const QString& folder,
             const IconProjectRequest& request, QStringList& failures, bool& cancelled);

}  // namespace tellurine::app
