// Playing an animated cursor: which step shows at a given time, from the steps' display rates.
//
// Rates are in jiffies (1/60 s); a rate of 0 shows its step for one jiffy, so that every step is
// seen and the animation always moves on. Time comes from the caller as a clock in milliseconds,
// so the player never reads a clock itself. Positions are kept in sixtieths of a millisecond, in
// which both a jiffy (1000) and a millisecond (60) are whole numbers: the shown step is always
// computed from the time elapsed since playing started, so nothing drifts however often or
// irregularly the clock is read.
#pragma once

#include <cstdint>
#include <vector>

namespace tellurine::editor {

// How long a step of `rate` jiffies shows, in jiffies: the rate, or 1 for a rate of 0.
inline std::uint32_t StepJiffies(std::uint32_t rate) { return rate == 0 ? 1 : rate; }
// A rate in milliseconds, rounded to the nearest (a rate of 0 shows as 0).
inline std::uint64_t RateMilliseconds(std::uint32_t rate) { return (std::uint64_t{rate} * 1000 + 30) / 60; }

// The largest whole zoom at which a width x height picture fits a client area with 10 pixels
// free on each side, 1 to 30.
int PlayerZoom(int width, int height, int clientWidth, int clientHeight);

class AniPlayer {
public:
    // One rate per step, in step order. Without steps the player shows nothing (step -1).
    explicit AniPlayer(std::vector<std::uint32_t> rates = {});

    [[nodiscard]] int StepCount() const { return static_cast<int>(starts_.size()); }
    // The step shown, as of the last call that took the clock; -1 without steps.
    [[nodiscard]] int Step() const { return step_; }
    [[nodiscard]] bool Playing() const { return playing_; }
    // One pass over every step, in milliseconds (rounded up).
    [[nodiscard]] std::int64_t LoopMilliseconds() const;

    // Starts playing at `nowMs` from where the player stands (the middle of a step when it was
    // paused there). Nothing happens without steps or when already playing.
    void Play(std::int64_t nowMs);
    // Stops at the position reached at `nowMs`.
    void Pause(std::int64_t nowMs);
    void TogglePlay(std::int64_t nowMs) { playing_ ? Pause(nowMs) : Play(nowMs); }
    // Takes the clock while playing; true when the shown step changed. A clock that runs
    // backwards counts as no time passing.
    bool Update(std::int64_t nowMs);
    // Milliseconds from `nowMs` until the next step shows (at least 1); -1 when not playing.
    [[nodiscard]] std::int64_t MillisecondsToNextStep(std::int64_t nowMs) const;

    // Stop playing and show the start of a step: the next or previous one (the last step is
    // followed by the first), or any one (clamped to the steps).
    void StepForward();
    void StepBack();
    void GoToStep(int step);

private:
    // Position in the loop at `nowMs`, in sixtieths of a millisecond.
    [[nodiscard]] std::int64_t PositionAt(std::int64_t nowMs) const;
    [[nodiscard]] int StepAtPosition(std::int64_t position) const;

    std::vector<std::int64_t> starts_;  // where each step starts in the loop
    std::int64_t loop_ = 0;             // the loop's length
    std::int64_t position_ = 0;         // the position when paused, or when playing started
    std::int64_t startedMs_ = 0;        // the clock when playing started
    bool playing_ = false;
    int step_ = -1;
};

}  // namespace tellurine::editor
