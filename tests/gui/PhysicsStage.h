// A measurement of the whole window on a scene whose physics is known: the tab runs for some seconds of the
// instrument's time, and what it shows then is read off its controls.
#pragma once

#include "BarChartWidget.h"
#include "ExperimentTab.h"
#include "ShownPlot.h"
#include "WindowStage.h"

#include <QAbstractItemModel>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QTableView>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace qorn::testing {

// One unit with these sources.
inline QByteArray sceneOf(const QByteArray& sources) {
    return R"({"units": [{"serial": "SIM00001", "sources": [)" + sources + "]}]}";
}

// A value of a tab's statistics by its label; empty when there is none.
inline QString statisticOf(const gui::ExperimentTab& tab, const char* label) {
    const auto* statistics = tab.findChild<QTableView*>(QStringLiteral("statistics"));
    EXPECT_NE(statistics, nullptr);
    const QAbstractItemModel& table = *statistics->model();
    for (int row = 0; row < table.rowCount(); ++row) {
        if (table.index(row, 0).data().toString() == QString::fromUtf8(label)) {
            return table.index(row, 1).data().toString();
        }
    }
    return {};
}

class PhysicsStage : public WindowStage {
public:
    explicit PhysicsStage(const QByteArray& scene) : WindowStage(scene) {}

    // Connects and opens a tab of a type with these settings.
    bool open(const char* type, const QByteArray& config) {
        if (!connectUnit()) {
            return false;
        }
        QObject::connect(&controller(), &gui::DeviceController::tagsBatch,
                         [this](const QList<gui::UiTimeTag>& batch) { follow(batch); });
        measuring = &addTab(type);
        measuring->loadConfig(QJsonDocument::fromJson(config).object());
        return measuring->saveConfig() != QJsonObject();
    }
    // Plays until so much of the instrument's time has passed, and stops.
    bool run(double seconds) {
        first = last = 0;
        press(*measuring, "Play");
        const bool done = waitUntil([&] { return elapsed() >= seconds; });
        press(*measuring, "Stop");
        return done && waitForIdle();
    }
    double elapsed() const { return static_cast<double>(last - first) / 1e12; }

    gui::ExperimentTab& tab() { return *measuring; }
    template <typename Control>
    Control& control(const char* name) {
        auto* found = measuring->findChild<Control*>(QString::fromUtf8(name));
        EXPECT_NE(found, nullptr) << name;
        return *found;
    }
    ShownPlot plot(const char* name) { return shownBy(control<gui::BarChartWidget>(name)); }
    QString stat(const char* label) { return statisticOf(*measuring, label); }

private:
    void follow(const QList<gui::UiTimeTag>& batch) {
        for (const gui::UiTimeTag& tag : batch) {
            first = first == 0 ? tag.timePs : std::min(first, tag.timePs);
            last = std::max(last, tag.timePs);
        }
    }

    gui::ExperimentTab* measuring = nullptr;
    qint64 first = 0;
    qint64 last = 0;
};

} // namespace qorn::testing
