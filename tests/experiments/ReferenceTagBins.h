// The bins of a tag stream, worked out one tag and one bin at a time with all history kept: slow, and plain
// enough to be right. The measure for the engine.
#pragma once

#include "TimeTagSettings.h"
#include "UiTimeTag.h"

#include <QList>

#include <algorithm>
#include <array>
#include <vector>

namespace qorn::testing {

class ReferenceTagBins {
public:
    using Settings = timetagger::gui::TimeTagSettings;

    void apply(const Settings& newSettings) {
        settings = newSettings;
        trim();
    }

    void add(const timetagger::gui::UiTimeTag& tag) {
        if (tag.channel > 3) {
            return;
        }
        if (!started) {
            started = true;
            origin = tag.timePs;
            binStart = tag.timePs;
        }
        last = tag.timePs;
        while (tag.timePs - binStart >= settings.binPs()) {
            close();
            binStart += settings.binPs();
        }
        ++open[tag.channel];
        ++total;
    }

    QList<double> xValues(bool partial) const {
        QList<double> xs;
        for (const Bin& bin : bins) {
            xs.append(bin.x);
        }
        if (partial && started) {
            xs.append(static_cast<double>(binStart - origin) / 1e12);
        }
        return xs;
    }

    QList<double> series(int channel, bool partial) const {
        const auto at = static_cast<std::size_t>(channel);
        QList<double> ys;
        for (const Bin& bin : bins) {
            ys.append(scaled(integrated() ? bin.sums[at] : bin.counts[at]));
        }
        if (partial && started) {
            ys.append(scaled(open[at] + (integrated() ? sums[at] : 0.0)));
        }
        return ys;
    }

    QList<double> totalSeries(bool partial) const {
        QList<double> ys;
        for (const Bin& bin : bins) {
            const auto& values = integrated() ? bin.sums : bin.counts;
            ys.append(scaled(values[0] + values[1] + values[2] + values[3]));
        }
        if (partial && started) {
            double value = open[0] + open[1] + open[2] + open[3];
            if (integrated()) {
                value += sums[0] + sums[1] + sums[2] + sums[3];
            }
            ys.append(scaled(value));
        }
        return ys;
    }

    double elapsedSeconds() const { return std::max(0.0, static_cast<double>(last - origin) / 1e12); }
    quint64 totalTags() const { return total; }
    qint64 openBinStart() const { return binStart; }

private:
    struct Bin {
        double x;
        std::array<double, 4> counts;
        std::array<double, 4> sums;
    };

    bool integrated() const { return settings.scaling == Settings::Scaling::Integrated; }

    double scaled(double value) const {
        if (settings.quantity == Settings::Quantity::Data) {
            value = 8.0 * value / 1e6;
        }
        if (settings.scaling == Settings::Scaling::PerSecond) {
            value = value / settings.binSeconds;
        }
        return value;
    }

    void close() {
        Bin bin;
        bin.x = static_cast<double>(binStart + settings.binPs() - origin) / 1e12;
        bin.counts = open;
        for (std::size_t i = 0; i < 4; ++i) {
            sums[i] += open[i];
        }
        bin.sums = sums;
        open = {};
        bins.push_back(bin);
        trim();
    }

    void trim() {
        while (bins.size() > static_cast<std::size_t>(settings.historyLimit())) {
            bins.erase(bins.begin());
        }
    }

    Settings settings;
    bool started = false;
    qint64 origin = 0;
    qint64 last = 0;
    qint64 binStart = 0;
    std::array<double, 4> open{};
    std::array<double, 4> sums{};
    std::vector<Bin> bins;
    quint64 total = 0;
};

} // namespace qorn::testing
