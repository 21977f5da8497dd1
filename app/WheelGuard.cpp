#include "WheelGuard.h"

#include <QAbstractScrollArea>
#include <QAbstractSlider>
#include <QAbstractSpinBox>
#include <QComboBox>
#include <QScrollBar>
#include <QWheelEvent>

namespace qorn::timetagger::gui {
namespace {

// A scroll area's own bar, not one that stands among its contents.
bool scrollsAnArea(const QWidget* widget) {
    for (const QWidget* ancestor = widget->parentWidget(); ancestor != nullptr;
         ancestor = ancestor->parentWidget()) {
        if (const auto* area = qobject_cast<const QAbstractScrollArea*>(ancestor)) {
            return widget == area->verticalScrollBar() || widget == area->horizontalScrollBar();
        }
    }
    return false;
}

bool isSetting(const QWidget* widget) {
    return qobject_cast<const QAbstractSpinBox*>(widget) != nullptr ||
           qobject_cast<const QComboBox*>(widget) != nullptr ||
           (qobject_cast<const QAbstractSlider*>(widget) != nullptr && !scrollsAnArea(widget));
}

// A window ends the walk: the open list of a combo box is one, and may be scrolled.
bool belongsToSetting(const QWidget* widget) {
    for (; widget != nullptr; widget = widget->isWindow() ? nullptr : widget->parentWidget()) {
        if (isSetting(widget)) {
            return true;
        }
    }
    return false;
}

} // namespace

WheelGuard::WheelGuard(QObject* parent) : QObject(parent) {}

bool WheelGuard::eventFilter(QObject* object, QEvent* event) {
    if (event->type() != QEvent::Wheel || !object->isWidgetType()) {
        return QObject::eventFilter(object, event);
    }
    const auto* widget = static_cast<const QWidget*>(object);
    // Qt offers a refused event to each parent in turn; there the control is found under the pointer.
    const QWidget* below = widget->childAt(static_cast<QWheelEvent*>(event)->position().toPoint());
    if (!belongsToSetting(below != nullptr ? below : widget)) {
        return QObject::eventFilter(object, event);
    }
    event->ignore();
    return true;
}

} // namespace qorn::timetagger::gui
