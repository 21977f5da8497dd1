#include "StyleRuleSweeper.h"

#include <QAbstractScrollArea>
#include <QAbstractSpinBox>
#include <QApplication>
#include <QChildEvent>
#include <QComboBox>
#include <QSet>
#include <QTabWidget>
#include <QTimer>

#include <utility>

namespace qorn::timetagger::gui {
namespace {

// Whose parts have no rules of their own.
bool isWhole(const QObject* widget) {
    return qobject_cast<const QAbstractSpinBox*>(widget) != nullptr ||
           qobject_cast<const QComboBox*>(widget) != nullptr ||
           qobject_cast<const QAbstractScrollArea*>(widget) != nullptr ||
           qobject_cast<const QTabWidget*>(widget) != nullptr;
}

} // namespace

bool StyleRuleSweeper::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::ChildAdded && isWhole(watched)) {
        connect(static_cast<QChildEvent*>(event)->child(), &QObject::destroyed, this, &StyleRuleSweeper::note,
                Qt::UniqueConnection);
    }
    return QObject::eventFilter(watched, event);
}

void StyleRuleSweeper::note(QObject* part) {
    if (gone.isEmpty()) {
        QTimer::singleShot(0, this, &StyleRuleSweeper::sweep);
    }
    gone.append(part);
}

// What remembers the rules listens to the end of each whole widget. So a whole widget that stays says of the
// parts that they have ended. An address that another widget has by now is left alone.
void StyleRuleSweeper::sweep() {
    const QList<QObject*> parts = std::exchange(gone, {});
    if (qApp->styleSheet().isEmpty()) {
        return;
    }
    QSet<const QObject*> alive;
    for (const QWidget* widget : QApplication::allWidgets()) {
        alive.insert(widget);
    }
    QWidget whole;
    whole.ensurePolished();
    for (QObject* part : parts) {
        if (!alive.contains(part)) {
            Q_EMIT whole.destroyed(part);
        }
    }
}

} // namespace qorn::timetagger::gui
