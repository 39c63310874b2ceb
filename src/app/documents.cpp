#include "app/documents.h"

#include <QFileInfo>

#include "app/icon_view.h"
#include "editor/drawing.h"

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
    const CIconObject* format = doc_.GetFormat(index);
    if (format == nullptr) return false;
    // The deleted format's pixels stay alive until every view has been told and has let go of them:
    // the modified-flag signal reaches the windows first, and they may still read the old state.
    auto pixels = edits_.extract(format);
    if (!doc_.DeleteFormat(index)) {
        if (!pixels.empty()) edits_.insert(std::move(pixels));
        return false;
    }
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

editor::FormatState* CIconProject::EditState(int index) {
    CIconObject* format = doc_.GetFormat(index);
    if (format == nullptr) return nullptr;
    auto it = edits_.find(format);
    if (it == edits_.end()) {
        FormatEdit edit;
        editor::FormatState& s = edit.state;
        if (!format->Icon().ToBitmaps(s.color, s.mask, nullptr)) return nullptr;
        s.palette = format->Icon().BuildDisplayPalette();
        s.depth = format->BitCount();
        s.colorCount = format->ColorCount();
        s.alpha = format->HasAlpha();
        s.paletteFormat = format->IsPaletteFormat();
        s.preserveTransparency = SharedCanvas().transparentCopy;
        it = edits_.emplace(format, std::move(edit)).first;
    }
    return &it->second.state;
}

const CIconProject::FormatEdit* CIconProject::FindEdit(int index) const {
    const CIconObject* format = doc_.GetFormat(index);
    const auto it = format != nullptr ? edits_.find(format) : edits_.end();
    return it != edits_.end() ? &it->second : nullptr;
}

void CIconProject::RecordUndo(int index) {
    if (EditState(index) == nullptr) return;
    FormatEdit& edit = edits_.at(doc_.GetFormat(index));
    edit.history.Record(edit.state);
}

void CIconProject::CommitEdit(int index) {
    CIconObject* format = doc_.GetFormat(index);
    const FormatEdit* edit = FindEdit(index);
    if (format == nullptr || edit == nullptr) return;
    const editor::FormatState& s = edit->state;
    CKvIcon& icon = format->Icon();
    const bool compressed = icon.IsCompressed();
    const std::int32_t point[2] = {icon.PointX(), icon.PointY()};
    // A restored state may have another depth: the image takes it first.
    if (icon.BitsPerPixel() != s.depth || static_cast<int>(icon.Width()) != s.Width() ||
        static_cast<int>(icon.Height()) != s.Height()) {
        icon.SetFormat(s.Width(), s.Height(), s.colorCount, s.alpha);
    }
    // The image holds what the canvas shows: a floating selection laid over the format.
    const Palette* palette = s.depth <= 8 && !s.palette.empty() ? &s.palette : nullptr;
    if (s.floatingColor && s.floatingMask) {
        DeviceBitmap color = s.color, mask = s.mask;
        editor::LayFloating(color, mask, s.alpha, *s.floatingColor, *s.floatingMask, s.floatingX, s.floatingY,
                            s.preserveTransparency, s.floatingBehind);
        icon.FromBitmaps(color, mask, palette);
    } else {
        icon.FromBitmaps(s.color, s.mask, palette);
    }
    icon.SetCompressed(compressed);
    icon.SetPoint(point[0], point[1]);
    format->SyncWithIcon();
    lastChange_ = QDateTime::currentDateTime();
    SetModifiedFlag(true);
    emit formatEdited(index);
}

bool CIconProject::CanUndo(int index) const {
    const FormatEdit* edit = FindEdit(index);
    return edit != nullptr && edit->history.CanUndo();
}

bool CIconProject::CanRedo(int index) const {
    const FormatEdit* edit = FindEdit(index);
    return edit != nullptr && edit->history.CanRedo();
}

bool CIconProject::Undo(int index) { return Step(index, &editor::UndoHistory::Undo); }
bool CIconProject::Redo(int index) { return Step(index, &editor::UndoHistory::Redo); }

bool CIconProject::Step(int index, bool (editor::UndoHistory::*step)(editor::FormatState&)) {
    const CIconObject* format = doc_.GetFormat(index);
    const auto it = format != nullptr ? edits_.find(format) : edits_.end();
    if (it == edits_.end() || !(it->second.history.*step)(it->second.state)) return false;
    CommitEdit(index);
    return true;
}

}  // namespace tellurine::app
