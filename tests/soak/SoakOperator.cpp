#include "SoakOperator.h"

namespace qorn::soak {
namespace {

constexpr int kBeforeFirstStepMs = 600;

} // namespace

SoakOperator::SoakOperator(SoakWatch& soakWatch, const QString& truthFile, std::uint64_t seed)
    : watch(soakWatch), window(soakWatch, truthFile), random(seed) {
    connect(&stepTimer, &QTimer::timeout, this, &SoakOperator::step);
    stepTimer.setSingleShot(true);
}

void SoakOperator::work(double seconds) {
    length = seconds;
    clock.start();
    window.open();
    begin();
    stepTimer.start(kBeforeFirstStepMs);
}

void SoakOperator::step() {
    window.answerBoxes();
    window.recordings().takeUp();
    if (secondsSoFar() >= length) {
        end();
        watch.judgeMemory();
        if (window.recordings().compared() == 0) {
            watch.complain(QStringLiteral("no recording was compared"));
        }
        if (const int invalid = window.relayVisitors().invalidRecords(); invalid > 0) {
            watch.complain(QStringLiteral("%1 invalid records were relayed").arg(invalid));
        }
        Q_EMIT finished();
        return;
    }
    act();
    stepTimer.start(pauseMs());
}

QJsonObject SoakOperator::report() const {
    QJsonObject result = window.recordings().report();
    result.insert(QStringLiteral("fault_boxes"), window.boxesAnswered());
    result.insert(QStringLiteral("relay_visits"), window.relayVisitors().visits());
    result.insert(QStringLiteral("relayed_tags"), static_cast<qint64>(window.relayVisitors().tags()));
    return result;
}

} // namespace qorn::soak
