#include "MeasurementLog.h"

#include "FilePaths.h"

namespace qorn::timetagger::gui {

MeasurementLog::MeasurementLog(LogOwner& logOwner, const LogClock& logClock)
    : owner(logOwner), clock(logClock) {}

MeasurementLog::~MeasurementLog() {
    closeFile();
}

bool MeasurementLog::start(QString& error) {
    stop();
    partIndex = 0;
    runBegin = clock.steady();
    open = true;
    if (!openNextPart(error)) {
        close();
        return false;
    }
    return true;
}

void MeasurementLog::stop() {
    if (open) {
        owner.closeLogFile();
    }
    close();
}

MeasurementLog::State MeasurementLog::prepare(QString& error) {
    if (!open) {
        return State::Closed;
    }
    const LogPlan plan = owner.logPlan();
    if (hasPassed(plan.maximumDurationSeconds, runBegin)) {
        stop();
        return State::Ended;
    }
    if (!hasPassed(plan.rotateSeconds, partBegin)) {
        return State::Ready;
    }
    owner.closeLogFile();
    ++partIndex;
    if (!openNextPart(error)) {
        close();
        return State::Failed;
    }
    return State::Ready;
}

void MeasurementLog::writeRow(const QStringList& fields) {
    if (writer) {
        writer->writeRow(fields);
    }
}

void MeasurementLog::writeText(const QString& text) {
    if (writer) {
        writer->writeText(text);
    }
}

void MeasurementLog::writeSnapshot(const LogPlot& plot) {
    if (writer) {
        writer->writeSnapshot(plot, clock.localTime());
    }
}

void MeasurementLog::flush() {
    if (writer) {
        writer->flush();
    }
}

bool MeasurementLog::openFile(const QString& path, QString* error) {
    QString reason;
    std::unique_ptr<LogWriter> opened =
        openLogWriter(owner.logPlan().format, path, owner.logHeader(), clock.localTime(), reason);
    if (!opened) {
        if (error != nullptr) {
            *error = reason;
        }
        return false;
    }
    writer = std::move(opened);
    return true;
}

void MeasurementLog::closeFile() {
    if (writer) {
        writer->writeTrailer(clock.localTime());
        writer->flush();
        writer.reset();
    }
}

bool MeasurementLog::openNextPart(QString& error) {
    const LogPlan plan = owner.logPlan();
    const QString path =
        freeFilePath(owner.makeLogFilePath(plan.directory, logExtension(plan.format), partIndex));
    if (!owner.openLogFile(path, &error)) {
        return false;
    }
    currentPath = path;
    partBegin = clock.steady();
    return true;
}

void MeasurementLog::close() {
    open = false;
    currentPath.clear();
}

bool MeasurementLog::hasPassed(int seconds, TimePoint since) const {
    if (seconds < 1) {
        return false;
    }
    const auto limitMs = static_cast<qint32>(static_cast<quint32>(seconds) * 1000U);
    return std::chrono::duration_cast<std::chrono::milliseconds>(clock.steady() - since).count() >= limitMs;
}

} // namespace qorn::timetagger::gui
