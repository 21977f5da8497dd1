#include "AnalysisTrace.h"

namespace qorn::timetagger::gui {
namespace {

constexpr int kMostSamples = 20000;

} // namespace

AnalysisTrace::AnalysisTrace() {
    setWindow(CorrelationSettings().parameterHistoryS);
}

void AnalysisTrace::setWindow(double seconds) {
    history.setLimits(seconds, kMostSamples);
}

void AnalysisTrace::clear() {
    history.clear();
    takenStampPs = 0;
    latestSeconds = 0.0;
}

void AnalysisTrace::take(const AnalysisValues& values, CorrelationSettings::Metric metric) {
    if (!values.valid || values.stampPs == 0 || values.stampPs == takenStampPs) {
        return;
    }
    if (values.timeSeconds < latestSeconds) {
        history.clear(); // another time axis, as after the instrument began anew
    }
    history.append(values.timeSeconds, {values.of(metric)});
    takenStampPs = values.stampPs;
    latestSeconds = values.timeSeconds;
}

} // namespace qorn::timetagger::gui
