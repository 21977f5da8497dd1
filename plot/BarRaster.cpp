#include "BarRaster.h"

#include <QImage>
#include <QPainter>
#include <QTransform>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace qorn::timetagger::gui {

namespace {

constexpr size_t kFewBars = 64;
// Bars over one pixel column, on average, beyond which a bar at a time is no slower.
constexpr size_t kMostBarsPerColumn = 256;

// Rows of a bar that are all covered alike.
struct Band {
    int firstRow;
    int endRow;
    double fill;  // covered heights
    double outer; // of the border's outline
    double inner; // of the hole in the border
    double inset; // what the bevelled corners take off the outline at each side
};

struct Bar {
    QRectF rect; // in pixels of the image
    int firstColumn;
    int endColumn;
    size_t firstBand = 0;
    size_t endBand = 0;
};

struct Change {
    int column;
    QRgb color;
    int nextInRow;
};

double overlap(double low, double high, int pixel) {
    return std::clamp(std::min(high, pixel + 1.0) - std::max(low, double(pixel)), 0.0, 1.0);
}

class BarRaster {
public:
    BarRaster(QSize pixels, double halfBorderWidth, const BarStyle& style)
        : size(pixels), halfBorder(halfBorderWidth), borderColor(style.border.rgb()),
          fillColor(style.fill.rgb()), borderAlpha(style.border.alphaF()), fillAlpha(style.fill.alphaF()) {}

    // False when the bars overlap too often.
    bool setBars(std::span<const QRectF> rects, const QTransform& toImage) {
        bars.reserve(rects.size());
        size_t covered = 0;
        for (const QRectF& rect : rects) {
            Bar bar{toImage.mapRect(rect), 0, 0};
            bar.firstColumn = clampedTo(size.width(), std::floor(bar.rect.left() - halfBorder));
            bar.endColumn = clampedTo(size.width(), std::ceil(bar.rect.right() + halfBorder));
            if (bar.firstColumn >= bar.endColumn)
                continue;
            covered += static_cast<size_t>(bar.endColumn - bar.firstColumn);
            bars.push_back(bar);
        }
        return covered <= kMostBarsPerColumn * static_cast<size_t>(size.width());
    }

    QImage image() {
        for (Bar& bar : bars)
            addBands(bar);
        sortIntoColumns();
        lastChangeInRow.assign(static_cast<size_t>(size.height()), -1);
        for (int column = 0; column < size.width(); ++column)
            mixColumn(column);
        return writeRows();
    }

private:
    static int clampedTo(int limit, double value) {
        return static_cast<int>(std::clamp(value, 0.0, double(limit)));
    }

    void addBands(Bar& bar) {
        bar.firstBand = bands.size();
        const double top = bar.rect.top();
        const double bottom = bar.rect.bottom();
        const int begin = clampedTo(size.height(), std::floor(top - halfBorder));
        const int end = clampedTo(size.height(), std::ceil(bottom + halfBorder));
        const int bodyBegin = clampedTo(size.height(), std::ceil(top + halfBorder));
        const int bodyEnd = clampedTo(size.height(), std::floor(bottom - halfBorder));
        for (int row = begin; row < end;) {
            const int next = row == bodyBegin && bodyEnd > bodyBegin ? bodyEnd : row + 1;
            bands.push_back(band(top, bottom, row, next));
            row = next;
        }
        bar.endBand = bands.size();
    }

    Band band(double top, double bottom, int row, int next) const {
        const double from = std::max(top - halfBorder, double(row));
        const double to = std::min(bottom + halfBorder, row + 1.0);
        const double middle = (from + to) / 2.0;
        return {row,
                next,
                overlap(top, bottom, row),
                overlap(top - halfBorder, bottom + halfBorder, row),
                overlap(top + halfBorder, bottom - halfBorder, row),
                std::max({0.0, top - middle, middle - bottom})};
    }

    void sortIntoColumns() {
        columnBegin.assign(static_cast<size_t>(size.width()) + 1, 0);
        for (const Bar& bar : bars)
            for (int column = bar.firstColumn; column < bar.endColumn; ++column)
                ++columnBegin[static_cast<size_t>(column) + 1];
        for (size_t i = 1; i < columnBegin.size(); ++i)
            columnBegin[i] += columnBegin[i - 1];
        columnBars.resize(columnBegin.back());
        std::vector<size_t> next(columnBegin.begin(), columnBegin.end() - 1);
        for (size_t i = 0; i < bars.size(); ++i)
            for (int column = bars[i].firstColumn; column < bars[i].endColumn; ++column)
                columnBars[next[static_cast<size_t>(column)]++] = i;
    }

