// Estimates a curve over a displayed histogram from moments and extreme points, without iteration: peaks, the
// dip of g2 at zero lag, the decay of a lifetime. Pure functions for the thread that draws.
#pragma once

#include <QList>
#include <QString>
#include <QStringList>

namespace qorn::timetagger::gui {

struct PeakFitOverlay {
    bool valid = false;     // if not, all else is empty and nothing is drawn
    QList<double> y;        // the curve on the x values of the data
    double center = 0.0;    // x of the strongest peak, or of the extremum of the exponential
    double width = 0.0;     // sigma (Gaussian), gamma (Lorentzian) or tau (exponential)
    double fwhm = 0.0;      // 0 for exponentials
    double baseline = 0.0;  // floor of the data
    double amplitude = 0.0; // height above the baseline, or depth below it
    int exponential = 0;    // 1 in an exponential overlay
    QString label;          // name of the fit
    QStringList details;    // a line per term
};

// x in ns, ascending or not; the shorter list counts, and fewer than five points give no overlay.
// `terms` is held within 1 to 3. Not valid when the data does not stand out of its floor.
PeakFitOverlay makePeakFitOverlay(const QList<double>& x, const QList<double>& y, bool lorentzian, int terms);

// The g2 dip at zero lag (`dip`), or the decay after the maximum. Otherwise as above.
PeakFitOverlay makeExponentialFitOverlay(const QList<double>& x, const QList<double>& y, bool dip, int terms);

} // namespace qorn::timetagger::gui
