#include "KeyboardReach.h"

#include "BarChartWidget.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDockWidget>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QShortcut>
#include <QSpinBox>
#include <QTabBar>
#include <QTest>

#include <map>
#include <set>

namespace qorn::testing {
namespace {

constexpr int kMostSteps = 400;

QString nameOf(const QWidget& widget) {
    const auto* button = qobject_cast<const QAbstractButton*>(&widget);
    return QStringLiteral("%1 %2 %3")
        .arg(QLatin1String(widget.metaObject()->className()), widget.objectName(),
             button != nullptr ? button->text() : QString());
}

// The parts of a tab bar and of a dock's title have keys of their own.
bool isPartOfABar(const QWidget& widget) {
    return qobject_cast<const QTabBar*>(widget.parentWidget()) != nullptr ||
           qobject_cast<const QDockWidget*>(widget.parentWidget()) != nullptr;
}

bool isControl(const QWidget& widget) {
    if (qobject_cast<const QLineEdit*>(&widget) != nullptr) {
        return qobject_cast<const QAbstractSpinBox*>(widget.parentWidget()) == nullptr;
    }
    return (qobject_cast<const QAbstractButton*>(&widget) != nullptr && !isPartOfABar(widget)) ||
           qobject_cast<const QComboBox*>(&widget) != nullptr ||
           qobject_cast<const QAbstractSpinBox*>(&widget) != nullptr ||
           qobject_cast<const QTabBar*>(&widget) != nullptr ||
           qobject_cast<const timetagger::gui::BarChartWidget*>(&widget) != nullptr;
}

QList<QWidget*> controlsIn(const QWidget& window) {
    QList<QWidget*> controls;
    for (QWidget* widget : window.findChildren<QWidget*>()) {
        // A button that belongs to a table's corner or to a menu is none of the window's.
        const bool inView = qobject_cast<QAbstractItemView*>(widget->parentWidget()) != nullptr;
        if (widget->isVisible() && widget->isEnabled() && widget->window() == &window && isControl(*widget) &&
            !inView) {
            controls.append(widget);
        }
    }
    return controls;
}

QChar letterOf(const QString& text) {
    const QKeySequence key = QKeySequence::mnemonic(text);
    return key.isEmpty() ? QChar() : key.toString().back();
}

void collectClashes(const QStringList& texts, const QString& where, QStringList& clashes) {
    std::map<QChar, QString> taken;
    for (const QString& text : texts) {
        const QChar letter = letterOf(text);
        if (letter.isNull()) {
            continue;
        }
        if (!taken.emplace(letter, text).second) {
            clashes.append(QStringLiteral("%1: %2 and %3").arg(where, taken[letter], text));
        }
    }
}

} // namespace

QStringList outOfReach(QWidget& window) {
    QList<QWidget*> missing = controlsIn(window);
    QApplication::setActiveWindow(&window);
    if (window.focusWidget() == nullptr || !window.focusWidget()->isVisible()) {
        QTest::keyClick(&window, Qt::Key_Tab);
    }
    for (int step = 0; step < kMostSteps && !missing.isEmpty(); ++step) {
        QWidget* focus = window.focusWidget();
        if (focus == nullptr) {
            break;
        }
        missing.removeOne(focus);
        QTest::keyClick(focus, Qt::Key_Tab);
    }
    QStringList names;
    for (const QWidget* widget : missing) {
        names.append(nameOf(*widget));
    }
    return names;
}

QStringList clashingMnemonics(QWidget& window) {
    QStringList clashes;
    QStringList inWindow;
    for (const QMenu* menu : window.findChildren<QMenu*>()) {
        QStringList entries;
        for (const QAction* action : menu->actions()) {
            entries.append(action->text());
        }
        collectClashes(entries, menu->title(), clashes);
    }
    for (const QWidget* widget : window.findChildren<QWidget*>()) {
        if (!widget->isVisible() || widget->window() != &window) {
            continue;
        }
        if (const auto* bar = qobject_cast<const QMenuBar*>(widget)) {
            for (const QAction* action : bar->actions()) {
                inWindow.append(action->text());
            }
        } else if (const auto* button = qobject_cast<const QAbstractButton*>(widget)) {
            inWindow.append(button->text());
        } else if (const auto* label = qobject_cast<const QLabel*>(widget)) {
            inWindow.append(label->buddy() != nullptr ? label->text() : QString());
        } else if (const auto* group = qobject_cast<const QGroupBox*>(widget)) {
            inWindow.append(group->title());
        } else if (const auto* tabs = qobject_cast<const QTabBar*>(widget)) {
            for (int i = 0; i < tabs->count(); ++i) {
                inWindow.append(tabs->tabText(i));
            }
        }
    }
    collectClashes(inWindow, QStringLiteral("window"), clashes);
    return clashes;
}

QStringList namelessButtons(QWidget& window) {
    QStringList nameless;
    for (QAbstractButton* button : window.findChildren<QAbstractButton*>()) {
        const bool internal = button->objectName().startsWith(QLatin1String("qt_")) ||
                              qobject_cast<QAbstractItemView*>(button->parentWidget()) != nullptr;
        QAccessibleInterface* heard = QAccessible::queryAccessibleInterface(button);
        if (button->isVisible() && !internal &&
            (heard == nullptr || heard->text(QAccessible::Name).isEmpty())) {
            nameless.append(nameOf(*button));
        }
    }
    return nameless;
}

QStringList clashingKeys(QWidget& window) {
    QList<QKeySequence> keys;
    for (const QShortcut* shortcut : window.findChildren<QShortcut*>()) {
        keys.append(shortcut->key());
    }
    for (const QAction* action : window.findChildren<QAction*>()) {
        keys.append(action->shortcut());
    }
    // What a field for text or numbers makes of a key by itself.
    for (const QKeySequence::StandardKey edit : {QKeySequence::Undo,
                                                 QKeySequence::Redo,
                                                 QKeySequence::Cut,
                                                 QKeySequence::Copy,
                                                 QKeySequence::Paste,
                                                 QKeySequence::SelectAll,
                                                 QKeySequence::Delete,
                                                 QKeySequence::DeleteStartOfWord,
                                                 QKeySequence::DeleteEndOfWord,
                                                 QKeySequence::DeleteEndOfLine,
                                                 QKeySequence::DeleteCompleteLine,
                                                 QKeySequence::Backspace,
                                                 QKeySequence::MoveToNextWord,
                                                 QKeySequence::MoveToPreviousWord,
                                                 QKeySequence::MoveToStartOfLine,
                                                 QKeySequence::MoveToEndOfLine,
                                                 QKeySequence::NextChild,
                                                 QKeySequence::PreviousChild,
                                                 QKeySequence::WhatsThis,
                                                 QKeySequence::HelpContents}) {
        for (const QKeySequence& key : QKeySequence::keyBindings(edit)) {
            if (!keys.contains(key)) {
                continue;
            }
            keys.append(key);
        }
    }
    QStringList clashes;
    std::set<QString> seen;
    for (const QKeySequence& key : keys) {
        if (!key.isEmpty() && !seen.insert(key.toString()).second) {
            clashes.append(key.toString());
        }
    }
    return clashes;
}

} // namespace qorn::testing
