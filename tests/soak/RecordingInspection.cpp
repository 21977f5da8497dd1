#include "RecordingInspection.h"

#include "DeviceController.h"
#include "Rubbish.h"

#include <QDir>

namespace qorn::soak {

using namespace timetagger::gui;

RecordingInspection::RecordingInspection(SoakWatch& soakWatch, DeviceController& deviceController,
                                         QString truthFile)
    : watch(soakWatch), controller(deviceController), truth(std::move(truthFile)) {
    connect(&controller, &DeviceController::captureStopped, this, &RecordingInspection::onCaptureStopped);
    connect(&controller, &DeviceController::tagFlowChanged, this, &RecordingInspection::onTagFlow);
}

RecordingInspection::~RecordingInspection() {
    join();
}

void RecordingInspection::expect(const QString& recordingFolder) {
    folder = recordingFolder;
    flow = {}; // a capture that does not start tells of none
    ++number;
}

void RecordingInspection::onTagFlow(const UiTagFlow& counts) {
    flow = counts;
    if (!flow.balances()) {
        watch.complain(QStringLiteral("the counts of capture %1 do not balance").arg(flow.capture));
    }
}

void RecordingInspection::onCaptureStopped() {
    if (folder.isEmpty() || comparing) {
        return;
    }
    if (controller.isCapturing()) { // the next one has begun: its truth is another
        ++uncheckedRecordings;
        throwAway(folder);
        folder.clear();
        return;
    }
    compare();
}

void RecordingInspection::compare() {
    join();
    comparing = true;
    const quint64 arrived = flow.source.received - flow.source.dropped;
    thread = std::thread([this, arrived, place = folder] {
        QStringList parts;
        const QDir dir(place);
        for (const QString& name : dir.entryList({QStringLiteral("*.qornts")}, QDir::Files, QDir::Name)) {
            parts.append(dir.filePath(name));
        }
        checked = checkRecording(parts, truth, arrived);
        QDir(place).removeRecursively();
        comparing = false;
    });
    folder.clear();
}

void RecordingInspection::takeUp() {
    if (!comparing) {
        join();
    }
}

void RecordingInspection::join() {
    if (!thread.joinable()) {
        return;
    }
    thread.join();
    if (checked.compared) {
        ++comparedRecordings;
        comparedTags += checked.tags;
    } else {
        ++shortRecordings;
    }
    if (!checked.problem.isEmpty()) {
        watch.complain(QStringLiteral("recording %1: %2").arg(number).arg(checked.problem));
    }
}

QJsonObject RecordingInspection::report() const {
    return {{QStringLiteral("recordings_compared"), comparedRecordings},
            {QStringLiteral("recordings_too_short_to_compare"), shortRecordings},
            {QStringLiteral("recordings_unchecked"), uncheckedRecordings},
            {QStringLiteral("recorded_tags_compared"), static_cast<qint64>(comparedTags)}};
}

} // namespace qorn::soak
