// The settings of the Coincidence measurement, in the units of their controls, and what they mean in ps.
#pragma once

#include "CoincidencePairs.h"
#include "TimeTag.h"
#include "UiCoincidenceConfig.h"

#include <QJsonObject>
#include <QStringList>
#include <QtGlobal>

#include <array>

namespace qorn::timetagger::gui {

struct CoincidenceSettings {
    enum class Engine { Hardware, Software };
    enum class Split { Stacked, SideBySide }; // of histogram and trace

    static constexpr double kLeastGateSec = 0.01;
    static constexpr double kMostGateSec = 60.0;
    static constexpr double kLeastWindowNs = 0.001;
    static constexpr double kMostWindowNs = 3333333.0;
    static constexpr double kMostOffsetNs = 1e9; // either way
    static constexpr double kLeastHistorySec = 1.0;
    static constexpr double kMostHistorySec = 3600.0;
    static constexpr double kDefaultWindowNs = 3.333; // one cycle of the hardware's clock

    double gateSec = 1.0;
    Engine engine = Engine::Hardware;
    double windowNs = kDefaultWindowNs; // what "Apply to all" copies; counting goes by the pairs' own
    std::array<double, kPairs> pairWindowsNs{kDefaultWindowNs, kDefaultWindowNs, kDefaultWindowNs,
                                             kDefaultWindowNs, kDefaultWindowNs, kDefaultWindowNs};
    bool offsetsEnabled = false;
    std::array<double, timing::kChannels> offsetsNs{};
    bool showTrace = false;
    Split split = Split::Stacked;
    double traceHistorySec = 30.0;

    double gateSeconds() const;                             // at least 0.001
    qint64 gateDurationPs() const;                          // at least 1
    std::array<qint64, kPairs> pairWindowPs() const;        // per pair
    std::array<qint64, timing::kChannels> offsetPs() const; // zeros unless enabled
    bool hardwareModeSelected() const { return engine == Engine::Hardware; }
    // Whether the hardware can count with these windows and offsets, whichever engine is selected.
    bool hardwareSettingsSupported() const;
    UiCoincidenceConfig hardwareConfig() const;

    // Names of the choices in files, in the order of their values.
    static QStringList engineNames();
    static QStringList splitNames();

    QJsonObject toJson() const;
    // Takes the keys that are present and of the right type, numbers clamped to their range; an unknown name
    // leaves the choice as it is, and a short array the rest of the windows.
    void takeJson(const QJsonObject& object);
};

} // namespace qorn::timetagger::gui
