#include "KeyHint.h"

#include <QEvent>
#include <QHelpEvent>
#include <QKeySequence>
#include <QToolTip>
#include <QWidget>

namespace qorn::timetagger::gui {
namespace {

class KeyHint : public QObject {
public:
    KeyHint(QWidget& shown, const QKeySequence& shortcut) : QObject(&shown), control(shown), key(shortcut) {
        control.installEventFilter(this);
        control.setAccessibleDescription(text());
    }

    bool eventFilter(QObject* object, QEvent* event) override {
        if (object == &control && event->type() == QEvent::ToolTip) {
            QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), text(), &control);
            return true;
        }
        if (object == &control && event->type() == QEvent::ToolTipChange) {
            control.setAccessibleDescription(text());
        }
        return QObject::eventFilter(object, event);
    }

private:
    QString text() const {
        return QStringLiteral("%1 [%2]").arg(control.toolTip(), key.toString(QKeySequence::NativeText));
    }

    QWidget& control;
    QKeySequence key;
};

} // namespace

void showKeyInToolTip(QWidget& control, const QKeySequence& key) {
    new KeyHint(control, key);
}

} // namespace qorn::timetagger::gui
