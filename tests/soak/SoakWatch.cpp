#include "SoakWatch.h"

#include <QJsonArray>
#include <QPixmapCache>

#include <algorithm>
#include <cstdio>

#include <malloc.h>

namespace qorn::soak {
namespace {

constexpr qsizetype kKeptComplaints = 10;
constexpr double kMostP99Ms = 250.0;     // of the time between samples, on a busy machine too
constexpr double kMostWaitMs = 3000.0;   // beyond that a window seems dead
constexpr double kWarmUpSeconds = 300.0; // until fonts, caches and pools have been used once
constexpr double kJudgedSeconds = 1200.0;
constexpr double kMostGrowth = 1.0; // MiB per hour

// The sanitizers keep what was freed, so the process grows for another reason.
constexpr bool sanitized() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return true;
#else
    return false;
#endif
}

// It has a bound of its own, and takes hours to reach it. QPixmapCache::clear would keep the keys for good.
void emptyPixmapCache() {
    const int limit = QPixmapCache::cacheLimit();
    QPixmapCache::setCacheLimit(0);
    QPixmapCache::setCacheLimit(limit);
}

} // namespace

void SoakWatch::complain(const QString& text) {
    ++complaints;
    if (firstComplaints.size() < kKeptComplaints) {
        firstComplaints.append(text);
    }
}

void SoakWatch::takeWaits(double seconds) {
    const double p99 = probe.percentileMs(0.99);
    const double most = probe.percentileMs(1.0);
    worstP99Ms = std::max(worstP99Ms, p99);
    longestMs = std::max(longestMs, most);
    if (!sanitized() && p99 > kMostP99Ms) {
        complain(QStringLiteral("at %1 s: events waited %2 ms (99 %)").arg(seconds).arg(p99));
    }
    if (!sanitized() && most > kMostWaitMs) {
        complain(QStringLiteral("at %1 s: an event waited %2 ms").arg(seconds).arg(most));
    }
    probe.clear();
    std::fprintf(stderr, "%6.0f s: events waited %.1f ms (99 %%), %.0f at most\n", seconds, p99, most);
}

void SoakWatch::sample(double seconds) {
    takeWaits(seconds);
    emptyPixmapCache();
    malloc_trim(0); // what is held now is in use
    const double resident = bench::residentMebibytes();
    std::fprintf(stderr, "%6.0f s: %.2f MiB resident, %.2f allocated\n", seconds, resident,
                 bench::allocatedMebibytes());
    if (seconds >= kWarmUpSeconds) {
        memory.push_back({seconds, resident});
    }
}

void SoakWatch::judgeMemory() {
    if (sanitized() || memory.size() < 2 || memory.back().seconds - memory.front().seconds < kJudgedSeconds) {
        return;
    }
    if (const double growth = bench::growthPerHour(memory); growth > kMostGrowth) {
        complain(QStringLiteral("memory grows by %1 MiB per hour").arg(growth));
    }
}

QJsonObject SoakWatch::report() const {
    QJsonObject result{{QStringLiteral("complaints"), static_cast<qint64>(complaints)},
                       {QStringLiteral("first_complaints"), QJsonArray::fromStringList(firstComplaints)},
                       {QStringLiteral("event_wait_p99_ms_worst"), worstP99Ms},
                       {QStringLiteral("event_wait_ms_longest"), longestMs}};
    if (!memory.empty()) {
        result.insert(QStringLiteral("resident_mib_first"), memory.front().mebibytes);
        result.insert(QStringLiteral("resident_mib_last"), memory.back().mebibytes);
        result.insert(QStringLiteral("growth_mib_per_hour"), bench::growthPerHour(memory));
    }
    return result;
}

} // namespace qorn::soak
