#include "TagFlowMeter.h"

#include "TagStreamReader.h"

#include <utility>

namespace qorn::timetagger::gui {
namespace {

constexpr std::chrono::milliseconds kReportInterval{250};

} // namespace

void TagFlowMeter::follow(const timing::TagStreamReader& source) {
    const std::lock_guard lock(mutex);
    reader = &source;
}

void TagFlowMeter::update(const UiTagFlow& counts, LoopClock::TimePoint now) {
    const std::lock_guard lock(mutex);
    latest = counts;
    if (now - reported < kReportInterval) {
        return;
    }
    refreshSource();
    if (latest != told) {
        report(now);
    }
}

void TagFlowMeter::watch(LoopClock::TimePoint now) {
    const std::lock_guard lock(mutex);
    if (now - reported < kReportInterval) {
        return;
    }
    refreshSource();
    if (latest.source.dropped != told.source.dropped ||
        latest.source.skippedBytes != told.source.skippedBytes) {
        report(now);
    }
}

void TagFlowMeter::pause(const UiTagFlow& counts) {
    const std::lock_guard lock(mutex);
    latest = counts;
    refreshSource();
    if (latest != told) {
        report(reported);
    }
}

void TagFlowMeter::finish(const UiTagFlow& counts) {
    const std::lock_guard lock(mutex);
    latest = counts;
    refreshSource();
    latest.source.discarded += std::exchange(latest.source.waiting, 0);
    latest.ended = true;
    report(reported);
}

void TagFlowMeter::refreshSource() {
    if (reader != nullptr) {
        const timing::TagStreamReader::Counts counts = reader->counts();
        latest.source = {counts.decoded,      counts.taken, counts.dropped, counts.queued, 0,
                         counts.skipped_bytes};
    }
}

void TagFlowMeter::report(LoopClock::TimePoint now) {
    reported = now;
    told = latest;
    events.tagFlow(latest);
}

} // namespace qorn::timetagger::gui
