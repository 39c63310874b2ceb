// File > Export Icon Set...: every platform's icon files, made in one step from the active icon
// project (its hand-tuned sizes kept), picture or drawing, through the same core as
// tellurine-cli iconset.
#pragma once

#include <QDialog>
#include <QString>
#include <vector>

#include "formats/icon_set.h"

class QCheckBox;
class QLineEdit;

namespace tellurine::app {

class AppContext;
class UserPrompts;

// The platforms, the application's name, the background of opaque icons and the folder.
class CDialIconSet : public QDialog {
    Q_OBJECT
public:
    CDialIconSet(UserPrompts& prompts, const QString& folder, const QString& name, QWidget* parent = nullptr);
    std::vector<QCheckBox*> platformChecks;  // in kIconSetPlatforms' order, all checked at first
    QLineEdit* nameEdit = nullptr;
    QLineEdit* backgroundEdit = nullptr;
    QLineEdit* folderEdit = nullptr;

    // What the dialog says, once accepted.
    [[nodiscard]] IconSetRequest Request() const;
    [[nodiscard]] QString Folder() const;

public slots:
    void accept() override;

private:
    UserPrompts& prompts_;
};

void RegisterIconSetCommand(AppContext& app);

}  // namespace tellurine::app
