// The left column of a tab: its controls, which scroll where there is no room for all of them, and below them
// the status line, which is always in view. Owned by the tab, GUI thread only.
#pragma once

#include "LateWidget.h"

class QLabel;

namespace qorn::timetagger::gui {

class LateScrollArea;

class ControlColumn : public LateWidget {
    Q_OBJECT
public:
    // `leastWidth` in pixels.
    ControlColumn(int leastWidth, QWidget* parent);

    // The parent of the controls, one widget, to be made in it before the column is shown.
    QWidget* place() const;

    void showStatus(const QString& text);

private:
    LateScrollArea* area;
    QLabel* status;
};

} // namespace qorn::timetagger::gui
