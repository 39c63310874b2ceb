#include "app/shell/prefs_dialog.h"

#include <QCheckBox>
#include <QDir>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QPushButton>
#include <QSpinBox>
#include <QTabWidget>
#include <QVBoxLayout>

#include "app/common/image_convert.h"
#include "app/common/prompts.h"
#include "app/icon/dialogs.h"
#include "image/palette.h"
#include "shell/app_support.h"
#include "shell/preference_pages.h"
#include "shell/texts.h"

namespace tellurine::app {

CPrefsPropertySheet::CPrefsPropertySheet(const shell::Preferences& prefs, UserPrompts& prompts, QWidget* parent)
    : QDialog(parent), prefs_(prefs), prompts_(prompts) {
    setWindowTitle(text::kPreferencesTitle);
    setObjectName("CPrefsPropertySheet");
    pages = new QTabWidget(this);
    auto* canvas = new QWidget(pages);
    auto* form = new QFormLayout(canvas);

    transparencyStyle = new QComboBox(canvas);
    for (const char* name : text::kTransparencyStyles) transparencyStyle->addItem(name);
    transparencyStyle->setCurrentIndex(std::clamp(prefs.TransparencyStyle, 0, 5));
    colourScheme = new QComboBox(canvas);
    for (const shell::TransparencyScheme& scheme : shell::TransparencySchemes()) colourScheme->addItem(scheme.name);
    colourScheme->setCurrentIndex(std::clamp(prefs.TransparencyColorSheme, 0, colourScheme->count() - 1));
    transparentColor1 = ColourButton(shell::ProfileColour(prefs.TransparentColor1, 0xEBEBEB));
    transparentColor2 = ColourButton(shell::ProfileColour(prefs.TransparentColor2, 0xFFFFFF));
    gridStyle = new QComboBox(canvas);
    for (const char* name : text::kGridStyles) gridStyle->addItem(name);
    gridStyle->setCurrentIndex(std::clamp(prefs.GridStyle, 0, 2));
    gridColor = ColourButton(shell::ProfileColour(prefs.GridColor, 0xA0A0A0));
    strongerLines = new QCheckBox(text::kStrongerLines, canvas);
    strongerLines->setChecked(prefs.GridStrongerLine != 0);
    strongerSpacing = new QSpinBox(canvas);
    strongerSpacing->setRange(2, 256);
    strongerSpacing->setValue(std::clamp(prefs.GridStrongerPixelCount, 2, 256));
    previewColor = ColourButton(shell::ProfileColour(prefs.PreviewColor, 0xE1E1E1));
    showGrid = new QCheckBox(text::kShowGridNewViews, canvas);
    showGrid->setChecked(prefs.ShowGrid != 0);
    autoZoom = new QCheckBox(text::kAutoZoomNewViews, canvas);
    autoZoom->setChecked(prefs.DefaultZoomAuto != 0);

    form->addRow(text::kTransparencyStyle, transparencyStyle);
    form->addRow(text::kColourScheme, colourScheme);
    form->addRow(text::kTransparentColour1, transparentColor1);
    form->addRow(text::kTransparentColour2, transparentColor2);
    form->addRow(text::kGridStyle, gridStyle);
    form->addRow(text::kGridColour, gridColor);
    form->addRow(strongerLines, strongerSpacing);
    form->addRow(text::kPreviewColour, previewColor);
    form->addRow(showGrid);
    form->addRow(autoZoom);
    pages->addTab(canvas, text::kCanvasPage);

    AddValuePages();

    connect(colourScheme, &QComboBox::currentIndexChanged, this, &CPrefsPropertySheet::OnSchemeChanged);
    // Choosing a colour by hand makes the scheme the user's own.
    for (QPushButton* b : {transparentColor1, transparentColor2})
        connect(b, &QPushButton::clicked, this, [this] { colourScheme->setCurrentIndex(0); });
    connect(strongerLines, &QCheckBox::toggled, strongerSpacing, &QWidget::setEnabled);
    strongerSpacing->setEnabled(strongerLines->isChecked());

    auto* content = new QVBoxLayout;
    content->addWidget(pages);
    AddOkCancel(this, content);
}

void CPrefsPropertySheet::AddValuePages() {
    // Each widget is named after its value, and takes and gives it by that name.
    for (const char* page : shell::PreferencePages()) {
        auto* widget = new QWidget(pages);
        widget->setObjectName(page);
        auto* form = new QFormLayout(widget);
        for (const shell::PrefField& field : shell::PreferenceFields()) {
            if (QString(field.page) != page) continue;
            switch (field.control) {
                case shell::PrefControl::Check: {
                    auto* check = new QCheckBox(field.label, widget);
                    check->setChecked(*shell::IntPreference(prefs_, field.name) != 0);
                    form->addRow(check);
                    check->setObjectName(field.name);
                    break;
                }
                case shell::PrefControl::Number: {
                    auto* number = new QSpinBox(widget);
                    number->setRange(field.minimum, field.maximum);
                    number->setValue(std::clamp(*shell::IntPreference(prefs_, field.name), field.minimum, field.maximum));
                    number->setObjectName(field.name);
                    form->addRow(field.label, number);
                    break;
                }
                case shell::PrefControl::Folder: {
                    auto* row = new QHBoxLayout;
                    auto* edit = new QLineEdit(QString::fromStdString(*shell::StringPreference(prefs_, field.name)), widget);
                    edit->setObjectName(field.name);
                    auto* browse = new QPushButton(text::kBrowse, widget);
                    connect(browse, &QPushButton::clicked, this, [this, edit, label = QString(field.label)] {
                        const QString folder = prompts_.GetExistingDirectory(this, label, edit->text());
                        if (!folder.isEmpty()) edit->setText(QDir::toNativeSeparators(folder));
                    });
                    row->addWidget(edit);
                    row->addWidget(browse);
                    form->addRow(field.label, row);
                    break;
                }
            }
        }
        pages->addTab(widget, page);
    }
}

QPushButton* CPrefsPropertySheet::ColourButton(std::uint32_t colour) {
    auto* button = new QPushButton(this);
    button->setFixedSize(60, 22);
    SetButtonColour(button, colour);
    connect(button, &QPushButton::clicked, this, [this, button] {
        const QColor chosen = prompts_.GetColor(this, QColorOf(ButtonColour(button)), text::kChooseColour);
        if (chosen.isValid()) SetButtonColour(button, ColorRefOf(chosen));
    });
    return button;
}

std::uint32_t CPrefsPropertySheet::ButtonColour(const QPushButton* button) { return button->property("colour").toUInt(); }

void CPrefsPropertySheet::SetButtonColour(QPushButton* button, std::uint32_t colour) {
    button->setProperty("colour", colour);
    button->setStyleSheet(QString("background-color: %1;").arg(QColorOf(colour).name()));
}

void CPrefsPropertySheet::OnSchemeChanged(int index) {
    if (index <= 0) return;
    const shell::TransparencyScheme& scheme = shell::TransparencySchemes()[static_cast<std::size_t>(index)];
    SetButtonColour(transparentColor1, scheme.color1);
    SetButtonColour(transparentColor2, scheme.color2);
}

const shell::Preferences& CPrefsPropertySheet::Values() {
    prefs_.TransparencyStyle = transparencyStyle->currentIndex();
    prefs_.TransparencyColorSheme = colourScheme->currentIndex();
    prefs_.TransparentColor1 = shell::ProfileColourText(ButtonColour(transparentColor1));
    prefs_.TransparentColor2 = shell::ProfileColourText(ButtonColour(transparentColor2));
    prefs_.GridStyle = gridStyle->currentIndex();
    prefs_.GridColor = shell::ProfileColourText(ButtonColour(gridColor));
    prefs_.GridStrongerLine = strongerLines->isChecked() ? 1 : 0;
    prefs_.GridStrongerPixelCount = strongerSpacing->value();
    prefs_.PreviewColor = shell::ProfileColourText(ButtonColour(previewColor));
    prefs_.ShowGrid = showGrid->isChecked() ? 1 : 0;
    prefs_.DefaultZoomAuto = autoZoom->isChecked() ? 1 : 0;
    for (const shell::PrefField& field : shell::PreferenceFields()) {
        if (field.control == shell::PrefControl::Folder) {
            if (const auto* edit = findChild<QLineEdit*>(field.name))
                *shell::StringPreference(prefs_, field.name) = edit->text().trimmed().toStdString();
        } else if (const auto* check = findChild<QCheckBox*>(field.name)) {
            *shell::IntPreference(prefs_, field.name) = check->isChecked() ? 1 : 0;
        } else if (const auto* number = findChild<QSpinBox*>(field.name)) {
            *shell::IntPreference(prefs_, field.name) = number->value();
        }
    }
    return prefs_;
}

}  // namespace tellurine::app
