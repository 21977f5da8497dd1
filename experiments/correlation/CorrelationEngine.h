// The Correlation measurement: which tags go where, the offset that is applied, and the analysis of both
// histograms. Numbers only: no widget, no text, no clock. Owned and used by its tab on the GUI thread.
#pragma once

#include "AnalysisTrace.h"
#include "CorrelationAccumulator.h"
#include "CorrelationSettings.h"
#include "HistogramAnalysis.h"
#include "InstantTags.h"
#include "RecentTags.h"
#include "UiTimeTag.h"

#include <cstdint>
#include <optional>
#include <span>
#include <variant>

namespace qorn::timetagger::gui {

// The lag that stands at zero in a histogram, and where it comes from.
struct AppliedOffset {
    enum class Origin { Settled, Manual, Auto, Estimating };
    Origin origin = Origin::Settled;
    qint64 ps = 0;
};

struct CorrelationResult {
    HistogramAnalysis histogram;
    AppliedOffset offset;
    // Of the latest tags only: those of each channel over the time from its own first to its last.
    double sourceHz = 0.0;
    double targetHz = 0.0;
};

// Why an offset could not be measured.
enum class OffsetProblem { NotAligning, SameChannel, TooFewTags, NoCorrelation };

class CorrelationEngine {
public:
    CorrelationEngine();

    // Takes the settings and forgets all tags; the run goes on.
    void apply(const CorrelationSettings& newSettings);
    // Takes settings that differ only in what is drawn; the tags stay.
    void applyDisplay(const CorrelationSettings& newSettings);
    const CorrelationSettings& settings() const { return current; }

    // Begins a new run.
    void reset();
    // The run was paused: the time until the next tag was not measured. If that is earlier than what values()
    // were found for, the stream's time began anew, and that of the values goes on from where it was.
    void breakOff();
    // Tags in stream order, of any input; nothing while the channels are not usable.
    void addBatch(const QList<UiTimeTag>& tags);

    // The histogram of all tags since the settings changed; looks for the automatic offset first.
    CorrelationResult integrated();
    // The histogram of the latest tags; absent without tags of both channels.
    std::optional<CorrelationResult> instant();
    // What the latest of these two found.
    const AnalysisValues& values() const { return latest; }

    // The lag between the channels in the tags at hand, in ps.
    std::variant<qint64, OffsetProblem> measureOffset() const;

    const CorrelationAccumulator& accumulator() const { return counts; }

private:
    void noteFirstTags(const QList<UiTimeTag>& tags);
    void goOnAt(qint64 timePs);
    AppliedOffset resolveOffset(std::span<const std::int64_t> source,
                                std::span<const std::int64_t> target) const;
    void store(const CorrelationResult& result, qint64 spanPs, std::optional<qint64> lastPs);

    CorrelationSettings current;
    CorrelationAccumulator counts;
    InstantTags instantTags;
    RecentTags recentTags;
    AnalysisValues latest;
    std::optional<qint64> firstSourcePs; // of the run
    std::optional<qint64> firstTargetPs;
    std::optional<qint64> brokenPs; // the latest values' last tag before breakOff(), if none has come since
};

} // namespace qorn::timetagger::gui
