// Does, by a seeded plan, all that an operator does with the window for hours, and looks at what must hold
// after it. Every half minute all is closed, and what is left over then is what memory is judged by.
//
// Owned by main, GUI thread only.
#pragma once

#include "SoakOperator.h"

#include <map>
#include <string>

namespace qorn::soak {

class BusyOperator : public SoakOperator {
    Q_OBJECT
public:
    using SoakOperator::SoakOperator;

    QJsonObject report() const override;

protected:
    void act() override;
    // Several relay visits of which none got a tag are a complaint.
    void end() override;
    int pauseMs() override;

private:
    struct Deed {
        const char* name;
        int weight;
        void (BusyOperator::*act)();
    };
    static const Deed kDeeds[];

    void rest();
    void doDeed(const Deed& deed);

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

    timetagger::gui::ExperimentTab* anyTab();

    double nextRest = 30.0;
    double captureLimit = 0.0; // when a recording is ended at the latest

    struct Deeds {
        int count = 0;
        qint64 longestMs = 0;
    };
    std::map<std::string, Deeds> deeds;
};

} // namespace qorn::soak
