#include "WindowBoxes.h"

#include <QCoreApplication>
#include <QDoubleSpinBox>

namespace qorn::timetagger::gui {
namespace {

QDoubleSpinBox* makeBox(const QString& name, double least, double most, const char* suffix, QWidget* parent) {
    auto* box = new QDoubleSpinBox(parent);
    box->setObjectName(name);
    box->setDecimals(3);
    box->setRange(least, most);
    box->setSingleStep(0.1);
    box->setSuffix(QCoreApplication::translate("WindowBoxes", suffix));
    box->setKeyboardTracking(false); // half a number would restart the histograms
    box->setSizePolicy(QSizePolicy::Ignored, box->sizePolicy().verticalPolicy()); // two stand side by side
    return box;
}

} // namespace

WindowBoxes WindowBoxes::make(const QString& centerName, const QString& widthName, const TraceWindow& window,
                              QWidget* parent) {
    using Settings = MultiCorrelationSettings;
    WindowBoxes boxes;
    boxes.center = makeBox(centerName, -Settings::kMostCenterNs, Settings::kMostCenterNs,
                           QT_TRANSLATE_NOOP("WindowBoxes", " ns center"), parent);
    boxes.width = makeBox(widthName, Settings::kLeastWidthNs, Settings::kMostWidthNs,
                          QT_TRANSLATE_NOOP("WindowBoxes", " ns width"), parent);
    boxes.showWindow(window);
    return boxes;
}

TraceWindow WindowBoxes::window() const {
    return {center->value(), width->value()};
}

void WindowBoxes::showWindow(const TraceWindow& window) const {
    center->setValue(window.centerNs);
    width->setValue(window.widthNs);
}

} // namespace qorn::timetagger::gui
