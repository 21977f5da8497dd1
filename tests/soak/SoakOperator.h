// The operator of the soak: does, by a seeded plan, what an operator does with the window for hours, and
// looks at what must hold after it. A part of the run lasts until the next rest.
//
// Owned by main, GUI thread only.
#pragma once

#include "MainWindow.h"
#include "RecordingCheck.h"
#include "RelayVisitors.h"
#include "SoakWatch.h"
#include "UiTagFlow.h"

#include <QElapsedTimer>
#include <QJsonObject>
#include <QObject>
#include <QString>
#include <QTemporaryDir>
#include <QTimer>

#include <atomic>
#include <map>
#include <random>
#include <string>
#include <thread>

namespace qorn::soak {

class SoakOperator : public QObject {
    Q_OBJECT
public:
    // `truthFile` is where the instrument writes the tags that it sends.
    SoakOperator(SoakWatch& watch, QString truthFile, std::uint64_t seed);
    ~SoakOperator() override;

    // Works for so many seconds, then emits finished(). A run in which no recording was compared, or several
    // relay visits got no tag, is a complaint.
    void work(double seconds);

    QJsonObject report() const;

Q_SIGNALS:
    void finished();

private:
    struct Deed {
        const char* name;
        int weight;
        void (SoakOperator::*act)();
    };
    static const Deed kDeeds[];

    void step();
    void rest();
    void judge();
    void answerBoxes();

    void openTab();
    void closeTab();
    void showTab();
    void play();
    void pause();
    void stop();
    void reset();
    void record();
    void toggleLog();
    void changeTheme();
    void detachTab();
    void reattachTabs();
    void splitTab();
    void visitorComes();
    void visitorGoes();
    void changeSettings();
    void pollClock();
    void reconnect();

    void onTagFlow(const timetagger::gui::UiTagFlow& flow);
    void onCaptureStopped();
    bool isQuiet();
    void checkRecording();
    void joinCheck();

    timetagger::gui::ExperimentTab* anyTab();
    void press(timetagger::gui::ExperimentTab* tab, int key);
    int below(int limit) { return static_cast<int>(random() % static_cast<std::uint64_t>(limit)); }

    SoakWatch& watch;
    QString truth;
    std::mt19937_64 random;
    QTemporaryDir folder;
    timetagger::gui::MainWindow window;
    RelayVisitors visitors;
    QTimer stepTimer;
    QElapsedTimer clock;
    double length = 0.0;
    double nextRest = 0.0;
    double captureLimit = 0.0; // when a recording is ended at the latest

    QString recordingFolder; // of the capture that runs, empty without a recording
    int recordingNumber = 0;
    std::thread check;
    std::atomic<bool> checking = false;
    CheckedRecording checked; // written by the check, read after it has been joined
    timetagger::gui::UiTagFlow lastFlow;
    quint64 comparedTags = 0;
    int comparedRecordings = 0;
    int shortRecordings = 0;     // too short to be found in the truth
    int uncheckedRecordings = 0; // another stream had begun

    struct Deeds {
        int count = 0;
        qint64 longestMs = 0;
    };
    std::map<std::string, Deeds> deeds;
    int boxes = 0;
};

} // namespace qorn::soak
