#include "PlotDataRange.h"
#include "PlotFile.h"
#include "PlotNumbers.h"
#include "PlotScheme.h"

#include <QCoreApplication>
#include <QHash>
#include <QLatin1String>

#include <algorithm>
#include <array>
#include <iterator>
#include <optional>

namespace qorn::timetagger::gui {

namespace {

// --- writing

// A field that the reader gives back as it is. A line that begins with '#' would be a comment.
QString quotedIfNeeded(const QString& label) {
    const auto needsQuotes = [](QChar c) { return c == u',' || c == u'"' || c == u'\n' || c == u'\r'; };
    if (std::none_of(label.begin(), label.end(), needsQuotes) &&
        !QStringView(label).trimmed().startsWith(u'#'))
        return label;
    QString quoted = label;
    quoted.replace(QLatin1String("\""), QLatin1String("\"\""));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

void appendPoints(QString& text, const QString& name, const QList<double>& xs, const QList<double>& ys) {
    const QString field = quotedIfNeeded(name);
    const qsizetype count = qMin(xs.size(), ys.size());
    std::array<char, 80> rest;
    for (qsizetype i = 0; i < count; ++i) {
        char* end = rest.data();
        for (const double number : {xs[i], ys[i]}) {
            *end++ = ',';
            const PlotNumberText digits(number);
            end = std::copy(digits.text().begin(), digits.text().end(), end);
        }
        *end++ = '\n';
        text += field;
        text += QLatin1String(rest.data(), end);
    }
}

void appendSeries(QString& text, const QList<QList<double>>& xs, const QList<QList<double>>& ys,
                  const QStringList& labels, QLatin1String nameWithoutLabel) {
    const qsizetype count = qMin(xs.size(), ys.size());
    for (qsizetype i = 0; i < count; ++i) {
        const QString label = labels.value(i);
        appendPoints(text, label.isEmpty() ? nameWithoutLabel + QString::number(i + 1) : label, xs[i], ys[i]);
    }
}

qsizetype expectedLength(const PlotModel& plot) {
    constexpr qsizetype kPerPoint = 40;
    qsizetype points = plot.barCount();
    for (const auto* lists : {&plot.seriesXs, &plot.overlayXs}) {
        for (const QList<double>& values : *lists)
            points += values.size();
    }
    return kPerPoint * (points + 1);
}

// --- reading

struct Line {
    QStringView text;
    int number = 0;
    // False when a quote is left open at its end.
    bool isClosed = true;
};

// The lines of a text, numbered from 1 without the empty ones, trimmed. A line whose first field is a quoted
// label with line ends in it comes as one, under the number of its first line.
class LineReader {
public:
    explicit LineReader(QStringView wholeText) : text(wholeText) {}

    std::optional<Line> next() {
        while (position < text.size() && text[position] == u'\n')
            ++position;
        if (position == text.size())
            return std::nullopt;
        const qsizetype start = position;
        qsizetype end = lineEnd(start);
        Line line{text.sliced(start, end - start).trimmed(), ++number};
        if (!line.text.startsWith(u'#') && hasOpenQuote(line.text)) {
            const auto labelEnd = longLabelEnd(line.text);
            line.isClosed = labelEnd.has_value();
            if (labelEnd) {
                end = lineEnd(*labelEnd);
                countLines(text.sliced(start, end - start));
                line.text = text.sliced(start, end - start).trimmed();
                line.isClosed = !hasOpenQuote(line.text);
            }
        }
        position = end;
        return line;
    }

private:
    qsizetype lineEnd(qsizetype from) const {
        const qsizetype found = text.indexOf(u'\n', from);
        return found < 0 ? text.size() : found;
    }
    static bool hasOpenQuote(QStringView line) { return line.count(u'"') % 2 != 0; }

    // Where the quoted label ends that the line begins with; empty unless the field ends there too.
    std::optional<qsizetype> longLabelEnd(QStringView line) const {
        if (!line.startsWith(u'"'))
            return std::nullopt;
        qsizetype at = line.data() - text.data() + 1;
        while (at < text.size()) {
            at = text.indexOf(u'"', at);
            if (at < 0 || at + 1 >= text.size())
                return std::nullopt;
            if (text[at + 1] != u'"')
                break;
            at += 2;
        }
        if (at >= text.size() || text[at + 1] != u',')
            return std::nullopt;
        return at;
    }

    void countLines(QStringView lines) {
        for (qsizetype i = 1; i + 1 < lines.size(); ++i) {
            if (lines[i] == u'\n' && lines[i + 1] != u'\n')
                ++number;
        }
    }

    QStringView text;
    qsizetype position = 0;
    int number = 0;
};

// The first three fields of a line, trimmed; `count` goes on.
class Fields {
public:
    explicit Fields(QStringView line) {
        if (line.contains(u'"'))
            splitQuoted(line);
        else
            split(line);
    }
    qsizetype count() const { return fieldCount; }
    QStringView operator[](std::size_t index) const { return fields[index]; }

    bool areHeader() const {
        constexpr std::array kHeader{QLatin1String("series"), QLatin1String("x"), QLatin1String("y")};
        return fieldCount == std::ssize(kHeader) &&
               std::equal(fields.begin(), fields.end(), kHeader.begin(),
                          [](QStringView field, QLatin1String name) {
                              return field.compare(name, Qt::CaseInsensitive) == 0;
                          });
    }

private:
    void add(QStringView field) {
        if (fieldCount < std::ssize(fields))
            fields[static_cast<std::size_t>(fieldCount)] = field.trimmed();
        ++fieldCount;
    }

    void split(QStringView line) {
        qsizetype start = 0;
        for (qsizetype comma = line.indexOf(u','); comma >= 0; comma = line.indexOf(u',', start)) {
            add(line.sliced(start, comma - start));
            start = comma + 1;
        }
        add(line.sliced(start));
    }

    // Two quotes inside a quoted part are one of the field, all others only open and close.
    void splitQuoted(QStringView line) {
        unquoted.reserve(line.size());
        qsizetype start = 0;
        const auto endField = [this, &start] {
            add(QStringView(unquoted).sliced(start));
            start = unquoted.size();
        };
        bool quoted = false;
        for (qsizetype i = 0; i < line.size(); ++i) {
            const QChar c = line[i];
            if (c == u'"' && quoted && i + 1 < line.size() && line[i + 1] == u'"')
                unquoted += line[i++];
            else if (c == u'"')
                quoted = !quoted;
            else if (c == u',' && !quoted)
                endField();
            else
                unquoted += c;
        }
        endField();
    }

    std::array<QStringView, 3> fields;
    qsizetype fieldCount = 0;
    // Never reallocated after the first field: the fields are views of it.
    QString unquoted;
};

// Series in the order in which their names first appear.
class SeriesCollector {
public:
    void add(QStringView name, double x, double y) {
        if (current < 0 || labels[current] != name)
            current = indexOf(name.toString());
        xs[current].append(x);
        ys[current].append(y);
        ++points;
    }

    QStringList labels;
    QList<QList<double>> xs;
    QList<QList<double>> ys;
    qsizetype points = 0;

private:
    qsizetype indexOf(const QString& name) {
        const auto known = indices.constFind(name);
        if (known != indices.constEnd())
            return *known;
        indices.insert(name, labels.size());
        labels.append(name);
        xs.emplaceBack();
        ys.emplaceBack();
        return labels.size() - 1;
    }

    QHash<QString, qsizetype> indices;
    qsizetype current = -1;
};

// Collects the points of the text; otherwise the reason.
QString readPoints(QStringView text, SeriesCollector& series) {
    LineReader lines(text);
    while (const auto line = lines.next()) {
        if (line->text.startsWith(u'#'))
            continue;
        if (!line->isClosed)
            return QCoreApplication::translate("PlotFile", "Invalid CSV quoting on line %1.")
                .arg(line->number);
        const Fields fields(line->text);
        if (fields.areHeader())
            continue;
        if (fields.count() < 3)
            return QCoreApplication::translate("PlotFile",
                                               "Expected plot CSV columns series, x, y on line %1.")
                .arg(line->number);
        const auto x = finitePlotNumber(fields[1]);
        const auto y = finitePlotNumber(fields[2]);
        if (!x || !y)
            return QCoreApplication::translate("PlotFile", "Invalid numeric value on line %1.")
                .arg(line->number);
        series.add(fields[0], *x, *y);
        if (series.points > kMaxPlotFilePoints)
            return QCoreApplication::translate("PlotFile", "Plot file contains too many points.");
    }
    if (series.labels.isEmpty())
        return QCoreApplication::translate("PlotFile", "The selected CSV file does not contain plot data.");
    return {};
}

} // namespace

QString encodePlotCsv(const PlotModel& plot) {
    QString text;
    text.reserve(expectedLength(plot));
    text += QLatin1String("series,x,y\n");
    if (plot.seriesCount() > 0)
        appendSeries(text, plot.seriesXs, plot.seriesYs, plot.seriesLabels, QLatin1String("series_"));
    else
        appendPoints(text, QStringLiteral("bars"), plot.barXs, plot.barHeights);
    appendSeries(text, plot.overlayXs, plot.overlayYs, plot.overlayLabels, QLatin1String("overlay_"));
    return text;
}

bool decodePlotCsv(QStringView text, PlotModel& plot, QString* error) {
    SeriesCollector series;
    const QString reason = readPoints(text, series);
    if (!reason.isNull()) {
        if (error)
            *error = reason;
        return false;
    }
    plot.clearData();
    plot.tickPositions.clear();
    plot.tickLabels.clear();
    plot.statTexts.clear();
    plot.statColors.clear();
    plot.markerValues.clear();
    plot.markerLabels.clear();
    plot.markerColors.clear();
    if (series.labels.size() == 1 && series.labels.first() == QLatin1String("bars"))
        plot.showBars(series.xs.first(), series.ys.first(), 1.0);
    else
        plot.showSeries(series.xs, series.ys, series.labels,
                        distinctColors(plot.barFill, series.labels.size()), PlotSeriesMode::Lines);
    showWholeData(plot);
    return true;
}

} // namespace qorn::timetagger::gui
