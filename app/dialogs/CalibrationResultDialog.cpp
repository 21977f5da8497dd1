#include "CalibrationResultDialog.h"

#include "DialogParts.h"
#include "TableRoom.h"
#include "TimeTag.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QHeaderView>
#include <QTableWidget>
#include <QVBoxLayout>

#include <array>

namespace qorn::timetagger::gui {
namespace {

constexpr int kLines = 3;
constexpr int kFirstCheck = 2; // column, behind input and samples

// What the lines of one input brought.
struct InputResult {
    quint64 samples = 0;
    std::array<double, kLines> resolutionPs{};
    std::array<bool, kLines> lutApplied{};
};

std::array<InputResult, timing::kChannels> byInput(const QList<UiCalChannelStat>& stats) {
    std::array<InputResult, timing::kChannels> results{};
    for (const UiCalChannelStat& stat : stats) {
        if (stat.input < 0 || stat.input >= timing::kChannels || stat.delayLine < 0 ||
            stat.delayLine >= kLines) {
            continue;
        }
        InputResult& result = results[static_cast<std::size_t>(stat.input)];
        const auto line = static_cast<std::size_t>(stat.delayLine);
        result.samples += stat.samples;
        result.resolutionPs[line] = stat.resolutionPs;
        result.lutApplied[line] = stat.lutApplied;
    }
    return results;
}

void setCell(QTableWidget& table, int row, int column, const QString& text) {
    auto* item = new QTableWidgetItem(text);
    item->setTextAlignment(Qt::AlignCenter);
    item->setFlags(Qt::ItemIsEnabled);
    table.setItem(row, column, item);
}

} // namespace

CalibrationResultDialog::CalibrationResultDialog(const QList<UiCalChannelStat>& stats, QWidget* parent)
    : QDialog(parent) {
    setWindowTitle(tr("Calibration result"));
    resize(560, 340);
    applyBox = new QCheckBox(tr("Apply calibration now"), this);
    applyBox->setObjectName(QStringLiteral("applyNow"));
    applyBox->setChecked(true);
    saveBox = new QCheckBox(tr("Save for future sessions"), this);
    saveBox->setObjectName(QStringLiteral("saveForFuture"));
    saveBox->setChecked(true);

    QVBoxLayout* layout = makeDialogLayout(*this);
    layout->addWidget(buildTable(stats), 1);
    layout->addWidget(applyBox, 0, Qt::AlignLeft);
    layout->addWidget(saveBox, 0, Qt::AlignLeft);
    layout->addWidget(makeApplyButtons(*this));
}

QTableWidget* CalibrationResultDialog::buildTable(const QList<UiCalChannelStat>& stats) {
    QStringList headers{tr("Input"), tr("Samples")};
    for (int line = 1; line <= kLines; ++line) {
        headers.append(tr("Check %1").arg(line));
    }
    auto* table = new QTableWidget(timing::kChannels, static_cast<int>(headers.size()), this);
    table->setObjectName(QStringLiteral("results"));
    table->setHorizontalHeaderLabels(headers);
    table->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    table->horizontalHeader()->setHighlightSections(false);
    table->verticalHeader()->hide();
    table->verticalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setSelectionMode(QAbstractItemView::NoSelection);
    table->setFocusPolicy(Qt::NoFocus);

    const auto results = byInput(stats);
    for (int row = 0; row < timing::kChannels; ++row) {
        const InputResult& result = results[static_cast<std::size_t>(row)];
        setCell(*table, row, 0, tr("IN%1").arg(row + 1));
        setCell(*table, row, 1, QString::number(result.samples));
        for (std::size_t line = 0; line < kLines; ++line) {
            const QString text = result.lutApplied[line]
                                     ? tr("%1 ps").arg(result.resolutionPs[line], 0, 'f', 1)
                                     : QStringLiteral("\u2014");
            setCell(*table, row, kFirstCheck + static_cast<int>(line), text);
        }
    }
    keepColumnsWhole(*table);
    return table;
}

CalibrationChoice CalibrationResultDialog::choice() const {
    return {applyBox->isChecked(), saveBox->isChecked()};
}

} // namespace qorn::timetagger::gui
