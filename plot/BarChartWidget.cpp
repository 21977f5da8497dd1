#include "BarChartWidget.h"

#include "AxisLimitsDialog.h"
#include "PlotFile.h"
#include "PlotGeometry.h"
#include "PlotPainter.h"
#include "PlotScheme.h"
#include "PlotTicks.h"

#include <QFontMetrics>
#include <QMouseEvent>
#include <QPainter>
#include <QPointer>
#include <QWheelEvent>

#include <algorithm>

namespace qorn::timetagger::gui {

namespace {

constexpr QSize kSmallestSize{240, 180};
constexpr int kSmallestFont = 7;
constexpr int kLargestFont = 28;
constexpr double kThinnestLine = 0.5;
constexpr double kThickestLine = 8.0;

} // namespace

BarChartWidget::BarChartWidget(QWidget* parent) : QWidget(parent) {
    setMinimumSize(kSmallestSize);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setAutoFillBackground(false);
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    applyColorScheme();
}

BarChartWidget::~BarChartWidget() = default;

void BarChartWidget::setBars(const QList<double>& xs, const QList<double>& heights, double barWidth) {
    model.showBars(xs, heights, barWidth);
    update();
}

void BarChartWidget::setSeries(const QList<QList<double>>& xs, const QList<QList<double>>& ys,
                               const QStringList& labels, const QList<QColor>& colors, SeriesMode mode) {
    model.showSeries(xs, ys, labels, colors, mode);
    update();
}

void BarChartWidget::setOverlaySeries(const QList<QList<double>>& xs, const QList<QList<double>>& ys,
                                      const QStringList& labels, const QList<QColor>& colors,
                                      SeriesMode mode) {
    model.overlayXs = xs;
    model.overlayYs = ys;
    model.overlayLabels = labels;
    model.overlayColors = colors;
    model.overlayMode = mode;
    update();
}

void BarChartWidget::clearOverlaySeries() {
    model.clearOverlays();
    update();
}

void BarChartWidget::clearSeries() {
    model.clearData();
    update();
}

void BarChartWidget::setXRange(double lo, double hi) {
    model.automaticRange.xMin = lo;
    model.automaticRange.xMax = repairedUpper(lo, hi);
    if (!model.manualRange) {
        model.view.xMin = model.automaticRange.xMin;
        model.view.xMax = model.automaticRange.xMax;
    }
    update();
}

void BarChartWidget::setYRange(double lo, double hi) {
    model.automaticRange.yMin = lo;
    model.automaticRange.yMax = repairedUpper(lo, hi);
    if (!model.manualRange) {
        model.view.yMin = model.automaticRange.yMin;
        model.view.yMax = model.automaticRange.yMax;
    }
    update();
}

void BarChartWidget::setManualRange(double xMin, double xMax, double yMin, double yMax) {
    model.manualRange = true;
    model.view = {xMin, repairedUpper(xMin, xMax), yMin, repairedUpper(yMin, yMax)};
    update();
}

void BarChartWidget::setXTickLabels(const QList<double>& positions, const QStringList& labels) {
    model.tickPositions = positions;
    model.tickLabels = labels;
    update();
}

void BarChartWidget::setAxisLabels(const QString& x, const QString& y) {
    model.xAxisLabel = x;
    model.yAxisLabel = y;
    update();
}

void BarChartWidget::setColors(const QColor& fill, const QColor& border) {
    model.barFill = fill;
    model.barBorder = border;
    update();
}

void BarChartWidget::setLegendVisible(bool visible) {
    model.legendVisible = visible;
    update();
}

void BarChartWidget::setStatLines(const QStringList& texts, const QList<QColor>& colors) {
    model.statTexts = texts;
    model.statColors = colors;
    update();
}

void BarChartWidget::setYMarkers(const QList<double>& values, const QStringList& labels,
                                 const QList<QColor>& colors) {
    model.markerValues = values;
    model.markerLabels = labels;
    model.markerColors = colors;
    update();
}

void BarChartWidget::setPlotOptions(const QString& colorScheme, int fontPointSize, double lineWidth,
                                    Qt::PenStyle penStyle) {
    model.options.colorScheme = colorScheme;
    model.options.fontPointSize = std::clamp(fontPointSize, kSmallestFont, kLargestFont);
    // In this order NaN becomes the thinnest line.
    model.options.lineWidth = std::min(std::max(kThinnestLine, lineWidth), kThickestLine);
    model.options.penStyle = penStyle;
    applyColorScheme();
    ownFontSize = true;
    setFont(plotFont());
    update();
}

PlotOptions BarChartWidget::plotOptions() const {
    return model.options;
}

bool BarChartWidget::boxZoomMode() const {
    return model.boxZoomMode;
}

QRectF BarChartWidget::plotRect() const {
    return plotArea(size(), QFontMetrics(plotFont(), this).height(), !model.xAxisLabel.isEmpty());
}

double BarChartWidget::pixelFromValueX(double value, const QRectF& rect) const {
    return PlotMapping{model.view, rect}.pixelX(value);
}

double BarChartWidget::pixelFromValueY(double value, const QRectF& rect) const {
    return PlotMapping{model.view, rect}.pixelY(value);
}

double BarChartWidget::valueFromPixelX(double pixel, const QRectF& rect) const {
    return PlotMapping{model.view, rect}.valueX(pixel);
}

double BarChartWidget::valueFromPixelY(double pixel, const QRectF& rect) const {
    return PlotMapping{model.view, rect}.valueY(pixel);
}

QColor BarChartWidget::seriesColor(int index) const {
    return mainSeriesColor(model, index);
}

QList<double> BarChartWidget::niceTicks(double min, double max, int target, int& decimals) {
    return gui::niceTicks(min, max, target, decimals);
}

QString BarChartWidget::formatTick(double value, int decimals) {
    return gui::formatTick(value, decimals);
}

QByteArray BarChartWidget::toBinary() const {
    return encodePlot(model);
}

bool BarChartWidget::loadBinary(const QByteArray& bytes, QString* error) {
    if (!decodePlot(bytes, model, error))
        return false;
    update();
    return true;
}

QString BarChartWidget::toCsv() const {
    return encodePlotCsv(model);
}

bool BarChartWidget::loadCsv(const QString& text, QString* error) {
    if (!decodePlotCsv(text, model, error))
        return false;
    update();
    return true;
}

void BarChartWidget::resetView() {
    model.manualRange = false;
    model.view = model.automaticRange;
    update();
}

void BarChartWidget::promptAxisLimits() {
    // The plot can be closed while the dialog is open; the dialog then goes with it.
    const QPointer<AxisLimitsDialog> dialog = new AxisLimitsDialog(model.view, this);
    const int answer = dialog->exec();
    if (!dialog)
        return;
    const auto limits = dialog->limits();
    dialog->deleteLater();
    if (answer == QDialog::Accepted && limits)
        setManualRange(limits->xMin, limits->xMax, limits->yMin, limits->yMax);
}

void BarChartWidget::setBoxZoomMode(bool enabled) {
    model.boxZoomMode = enabled;
}

void BarChartWidget::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QFont font = plotFont();
    painter.setFont(font);
    PlotPainter(painter, model, palette(), QFontMetrics(font, this), size(), plotRect()).paint();
}

