// What must hold all the time, and what the soak tells at its end. GUI thread only.
#pragma once

#include "EventLoopProbe.h"
#include "ResidentMemory.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <vector>

namespace qorn::soak {

class SoakWatch {
public:
    SoakWatch() { probe.start(); }

    // Something that must not be; the first few are kept with their texts.
    void complain(const QString& text);

    // The window rests: nothing measures and no tab is open. Memory is compared at these moments, `seconds`
    // after the start, and how long the event loop let events wait since the last one is taken up; a line on
    // stderr tells both.
    void rest(double seconds);

    // At the end: the growth over the rests, when they span long enough to tell.
    void judgeMemory();

    bool isClean() const { return complaints == 0; }
    QJsonObject report() const;

private:
    bench::EventLoopProbe probe;
    std::vector<bench::MemorySample> memory;
    double worstP99Ms = 0.0;
    double longestMs = 0.0;
    quint64 complaints = 0;
    QStringList firstComplaints;
};

} // namespace qorn::soak
