// A controller on the scripted driver, and every signal of it in order.
#pragma once

#include "DeviceController.h"
#include "LoopTestSupport.h"
#include "ScriptedDriver.h"
#include "TemporaryFolder.h"

#include <QObject>
#include <QStringList>

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace qorn::timetagger::gui::test {

using Texts = std::vector<std::string>;

// Runs the event loop until the condition holds after some event; false at the limit.
bool runUntil(const std::function<bool()>& condition,
              std::chrono::milliseconds limit = qorn::testing::kEventLimit);
// Runs the event loop for a time in which nothing more is to happen.
void runFor(std::chrono::milliseconds duration);
// What is queued now.
void processQueued();

class SignalRecorder : public QObject {
public:
    struct Entry {
        std::string name;
        std::string arguments;
        std::chrono::steady_clock::time_point time;
        std::string text() const { return name + "(" + arguments + ")"; }
    };

    explicit SignalRecorder(DeviceController* controller);

    // Texts of all signals in order, but for the states of the clock.
    Texts texts() const;
    Texts textsOf(const std::string& name) const;
    int count(const std::string& name) const;
    const std::vector<Entry>& entries() const { return list; }
    // The time of occurrence `number` (from 1) of a signal.
    std::chrono::steady_clock::time_point timeOf(const std::string& name, int number) const;
    void clear();
    // Waits for occurrence `number` since the last clear().
    bool waitFor(const std::string& name, int number = 1);

    std::vector<UiClockStatus> clocks;
    std::vector<UiCounterSample> samples;
    std::vector<UiCoincidenceSample> coincidences;
    std::vector<QList<UiDiscoveredDevice>> scans;
    Tags tags;
    std::function<void(const std::string&)> onSignal; // inside the signal, with its name

private:
    void add(const char* name, const QStringList& arguments);
    std::vector<Entry> list;
};

class ControllerTest : public ::testing::Test {
protected:
    ControllerTest();
    ~ControllerTest() override;

    // Opens a device and takes what that brings out of the records.
    void openDevice();
    // A calibration file that the driver names for the device.
    std::string saveCalibration(const std::string& serial = "SN0001");
    // Starts a hardware count that stands in a read until endCounting().
    void beginCounting();
    void endCounting();
    // Starts an upload that stands in the driver until endUpload().
    void beginUpload();
    void endUpload();
    // Stops a running capture and waits for its end.
    void stopAndWait();

    qorn::testing::TemporaryFolder folder;
    qorn::testing::ScopedDriver driver;
    std::unique_ptr<DeviceController> controller;
    std::unique_ptr<SignalRecorder> signalled;
};

} // namespace qorn::timetagger::gui::test
