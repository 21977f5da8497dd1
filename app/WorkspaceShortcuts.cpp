#include "WorkspaceShortcuts.h"

#include "BarChartWidget.h"
#include "DetachableTabWidget.h"
#include "ExperimentTab.h"
#include "MeasurementToolbar.h"

#include <QApplication>
#include <QDockWidget>
#include <QShortcut>

namespace qorn::timetagger::gui {
namespace {

template <typename Act>
void watch(const QKeySequence& key, QWidget& page, const Act& act) {
    auto* shortcut = new QShortcut(key, &page);
    shortcut->setAutoRepeat(false);
    QObject::connect(shortcut, &QShortcut::activated, &page, act);
}

bool hasFocus(const ExperimentTab& tab, const QWidget& focus) {
    if (&tab == &focus || tab.isAncestorOf(&focus)) {
        return true;
    }
    const BarChartWidget* plot = tab.plotWidget(); // perhaps lent
    return plot == &focus;
}

} // namespace

WorkspaceShortcuts::WorkspaceShortcuts(QWidget& workspace, DetachableTabWidget& tabWidget)
    : QObject(&workspace), tabs(tabWidget) {
    for (const QKeySequence& key : MeasurementToolbar::keys()) {
        watch(key, workspace, [this, key] { press(key); });
    }
    watch(DetachableTabWidget::closeKey(), workspace, [this] { closeWhatIsInUse(); });
}

ExperimentTab* WorkspaceShortcuts::tabInUse() const {
    const QWidget* focus = QApplication::focusWidget();
    QList<QWidget*> pages = tabs.detachedPages();
    for (int index = 0; index < tabs.count(); ++index) {
        pages.append(tabs.widget(index));
    }
    for (QWidget* page : pages) {
        auto* tab = qobject_cast<ExperimentTab*>(page);
        if (tab != nullptr && focus != nullptr && hasFocus(*tab, *focus)) {
            return tab;
        }
    }
    return qobject_cast<ExperimentTab*>(tabs.currentWidget());
}

void WorkspaceShortcuts::press(const QKeySequence& key) {
    const ExperimentTab* tab = tabInUse();
    auto* toolbar = tab != nullptr ? tab->findChild<MeasurementToolbar*>() : nullptr;
    if (toolbar != nullptr) {
        toolbar->press(key);
    }
}

// A dock pane gives its tab back, another window of plots gives these back; only a tab of the bar ends.
void WorkspaceShortcuts::closeWhatIsInUse() {
    for (QWidget* widget = QApplication::focusWidget(); widget != nullptr; widget = widget->parentWidget()) {
        if (auto* dock = qobject_cast<QDockWidget*>(widget)) {
            dock->close();
            return;
        }
    }
    QWidget* active = QApplication::activeWindow();
    if (active != nullptr && active != tabs.window()) {
        active->close();
    } else if (tabs.currentIndex() >= 0) {
        Q_EMIT closeRequested(tabs.currentIndex());
    }
}

} // namespace qorn::timetagger::gui
