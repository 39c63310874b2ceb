// Feeds arbitrary bytes to the program icon writer as the program: it refuses them or writes a
// program whose resources read back with the new group, and which takes another icon in turn.
// Whatever groups the bytes list go into a 64-bit and a 16-bit library, which list them again.
#include <vector>

#include "formats/ico_file.h"
#include "formats/ne_resources.h"
#include "formats/pe_resources.h"
#include "formats/pe_writer.h"
#include "harness.h"

namespace {

// A two-image icon file, made once.
const std::vector<std::uint8_t>& Icon() {
    static const std::vector<std::uint8_t> bytes = [] {
        tellurine::CIconDoc doc;
        for (const int side : {16, 32}) {
            tellurine::CKvIcon image;
            tellurine::fuzz::Check(image.SetFormat(side, side, 16, false) == 1);
            doc.AddFormat(std::move(image));
        }
        std::vector<std::uint8_t> out;
        tellurine::fuzz::Check(tellurine::WriteIconFile(doc, false, out));
        return out;
    }();
    return bytes;
}

}  // namespace

void tellurine::fuzz::FuzzInput(std::span<const std::uint8_t> program) {
    if (const auto listed = DescribeExeIcons(program)) {
        std::vector<LibraryGroup> groups;
        for (const ExeIconGroupListing& g : *listed)
            if (auto file = GroupIconFile(g))
                groups.push_back({ResourceName{static_cast<std::uint16_t>(groups.size() + 1), {}}, std::move(*file)});
        if (!groups.empty())
            for (const auto& library : {WriteResourceLibrary(groups, true), WriteIconLibrary(groups, "F")}) {
                Check(library.has_value());
                const auto back = DescribeExeIcons(*library);
                Check(back.has_value() && back->size() == groups.size());
            }
    }
    std::vector<std::uint8_t> out;
    if (SetProgramIcon(program, Icon(), {}, out) != SetIconStatus::Ok) {
        Check(out.empty());
        return;
    }
    // Some icon group holds the two new images, and the program takes another icon in turn.
    const auto groups = ReadExeIcons(out);
    Check(groups.has_value() && !groups->empty());
    bool found = false;
    for (const ExeIconGroup& g : *groups) found = found || (!g.cursor && g.group.FormatCount() == 2);
    Check(found);
    std::vector<std::uint8_t> again;
    Check(SetProgramIcon(out, Icon(), {}, again) == SetIconStatus::Ok);
}
