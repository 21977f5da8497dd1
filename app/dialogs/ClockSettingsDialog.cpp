#include "ClockSettingsDialog.h"

#include "DialogParts.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QVBoxLayout>

#include <algorithm>

namespace qorn::timetagger::gui {
namespace {

using timing::ReferenceClockSource;
using timing::ReferenceSignal;

QString sourceText(ReferenceClockSource source) {
    switch (source) {
    case ReferenceClockSource::Internal:
        return ClockSettingsDialog::tr("Internal");
    case ReferenceClockSource::External:
        return ClockSettingsDialog::tr("External");
    default:
        return ClockSettingsDialog::tr("Auto");
    }
}

QString outputText(ReferenceSignal signal) {
    return signal == ReferenceSignal::OnePps ? ClockSettingsDialog::tr("1 PPS")
                                             : ClockSettingsDialog::tr("10 MHz");
}

} // namespace

ClockSettingsDialog::ClockSettingsDialog(const ClockWish& initial, const UiClockStatus& current,
                                         QWidget* parent)
    : QDialog(parent) {
    setWindowTitle(tr("Clock settings"));
    setMinimumWidth(400);

    sourceBox = new QComboBox(this);
    sourceBox->setObjectName(QStringLiteral("source"));
    sourceBox->addItem(tr("Automatic"), static_cast<int>(ReferenceClockSource::Automatic));
    sourceBox->addItem(sourceText(ReferenceClockSource::Internal),
                       static_cast<int>(ReferenceClockSource::Internal));
    sourceBox->addItem(tr("External 10 MHz input"), static_cast<int>(ReferenceClockSource::External));
    sourceBox->setCurrentIndex(std::max(sourceBox->findData(static_cast<int>(initial.source)), 0));
    sourceBox->setToolTip(tr("Select the clock source used as the measurement timebase."));

    outputBox = new QComboBox(this);
    outputBox->setObjectName(QStringLiteral("output"));
    for (const ReferenceSignal signal : {ReferenceSignal::TenMegahertz, ReferenceSignal::OnePps}) {
        outputBox->addItem(outputText(signal), static_cast<int>(signal));
    }
    outputBox->setCurrentIndex(std::max(outputBox->findData(static_cast<int>(initial.signal)), 0));
    outputBox->setToolTip(tr("Select the reference signal emitted by the clock output."));

    auto* currentNote = makeNote(tr("Current: %1 source, %2 output")
                                     .arg(sourceText(current.activeSource), outputText(current.outputSignal)),
                                 this);
    currentNote->setObjectName(QStringLiteral("current"));

    auto* group = new QGroupBox(tr("Reference clock"), this);
    QFormLayout* form = makeForm(group);
    form->addRow(tr("Source"), sourceBox);
    form->addRow(tr("Output"), outputBox);
    form->addRow(currentNote);

    QVBoxLayout* layout = makeDialogLayout(*this);
    layout->addWidget(group);
    layout->addStretch(1);
    layout->addWidget(makeApplyButtons(*this));
}

ClockWish ClockSettingsDialog::wish() const {
    return {static_cast<ReferenceClockSource>(sourceBox->currentData().toInt()),
            static_cast<ReferenceSignal>(outputBox->currentData().toInt())};
}

} // namespace qorn::timetagger::gui
