// What the tests of plot data files share: a plot, what it shows in all respects, and the texts of failures.
#pragma once

#include "PlotFileBytes.h"
#include "PlotTestSupport.h"

#include <QString>

namespace plottest {

inline constexpr const char* kNoPlotData = "The selected file is not QORN plot data.";
inline constexpr const char* kIncomplete = "The QORN plot file is incomplete or unsupported.";
inline constexpr const char* kMismatchedSeries = "The QORN plot file contains mismatched series.";
inline constexpr const char* kMismatchedOverlays = "The QORN plot file contains mismatched overlay series.";

class PlotFileTest : public PlotTest {
protected:
    // Fills the plot with everything that a load could wrongly change, and remembers how it looks.
    void showOldPlot();
    // The plot is in every respect as showOldPlot() left it; also the operator's view.
    ::testing::AssertionResult showsOldPlot();

    // Loads, and expects success.
    ::testing::AssertionResult loads(const QByteArray& bytes);
    // Loads, and expects exactly this failure.
    ::testing::AssertionResult refuses(const QByteArray& bytes, const char* message);
    ::testing::AssertionResult loadsText(const QString& text);
    ::testing::AssertionResult refusesText(const QString& text, const QString& message);

private:
    QByteArray oldBytes;
    QString oldText;
    QImage oldPicture;
};

} // namespace plottest
