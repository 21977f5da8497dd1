// A run of the program in a home of its own and without a display, with the probe that tells what its windows
// show.
//
// Owned by a test, used by its thread; kills the program at the end when it still runs.
#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace qorn::testing {

inline constexpr int kWaitLimitMs = 60000;

// What the probe says of the window while it shows the connect page, and each of the simulated units.
inline const QString kConnectPage = QStringLiteral("window: QORN TDC");
inline const QString kUnit1 =
    QString::fromUtf8("window: QORN TDC — Simulated four-input TDC, serial SIM00001");
inline const QString kUnit2 =
    QString::fromUtf8("window: QORN TDC — Simulated four-input TDC, serial SIM00002");

class Program {
public:
    explicit Program(QString executable = QStringLiteral(QORN_APPLICATION));
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    // At its end the program does not ask, and keeps the experiments, or does not.
    void answerExitPromptInAdvance(bool keep = true) const;

    bool start(const QStringList& arguments);

    // Waits for a line of the probe that contains `part` and gives it; empty, and a failure of the test, when
    // the program ends or the limit comes first.
    QString waitForLineWith(const QString& part);
    bool waitForLine(const QString& line) { return waitForLineWith(line) == line; }

    // Runs to the end and gives the exit code; -1 for a crash.
    int run(const QStringList& arguments);
    // Closes the windows and gives the exit code; -1 for a crash.
    int close();

    QTemporaryDir home;
    QProcess process;
    QStringList lines; // of the probe, so far

private:
    int exitCode() const;

    QString file;
};

} // namespace qorn::testing
