#include "app/picture/dib_frame.h"

#include <QPaintEvent>
#include <QPainter>
#include <QUrl>

#include "app/common/app_context.h"
#include "app/common/file_reading.h"
#include "app/common/image_convert.h"
#include "shell/texts.h"

namespace tellurine::app {

CDibView::CDibView(CDibDocument& document, QWidget* parent) : QWidget(parent), document_(document) {
    setObjectName("CDibView");
    setFixedSize(sizeHint());
}

QSize CDibView::sizeHint() const { return document_.image.size().expandedTo(QSize(1, 1)); }

void CDibView::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    PaintCheckerboard(painter, event->rect());
    painter.drawImage(event->rect(), document_.image, event->rect());
}

CDibDocMDI::CDibDocMDI(CDibDocument& document, const char* frameClass, QWidget* parent) : QScrollArea(parent) {
    setObjectName(frameClass);
    view = new CDibView(document, this);
    setWidget(view);
    setAlignment(Qt::AlignCenter);
    setBackgroundRole(QPalette::Mid);
}

CKvDocument* OpenPictureFile(AppContext& app, const QString& path, int templateResource) {
    // A picture is decoded on a worker (a large photograph takes many frames); a drawing is
    // rendered here, where its fonts are.
    auto picture = std::make_shared<QImage>();
    if (templateResource == shell::kTemplateVector) {
        *picture = RenderDrawing(path, QSize(app.Prefs().DefaultWmfCX, app.Prefs().DefaultWmfCY));
        if (picture->isNull()) {
            ReportUnreadable(app, path, ReadResult::NotReadable, text::kImageReadError);
            return nullptr;
        }
    } else if (!ReadOnWorker(app, path, text::kImageReadError, [picture, path](std::string&) {
                   *picture = ReadPicture(path);
                   return picture->isNull() ? ReadResult::NotReadable : ReadResult::Read;
               })) {
        return nullptr;
    }
    auto* document = new CDibDocument(templateResource);
    document->image = *picture;
    document->SetPathName(path);
    app.AddDocumentWindow(document, new CDibDocMDI(*document, document->Template().frame));
    return document;
}

CKvDocument* OpenWebPage(AppContext& app, const QString& path, int templateResource) {
    auto* document = new CBrowserDocument(templateResource);
    document->SetPathName(path);
    app.AddDocumentWindow(document, new CBrowserDocMDI(*document));
    return document;
}

CBrowserDocMDI::CBrowserDocMDI(CBrowserDocument& document, QWidget* parent) : QTextBrowser(parent) {
    setObjectName("CBrowserDocMDI");
    setOpenExternalLinks(true);
    setSource(QUrl::fromLocalFile(document.PathName()));
}

}  // namespace tellurine::app
