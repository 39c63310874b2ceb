#include "app/common/document.h"

#include <QFileInfo>

namespace tellurine::app {

CKvDocument::CKvDocument(int templateResource, QObject* parent) : QObject(parent), template_(templateResource) {}

bool CKvDocument::Save(AppContext&, bool) { return false; }

void CKvDocument::SetPathName(const QString& path) {
    path_ = path;
    SetTitle(QFileInfo(path).fileName());
}

void CKvDocument::SetTitle(const QString& title) {
    if (title == title_) return;
    title_ = title;
    emit titleChanged();
}

void CKvDocument::SetModifiedFlag(bool modified) {
    if (modified == modified_) return;
    modified_ = modified;
    emit modifiedChanged(modified);
}

}  // namespace tellurine::app
