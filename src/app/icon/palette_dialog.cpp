#include "app/icon/palette_dialog.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QHeaderView>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

#include "app/common/prompts.h"
#include "formats/palette_file.h"
#include "image/file_io.h"
#include "shell/texts.h"

namespace tellurine::app {
namespace {

constexpr int kColumns = 16;
constexpr int kSwatch = 22;

}  // namespace

CDialPalette::CDialPalette(const Palette& palette, int depth, UserPrompts& prompts, std::function<Palette(int)> optimal,
                           QWidget* parent)
    : QDialog(parent), draft_(palette, depth), prompts_(prompts), optimal_(std::move(optimal)) {
    setWindowTitle(text::kPaletteTitle);
    setObjectName("CDialPalette");
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
    grid->viewport()->installEventFilter(this);
    auto* note = new QLabel(text::kPaletteNote, this);
    note->setWordWrap(true);
    reduceCount = new QSpinBox(this);
    reduceCount->setRange(2, static_cast<int>(draft_.palette.size()));
    reduceCount->setValue(static_cast<int>(draft_.palette.size()));
    auto* reduceButton = new QPushButton(text::kPaletteReduce, this);
    connect(reduceButton, &QPushButton::clicked, this, &CDialPalette::reduce);
    auto* reduceRow = new QHBoxLayout;
    reduceRow->addWidget(reduceButton);
    reduceRow->addWidget(reduceCount);
    reduceRow->addWidget(new QLabel(text::kPaletteReduceColors, this));
    reduceRow->addStretch();
    ditherCheck = new QCheckBox(text::kPaletteDither, this);
    allFormatsCheck = new QCheckBox(text::kPaletteAllFormats, this);
    auto* buttons = OkCancelButtons(this);
    connect(buttons->addButton(text::kPaletteLoad, QDialogButtonBox::ActionRole), &QPushButton::clicked, this,
            &CDialPalette::load);
    connect(buttons->addButton(text::kPaletteSave, QDialogButtonBox::ActionRole), &QPushButton::clicked, this,
            &CDialPalette::save);
    connect(buttons->addButton(text::kPaletteSort, QDialogButtonBox::ActionRole), &QPushButton::clicked, this,
            &CDialPalette::sortByBrightness);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(grid, 0, Qt::AlignHCenter);
    layout->addWidget(note);
    layout->addLayout(reduceRow);
    layout->addWidget(ditherCheck);
    layout->addWidget(allFormatsCheck);
    layout->addWidget(buttons);
    ShowEntries();
}

bool CDialPalette::Dither() const {
    return ditherCheck->isChecked();
}

bool CDialPalette::AllFormats() const {
    return allFormatsCheck->isChecked();
}

void CDialPalette::ShowEntries() {
    const int count = static_cast<int>(draft_.palette.size());
    grid->setColumnCount(std::min(count, kColumns));
    grid->setRowCount((count + kColumns - 1) / kColumns);
    for (int i = 0; i < count; ++i) {
        const PaletteEntry& e = draft_.palette.entries[static_cast<std::size_t>(i)];
        auto* item = new QTableWidgetItem;
        item->setBackground(QColor(e.red, e.green, e.blue));
        item->setToolTip(QString("%1: %2, %3, %4").arg(i).arg(e.red).arg(e.green).arg(e.blue));
        grid->setItem(i / kColumns, i % kColumns, item);
    }
    grid->setFixedSize(grid->columnCount() * kSwatch + 2 * grid->frameWidth(),
                       grid->rowCount() * kSwatch + 2 * grid->frameWidth());
}

void CDialPalette::editEntry(int index) {
    if (index < 0 || static_cast<std::size_t>(index) >= draft_.palette.size()) return;
    PaletteEntry& e = draft_.palette.entries[static_cast<std::size_t>(index)];
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
    std::vector<PaletteEntry> colours;
    for (const NamedColor& c : file.colors) colours.push_back({c.red, c.green, c.blue, 0});
    draft_.Take(colours);
    ShowEntries();
}

void CDialPalette::save() {
    const QString name = prompts_.GetSaveFileName(this, {}, text::kPaletteFilter, nullptr);
    if (name.isEmpty()) return;
    PaletteFile file;
    for (const PaletteEntry& e : draft_.palette.entries) file.colors.push_back({e.red, e.green, e.blue, 255, {}, {}});
    const PaletteFormat format = PaletteFormatFromPath(name.toStdString()).value_or(PaletteFormat::Gimp);
    std::vector<std::uint8_t> bytes;
    std::string error;
    if (!WritePaletteFile(file, format, bytes, error) ||
        !WriteFileAtomically(name.toStdString(), bytes, error, Durability::Flush))
        prompts_.ShowMessage(this, QMessageBox::Warning, text::kAppTitle, QString(text::kPaletteWriteError).arg(name),
                             QString::fromStdString(error));
}

void CDialPalette::sortByBrightness() {
    draft_.SortByBrightness();
    ShowEntries();
}

void CDialPalette::moveEntry(int from, int to) {
    if (!draft_.Move(from, to)) return;
    ShowEntries();
    grid->setCurrentCell(to / kColumns, to % kColumns);
}

void CDialPalette::reduce() {
    if (!optimal_) return;
    draft_.Take(optimal_(reduceCount->value()).entries);
    ShowEntries();
}

int CDialPalette::EntryAt(QPoint at) const {
    const int row = grid->rowAt(at.y()), column = grid->columnAt(at.x());
    const int index = row * kColumns + column;
    return row < 0 || column < 0 || index >= static_cast<int>(draft_.palette.size()) ? -1 : index;
}

bool CDialPalette::eventFilter(QObject* watched, QEvent* event) {
    if (watched == grid->viewport() && event->type() == QEvent::MouseButtonPress)
        pressed_ = EntryAt(static_cast<QMouseEvent*>(event)->position().toPoint());
    if (watched == grid->viewport() && event->type() == QEvent::MouseButtonRelease && pressed_ >= 0) {
        const int to = EntryAt(static_cast<QMouseEvent*>(event)->position().toPoint());
        const int from = std::exchange(pressed_, -1);
        if (to >= 0 && to != from) moveEntry(from, to);
    }
    return QDialog::eventFilter(watched, event);
}

}  // namespace tellurine::app
