// Plot data files byte by byte, without the stream class that the program writes them with: every field as
// it stands in the file, so that a test can also write wrong ones.
#pragma once

#include <QByteArray>
#include <QColor>
#include <QList>
#include <QString>
#include <QStringList>

#include <cstdint>

namespace plottest {

class ByteWriter {
public:
    void raw(const QByteArray& more) { m_bytes.append(more); }
    void int32(std::int64_t value) { little(static_cast<std::uint64_t>(value), 4); }
    void real(double value);
    void text(const QString& value); // null as null
    void colour(const QColor& value);
    void reals(const QList<double>& values);
    void realLists(const QList<QList<double>>& lists);
    void texts(const QStringList& values);
    void colours(const QList<QColor>& values);
    QByteArray bytes() const { return m_bytes; }

private:
    void little(std::uint64_t value, int size);

    QByteArray m_bytes;
};

// Numbers of the fields as they follow each other in a file.
enum class PlotField {
    Magic = 1,
    Version,
    XLabel,
    YLabel,
    SeriesMode,
    BarWidth,
    BarXs,
    BarHeights,
    SeriesXs,
    SeriesYs,
    SeriesLabels,
    SeriesColours,
    OverlayMode,
    OverlayXs,
    OverlayYs,
    OverlayLabels,
    OverlayColours,
    StatTexts,
    StatColours,
    MarkerValues,
    MarkerLabels,
    MarkerColours,
    End
};

struct PlotFileFields {
    QByteArray magic = QByteArrayLiteral("QORNPLT");
    std::int64_t version = 1;
    QString xLabel = QStringLiteral("x");
    QString yLabel = QStringLiteral("y");
    std::int64_t seriesMode = 1;
    double barWidth = 1.0;
    QList<double> barXs;
    QList<double> barHeights;
    QList<QList<double>> seriesXs;
    QList<QList<double>> seriesYs;
    QStringList seriesLabels;
    QList<QColor> seriesColours;
    std::int64_t overlayMode = 1;
    QList<QList<double>> overlayXs;
    QList<QList<double>> overlayYs;
    QStringList overlayLabels;
    QList<QColor> overlayColours;
    QStringList statTexts;
    QList<QColor> statColours;
    QList<double> markerValues;
    QStringList markerLabels;
    QList<QColor> markerColours;

    // All fields in front of `end`.
    QByteArray bytesUpTo(PlotField end) const;
    QByteArray bytes() const { return bytesUpTo(PlotField::End); }
};

// A file with something in every list, bars as well as series.
PlotFileFields fullPlotFile();

// A file that was laid down by hand, from the tests' data folder.
QByteArray goldenPlot(const char* name);

} // namespace plottest
