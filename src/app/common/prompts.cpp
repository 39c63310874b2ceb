#include "app/common/prompts.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QInputDialog>
#include <QFileDialog>
#include <QProgressDialog>
#include <QVBoxLayout>

#include "app/common/color_dialog.h"
#include "shell/texts.h"

namespace tellurine::app {

void UserPrompts::ShowMessage(QWidget* parent, QMessageBox::Icon icon, const QString& title, const QString& text,
                              const QString& detail) {
    QMessageBox box(icon, title, text, QMessageBox::Ok, parent);
    box.setInformativeText(detail);
    box.exec();
}

UserPrompts::SaveAnswer UserPrompts::AskSaveChanges(QWidget* parent, const QString& documentTitle) {
    const auto answer = QMessageBox::question(parent, text::kAppTitle, QString(text::kSaveChanges).arg(documentTitle),
                                              QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel,
                                              QMessageBox::Save);
    return answer == QMessageBox::Save ? SaveAnswer::Save : answer == QMessageBox::Discard ? SaveAnswer::Discard
                                                                                           : SaveAnswer::Cancel;
}

int UserPrompts::Exec(QDialog& dialog) { return dialog.exec(); }

bool UserPrompts::AskYesNo(QWidget* parent, const QString& title, const QString& text) {
    return QMessageBox::question(parent, title, text, QMessageBox::Yes | QMessageBox::No, QMessageBox::Yes) ==
           QMessageBox::Yes;
}

bool UserPrompts::AskSaveOrCancel(QWidget* parent, const QString& title, const QString& text) {
    return QMessageBox::warning(parent, title, text, QMessageBox::Save | QMessageBox::Cancel, QMessageBox::Cancel) ==
           QMessageBox::Save;
}

QStringList UserPrompts::GetOpenFileNames(QWidget* parent, const QString& folder, const QString& filters) {
    return QFileDialog::getOpenFileNames(parent, text::kOpenTitle, folder, filters);
}

QString UserPrompts::GetSaveFileName(QWidget* parent, const QString& suggested, const QString& filters,
                                     QString* selectedFilter) {
    // The program asks its own question before replacing a file, showing both.
    return QFileDialog::getSaveFileName(parent, text::kSaveAsTitle, suggested, filters, selectedFilter,
                                        QFileDialog::DontConfirmOverwrite);
}

QString UserPrompts::GetExistingDirectory(QWidget* parent, const QString& title, const QString& folder) {
    return QFileDialog::getExistingDirectory(parent, title, folder);
}

QString UserPrompts::GetItem(QWidget* parent, const QString& title, const QString& label, const QStringList& items,
                             bool& chosen, bool editable) {
    return QInputDialog::getItem(parent, title, label, items, 0, editable, &chosen);
}

QColor UserPrompts::GetColor(QWidget* parent, const QColor& initial, const QString& title, bool withAlpha) {
    CColorDialog dialog(initial, title, withAlpha, colourPrefs_, colourProfile_, parent);
    return Exec(dialog) == QDialog::Accepted ? dialog.Color() : QColor();
}

void UserPrompts::ShowProgress(QProgressDialog& dialog) { dialog.show(); }

QDialogButtonBox* OkCancelButtons(QDialog* dialog) {
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, dialog);
    QObject::connect(buttons, &QDialogButtonBox::accepted, dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
    return buttons;
}

void AddOkCancel(QDialog* dialog, QLayout* content) {
    auto* layout = new QVBoxLayout(dialog);
    layout->addLayout(content);
    layout->addWidget(OkCancelButtons(dialog));
}

}  // namespace tellurine::app
