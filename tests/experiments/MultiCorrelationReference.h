// The correlation of six pairs of inputs in its plainest form: every tag against every buffered one, gates
// one by one, tags thinned by a hash of input and number.
#pragma once

#include "UiTimeTag.h"

#include <QList>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <deque>
#include <optional>
#include <utility>
#include <vector>

namespace qorn::testing {

inline constexpr int kPairInputs[6][2] = {{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}, {2, 3}};

// Whether the tag of that number of an input stays with one in `stride`.
inline bool staysWithStride(int input, quint64 number, quint64 stride) {
    quint64 z = ((static_cast<quint64>(input + 1) * 0xd1b54a32d192ed03ULL) ^ number) + 0x9e3779b97f4a7c15ULL;
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
    z = z ^ (z >> 31);
    return z % stride == 0;
}

struct MultiCorrelationReference {
    static constexpr std::size_t kMostBuffered = 8192;

    qint64 rangePs = 500;
    qint64 binPs = 8;
    qint64 binCount = 126;
    qint64 gatePs = 100'000'000'000;
    std::array<bool, 6> pairs{true, true, true, true, true, true};
    std::array<qint64, 4> offsetsPs{};
    // Centre and half width of A and B of each pair.
    std::array<std::array<std::pair<qint64, qint64>, 2>, 6> windows{{{{{0, 250}, {1000, 250}}},
                                                                     {{{0, 250}, {1000, 250}}},
                                                                     {{{0, 250}, {1000, 250}}},
                                                                     {{{0, 250}, {1000, 250}}},
                                                                     {{{0, 250}, {1000, 250}}},
                                                                     {{{0, 250}, {1000, 250}}}}};

    std::array<std::vector<quint64>, 6> histograms;
    std::vector<std::array<quint64, 12>> gates; // closed ones
    quint64 source = 0;
    quint64 processed = 0;
    quint64 skipped = 0;
    quint64 discarded = 0;

    void setRange(qint64 range, qint64 bin) {
        rangePs = range;
        binPs = bin;
        binCount = 2 * range / bin + 1;
    }

    void addBatch(const QList<timetagger::gui::UiTimeTag>& tags, quint64 stride = 1) {
        std::vector<std::pair<qint64, int>> kept;
        for (const auto& tag : tags) {
            if (tag.channel > 3) {
                continue;
            }
            ++source;
            const quint64 number = numbers[tag.channel]++;
            if (stride > 1 && !staysWithStride(tag.channel, number, stride)) {
                ++skipped;
                continue;
            }
            kept.emplace_back(tag.timePs + offsetsPs[tag.channel], tag.channel);
        }
        std::sort(kept.begin(), kept.end());
        processed += kept.size();
        for (const auto& [time, input] : kept) {
            process(input, time);
        }
    }

private:
    void process(int input, qint64 time) {
        for (auto& histogram : histograms) {
            histogram.resize(static_cast<std::size_t>(binCount), 0);
        }
        gateEnd = gateEnd ? gateEnd : time + gatePs;
        for (; *gateEnd <= time; *gateEnd += gatePs) {
            gates.push_back(open);
            open = {};
        }
        for (auto& buffer : buffers) {
            while (!buffer.empty() && buffer.front() < time - rangePs) {
                buffer.pop_front();
            }
        }
        for (std::size_t pair = 0; pair < 6; ++pair) {
            const int first = kPairInputs[pair][0];
            const int second = kPairInputs[pair][1];
            if (pairs[pair] && (first == input || second == input)) {
                for (const qint64 other :
                     buffers[static_cast<std::size_t>(first == input ? second : first)]) {
                    count(pair, first == input ? other - time : time - other);
                }
            }
        }
        auto& own = buffers[static_cast<std::size_t>(input)];
        own.push_back(time);
        if (own.size() > kMostBuffered) {
            own.pop_front();
            ++discarded;
        }
    }
    void count(std::size_t pair, qint64 lag) {
        if (std::abs(lag) > rangePs) {
            return;
        }
        const qint64 bin = (lag + rangePs) / binPs;
        if (bin < binCount) {
            ++histograms[pair][static_cast<std::size_t>(bin)];
        }
        for (std::size_t window = 0; window < 2; ++window) {
            const auto& [centre, halfWidth] = windows[pair][window];
            if (std::abs(lag - centre) <= halfWidth) {
                ++open[2 * pair + window];
            }
        }
    }

    std::array<quint64, 4> numbers{};
    std::array<std::deque<qint64>, 4> buffers;
    std::optional<qint64> gateEnd;
    std::array<quint64, 12> open{};
};

} // namespace qorn::testing
