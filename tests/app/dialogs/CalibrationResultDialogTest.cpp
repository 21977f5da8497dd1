#include "CalibrationResultDialog.h"

#include "DialogStage.h"
#include "QtPrinting.h"

#include <QCheckBox>
#include <QTableWidget>
#include <QTest>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::control;
using qorn::testing::text;
using qorn::testing::texts;

UiCalChannelStat stat(int line, int input, quint64 samples, double resolution, bool applied) {
    return {line, input, samples, 180, resolution, applied};
}

// All inputs of the lines; input c of line t has 1000 t + 100 c + 7 samples and t + c / 10 ps.
QList<UiCalChannelStat> statsOf(std::initializer_list<int> lines) {
    QList<UiCalChannelStat> stats;
    for (const int line : lines) {
        for (int input = 0; input < 4; ++input) {
            stats.append(stat(line, input, static_cast<quint64>(1000 * line + 100 * input + 7),
                              line + input / 10.0, true));
        }
    }
    return stats;
}

QStringList headersOf(const QTableWidget& table) {
    QStringList headers;
    for (int column = 0; column < table.columnCount(); ++column) {
        headers.append(table.horizontalHeaderItem(column)->text());
    }
    return headers;
}

QStringList rowOf(const QTableWidget& table, int row) {
    QStringList cells;
    for (int column = 0; column < table.columnCount(); ++column) {
        const QTableWidgetItem* item = table.item(row, column);
        cells.append(item == nullptr ? QStringLiteral("no item") : item->text());
    }
    return cells;
}

TEST(CalibrationResultDialog, AsksInTheseWordsWithBothBoxesSet) {
    const CalibrationResultDialog dialog(statsOf({0}));
    EXPECT_EQ(dialog.windowTitle(), text("Calibration result"));
    EXPECT_EQ(control<QCheckBox>(dialog, "applyNow").text(), text("Apply calibration now"));
    EXPECT_EQ(control<QCheckBox>(dialog, "saveForFuture").text(), text("Save for future sessions"));
    EXPECT_EQ(dialog.choice(), (CalibrationChoice{true, true}));
}

TEST(CalibrationResultDialog, ARowForEachInputAndAColumnForEachLine) {
    const CalibrationResultDialog dialog(statsOf({0, 1, 2}));
    const auto& table = control<QTableWidget>(dialog, "results");
    EXPECT_EQ(table.rowCount(), 4);
    EXPECT_EQ(headersOf(table), texts({"Input", "Samples", "Check 1", "Check 2", "Check 3"}));
    EXPECT_EQ(rowOf(table, 0), texts({"IN1", "3021", "0.0 ps", "1.0 ps", "2.0 ps"}));
    EXPECT_EQ(rowOf(table, 1), texts({"IN2", "3321", "0.1 ps", "1.1 ps", "2.1 ps"}));
    EXPECT_EQ(rowOf(table, 2), texts({"IN3", "3621", "0.2 ps", "1.2 ps", "2.2 ps"}));
    EXPECT_EQ(rowOf(table, 3), texts({"IN4", "3921", "0.3 ps", "1.3 ps", "2.3 ps"}));
}

TEST(CalibrationResultDialog, ATableThatWasNotAppliedIsADash) {
    QList<UiCalChannelStat> stats = statsOf({0, 1, 2});
    stats[0].lutApplied = false;  // line 0, input 1
    stats[11].lutApplied = false; // line 2, input 4
    const CalibrationResultDialog dialog(stats);
    const auto& table = control<QTableWidget>(dialog, "results");
    EXPECT_EQ(rowOf(table, 0), texts({"IN1", "3021", "\u2014", "1.0 ps", "2.0 ps"}));
    EXPECT_EQ(rowOf(table, 3), texts({"IN4", "3921", "0.3 ps", "1.3 ps", "\u2014"}));
}