void BarChartWidget::mousePressEvent(QMouseEvent* event) {
    const bool wasPanning = model.dragMode == PlotDragMode::Pan;
    if (!interaction.press(event->button(), event->modifiers(), event->position(), plotRect())) {
        QWidget::mousePressEvent(event);
        return;
    }
    if (model.dragMode == PlotDragMode::Pan)
        setCursor(Qt::ClosedHandCursor);
    else if (wasPanning)
        unsetCursor();
}

void BarChartWidget::mouseMoveEvent(QMouseEvent* event) {
    interaction.move(event->position(), plotRect());
    update();
}

void BarChartWidget::mouseReleaseEvent(QMouseEvent* event) {
    if (model.dragMode == PlotDragMode::Pan)
        unsetCursor();
    interaction.release(event->position(), plotRect());
    update();
}

void BarChartWidget::mouseDoubleClickEvent(QMouseEvent* event) {
    if (plotRect().contains(event->position()))
        resetView();
    else
        QWidget::mouseDoubleClickEvent(event);
}

// The wheel belongs to the panel around the plot.
void BarChartWidget::wheelEvent(QWheelEvent* event) {
    event->ignore();
}

void BarChartWidget::leaveEvent(QEvent*) {
    interaction.leave();
    update();
}

void BarChartWidget::applyColorScheme() {
    model.scheme = plotScheme(model.options.colorScheme);
}

QFont BarChartWidget::plotFont() const {
    QFont plotted = font();
    if (ownFontSize)
        plotted.setPointSize(model.options.fontPointSize);
    return plotted;
}

} // namespace qorn::timetagger::gui
