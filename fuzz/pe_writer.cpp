// Feeds arbitrary bytes to the program icon writer as the program: it refuses them or writes a
// program whose resources read back with the new group, and which takes another icon in turn.
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "formats/ico_file.h"
#include "formats/pe_resources.h"
#include "formats/pe_writer.h"
#include "input_caps.h"

namespace {

void Check(bool condition) {
    if (!condition) __builtin_trap();
}

// A two-image icon file, made once.
const std::vector<std::uint8_t>& Icon() {
    static const std::vector<std::uint8_t> bytes = [] {
        tellurine::CIconDoc doc;
        for (const int side : {16, 32}) {
            tellurine::CKvIcon image;
            Check(image.SetFormat(side, side, 16, false) == 1);
            doc.AddFormat(std::move(image));
        }
        std::vector<std::uint8_t> out;
        Check(tellurine::WriteIconFile(doc, false, out));
        return out;
    }();
    return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tellurine;
    const std::span<const std::uint8_t> program(data, size);
    if (fuzz::DeclaresLargePicture(program)) return 0;
    std::vector<std::uint8_t> out;
    const SetIconStatus status = SetProgramIcon(program, Icon(), {}, out);
    if (status != SetIconStatus::Ok) {
        Check(out.empty());
        return 0;
    }
    // The first icon group holds the two new images.
    const auto groups = ReadExeIcons(out);
    Check(groups.has_value() && !groups->empty());
    bool found = false;
    for (const ExeIconGroup& g : *groups) found = found || (!g.cursor && g.group.FormatCount() == 2);
    Check(found);
    std::vector<std::uint8_t> again;
    Check(SetProgramIcon(out, Icon(), {}, again) == SetIconStatus::Ok);
    return 0;
}
