#include "CalibrationWorkflow.h"

#include "BusyCursor.h"
#include "CalibrationDialog.h"
#include "CalibrationPort.h"
#include "CalibrationProgressDialog.h"
#include "CalibrationResultDialog.h"
#include "ModalDialog.h"
#include "WarningBox.h"

#include <QWidget>

#include <algorithm>
#include <utility>

namespace qorn::timetagger::gui {
namespace {

constexpr int kDiscardedMessageMs = 4000;
constexpr int kUploadedMessageMs = 4000;
constexpr int kEndMessageMs = 5000;
constexpr int kAppliedMessageMs = 6000;

// A stop that the operator asked for is no failure. The controller tells it by this word alone.
bool isCancellation(const QString& text) {
    return text.contains(QLatin1String("canceled"));
}

} // namespace

CalibrationWorkflow::CalibrationWorkflow(CalibrationPort& instrument, QWidget& parentWindow, QObject* parent)
    : QObject(parent), port(instrument), window(parentWindow) {}

void CalibrationWorkflow::onCalibrate() {
    if (!port.hasDevice()) {
        return;
    }
    auto* dialog = new CalibrationDialog(settings, port.calibrationFilePath(), &window);
    showModal(*dialog, *this, [this, dialog] {
        switch (dialog->action()) {
        case CalibrationDialog::Action::UploadSaved:
            uploadSaved();
            break;
        case CalibrationDialog::Action::UploadFile:
            uploadFile(dialog->filePath());
            break;
        case CalibrationDialog::Action::Start:
            settings = dialog->settings();
            start();
            break;
        case CalibrationDialog::Action::None:
            break;
        }
    });
}

void CalibrationWorkflow::start() {
    const auto steps = static_cast<unsigned long>(std::max(settings.frequencySteps, 1));
    port.runCalibration(samplesPerSweep(settings), steps, generatorHz(settings));
}

void CalibrationWorkflow::uploadSaved() {
    uploadAskedFor = true;
    port.uploadSavedCalibration();
}

void CalibrationWorkflow::uploadFile(const QString& path) {
    uploadAskedFor = true;
    port.uploadCalibrationFile(path);
}

void CalibrationWorkflow::onCalibrationStarted() {
    Q_EMIT messageShown(tr("Calibrating..."), 0);
    Q_EMIT detailTextChanged(tr("calibrating"));
    Q_EMIT stateChanged();
    if (progress == nullptr) {
        progress = new CalibrationProgressDialog(&window);
        connect(progress, &CalibrationProgressDialog::stopRequested, this,
                [this] { port.cancelCalibration(); });
    }
    progress->begin();
}

void CalibrationWorkflow::onCalibrationProgress(int percent, const QString& text) {
    if (progress != nullptr) {
        progress->showProgress(percent, text);
    }
}

void CalibrationWorkflow::onCalibrationFinished(bool ok, const QString& text) {
    if (progress != nullptr) {
        progress->hide();
    }
    Q_EMIT messageShown(text, kEndMessageMs);
    showIdle();
    if (ok) {
        showResult();
    } else if (!isCancellation(text)) {
        showWarning(&window, tr("Calibration failed"), text);
    }
    Q_EMIT stateChanged();
}

void CalibrationWorkflow::showResult() {
    auto* dialog = new CalibrationResultDialog(port.calibrationStats(), &window);
    connect(dialog, &QDialog::rejected, this, [this] { takeChoice({}); });
    showModal(*dialog, *this, [this, dialog] { takeChoice(dialog->choice()); });
}

void CalibrationWorkflow::takeChoice(const CalibrationChoice& choice) {
    if (choice.applyNow || choice.saveForFuture) {
        apply(choice);
    } else {
        Q_EMIT messageShown(tr("Calibration discarded."), kDiscardedMessageMs);
    }
    Q_EMIT stateChanged();
}

void CalibrationWorkflow::apply(const CalibrationChoice& choice) {
    QString message;
    const bool applied = [&] {
        const BusyCursor busy;
        return port.applyCalibration(choice.applyNow, choice.saveForFuture, &message);
    }();
    if (applied) {
        if (choice.applyNow) {
            Q_EMIT calibrationIndicatorChanged(tr("Cal upload: uploaded"), FlagState::Good);
        } else {
            Q_EMIT calibrationIndicatorChanged(tr("Cal upload: saved"), FlagState::Active);
        }
        Q_EMIT messageShown(tr("Calibration applied."), kAppliedMessageMs);
        port.refreshClockStatus();
    } else if (isCancellation(message)) {
        Q_EMIT messageShown(message, kEndMessageMs);
    } else {
        showWarning(&window, tr("Calibration"), tr("Could not apply calibration: %1").arg(message));
    }
}

void CalibrationWorkflow::onUploadStarted() {
    uploading = true;
    Q_EMIT calibrationIndicatorChanged(tr("Cal upload: pending"), FlagState::Active);
    Q_EMIT detailTextChanged(tr("uploading calibration"));
    Q_EMIT stateChanged();
}

// A device that opens tells a failure by its flag alone; the operator did not ask for anything then. A
// refusal comes without a start and changes nothing.
void CalibrationWorkflow::onUploadFinished(bool ok, const QString& text) {
    if (std::exchange(uploading, false)) {
        Q_EMIT calibrationIndicatorChanged(ok ? tr("Cal upload: uploaded") : tr("Cal upload: required"),
                                           ok ? FlagState::Good : FlagState::Warning);
        showIdle();
    }
    Q_EMIT messageShown(text, kUploadedMessageMs);
    if (std::exchange(uploadAskedFor, false) && !ok) {
        showWarning(&window, tr("Calibration"), text);
    }
    Q_EMIT stateChanged();
}

void CalibrationWorkflow::showIdle() {
    Q_EMIT detailTextChanged(tr("idle"));
}

} // namespace qorn::timetagger::gui
