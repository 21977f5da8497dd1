#include "PlotFile.h"

#include "PlotDataRange.h"

#include <QColor>
#include <QCoreApplication>
#include <QDataStream>
#include <QIODevice>
#include <QtEndian>

#include <algorithm>
#include <limits>

namespace qorn::timetagger::gui {

namespace {

constexpr char kMagic[] = "QORNPLT";
constexpr qsizetype kMagicSize = sizeof kMagic - 1;
constexpr qint32 kFormatVersion = 1;
constexpr quint32 kNullString = 0xffffffff;
constexpr quint32 kHighestMode = static_cast<quint32>(PlotSeriesMode::Points);
constexpr qsizetype kColorSize = 11;
// QDataStream's raw operations take an int.
constexpr qsizetype kChunkElements = 1 << 20;

void setUp(QDataStream& stream) {
    stream.setVersion(QDataStream::Qt_6_0);
    stream.setByteOrder(QDataStream::LittleEndian);
}

// --- writing

void write(QDataStream& stream, const QList<double>& values) {
    stream << static_cast<quint32>(values.size());
    for (qsizetype start = 0; start < values.size(); start += kChunkElements) {
        const qsizetype count = std::min(kChunkElements, values.size() - start);
        const auto bytes = static_cast<int>(count * qsizetype(sizeof(double)));
        if constexpr (Q_BYTE_ORDER == Q_LITTLE_ENDIAN) {
            stream.writeRawData(reinterpret_cast<const char*>(values.constData() + start), bytes);
        } else {
            QByteArray swapped(bytes, Qt::Uninitialized);
            qToLittleEndian<double>(values.constData() + start, count, swapped.data());
            stream.writeRawData(swapped.constData(), bytes);
        }
    }
}

void write(QDataStream& stream, const QList<QList<double>>& lists) {
    stream << static_cast<quint32>(lists.size());
    for (const QList<double>& values : lists)
        write(stream, values);
}

qsizetype bytesOf(const QList<double>& values) {
    return qsizetype(sizeof(quint32)) + values.size() * qsizetype(sizeof(double));
}

// Enough for the data; the rest is small.
qsizetype expectedSize(const PlotModel& plot) {
    constexpr qsizetype kRest = 4096;
    qsizetype size = kRest + bytesOf(plot.barXs) + bytesOf(plot.barHeights) + bytesOf(plot.markerValues);
    for (const auto* lists : {&plot.seriesXs, &plot.seriesYs, &plot.overlayXs, &plot.overlayYs}) {
        for (const QList<double>& values : *lists)
            size += bytesOf(values);
    }
    return size;
}

// --- reading

// Reads fields one after the other; the first fault ends it, and all later fields come out empty.
class PlotFieldReader {
public:
    explicit PlotFieldReader(const QByteArray& bytes) : stream(bytes) { setUp(stream); }

    bool isFaultless() const { return !faulty && stream.status() == QDataStream::Ok; }
    void fail() { faulty = true; }
    bool skip(qsizetype bytes) { return stream.skipRawData(static_cast<int>(bytes)) == bytes; }

    template <typename Value>
    Value number() {
        Value value{};
        stream >> value;
        return value;
    }

    PlotSeriesMode mode() {
        const auto number = this->number<quint32>();
        if (number > kHighestMode) {
            fail();
            return {};
        }
        return static_cast<PlotSeriesMode>(number);
    }

    // A length is checked against the bytes that are left before anything is reserved for it. QDataStream's
    // own operators reserve up to a megabyte first.
    QString text() {
        const auto size = number<quint32>();
        if (size == kNullString || !isFaultless())
            return {};
        if (size % sizeof(char16_t) != 0 || size > bytesLeft()) {
            fail();
            return {};
        }
        QString text(static_cast<qsizetype>(size / sizeof(char16_t)), Qt::Uninitialized);
        readArray<char16_t>(reinterpret_cast<char16_t*>(text.data()), text.size());
        return text;
    }

    // Fails for more than `most` values.
    QList<double> doubles(qsizetype most = std::numeric_limits<qsizetype>::max()) {
        const qsizetype size = count(sizeof(double));
        if (size > most)
            fail();
        if (!isFaultless())
            return {};
        QList<double> values(size);
        readArray<double>(values.data(), size);
        return values;
    }

    // Fails for more than `most` values in all lists together.
    QList<QList<double>> doubleLists(qsizetype most = std::numeric_limits<qsizetype>::max()) {
        return list<QList<double>>(sizeof(quint32), [this, &most] {
            QList<double> values = doubles(most);
            most -= values.size();
            return values;
        });
    }

    QStringList texts() {
        return list<QString>(sizeof(quint32), [this] { return text(); });
    }

    QList<QColor> colors() {
        return list<QColor>(kColorSize, [this] { return color(); });
    }

private:
    quint64 bytesLeft() const { return static_cast<quint64>(stream.device()->bytesAvailable()); }

    // An element count that the bytes left can hold; else 0 and a fault.
    qsizetype count(qsizetype leastElementSize) {
        const auto size = number<quint32>();
        if (size > bytesLeft() / static_cast<quint64>(leastElementSize))
            fail();
        return isFaultless() ? static_cast<qsizetype>(size) : 0;
    }

