#include "app/icon/dialogs.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFile>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QLocale>
#include <QMessageBox>
#include <QPainter>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QTextBrowser>
#include <QVBoxLayout>

#include "app/common/image_convert.h"
#include "app/common/prompts.h"
#include "formats/icns_file.h"
#include "shell/texts.h"

namespace tellurine::app {

namespace {

// The choice array of a list; the new-icon dialog remembers its choices where the command that
// makes an icon from an image does, so that both start from what the user last chose.
int* Choices(shell::Preferences& prefs, bool macintosh) {
    return macintosh ? prefs.CreateFormatFromImageMac.data() : prefs.CreateFormatFromImage.data();
}

}  // namespace

QString ByteCountText(qint64 bytes) { return QLocale::system().toString(bytes) + " bytes"; }

// ---- New icon ----------------------------------------------------------------------------------

CDialNewIcon::CDialNewIcon(shell::Preferences& prefs, QWidget* parent) : QDialog(parent), prefs_(prefs) {
    setWindowTitle(text::kNewIconTitle);
    setObjectName("CDialNewIcon");
    windowsButton = new QRadioButton(text::kWindowsSystem, this);
    macButton = new QRadioButton(text::kMacSystem, this);
    windowsButton->setChecked(true);
    auto* systems = new QHBoxLayout;
    systems->addWidget(windowsButton);
    systems->addWidget(macButton);
    systems->addStretch();

    formatList = new QListWidget(this);
    formatList->setMinimumHeight(260);
    auto* listLabel = new QLabel(text::kFormatsToCreate, this);
    listLabel->setBuddy(formatList);
    compressCheck = new QCheckBox(text::kCompressVista256, this);
    compressCheck->setChecked(prefs_.CompressVista256x256NewIcon != 0);

    connect(windowsButton, &QRadioButton::toggled, this, &CDialNewIcon::OnSystemChanged);

    auto* content = new QVBoxLayout;
    content->addLayout(systems);
    content->addWidget(listLabel);
    content->addWidget(formatList);
    content->addWidget(compressCheck);
    AddOkCancel(this, content);
    FillList();
}

void CDialNewIcon::FillList() {
    listIsMac_ = macButton->isChecked();
    formatList->clear();
    const auto list = listIsMac_ ? shell::MacNewFormats() : shell::WindowsNewFormats();
    const int* chosen = Choices(prefs_, listIsMac_);
    for (std::size_t i = 0; i < list.size(); ++i) {
        auto* item = new QListWidgetItem(QString::fromStdString(shell::NewFormatText(list[i])), formatList);
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
        item->setCheckState(chosen[i] != 0 ? Qt::Checked : Qt::Unchecked);
    }
    // A Macintosh family stores its large elements compressed in any case.
    compressCheck->setEnabled(!listIsMac_);
}

void CDialNewIcon::RememberList() {
    int* chosen = Choices(prefs_, listIsMac_);
    for (int i = 0; i < formatList->count(); ++i) chosen[i] = formatList->item(i)->checkState() == Qt::Checked ? 1 : 0;
}

void CDialNewIcon::OnSystemChanged() {
    if (macButton->isChecked() == listIsMac_) return;
    RememberList();
    FillList();
}

NewIconChoice CDialNewIcon::Choice() const {
    NewIconChoice choice;
    choice.macintosh = macButton->isChecked();
    choice.compressLarge = !choice.macintosh && compressCheck->isChecked();
    const auto list = choice.macintosh ? shell::MacNewFormats() : shell::WindowsNewFormats();
    for (int i = 0; i < formatList->count() && static_cast<std::size_t>(i) < list.size(); ++i)
        if (formatList->item(i)->checkState() == Qt::Checked) choice.formats.push_back(list[static_cast<std::size_t>(i)]);
    return choice;
}

void CDialNewIcon::accept() {
    if (Choice().formats.empty()) {
        QMessageBox::information(this, text::kNewIconTitle, text::kNoFormatChosen);
        return;
    }
    RememberList();
    prefs_.CompressVista256x256NewIcon = compressCheck->isChecked() ? 1 : 0;
    QDialog::accept();
}

// ---- New format --------------------------------------------------------------------------------

CDialNewFormat::CDialNewFormat(bool macintosh, int width, int height, int bits, QWidget* parent) : QDialog(parent) {
    setWindowTitle(text::kNewFormatTitle);
    setObjectName("CDialNewFormat");
    const int largest = macintosh ? 1024 : 256;
    widthBox = new QSpinBox(this);
    heightBox = new QSpinBox(this);
    for (QSpinBox* box : {widthBox, heightBox}) box->setRange(1, largest);
    widthBox->setValue(width);
    heightBox->setValue(height);
    depthBox = new QComboBox(this);
    for (std::size_t i = 0; i < std::size(shell::kDepthBits); ++i)
        depthBox->addItem(text::kDepthNames[i], shell::kDepthBits[i]);
    depthBox->setCurrentIndex(shell::DepthIndex(bits));
    auto* form = new QFormLayout;
    form->addRow(text::kFormatWidth, widthBox);
    form->addRow(text::kFormatHeight, heightBox);
    form->addRow(text::kFormatDepth, depthBox);
    AddOkCancel(this, form);
}

int CDialNewFormat::FormatWidth() const { return widthBox->value(); }
int CDialNewFormat::FormatHeight() const { return heightBox->value(); }
int CDialNewFormat::FormatBits() const { return depthBox->currentData().toInt(); }

// ---- Format properties -------------------------------------------------------------------------

CDialFormatProperties::CDialFormatProperties(int width, int height, int bits, bool compressed, QWidget* parent,
                                             const std::vector<std::uint32_t>& elements, std::uint32_t element)
    : QDialog(parent) {
    setWindowTitle(text::kPropertiesTitle);
    setObjectName("CDialFormatProperties");
    sizeLabel = new QLabel(QString("%1 x %2").arg(width).arg(height), this);
    depthLabel = new QLabel(text::kDepthNames[shell::DepthIndex(bits)], this);
    compressedCheck = new QCheckBox(text::kPropertiesCompressed, this);
    compressedCheck->setChecked(compressed);
    auto* form = new QFormLayout;
    form->addRow(text::kPropertiesSize, sizeLabel);
    form->addRow(text::kPropertiesDepth, depthLabel);
    if (elements.size() > 1) {
        elementBox = new QComboBox(this);
        elementBox->setObjectName("elementBox");
        for (const std::uint32_t type : elements) {
            elementBox->addItem(QString::fromStdString(MacElementText(type)), QVariant::fromValue(type));
            if (type == element) elementBox->setCurrentIndex(elementBox->count() - 1);
        }
        form->addRow(text::kPropertiesMacElement, elementBox);
    }
    form->addRow(compressedCheck);
    AddOkCancel(this, form);
}

bool CDialFormatProperties::Compressed() const { return compressedCheck->isChecked(); }

std::uint32_t CDialFormatProperties::Element() const {
    return elementBox != nullptr ? elementBox->currentData().value<std::uint32_t>() : 0;
}

// ---- Overwrite prompts -------------------------------------------------------------------------

namespace {

QGroupBox* DescribeFile(const QString& heading, const QImage& picture, qint64 size, const QDateTime& date,
                        QWidget* parent) {
    auto* box = new QGroupBox(heading, parent);
    auto* layout = new QVBoxLayout(box);
    auto* pictureLabel = new QLabel(box);
    pictureLabel->setObjectName("picture");
    pictureLabel->setMinimumSize(64, 64);
    pictureLabel->setAlignment(Qt::AlignCenter);
    if (!picture.isNull()) pictureLabel->setPixmap(ThumbnailPixmap(picture, 64));
    layout->addWidget(pictureLabel);
    layout->addWidget(new QLabel(QString("%1 %2").arg(text::kSizeLine, ByteCountText(size)), box));
    layout->addWidget(new QLabel(
        QString("%1 %2").arg(text::kDateLine, QLocale::system().toString(date, QLocale::ShortFormat)), box));
    return box;
}

}  // namespace

CDialAskOverwriteIconProject::CDialAskOverwriteIconProject(const OverwriteFacts& facts, QWidget* parent)
    : CDialAskOverwriteIconProject(facts, text::kOverwriteQuestion, parent) {}

CDialAskOverwriteIconProject::CDialAskOverwriteIconProject(const OverwriteFacts& facts, const char* question,
                                                           QWidget* parent)
    : QDialog(parent) {
    setWindowTitle(text::kOverwriteTitle);
    setObjectName(metaObject()->className());
    auto* questionLabel = new QLabel(QString(question).arg(QFileInfo(facts.path).fileName()), this);
    questionLabel->setWordWrap(true);
    auto* sides = new QHBoxLayout;
    sides->addWidget(DescribeFile(text::kExistingFile, facts.existingPicture, facts.existingSize, facts.existingDate, this));
    sides->addWidget(DescribeFile(text::kThisProject, facts.projectPicture, facts.projectSize, facts.projectDate, this));
    auto* buttons = new QDialogButtonBox(this);
    QPushButton* replace = buttons->addButton(text::kReplace, QDialogButtonBox::AcceptRole);
    QPushButton* keep = buttons->addButton(text::kDontReplace, QDialogButtonBox::RejectRole);
    replace->setObjectName("replace");
    keep->setObjectName("dontReplace");
    keep->setDefault(true);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(questionLabel);
    layout->addLayout(sides);
    layout->addWidget(buttons);
}

QStringList CDialAskOverwriteIconProject::Texts() const {
    QStringList texts;
    for (const QLabel* label : findChildren<QLabel*>())
        if (!label->text().isEmpty()) texts << label->text();
    return texts;
}

CDialAskOverwriteIconProjectMac::CDialAskOverwriteIconProjectMac(const OverwriteFacts& facts, QWidget* parent)
    : CDialAskOverwriteIconProject(facts, text::kOverwriteMacQuestion, parent) {}

// ---- What's New --------------------------------------------------------------------------------

CDialWhatsNew::CDialWhatsNew(const QStringList& pages, QWidget* parent) : QDialog(parent) {
    setWindowTitle(text::kWhatsNewTitle);
    setObjectName("CDialWhatsNew");
    browser = new QTextBrowser(this);
    browser->setOpenExternalLinks(true);
    QString html;
    for (const QString& page : pages) {
        QFile file(page);
        if (file.open(QIODevice::ReadOnly)) html += QString::fromUtf8(file.readAll());
    }
    browser->setHtml(html);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(browser);
    layout->addWidget(buttons);
    resize(560, 420);
}

// ---- Splash ------------------------------------------------------------------------------------

namespace {

QPixmap SplashPicture(const QPixmap& icon) {
    QPixmap pixmap(440, 220);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    QLinearGradient gradient(0, 0, 0, pixmap.height());
    gradient.setColorAt(0, QColor(38, 52, 86));
    gradient.setColorAt(1, QColor(16, 22, 40));
    painter.fillRect(pixmap.rect(), gradient);
    if (!icon.isNull()) painter.drawPixmap(QRect(28, 46, 128, 128), icon);
    painter.setPen(Qt::white);
    QFont title = painter.font();
    title.setPointSize(28);
    title.setBold(true);
    painter.setFont(title);
    painter.drawText(QRect(176, 70, 250, 50), Qt::AlignLeft | Qt::AlignVCenter, text::kAppTitle);
    QFont small = painter.font();
    small.setPointSize(10);
    small.setBold(false);
    painter.setFont(small);
    painter.setPen(QColor(200, 210, 230));
    painter.drawText(QRect(178, 120, 250, 24), Qt::AlignLeft | Qt::AlignVCenter,
                     QString(text::kSplashVersion).arg(TELLURINE_VERSION));
    return pixmap;
}

}  // namespace

CSplashWnd::CSplashWnd(const QPixmap& icon) : QSplashScreen(SplashPicture(icon)) { setObjectName("CSplashWnd"); }

}  // namespace tellurine::app
