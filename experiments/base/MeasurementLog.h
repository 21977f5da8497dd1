// A continuous log of one measurement: a run of one or more files, of which one is written at a time. Knows
// when a file is old enough for the next part and when the run has lasted long enough; asks its owner for
// what stands in names and headers, and shows nothing to anybody.
//
// Owned by a tab, GUI thread only. Both limits are looked at when something is about to be written, never by
// a timer.
#pragma once

#include "LogClock.h"
#include "LogWriter.h"

#include <memory>

namespace qorn::timetagger::gui {

// Asked anew whenever it matters, so a change reaches a running log.
struct LogPlan {
    QString directory;
    LogFormat format = LogFormat::Csv;
    int rotateSeconds = 0;          // 0 never
    int maximumDurationSeconds = 0; // 0 no limit
};

class LogOwner {
public:
    virtual ~LogOwner() = default;
    virtual LogPlan logPlan() const = 0;
    virtual LogHeader logHeader() const = 0;
    // Path of a part, counted from 0, at this moment. Where such a file stands already, the log adds a number
    // to the name.
    virtual QString makeLogFilePath(const QString& directory, const QString& extension, int part) const = 0;
    // Opens and closes the file of a part; an owner that wants nothing else calls openFile() and closeFile().
    virtual bool openLogFile(const QString& path, QString* error) = 0;
    virtual void closeLogFile() = 0;
};

class MeasurementLog {
public:
    // What became of the log in prepare().
    enum class State { Closed, Ready, Ended, Failed };

    // Both must outlive the log.
    MeasurementLog(LogOwner& logOwner, const LogClock& logClock);
    // Finishes an open file.
    ~MeasurementLog();
    MeasurementLog(const MeasurementLog&) = delete;
    MeasurementLog& operator=(const MeasurementLog&) = delete;

    bool isOpen() const { return open; }
    // Of the part in use; empty while closed.
    QString path() const { return currentPath; }

    // Starts a run with part 0. On failure the log is closed and `error` may hold a reason.
    bool start(QString& error);
    void stop();

    // To be called ahead of every write: goes on to the next part when the present one is old enough. Ready
    // when data may be written, Closed when there is no log, Ended when this call ended it because it has
    // lasted long enough, Failed when it ended because there was no next file; `error` may then hold why.
    // A limit in milliseconds is a product of 32 bits, so limits from 2147484 s on do not work.
    State prepare(QString& error);

    // These write to the present part, and nothing while closed. Faults are not told: what the file system
    // does not take is dropped until the next part.
    void writeRow(const QStringList& fields);
    void writeText(const QString& text);
    void writeSnapshot(const LogPlot& plot);
    void flush();

    // Opens the file of a part, with its header; it takes the place of the present one when that has been
    // done. `error` may be null.
    bool openFile(const QString& path, QString* error);
    // Writes the end of the present file and closes it.
    void closeFile();

private:
    using TimePoint = std::chrono::steady_clock::time_point;

    bool openNextPart(QString& error);
    void close();
    bool hasPassed(int seconds, TimePoint since) const;

    LogOwner& owner;
    const LogClock& clock;
    std::unique_ptr<LogWriter> writer;
    bool open = false;
    QString currentPath;
    int partIndex = 0;
    TimePoint runBegin;
    TimePoint partBegin;
};

} // namespace qorn::timetagger::gui
