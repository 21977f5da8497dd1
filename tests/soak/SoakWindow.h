// The window under watch, and how the deeds of an operator are done in it; which of them and when is for the
// operators to say.
//
// Owned by an operator, GUI thread only.
#pragma once

#include "MainWindow.h"
#include "RecordingInspection.h"
#include "RelayVisitors.h"
#include "SoakWatch.h"

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>

namespace qorn::soak {

class SoakWindow {
public:
    // In the order of the toolbar's keys.
    enum class Key { Play, Pause, Stop, Reset };

    // `truthFile` is where the instrument writes the tags that it sends. The watch must outlive the window.
    SoakWindow(SoakWatch& soakWatch, const QString& truthFile);

    timetagger::gui::MainWindow& main() { return window; }
    timetagger::gui::DeviceController& controller() { return window.deviceController(); }
    timetagger::gui::DetachableTabWidget& tabs() { return window.experimentTabs(); }
    RecordingInspection& recordings() { return inspection; }
    const RecordingInspection& recordings() const { return inspection; }
    RelayVisitors& relayVisitors() { return visitors; }
    const RelayVisitors& relayVisitors() const { return visitors; }

    // Every measurement that the window knows, those too that only come with a configuration.
    static QStringList experimentTypes();

    // Shows the window and opens the instrument.
    void open();
    // Closes the instrument and opens it again, with a few attempts; a complaint when it does not open.
    void reopenInstrument();
    // The faults that a scene injects are told in boxes: closes them. One without a text is a complaint.
    void answerBoxes();
    int boxesAnswered() const { return boxes; }
    QString lastBoxText() const { return lastBox; } // empty without one

    // A new tab, and the current one.
    timetagger::gui::ExperimentTab* openTab(const QString& type);
    // Presses a key of the tab's toolbar; null: nothing happens.
    static void press(timetagger::gui::ExperimentTab* tab, Key key);

    // Starts the stream of `tab` with its recording on, in parts of so many seconds or, with 0, one file. The
    // next streams do not record by themselves. Only while nothing is captured and no recording compared;
    // false when the start was refused.
    bool record(timetagger::gui::ExperimentTab* tab, int rotateSeconds);
    // Begins a log in the folder of that name. False after a box.
    bool startLog(timetagger::gui::ExperimentTab* tab, const QString& name);
    QString logFolder(const QString& name) const;

    // One more receiver of the published stream; starts the relay server when it does not run, which is a
    // complaint when it fails.
    void letVisitorCome();

    // Ends all that is measured, recorded and relayed, and closes the tabs and the instrument. What does not
    // end, or is not compared, after `patienceMs` is a complaint.
    void closeAll(int patienceMs);

    // Runs the event loop until the condition holds; false when that takes longer.
    static bool waitFor(const std::function<bool()>& condition, int patienceMs);

private:
    SoakWatch& watch;
    QTemporaryDir folder;
    timetagger::gui::MainWindow window;
    RecordingInspection inspection;
    RelayVisitors visitors;
    int recordingNumber = 0;
    int boxes = 0;
    QString lastBox;
};

} // namespace qorn::soak
