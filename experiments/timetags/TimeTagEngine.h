// Counts the tags of a stream per input in bins of equal width that begin with the run's first tag. Numbers
// only: no widget, no text, no clock. Owned and used by its tab on the GUI thread.
#pragma once

#include "TimeTag.h"
#include "TimeTagSettings.h"
#include "UiTimeTag.h"

#include <QList>

#include <array>
#include <deque>
#include <span>

namespace qorn::timetagger::gui {

class TimeTagEngine {
public:
    static constexpr double kMegabytesPerTag = 8.0 / 1e6; // of decoded tags

    // Takes bin width and history limit: the width from the next tag on, the open bin keeping its start; a
    // lower limit drops the oldest bins at once. Quantity, grouping and scaling recast all that is stored.
    void apply(const TimeTagSettings& newSettings);
    const TimeTagSettings& settings() const { return current; }

    // Forgets all tags; the settings stay.
    void reset();

    // The tags that follow may be of another stream, whose time began anew: if they are earlier than what
    // came, the run goes on from where it was.
    void breakOff();

    // Takes tags in stream order. Tags of other channels than 0 to 3 are ignored.
    void addBatch(std::span<const UiTimeTag> tags);

    // Tags of the whole run, in trimmed bins too, and the time from its first to its last tag in s.
    quint64 totalTags() const { return tagTotal; }
    double elapsedSeconds() const;

    // Ends of the stored bins in s since the run's first tag, oldest first; with the open bin, its start.
    QList<double> xValues(bool includePartial) const;
    // Values in the quantity and scaling of the settings, parallel to xValues.
    QList<double> seriesForChannel(int channel, bool includePartial) const;
    QList<double> totalSeries(bool includePartial) const;

private:
    struct ClosedBin {
        double time = 0.0; // s
        std::array<double, timing::kChannels> counts{};
        std::array<double, timing::kChannels> integrated{};
    };

    void goOnAt(qint64 timestampPs);
    void moveToBinOf(qint64 timestampPs);
    void finishCurrentBin();
    void trimHistory();
    double scaleValue(double value) const;
    bool integrates() const { return current.scaling == TimeTagSettings::Scaling::Integrated; }
    double openValue(std::size_t channel) const;

    TimeTagSettings current;
    qint64 binPs = TimeTagSettings().binPs();
    bool haveOrigin = false; // and with it the open bin
    bool brokenOff = false;  // and no tag has come since
    qint64 originPs = 0;
    qint64 lastTagPs = 0;
    qint64 binStartPs = 0;
    std::array<quint64, timing::kChannels> currentBinCounts{};
    std::deque<ClosedBin> bins;
    std::array<double, timing::kChannels> integratedTotals{}; // of closed bins, trimmed ones too
    quint64 tagTotal = 0;
};

} // namespace qorn::timetagger::gui
