#include "CountFrames.h"

#include <algorithm>

namespace qorn::simulator {

namespace {

constexpr std::size_t kFramesHeld = 64;
constexpr std::chrono::milliseconds kMostWork{20};

} // namespace

CountFrames::CountFrames(PulseGenerator& pulses, InputStage inputs, Pacer clock, std::uint32_t cycles)
    : generator(pulses), originPs(pulses.positionPs()), stage(std::move(inputs)), pacer(clock),
      cyclesPerFrame(std::max(cycles, 1u)) {}

std::int64_t CountFrames::frameEndPs() const {
    return cyclesToPs((framesClosed + 1) * cyclesPerFrame);
}

void CountFrames::advance(Pacer::Time now) {
    const std::int64_t reached = pacer.reachedPs(now);
    const Pacer::Time stop = now + kMostWork;
    while (positionPs + kSlicePs <= reached && !(pacer.unpaced() && !frames.empty())) {
        makeSlice();
        if (std::chrono::steady_clock::now() >= stop) {
            break;
        }
    }
    pacer.slip(now, positionPs);
}

void CountFrames::makeSlice() {
    events.clear();
    stage.process(generator.nextSlice(), (1 << kInputs) - 1, events);
    positionPs += kSlicePs;
    for (const Tag& event : events) {
        closeFrames(event.timePs - originPs);
        ++open[event.input];
    }
    closeFrames(positionPs);
}

void CountFrames::closeFrames(std::int64_t untilPs) {
    if (frameEndPs() > untilPs) {
        return;
    }
    const auto close = [&] {
        frames.push_back(open);
        open = {};
        ++framesClosed;
    };
    close();
    // very short frames: those that nobody could read are passed over at once
    const std::int64_t ended = untilPs / 10000 * 3 / cyclesPerFrame;
    if (const auto held = static_cast<std::int64_t>(kFramesHeld);
        !pacer.unpaced() && ended - framesClosed > held) {
        framesClosed = ended - held;
        frames.clear();
    }
    while (frameEndPs() <= untilPs) {
        close();
    }
    while (!pacer.unpaced() && frames.size() > kFramesHeld) {
        frames.pop_front();
    }
}

std::optional<Counts> CountFrames::take() {
    if (frames.empty()) {
        return std::nullopt;
    }
    const Counts counts = frames.front();
    frames.pop_front();
    return counts;
}

Pacer::Time CountFrames::nextFrameAt() const {
    // a frame is ready when the slice in which it ends has been made
    const std::int64_t slices = (frameEndPs() + kSlicePs - 1) / kSlicePs;
    return pacer.reachedAt(std::max(slices * kSlicePs, positionPs + kSlicePs));
}

} // namespace qorn::simulator
