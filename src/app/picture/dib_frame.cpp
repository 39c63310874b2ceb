#include "app/picture/dib_frame.h"

#include <QPaintEvent>
#include <QPainter>
#include <QUrl>

#include "app/common/image_convert.h"

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

CBrowserDocMDI::CBrowserDocMDI(CBrowserDocument& document, QWidget* parent) : QTextBrowser(parent) {
    setObjectName("CBrowserDocMDI");
    setOpenExternalLinks(true);
    setSource(QUrl::fromLocalFile(document.PathName()));
}

}  // namespace tellurine::app
