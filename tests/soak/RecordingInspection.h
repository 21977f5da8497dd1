// Compares the recordings of a controller with what the instrument sent, each when its capture has ended, and
// looks at the counts of every capture. One recording at a time; its folder is gone afterwards.
//
// Owned by the window under watch. GUI thread only; the comparison runs on a thread of its own.
#pragma once

#include "RecordingCheck.h"
#include "SoakWatch.h"
#include "UiTagFlow.h"

#include <QJsonObject>
#include <QObject>
#include <QString>

#include <atomic>
#include <thread>

namespace qorn::timetagger::gui {
class DeviceController;
}

namespace qorn::soak {

class RecordingInspection : public QObject {
    Q_OBJECT
public:
    // `truthFile` is where the instrument writes the tags that it sends. Watch and controller outlive it.
    RecordingInspection(SoakWatch& soakWatch, timetagger::gui::DeviceController& deviceController,
                        QString truthFile);
    // Waits for a comparison that runs.
    ~RecordingInspection() override;

    // The next capture, about to begin, records into this folder; ahead of it no other one may.
    void expect(const QString& recordingFolder);
    // There is no such recording any more, or it takes too long.
    void forget() { folder.clear(); }

    // A recording is expected or goes on. Its stream must not begin anew: its truth would be another one.
    bool isExpected() const { return !folder.isEmpty(); }
    // No new stream may begin while it holds: that would write the truth anew.
    bool isComparing() const { return comparing; }
    bool isIdle() const { return !isExpected() && !isComparing(); }
    // Takes up the result of a comparison that has ended; what it found is a complaint.
    void takeUp();

    int compared() const { return comparedRecordings; }
    // Of the capture that runs, or ran last.
    const timetagger::gui::UiTagFlow& tagFlow() const { return flow; }
    QJsonObject report() const;

private:
    void onTagFlow(const timetagger::gui::UiTagFlow& counts);
    void onCaptureStopped();
    void compare();
    void join();

    SoakWatch& watch;
    timetagger::gui::DeviceController& controller;
    QString truth;
    QString folder; // of the capture that runs, empty without a recording
    int number = 0;
    std::thread thread;
    std::atomic<bool> comparing = false;
    CheckedRecording checked; // written by the thread, read after it has been joined
    timetagger::gui::UiTagFlow flow;
    quint64 comparedTags = 0;
    int comparedRecordings = 0;
    int shortRecordings = 0;     // too short to be found in the truth
    int uncheckedRecordings = 0; // another stream had begun
};

} // namespace qorn::soak