    // An element takes more memory than its shortest form in the file, so the list grows only with what is
    // really there.
    template <typename Element, typename Read>
    QList<Element> list(qsizetype leastElementSize, Read&& read) {
        QList<Element> elements;
        for (qsizetype left = count(leastElementSize); left > 0 && isFaultless(); --left)
            elements.append(read());
        return elements;
    }

    // QColor takes any number for the kind of colour; only known kinds are let through to it.
    QColor color() {
        char kind = 0;
        if (stream.device()->peek(&kind, 1) != 1 || kind < QColor::Invalid || kind > QColor::ExtendedRgb) {
            fail();
            return {};
        }
        return number<QColor>();
    }

    template <typename Value>
    void readArray(Value* values, qsizetype size) {
        for (qsizetype start = 0; start < size; start += kChunkElements) {
            const qsizetype chunk = std::min(kChunkElements, size - start);
            const auto bytes = static_cast<int>(chunk * qsizetype(sizeof(Value)));
            if (stream.readRawData(reinterpret_cast<char*>(values + start), bytes) != bytes) {
                fail();
                return;
            }
        }
        if constexpr (Q_BYTE_ORDER != Q_LITTLE_ENDIAN)
            qFromLittleEndian<Value>(values, size, values);
    }

    QDataStream stream;
    bool faulty = false;
};

// The fields of the file; false when they are incomplete or beyond the limits.
bool readFields(PlotFieldReader& reader, PlotModel& plot) {
    if (reader.number<qint32>() != kFormatVersion)
        return false;
    plot.xAxisLabel = reader.text();
    plot.yAxisLabel = reader.text();
    plot.seriesMode = reader.mode();
    // In this order NaN becomes 0.
    plot.barWidth = std::max(0.0, reader.number<double>());
    plot.barXs = reader.doubles(kMaxPlotFilePoints);
    plot.barHeights = reader.doubles();
    plot.seriesXs = reader.doubleLists(kMaxPlotFilePoints);
    plot.seriesYs = reader.doubleLists();
    plot.seriesLabels = reader.texts();
    plot.seriesColors = reader.colors();
    plot.overlayMode = reader.mode();
    plot.overlayXs = reader.doubleLists(kMaxPlotFilePoints);
    plot.overlayYs = reader.doubleLists();
    plot.overlayLabels = reader.texts();
    plot.overlayColors = reader.colors();
    plot.statTexts = reader.texts();
    plot.statColors = reader.colors();
    plot.markerValues = reader.doubles();
    plot.markerLabels = reader.texts();
    plot.markerColors = reader.colors();
    return reader.isFaultless() && plot.barXs.size() == plot.barHeights.size() &&
           plot.seriesXs.size() == plot.seriesYs.size() && plot.overlayXs.size() == plot.overlayYs.size();
}

bool haveSameLengths(const QList<QList<double>>& xs, const QList<QList<double>>& ys) {
    return std::equal(xs.begin(), xs.end(), ys.begin(), ys.end(),
                      [](const QList<double>& x, const QList<double>& y) { return x.size() == y.size(); });
}

// Replaces `plot` by what the bytes say; otherwise the reason, and `plot` is undefined.
QString readPlot(const QByteArray& bytes, PlotModel& plot) {
    PlotFieldReader reader(bytes);
    if (!bytes.startsWith(QByteArray::fromRawData(kMagic, kMagicSize)) || !reader.skip(kMagicSize))
        return QCoreApplication::translate("PlotFile", "The selected file is not QORN plot data.");
    if (!readFields(reader, plot))
        return QCoreApplication::translate("PlotFile", "The QORN plot file is incomplete or unsupported.");
    if (!haveSameLengths(plot.seriesXs, plot.seriesYs))
        return QCoreApplication::translate("PlotFile", "The QORN plot file contains mismatched series.");
    if (!haveSameLengths(plot.overlayXs, plot.overlayYs))
        return QCoreApplication::translate("PlotFile",
                                           "The QORN plot file contains mismatched overlay series.");
    return {};
}

} // namespace

QByteArray encodePlot(const PlotModel& plot) {
    QByteArray bytes;
    bytes.reserve(expectedSize(plot));
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    setUp(stream);
    stream.writeRawData(kMagic, kMagicSize);
    stream << kFormatVersion << plot.xAxisLabel << plot.yAxisLabel;
    stream << static_cast<quint32>(plot.seriesMode) << plot.barWidth;
    write(stream, plot.barXs);
    write(stream, plot.barHeights);
    write(stream, plot.seriesXs);
    write(stream, plot.seriesYs);
    stream << plot.seriesLabels << plot.seriesColors;
    stream << static_cast<quint32>(plot.overlayMode);
    write(stream, plot.overlayXs);
    write(stream, plot.overlayYs);
    stream << plot.overlayLabels << plot.overlayColors;
    stream << plot.statTexts << plot.statColors;
    write(stream, plot.markerValues);
    stream << plot.markerLabels << plot.markerColors;
    return bytes;
}

bool decodePlot(const QByteArray& bytes, PlotModel& plot, QString* error) {
    PlotModel loaded = plot;
    const QString reason = readPlot(bytes, loaded);
    if (!reason.isNull()) {
        if (error)
            *error = reason;
        return false;
    }
    loaded.tickPositions.clear();
    loaded.tickLabels.clear();
    showWholeData(loaded);
    plot = loaded;
    return true;
}

} // namespace qorn::timetagger::gui
