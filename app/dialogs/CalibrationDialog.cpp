#include "CalibrationDialog.h"

#include "CalibrationFileChoice.h"
#include "DialogParts.h"

#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

namespace qorn::timetagger::gui {

CalibrationDialog::CalibrationDialog(const CalibrationSettings& initial, const QString& savedFile,
                                     QWidget* parent)
    : QDialog(parent), controls(initial, this) {
    setWindowTitle(tr("Calibration"));
    resize(560, 360);
    QVBoxLayout* layout = makeDialogLayout(*this);
    layout->addWidget(buildSavedCalibration(savedFile));
    layout->addWidget(buildNewCalibration());
    layout->addStretch(1);
    layout->addWidget(buildButtons());
}

QGroupBox* CalibrationDialog::buildSavedCalibration(const QString& savedFile) {
    auto* group = new QGroupBox(tr("Saved calibration"), this);
    makeForm(group)->addRow(tr("File"), makeSavedFileField(savedFile, group));
    return group;
}

QGroupBox* CalibrationDialog::buildNewCalibration() {
    auto* group = new QGroupBox(tr("New calibration"), this);
    estimate = makeNote(QString(), group);
    estimate->setObjectName(QStringLiteral("estimate"));
    QFormLayout* form = makeForm(group);
    form->addRow(tr("Duration per sweep"), controls.duration);
    form->addRow(tr("Signal rate"), controls.rate);
    form->addRow(tr("Frequency steps"), controls.steps);
    form->addRow(tr("Estimate"), estimate);
    connect(controls.duration, &QDoubleSpinBox::valueChanged, this, &CalibrationDialog::showEstimate);
    connect(controls.rate, &QDoubleSpinBox::valueChanged, this, &CalibrationDialog::showEstimate);
    connect(controls.steps, &QSpinBox::valueChanged, this, &CalibrationDialog::showEstimate);
    showEstimate();
    return group;
}

void CalibrationDialog::showEstimate() {
    const CalibrationSettings current = settings();
    estimate->setText(tr("%1 samples per sweep, %2 frequency steps")
                          .arg(samplesPerSweep(current))
                          .arg(current.frequencySteps));
}

QWidget* CalibrationDialog::buildButtons() {
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    const auto add = [&](const QString& text, const char* name, const auto& act) {
        auto* button = new QPushButton(text, this);
        button->setObjectName(QLatin1String(name));
        button->setAutoDefault(false);
        connect(button, &QPushButton::clicked, this, act);
        buttons->addButton(button, QDialogButtonBox::ActionRole);
        return button;
    };
    add(tr("Upload saved"), "uploadSaved", [this] { acceptWith(Action::UploadSaved); });
    add(tr("Upload from file..."), "uploadFile", [this] { chooseFile(); });
    add(tr("Start calibration"), "start", [this] { acceptWith(Action::Start); })->setDefault(true);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    return buttons;
}

void CalibrationDialog::acceptWith(Action action) {
    chosen = action;
    accept();
}

void CalibrationDialog::chooseFile() {
    const QString path = askForCalibrationFile(this);
    if (!path.isEmpty()) {
        file = path;
        acceptWith(Action::UploadFile);
    }
}

} // namespace qorn::timetagger::gui
