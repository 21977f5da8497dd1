#include "SleepingTabs.h"

#include "DetachableTabWidget.h"
#include "ExperimentTab.h"

#include <QTimer>

#include <utility>

namespace qorn::timetagger::gui {
namespace {

constexpr int kPaintedMs = 50; // by then the window shows what was loaded

class SleepingPage : public QWidget {
    Q_OBJECT
public:
    SleepingPage(SavedExperiment saved, QWidget* parent) : QWidget(parent), experiment(std::move(saved)) {}

    SavedExperiment experiment;
};

SleepingPage* sleepingPage(const DetachableTabWidget& tabs, int index) {
    return qobject_cast<SleepingPage*>(tabs.widget(index));
}

} // namespace

SleepingTabs::SleepingTabs(DetachableTabWidget& tabWidget, Maker maker, QObject* parent)
    : QObject(parent), tabs(tabWidget), make(std::move(maker)), idle(new QTimer(this)) {
    connect(idle, &QTimer::timeout, this, &SleepingTabs::wakeNext);
    connect(&tabs, &QTabWidget::currentChanged, this, &SleepingTabs::wake);
    connect(&tabs, &DetachableTabWidget::aboutToDetach, this, &SleepingTabs::wake);
}

// The page on top goes in first: a tab widget shows its first page at once.
void SleepingTabs::add(const QList<SavedExperiment>& experiments, int current) {
    if (experiments.isEmpty()) {
        return;
    }
    const qsizetype top = current >= 0 && current < experiments.size() ? current : experiments.size() - 1;
    const int first = tabs.count();
    tabs.setCurrentIndex(tabs.addTab(make(experiments[top]), experiments[top].title));
    for (qsizetype i = 0; i < experiments.size(); ++i) {
        if (i != top) {
            auto* page = new SleepingPage(experiments[i], tabs.pageParent());
            tabs.insertTab(first + static_cast<int>(i), page, experiments[i].title);
        }
    }
    idle->start(kPaintedMs);
}

void SleepingTabs::wake(int index) {
    SleepingPage* page = sleepingPage(tabs, index);
    if (page == nullptr) {
        return;
    }
    const bool current = tabs.currentIndex() == index;
    tabs.insertTab(index, make(page->experiment), tabs.tabText(index));
    if (current) {
        tabs.setCurrentIndex(index);
    }
    tabs.removeTab(tabs.indexOf(page));
    delete page;
}

void SleepingTabs::wakeAll() {
    for (int index = 0; index < tabs.count(); ++index) {
        wake(index);
    }
}

void SleepingTabs::wakeNext() {
    for (int index = 0; index < tabs.count(); ++index) {
        if (sleepingPage(tabs, index) != nullptr) {
            wake(index);
            idle->start(0);
            return;
        }
    }
    idle->stop();
}

} // namespace qorn::timetagger::gui

#include "SleepingTabs.moc"