TEST(CalibrationResultDialog, ResolutionsHaveOneDecimalWhateverTheirSize) {
    struct Row {
        double resolution;
        const char* cell;
    };
    for (const Row& row : {Row{0.0, "0.0 ps"}, Row{5.04, "5.0 ps"}, Row{5.06, "5.1 ps"},
                           Row{962.1542236, "962.2 ps"}, Row{12345678.94, "12345678.9 ps"}}) {
        const CalibrationResultDialog dialog({stat(0, 0, 1, row.resolution, true)});
        EXPECT_EQ(control<QTableWidget>(dialog, "results").item(0, 2)->text(), text(row.cell));
    }
}

TEST(CalibrationResultDialog, AllFourInputsAreListedAlsoWithoutNumbers) {
    const CalibrationResultDialog dialog({stat(0, 2, 123456789012, 5.5, true)});
    const auto& table = control<QTableWidget>(dialog, "results");
    ASSERT_EQ(table.rowCount(), 4);
    EXPECT_EQ(rowOf(table, 0).first(), text("IN1"));
    EXPECT_EQ(rowOf(table, 0)[1], text("0"));
    EXPECT_EQ(rowOf(table, 0)[2], text("\u2014"));
    EXPECT_EQ(rowOf(table, 2).mid(0, 3), texts({"IN3", "123456789012", "5.5 ps"}));
}

TEST(CalibrationResultDialog, RowsOfOtherInputsOrLinesAreLeftOut) {
    QList<UiCalChannelStat> stats = statsOf({0, 1, 2});
    for (const auto& [line, input] :
         {std::pair(0, 4), std::pair(0, -1), std::pair(3, 0), std::pair(-1, 0), std::pair(4, 3)}) {
        stats.append(stat(line, input, 1000000, 99.0, true));
    }
    const CalibrationResultDialog dialog(stats);
    const auto& table = control<QTableWidget>(dialog, "results");
    EXPECT_EQ(headersOf(table), texts({"Input", "Samples", "Check 1", "Check 2", "Check 3"}));
    EXPECT_EQ(table.rowCount(), 4);
    EXPECT_EQ(rowOf(table, 0), texts({"IN1", "3021", "0.0 ps", "1.0 ps", "2.0 ps"}));
    EXPECT_EQ(rowOf(table, 3), texts({"IN4", "3921", "0.3 ps", "1.3 ps", "2.3 ps"}));
}

TEST(CalibrationResultDialog, CellsAreCentredAndOnlyToBeRead) {
    const CalibrationResultDialog dialog(statsOf({0, 1, 2}));
    const auto& table = control<QTableWidget>(dialog, "results");
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < table.columnCount(); ++column) {
            const QTableWidgetItem* item = table.item(row, column);
            ASSERT_NE(item, nullptr);
            EXPECT_EQ(item->textAlignment() & Qt::AlignHCenter, Qt::AlignHCenter) << row << ", " << column;
            EXPECT_TRUE(table.editTriggers() == QAbstractItemView::NoEditTriggers ||
                        !item->flags().testFlag(Qt::ItemIsEditable));
        }
    }
}

TEST(CalibrationResultDialog, GivesWhatItsBoxesShow) {
    for (const bool apply : {false, true}) {
        for (const bool save : {false, true}) {
            CalibrationResultDialog dialog(statsOf({0}));
            control<QCheckBox>(dialog, "applyNow").setChecked(apply);
            control<QCheckBox>(dialog, "saveForFuture").setChecked(save);
            EXPECT_EQ(qorn::testing::resultOfClick(dialog, "Apply"), QDialog::Accepted);
            EXPECT_EQ(dialog.choice(), (CalibrationChoice{apply, save}));
        }
    }
}

TEST(CalibrationResultDialog, CancelAndEscapeDoNotAccept) {
    CalibrationResultDialog dialog(statsOf({0}));
    EXPECT_EQ(qorn::testing::resultOfClick(dialog, "Cancel"), QDialog::Rejected);
    dialog.setResult(-1);
    dialog.show();
    QTest::keyClick(&dialog, Qt::Key_Escape);
    EXPECT_EQ(dialog.result(), QDialog::Rejected);
}

} // namespace
} // namespace qorn::timetagger::gui
