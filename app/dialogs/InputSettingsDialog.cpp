#include "InputSettingsDialog.h"

#include "DialogParts.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace qorn::timetagger::gui {
namespace {

constexpr int kLeastWidth = 440;
constexpr int kUsualWidth = 660; // notes have two lines then, and rows stand level
constexpr int kUsualHeight = 390;

} // namespace

InputSettingsDialog::InputSettingsDialog(const InputChoice& initial, QWidget* parent) : QDialog(parent) {
    setWindowTitle(tr("Input settings"));
    setMinimumWidth(kLeastWidth);

    // Side by side, an input's row in one line.
    auto* groups = new QHBoxLayout;
    groups->setSpacing(14);
    groups->addWidget(buildThresholds(initial.thresholdsV), 1);
    groups->addWidget(buildDeadTimes(initial.deadTimesNs), 1);

    QVBoxLayout* layout = makeDialogLayout(*this);
    layout->addLayout(groups, 1);
    layout->addWidget(makeApplyButtons(*this));
    layout->setSizeConstraint(QLayout::SetMinimumSize); // above the least width when the contents need more
    resize(kUsualWidth, kUsualHeight);
}

QGroupBox* InputSettingsDialog::buildThresholds(const Values& volts) {
    auto* group = new QGroupBox(tr("Thresholds"), this);
    const QString tip = tr("Per-channel input threshold (0 - 4 V). Current values shown.");
    group->setToolTip(tip);
    thresholds = buildQuantity(*group, {0.0, 4.0, 3, 0.01, tr(" V")}, volts, {"threshold", "Threshold"});
    static_cast<QVBoxLayout*>(group->layout())->addWidget(makeNote(tip, group));
    static_cast<QVBoxLayout*>(group->layout())->addStretch(1);
    return group;
}

QGroupBox* InputSettingsDialog::buildDeadTimes(const Values& ns) {
    auto* group = new QGroupBox(tr("Dead time"), this);
    group->setToolTip(
        tr("Per-input dead time. Events on the same input inside that input's interval are suppressed "
           "before streaming, counters, and coincidences. Set 0 ns to disable an input's filter."));
    deadTimes = buildQuantity(*group, {0.0, 1000000.0, 3, 1.0, tr(" ns")}, ns, {"deadTime", "DeadTime"});
    deadTimes.all->setSpecialValueText(tr("Off"));
    for (QDoubleSpinBox* box : deadTimes.each) {
        box->setSpecialValueText(tr("Off"));
    }
    static_cast<QVBoxLayout*>(group->layout())
        ->addWidget(
            makeNote(tr("Hardware rounds upward to whole 300 MHz TDC clock cycles (~3.333 ns)."), group));
    static_cast<QVBoxLayout*>(group->layout())->addStretch(1);
    return group;
}

InputSettingsDialog::Quantity InputSettingsDialog::buildQuantity(QGroupBox& group, const NumberRange& range,
                                                                 const Values& values, const Names& names) {
    Quantity quantity;
    auto* layout = new QVBoxLayout(&group);
    layout->setSpacing(8);
    quantity.common = new QCheckBox(tr("Apply to all channels"), &group);
    quantity.common->setObjectName(QStringLiteral("apply%1ToAll").arg(QLatin1String(names.capitalised)));
    layout->addWidget(quantity.common);

    QFormLayout* form = makeForm();
    const QString name = QLatin1String(names.plain);
    quantity.all = makeNumberBox(range, values[0], name + QStringLiteral("All"), &group);
    form->addRow(tr("All channels"), quantity.all);
    for (std::size_t input = 0; input < values.size(); ++input) {
        quantity.each[input] = makeNumberBox(range, values[input], name + QString::number(input + 1), &group);
        form->addRow(tr("IN%1").arg(input + 1), quantity.each[input]);
    }
    layout->addLayout(form);

    const auto showCommon = [quantity](bool common) {
        quantity.all->setEnabled(common);
        for (QDoubleSpinBox* box : quantity.each) {
            box->setEnabled(!common);
        }
    };
    connect(quantity.common, &QCheckBox::toggled, this, showCommon);
    showCommon(false);
    return quantity;
}

InputSettingsDialog::Values InputSettingsDialog::valuesOf(const Quantity& quantity) {
    Values values{};
    for (std::size_t input = 0; input < values.size(); ++input) {
        values[input] = (quantity.common->isChecked() ? quantity.all : quantity.each[input])->value();
    }
    return values;
}

InputChoice InputSettingsDialog::choice() const {
    return {valuesOf(thresholds), valuesOf(deadTimes)};
}

} // namespace qorn::timetagger::gui
