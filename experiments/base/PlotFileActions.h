// What a plot shows, to and from files that the operator chooses: pictures and plot data. GUI thread only.
//
// Each operation opens its dialog over `parent` and returns at once; the dialog belongs to `parent`, so it
// goes with the tab. Faults are shown in a box. Without a plot nothing happens.
#pragma once

class QWidget;

namespace qorn::timetagger::gui {

class BarChartWidget;

// A picture of the plot as it looks when the file is chosen, PNG or JPEG.
void savePlotImage(BarChartWidget* plot, QWidget* parent);

// The displayed data, binary or as text. A file that is there stays as it was when writing fails.
void savePlotData(BarChartWidget* plot, QWidget* parent);

// Shows the data of a file until the owner of the plot renders again; the plot stays as it was when the file
// is too large, cannot be read, or is no plot data.
void loadPlotData(BarChartWidget* plot, QWidget* parent);

} // namespace qorn::timetagger::gui
