#include "app/icon/icon_maker.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QProgressDialog>
#include <QPushButton>
#include <QSlider>
#include <QThread>
#include <QVBoxLayout>
#include <QtConcurrent/QtConcurrentMap>
#include <QFutureWatcher>
#include <algorithm>
#include <atomic>
#include <map>
#include <memory>
#include <mutex>

#include "app/common/image_convert.h"
#include "app/common/prompts.h"
#include "shell/texts.h"
#include "formats/icon_project.h"

namespace tellurine::app {
namespace {

CDIB DibOf(const QImage& image) {
    CDIB dib;
    dib.Attach(Dib32FromImage(image));
    return dib;
}

// Appends every format of `from` to `to`.
void TakeFormats(CIconDoc& from, CIconDoc& to) {
    for (int i = 0; i < from.GetFormatCount(); ++i) to.AddFormat(std::move(from.GetFormat(i)->Icon()));
}

// "16,32, 48" as numbers; false for anything else.
bool ReadNumbers(const QString& text, std::vector<int>& numbers) {
    numbers.clear();
    for (const QString& part : text.split(',', Qt::SkipEmptyParts)) {
        bool ok = false;
        const int n = part.trimmed().toInt(&ok);
        if (!ok) return false;
        numbers.push_back(n);
    }
    return !numbers.empty();
}

}  // namespace

std::vector<IconProjectRequest> RequestsForFormats(const NewIconChoice& choice) {
    std::map<int, std::vector<int>> depthsOfSize;
    for (const shell::NewFormat& f : choice.formats) depthsOfSize[f.size].push_back(f.bits);
    std::map<std::vector<int>, std::vector<int>> sizesOfDepths;
    for (auto& [size, depths] : depthsOfSize) {
        std::sort(depths.begin(), depths.end());
        sizesOfDepths[depths].push_back(size);
    }
    std::vector<IconProjectRequest> requests;
    for (const auto& [depths, sizes] : sizesOfDepths) {
        IconProjectRequest r;
        r.sizes = sizes;
        r.depths = depths;
        r.macintosh = choice.macintosh;
        r.compressLarge = choice.compressLarge || choice.macintosh;
        requests.push_back(std::move(r));
    }
    return requests;
}

bool MakeProjectFromPicture(const PictureSource& source, const NewIconChoice& choice, const IconProjectRequest& base,
                            CIconDoc& doc, std::string& error) {
    doc.RemoveAll();
    doc.macintosh = choice.macintosh;
    const CDIB raster = source.drawingPath.isEmpty() ? DibOf(source.raster) : CDIB{};
    for (IconProjectRequest request : RequestsForFormats(choice)) {
        request.threads = base.threads;
        request.filterLevel = base.filterLevel;
        request.transparentColor = base.transparentColor;
        std::vector<std::vector<int>> batches;
        if (source.drawingPath.isEmpty()) batches.push_back(request.sizes);
        else
            for (const int size : request.sizes) batches.push_back({size});
        for (const std::vector<int>& sizes : batches) {
            request.sizes = sizes;
            // A drawing is rendered at the size itself, so nothing is resampled.
            const CDIB drawn = source.drawingPath.isEmpty()
                                   ? CDIB{}
                                   : DibOf(RenderDrawing(source.drawingPath, QSize(sizes.front(), sizes.front())));
            const CDIB& picture = source.drawingPath.isEmpty() ? raster : drawn;
            CIconDoc made;
            if (!MakeIconProject(picture, request, made, error)) {
                doc.RemoveAll();
                return false;
            }
            TakeFormats(made, doc);
        }
    }
    doc.SortFormats(false);
    return doc.GetFormatCount() > 0;
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
}

void CDialIconFromImage::accept() {
    Prefs().UseTransparentColorToCreateIconFromImage = transparentCheck->isChecked() ? 1 : 0;
    Prefs().ApplyFilterToCreateIconFromImageValue = filterSlider->value();
    CDialNewIcon::accept();
}

// ---- Batch -------------------------------------------------------------------------------------

CDialBatch::CDialBatch(UserPrompts& prompts, const QString& folder, QWidget* parent) : QDialog(parent), prompts_(prompts) {
    setWindowTitle(text::kBatchTitle);
    setObjectName("CDialBatch");
    pictureList = new QListWidget(this);
    pictureList->setSelectionMode(QAbstractItemView::ExtendedSelection);
    auto* add = new QPushButton(text::kBatchAdd, this);
    auto* remove = new QPushButton(text::kBatchRemove, this);
    folderEdit = new QLineEdit(QDir::toNativeSeparators(folder), this);
    auto* browse = new QPushButton(text::kBatchBrowse, this);
    sizesEdit = new QLineEdit("16,24,32,48,64,128,256", this);
    depthsEdit = new QLineEdit("32,8,4", this);
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
        sizesEdit->setText(mac ? "16,32,48,128,256,512,1024" : "16,24,32,48,64,128,256");
        depthsEdit->setText(mac ? "32" : "32,8,4");
    });
}

