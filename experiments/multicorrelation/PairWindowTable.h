// The table of the two windows of each pair. Shows windows and gives them back; owned by
// MultiCorrelationControls, GUI thread only.
#pragma once

#include "WindowBoxes.h"

#include <QWidget>

#include <array>

class QGridLayout;

namespace qorn::timetagger::gui {

class PairWindowTable : public QWidget {
    Q_OBJECT
public:
    explicit PairWindowTable(QWidget* parent = nullptr);

    std::array<PairWindows, kPairs> windows() const;
    // Rounded as the boxes do, without a signal.
    void showWindows(const std::array<PairWindows, kPairs>& windows);

Q_SIGNALS:
    // The operator changed a window.
    void windowsChanged();

private:
    struct Row {
        WindowBoxes a;
        WindowBoxes b;
    };
    WindowBoxes makeBoxes(const QString& window, std::size_t pair, const TraceWindow& shown);

    std::array<Row, kPairs> rows;
};

} // namespace qorn::timetagger::gui
