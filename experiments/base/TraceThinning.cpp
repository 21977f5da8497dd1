#include "TraceThinning.h"

#include <algorithm>

namespace qorn::timetagger::gui {

Trace thinnedTrace(const QList<double>& xs, const QList<double>& ys, qsizetype mostPoints) {
    const qsizetype points = std::min(xs.size(), ys.size());
    const qsizetype stretches = std::max<qsizetype>(mostPoints / 2, 1);
    if (points <= 2 * stretches) {
        return {xs, ys};
    }
    Trace thinned;
    thinned.xs.reserve(2 * stretches);
    thinned.ys.reserve(2 * stretches);
    for (qsizetype stretch = 0; stretch < stretches; ++stretch) {
        const auto begin = ys.begin() + points * stretch / stretches;
        const auto end = ys.begin() + points * (stretch + 1) / stretches;
        auto [lowest, highest] = std::minmax_element(begin, end);
        if (highest < lowest) {
            std::swap(lowest, highest);
        }
        for (const auto& point : {lowest, highest}) {
            thinned.xs.append(xs.at(point - ys.begin()));
            thinned.ys.append(*point);
        }
    }
    return thinned;
}

} // namespace qorn::timetagger::gui
