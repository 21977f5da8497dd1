#include "CoincidenceCounts.h"

#include <algorithm>

namespace qorn::timetagger::gui {

std::array<quint64, kCoincidenceCounts> countsInOrder(const CoincidenceCounter::Counts& counts) {
    std::array<quint64, kCoincidenceCounts> list{};
    auto next = std::copy(counts.singles.begin(), counts.singles.end(), list.begin());
    next = std::copy(counts.pairs.begin(), counts.pairs.end(), next);
    next = std::copy(counts.triples.begin(), counts.triples.end(), next);
    *next = counts.quadruple;
    return list;
}

QStringList countLabels() {
    return QStringList{QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3"), QStringLiteral("4")} +
           pairLabels() +
           QStringList{QStringLiteral("1-2-3"), QStringLiteral("1-2-4"), QStringLiteral("1-3-4"),
                       QStringLiteral("2-3-4"), QStringLiteral("1-2-3-4")};
}

QStringList pairLabels() {
    QStringList labels;
    for (const PairChannels pair : kPairChannels) {
        labels.append(QStringLiteral("%1-%2").arg(pair.first + 1).arg(pair.second + 1));
    }
    return labels;
}

} // namespace qorn::timetagger::gui
