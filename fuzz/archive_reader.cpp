// Feeds arbitrary bytes to the archive readers of the bitmap, the mask and the icon group, and to
// the clipboard's palette and 32-bit bitmap forms: the forms in which pictures arrive from the
// clipboard and the librarian.
#include "harness.h"
#include "icon/icon_group.h"
#include "image/archive.h"
#include "image/dib.h"
#include "image/mask.h"
#include "shell/clipboard_forms.h"

void tellurine::fuzz::FuzzInput(std::span<const std::uint8_t> bytes) {
    {
        Archive ar = Archive::ForLoading(bytes);
        CDIB dib;
        if (dib.Serialize(ar) && !dib.IsEmpty()) {
            dib.ConvertTo32(true, 0);
            Archive out = Archive::ForStoring();
            dib.Serialize(out);
        }
    }
    {
        Archive ar = Archive::ForLoading(bytes);
        CMask mask;
        if (mask.Serialize(ar)) {
            Archive out = Archive::ForStoring();
            mask.Serialize(out);
        }
    }
    {
        Archive ar = Archive::ForLoading(bytes);
        CIconGroup group;
        if (group.Serialize(ar)) {
            group.SortFormats(false);
            group.BuildDisplayOrder();
            Archive out = Archive::ForStoring();
            group.Serialize(out);
        }
    }
    Palette palette;
    if (shell::PaletteFromBytes(bytes, palette)) shell::PaletteBytes(palette);
    DeviceBitmap color, alpha;
    shell::PictureFromDibBytes(bytes, color, alpha);
}
