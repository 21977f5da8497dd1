// What the Correlation measurement says about its results: the lines in a plot's box, the rows of the
// statistics, the offset and what became of measuring it. Pure functions, GUI thread for the translations.
#pragma once

#include "CorrelationEngine.h"

#include <QCoreApplication>
#include <QList>
#include <QString>
#include <QStringList>

namespace qorn::timetagger::gui {

enum class HistogramView { Integrated, Instant };

struct StatisticsRow {
    QString label;
    QString value;
    bool operator==(const StatisticsRow&) const = default;
};

class CorrelationTexts {
    Q_DECLARE_TR_FUNCTIONS(CorrelationTexts)
public:
    static constexpr qsizetype kRows = 9;

    // In MHz, kHz or Hz.
    static QString rate(double hz);
    // The offset of a histogram, "disabled" where none is applied.
    static QString offset(const AppliedOffset& offset, const CorrelationSettings& settings);
    // The sentence below the offset's controls: around such a text, before there is a result, and about
    // measuring.
    static QString appliedOffset(const QString& text);
    static QString expectedOffset(const CorrelationSettings& settings);
    static QString measuredOffset(const std::variant<qint64, OffsetProblem>& measured);

    // One line each for the plot's box.
    static QStringList plotLines(HistogramView view, const CorrelationResult& result,
                                 const CorrelationSettings& settings);
    // kRows rows.
    static QList<StatisticsRow> statistics(HistogramView view, const CorrelationResult& result,
                                           const CorrelationSettings& settings);
    static QList<StatisticsRow> emptyStatistics(); // all blank
    static StatisticsRow status(const QString& text);
    static QString sameChannel();
    static QString waiting();
    // About a trace of what no shown histogram finds.
    static QString noHistogram();

private:
    static QString nanoseconds(double value);
    static QString entriesLine(const HistogramAnalysis& histogram);
    static QStringList peakLines(const CorrelationResult& result, const CorrelationSettings& settings);
    static QStringList decayLines(const HistogramAnalysis& histogram, const CorrelationSettings& settings);
    static StatisticsRow peakRow(const HistogramAnalysis& histogram, const CorrelationSettings& settings);
    static StatisticsRow fitRow(const HistogramAnalysis& histogram, const CorrelationSettings& settings);
    static QString mode(HistogramView view, const CorrelationSettings& settings);
};

} // namespace qorn::timetagger::gui
