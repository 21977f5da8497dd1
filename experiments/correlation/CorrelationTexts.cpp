#include "CorrelationTexts.h"

namespace qorn::timetagger::gui {
namespace {

constexpr double kPsPerNs = 1000.0;
constexpr int kDecimals = 3; // of lags, widths and g2

QString fixed(double value) {
    return QString::number(value, 'f', kDecimals);
}

StatisticsRow emptyRow() {
    return {QStringLiteral("-"), QStringLiteral("-")};
}

} // namespace

QString CorrelationTexts::rate(double hz) {
    if (hz >= 1e6) {
        return tr("%1 MHz").arg(fixed(hz / 1e6));
    }
    if (hz >= 1000.0) {
        return tr("%1 kHz").arg(fixed(hz / 1000.0));
    }
    return tr("%1 Hz").arg(hz, 0, 'f', 1);
}

QString CorrelationTexts::nanoseconds(double value) {
    return tr("%1 ns").arg(fixed(value));
}

QString CorrelationTexts::offset(const AppliedOffset& offset, const CorrelationSettings& settings) {
    if (!settings.offsetCorrectionEnabled()) {
        return tr("disabled");
    }
    const QString value = fixed(static_cast<double>(offset.ps) / kPsPerNs);
    switch (offset.origin) {
    case AppliedOffset::Origin::Manual:
        return tr("%1 ns manual").arg(value);
    case AppliedOffset::Origin::Auto:
        return tr("%1 ns auto").arg(value);
    case AppliedOffset::Origin::Estimating:
        return tr("estimating...");
    case AppliedOffset::Origin::Settled:
        break;
    }
    return tr("%1 ns").arg(value);
}

QString CorrelationTexts::appliedOffset(const QString& text) {
    return tr("Applied offset: %1").arg(text);
}

QString CorrelationTexts::expectedOffset(const CorrelationSettings& settings) {
    if (!settings.offsetCorrectionEnabled()) {
        return appliedOffset(tr("disabled"));
    }
    switch (settings.offsetMode) {
    case OffsetMode::Manual:
        return appliedOffset(nanoseconds(settings.manualOffsetNs));
    case OffsetMode::Auto:
        return appliedOffset(tr("auto (waiting for data)"));
    case OffsetMode::None:
        break;
    }
    return appliedOffset(nanoseconds(0.0));
}

QString CorrelationTexts::measuredOffset(const std::variant<qint64, OffsetProblem>& measured) {
    if (const qint64* ps = std::get_if<qint64>(&measured)) {
        return appliedOffset(nanoseconds(static_cast<double>(*ps) / kPsPerNs));
    }
    switch (std::get<OffsetProblem>(measured)) {
    case OffsetProblem::NotAligning:
        return appliedOffset(tr("disabled outside Peak / alignment mode"));
    case OffsetProblem::SameChannel:
        return appliedOffset(tr("choose two distinct channels"));
    case OffsetProblem::TooFewTags:
        return appliedOffset(tr("need running data"));
    case OffsetProblem::NoCorrelation:
        break;
    }
    return appliedOffset(tr("no correlation found"));
}

QString CorrelationTexts::entriesLine(const HistogramAnalysis& histogram) {
    if (histogram.g2Scaled) {
        return tr("Histogram entries: %1, g2(0): %2").arg(histogram.total).arg(fixed(histogram.centreValue));
    }
    return tr("Histogram entries: %1").arg(histogram.total);
}

QStringList CorrelationTexts::plotLines(HistogramView view, const CorrelationResult& result,
                                        const CorrelationSettings& settings) {
    const HistogramAnalysis& histogram = result.histogram;
    QStringList lines;
    if (view == HistogramView::Integrated) {
        lines = {tr("Source ch %1: %2 tags").arg(settings.sourceChannel).arg(histogram.sourceTags),
                 tr("Target ch %1: %2 tags").arg(settings.targetChannel).arg(histogram.targetTags)};
    } else {
        lines = {tr("Source ch %1: %2   %3")
                     .arg(settings.sourceChannel)
                     .arg(histogram.sourceTags)
                     .arg(rate(result.sourceHz)),
                 tr("Target ch %1: %2   %3")
                     .arg(settings.targetChannel)
                     .arg(histogram.targetTags)
                     .arg(rate(result.targetHz))};
    }
    lines.append(entriesLine(histogram));
    return lines +
           (settings.peakAnalysisMode() ? peakLines(result, settings) : decayLines(histogram, settings));
}

QStringList CorrelationTexts::peakLines(const CorrelationResult& result,
                                        const CorrelationSettings& settings) {
    const HistogramAnalysis& histogram = result.histogram;
    QStringList lines{tr("Offset: %1").arg(offset(result.offset, settings)),
                      tr("Peak: %1 @ %2 ns").arg(histogram.peakCount).arg(fixed(histogram.peakLagNs))};
    if (const PeakFitOverlay& overlay = histogram.overlay; overlay.valid) {
        const bool lorentzian = settings.fitMode == CorrelationSettings::FitModel::Lorentzian;
        lines.append(tr("%1: center %2 ns, %3 %4 ns, FWHM %5 ns")
                         .arg(overlay.label, fixed(overlay.center), lorentzian ? tr("gamma") : tr("sigma"),
                              fixed(overlay.width), fixed(overlay.fwhm)));
    }
    return lines;
}

QStringList CorrelationTexts::decayLines(const HistogramAnalysis& histogram,
                                         const CorrelationSettings& settings) {
    QStringList lines;
    if (settings.antibunchingMode()) {
        lines.append(tr("Antibunching view: zero lag is not peak-centered"));
    } else if (settings.lifetimeMode()) {
        lines.append(tr("Lifetime decay fit: positive lag is fit"));
    } else {
        lines.append(tr("No analysis: no peak fit or offset correction"));
    }
    if (const PeakFitOverlay& overlay = histogram.overlay; overlay.valid) {
        lines.append(tr("%1: tau %2 ns").arg(overlay.label, fixed(overlay.width)));
        lines.append(overlay.details);
    }
    return lines;
}

QList<StatisticsRow> CorrelationTexts::statistics(HistogramView view, const CorrelationResult& result,
                                                  const CorrelationSettings& settings) {
    const HistogramAnalysis& histogram = result.histogram;
    return {{tr("Source tags"), QString::number(histogram.sourceTags)},
            {tr("Target tags"), QString::number(histogram.targetTags)},
            {view == HistogramView::Integrated ? tr("Histogram entries") : tr("Entries (window)"),
             QString::number(histogram.total)},
            peakRow(histogram, settings),
            fitRow(histogram, settings),
            {tr("Offset"), offset(result.offset, settings)},
            {tr("Mode"), mode(view, settings)},
            histogram.g2Scaled ? StatisticsRow{tr("g2(0)"), fixed(histogram.centreValue)} : emptyRow(),
            emptyRow()};
}

StatisticsRow CorrelationTexts::peakRow(const HistogramAnalysis& histogram,
                                        const CorrelationSettings& settings) {
    if (settings.peakAnalysisMode()) {
        return {tr("Peak"), tr("%1 @ %2 ns").arg(histogram.peakCount).arg(fixed(histogram.peakLagNs))};
    }
    return {tr("Center bin"),
            QString::number(histogram.centreValue, 'f', histogram.g2Scaled ? kDecimals : 0)};
}

StatisticsRow CorrelationTexts::fitRow(const HistogramAnalysis& histogram,
                                       const CorrelationSettings& settings) {
    const PeakFitOverlay& overlay = histogram.overlay;
    if (settings.peakAnalysisMode()) {
        return overlay.valid
                   ? StatisticsRow{overlay.label,
                                   tr("%1 ns / FWHM %2 ns").arg(fixed(overlay.center), fixed(overlay.fwhm))}
                   : StatisticsRow{tr("Mean / RMS"),
                                   tr("%1 / %2 ns").arg(fixed(histogram.meanNs), fixed(histogram.rmsNs))};
    }
    return overlay.valid ? StatisticsRow{overlay.label, tr("tau %1 ns").arg(fixed(overlay.width))}
                         : emptyRow();
}

QString CorrelationTexts::mode(HistogramView view, const CorrelationSettings& settings) {
    if (view == HistogramView::Integrated) {
        switch (settings.analysisMode) {
        case CorrelationAnalysis::Peak:
            return tr("integrated peak/alignment");
        case CorrelationAnalysis::Antibunching:
            return tr("integrated antibunching");
        case CorrelationAnalysis::Lifetime:
            return tr("integrated lifetime decay fit");
        case CorrelationAnalysis::None:
            break;
        }
        return tr("integrated universal");
    }
    const QString milliseconds = QString::number(settings.instantWindowMs, 'g', 9);
    switch (settings.analysisMode) {
    case CorrelationAnalysis::Peak:
        return tr("instantaneous peak/alignment (%1 ms)").arg(milliseconds);
    case CorrelationAnalysis::Antibunching:
        return tr("instantaneous antibunching (%1 ms)").arg(milliseconds);
    case CorrelationAnalysis::Lifetime:
        return tr("instantaneous lifetime decay fit (%1 ms)").arg(milliseconds);
    case CorrelationAnalysis::None:
        break;
    }
    return tr("instantaneous universal (%1 ms)").arg(milliseconds);
}

QList<StatisticsRow> CorrelationTexts::emptyStatistics() {
    return QList<StatisticsRow>(kRows);
}

StatisticsRow CorrelationTexts::status(const QString& text) {
    return {tr("Status"), text};
}

QString CorrelationTexts::sameChannel() {
    return tr("Choose two distinct channels");
}

QString CorrelationTexts::waiting() {
    return tr("Waiting for both selected channels");
}

QString CorrelationTexts::noHistogram() {
    return tr("The trace samples a histogram: show one of them");
}

} // namespace qorn::timetagger::gui
