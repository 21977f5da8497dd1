// A measurement log without a tab: times as the test says, files "log0", "log1" in a folder of its own.
#pragma once

#include "MeasurementLog.h"
#include "MeasurementLogReader.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>

namespace qorn::testing {

class ScriptedLogClock final : public timetagger::gui::LogClock {
public:
    std::chrono::steady_clock::time_point steady() const override { return now; }
    QDateTime localTime() const override { return wall; }

    void advance(std::chrono::milliseconds time) {
        now += time;
        wall = wall.addMSecs(time.count());
    }
    // Only the clock on the wall.
    void setBack(std::chrono::seconds time) { wall = wall.addSecs(-time.count()); }

private:
    std::chrono::steady_clock::time_point now{std::chrono::hours(5)};
    QDateTime wall{QDate(2026, 3, 4), QTime(5, 6, 7, 89)};
};

class ScriptedLog final : public timetagger::gui::LogOwner {
public:
    using LogFormat = timetagger::gui::LogFormat;
    using MeasurementLog = timetagger::gui::MeasurementLog;
    using State = MeasurementLog::State;

    explicit ScriptedLog(LogFormat format = LogFormat::Csv) {
        plan.directory = QString::fromStdString(folder.path().string());
        plan.format = format;
        header.experiment = QStringLiteral("Counter");
        header.settingsJson = "{}";
        header.columns = {QStringLiteral("time_s"), QStringLiteral("counts")};
    }

    ::testing::AssertionResult starts() {
        QString error;
        if (log->start(error)) {
            return ::testing::AssertionSuccess();
        }
        return ::testing::AssertionFailure() << "did not start: " << error.toStdString();
    }
    // A row as a tab would write it: when the log may take it.
    State append(const QStringList& fields) {
        const State state = log->prepare(appendError);
        if (state == State::Ready) {
            log->writeRow(fields);
        }
        return state;
    }
    std::string pathOf(int part) const {
        return folder.file("log" + std::to_string(part) +
                           (plan.format == LogFormat::PackedBinary ? ".qornlog" : ".csv"));
    }
    ReadLog read(int part) const { return readLog(pathOf(part)); }
    bool exists(int part) const { return std::filesystem::exists(pathOf(part)); }

    TemporaryFolder folder;
    ScriptedLogClock clock;
    timetagger::gui::LogPlan plan;
    timetagger::gui::LogHeader header;
    QString appendError; // of the last append
    std::unique_ptr<MeasurementLog> log = std::make_unique<MeasurementLog>(*this, clock);

private:
    timetagger::gui::LogPlan logPlan() const override { return plan; }
    timetagger::gui::LogHeader logHeader() const override { return header; }
    QString makeLogFilePath(const QString& directory, const QString& extension, int part) const override {
        return QStringLiteral("%1/log%2.%3").arg(directory).arg(part).arg(extension);
    }
    bool openLogFile(const QString& path, QString* reason) override { return log->openFile(path, reason); }
    void closeLogFile() override { log->closeFile(); }
};

} // namespace qorn::testing
