#include "CoincidenceControls.h"

#include "ChoiceBox.h"
#include "CoincidenceCounts.h"
#include "ControlNames.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include <utility>

namespace qorn::timetagger::gui {
namespace {

using Settings = CoincidenceSettings;

constexpr int kDecimals = 3;

QDoubleSpinBox* makeNumber(double least, double most, const QString& suffix, const char* name,
                           QWidget* parent) {
    auto* box = new QDoubleSpinBox(parent);
    box->setObjectName(QLatin1String(name));
    box->setDecimals(kDecimals);
    box->setRange(least, most);
    box->setSuffix(suffix);
    box->setKeyboardTracking(false); // half a number would drop what it leaves no room for
    return box;
}

} // namespace

CoincidenceControls::CoincidenceControls(QWidget* parent) : QWidget(parent) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    for (QWidget* group : {createAcquisition(), createTrace(), createWindows(), createOffsets()}) {
        column->addWidget(group);
    }
    column->addStretch(1);
    showSettings(CoincidenceSettings());
}

QWidget* CoincidenceControls::createAcquisition() {
    auto* group = new QGroupBox(tr("Acquisition"), this);
    auto* form = new QFormLayout(group);
    gate = makeNumber(Settings::kLeastGateSec, Settings::kMostGateSec, tr(" s"), "gateSec", group);
    gate->setSingleStep(0.1);
    engine = makeChoiceBox("CoincidenceControls", {tr("Hardware"), tr("Software")}, group);
    engine->setObjectName(QStringLiteral("acquisitionMode"));
    engine->setToolTip(tr("Hardware uses the device coincidence engine. Software uses decoded time tags."));
    form->addRow(tr("Gate"), gate);
    form->addRow(tr("Engine"), engine);
    connect(gate, &QDoubleSpinBox::valueChanged, this, &CoincidenceControls::settingsChanged);
    connect(engine, &QComboBox::currentIndexChanged, this, &CoincidenceControls::settingsChanged);
    acquisitionGroups.append(group);
    return group;
}

QWidget* CoincidenceControls::createWindows() {
    auto* group = new QGroupBox(tr("Pair windows"), this);
    auto* form = new QFormLayout(group);
    window = makeNumber(Settings::kLeastWindowNs, Settings::kMostWindowNs, tr(" ns"), "windowNs", group);
    window->setToolTip(tr("Coincidence window (full width). Two events on different\n"
                          "channels coincide when |t_i - t_j| <= window."));
    auto* apply = new QPushButton(tr("Apply to all"), group);
    apply->setObjectName(QStringLiteral("applyToAll"));
    form->addRow(tr("Window"), window);
    form->addRow(QString(), apply);
    const QStringList labels = pairLabels();
    for (std::size_t pair = 0; pair < kPairs; ++pair) {
        QDoubleSpinBox*& box = pairWindows[pair];
        box = makeNumber(Settings::kLeastWindowNs, Settings::kMostWindowNs, tr(" ns"), "", group);
        box->setObjectName(numberedName("pairWindowsNs", pair));
        form->addRow(labels.at(static_cast<qsizetype>(pair)), box);
        connect(box, &QDoubleSpinBox::valueChanged, this, &CoincidenceControls::settingsChanged);
    }
    connect(window, &QDoubleSpinBox::valueChanged, this, &CoincidenceControls::settingsChanged);
    connect(apply, &QPushButton::clicked, this, &CoincidenceControls::applyWindowToAll);
    acquisitionGroups.append(group);
    return group;
}

QWidget* CoincidenceControls::createOffsets() {
    auto* group = new QGroupBox(tr("Channel offsets"), this);
    auto* form = new QFormLayout(group);
    offsetsEnabled = new QCheckBox(tr("Enable channel offsets"), group);
    offsetsEnabled->setObjectName(QStringLiteral("offsetsEnabled"));
    offsetsEnabled->setToolTip(tr("Apply per-channel timing offsets before coincidence tests."));
    form->addRow(offsetsEnabled);
    for (std::size_t input = 0; input < offsets.size(); ++input) {
        QDoubleSpinBox*& box = offsets[input];
        box = makeNumber(-Settings::kMostOffsetNs, Settings::kMostOffsetNs, tr(" ns"), "", group);
        box->setObjectName(numberedName("offsetNs", input));
        box->setToolTip(tr("Timing offset for channel %1.").arg(input + 1));
        form->addRow(tr("Offset %1").arg(input + 1), box);
        connect(box, &QDoubleSpinBox::valueChanged, this, &CoincidenceControls::settingsChanged);
    }
    connect(offsetsEnabled, &QCheckBox::toggled, this, &CoincidenceControls::updateEnabled);
    connect(offsetsEnabled, &QCheckBox::toggled, this, &CoincidenceControls::settingsChanged);
    acquisitionGroups.append(group);
    return group;
}

