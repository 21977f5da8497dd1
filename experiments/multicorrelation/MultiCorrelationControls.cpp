#include "MultiCorrelationControls.h"

#include "ChoiceBox.h"
#include "CoincidenceCounts.h"
#include "LateWidget.h"
#include "PairWindowTable.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace qorn::timetagger::gui {
namespace {

using Settings = MultiCorrelationSettings;

constexpr int kPairColumns = 2;
constexpr int kBesideNumber = 60; // arrows and edges of a box, and a digit more

// Name of one control of several that show an array.
QString numbered(const char* key, std::size_t index) {
    return QLatin1String(key) + QString::number(index + 1);
}

// Two boxes side by side. They take any width, and a usual number with its unit is to be read in both.
class WindowRow : public LateWidget {
public:
    WindowRow(const WindowBoxes& boxes, QWidget* parent) : LateWidget(parent), center(boxes.center) {
        auto* row = new QHBoxLayout(this);
        row->setContentsMargins(0, 0, 0, 0);
        row->addWidget(boxes.center, 1);
        row->addWidget(boxes.width, 1);
    }

protected:
    bool event(QEvent* event) override {
        if (event->type() == QEvent::Polish) {
            center->ensurePolished(); // before that it does not know its font
            const int least = center->fontMetrics().horizontalAdvance(center->text()) + kBesideNumber;
            setMinimumWidth(2 * least + layout()->spacing());
        }
        return LateWidget::event(event);
    }

private:
    QDoubleSpinBox* center;
};

} // namespace

MultiCorrelationControls::MultiCorrelationControls(QWidget* parent) : QWidget(parent) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    for (QWidget* part :
         {createPairs(), createHistogram(), createWindows(), createOffsets(), createTraces()}) {
        column->addWidget(part);
    }
    column->addStretch(1);
    showSettings(Settings());
}

QDoubleSpinBox* MultiCorrelationControls::makeNumber(const QString& key, double least, double most,
                                                     double step, int decimals, const QString& suffix,
                                                     QWidget* parent) {
    auto* box = new QDoubleSpinBox(parent);
    box->setObjectName(key);
    box->setDecimals(decimals);
    box->setRange(least, most);
    box->setSingleStep(step);
    box->setSuffix(suffix);
    box->setKeyboardTracking(false); // half a number would restart the histograms
    connect(box, &QDoubleSpinBox::valueChanged, this, &MultiCorrelationControls::settingsChanged);
    return box;
}

QComboBox* MultiCorrelationControls::makeChoice(const QString& key, const QStringList& names,
                                                QWidget* parent) {
    QComboBox* box = makeChoiceBox(staticMetaObject.className(), names, parent);
    box->setObjectName(key);
    connect(box, &QComboBox::currentIndexChanged, this, &MultiCorrelationControls::settingsChanged);
    return box;
}

QWidget* MultiCorrelationControls::createPairs() {
    auto* group = new QGroupBox(tr("Channel pairs"), this);
    auto* grid = new QGridLayout(group);
    const QStringList labels = pairLabels();
    for (std::size_t pair = 0; pair < kPairs; ++pair) {
        const int place = static_cast<int>(pair);
        pairs[pair] = new QCheckBox(labels.at(place), group);
        pairs[pair]->setObjectName(numbered("pairs", pair));
        connect(pairs[pair], &QCheckBox::toggled, this, &MultiCorrelationControls::settingsChanged);
        grid->addWidget(pairs[pair], place / kPairColumns, place % kPairColumns);
    }
    return group;
}

QWidget* MultiCorrelationControls::createHistogram() {
    auto* group = new QGroupBox(tr("Correlation histogram"), this);
    auto* form = new QFormLayout(group);
    range = makeNumber(QStringLiteral("rangeNs"), Settings::kLeastRangeNs, Settings::kMostRangeNs, 1.0, 3,
                       tr(" ns"), group);
    bin = makeNumber(QStringLiteral("binNs"), Settings::kLeastBinNs, Settings::kMostBinNs, 0.001, 3,
                     tr(" ns"), group);
    bin->setToolTip(tr("Histogram bins must be at least 4 ps."));
    form->addRow(tr("Half-range"), range);
    form->addRow(tr("Bin width"), bin);
    return group;
}

// The boxes for all windows are no setting: they reach the pairs by the button alone.
QWidget* MultiCorrelationControls::createWindows() {
    auto* group = new QGroupBox(tr("Trace windows"), this);
    auto* column = new QVBoxLayout(group);
    auto* form = new QFormLayout;
    const PairWindows shown;
    allA = WindowBoxes::make(QStringLiteral("allCenterA"), QStringLiteral("allWidthA"), shown.a, group);
    allB = WindowBoxes::make(QStringLiteral("allCenterB"), QStringLiteral("allWidthB"), shown.b, group);
    form->addRow(tr("All A"), new WindowRow(allA, group));
    form->addRow(tr("All B"), new WindowRow(allB, group));
    auto* apply = new QPushButton(tr("Apply A/B to all pairs"), group);
    apply->setObjectName(QStringLiteral("applyToAll"));
    connect(apply, &QPushButton::clicked, this, &MultiCorrelationControls::applyWindowsToAll);
    windows = new PairWindowTable(group);
    connect(windows, &PairWindowTable::windowsChanged, this, &MultiCorrelationControls::settingsChanged);
    column->addLayout(form);
    column->addWidget(apply);
    column->addWidget(windows);
    return group;
}

