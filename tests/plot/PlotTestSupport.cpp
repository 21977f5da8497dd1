#include "PlotTestSupport.h"

#include <QApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QPalette>
#include <QTest>

#include <algorithm>
#include <array>
#include <cmath>
#include <ostream>

namespace plottest {
namespace {

std::array<int, 3> channels(QRgb pixel) {
    return {qRed(pixel), qGreen(pixel), qBlue(pixel)};
}

int difference(QRgb a, QRgb b) {
    const auto left = channels(a);
    const auto right = channels(b);
    int largest = 0;
    for (std::size_t i = 0; i < left.size(); ++i) {
        largest = std::max(largest, std::abs(left[i] - right[i]));
    }
    return largest;
}

// How much of the way from the ground to the ink a pixel has gone.
double coverage(QRgb pixel, const QColor& ground, const QColor& ink) {
    const auto at = channels(pixel);
    const auto from = channels(ground.rgb());
    const auto to = channels(ink.rgb());
    double along = 0.0;
    double whole = 0.0;
    for (std::size_t i = 0; i < at.size(); ++i) {
        along += double(at[i] - from[i]) * double(to[i] - from[i]);
        whole += double(to[i] - from[i]) * double(to[i] - from[i]);
    }
    return whole > 0.0 ? along / whole : 0.0;
}

bool closeTo(double actual, double expected, double span) {
    return std::abs(actual - expected) <= 1e-9 * std::max({1e-12, std::abs(span), std::abs(expected)});
}

double summedDifference(const QImage& a, const QImage& b, const QRect& within) {
    double sum = 0.0;
    for (int y = within.top(); y <= within.bottom(); ++y) {
        for (int x = within.left(); x <= within.right(); ++x) {
            sum += difference(a.pixel(x, y), b.pixel(x, y));
        }
    }
    return sum;
}

} // namespace

View viewOf(const BarChartWidget& plot) {
    const QRectF area = plot.plotRect();
    return {plot.valueFromPixelX(area.left(), area), plot.valueFromPixelX(area.right(), area),
            plot.valueFromPixelY(area.bottom(), area), plot.valueFromPixelY(area.top(), area)};
}

::testing::AssertionResult hasView(const BarChartWidget& plot, const View& expected) {
    const View view = viewOf(plot);
    const double spanX = expected.xMax - expected.xMin;
    const double spanY = expected.yMax - expected.yMin;
    if (closeTo(view.xMin, expected.xMin, spanX) && closeTo(view.xMax, expected.xMax, spanX) &&
        closeTo(view.yMin, expected.yMin, spanY) && closeTo(view.yMax, expected.yMax, spanY)) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure()
           << "view is x " << view.xMin << " to " << view.xMax << ", y " << view.yMin << " to " << view.yMax
           << " instead of x " << expected.xMin << " to " << expected.xMax << ", y " << expected.yMin
           << " to " << expected.yMax;
}

QImage pictureOf(QWidget& widget) {
    QImage image = plainImage(widget.size(), Qt::magenta);
    widget.render(&image, QPoint(), QRegion(), QWidget::RenderFlags());
    return image;
}

QColor blend(const QColor& top, int alpha, const QColor& ground) {
    const auto mix = [alpha](int over, int under) {
        return int(std::lround((over * alpha + under * (255 - alpha)) / 255.0));
    };
    return QColor(mix(top.red(), ground.red()), mix(top.green(), ground.green()),
                  mix(top.blue(), ground.blue()));
}

::testing::AssertionResult sameColour(const QColor& actual, const QColor& expected, int tolerance) {
    if (difference(actual.rgb(), expected.rgb()) <= tolerance) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure()
           << "colour " << actual.name().toStdString() << " instead of " << expected.name().toStdString();
}

::testing::AssertionResult samePixel(const QImage& image, int column, int row, const QColor& expected,
                                     int tolerance) {
    if (!image.rect().contains(column, row)) {
        return ::testing::AssertionFailure() << "no pixel at " << column << ", " << row;
    }
    return sameColour(QColor(image.pixel(column, row)), expected, tolerance)
           << " at pixel " << column << ", " << row;
}

int largestDifference(const QImage& a, const QImage& b) {
    EXPECT_EQ(a.size(), b.size());
    return largestDifference(a, b, a.rect());
}

int largestDifference(const QImage& a, const QImage& b, const QRect& within) {
    const QRect common = within & a.rect() & b.rect();
    int largest = 0;
    for (int y = common.top(); y <= common.bottom(); ++y) {
        for (int x = common.left(); x <= common.right(); ++x) {
            largest = std::max(largest, difference(a.pixel(x, y), b.pixel(x, y)));
        }
    }
    return largest;
}

double meanDifference(const QImage& a, const QImage& b, const QRect& within) {
    double sum = 0.0;
    for (int y = within.top(); y <= within.bottom(); ++y) {
        for (int x = within.left(); x <= within.right(); ++x) {
            const auto left = channels(a.pixel(x, y));
            const auto right = channels(b.pixel(x, y));
            for (std::size_t i = 0; i < left.size(); ++i) {
                sum += std::abs(left[i] - right[i]);
            }
        }
    }
    return sum / (255.0 * 3.0 * within.width() * within.height());
}

Stroke strokeAcrossRows(const QImage& image, int column, int firstRow, int lastRow, const QColor& ground,
                        const QColor& ink) {
    const InkArea area = inkIn(image, QRect(QPoint(column, firstRow), QPoint(column, lastRow)), ground, ink);
    return {area.pixels, area.centre.y()};
}

Stroke strokeAcrossColumns(const QImage& image, int row, int firstColumn, int lastColumn,
                           const QColor& ground, const QColor& ink) {
    const InkArea area = inkIn(image, QRect(QPoint(firstColumn, row), QPoint(lastColumn, row)), ground, ink);
    return {area.pixels, area.centre.x()};
}

::testing::AssertionResult isStroke(const Stroke& stroke, double width, double centre, double tolerance) {
    const bool placed = width == 0.0 || std::abs(stroke.centre - centre) <= tolerance;
    if (std::abs(stroke.width - width) <= tolerance && placed) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "stroke of width " << stroke.width << " at " << stroke.centre
                                         << " instead of width " << width << " at " << centre;
}

InkArea inkIn(const QImage& image, const QRect& within, const QColor& ground, const QColor& ink) {
    EXPECT_TRUE(image.rect().contains(within));
    InkArea area;
    double sumX = 0.0;
    double sumY = 0.0;
    for (int y = within.top(); y <= within.bottom(); ++y) {
        for (int x = within.left(); x <= within.right(); ++x) {
            const double share = coverage(image.pixel(x, y), ground, ink);
            area.pixels += share;
            sumX += share * (x + 0.5);
            sumY += share * (y + 0.5);
        }
    }
    if (std::abs(area.pixels) > 0.05) {
        area.centre = QPointF(sumX / area.pixels, sumY / area.pixels);
    }
    return area;
}

::testing::AssertionResult showsSame(const QImage& image, const QImage& expected, const QImage& ground,
                                     const QRect& region) {
    const QRect visible = region & image.rect();
    const double ink = summedDifference(expected, ground, visible);
    if (ink < 200.0) {
        return ::testing::AssertionFailure() << "no ink is expected";
    }
    const double off = summedDifference(image, expected, visible);
    if (off < 0.06 * ink) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "differs from the expectation by " << off / ink << " of its ink";
}

::testing::AssertionResult showsText(const QImage& image, const QImage& ground, const QFont& font,
                                     const QRectF& rectangle, Qt::Alignment alignment, const QString& text,
                                     const QColor& colour) {
    QImage expected = ground;
    QPainter painter(&expected);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setFont(font);
    painter.setPen(colour);
    painter.drawText(rectangle, int(alignment), text);
    painter.end();
    return showsSame(image, expected, ground, rectangle.toAlignedRect())
           << " for the text \"" << text.toStdString() << "\"";
}

QColor inkAcross(const QImage& image, const QRect& strip, const QColor& ground) {
    std::array<int, 3> sum = channels(ground.rgb());
    for (int y = strip.top(); y <= strip.bottom(); ++y) {
        for (int x = strip.left(); x <= strip.right(); ++x) {
            const auto at = channels(image.pixel(x, y));
            const auto under = channels(ground.rgb());
            for (std::size_t i = 0; i < sum.size(); ++i) {
                sum[i] += at[i] - under[i];
            }
        }
    }
    for (int& channel : sum) {
        channel = std::clamp(channel, 0, 255);
    }
    return QColor(sum[0], sum[1], sum[2]);
}

QImage plainImage(const QSize& size, const QColor& colour) {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(colour);
    return image;
}

QList<Scheme> schemes() {
    const auto named = [](const char* name, QRgb background, QRgb foreground, QRgb grid, int alpha,
                          const QList<QColor>& palette) {
        QColor gridColour(grid);
        gridColour.setAlpha(alpha);
        QColor tick(foreground);
        tick.setAlpha(170);
        return Scheme{
            QString::fromLatin1(name), QColor(background), QColor(foreground), gridColour, tick, palette};
    };
    const Scheme plain{QStringLiteral("Default"), kGround, kInk, QColor(0x78, 0x78, 0x78, 70),
                       QColor(0x78, 0x78, 0x78),  {}};
    return {
        plain,
        named("Dark", 0x12161a, 0xdee8f0, 0x4a5562, 95, {0x7ecbff, 0xffcd7c, 0xff9191, 0x9bdcaa}),
        named("Bright", 0xfcfdff, 0x222a34, 0xbec6d0, 130, {0x245f8f, 0x2f9a7e, 0xd57b1d, 0x8a52b3}),
        named("High contrast", 0x000000, 0xffffff, 0xd2d2d2, 110, {0xffe000, 0x00d2ff, 0xff4e4e, 0x6eff6e}),
        named("Classic", 0xffffff, 0x000000, 0xb4b4b4, 135, {0x1f77b4, 0xff7f0e, 0x2ca02c, 0xd62728}),
        named("Dark Modern", 0x1e1e1e, 0xd4d4d4, 0x636363, 100, {0x569cd6, 0x4ec9b0, 0xce9178, 0xc586c0}),
        named("Qorn", 0x060a16, 0xe5e7eb, 0x5d6680, 105, {0x12b8a6, 0x37f4b5, 0xc4b5fd, 0xfbbf24})};
}

std::string schemeTestName(const ::testing::TestParamInfo<Scheme>& info) {
    QString name = info.param.name;
    return name.remove(QLatin1Char(' ')).toStdString();
}

void PrintTo(const Scheme& scheme, std::ostream* stream) {
    *stream << scheme.name.toStdString();
}

void Mouse::press(const QPointF& position, Qt::MouseButton button, Qt::KeyboardModifiers modifiers) {
    m_held |= button;
    m_last = button;
    m_modifiers = modifiers;
    send(QEvent::MouseButtonPress, position, button);
}

void Mouse::move(const QPointF& position) {
    send(QEvent::MouseMove, position, Qt::NoButton);
}

void Mouse::release(const QPointF& position) {
    m_held &= ~Qt::MouseButtons(m_last);
    send(QEvent::MouseButtonRelease, position, m_last);
}

void Mouse::doubleClick(const QPointF& position, Qt::MouseButton button) {
    press(position, button);
    release(position);
    m_held |= button;
    send(QEvent::MouseButtonDblClick, position, button);
    release(position);
}

void Mouse::drag(const QPointF& from, const QPointF& to, Qt::MouseButton button,
                 Qt::KeyboardModifiers modifiers) {
    press(from, button, modifiers);
    move(to);
    release(to);
}

void Mouse::leave() {
    QEvent event(QEvent::Leave);
    QCoreApplication::sendEvent(&m_target, &event);
}

void Mouse::send(QEvent::Type type, const QPointF& position, Qt::MouseButton button) {
    QMouseEvent event(type, position, m_target.mapToGlobal(position), button, m_held, m_modifiers);
    QCoreApplication::sendEvent(&m_target, &event);
    m_accepted = event.isAccepted();
}

PaintCounter::PaintCounter(QWidget& target) {
    target.installEventFilter(this);
}

int PaintCounter::takePaints() {
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents();
    return std::exchange(m_paints, 0);
}

bool PaintCounter::eventFilter(QObject*, QEvent* event) {
    m_paints += event->type() == QEvent::Paint ? 1 : 0;
    return false;
}

PlotTest::PlotTest() {
    QPalette palette;
    palette.setColor(QPalette::Base, kGround);
    palette.setColor(QPalette::Text, kInk);
    plot.setPalette(palette);
    plot.resize(480, 258);
    plot.setXRange(0.0, 10.0);
    plot.setYRange(0.0, 10.0);
}

QPointF PlotTest::pixel(double x, double y) const {
    const View view = viewOf(plot);
    const QRectF area = plot.plotRect();
    return {area.left() + (x - view.xMin) / (view.xMax - view.xMin) * area.width(),
            area.bottom() - (y - view.yMin) / (view.yMax - view.yMin) * area.height()};
}

int PlotTest::column(double x) const {
    return int(std::lround(pixel(x, 0.0).x()));
}

int PlotTest::row(double y) const {
    return int(std::lround(pixel(0.0, y).y()));
}

void PlotTest::hideXTicks() {
    plot.setXTickLabels({1e9}, {QString()});
}

void PlotTest::useScheme(const QString& name, double lineWidth, Qt::PenStyle style) {
    plot.setPlotOptions(name, 10, lineWidth, style);
}

QImage PlotTest::picture() {
    return pictureOf(plot);
}

} // namespace plottest
