#include "CorrelationEngine.h"

#include "LagEstimators.h"
#include "SaturatedTime.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace qorn::timetagger::gui {
namespace {

constexpr double kPsPerNs = 1000.0;
constexpr double kPsPerSecond = 1e12;
constexpr double kFwhmPerSigma = 2.354820045;
constexpr std::size_t kAutoSamples = 4000;
constexpr std::size_t kMeasureSamples = 8000;
constexpr std::size_t kLeastMeasureTags = 8;

double perSecond(double tags, qint64 spanPs) {
    return spanPs > 0 ? tags / (static_cast<double>(spanPs) / kPsPerSecond) : 0.0;
}

// Tags in order of time.
double rateOf(std::span<const std::int64_t> tags) {
    return perSecond(static_cast<double>(tags.size()), saturatedDifference(tags.back(), tags.front()));
}

} // namespace

CorrelationEngine::CorrelationEngine() {
    apply(CorrelationSettings());
}

void CorrelationEngine::apply(const CorrelationSettings& newSettings) {
    current = newSettings;
    std::optional<qint64> offset = 0;
    if (current.offsetCorrectionEnabled() && current.offsetMode != OffsetMode::None) {
        offset =
            current.offsetMode == OffsetMode::Manual ? std::optional(current.manualOffsetPs()) : std::nullopt;
    }
    counts.reset(
        {current.sourceInput(), current.targetInput(), current.windowPs(), current.bins().binPs, offset});
    instantTags.reset(current.sourceInput(), current.targetInput(), current.instantWindowPs());
    recentTags.clear();
}

void CorrelationEngine::applyDisplay(const CorrelationSettings& newSettings) {
    current = newSettings;
}

void CorrelationEngine::reset() {
    apply(current);
    firstSourcePs.reset();
    firstTargetPs.reset();
    brokenPs.reset();
    latest.valid = false;
}

void CorrelationEngine::breakOff() {
    counts.breakOff();
    if (latest.valid) {
        brokenPs = latest.stampPs;
    }
}

void CorrelationEngine::addBatch(const QList<UiTimeTag>& tags) {
    if (!current.channelsUsable()) {
        return;
    }
    noteFirstTags(tags);
    recentTags.addBatch(tags);
    if (current.viewIntegrated) {
        counts.addBatch(tags);
    }
    if (current.viewInstant) {
        instantTags.addBatch(tags);
    }
}

void CorrelationEngine::noteFirstTags(const QList<UiTimeTag>& tags) {
    if (brokenPs) {
        const auto next = std::find_if(tags.cbegin(), tags.cend(), [this](const UiTimeTag& tag) {
            return tag.channel == current.sourceInput() || tag.channel == current.targetInput();
        });
        if (next != tags.cend()) {
            goOnAt(next->timePs);
        }
    }
    const auto note = [&](int input, std::optional<qint64>& first) {
        if (first) {
            return;
        }
        const auto found = std::find_if(tags.cbegin(), tags.cend(),
                                        [input](const UiTimeTag& tag) { return tag.channel == input; });
        if (found != tags.cend()) {
            first = found->timePs;
        }
    };
    note(current.sourceInput(), firstSourcePs);
    note(current.targetInput(), firstTargetPs);
}

void CorrelationEngine::goOnAt(qint64 timePs) {
    const qint64 before = *std::exchange(brokenPs, {});
    if (timePs < before) {
        for (std::optional<qint64>* first : {&firstSourcePs, &firstTargetPs}) {
            if (*first) {
                *first = originGoingOn(**first, before, timePs);
            }
        }
    }
}

CorrelationResult CorrelationEngine::integrated() {
    if (!counts.isLive()) {
        counts.settleOffset(current.offsetSearchPs());
    }
    const std::optional<CorrelationAccumulator::Span> tagSpan = counts.tagSpan();
    const qint64 spanPs = counts.measuredPs();
    CorrelationResult result;
    result.histogram =
        analyseHistogram({counts.counts(), counts.binPs(), static_cast<quint64>(counts.sourceTagCount()),
                          static_cast<quint64>(counts.targetTagCount()), spanPs},
                         current);
    result.offset = {counts.isLive() ? AppliedOffset::Origin::Settled : AppliedOffset::Origin::Estimating,
                     counts.isLive() ? counts.offsetPs() : 0};
    store(result, spanPs, tagSpan ? std::optional(tagSpan->lastPs) : std::nullopt);
    return result;
}

