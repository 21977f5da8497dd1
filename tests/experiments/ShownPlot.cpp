#include "ShownPlot.h"

#include <QDataStream>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace qorn::testing {

using timetagger::gui::BarChartWidget;

qsizetype ShownPlot::points() const {
    if (xs.size() != ys.size()) {
        return -1;
    }
    qsizetype sum = 0;
    for (qsizetype series = 0; series < xs.size(); ++series) {
        if (xs[series].size() != ys[series].size()) {
            return -1;
        }
        sum += xs[series].size();
    }
    return sum;
}

ShownPlot shownBy(const BarChartWidget& plot) {
    const QByteArray bytes = plot.toBinary();
    QDataStream stream(bytes);
    stream.setVersion(QDataStream::Qt_6_0);
    stream.setByteOrder(QDataStream::LittleEndian);
    char magic[7] = {};
    EXPECT_EQ(stream.readRawData(magic, 7), 7);
    EXPECT_EQ(std::string(magic, 7), "QORNPLT");
    ShownPlot shown;
    qint32 version = 0;
    qint32 mode = 0;
    qint32 overlayMode = 0;
    stream >> version >> shown.xLabel >> shown.yLabel >> mode >> shown.barWidth >> shown.barXs >>
        shown.barHeights >> shown.xs >> shown.ys >> shown.labels >> shown.colors >> overlayMode >>
        shown.overlayXs >> shown.overlayYs >> shown.overlayLabels >> shown.overlayColors >> shown.statTexts >>
        shown.statColors >> shown.markerValues >> shown.markerLabels >> shown.markerColors;
    shown.mode = mode;
    shown.overlayMode = overlayMode;
    EXPECT_EQ(stream.status(), QDataStream::Ok);
    EXPECT_TRUE(stream.atEnd());
    return shown;
}

ShownRange xRangeOf(const BarChartWidget& plot) {
    const QRectF rect = plot.plotRect();
    return {plot.valueFromPixelX(rect.left(), rect), plot.valueFromPixelX(rect.right(), rect)};
}

ShownRange yRangeOf(const BarChartWidget& plot) {
    const QRectF rect = plot.plotRect();
    return {plot.valueFromPixelY(rect.bottom(), rect), plot.valueFromPixelY(rect.top(), rect)};
}

void expectRange(const ShownRange& range, double lo, double hi, const char* what) {
    EXPECT_NEAR(range.lo, lo, 1e-6 * (hi - lo)) << what;
    EXPECT_NEAR(range.hi, hi, 1e-6 * (hi - lo)) << what;
}

void expectValues(const QList<double>& values, const QList<double>& expected, const char* what) {
    ASSERT_EQ(values.size(), expected.size()) << what;
    for (qsizetype index = 0; index < values.size(); ++index) {
        EXPECT_NEAR(values[index], expected[index], 1e-9 * std::max(1.0, std::abs(expected[index])))
            << what << ", value " << index;
    }
}

} // namespace qorn::testing
