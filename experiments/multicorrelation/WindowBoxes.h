// The two number boxes of a window of lags, its centre and its width. A value of the widget that shows the
// window; the boxes belong to their parent.
#pragma once

#include "MultiCorrelationSettings.h"

class QDoubleSpinBox;
class QWidget;

namespace qorn::timetagger::gui {

struct WindowBoxes {
    QDoubleSpinBox* center = nullptr;
    QDoubleSpinBox* width = nullptr;

    // Boxes with these object names that show `window`.
    static WindowBoxes make(const QString& centerName, const QString& widthName, const TraceWindow& window,
                            QWidget* parent);

    TraceWindow window() const;
    void showWindow(const TraceWindow& window) const;
};

} // namespace qorn::timetagger::gui
