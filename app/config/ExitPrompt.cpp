#include "ExitPrompt.h"

#include "SettingsStore.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QMessageBox>

namespace qorn::timetagger::gui {
namespace {

constexpr const char* kAskKey = "exit/askSaveExperiments";
constexpr const char* kSaveKey = "exit/saveExperiments";

QString tr(const char* text) {
    return QCoreApplication::translate("ExitPrompt", text);
}

} // namespace

bool savesExperimentsUnasked() {
    const SettingsStore& settings = SettingsStore::instance();
    return settings.value(QLatin1String(kAskKey), true).toBool() ||
           settings.value(QLatin1String(kSaveKey), true).toBool();
}

bool askToSaveExperiments(QWidget* parent) {
    SettingsStore& settings = SettingsStore::instance();
    if (!settings.value(QLatin1String(kAskKey), true).toBool()) {
        return savesExperimentsUnasked();
    }
    QMessageBox box(QMessageBox::Question, tr("Save settings?"),
                    tr("Save the current experiment settings before exiting?"),
                    QMessageBox::Yes | QMessageBox::No, parent);
    box.setInformativeText(tr("Saved settings are restored automatically next time."));
    box.setDefaultButton(QMessageBox::Yes);
    auto* dontAsk = new QCheckBox(tr("Don't ask again"), &box);
    box.setCheckBox(dontAsk);
    const bool save = box.exec() == QMessageBox::Yes;
    if (dontAsk->isChecked()) {
        settings.set({{QLatin1String(kAskKey), false}, {QLatin1String(kSaveKey), save}});
    }
    return save;
}

} // namespace qorn::timetagger::gui
