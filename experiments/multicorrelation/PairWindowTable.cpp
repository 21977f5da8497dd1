#include "PairWindowTable.h"

#include "CoincidenceCounts.h"

#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QLabel>
#include <QSignalBlocker>

namespace qorn::timetagger::gui {
namespace {

constexpr int kSpacing = 3;      // between the two lines of a pair
constexpr int kPairSpacing = 6;  // more of it between pairs
constexpr int kLinesPerPair = 3; // of the grid: A, B and the spacing

} // namespace

// A pair's two windows stand in two lines, and so do their headings.
PairWindowTable::PairWindowTable(QWidget* parent) : QWidget(parent) {
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setSpacing(kSpacing);
    grid->setColumnStretch(1, 1);
    grid->setColumnStretch(2, 1);
    const QString headings[2][2] = {{tr("A center"), tr("A width")}, {tr("B center"), tr("B width")}};
    grid->addWidget(new QLabel(tr("Pair"), this), 0, 0);
    for (int line = 0; line < 2; ++line) {
        for (int column = 0; column < 2; ++column) {
            grid->addWidget(new QLabel(headings[line][column], this), line, column + 1);
        }
    }
    const QStringList labels = pairLabels();
    for (std::size_t pair = 0; pair < kPairs; ++pair) {
        const PairWindows shown;
        rows[pair] = {makeBoxes(QStringLiteral("A"), pair, shown.a),
                      makeBoxes(QStringLiteral("B"), pair, shown.b)};
        const QString& label = labels.at(static_cast<qsizetype>(pair));
        const int firstLine = (static_cast<int>(pair) + 1) * kLinesPerPair;
        grid->setRowMinimumHeight(firstLine - 1, kPairSpacing);
        grid->addWidget(new QLabel(label, this), firstLine, 0);
        for (int line = 0; line < 2; ++line) {
            const WindowBoxes& boxes = line == 0 ? rows[pair].a : rows[pair].b;
            for (int column = 0; column < 2; ++column) {
                QDoubleSpinBox* box = column == 0 ? boxes.center : boxes.width;
                box->setAccessibleName(headings[line][column] + QLatin1Char(' ') + label);
                grid->addWidget(box, firstLine + line, column + 1);
                connect(box, &QDoubleSpinBox::valueChanged, this, &PairWindowTable::windowsChanged);
            }
        }
    }
}

WindowBoxes PairWindowTable::makeBoxes(const QString& window, std::size_t pair, const TraceWindow& shown) {
    const QString ending = window + QString::number(pair + 1);
    return WindowBoxes::make(QLatin1String("center") + ending, QLatin1String("width") + ending, shown, this);
}

std::array<PairWindows, kPairs> PairWindowTable::windows() const {
    std::array<PairWindows, kPairs> result{};
    for (std::size_t pair = 0; pair < kPairs; ++pair) {
        result[pair] = {rows[pair].a.window(), rows[pair].b.window()};
    }
    return result;
}

void PairWindowTable::showWindows(const std::array<PairWindows, kPairs>& windows) {
    const QSignalBlocker blocker(this);
    for (std::size_t pair = 0; pair < kPairs; ++pair) {
        rows[pair].a.showWindow(windows[pair].a);
        rows[pair].b.showWindow(windows[pair].b);
    }
}

} // namespace qorn::timetagger::gui
