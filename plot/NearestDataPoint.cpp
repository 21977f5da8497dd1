#include "NearestDataPoint.h"

#include "PlotGeometry.h"

#include <cmath>
#include <limits>

namespace qorn::timetagger::gui {

namespace {

constexpr double kVerticalWeight = 0.15;

class NearestSearch {
public:
    NearestSearch(const PlotMapping& plotMapping, const QPointF& from)
        : mapping(plotMapping), position(from) {}

    void visit(const QList<double>& xs, const QList<double>& ys) {
        const qsizetype count = qMin(xs.size(), ys.size());
        for (qsizetype i = 0; i < count; ++i) {
            const double score = std::abs(mapping.pixelX(xs[i]) - position.x()) +
                                 kVerticalWeight * std::abs(mapping.pixelY(ys[i]) - position.y());
            // NaN and infinite scores are never lower.
            if (score < lowest) {
                lowest = score;
                nearest = QPointF(xs[i], ys[i]);
            }
        }
    }

    std::optional<QPointF> result() const { return nearest; }

private:
    const PlotMapping& mapping;
    QPointF position;
    double lowest = std::numeric_limits<double>::infinity();
    std::optional<QPointF> nearest;
};

} // namespace

std::optional<QPointF> nearestDataPoint(const PlotModel& model, const QRectF& plot, const QPointF& position) {
    const PlotMapping mapping{model.view, plot};
    NearestSearch search(mapping, position);
    if (model.seriesMode == PlotSeriesMode::Bars) {
        search.visit(model.barXs, model.barHeights);
    } else {
        for (qsizetype i = 0; i < model.seriesCount(); ++i)
            search.visit(model.seriesXs[i], model.seriesYs[i]);
    }
    return search.result();
}

} // namespace qorn::timetagger::gui