QWidget* CoincidenceControls::createTrace() {
    auto* group = new QGroupBox(tr("Trace"), this);
    auto* form = new QFormLayout(group);
    showTrace = new QCheckBox(tr("Show coincidence trace"), group);
    showTrace->setObjectName(QStringLiteral("showTrace"));
    showTrace->setToolTip(
        tr("Show pair coincidence rates over time, using the same gate interval as the table."));
    split = makeChoiceBox("CoincidenceControls", Settings::splitNames(), group);
    split->setObjectName(QStringLiteral("splitMode"));
    split->setToolTip(tr("Choose whether the histogram and trace are split vertically or horizontally."));
    traceHistory =
        makeNumber(Settings::kLeastHistorySec, Settings::kMostHistorySec, tr(" s"), "traceHistorySec", group);
    traceHistory->setDecimals(1);
    traceHistory->setToolTip(tr("Visible history for the coincidence trace."));
    form->addRow(showTrace);
    form->addRow(tr("Split"), split);
    form->addRow(tr("Trace history"), traceHistory);
    connect(showTrace, &QCheckBox::toggled, this, &CoincidenceControls::updateEnabled);
    connect(showTrace, &QCheckBox::toggled, this, &CoincidenceControls::settingsChanged);
    connect(split, &QComboBox::currentIndexChanged, this, &CoincidenceControls::settingsChanged);
    connect(traceHistory, &QDoubleSpinBox::valueChanged, this, &CoincidenceControls::settingsChanged);
    return group;
}

void CoincidenceControls::applyWindowToAll() {
    CoincidenceSettings wanted = settings();
    wanted.pairWindowsNs.fill(wanted.windowNs);
    showSettings(wanted);
    Q_EMIT settingsChanged();
}

CoincidenceSettings CoincidenceControls::settings() const {
    CoincidenceSettings result;
    result.gateSec = gate->value();
    result.engine = static_cast<Settings::Engine>(engine->currentIndex());
    result.windowNs = window->value();
    for (std::size_t pair = 0; pair < kPairs; ++pair) {
        result.pairWindowsNs[pair] = pairWindows[pair]->value();
    }
    result.offsetsEnabled = offsetsEnabled->isChecked();
    for (std::size_t input = 0; input < offsets.size(); ++input) {
        result.offsetsNs[input] = offsets[input]->value();
    }
    result.showTrace = showTrace->isChecked();
    result.split = static_cast<Settings::Split>(split->currentIndex());
    result.traceHistorySec = traceHistory->value();
    return result;
}

void CoincidenceControls::showSettings(const CoincidenceSettings& settings) {
    const QSignalBlocker blocker(this);
    gate->setValue(settings.gateSec);
    engine->setCurrentIndex(static_cast<int>(settings.engine));
    window->setValue(settings.windowNs);
    for (std::size_t pair = 0; pair < kPairs; ++pair) {
        pairWindows[pair]->setValue(settings.pairWindowsNs[pair]);
    }
    offsetsEnabled->setChecked(settings.offsetsEnabled);
    for (std::size_t input = 0; input < offsets.size(); ++input) {
        offsets[input]->setValue(settings.offsetsNs[input]);
    }
    showTrace->setChecked(settings.showTrace);
    split->setCurrentIndex(static_cast<int>(settings.split));
    traceHistory->setValue(settings.traceHistorySec);
    updateEnabled();
}

void CoincidenceControls::setAcquisitionSettingsEnabled(bool enabled) {
    for (QGroupBox* group : std::as_const(acquisitionGroups)) {
        group->setEnabled(enabled);
    }
}

// What has no effect as things are set cannot be changed.
void CoincidenceControls::updateEnabled() {
    for (QDoubleSpinBox* box : offsets) {
        box->setEnabled(offsetsEnabled->isChecked());
    }
    split->setEnabled(showTrace->isChecked());
    traceHistory->setEnabled(showTrace->isChecked());
}

} // namespace qorn::timetagger::gui
