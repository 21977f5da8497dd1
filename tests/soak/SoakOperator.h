// What every operator of the soak has: the window under watch, the time of the run, and steps that follow
// each other until it is over. What is done in a step is a plan's own.
//
// Owned by main, GUI thread only.
#pragma once

#include "SoakWatch.h"
#include "SoakWindow.h"

#include <QElapsedTimer>
#include <QJsonObject>
#include <QObject>
#include <QString>
#include <QTimer>

#include <random>

namespace qorn::soak {

class SoakOperator : public QObject {
    Q_OBJECT
public:
    // `truthFile` is where the instrument writes the tags that it sends.
    SoakOperator(SoakWatch& soakWatch, const QString& truthFile, std::uint64_t seed);

    // Opens the instrument in the window and works for so many seconds, then emits finished(). A run in which
    // no recording was compared is a complaint.
    void work(double seconds);

    virtual QJsonObject report() const;

Q_SIGNALS:
    void finished();

protected:
    // Once, when the instrument is open; what is to be done in a step; and at the end.
    virtual void begin() {}
    virtual void act() = 0;
    virtual void end() = 0;
    // Until the next step.
    virtual int pauseMs() = 0;

    double secondsSoFar() const { return static_cast<double>(clock.elapsed()) / 1000.0; }
    qint64 msSoFar() const { return clock.elapsed(); }
    double lengthInSeconds() const { return length; }
    int below(int limit) { return static_cast<int>(random() % static_cast<std::uint64_t>(limit)); }

    SoakWatch& watch;
    SoakWindow window;

private:
    void step();

    std::mt19937_64 random;
    QTimer stepTimer;
    QElapsedTimer clock;
    double length = 0.0;
};

} // namespace qorn::soak
