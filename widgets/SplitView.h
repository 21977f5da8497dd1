// A window that borrows the plots of several tabs and shows them beside each other while the tabs go on
// measuring.
//
// Owned by the main window, GUI thread only. Every plot goes back to its tab when its cell, the window or the
// view itself goes; a tab that dies while its plot is here takes its cell along.
#pragma once

#include "BarChartWidget.h"
#include "ExperimentTab.h"

#include <QList>
#include <QPointer>
#include <QWidget>

class QSplitter;

namespace qorn::timetagger::gui {

class SplitView : public QWidget {
    Q_OBJECT
public:
    explicit SplitView(QWidget* parent = nullptr);
    ~SplitView() override;

    // Borrows the tab's plot and shows it. A tab that is here already only raises the window; a tab that has
    // no plot to lend changes nothing.
    void addExperiment(ExperimentTab* tab);
    bool contains(const ExperimentTab* tab) const;
    // Ends the tab's entry, if it has one, and returns its plot; for a tab that is about to be destroyed.
    void removeExperiment(const ExperimentTab* tab);
    // Ends all entries and returns their plots.
    void returnAll();
    // Ends one entry, and hides the window with the last. `returnPlot` hands the plot back to its tab;
    // without it the plot is deleted with the cell. An index out of range is ignored.
    void removeEntry(int index, bool returnPlot);

public Q_SLOTS:
    void toggleOrientation();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    struct Entry {
        QPointer<ExperimentTab> tab;
        QPointer<BarChartWidget> plot;
        QWidget* cell = nullptr;
    };

    QWidget* buildCell(const QString& title, BarChartWidget* plot);
    void giveBack(const Entry& entry);
    void removeCell(const QWidget* cell, bool returnPlot);
    void bringToFront();

    QSplitter* splitter = nullptr;
    QList<Entry> entries;
};

} // namespace qorn::timetagger::gui
