// Feeds arbitrary bytes to the animated-cursor reader: both passes must agree, and every step it
// gives must be a 32-bit picture of the size it reports.
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "formats/ani_file.h"
#include "input_caps.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tellurine;
    const std::span<const std::uint8_t> bytes(data, size);
    if (fuzz::DeclaresLargePicture(bytes)) return 0;
    const std::uint32_t frames = CountAniFrames(bytes);
    if (frames > kMaxAniFrames) __builtin_trap();

    std::vector<CAniObject> steps;
    AniFileInfo info;
    const AniReadStatus status = ReadAniSteps(bytes, steps, &info);
    if (status != AniReadStatus::Ok) {
        // A failure leaves nothing behind.
        if (!steps.empty() || info.frameCount != 0 || !info.title.empty() || !info.author.empty()) __builtin_trap();
        return 0;
    }
    // Only a file the counting pass accepts can be loaded, and it reports the same frames.
    if (frames == 0 || info.frameCount != frames || steps.empty() || steps.size() > kMaxAniSteps ||
        info.title.size() > 80 || info.author.size() > 80)
        __builtin_trap();

    std::size_t total = 0;
    for (const CAniObject& step : steps) {
        if (step.image.BitCount() != 32 || step.image.Width() != static_cast<std::int32_t>(step.width) ||
            step.image.Height() != static_cast<std::int32_t>(step.height) || step.rate > 0xFFFF ||
            step.hotspotX > 0xFFFF || step.hotspotY > 0xFFFF)
            __builtin_trap();
        total += step.image.GetBlock().size();
    }
    if (total > kMaxAniDecodedBytes) __builtin_trap();
    // Each step owns its picture.
    for (std::size_t i = 1; i < steps.size(); ++i)
        if (steps[i].image.GetBlock().data() == steps[i - 1].image.GetBlock().data()) __builtin_trap();
    return 0;
}