    // Walks the column down from one row where the covering changes to the next.
    void mixColumn(int column) {
        const auto first = columnBars.begin() + static_cast<std::ptrdiff_t>(columnBegin[size_t(column)]);
        const auto last = columnBars.begin() + static_cast<std::ptrdiff_t>(columnBegin[size_t(column) + 1]);
        cursors.clear();
        changesAt.assign(static_cast<size_t>(size.height()) + 1, false);
        // The bar painted last lies on top and comes first.
        for (auto it = last; it != first;) {
            const Bar& bar = bars[*--it];
            const QRectF& r = bar.rect;
            cursors.push_back({&bar, bar.firstBand, overlap(r.left(), r.right(), column),
                               overlap(r.left() + halfBorder, r.right() - halfBorder, column)});
            for (size_t i = bar.firstBand; i < bar.endBand; ++i) {
                changesAt[static_cast<size_t>(bands[i].firstRow)] = true;
                changesAt[static_cast<size_t>(bands[i].endRow)] = true;
            }
        }
        QRgb before = 0;
        for (int row = 0; row < size.height(); ++row) {
            if (!changesAt[static_cast<size_t>(row)])
                continue;
            const QRgb color = mixedColor(column, row);
            if (color == before)
                continue;
            before = color;
            int& lastChange = lastChangeInRow[static_cast<size_t>(row)];
            changes.push_back({column, color, lastChange});
            lastChange = static_cast<int>(changes.size()) - 1;
        }
    }

    QRgb mixedColor(int column, int row) {
        double open = 1.0; // what still shines through
        double border = 0.0;
        double fill = 0.0;
        for (Cursor& cursor : cursors) {
            const Bar& bar = *cursor.bar;
            while (cursor.band < bar.endBand && bands[cursor.band].endRow <= row)
                ++cursor.band;
            if (cursor.band == bar.endBand || bands[cursor.band].firstRow > row)
                continue;
            const Band& at = bands[cursor.band];
            const double reach = halfBorder - at.inset;
            const double outline =
                at.outer * overlap(bar.rect.left() - reach, bar.rect.right() + reach, column);
            const double borderPart = std::max(0.0, outline - at.inner * cursor.inner) * borderAlpha;
            border += open * borderPart;
            open *= 1.0 - borderPart;
            const double fillPart = at.fill * cursor.fill * fillAlpha;
            fill += open * fillPart;
            open *= 1.0 - fillPart;
            if (open < 1.0 / 1024.0)
                break;
        }
        const auto channel = [&](int borderValue, int fillValue) {
            // NOLINTNEXTLINE(bugprone-incorrect-roundings): never negative, and quicker than a call
            return static_cast<int>(border * borderValue + fill * fillValue + 0.5);
        };
        return qRgba(channel(qRed(borderColor), qRed(fillColor)),
                     channel(qGreen(borderColor), qGreen(fillColor)),
                     channel(qBlue(borderColor), qBlue(fillColor)), channel(255, 255));
    }

    QImage writeRows() const {
        QImage image(size, QImage::Format_ARGB32_Premultiplied);
        if (image.isNull())
            return image;
        std::vector<QRgb> current(static_cast<size_t>(size.width()), 0);
        for (int row = 0; row < size.height(); ++row) {
            for (int i = lastChangeInRow[static_cast<size_t>(row)]; i >= 0;) {
                const Change& change = changes[static_cast<size_t>(i)];
                current[static_cast<size_t>(change.column)] = change.color;
                i = change.nextInRow;
            }
            std::memcpy(image.scanLine(row), current.data(), current.size() * sizeof(QRgb));
        }
        return image;
    }

    struct Cursor {
        const Bar* bar;
        size_t band;
        double fill;  // covered widths
        double inner; // of the hole in the border
    };

    QSize size;
    double halfBorder;
    QRgb borderColor;
    QRgb fillColor;
    double borderAlpha;
    double fillAlpha;
    std::vector<Bar> bars;
    std::vector<Band> bands;
    std::vector<size_t> columnBegin; // into columnBars
    std::vector<size_t> columnBars;
    std::vector<Cursor> cursors;
    std::vector<char> changesAt; // by row, for the column at hand
    std::vector<Change> changes;
    std::vector<int> lastChangeInRow;
};

bool onPixelGrid(const QRectF& rect) {
    constexpr double kTolerance = 1e-6;
    const auto whole = [](double v) { return std::abs(v - std::round(v)) < kTolerance; };
    return whole(rect.left()) && whole(rect.top()) && whole(rect.width()) && whole(rect.height());
}

} // namespace

bool paintManyBars(QPainter& painter, const QRect& visible, std::span<const QRectF> bars,
                   const BarStyle& style) {
    const QTransform device = painter.deviceTransform();
    const double scale = device.m11();
    const QRectF area = device.mapRect(QRectF(visible));
    if (bars.size() < kFewBars || visible.isEmpty() || device.type() > QTransform::TxScale || scale <= 0.0 ||
        scale != device.m22() || !onPixelGrid(area))
        return false;

    BarRaster raster(area.size().toSize(), style.borderWidth / 2.0 * scale, style);
    const QTransform toImage = device * QTransform::fromTranslate(-area.left(), -area.top());
    if (!raster.setBars(bars, toImage))
        return false;
    QImage image = raster.image();
    if (image.isNull())
        return false;
    image.setDevicePixelRatio(scale);
    painter.drawImage(visible.topLeft(), image);
    return true;
}

} // namespace qorn::timetagger::gui
