#include "app/icon/palette_dialog.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>
#include <algorithm>

#include "app/common/prompts.h"
#include "formats/palette_file.h"
#include "image/file_io.h"
#include "shell/texts.h"

namespace tellurine::app {
namespace {

constexpr int kColumns = 16;
constexpr int kSwatch = 22;

}  // namespace

CDialPalette::CDialPalette(const Palette& palette, int depth, UserPrompts& prompts, QWidget* parent)
    : QDialog(parent), palette_(palette), prompts_(prompts) {
    setWindowTitle(text::kPaletteTitle);
    setObjectName("CDialPalette");
    palette_.entries.resize(std::size_t{1} << std::clamp(depth, 1, 8));
    grid = new QTableWidget(this);
    grid->setEditTriggers(QAbstractItemView::NoEditTriggers);
    grid->setSelectionMode(QAbstractItemView::SingleSelection);
    grid->horizontalHeader()->hide();
    grid->verticalHeader()->hide();
    grid->horizontalHeader()->setDefaultSectionSize(kSwatch);
    grid->verticalHeader()->setDefaultSectionSize(kSwatch);
    grid->setShowGrid(true);
    // Every swatch is shown: the grid takes the size of its entries.
    grid->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    grid->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    connect(grid, &QTableWidget::cellDoubleClicked, this,
            [this](int row, int column) { editEntry(row * kColumns + column); });
    auto* note = new QLabel(text::kPaletteNote, this);
    note->setWordWrap(true);
    ditherCheck = new QCheckBox(text::kPaletteDither, this);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(buttons->addButton(text::kPaletteLoad, QDialogButtonBox::ActionRole), &QPushButton::clicked, this,
            &CDialPalette::load);
    connect(buttons->addButton(text::kPaletteSave, QDialogButtonBox::ActionRole), &QPushButton::clicked, this,
            &CDialPalette::save);
    connect(buttons->addButton(text::kPaletteSort, QDialogButtonBox::ActionRole), &QPushButton::clicked, this,
            &CDialPalette::sortByBrightness);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(grid, 0, Qt::AlignHCenter);
    layout->addWidget(note);
    layout->addWidget(ditherCheck);
    layout->addWidget(buttons);
    ShowEntries();
}

bool CDialPalette::Dither() const {
    return ditherCheck->isChecked();
}

void CDialPalette::ShowEntries() {
    const int count = static_cast<int>(palette_.size());
    grid->setColumnCount(std::min(count, kColumns));
    grid->setRowCount((count + kColumns - 1) / kColumns);
    for (int i = 0; i < count; ++i) {
        const PaletteEntry& e = palette_.entries[static_cast<std::size_t>(i)];
        auto* item = new QTableWidgetItem;
        item->setBackground(QColor(e.red, e.green, e.blue));
        item->setToolTip(QString("%1: %2, %3, %4").arg(i).arg(e.red).arg(e.green).arg(e.blue));
        grid->setItem(i / kColumns, i % kColumns, item);
    }
    grid->setFixedSize(grid->columnCount() * kSwatch + 2 * grid->frameWidth(),
                       grid->rowCount() * kSwatch + 2 * grid->frameWidth());
}

void CDialPalette::editEntry(int index) {
    if (index < 0 || static_cast<std::size_t>(index) >= palette_.size()) return;
    PaletteEntry& e = palette_.entries[static_cast<std::size_t>(index)];
    const QColor chosen = prompts_.GetColor(this, QColor(e.red, e.green, e.blue), text::kPaletteTitle);
    if (!chosen.isValid()) return;
    e.red = static_cast<std::uint8_t>(chosen.red());
    e.green = static_cast<std::uint8_t>(chosen.green());
    e.blue = static_cast<std::uint8_t>(chosen.blue());
    ShowEntries();
}

void CDialPalette::load() {
    const QStringList names = prompts_.GetOpenFileNames(this, {}, text::kPaletteFilter);
    if (names.isEmpty()) return;
    std::vector<std::uint8_t> bytes;
    std::string error;
    PaletteFile file;
    if (!ReadFileBytes(names.front().toStdString(), bytes, kMaxPaletteFileBytes, error) ||
        !ReadPaletteFile(bytes, file, error)) {
        prompts_.ShowMessage(this, QMessageBox::Warning, text::kAppTitle,
                             QString(text::kPaletteReadError).arg(names.front()), QString::fromStdString(error));
        return;
    }
    // Its first colours, as many as the format has entries; black past the end of a short one.
    for (std::size_t i = 0; i < palette_.size(); ++i) {
        const NamedColor c = i < file.colors.size() ? file.colors[i] : NamedColor{};
        palette_.entries[i] = {c.red, c.green, c.blue, 0};
    }
    remap_ = true;
    ShowEntries();
}

void CDialPalette::save() {
    const QString name = prompts_.GetSaveFileName(this, {}, text::kPaletteFilter, nullptr);
    if (name.isEmpty()) return;
    PaletteFile file;
    for (const PaletteEntry& e : palette_.entries) file.colors.push_back({e.red, e.green, e.blue, 255, {}, {}});
    const PaletteFormat format = PaletteFormatFromPath(name.toStdString()).value_or(PaletteFormat::Gimp);
    std::vector<std::uint8_t> bytes;
    std::string error;
    if (!WritePaletteFile(file, format, bytes, error) ||
        !WriteFileAtomically(name.toStdString(), bytes, error, Durability::Flush))
        prompts_.ShowMessage(this, QMessageBox::Warning, text::kAppTitle, QString(text::kPaletteWriteError).arg(name),
                             QString::fromStdString(error));
}

void CDialPalette::sortByBrightness() {
    std::stable_sort(palette_.entries.begin(), palette_.entries.end(), [](const PaletteEntry& a, const PaletteEntry& b) {
        return 299 * a.red + 587 * a.green + 114 * a.blue < 299 * b.red + 587 * b.green + 114 * b.blue;
    });
    remap_ = true;
    ShowEntries();
}

}  // namespace tellurine::app
