// Feeds arbitrary bytes to the animated-cursor reader: both passes must agree, and every step it
// gives must be a 32-bit picture of the size it reports; the catalog of the same bytes agrees
// with the full read.
#include <vector>

#include "formats/ani_file.h"
#include "catalog_check.h"
#include "harness.h"

void tellurine::fuzz::FuzzInput(std::span<const std::uint8_t> bytes) {
    CheckCatalog("in.ani", bytes);
    const std::uint32_t frames = CountAniFrames(bytes);
    Check(frames <= kMaxAniFrames);

    std::vector<CAniObject> steps;
    AniFileInfo info;
    if (ReadAniSteps(bytes, steps, &info) != AniReadStatus::Ok) {
        // A failure leaves nothing behind.
        Check(steps.empty() && info.frameCount == 0 && info.title.empty() && info.author.empty());
        return;
    }
    // Only a file the counting pass accepts can be loaded, and it reports the same frames.
    Check(frames != 0 && info.frameCount == frames && !steps.empty() && steps.size() <= kMaxAniSteps &&
          info.title.size() <= 80 && info.author.size() <= 80);

    std::size_t total = 0;
    for (const CAniObject& step : steps) {
        Check(step.image.BitCount() == 32 && step.image.Width() == static_cast<std::int32_t>(step.width) &&
              step.image.Height() == static_cast<std::int32_t>(step.height) && step.rate <= 0xFFFF &&
              step.hotspotX <= 0xFFFF && step.hotspotY <= 0xFFFF);
        total += step.image.GetBlock().size();
    }
    Check(total <= kMaxAniDecodedBytes);
    // Each step owns its picture.
    for (std::size_t i = 1; i < steps.size(); ++i)
        Check(steps[i].image.GetBlock().data() != steps[i - 1].image.GetBlock().data());
}
