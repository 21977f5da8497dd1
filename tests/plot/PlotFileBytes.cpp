#include "PlotFileBytes.h"

#include "GoldenBytes.h"

#include <bit>
#include <functional>
#include <string>

namespace plottest {

void ByteWriter::little(std::uint64_t value, int size) {
    for (int i = 0; i < size; ++i) {
        m_bytes.append(static_cast<char>(value >> (8 * i)));
    }
}

void ByteWriter::real(double value) {
    little(std::bit_cast<std::uint64_t>(value), 8);
}

void ByteWriter::text(const QString& value) {
    if (value.isNull()) {
        int32(0xFFFFFFFF);
        return;
    }
    int32(2 * value.size());
    for (const QChar unit : value) {
        little(unit.unicode(), 2);
    }
}

// One byte for the kind of colour, then alpha, three components and a filler of 16 bits each.
void ByteWriter::colour(const QColor& value) {
    little(value.isValid() ? 1 : 0, 1);
    little(std::uint64_t(value.alpha()) * 0x101, 2);
    for (const int component : {value.red(), value.green(), value.blue()}) {
        little(value.isValid() ? std::uint64_t(component) * 0x101 : 0, 2);
    }
    little(0, 2);
}

void ByteWriter::reals(const QList<double>& values) {
    int32(values.size());
    for (const double value : values) {
        real(value);
    }
}

void ByteWriter::realLists(const QList<QList<double>>& lists) {
    int32(lists.size());
    for (const QList<double>& list : lists) {
        reals(list);
    }
}

void ByteWriter::texts(const QStringList& values) {
    int32(values.size());
    for (const QString& value : values) {
        text(value);
    }
}

void ByteWriter::colours(const QList<QColor>& values) {
    int32(values.size());
    for (const QColor& value : values) {
        colour(value);
    }
}

QByteArray PlotFileFields::bytesUpTo(PlotField end) const {
    ByteWriter out;
    const std::function<void()> fields[] = {
        [&] { out.raw(magic); },
        [&] { out.int32(version); },
        [&] { out.text(xLabel); },
        [&] { out.text(yLabel); },
        [&] { out.int32(seriesMode); },
        [&] { out.real(barWidth); },
        [&] { out.reals(barXs); },
        [&] { out.reals(barHeights); },
        [&] { out.realLists(seriesXs); },
        [&] { out.realLists(seriesYs); },
        [&] { out.texts(seriesLabels); },
        [&] { out.colours(seriesColours); },
        [&] { out.int32(overlayMode); },
        [&] { out.realLists(overlayXs); },
        [&] { out.realLists(overlayYs); },
        [&] { out.texts(overlayLabels); },
        [&] { out.colours(overlayColours); },
        [&] { out.texts(statTexts); },
        [&] { out.colours(statColours); },
        [&] { out.reals(markerValues); },
        [&] { out.texts(markerLabels); },
        [&] { out.colours(markerColours); },
    };
    int number = 1;
    for (const auto& write : fields) {
        if (number++ < static_cast<int>(end)) {
            write();
        }
    }
    return out.bytes();
}

PlotFileFields fullPlotFile() {
    PlotFileFields file;
    file.xLabel = QStringLiteral("Delay");
    file.yLabel = QStringLiteral("Counts");
    file.seriesMode = 2;
    file.barWidth = 0.5;
    file.barXs = {1, 2, 3};
    file.barHeights = {4, -5, 6.25};
    file.seriesXs = {{0, 1, 2}, {}, {3}};
    file.seriesYs = {{2, 1, 0}, {}, {-7.5}};
    file.seriesLabels = {QStringLiteral("first"), QString::fromUtf8("zweite Größe"), QStringLiteral("third")};
    file.seriesColours = {QColor(1, 2, 3), QColor(4, 5, 6, 7)};
    file.overlayMode = 0;
    file.overlayXs = {{0.5, 9}, {1}};
    file.overlayYs = {{8, 8.5}, {2}};
    file.overlayLabels = {QStringLiteral("fit")};
    file.overlayColours = {QColor(200, 100, 50)};
    file.statTexts = {QStringLiteral("mean 5"), QStringLiteral("rms 1")};
    file.statColours = {QColor(9, 8, 7)};
    file.markerValues = {3, 4.5};
    file.markerLabels = {QStringLiteral("low"), QStringLiteral("high")};
    file.markerColours = {QColor(20, 30, 40), QColor()};
    return file;
}

QByteArray goldenPlot(const char* name) {
    const qorn::testing::Bytes bytes = qorn::testing::goldenBytes(std::string(QORN_TEST_DATA "/") + name);
    return QByteArray(reinterpret_cast<const char*>(bytes.data()), static_cast<qsizetype>(bytes.size()));
}

} // namespace plottest
