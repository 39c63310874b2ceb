#include "app/icon/icon_maker.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QFutureWatcher>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPointer>
#include <QProgressDialog>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QVBoxLayout>
#include <QtConcurrent/QtConcurrentRun>
#include <algorithm>
#include <atomic>
#include <memory>

#include "app/common/image_convert.h"
#include "app/common/prompts.h"
#include "formats/layered_picture.h"
#include "formats/svg_file.h"
#include "image/file_io.h"
#include "shell/texts.h"

namespace tellurine::app {

bool MakeProjectFromPicture(const QImage& raster, const QString& layeredPath, const NewIconChoice& choice,
                            const IconProjectRequest& base, CIconDoc& doc, std::string& error) {
    CDIB picture;
    shell::DrawingRenderer drawing;
    if (IsLayeredPicturePath(layeredPath.toStdString())) {
        std::vector<std::uint8_t> bytes;
        LayeredPicture layered;
        return ReadFileBytes(layeredPath.toStdString(), bytes, kMaxLayeredFileBytes, error) &&
               ReadLayeredPicture(bytes, layered, error) &&
               shell::MakeProjectFromLayers(layered, choice, base, doc, error);
    }
    if (layeredPath.isEmpty())
        picture.Attach(Dib32FromImage(raster));
    else {
        // Read once, rendered at each size from the vector.
        auto svg = std::make_shared<SvgDrawing>();
        if (!svg->LoadFile(layeredPath.toStdString(), error)) return false;
        drawing = [svg](int size) { return svg->Render(size, size); };
    }
    return shell::MakeProjectFromPicture(picture, drawing, choice, base, doc, error);
}

// ---- New icon from an image --------------------------------------------------------------------

CDialIconFromImage::CDialIconFromImage(shell::Preferences& prefs, QWidget* parent) : CDialNewIcon(prefs, parent) {
    setWindowTitle(text::kNewIconFromImageTitle);
    setObjectName("CDialIconFromImage");
    transparentCheck = new QCheckBox(text::kUseTransparentColor, this);
    transparentCheck->setChecked(prefs.UseTransparentColorToCreateIconFromImage != 0);
    filterSlider = new QSlider(Qt::Horizontal, this);
    filterSlider->setRange(0, 20);
    filterSlider->setTickPosition(QSlider::TicksBelow);
    filterSlider->setTickInterval(5);
    filterSlider->setValue(std::clamp(prefs.ApplyFilterToCreateIconFromImageValue, 0, 20));
    auto* filter = new QGridLayout;
    auto* label = new QLabel(text::kFilterAfterResize, this);
    label->setBuddy(filterSlider);
    filter->addWidget(label, 0, 0, 1, 3);
    filter->addWidget(filterSlider, 1, 0, 1, 3);
    filter->addWidget(new QLabel(text::kFilterSmooth, this), 2, 0, Qt::AlignLeft);
    filter->addWidget(new QLabel(text::kFilterNone, this), 2, 1, Qt::AlignHCenter);
    filter->addWidget(new QLabel(text::kFilterSharpen, this), 2, 2, Qt::AlignRight);
    auto* box = qobject_cast<QVBoxLayout*>(layout());
    box->insertWidget(1, transparentCheck);
    box->insertLayout(2, filter);

    presetBox = new QComboBox(this);
    presetBox->addItem(text::kPresetAsChosen);
    for (const IconPreset& preset : IconPresets()) presetBox->addItem(preset.name);
    auto* presetRow = new QHBoxLayout;
    auto* presetLabel = new QLabel(text::kPresetLabel, this);
    presetLabel->setBuddy(presetBox);
    presetRow->addWidget(presetLabel);
    presetRow->addWidget(presetBox, 1);
    box->insertLayout(0, presetRow);
    connect(presetBox, &QComboBox::activated, this, [this](int index) {
        if (index < 1 || static_cast<std::size_t>(index) > IconPresets().size()) return;
        const IconPreset& preset = IconPresets()[static_cast<std::size_t>(index - 1)];
        (preset.macintosh ? macButton : windowsButton)->setChecked(true);
        const auto list = preset.macintosh ? shell::MacNewFormats() : shell::WindowsNewFormats();
        const std::vector<int> chosen = shell::PresetFormatChoice(preset, list);
        for (int i = 0; i < formatList->count() && static_cast<std::size_t>(i) < chosen.size(); ++i)
            formatList->item(i)->setCheckState(chosen[static_cast<std::size_t>(i)] != 0 ? Qt::Checked : Qt::Unchecked);
        if (!preset.macintosh) compressCheck->setChecked(preset.compressLarge);
    });
}

void CDialIconFromImage::accept() {
    Prefs().UseTransparentColorToCreateIconFromImage = transparentCheck->isChecked() ? 1 : 0;
    Prefs().ApplyFilterToCreateIconFromImageValue = filterSlider->value();
    CDialNewIcon::accept();
}

// ---- Batch -------------------------------------------------------------------------------------

CDialBatch::CDialBatch(UserPrompts& prompts, const QString& folder, QWidget* parent)
    : QDialog(parent), prompts_(prompts) {
    setWindowTitle(text::kBatchTitle);
    setObjectName("CDialBatch");
    pictureList = new QListWidget(this);
    pictureList->setSelectionMode(QAbstractItemView::ExtendedSelection);
    auto* add = new QPushButton(text::kBatchAdd, this);
    auto* remove = new QPushButton(text::kBatchRemove, this);
    folderEdit = new QLineEdit(QDir::toNativeSeparators(folder), this);
    auto* browse = new QPushButton(text::kBatchBrowse, this);
    sizesEdit = new QLineEdit(shell::DefaultBatchLists(false).sizes, this);
    depthsEdit = new QLineEdit(shell::DefaultBatchLists(false).depths, this);
    compressCheck = new QCheckBox(text::kCompressVista256, this);
    compressCheck->setChecked(true);
    macCheck = new QCheckBox(text::kBatchMac, this);

    auto* grid = new QGridLayout;
    const auto labelled = [&](const char* text, QWidget* buddy, int row) {
        auto* label = new QLabel(text, this);
        label->setBuddy(buddy);
        grid->addWidget(label, row, 0, Qt::AlignTop);
    };
    labelled(text::kBatchPictures, pictureList, 0);
    grid->addWidget(pictureList, 0, 1, 3, 1);
    grid->addWidget(add, 0, 2);
    grid->addWidget(remove, 1, 2);
    labelled(text::kBatchFolder, folderEdit, 3);
    grid->addWidget(folderEdit, 3, 1);
    grid->addWidget(browse, 3, 2);
    labelled(text::kBatchSizes, sizesEdit, 4);
    grid->addWidget(sizesEdit, 4, 1);
    labelled(text::kBatchDepths, depthsEdit, 5);
    grid->addWidget(depthsEdit, 5, 1);
    grid->addWidget(compressCheck, 6, 1);
    grid->addWidget(macCheck, 7, 1);
    AddOkCancel(this, grid);
    connect(add, &QPushButton::clicked, this, &CDialBatch::OnAdd);
    connect(remove, &QPushButton::clicked, this, &CDialBatch::OnRemove);
    connect(browse, &QPushButton::clicked, this, &CDialBatch::OnBrowse);
    connect(macCheck, &QCheckBox::toggled, this, [this](bool mac) {
        compressCheck->setEnabled(!mac);
        sizesEdit->setText(shell::DefaultBatchLists(mac).sizes);
        depthsEdit->setText(shell::DefaultBatchLists(mac).depths);
    });
}

QStringList CDialBatch::Pictures() const {
    QStringList pictures;
    for (int i = 0; i < pictureList->count(); ++i) pictures << pictureList->item(i)->text();
    return pictures;
}

bool CDialBatch::Request(IconProjectRequest& request) const {
    return shell::ReadBatchRequest(sizesEdit->text().toStdString(), depthsEdit->text().toStdString(),
                                   macCheck->isChecked(), compressCheck->isChecked(), request);
}

void CDialBatch::OnAdd() {
    const QStringList names = prompts_.GetOpenFileNames(this, {}, text::kPictureFilter);
    for (const QString& name : names)
        if (pictureList->findItems(name, Qt::MatchExactly).isEmpty()) pictureList->addItem(name);
}

void CDialBatch::OnRemove() {
    qDeleteAll(pictureList->selectedItems());
}

void CDialBatch::OnBrowse() {
    const QString folder = prompts_.GetExistingDirectory(this, text::kBatchTitle, folderEdit->text());
    if (!folder.isEmpty()) folderEdit->setText(QDir::toNativeSeparators(folder));
}

void CDialBatch::accept() {
    IconProjectRequest request;
    if (Pictures().isEmpty() || folderEdit->text().trimmed().isEmpty()) {
        prompts_.ShowMessage(this, QMessageBox::Information, text::kBatchTitle, text::kBatchNothing);
        return;
    }
    if (!Request(request)) {
        prompts_.ShowMessage(this, QMessageBox::Information, text::kBatchTitle, text::kBatchBadList);
        return;
    }
    QDialog::accept();
}

int RunBatch(UserPrompts& prompts, QWidget* parent, const QStringList& pictures, const QString& folder,
             const IconProjectRequest& request, QStringList& failures, bool& cancelled) {
    std::vector<std::string> images;
    for (const QString& p : pictures) images.push_back(QDir::toNativeSeparators(p).toStdString());
    QProgressDialog dialog(text::kBatchProgress, text::kCancel, 0, static_cast<int>(images.size()), parent);
    dialog.setWindowModality(Qt::ApplicationModal);
    dialog.setMinimumDuration(0);
    // The batch runs on its own threads; each picture that ends moves the bar on.
    auto stop = std::make_shared<std::atomic<bool>>(false);
    QObject::connect(&dialog, &QProgressDialog::canceled, &dialog, [stop] { *stop = true; });
    QFutureWatcher<shell::BatchResult> watcher;
    QEventLoop loop;
    QObject::connect(&watcher, &QFutureWatcherBase::finished, &loop, &QEventLoop::quit);
    QPointer<QProgressDialog> bar(&dialog);
    watcher.setFuture(
        QtConcurrent::run([images, target = QDir::toNativeSeparators(folder).toStdString(), request, stop, bar] {
            return shell::MakeIconFiles(images, target, request, *stop, [bar] {
                QMetaObject::invokeMethod(
                    bar,
                    [bar] {
                        if (bar) bar->setValue(bar->value() + 1);
                    },
                    Qt::QueuedConnection);
            });
        }));
    prompts.ShowProgress(dialog);
    if (!watcher.isFinished()) loop.exec();
    const shell::BatchResult result = watcher.result();
    cancelled = *stop;
    failures.clear();
    for (const auto& [image, error] : result.failures)
        failures << QString(text::kCannotMakeIcon).arg(QString::fromStdString(image), QString::fromStdString(error));
    return result.made;
}

}  // namespace tellurine::app
