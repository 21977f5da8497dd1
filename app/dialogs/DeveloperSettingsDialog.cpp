#include "DeveloperSettingsDialog.h"

#include "DialogParts.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QTabWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <bit>

namespace qorn::timetagger::gui {
namespace {

constexpr int kAllLines = 7;
constexpr int kPackedDeltaBits = 16;
constexpr int kLeastWidth = 620; // of a path of usual length

// A page with its groups at the top.
QWidget* makePage(const QList<QWidget*>& parts) {
    auto* page = new QWidget;
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(14, 14, 14, 14);
    layout->setSpacing(14);
    for (QWidget* part : parts) {
        layout->addWidget(part);
    }
    layout->addStretch(1);
    return page;
}

} // namespace

QList<int> inputsWithOneTdl(const std::array<unsigned char, timing::kChannels>& tdlMasks) {
    QList<int> inputs;
    for (std::size_t input = 0; input < tdlMasks.size(); ++input) {
        if (std::popcount(static_cast<unsigned>(tdlMasks[input] & kAllLines)) == 1) {
            inputs.append(static_cast<int>(input) + 1);
        }
    }
    return inputs;
}

DeveloperSettingsDialog::DeveloperSettingsDialog(const DeveloperSettings& initial, const QString& savedFile,
                                                 QWidget* parent)
    : QDialog(parent), calibration(initial.calibration, this) {
    setWindowTitle(tr("Developer settings"));
    setMinimumWidth(kLeastWidth);
    auto* pages = new QTabWidget(this);
    pages->setObjectName(QStringLiteral("pages"));
    pages->addTab(buildGeneral(initial), tr("General"));
    pages->addTab(buildStreaming(initial), tr("Streaming"));
    pages->addTab(buildCalibration(savedFile), tr("Calibration"));

    QVBoxLayout* layout = makeDialogLayout(*this);
    layout->addWidget(pages, 1);
    layout->addWidget(makeApplyButtons(*this));
}

QWidget* DeveloperSettingsDialog::buildGeneral(const DeveloperSettings& initial) {
    auto* group = new QGroupBox(tr("Active TDLs per channel"), this);
    const QString tip =
        tr("Enable or disable individual tapped-delay-lines per channel. Active TDLs are averaged together; "
           "the firmware keeps at least one active per channel.");
    group->setToolTip(tip);
    selectAll = new QCheckBox(tr("Enable all TDLs"), group);
    selectAll->setObjectName(QStringLiteral("selectAll"));
    selectAll->setToolTip(tr("Use all implemented calibrated TDLs on every input channel."));

    auto* layout = new QVBoxLayout(group);
    layout->setSpacing(12);
    layout->addWidget(makeNote(tip, group));
    layout->addWidget(buildTdlGrid(initial));
    QFormLayout* form = makeForm();
    form->addRow(tr("Select all / unselect all"), selectAll);
    layout->addLayout(form);
    showWhetherAllAreSelected();
    connect(selectAll, &QCheckBox::toggled, this, &DeveloperSettingsDialog::selectAllTdls);
    return makePage({group});
}

QWidget* DeveloperSettingsDialog::buildTdlGrid(const DeveloperSettings& initial) {
    auto* grid = new QWidget(this);
    auto* layout = new QGridLayout(grid);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setVerticalSpacing(8);
    for (std::size_t line = 0; line < kLines; ++line) {
        const int column = static_cast<int>(line) + 1;
        layout->addWidget(new QLabel(tr("TDL%1").arg(column), grid), 0, column, Qt::AlignHCenter);
        layout->setColumnStretch(column, 1);
    }
    for (std::size_t input = 0; input < tdls.size(); ++input) {
        const int row = static_cast<int>(input) + 1;
        layout->addWidget(new QLabel(tr("Channel %1").arg(row), grid), row, 0);
        for (std::size_t line = 0; line < kLines; ++line) {
            const int column = static_cast<int>(line) + 1;
            auto* box = new QCheckBox(grid);
            box->setObjectName(QStringLiteral("tdl%1%2").arg(row).arg(column));
            box->setAccessibleName(tr("Channel %1, TDL%2").arg(row).arg(column));
            box->setChecked((initial.tdlMasks[input] >> line & 1) != 0);
            connect(box, &QCheckBox::toggled, this, &DeveloperSettingsDialog::showWhetherAllAreSelected);
            layout->addWidget(box, row, column, Qt::AlignHCenter);
            tdls[input][line] = box;
        }
    }
    return grid;
}

void DeveloperSettingsDialog::selectAllTdls(bool active) {
    for (const auto& lines : tdls) {
        for (QCheckBox* box : lines) {
            const QSignalBlocker blocker(box);
            box->setChecked(active);
        }
    }
}

void DeveloperSettingsDialog::showWhetherAllAreSelected() {
    const QSignalBlocker blocker(selectAll);
    selectAll->setChecked(std::all_of(tdls.begin(), tdls.end(), [](const auto& lines) {
        return std::all_of(lines.begin(), lines.end(), [](const QCheckBox* box) { return box->isChecked(); });
    }));
}

QWidget* DeveloperSettingsDialog::buildStreaming(const DeveloperSettings& initial) {
    return makePage({buildStreamFormat(initial.streamFormat), buildTestSource(initial)});
}

QGroupBox* DeveloperSettingsDialog::buildStreamFormat(StreamChoice format) {
    auto* group = new QGroupBox(tr("USB stream format"), this);
    formatBox = new QComboBox(group);
    formatBox->setObjectName(QStringLiteral("streamFormat"));
    formatBox->addItems({tr("Packed delta (default)"), tr("Delta32 diagnostic"), tr("Raw64 diagnostic")});
    formatBox->setCurrentIndex(std::clamp(static_cast<int>(format), 0, formatBox->count() - 1));

    auto* deltaBits = new QSpinBox(group);
    deltaBits->setObjectName(QStringLiteral("packedDeltaBits"));
    deltaBits->setRange(kPackedDeltaBits, kPackedDeltaBits);
    deltaBits->setEnabled(false);
    auto* quantum = new QComboBox(group);
    quantum->setObjectName(QStringLiteral("deltaQuantum"));
    quantum->addItem(tr("8 ps"));
    quantum->setEnabled(false);

    QFormLayout* form = makeForm(group);
    form->addRow(tr("Stream format"), formatBox);
    form->addRow(tr("Packed delta bits"), deltaBits);
    form->addRow(tr("Delta quantum"), quantum);
    return group;
}

QGroupBox* DeveloperSettingsDialog::buildTestSource(const DeveloperSettings& initial) {
    auto* group = new QGroupBox(tr("Internal test source"), this);
    const QString tip =
        tr("Developer-only source for calibration/debug captures. Customer measurements should "
           "use real external inputs.");
    group->setToolTip(tip);
    internalBox = new QCheckBox(tr("Use internal calibration generator for experiments"), group);
    internalBox->setObjectName(QStringLiteral("internalSource"));
    internalBox->setToolTip(tip);
    internalBox->setChecked(initial.internalSource);
    internalRateBox = makeNumberBox({0.1, 10000.0, 1, 10.0, tr(" kHz")}, initial.internalRateKhz,
                                    QStringLiteral("internalRate"), group);
    internalRateBox->setToolTip(tip);
    internalRateBox->setEnabled(initial.internalSource);
    connect(internalBox, &QCheckBox::toggled, internalRateBox, &QWidget::setEnabled);

    QFormLayout* form = makeForm(group);
    form->addRow(internalBox);
    form->addRow(tr("Internal rate"), internalRateBox);
    return group;
}

QWidget* DeveloperSettingsDialog::buildCalibration(const QString& savedFile) {
    auto* quality = new QWidget(this);
    const QString tip = tr("Developer calibration quality controls. Longer capture time collects more "
                           "fine-code statistics and usually gives smoother LUTs.");
    QFormLayout* form = makeForm(quality);
    form->setContentsMargins(0, 0, 0, 0);
    form->addRow(makeNote(tip, quality));
    form->addRow(tr("Duration per TDL"), calibration.duration);
    form->addRow(tr("Calibration rate"), calibration.rate);
    form->addRow(tr("Frequency steps"), calibration.steps);
    QWidget* page = makePage({quality, buildUpload(savedFile)});
    page->setToolTip(tip);
    return page;
}

QGroupBox* DeveloperSettingsDialog::buildUpload(const QString& savedFile) {
    auto* group = new QGroupBox(tr("FPGA upload"), this);
    auto* saved = new QPushButton(tr("Upload saved calibration"), group);
    saved->setObjectName(QStringLiteral("uploadSaved"));
    saved->setAutoDefault(false);
    connect(saved, &QPushButton::clicked, this, [this] { endWith(CalibrationUpload::Saved); });
    auto* fromFile = new QPushButton(tr("Upload calibration file..."), group);
    fromFile->setObjectName(QStringLiteral("uploadFile"));
    fromFile->setAutoDefault(false);
    connect(fromFile, &QPushButton::clicked, this, &DeveloperSettingsDialog::chooseFile);

    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(8);
    buttons->addWidget(saved);
    buttons->addWidget(fromFile);
    buttons->addStretch(1);
    QFormLayout* form = makeForm(group);
    form->addRow(tr("Saved file"), makeSavedFileField(savedFile, group));
    form->addRow(buttons);
    return group;
}

void DeveloperSettingsDialog::endWith(CalibrationUpload wanted) {
    wantedUpload = wanted;
    reject();
}

void DeveloperSettingsDialog::chooseFile() {
    const QString path = askForCalibrationFile(this);
    if (!path.isEmpty()) {
        file = path;
        endWith(CalibrationUpload::File);
    }
}

DeveloperSettings DeveloperSettingsDialog::settings() const {
    DeveloperSettings settings;
    for (std::size_t input = 0; input < tdls.size(); ++input) {
        unsigned mask = 0;
        for (std::size_t line = 0; line < kLines; ++line) {
            mask |= (tdls[input][line]->isChecked() ? 1U : 0U) << line;
        }
        settings.tdlMasks[input] = static_cast<unsigned char>(mask);
    }
    settings.streamFormat = static_cast<StreamChoice>(formatBox->currentIndex());
    settings.internalSource = internalBox->isChecked();
    settings.internalRateKhz = internalRateBox->value();
    settings.calibration = calibration.settings();
    return settings;
}

} // namespace qorn::timetagger::gui
