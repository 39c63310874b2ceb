// The Edit menu's commands on an icon window: undo, the clipboard, the selection.
#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>

#include "app/common/image_convert.h"
#include "app/icon/clipboard.h"
#include "app/icon/icon_frame.h"
#include "app/icon/icon_project.h"
#include "app/icon/icon_view.h"
#include "icon/format_maker.h"
#include "image/raster.h"

namespace tellurine::app {

void CIconDocMDI::Undo() { project_.Undo(view->Format()); }
void CIconDocMDI::Redo() { project_.Redo(view->Format()); }

void CIconDocMDI::Copy() {
    if (view->State() == nullptr) return;
    const editor::FormatState& state = *view->State();
    DeviceBitmap color, alpha;
    editor::SelectedPicture(state, color, alpha);
    std::unique_ptr<QMimeData> copied = PictureMimeData(color, alpha);
    // A whole format also goes as itself, and with its palette, for pasting as a format; and the
    // whole icon with it, for pasting as a new icon.
    if (!state.floatingColor && !state.selectionActive)
        if (CIconObject* object = project_.Doc().GetFormat(view->Format())) {
            AddFormatData(*copied, object->Icon(), state.depth <= 8 ? state.palette : Palette{});
            bool built = false;
            CIconGroup whole = project_.Doc().BuildIconGroup(&built);
            if (built) AddIconData(*copied, whole);
        }
    QGuiApplication::clipboard()->setMimeData(copied.release());
}

void CIconDocMDI::Cut() {
    Copy();
    DeleteSelection();
}

void CIconDocMDI::PasteAsFormat() {
    const QMimeData* pasted = QGuiApplication::clipboard()->mimeData();
    if (pasted == nullptr) return;
    std::vector<CKvIcon> formats = FormatsFromMimeData(*pasted);
    if (formats.empty()) {
        // A picture from elsewhere becomes a 32-bit format of its size.
        DeviceBitmap color, alpha;
        CKvIcon icon;
        if (!PictureFromMimeData(*pasted, color, alpha) || !FormatFromPicture(DeviceBitmapsToDib32(color, alpha), 32, icon))
            return;
        formats.push_back(std::move(icon));
    }
    for (CKvIcon& icon : formats) project_.AddFormat(std::move(icon));
    formatBar->SetCurrentFormat(project_.Doc().GetFormatCount() - 1);
}

void CIconDocMDI::DeleteSelection() {
    const editor::FormatState* state = view->State();
    if (state == nullptr || (!state->selectionActive && !state->floatingColor)) return;
    view->EditFormat([](editor::FormatState& s) { editor::DeleteSelection(s); });
}

void CIconDocMDI::Paste() {
    const QMimeData* pasted = QGuiApplication::clipboard()->mimeData();
    DeviceBitmap color, alpha;
    if (view->State() == nullptr || pasted == nullptr || !PictureFromMimeData(*pasted, color, alpha)) return;
    // The picture floats at the selection's corner, or the format's; the selection tool moves it.
    view->EditFormat([&](editor::FormatState& s) {
        const editor::PixelSelection at = s.selectionActive ? s.selection.Normalized() : editor::PixelSelection{0, 0, 0, 0};
        editor::FloatPicture(s, color, alpha, std::max(0, at.left), std::max(0, at.top));
    });
}

void CIconDocMDI::SelectAll() {
    if (view->State() == nullptr) return;
    view->EditFormat([](editor::FormatState& s) {
        editor::ClearSelection(s, s.preserveTransparency);
        editor::SelectRectangle(s, 0, 0, s.Width() - 1, s.Height() - 1);
    });
}

void CIconDocMDI::SetPreserveTransparency(bool on) {
    if (view->State() == nullptr) return;
    project_.Session().SetPreserveTransparency(view->Format(), on);
    view->RefreshCanvas();
}

void CIconDocMDI::ToggleFloatingBehind() {
    // The floating selection goes to the other side of the image.
    if (view->State() != nullptr && view->State()->floatingColor)
        view->EditFormat([](editor::FormatState& s) { s.floatingBehind = !s.floatingBehind; });
}

void CIconDocMDI::DeleteFormat() {
    if (project_.Doc().GetFormatCount() > 1) project_.DeleteFormat(CurrentFormat());
}

}  // namespace tellurine::app
