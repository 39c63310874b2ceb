#include "app/icon/icon_project.h"

#include "shell/doc_templates.h"

namespace tellurine::app {

CIconProject::CIconProject(CIconDoc&& doc, IconContainer from)
    : CKvDocument(from == IconContainer::Strip ? shell::kTemplateToolbarStrip
                  : doc.macintosh              ? shell::kTemplateIcns
                                               : shell::kTemplateIco),
      container(from),
      doc_(std::move(doc)) {
    session_.onEdited = [this](int index, const editor::CanvasRect&) {
        lastChange_ = QDateTime::currentDateTime();
        SetModifiedFlag(true);
        emit formatEdited(index);
    };
}

bool CIconProject::CanSaveInPlace() const {
    switch (container) {
        case IconContainer::Ico:
        case IconContainer::Cur:
        case IconContainer::Icns:
        case IconContainer::Iconset:
        case IconContainer::Strip: return !PathName().isEmpty();
        default: return false;
    }
}

void CIconProject::AddFormat(CKvIcon&& icon) {
    doc_.AddFormat(std::move(icon));
    NotifyFormatsChanged(true);
}

bool CIconProject::DeleteFormat(int index) {
    const CIconObject* format = doc_.GetFormat(index);
    if (format == nullptr) return false;
    // The deleted format's pixels stay alive until every view has been told and has let go of them:
    // the modified-flag signal reaches the windows first, and they may still read the old state.
    const auto pixels = session_.Forget(format);
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
