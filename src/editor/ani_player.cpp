#include "editor/ani_player.h"

#include <algorithm>

namespace tellurine::editor {

namespace {

// Units of position per jiffy and per millisecond: a sixtieth of a millisecond each.
constexpr std::int64_t kUnitsPerJiffy = 1000;
constexpr std::int64_t kUnitsPerMillisecond = 60;

}  // namespace

int PlayerZoom(int width, int height, int clientWidth, int clientHeight) {
    if (width <= 0 || height <= 0) return 1;
    return std::clamp(std::min((clientWidth - 20) / width, (clientHeight - 20) / height), 1, 30);
}

AniPlayer::AniPlayer(std::vector<std::uint32_t> rates) {
    starts_.reserve(rates.size());
    for (const std::uint32_t rate : rates) {
        starts_.push_back(loop_);
        loop_ += std::int64_t{StepJiffies(rate)} * kUnitsPerJiffy;
    }
    step_ = starts_.empty() ? -1 : 0;
}

std::int64_t AniPlayer::LoopMilliseconds() const {
    return (loop_ + kUnitsPerMillisecond - 1) / kUnitsPerMillisecond;
}

std::int64_t AniPlayer::PositionAt(std::int64_t nowMs) const {
    if (!playing_ || loop_ == 0) return position_;
    const std::int64_t elapsed = std::max<std::int64_t>(0, nowMs - startedMs_);
    // (elapsed x 60) mod loop, with whole loops dropped before the multiplication so that no
    // clock value can overflow it.
    const std::int64_t units = (elapsed % loop_) * kUnitsPerMillisecond % loop_;
    return (position_ + units) % loop_;
}

int AniPlayer::StepAtPosition(std::int64_t position) const {
    // The last step that starts at or before the position.
    const auto after = std::upper_bound(starts_.begin(), starts_.end(), position);
    return static_cast<int>(after - starts_.begin()) - 1;
}

void AniPlayer::Play(std::int64_t nowMs) {
    if (playing_ || starts_.empty()) return;
    playing_ = true;
    startedMs_ = nowMs;
}

void AniPlayer::Pause(std::int64_t nowMs) {
    if (!playing_) return;
    position_ = PositionAt(nowMs);
    playing_ = false;
    step_ = StepAtPosition(position_);
}

bool AniPlayer::Update(std::int64_t nowMs) {
    if (!playing_) return false;
    const int step = StepAtPosition(PositionAt(nowMs));
    if (step == step_) return false;
    step_ = step;
    return true;
}

std::int64_t AniPlayer::MillisecondsToNextStep(std::int64_t nowMs) const {
    if (!playing_) return -1;
    const std::int64_t position = PositionAt(nowMs);
    const std::size_t step = static_cast<std::size_t>(StepAtPosition(position));
    const std::int64_t end = step + 1 < starts_.size() ? starts_[step + 1] : loop_;
    return std::max<std::int64_t>(1, (end - position + kUnitsPerMillisecond - 1) / kUnitsPerMillisecond);
}

void AniPlayer::GoToStep(int step) {
    if (starts_.empty()) return;
    playing_ = false;
    step_ = std::clamp(step, 0, StepCount() - 1);
    position_ = starts_[static_cast<std::size_t>(step_)];
}

void AniPlayer::StepForward() {
    if (!starts_.empty()) GoToStep(step_ + 1 < StepCount() ? step_ + 1 : 0);
}

void AniPlayer::StepBack() {
    if (!starts_.empty()) GoToStep(step_ > 0 ? step_ - 1 : StepCount() - 1);
}

}  // namespace tellurine::editor
