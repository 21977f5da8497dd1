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

    // At moments that are alike, as when nothing measures and no tab is open: takes up the memory, which is
    // compared between them, `seconds` after the start, and the waits of events. Lines on stderr tell both.
    void sample(double seconds);
    // How long the event loop let events wait since this was last called; too long is a complaint.
    void takeWaits(double seconds);

    // At the end: the growth over the samples, when they span long enough to tell.
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
