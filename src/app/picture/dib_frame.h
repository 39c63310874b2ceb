// The windows of ordinary images, vector images and web pages.
#pragma once

#include <QScrollArea>
#include <QTextBrowser>

#include <QImage>

#include "app/common/document.h"

namespace tellurine::app {

class AppContext;

// An ordinary or vector image shown as it is.
class CDibDocument : public CKvDocument {
    Q_OBJECT
public:
    using CKvDocument::CKvDocument;
    QImage image;
};

// A web page shown in the program's own browser.
class CBrowserDocument : public CKvDocument {
    Q_OBJECT
public:
    using CKvDocument::CKvDocument;
};

// An image at its own size over the transparency checkerboard, scrolled when larger than the
// window.
class CDibView : public QWidget {
    Q_OBJECT
public:
    CDibView(CDibDocument& document, QWidget* parent = nullptr);
    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    CDibDocument& document_;
};

// The frame of an ordinary image (CDibDocMDI) or a vector image (CVectorDocMDI): the same view,
// told apart by the frame's object name.
class CDibDocMDI : public QScrollArea {
    Q_OBJECT
public:
    CDibDocMDI(CDibDocument& document, const char* frameClass, QWidget* parent = nullptr);
    CDibView* view = nullptr;
};

// The openers of pictures and drawings, and of web pages.
CKvDocument* OpenPictureFile(AppContext& app, const QString& path, int templateResource);
CKvDocument* OpenWebPage(AppContext& app, const QString& path, int templateResource);

class CBrowserDocMDI : public QTextBrowser {
    Q_OBJECT
public:
    CBrowserDocMDI(CBrowserDocument& document, QWidget* parent = nullptr);
};

}  // namespace tellurine::app
