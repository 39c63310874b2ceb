#include "app/documents.h"

#include <QFileInfo>

namespace tellurine::app {

CKvDocument::CKvDocument(int templateResource, QObject* parent) : QObject(parent), template_(templateResource) {}

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

CIconProject::CIconProject(int templateResource, QObject* parent) : CKvDocument(templateResource, parent) {}

bool CIconProject::CanSaveInPlace() const {
    switch (container) {
        case IconContainer::Ico:
        case IconContainer::Cur:
        case IconContainer::Icns: return !PathName().isEmpty();
        default: return false;
    }
}

void CIconProject::AddFormat(CKvIcon&& icon) {
    doc_.AddFormat(std::move(icon));
    NotifyFormatsChanged(true);
}

bool CIconProject::DeleteFormat(int index) {
    if (!doc_.DeleteFormat(index)) return false;
    NotifyFormatsChanged(true);
    return true;
}

void CIconProject::NotifyFormatsChanged(bool modified) {
    if (modified) {
        lastChange_ = QDateTime::currentDateTime();
        SetModifiedFlag(true);
    }
    emit formatsChanged();
}

}  // namespace tellurine::app
