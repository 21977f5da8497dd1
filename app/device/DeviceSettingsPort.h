// What the settings dialogs need of the instrument and of the relay server: a small door to the controller.
// GUI thread only; calls with `error` give a text there when they fail.
#pragma once

#include "CaptureLoop.h"
#include "ClockWish.h"
#include "InputSettings.h"
#include "RelayServer.h"

#include <QString>

#include <array>

namespace qorn::timetagger::gui {

class DeviceSettingsPort {
public:
    using Values = std::array<double, timing::kChannels>; // one per input

    virtual ~DeviceSettingsPort() = default;

    virtual bool hasDevice() const = 0;
    virtual bool hasSource() const = 0; // a device or a relay

    virtual bool applyReferenceClock(const ClockWish& wish, QString* error) = 0;
    virtual void refreshClockStatus() = 0;

    virtual InputSettings inputSettings() const = 0;
    virtual bool setThresholds(const Values& volts, QString* error) = 0;
    // `applied` gets what the instrument made of the wish.
    virtual bool setDeadTimes(const Values& ns, Values& applied, QString* error) = 0;
    virtual bool setTdlMasks(const std::array<unsigned char, timing::kChannels>& masks, QString* error) = 0;

    virtual StreamSettings streamSettings() const = 0;
    virtual void setStreamSettings(const StreamSettings& settings) = 0;

    virtual relay::RelayServer::Stats relayStats() const = 0;
    // `message` tells success and failure; empty after a stop.
    virtual bool setRelaySharing(bool enabled, quint16 streamPort, quint16 statusPort, QString* message) = 0;

    virtual QString calibrationFilePath() const = 0;
};

} // namespace qorn::timetagger::gui
