#include "PlotFileStage.h"

namespace plottest {
namespace {

::testing::AssertionResult answered(bool loaded, const QString& error) {
    if (loaded) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "was refused: " << error.toStdString();
}

::testing::AssertionResult failedWith(bool loaded, const QString& error, const QString& message) {
    if (loaded) {
        return ::testing::AssertionFailure() << "was loaded";
    }
    if (error != message) {
        return ::testing::AssertionFailure()
               << "said \"" << error.toStdString() << "\" instead of \"" << message.toStdString() << "\"";
    }
    return ::testing::AssertionSuccess();
}

} // namespace

void PlotFileTest::showOldPlot() {
    plot.setAxisLabels(QStringLiteral("old x"), QStringLiteral("old y"));
    plot.setBars({2, 4}, {3, 6}, 0.5);
    plot.setOverlaySeries({{1, 9}}, {{2, 8}}, {QStringLiteral("old overlay")}, {kRed},
                          BarChartWidget::Points);
    plot.setXTickLabels({2, 8}, {QStringLiteral("left"), QStringLiteral("right")});
    plot.setStatLines({QStringLiteral("old line")}, {kBlue});
    plot.setYMarkers({5}, {QStringLiteral("old marker")}, {kGreen});
    plot.setXRange(0, 12);
    plot.setYRange(0, 11);
    plot.setManualRange(1, 9, 1, 8);
    oldBytes = plot.toBinary();
    oldText = plot.toCsv();
    oldPicture = picture();
}

::testing::AssertionResult PlotFileTest::showsOldPlot() {
    if (plot.toBinary() != oldBytes || plot.toCsv() != oldText) {
        return ::testing::AssertionFailure() << "the data have changed";
    }
    if (largestDifference(picture(), oldPicture) != 0) {
        return ::testing::AssertionFailure() << "the picture has changed";
    }
    plot.setXRange(0, 13); // does not reach the operator's view
    if (!hasView(plot, {1, 9, 1, 8})) {
        return ::testing::AssertionFailure() << "the operator's view is gone";
    }
    plot.setXRange(0, 12);
    return ::testing::AssertionSuccess();
}

::testing::AssertionResult PlotFileTest::loads(const QByteArray& bytes) {
    QString error;
    const bool loaded = plot.loadBinary(bytes, &error);
    return answered(loaded, error);
}

::testing::AssertionResult PlotFileTest::refuses(const QByteArray& bytes, const char* message) {
    QString error;
    const bool loaded = plot.loadBinary(bytes, &error);
    return failedWith(loaded, error, QString::fromUtf8(message));
}

::testing::AssertionResult PlotFileTest::loadsText(const QString& text) {
    QString error;
    const bool loaded = plot.loadCsv(text, &error);
    return answered(loaded, error);
}

::testing::AssertionResult PlotFileTest::refusesText(const QString& text, const QString& message) {
    QString error;
    const bool loaded = plot.loadCsv(text, &error);
    return failedWith(loaded, error, message);
}

} // namespace plottest
