// Feeds arbitrary bytes to the reader of program resources: both listings and the icon groups,
// checked against each other, and the catalog of the same bytes against the full read.
#include "formats/pe_resources.h"
#include "catalog_check.h"
#include "harness.h"
#include "image/archive.h"

void tellurine::fuzz::FuzzInput(std::span<const std::uint8_t> bytes) {
    CheckCatalog("in.exe", bytes);
    const auto icons = ListResources(bytes, 3);
    const auto groups = ListResources(bytes, 14);
    const auto read = ReadExeIcons(bytes);
    Check(read.has_value() == (icons.has_value() && groups.has_value()));

    for (const auto* list : {&icons, &groups}) {
        if (!*list) continue;
        Check((*list)->size() <= kMaxResourceRecords);
        for (const ResourceRecord& r : **list) {
            // Every record's data is a part of the input.
            Check(r.data.empty() ||
                  (r.data.data() >= bytes.data() && r.data.size() <= bytes.size() &&
                   r.data.data() - bytes.data() <= static_cast<std::ptrdiff_t>(bytes.size() - r.data.size())));
        }
    }
    if (!read) return;
    if (groups->empty()) Check(read->empty());

    // The icon groups follow the group records in order, each with at least one image; cursor
    // groups come after them.
    std::size_t next = 0, images = 0;
    bool cursors = false;
    for (const ExeIconGroup& g : *read) {
        Check(g.cursor || !cursors);
        cursors = cursors || g.cursor;
        images += static_cast<std::size_t>(g.group.FormatCount());
        if (g.cursor) continue;
        while (next < groups->size() &&
               ((*groups)[next].name.id != g.name.id || (*groups)[next].name.text != g.name.text ||
                (*groups)[next].language != g.language))
            ++next;
        Check(next < groups->size());
        ++next;
        Check(g.group.FormatCount() > 0);
        for (int i = 0; i < g.group.FormatCount(); ++i) {
            const CKvIcon* icon = g.group.FormatAt(i);
            Check(icon != nullptr && !icon->IsEmpty());
            Archive out = Archive::ForStoring();
            Check(icon->WriteImage(out) == 1);
        }
    }
    Check(images <= kMaxExeImageReads);
    Check(cursors || read->empty() || !icons->empty());
}
