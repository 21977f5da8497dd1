#include "PlotFile.h"

#include <QDataStream>
#include <QFile>
#include <QIODevice>
#include <QtEndian>

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace {

using namespace qorn::timetagger::gui;

// Highest address space that this process ever used, in bytes. It grows with what is reserved, touched or
// not.
qint64 peakAddressSpace() {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray& line : lines) {
        if (line.startsWith("VmPeak:"))
            return line.mid(7).trimmed().split(' ').first().toLongLong() * 1024;
    }
    return -1;
}

// Every list with something in it.
PlotModel fullPlot() {
    PlotModel plot;
    plot.xAxisLabel = QStringLiteral("Time (s)");
    plot.yAxisLabel = QStringLiteral("Rate");
    plot.barXs = {1, 2};
    plot.barHeights = {3, 4};
    plot.seriesXs = {{1, 2}, {3}};
    plot.seriesYs = {{4, 5}, {6}};
    plot.seriesLabels = QStringList{QStringLiteral("a"), QStringLiteral("b")};
    plot.seriesColors = {QColor(1, 2, 3), QColor(4, 5, 6)};
    plot.overlayXs = {{7}};
    plot.overlayYs = {{8}};
    plot.overlayLabels = QStringList{QStringLiteral("fit")};
    plot.overlayColors = {QColor(7, 8, 9)};
    plot.statTexts = QStringList{QStringLiteral("mean")};
    plot.statColors = {QColor(10, 11, 12)};
    plot.markerValues = {13};
    plot.markerLabels = QStringList{QStringLiteral("max")};
    plot.markerColors = {QColor(14, 15, 16)};
    return plot;
}

// Some of these positions are counts and lengths, whatever the layout; at the others such a number does no
// harm either.
TEST(PlotEncoding, NothingIsReservedForACountThatTheBytesCannotHold) {
    const QByteArray bytes = encodePlot(fullPlot());
    PlotModel warmUp;
    ASSERT_TRUE(decodePlot(bytes, warmUp, nullptr));
    const qint64 before = peakAddressSpace();
    ASSERT_GT(before, 0);
    int refused = 0;
    for (const quint32 forged : {0xfffffffeU, 0x80000000U, 0x7ffffffeU, 0x10000000U, 5'000'000U}) {
        for (qsizetype at = 11; at + 4 <= bytes.size(); ++at) {
            QByteArray changed = bytes;
            qToLittleEndian(forged, changed.data() + at);
            PlotModel plot;
            refused += decodePlot(changed, plot, nullptr) ? 0 : 1;
        }
    }
    EXPECT_GT(refused, 5 * 26);
    EXPECT_LT(peakAddressSpace() - before, 2 * 1024 * 1024);
}

TEST(PlotEncoding, EveryPrefixIsRefusedAndLeavesThePlotAlone) {
    const QByteArray bytes = encodePlot(fullPlot());
    PlotModel plot;
    plot.showBars({1}, {2}, 3.0);
    const QByteArray shown = encodePlot(plot);
    for (qsizetype size = 0; size < bytes.size(); ++size) {
        QString error;
        ASSERT_FALSE(decodePlot(bytes.first(size), plot, &error)) << size;
        ASSERT_FALSE(error.isEmpty()) << size;
        ASSERT_EQ(encodePlot(plot), shown) << size;
    }
    EXPECT_TRUE(decodePlot(bytes, plot, nullptr));
    EXPECT_EQ(encodePlot(plot), bytes);
}

// The same fields one by one through QDataStream.
TEST(PlotEncoding, BytesAreThoseOfTheStreamsOwnEncodings) {
    const PlotModel plot = fullPlot();
    QByteArray expected;
    QDataStream stream(&expected, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_6_0);
    stream.setByteOrder(QDataStream::LittleEndian);
    stream.writeRawData("QORNPLT", 7);
    stream << qint32(1) << plot.xAxisLabel << plot.yAxisLabel << qint32(0) << plot.barWidth << plot.barXs
           << plot.barHeights << plot.seriesXs << plot.seriesYs << plot.seriesLabels << plot.seriesColors
           << qint32(1) << plot.overlayXs << plot.overlayYs << plot.overlayLabels << plot.overlayColors
           << plot.statTexts << plot.statColors << plot.markerValues << plot.markerLabels
           << plot.markerColors;
    EXPECT_EQ(encodePlot(plot), expected);
}

TEST(PlotEncoding, AKindOfColourThatDoesNotExistIsRefused) {
    PlotModel plot = fullPlot();
    const QByteArray bytes = encodePlot(plot);
    const qsizetype lastColor = bytes.size() - 11;
    for (const char kind : {char(6), char(77), char(-1)}) {
        QByteArray changed = bytes;
        changed[lastColor] = kind;
        EXPECT_FALSE(decodePlot(changed, plot, nullptr)) << int(kind);
    }
    for (const char kind : {char(0), char(5)}) {
        QByteArray changed = bytes;
        changed[lastColor] = kind;
        EXPECT_TRUE(decodePlot(changed, plot, nullptr)) << int(kind);
    }
}

} // namespace
