#include "ProgramRun.h"

#include <QElapsedTimer>
#include <QSettings>

#include <gtest/gtest.h>

#include <utility>

namespace qorn::testing {

Program::Program(QString executable) : file(std::move(executable)) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), home.path());
    for (const char* name :
         {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "QORN_SIMULATOR_SCENE", "LANGUAGE"}) {
        environment.remove(QString::fromUtf8(name));
    }
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    environment.insert(QStringLiteral("QT_PLUGIN_PATH"), QStringLiteral(QORN_PROBE_FOLDER));
    environment.insert(QStringLiteral("QT_QPA_GENERIC_PLUGINS"), QStringLiteral("windowprobe"));
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(home.path());
}

Program::~Program() {
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished(kWaitLimitMs);
    }
}

void Program::answerExitPromptInAdvance(bool keep) const {
    QSettings settings(home.filePath(QStringLiteral(".config/QORN/Qorn Timing.conf")), QSettings::IniFormat);
    settings.setValue(QStringLiteral("exit/askSaveExperiments"), false);
    settings.setValue(QStringLiteral("exit/saveExperiments"), keep);
}

bool Program::start(const QStringList& arguments) {
    process.start(file, arguments);
    return process.waitForStarted(kWaitLimitMs);
}

QString Program::waitForLineWith(const QString& part) {
    QElapsedTimer timer;
    timer.start();
    while (lines.filter(part).isEmpty()) {
        if (process.canReadLine()) {
            lines.append(QString::fromUtf8(process.readLine()).trimmed());
        } else if (timer.elapsed() > kWaitLimitMs || !process.waitForReadyRead(kWaitLimitMs)) {
            ADD_FAILURE() << "no line with " << part.toStdString() << " but "
                          << lines.join(QLatin1Char('\n')).toStdString() << " and "
                          << process.readAllStandardError().toStdString();
            return {};
        }
    }
    return lines.filter(part).constFirst();
}

int Program::run(const QStringList& arguments) {
    EXPECT_TRUE(start(arguments));
    EXPECT_TRUE(process.waitForFinished(kWaitLimitMs));
    return exitCode();
}

int Program::close() {
    process.write("close\n");
    EXPECT_TRUE(process.waitForFinished(kWaitLimitMs));
    return exitCode();
}

int Program::exitCode() const {
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

} // namespace qorn::testing
