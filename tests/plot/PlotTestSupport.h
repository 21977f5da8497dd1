// Shared by the plot tests: pictures of a widget at one device pixel per pixel, measurements of strokes and
// areas on them, the colours of every scheme, and mouse events without a mouse.
#pragma once

#include "BarChartWidget.h"

#include <QColor>
#include <QEvent>
#include <QFont>
#include <QImage>
#include <QList>
#include <QPointF>
#include <QString>

#include <gtest/gtest.h>

namespace plottest {

using qorn::timetagger::gui::BarChartWidget;

// Palette of the widgets under test in schemes without colours of their own; deliberately not black and
// white.
inline constexpr QColor kGround(240, 244, 248);
inline constexpr QColor kInk(16, 24, 32);
inline constexpr QColor kRed(200, 30, 40);
inline constexpr QColor kBlue(20, 60, 210);
inline constexpr QColor kGreen(10, 140, 50);
// What bars look like when nobody has set their colours.
inline constexpr QColor kDefaultFill(0x40, 0x96, 0x78);
inline constexpr QColor kDefaultBorder(0x22, 0x69, 0x52);

struct View {
    double xMin = 0.0;
    double xMax = 1.0;
    double yMin = 0.0;
    double yMax = 1.0;
};

View viewOf(const BarChartWidget& plot);
// Equal to a billionth of the larger of span and distance from zero.
::testing::AssertionResult hasView(const BarChartWidget& plot, const View& expected);

// What the widget itself paints; pixels that it leaves alone stay magenta.
QImage pictureOf(QWidget& widget);

// `top` with an alpha of 0 to 255 over an opaque ground.
QColor blend(const QColor& top, int alpha, const QColor& ground);
inline QColor blend(const QColor& top, const QColor& ground) {
    return blend(top, top.alpha(), ground);
}
::testing::AssertionResult sameColour(const QColor& actual, const QColor& expected, int tolerance = 2);
::testing::AssertionResult samePixel(const QImage& image, int column, int row, const QColor& expected,
                                     int tolerance = 2);
// Largest difference of a channel over all pixels of two pictures of one size.
int largestDifference(const QImage& a, const QImage& b);
int largestDifference(const QImage& a, const QImage& b, const QRect& within);
// Mean difference of a channel over `within`, from 0 to 1.
double meanDifference(const QImage& a, const QImage& b, const QRect& within);

// A stroke that crosses a row or a column of pixels: the sum of its coverages is its width, their centre of
// gravity its position (a pixel k reaches from k to k + 1).
struct Stroke {
    double width = 0.0;
    double centre = 0.0;
};
Stroke strokeAcrossRows(const QImage& image, int column, int firstRow, int lastRow, const QColor& ground,
                        const QColor& ink);
Stroke strokeAcrossColumns(const QImage& image, int row, int firstColumn, int lastColumn,
                           const QColor& ground, const QColor& ink);
::testing::AssertionResult isStroke(const Stroke& stroke, double width, double centre,
                                    double tolerance = 0.15);

// All ink of one colour in a rectangle of pixels.
struct InkArea {
    double pixels = 0.0;
    QPointF centre;
};
InkArea inkIn(const QImage& image, const QRect& within, const QColor& ground, const QColor& ink);

// Colour of a stroke one pixel wide that crosses a strip, wherever it lies between the pixels.
QColor inkAcross(const QImage& image, const QRect& strip, const QColor& ground);

// The region shows what was drawn on `ground` to get `expected`, but for a few percent of its ink.
::testing::AssertionResult showsSame(const QImage& image, const QImage& expected, const QImage& ground,
                                     const QRect& region);
// The rectangle shows the text as QPainter would set it on `ground`, with the same tolerance.
::testing::AssertionResult showsText(const QImage& image, const QImage& ground, const QFont& font,
                                     const QRectF& rectangle, Qt::Alignment alignment, const QString& text,
                                     const QColor& colour);
QImage plainImage(const QSize& size, const QColor& colour);

// Every colour scheme with the colours in force while painting.
struct Scheme {
    QString name;
    QColor background;
    QColor foreground;
    QColor grid;
    QColor tick;
    QList<QColor> palette;
};
QList<Scheme> schemes();
std::string schemeTestName(const ::testing::TestParamInfo<Scheme>& info);
void PrintTo(const Scheme& scheme, std::ostream* stream);

// Sends the events that a mouse would cause; `accepted()` tells of the last one.
class Mouse {
public:
    explicit Mouse(QWidget& target) : m_target(target) {}
    void press(const QPointF& position, Qt::MouseButton button = Qt::LeftButton,
               Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    void move(const QPointF& position);
    void release(const QPointF& position);
    void doubleClick(const QPointF& position, Qt::MouseButton button = Qt::LeftButton);
    // Press, one move to the end, release.
    void drag(const QPointF& from, const QPointF& to, Qt::MouseButton button = Qt::LeftButton,
              Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    void leave();
    bool accepted() const { return m_accepted; }

private:
    void send(QEvent::Type type, const QPointF& position, Qt::MouseButton button);

    QWidget& m_target;
    Qt::MouseButtons m_held;
    Qt::MouseButton m_last = Qt::NoButton;
    Qt::KeyboardModifiers m_modifiers;
    bool m_accepted = false;
};

// Counts the paints of a shown widget.
class PaintCounter : public QObject {
public:
    explicit PaintCounter(QWidget& target);
    // Works off what is pending and returns the paints since the last call.
    int takePaints();
    bool eventFilter(QObject* object, QEvent* event) override;

private:
    int m_paints = 0;
};

// A plot area of 400 by 200 pixels at (64, 16), view 0 to 10 on both axes: 40 pixels per unit of x, 20 of y,
// grid lines at even values.
class PlotTest : public ::testing::Test {
protected:
    PlotTest();
    QPointF pixel(double x, double y) const;
    int column(double x) const;
    int row(double y) const;
    // Custom ticks far outside: neither marks nor vertical grid lines.
    void hideXTicks();
    void useScheme(const QString& name, double lineWidth = 1.8, Qt::PenStyle style = Qt::SolidLine);
    QImage picture();

    BarChartWidget plot;
};

} // namespace plottest
