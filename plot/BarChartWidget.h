// The one plot of the system: bars, or line or point series, with overlays, a statistics box, a legend and
// Y markers, painted by hand in one paint event; pan, axis zoom and hover readout by the mouse.
//
// Owned by its tab, GUI thread only. The owner hands in complete data and ranges; the widget keeps no history
// and computes no ranges of its own. All lists are implicitly shared values. Positions and ranges are in axis
// units, whatever the owner says these are. Setters ask for a repaint unless said otherwise.
#pragma once

#include "PlotInteraction.h"
#include "PlotModel.h"

#include <QByteArray>
#include <QColor>
#include <QFont>
#include <QList>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <QStringList>
#include <QWidget>

namespace qorn::timetagger::gui {

class BarChartWidget : public QWidget {
    Q_OBJECT
public:
    // What the main data or the overlays are; the numbers stand in plot files.
    using SeriesMode = PlotSeriesMode;
    static constexpr SeriesMode Bars = SeriesMode::Bars;
    static constexpr SeriesMode Lines = SeriesMode::Lines;
    static constexpr SeriesMode Points = SeriesMode::Points;

    explicit BarChartWidget(QWidget* parent = nullptr);
    ~BarChartWidget() override;

    // Main data: bars of one full width (axis units, negative counts as 0), or series. Each replaces the
    // other; overlays stay.
    void setBars(const QList<double>& xs, const QList<double>& heights, double barWidth);
    void setSeries(const QList<QList<double>>& xs, const QList<QList<double>>& ys, const QStringList& labels,
                   const QList<QColor>& colors, SeriesMode mode);
    void setOverlaySeries(const QList<QList<double>>& xs, const QList<QList<double>>& ys,
                          const QStringList& labels, const QList<QColor>& colors, SeriesMode mode);
    void clearOverlaySeries();
    // Empties bars, series and overlays; modes, ticks, stat lines, markers and ranges stay.
    void clearSeries();

    // The owner's range. A range whose lo is not below hi becomes lo to lo + 1. Reaches the view unless the
    // operator has zoomed or panned.
    void setXRange(double lo, double hi);
    void setYRange(double lo, double hi);
    // Sets the view and keeps the owner's later ranges away from it until resetView().
    void setManualRange(double xMin, double xMax, double yMin, double yMax);

    // Replaces the automatic X ticks; an empty list gives them back.
    void setXTickLabels(const QList<double>& positions, const QStringList& labels);
    void setAxisLabels(const QString& x, const QString& y);
    void setColors(const QColor& fill, const QColor& border);
    void setLegendVisible(bool visible);
    void setStatLines(const QStringList& texts, const QList<QColor>& colors);
    void setYMarkers(const QList<double>& values, const QStringList& labels, const QList<QColor>& colors);

    // Font size is clamped to 7 to 28 points, line width to 0.5 to 8 pixels; an unknown scheme is "Default".
    void setPlotOptions(const QString& colorScheme, int fontPointSize, double lineWidth,
                        Qt::PenStyle penStyle);
    PlotOptions plotOptions() const;
    bool boxZoomMode() const;

    // The plot area in widget pixels, and the mapping between it and the view.
    QRectF plotRect() const;
    double pixelFromValueX(double value, const QRectF& rect) const;
    double pixelFromValueY(double value, const QRectF& rect) const;
    double valueFromPixelX(double pixel, const QRectF& rect) const;
    double valueFromPixelY(double pixel, const QRectF& rect) const;

    // Colour of a main series: scheme palette, else the series' own, else the bar fill.
    QColor seriesColor(int index) const;

    // Tick positions for a range, and the decimals their texts need. Empty with decimals 0 unless max > min
    // and target > 1.
    static QList<double> niceTicks(double min, double max, int target, int& decimals);
    // Text of a tick with trailing zeros removed and a suffix k, M, G or T from 1000 on.
    static QString formatTick(double value, int decimals);

    // The whole display state as bytes of a plot file, and only the data as comma separated text; the loaders
    // show what such bytes or such a text hold and let the view go over all of it. On false the plot is as it
    // was and `error`, if not null, says why. Formats: docs/formats.md.
    QByteArray toBinary() const;
    bool loadBinary(const QByteArray& bytes, QString* error);
    QString toCsv() const;
    bool loadCsv(const QString& text, QString* error);

public Q_SLOTS:
    void resetView();
    void promptAxisLimits();
    void setBoxZoomMode(bool enabled);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    void applyColorScheme();
    // The widget's font in the size of the plot options, which a style sheet does not change.
    QFont plotFont() const;

    PlotModel model;
    PlotInteraction interaction{model};
    bool ownFontSize = false;
};

} // namespace qorn::timetagger::gui
