// A process that logs until it is killed. Arguments: the folder and "csv" or "binary". Each time it has
// flushed, it says how many rows and snapshots that were, one line each on standard output; behind the last
// flush more rows follow that are not flushed.
#include "ProbeTab.h"

#include <QApplication>
#include <QSettings>

#include <cstdio>

namespace {

constexpr int kRowsPerFlush = 10;

class ChildTab : public qorn::testing::ProbeTab {
public:
    QStringList logCsvHeader() const override { return {QStringLiteral("row"), QStringLiteral("text")}; }
};

QStringList rowOf(int number) {
    return {QString::number(number), QStringLiteral("a, \"quoted\"\nfield of row %1").arg(number)};
}

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Log Child"));
    QCoreApplication::setOrganizationName(QStringLiteral("QORN"));
    const QStringList arguments = QCoreApplication::arguments();
    QSettings().setValue(QStringLiteral("measurement/probe/dataLogFormat"), arguments.value(2));
    ChildTab tab;
    tab.buildToolbar(true, true, true);
    if (!tab.startLogInDirectory(arguments.value(1))) {
        return 1;
    }
    int snapshots = 1;
    for (int row = 0;;) {
        for (int end = row + kRowsPerFlush; row < end; ++row) {
            tab.appendLogRow(rowOf(row), row == end - 1);
        }
        std::printf("%d %d\n", row, snapshots);
        std::fflush(stdout);
        for (int end = row + kRowsPerFlush / 2; row < end; ++row) {
            tab.appendLogRow(rowOf(row), false);
        }
        tab.plotWidget()->setBars({1, 2, 3}, {double(row), 2, 3}, 1.0);
        if (row % 50 == 0) {
            tab.appendPlotSnapshot();
            ++snapshots;
        }
    }
}
