// The window on a simulated instrument whose driver lets one call fail, and the acts of an operator's
// session.
//
// Owned by a test, used on the GUI thread.
#pragma once

#include "DeviceMenuStage.h"
#include "FaultingDriver.h"

#include <QString>
#include <QStringList>

namespace qorn::testing {

// How often a polled call must come before a measure is stopped: the sweep lets the tenth fail.
inline constexpr std::uint64_t kPolls = 11;

class FaultSweepStage : public DeviceMenuStage {
public:
    // Connected. The unit has a saved calibration, and the window dead times for it: all that a connect can
    // apply.
    explicit FaultSweepStage(const QByteArray& scene = standardScene());
    ~FaultSweepStage();
    FaultSweepStage(const FaultSweepStage&) = delete;
    FaultSweepStage& operator=(const FaultSweepStage&) = delete;

    FaultingDriver& driver() { return faulting; }

    // What the status bar has said since listen(): messages, and the clock's flag each time it was set.
    void listen() { told.clear(); }
    const QStringList& messages() const { return told; }
    // Whether the connect page says so now.
    bool saysOnConnectPage(const QString& words);

    // Acts. Each begins on the page that it needs, and ends when nothing runs any more, with or without a
    // failure.
    void scan();
    void resetUsb();
    void connectDevice();
    void closeDevice();
    void applyInputs();
    void applyClock();
    void pollClock();                // kPolls times
    void measureWithExternalClock(); // that is to lock first; the internal one is wished for again then
    void applyDeveloperSettings(bool internal); // internal: with its source, in raw64
    void uploadSaved();
    // Plays a tab until `polled` was called kPolls times, or a box tells why not.
    void play(gui::ExperimentTab& tab, const char* polled);
    void restartWindow(); // the window closes, whatever runs, and comes again
    // Plays a tab until `polled` was called kPolls times, and stops it; with `holdLast` the call that runs at
    // the stop fails.
    void measure(gui::ExperimentTab& tab, const char* polled, bool holdLast);
    void calibrate();
    void applyCalibration(); // behind calibrate()

    // Tabs set for short measures; made when there is none.
    gui::ExperimentTab& counterTab();
    gui::ExperimentTab& coincidenceTab();
    gui::ExperimentTab& recordingTab();

    // Puts away what an act has left open.
    void rejectDialogs();

    // What is recorded; the files must hold whole records, and are removed.
    struct Recorded {
        int files = 0;
        std::size_t tags = 0;
    };
    Recorded takeRecordings();

private:
    void startWindow();
    gui::ExperimentTab& tabFor(const char* type);
    void clickOnSetup(const char* button);

    FaultingDriver faulting;
    const timing::DriverTable* simulated; // to be put back
    QStringList told;
};

} // namespace qorn::testing
