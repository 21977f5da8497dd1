#include "CoincidenceCounter.h"

#include <algorithm>
#include <functional>

namespace qorn::timetagger::gui {
namespace {

constexpr std::size_t kInputs = timing::kChannels;

// Per input: the others in ascending order, with the pair that each makes with it.
struct Partner {
    std::size_t channel = 0;
    std::size_t pair = 0;
};

constexpr std::array<std::array<Partner, kInputs - 1>, kInputs> makePartners() {
    std::array<std::array<Partner, kInputs - 1>, kInputs> partners{};
    for (std::size_t channel = 0; channel < kInputs; ++channel) {
        std::size_t position = 0;
        for (std::size_t other = 0; other < kInputs; ++other) {
            if (other != channel) {
                partners[channel][position++] = {
                    other,
                    static_cast<std::size_t>(pairIndex(static_cast<int>(channel), static_cast<int>(other)))};
            }
        }
    }
    return partners;
}

constexpr auto kPartners = makePartners();

// The triples are numbered by the input that is not in them, from the last input down.
constexpr std::size_t tripleOf(std::size_t a, std::size_t b, std::size_t c) {
    return a + b + c - 3;
}
static_assert(tripleOf(0, 1, 2) == 0 && tripleOf(0, 1, 3) == 1 && tripleOf(0, 2, 3) == 2 &&
              tripleOf(1, 2, 3) == 3);

// |a - b| without overflow.
constexpr quint64 distance(qint64 a, qint64 b) {
    return a > b ? static_cast<quint64>(a) - static_cast<quint64>(b)
                 : static_cast<quint64>(b) - static_cast<quint64>(a);
}

template <std::size_t Size, typename Operation>
void combine(std::array<quint64, Size>& target, const std::array<quint64, Size>& other, Operation operation) {
    std::transform(target.begin(), target.end(), other.begin(), target.begin(), operation);
}

template <typename Operation>
void combine(CoincidenceCounter::Counts& target, const CoincidenceCounter::Counts& other,
             Operation operation) {
    combine(target.singles, other.singles, operation);
    combine(target.pairs, other.pairs, operation);
    combine(target.triples, other.triples, operation);
    target.quadruple = operation(target.quadruple, other.quadruple);
    target.pairSum = operation(target.pairSum, other.pairSum);
}

} // namespace

CoincidenceCounter::Counts& CoincidenceCounter::Counts::operator+=(const Counts& other) {
    combine(*this, other, std::plus<quint64>());
    return *this;
}

CoincidenceCounter::Counts& CoincidenceCounter::Counts::operator-=(const Counts& other) {
    combine(*this, other, std::minus<quint64>());
    return *this;
}

void CoincidenceCounter::reset() {
    running = {};
    lastTime = {};
    seen = {};
}

void CoincidenceCounter::add(qint64 timePs, std::size_t channel) {
    ++running.singles[channel];
    unsigned matched = 0; // bit n is the nth partner
    for (std::size_t n = 0; n < kInputs - 1; ++n) {
        const Partner partner = kPartners[channel][n];
        const bool near =
            seen[partner.channel] && distance(timePs, lastTime[partner.channel]) <= pairWindow[partner.pair];
        running.pairs[partner.pair] += near ? 1 : 0;
        matched |= static_cast<unsigned>(near) << n;
    }
    if (matched != 0) {
        addHigher(channel, matched);
    }
    lastTime[channel] = timePs;
    seen[channel] = true;
}

// Counts what the event of `channel` completes beyond pairs; its partners lie within their windows of it.
void CoincidenceCounter::addHigher(std::size_t channel, unsigned matched) {
    running.pairSum += static_cast<quint64>(__builtin_popcount(matched));
    unsigned closePairs = 0;
    for (std::size_t n = 0; n < kInputs - 1; ++n) {
        for (std::size_t m = n + 1; m < kInputs - 1; ++m) {
            const unsigned both = (1U << n) | (1U << m);
            const std::size_t a = kPartners[channel][n].channel;
            const std::size_t b = kPartners[channel][m].channel;
            if ((matched & both) == both && latestAreClose(a, b)) {
                ++running.triples[tripleOf(channel, a, b)];
                ++closePairs;
            }
        }
    }
    if (closePairs == 3) {
        ++running.quadruple;
    }
}

bool CoincidenceCounter::latestAreClose(std::size_t a, std::size_t b) const {
    const auto pair = static_cast<std::size_t>(pairIndex(static_cast<int>(a), static_cast<int>(b)));
    return distance(lastTime[a], lastTime[b]) <= pairWindow[pair];
}

} // namespace qorn::timetagger::gui
