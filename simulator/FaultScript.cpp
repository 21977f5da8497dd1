#include "FaultScript.h"

namespace qorn::simulator {

namespace {

FaultScript::Time::duration seconds(double count) {
    return std::chrono::duration_cast<FaultScript::Time::duration>(std::chrono::duration<double>(count));
}

} // namespace

FaultScript::Verdict FaultScript::onCall(std::string_view call, Time now) {
    const std::lock_guard lock(mutex);
    const std::uint64_t all = ++callsSoFar["*"];
    auto found = callsSoFar.find(call);
    if (found == callsSoFar.end()) {
        found = callsSoFar.emplace(call, 0).first;
    }
    const std::uint64_t own = ++found->second;
    if (call == "tt_read_stream_bytes" && spec.unplugAtRead && own >= *spec.unplugAtRead &&
        !unpluggedByRead) {
        unpluggedByRead = now;
    }
    Verdict verdict;
    for (const CallFault& fault : spec.calls) {
        if (fault.call != call && fault.call != "*") {
            continue;
        }
        const std::uint64_t number = fault.call == "*" ? all : own;
        if (number < fault.at || (fault.count > 0 && number - fault.at >= fault.count)) {
            continue;
        }
        verdict.status = fault.status != 0 ? fault.status : verdict.status;
        verdict.delay += std::chrono::milliseconds(static_cast<std::int64_t>(fault.delayS * 1e3));
    }
    return verdict;
}

void FaultScript::onOpened(Time now) {
    const std::lock_guard lock(mutex);
    if (!firstOpened) {
        firstOpened = now;
    }
}

std::optional<FaultScript::Time> FaultScript::unpluggedAt(Time now) const {
    if (unpluggedByRead) {
        return unpluggedByRead;
    }
    if (spec.unplugAfterS && firstOpened && now >= *firstOpened + seconds(*spec.unplugAfterS)) {
        return *firstOpened + seconds(*spec.unplugAfterS);
    }
    return std::nullopt;
}

bool FaultScript::plugged(Time now) const {
    const std::lock_guard lock(mutex);
    const auto at = unpluggedAt(now);
    return !at || (spec.replugAfterS && now >= *at + seconds(*spec.replugAfterS));
}

bool FaultScript::pluggedSince(Time since, Time now) const {
    const std::lock_guard lock(mutex);
    const auto at = unpluggedAt(now);
    return !at || since > *at;
}

} // namespace qorn::simulator
