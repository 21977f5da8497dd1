#include "AxisLimitsDialog.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QVBoxLayout>

#include <cmath>

namespace qorn::timetagger::gui {

namespace {

std::optional<double> number(const QLineEdit& field) {
    bool ok = false;
    const double value = field.text().trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(value))
        return std::nullopt;
    return value;
}

} // namespace

AxisLimitsDialog::AxisLimitsDialog(const PlotView& view, QWidget* parent) : QDialog(parent) {
    setWindowTitle(tr("Axis limits"));
    auto* form = new QFormLayout;
    const auto addField = [&](const QString& name, double value) {
        // The shortest text that reads back as the same number: accepting without a change changes nothing.
        auto* field = new QLineEdit(QString::number(value, 'g', QLocale::FloatingPointShortest), this);
        field->setAccessibleName(name);
        connect(field, &QLineEdit::textChanged, this, &AxisLimitsDialog::showValidity);
        form->addRow(name, field);
        return field;
    };
    xMin = addField(tr("X min"), view.xMin);
    xMax = addField(tr("X max"), view.xMax);
    yMin = addField(tr("Y min"), view.yMin);
    yMax = addField(tr("Y max"), view.yMax);

    hint = new QLabel(tr("Each minimum must be a number below its maximum."), this);
    // Room for the hint stays reserved, so the dialog does not jump while a number is typed.
    QSizePolicy policy = hint->sizePolicy();
    policy.setRetainSizeWhenHidden(true);
    hint->setSizePolicy(policy);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(hint);
    layout->addWidget(buttons);
    xMin->selectAll();
    showValidity();
}

std::optional<PlotView> AxisLimitsDialog::limits() const {
    const auto left = number(*xMin);
    const auto right = number(*xMax);
    const auto bottom = number(*yMin);
    const auto top = number(*yMax);
    if (!left || !right || !bottom || !top || !(*left < *right) || !(*bottom < *top))
        return std::nullopt;
    return PlotView{*left, *right, *bottom, *top};
}

void AxisLimitsDialog::showValidity() {
    hint->setVisible(!limits());
}

} // namespace qorn::timetagger::gui
