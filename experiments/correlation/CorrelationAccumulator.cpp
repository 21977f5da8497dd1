#include "CorrelationAccumulator.h"

#include "LagEstimators.h"
#include "SaturatedTime.h"

#include <algorithm>
#include <utility>

namespace qorn::timetagger::gui {
namespace {

constexpr std::size_t kOffsetSamples = 4000;

// How many of ascending times lie below a limit.
std::size_t countBelow(std::span<const std::int64_t> times, qint64 limit) {
    return static_cast<std::size_t>(std::lower_bound(times.begin(), times.end(), limit) - times.begin());
}

// How many tags of an input stand behind the last one of another.
std::size_t countBehind(std::span<const UiTimeTag> tags, int input, int other) {
    const auto isOf = [](int channel) {
        return [channel](const UiTimeTag& tag) { return tag.channel == channel; };
    };
    const auto lastOther = std::find_if(tags.rbegin(), tags.rend(), isOf(other));
    return static_cast<std::size_t>(std::count_if(tags.rbegin(), lastOther, isOf(input)));
}

} // namespace

void CorrelationAccumulator::reset(const Setup& newSetup) {
    setup = newSetup;
    setup.windowPs = std::max<qint64>(setup.windowPs, 1);
    setup.binPs = std::max<qint64>(setup.binPs, 1);
    inputs = {setup.source, setup.target};
    offset = setup.offsetPs.value_or(0);
    live = setup.offsetPs.has_value();
    counter = timing::LagCounter(setup.windowPs, setup.binPs, static_cast<std::uint64_t>(half()));
    for (Input* input : {&source, &target}) {
        input->forgetAll();
        input->sinceOther = 0;
        input->taken = 0;
    }
    span.reset();
    earlierRunsPs = 0;
    runHasEnded = false;
}

void CorrelationAccumulator::breakOff() {
    runHasEnded = true;
}

qint64 CorrelationAccumulator::measuredPs() const {
    return span ? saturatedSum(earlierRunsPs, saturatedDifference(span->lastPs, span->firstPs))
                : earlierRunsPs;
}

void CorrelationAccumulator::addBatch(const QList<UiTimeTag>& tags) {
    if (!inputs.usable()) {
        return;
    }
    const std::size_t oldSources = source.held.size();
    const std::size_t oldTargets = target.held.size();
    const InputPair::Tags added = inputs.append(tags, source.held, target.held);
    note(source, added.sources);
    note(target, added.targets);
    if (source.takesInOrder(added.sources) && target.takesInOrder(added.targets)) {
        source.noteInOrder(added.sources, added.targets.empty(),
                           countBehind(tags, inputs.source, inputs.target));
        target.noteInOrder(added.targets, added.sources.empty(),
                           countBehind(tags, inputs.target, inputs.source));
        countNew(oldSources, oldTargets);
    } else {
        source.held.dropBack(added.sources.size());
        target.held.dropBack(added.targets.size());
        takeOutOfOrder(tags);
    }
    dropUseless();
}

void CorrelationAccumulator::note(Input& input, std::span<const std::int64_t> added) {
    if (added.empty()) {
        return;
    }
    input.taken += static_cast<qint64>(added.size());
    if (std::exchange(runHasEnded, false)) {
        earlierRunsPs = measuredPs();
        span.reset();
    }
    const auto [first, last] = std::minmax(added.front(), added.back());
    span = span ? Span{std::min<qint64>(span->firstPs, first), std::max<qint64>(span->lastPs, last)}
                : Span{first, last};
}

bool CorrelationAccumulator::Input::takesInOrder(std::span<const std::int64_t> added) const {
    return added.empty() || (newest <= added.front() && std::is_sorted(added.begin(), added.end()));
}

void CorrelationAccumulator::Input::noteInOrder(std::span<const std::int64_t> added, bool otherIsSilent,
                                                std::size_t behindOther) {
    newest = added.empty() ? newest : added.back();
    sinceOther = behindOther + (otherIsSilent ? sinceOther : 0);
}

// Cuts the tags where the time of an input begins anew, so that it does not matter where the batches were
// cut. Between cuts, late ones find their places.
void CorrelationAccumulator::takeOutOfOrder(std::span<const UiTimeTag> tags) {
    for (const UiTimeTag& tag : tags) {
        const bool isSource = tag.channel == inputs.source;
        if (!isSource && tag.channel != inputs.target) {
            continue;
        }
        Input& input = isSource ? source : target;
        Input& other = isSource ? target : source;
        if (tag.timePs < saturatedDifference(input.newest, setup.windowPs)) {
            takePending();
            const qint64 reach = saturatedSum(tag.timePs, setup.windowPs);
            input.forgetAll();
            other.forgetRun(isSource ? saturatedSum(reach, offset) : saturatedDifference(reach, offset));
        }
        ++input.sinceOther;
        other.sinceOther = 0;
        input.pending.push_back(tag.timePs);
        input.newest = std::max<std::int64_t>(input.newest, tag.timePs);
    }
    takePending();
}

void CorrelationAccumulator::Input::forgetAll() {
    held.clear();
    newest = kNoTime;
}

// Keeps what may belong to the run that the other input has just begun: what has come since the other's last
// tag, up to a limit.
void CorrelationAccumulator::Input::forgetRun(std::int64_t limit) {
    held.keepLatest(sinceOther);
    const auto times = held.times();
    const auto ahead = std::upper_bound(times.begin(), times.end(), limit);
    held.dropBack(static_cast<std::size_t>(times.end() - ahead));
    newest = held.empty() ? kNoTime : held.back();
}

void CorrelationAccumulator::takePending() {
    std::sort(source.pending.begin(), source.pending.end());
    std::sort(target.pending.begin(), target.pending.end());
    if (live) {
        counter.add(source.held.times(), target.pending, offset);
    }
    target.holdPending();
    if (live) {
        counter.add(source.pending, target.held.times(), offset);
    }
    source.holdPending();
    source.pending.clear();
    target.pending.clear();
}

void CorrelationAccumulator::Input::holdPending() {
    const std::size_t before = held.size();
    std::copy(pending.begin(), pending.end(), held.room(pending.size()));
    held.extend(pending.size());
    held.mergeTail(before);
}

// Counts what the tags behind these positions make: new targets with old sources, then new sources with all
// targets, so that each pair is met once.
void CorrelationAccumulator::countNew(std::size_t oldSources, std::size_t oldTargets) {
    if (!live) {
        return;
    }
    counter.add(sourceTags().first(oldSources), targetTags().subspan(oldTargets), offset);
    counter.add(sourceTags().subspan(oldSources), targetTags(), offset);
}

// Keeps what later tags can still pair with; while the offset is not known that is anything.
void CorrelationAccumulator::dropUseless() {
    if (live && !source.held.empty() && !target.held.empty()) {
        const qint64 leastTarget =
            saturatedDifference(saturatedSum(source.held.back(), offset), setup.windowPs);
        const qint64 leastSource =
            saturatedDifference(saturatedDifference(target.held.back(), offset), setup.windowPs);
        target.held.dropFront(countBelow(targetTags(), leastTarget));
        source.held.dropFront(countBelow(sourceTags(), leastSource));
    }
    source.held.keepLatest(live ? kMostHeldTags : kMostWaitingTags);
    target.held.keepLatest(live ? kMostHeldTags : kMostWaitingTags);
}

bool CorrelationAccumulator::settleOffset(qint64 searchPs) {
    if (live || std::min(source.held.size(), target.held.size()) < kLeastOffsetTags) {
        return false;
    }
    const auto lag = timing::estimate_xcorr_offset_ps(sourceTags(), targetTags(), searchPs, kOffsetSamples);
    if (!lag) {
        return false;
    }
    offset = *lag;
    live = true;
    counter.add(sourceTags(), targetTags(), offset);
    return true;
}

} // namespace qorn::timetagger::gui