std::optional<CorrelationResult> CorrelationEngine::instant() {
    const std::span<const std::int64_t> source = instantTags.sourceTags();
    const std::span<const std::int64_t> target = instantTags.targetTags();
    if (source.empty() || target.empty()) {
        return std::nullopt;
    }
    CorrelationResult result;
    result.offset = resolveOffset(source, target);
    const qint64 binPs = current.bins().binPs;
    const timing::XcorrHistogram pairs =
        timing::xcorr_histogram(source, target, current.windowPs(), binPs, result.offset.ps);
    const qint64 lastPs = std::max(source.back(), target.back());
    const qint64 spanPs = saturatedDifference(lastPs, std::min(source.front(), target.front()));
    result.histogram = analyseHistogram({pairs.counts, binPs, source.size(), target.size(), spanPs}, current);
    result.sourceHz = rateOf(source);
    result.targetHz = rateOf(target);
    store(result, spanPs, lastPs);
    return result;
}

AppliedOffset CorrelationEngine::resolveOffset(std::span<const std::int64_t> source,
                                               std::span<const std::int64_t> target) const {
    if (!current.offsetCorrectionEnabled() || current.offsetMode == OffsetMode::None) {
        return {};
    }
    if (current.offsetMode == OffsetMode::Manual) {
        return {AppliedOffset::Origin::Manual, current.manualOffsetPs()};
    }
    if (const auto lag =
            timing::estimate_xcorr_offset_ps(source, target, current.offsetSearchPs(), kAutoSamples)) {
        return {AppliedOffset::Origin::Auto, *lag};
    }
    return {AppliedOffset::Origin::Estimating, 0};
}

void CorrelationEngine::store(const CorrelationResult& result, qint64 spanPs, std::optional<qint64> lastPs) {
    const HistogramAnalysis& histogram = result.histogram;
    const PeakFitOverlay& overlay = histogram.overlay;
    latest.metrics = {histogram.peakLagNs,
                      overlay.valid ? overlay.fwhm : histogram.rmsNs * kFwhmPerSigma,
                      static_cast<double>(result.offset.ps) / kPsPerNs,
                      histogram.centreValue,
                      static_cast<double>(histogram.total),
                      perSecond(static_cast<double>(histogram.sourceTags), spanPs),
                      perSecond(static_cast<double>(histogram.targetTags), spanPs)};
    latest.timeSeconds = 0.0;
    latest.stampPs = lastPs.value_or(0);
    latest.valid = true;
    if (lastPs) {
        const qint64 firstPs = std::min(firstSourcePs.value_or(*lastPs), firstTargetPs.value_or(*lastPs));
        latest.timeSeconds = static_cast<double>(saturatedDifference(*lastPs, firstPs)) / kPsPerSecond;
    }
}

std::variant<qint64, OffsetProblem> CorrelationEngine::measureOffset() const {
    if (!current.offsetCorrectionEnabled()) {
        return OffsetProblem::NotAligning;
    }
    if (!current.channelsUsable()) {
        return OffsetProblem::SameChannel;
    }
    std::span<const std::int64_t> source = instantTags.sourceTags();
    std::span<const std::int64_t> target = instantTags.targetTags();
    if (source.empty() || target.empty()) {
        source = counts.sourceTags();
        target = counts.targetTags();
    }
    std::vector<std::int64_t> recentSource;
    std::vector<std::int64_t> recentTarget;
    if (std::min(source.size(), target.size()) < kLeastMeasureTags) {
        // The accumulator keeps no more than what can still pair.
        recentSource = recentTags.tagsOf(current.sourceInput());
        recentTarget = recentTags.tagsOf(current.targetInput());
        source = recentSource;
        target = recentTarget;
    }
    if (std::min(source.size(), target.size()) < kLeastMeasureTags) {
        return OffsetProblem::TooFewTags;
    }
    const auto lag =
        timing::estimate_xcorr_offset_ps(source, target, current.offsetSearchPs(), kMeasureSamples);
    if (!lag) {
        return OffsetProblem::NoCorrelation;
    }
    return static_cast<qint64>(*lag);
}

} // namespace qorn::timetagger::gui