QWidget* MultiCorrelationControls::createOffsets() {
    auto* group = new QGroupBox(tr("Software offsets"), this);
    auto* form = new QFormLayout(group);
    offsetsEnabled = new QCheckBox(tr("Enable channel offsets"), group);
    offsetsEnabled->setObjectName(QStringLiteral("offsetsEnabled"));
    offsetsEnabled->setToolTip(tr("Apply these timestamp offsets before cross-correlation."));
    connect(offsetsEnabled, &QCheckBox::toggled, this, &MultiCorrelationControls::updateEnabled);
    connect(offsetsEnabled, &QCheckBox::toggled, this, &MultiCorrelationControls::settingsChanged);
    form->addRow(offsetsEnabled);
    for (std::size_t channel = 0; channel < offsets.size(); ++channel) {
        offsets[channel] = makeNumber(numbered("offsetsNs", channel), -Settings::kMostOffsetNs,
                                      Settings::kMostOffsetNs, 0.1, 3, tr(" ns"), group);
        form->addRow(tr("Ch %1").arg(channel + 1), offsets[channel]);
    }
    auto* remove = new QPushButton(tr("Auto remove offsets"), group);
    remove->setObjectName(QStringLiteral("autoRemoveOffsets"));
    remove->setToolTip(tr("Estimate the current pairwise peak positions and apply channel offsets so the "
                          "peaks move to zero."));
    connect(remove, &QPushButton::clicked, this, &MultiCorrelationControls::autoRemoveOffsetsRequested);
    form->addRow(remove);
    return group;
}

QWidget* MultiCorrelationControls::createTraces() {
    auto* group = new QGroupBox(tr("Window traces"), this);
    auto* form = new QFormLayout(group);
    gate = makeNumber(QStringLiteral("gateSec"), Settings::kLeastGateSec, Settings::kMostGateSec, 0.1, 3,
                      tr(" s"), group);
    traceHistory = makeNumber(QStringLiteral("traceHistorySec"), Settings::kLeastHistorySec,
                              Settings::kMostHistorySec, 1.0, 1, tr(" s"), group);
    rateMode = makeChoice(QStringLiteral("rateMode"), Settings::rateModeNames(), group);
    split = makeChoice(QStringLiteral("splitMode"), Settings::splitNames(), group);
    form->addRow(tr("Integration"), gate);
    form->addRow(tr("Trace window"), traceHistory);
    form->addRow(tr("Y value"), rateMode);
    form->addRow(tr("Plot split"), split);
    return group;
}

MultiCorrelationSettings MultiCorrelationControls::settings() const {
    Settings result;
    for (std::size_t pair = 0; pair < kPairs; ++pair) {
        result.pairs[pair] = pairs[pair]->isChecked();
    }
    result.rangeNs = range->value();
    result.binNs = bin->value();
    result.windows = windows->windows();
    result.offsetsEnabled = offsetsEnabled->isChecked();
    for (std::size_t channel = 0; channel < offsets.size(); ++channel) {
        result.offsetsNs[channel] = offsets[channel]->value();
    }
    result.gateSec = gate->value();
    result.traceHistorySec = traceHistory->value();
    result.rateMode = static_cast<Settings::RateMode>(rateMode->currentIndex());
    result.splitMode = static_cast<Settings::PlotSplit>(split->currentIndex());
    return result;
}

void MultiCorrelationControls::showSettings(const MultiCorrelationSettings& settings) {
    const QSignalBlocker blocker(this);
    for (std::size_t pair = 0; pair < kPairs; ++pair) {
        pairs[pair]->setChecked(settings.pairs[pair]);
    }
    range->setValue(settings.rangeNs);
    bin->setValue(settings.binNs);
    windows->showWindows(settings.windows);
    offsetsEnabled->setChecked(settings.offsetsEnabled);
    for (std::size_t channel = 0; channel < offsets.size(); ++channel) {
        offsets[channel]->setValue(settings.offsetsNs[channel]);
    }
    gate->setValue(settings.gateSec);
    traceHistory->setValue(settings.traceHistorySec);
    rateMode->setCurrentIndex(static_cast<int>(settings.rateMode));
    split->setCurrentIndex(static_cast<int>(settings.splitMode));
    updateEnabled();
}

void MultiCorrelationControls::applyWindowsToAll() {
    std::array<PairWindows, kPairs> all{};
    all.fill({allA.window(), allB.window()});
    windows->showWindows(all);
    Q_EMIT settingsChanged();
}

// What has no effect as things are set cannot be changed.
void MultiCorrelationControls::updateEnabled() {
    for (QDoubleSpinBox* offset : offsets) {
        offset->setEnabled(offsetsEnabled->isChecked());
    }
}

} // namespace qorn::timetagger::gui
