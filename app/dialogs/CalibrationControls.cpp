#include "CalibrationControls.h"

#include "DialogParts.h"

#include <QCoreApplication>
#include <QDoubleSpinBox>
#include <QSpinBox>

namespace qorn::timetagger::gui {
namespace {

constexpr int kMostSteps = 96;

QString tr(const char* text) {
    return QCoreApplication::translate("CalibrationControls", text);
}

} // namespace

CalibrationControls::CalibrationControls(const CalibrationSettings& initial, QWidget* parent)
    : duration(makeNumberBox({0.05, 30.0, 2, 0.05, tr(" s")}, initial.durationSeconds,
                             QStringLiteral("duration"), parent)),
      rate(
          makeNumberBox({1.0, 1000.0, 1, 10.0, tr(" kHz")}, initial.rateKhz, QStringLiteral("rate"), parent)),
      steps(new QSpinBox(parent)) {
    steps->setObjectName(QStringLiteral("steps"));
    steps->setRange(1, kMostSteps);
    steps->setValue(initial.frequencySteps);
}

CalibrationSettings CalibrationControls::settings() const {
    return {duration->value(), rate->value(), steps->value()};
}

} // namespace qorn::timetagger::gui
