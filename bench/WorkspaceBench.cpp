// A workspace full of tabs: its configuration loaded and saved, and its theme switched. The window is shown
// with its workspace, 1220 by 760 pixels.
#include "ConfigurationFile.h"
#include "DetachableTabWidget.h"
#include "ExperimentCatalog.h"
#include "ExperimentTab.h"
#include "MainWindow.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QEvent>
#include <QFile>
#include <QTemporaryDir>

#include <chrono>

#include <unistd.h>

namespace {

using namespace qorn::timetagger::gui;
using Clock = std::chrono::steady_clock;

constexpr const char* kTypes[] = {"Counter",           "Coincidence", "Correlation",
                                  "Multi correlation", "Frequency",   "Time tags"};
constexpr const char* kThemes[] = {"Bright", "Dark"};

// Lets the window be laid out and painted as it is now.
void settle() {
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    for (int i = 0; i < 3; ++i) { // a layout may ask for another
        QCoreApplication::processEvents();
    }
}

class PaintCounter : public QObject {
public:
    int paints = 0;

private:
    bool eventFilter(QObject* object, QEvent* event) override {
        if (event->type() == QEvent::Paint) {
            ++paints;
        }
        return QObject::eventFilter(object, event);
    }
};

class Workspace {
public:
    Workspace() {
        window.show();
        window.onDeviceOpened(QStringLiteral("Benchmark"));
        window.closeAllExperiments();
        settle();
    }

    // The types in turn.
    void addTabs(int count) {
        for (int i = 0; i < count; ++i) {
            window.addExperimentTab(
                createExperiment(QLatin1String(kTypes[static_cast<std::size_t>(i) % std::size(kTypes)])));
        }
        settle();
    }

    QTemporaryDir folder;
    QString path = folder.filePath(QStringLiteral("workspace.json"));
    MainWindow window;
};

template <typename Work>
double secondsOf(Work&& work) {
    const auto start = Clock::now();
    work();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

int madeTabs(const DetachableTabWidget& tabs) {
    int made = 0;
    for (int i = 0; i < tabs.count(); ++i) {
        made += qobject_cast<ExperimentTab*>(tabs.widget(i)) != nullptr ? 1 : 0;
    }
    return made;
}

// Up to the painted window, where the tab on top can be used; or until every tab is made and styled, which
// goes on behind that.
void loadTabs(benchmark::State& state, bool all) {
    constexpr int kTabs = 20;
    Workspace workspace;
    workspace.addTabs(kTabs);
    if (!workspace.window.saveConfigFile(workspace.path, true, true)) {
        state.SkipWithError("no configuration to load");
    }
    const DetachableTabWidget& tabs = workspace.window.experimentTabs();
    PaintCounter painted;
    workspace.window.installEventFilter(&painted);
    for ([[maybe_unused]] auto _ : state) {
        workspace.window.closeAllExperiments();
        settle();
        painted.paints = 0;
        bool loaded = false;
        state.SetIterationTime(secondsOf([&] {
            loaded = workspace.window.loadConfigFile(workspace.path);
            settle();
            while (all && madeTabs(tabs) < kTabs) {
                QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            }
            settle();
        }));
        if (!loaded || tabs.count() != kTabs || painted.paints == 0) {
            state.SkipWithError("the tabs were not loaded and painted");
            break;
        }
    }
}

// As at exit: over the file of the last one.
void saveTabs(benchmark::State& state) {
    constexpr int kTabs = 20;
    Workspace workspace;
    workspace.addTabs(kTabs);
    for ([[maybe_unused]] auto _ : state) {
        if (!workspace.window.saveConfigFile(defaultConfigPath(), true, true)) {
            state.SkipWithError("the configuration was not written");
            break;
        }
    }
    const auto written = readConfiguration(defaultConfigPath());
    if (!written || !written->experiments || written->experiments->size() != kTabs) {
        state.SkipWithError("the file does not hold the tabs");
    }
    QFile::remove(defaultConfigPath());
}

// The bytes of such a file, forced to the disk.
void writePlainly(benchmark::State& state) {
    Workspace workspace;
    workspace.addTabs(20);
    QFile saved(workspace.path);
    if (!workspace.window.saveConfigFile(workspace.path, true, true) || !saved.open(QIODevice::ReadOnly)) {
        state.SkipWithError("no configuration to write");
    }
    const QByteArray bytes = saved.readAll();
    for ([[maybe_unused]] auto _ : state) {
        QFile file(workspace.folder.filePath(QStringLiteral("plain")));
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.flush() ||
            ::fdatasync(file.handle()) != 0) {
            state.SkipWithError("the file was not written");
            break;
        }
    }
}

// Nothing but the painting of the window as it is.
void repaintWindow(benchmark::State& state) {
    Workspace workspace;
    workspace.addTabs(10);
    PaintCounter painted;
    workspace.window.installEventFilter(&painted);
    for ([[maybe_unused]] auto _ : state) {
        workspace.window.repaint();
    }
    if (painted.paints < state.iterations()) {
        state.SkipWithError("the window was not painted");
    }
}

// Up to the painted window.
void switchTheme(benchmark::State& state) {
    Workspace workspace;
    workspace.addTabs(10);
    PaintCounter painted;
    workspace.window.installEventFilter(&painted);
    std::size_t next = 0;
    for ([[maybe_unused]] auto _ : state) {
        painted.paints = 0;
        workspace.window.applyTheme(QLatin1String(kThemes[next]));
        settle();
        next = 1 - next;
        if (painted.paints == 0) {
            state.SkipWithError("the window was not painted");
            break;
        }
    }
}

BENCHMARK_CAPTURE(loadTabs, painted, false)
    ->Name("config/load_20_tabs")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(loadTabs, all, true)
    ->Name("config/load_20_tabs_all")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(saveTabs)->Name("config/save_20_tabs")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(writePlainly)->Name("limit/write_configuration")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(repaintWindow)->Name("limit/repaint_window")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(switchTheme)->Name("theme/switch_10_tabs")->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace
