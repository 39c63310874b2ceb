#include "shell/animation.h"

#include "editor/ani_player.h"
#include "icon/format_maker.h"
#include "shell/app_support.h"
#include "shell/texts.h"

namespace tellurine::shell {

std::string AniStepText(const CAniObject& step, int number) {
    const auto n = [](std::uint64_t value) { return std::to_string(value); };
    const std::string depth = step.bitDepth == 1 ? text::kAniOneBit : FillText(text::kAniBits, {n(step.bitDepth)});
    const std::string rate = step.rate == 1 ? text::kAniOneJiffy : FillText(text::kAniJiffies, {n(step.rate)});
    return FillText(text::kAniStepRow, {std::to_string(number), n(step.width), n(step.height), depth, rate,
                                        n(editor::RateMilliseconds(step.rate)), n(step.hotspotX), n(step.hotspotY)});
}

bool MakeProjectFromStep(const CAniObject& step, CIconDoc& doc) {
    doc.RemoveAll();
    CKvIcon icon;
    if (!FormatFromPicture(step.image.GetBlock(), 32, icon)) return false;
    // A cursor keeps its hotspot as its format's point, which the cursor writer stores.
    icon.SetPoint(static_cast<std::int32_t>(step.hotspotX), static_cast<std::int32_t>(step.hotspotY));
    doc.AddFormat(std::move(icon));
    doc.macintosh = false;
    doc.cursor = true;
    return true;
}

}  // namespace tellurine::shell
