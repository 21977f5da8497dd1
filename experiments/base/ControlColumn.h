// The left column of a tab: its controls, which scroll where there is no room for all of them, and below them
// the status line, which is always in view. Owned by the tab, GUI thread only.
#pragma once

#include <QWidget>

class QLabel;

namespace qorn::timetagger::gui {

class ControlColumn : public QWidget {
    Q_OBJECT
public:
    // Takes the controls as a child; `leastWidth` in pixels.
    ControlColumn(QWidget* controls, int leastWidth, QWidget* parent = nullptr);

    void showStatus(const QString& text);

private:
    QLabel* status;
};

} // namespace qorn::timetagger::gui