QStringList CDialBatch::Pictures() const {
    QStringList pictures;
    for (int i = 0; i < pictureList->count(); ++i) pictures << pictureList->item(i)->text();
    return pictures;
}

bool CDialBatch::Request(IconProjectRequest& request) const {
    request = {};
    if (!ReadNumbers(sizesEdit->text(), request.sizes) || !ReadNumbers(depthsEdit->text(), request.depths)) return false;
    for (const int size : request.sizes)
        if (size < 1 || size > kMaxMadeFormatSize) return false;
    for (const int bits : request.depths)
        if (!IsMakeableDepth(bits)) return false;
    request.macintosh = macCheck->isChecked();
    request.compressLarge = request.macintosh || compressCheck->isChecked();
    return true;
}

void CDialBatch::OnAdd() {
    const QStringList names = prompts_.GetOpenFileNames(this, {}, text::kPictureFilter);
    for (const QString& name : names)
        if (pictureList->findItems(name, Qt::MatchExactly).isEmpty()) pictureList->addItem(name);
}

void CDialBatch::OnRemove() { qDeleteAll(pictureList->selectedItems()); }

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
    struct Job {
        std::string image;
        std::string output;
    };
    struct Batch {
        std::vector<Job> jobs;
        IconProjectRequest request;
        std::atomic<bool> stop{false};
        std::atomic<int> made{0};
        std::mutex mutex;
        QStringList failures;
    };
    auto batch = std::make_shared<Batch>();
    batch->request = request;
    batch->request.threads = 1;  // one picture per core
    const std::vector<std::string> outputs =
        IconFileNames(images, QDir::toNativeSeparators(folder).toStdString(), request.macintosh ? ".icns" : ".ico");
    for (std::size_t i = 0; i < images.size(); ++i) batch->jobs.push_back({images[i], outputs[i]});
    QDir().mkpath(folder);

    QProgressDialog dialog(text::kBatchProgress, text::kCancel, 0, static_cast<int>(images.size()), parent);
    dialog.setWindowModality(Qt::ApplicationModal);
    dialog.setMinimumDuration(0);
    QFutureWatcher<void> watcher;
    QObject::connect(&watcher, &QFutureWatcherBase::progressValueChanged, &dialog, &QProgressDialog::setValue);
    QEventLoop loop;
    QObject::connect(&watcher, &QFutureWatcherBase::finished, &loop, &QEventLoop::quit);
    // Cancel hands out no more pictures; those being made finish (each is written whole or not
    // at all) before the batch returns.
    QObject::connect(&dialog, &QProgressDialog::canceled, &loop, [&] { batch->stop = true; });
    std::vector<std::size_t> indices(batch->jobs.size());
    for (std::size_t i = 0; i < indices.size(); ++i) indices[i] = i;
    watcher.setFuture(QtConcurrent::map(indices, [batch](std::size_t i) {
        if (batch->stop) return;
        const Job& job = batch->jobs[i];
        CIconDoc doc;
        std::vector<int> leftOut;
        std::string error;
        if (MakeIconFile(job.image, batch->request, job.output, doc, leftOut, error) == MakeIconFileStep::Done) {
            ++batch->made;
        } else {
            const std::lock_guard lock(batch->mutex);
            batch->failures << QString(text::kCannotMakeIcon).arg(QString::fromStdString(job.image), QString::fromStdString(error));
        }
    }));
    prompts.ShowProgress(dialog);
    if (!watcher.isFinished()) loop.exec();
    watcher.waitForFinished();
    cancelled = batch->stop;
    const std::lock_guard lock(batch->mutex);
    failures = batch->failures;
    return batch->made;
}

}  // namespace tellurine::app
