#include "EveryDialog.h"

#include "AdvancedSetupDialog.h"
#include "AxisLimitsDialog.h"
#include "CalibrationDialog.h"
#include "CalibrationProgressDialog.h"
#include "CalibrationResultDialog.h"
#include "ClockSettingsDialog.h"
#include "DeveloperSettingsDialog.h"
#include "ExperimentCatalog.h"
#include "InputSettingsDialog.h"
#include "NetworkRelayDialog.h"
#include "NewExperimentDialog.h"
#include "PlotSettingsDialog.h"
#include "RelayConnectDialog.h"

#include <QCoreApplication>
#include <QTabWidget>

namespace qorn::testing {
namespace {

using namespace qorn::timetagger::gui;

const QString kFile = QStringLiteral("/data/qorn_cal_SIM00001.cal");

std::unique_ptr<QDialog> progressDialog() {
    auto dialog = std::make_unique<CalibrationProgressDialog>();
    dialog->begin();
    return dialog;
}

std::unique_ptr<QDialog> plotSettingsDialog() {
    PlotAndSaveSettings settings;
    settings.saving.logMaximumDurationSeconds = 10;
    settings.saving.timeTagsMaximumDurationSeconds = 10;
    return std::make_unique<PlotSettingsDialog>(settings, PlotSettingsDialog::Parts{});
}

} // namespace

std::vector<NamedDialog> everyDialog() {
    return {
        {"NewExperiment", [] { return std::make_unique<NewExperimentDialog>(offeredExperimentTypes()); }},
        {"InputSettings", [] { return std::make_unique<InputSettingsDialog>(InputChoice{}); }},
        {"ClockSettings", [] { return std::make_unique<ClockSettingsDialog>(ClockWish{}, UiClockStatus{}); }},
        {"NetworkRelay", [] { return std::make_unique<NetworkRelayDialog>(RelaySharing{}); }},
        {"DeveloperSettings",
         [] { return std::make_unique<DeveloperSettingsDialog>(DeveloperSettings{}, kFile); }},
        {"Calibration", [] { return std::make_unique<CalibrationDialog>(CalibrationSettings{}, kFile); }},
        {"CalibrationResult",
         [] { return std::make_unique<CalibrationResultDialog>(QList<UiCalChannelStat>{}); }},
        {"CalibrationProgress", progressDialog},
        {"RelayConnect", [] { return std::make_unique<RelayConnectDialog>(RelayAddress{}); }},
        {"AdvancedSetup", [] { return std::make_unique<AdvancedSetupDialog>(); }},
        {"PlotSettings", plotSettingsDialog},
        {"AxisLimits", [] { return std::make_unique<AxisLimitsDialog>(PlotView{}); }},
    };
}

void lookThrough(const NamedDialog& named, const std::function<void(QDialog& dialog)>& look) {
    const std::unique_ptr<QDialog> dialog = named.make();
    dialog->show();
    dialog->activateWindow();
    // As on a screen that is not as small as the one of the tests.
    dialog->resize(dialog->size().expandedTo(dialog->sizeHint()));
    QCoreApplication::processEvents();
    auto* pages = dialog->findChild<QTabWidget*>();
    for (int page = 0; page < (pages != nullptr ? pages->count() : 1); ++page) {
        if (pages != nullptr) {
            pages->setCurrentIndex(page);
            QCoreApplication::processEvents();
        }
        look(*dialog);
    }
}

} // namespace qorn::testing
