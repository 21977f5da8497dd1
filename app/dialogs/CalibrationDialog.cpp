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

#include <array>

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
        auto* button = buttons->addButton(text, QDialogButtonBox::ActionRole);
        button->setObjectName(QLatin1String(name));
        button->setAutoDefault(false);
        connect(button, &QPushButton::clicked, this, act);
        return button;
    };
    auto* saved = add(tr("Upload saved"), "uploadSaved", [this] { acceptWith(Action::UploadSaved); });
    auto* fromFile = add(tr("Upload from file..."), "uploadFile", [this] { chooseFile(); });
    auto* start = add(tr("Start calibration"), "start", [this] { acceptWith(Action::Start); });
    start->setDefault(true);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    // The box leaves its own button out of the tab order when others are added to it.
    const std::array<QWidget*, 5> order{controls.steps, saved, fromFile, start,
                                        buttons->button(QDialogButtonBox::Close)};
    for (std::size_t i = 1; i < order.size(); ++i) {
        setTabOrder(order[i - 1], order[i]);
    }
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
