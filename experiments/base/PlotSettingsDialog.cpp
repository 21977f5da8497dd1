#include "PlotSettingsDialog.h"

#include "WarningBox.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

namespace qorn::timetagger::gui {
namespace {

constexpr int kLongestSeconds = 604800; // a week
constexpr int kUsualLimitSeconds = 3600;

const char* const kSchemes[] = {
    QT_TRANSLATE_NOOP("qorn::timetagger::gui::PlotSettingsDialog", "Default"),
    QT_TRANSLATE_NOOP("qorn::timetagger::gui::PlotSettingsDialog", "Dark"),
    QT_TRANSLATE_NOOP("qorn::timetagger::gui::PlotSettingsDialog", "Bright"),
    QT_TRANSLATE_NOOP("qorn::timetagger::gui::PlotSettingsDialog", "High contrast"),
    QT_TRANSLATE_NOOP("qorn::timetagger::gui::PlotSettingsDialog", "Classic"),
};

// In the order of Qt::PenStyle from Qt::SolidLine on.
const char* const kLineStyles[] = {
    QT_TRANSLATE_NOOP("qorn::timetagger::gui::PlotSettingsDialog", "solid"),
    QT_TRANSLATE_NOOP("qorn::timetagger::gui::PlotSettingsDialog", "- - dashed"),
    QT_TRANSLATE_NOOP("qorn::timetagger::gui::PlotSettingsDialog", ". dotted"),
    QT_TRANSLATE_NOOP("qorn::timetagger::gui::PlotSettingsDialog", "-. dash-dot"),
    QT_TRANSLATE_NOOP("qorn::timetagger::gui::PlotSettingsDialog", "-.. dash-dot-dot"),
};

QString name(const char* group, const char* control) {
    return QLatin1String(group) + QLatin1String(control);
}

// Rows of two fields with their labels, so that the dialog is lower than a small screen.
enum Column { FirstLabel, FirstField, SecondLabel, SecondField, Columns };

void addField(QGridLayout* grid, int row, Column labelColumn, const QString& text, QWidget* field) {
    auto* label = new QLabel(text, field->parentWidget());
    label->setBuddy(field);
    grid->addWidget(label, row, labelColumn);
    grid->addWidget(field, row, labelColumn + 1);
}

void addHeading(QGridLayout* grid, const QString& text, QWidget* parent) {
    auto* heading = new QLabel(text, parent);
    QFont bold = heading->font();
    bold.setBold(true);
    heading->setFont(bold);
    heading->setStyleSheet(QStringLiteral("font-weight: bold;")); // a theme's style sheet sets the font anew
    heading->setContentsMargins(0, 10, 0, 0);
    grid->addWidget(heading, grid->rowCount(), FirstLabel, 1, Columns);
}

QSpinBox* makeSecondsBox(int least, int seconds, const QString& objectName, QWidget* parent) {
    auto* box = new QSpinBox(parent);
    box->setObjectName(objectName);
    box->setRange(least, kLongestSeconds);
    box->setSuffix(PlotSettingsDialog::tr(" s"));
    box->setValue(seconds);
    return box;
}

} // namespace

PlotSettingsDialog::PlotSettingsDialog(const PlotAndSaveSettings& initial, Parts parts, QWidget* parent)
    : QDialog(parent), saving(initial.saving) {
    setWindowTitle(tr("Plot and Save Settings"));
    setMinimumWidth(640);
    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(14);
    grid->setColumnStretch(FirstField, 1);
    grid->setColumnStretch(SecondField, 1);
    addLook(grid, initial.look);
    if (parts.log) {
        addLog(grid);
    }
    if (parts.recording) {
        addRecording(grid);
    }

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    QPushButton* save = buttons->addButton(tr("Save settings"), QDialogButtonBox::AcceptRole);
    save->setObjectName(QStringLiteral("PrimaryButton"));
    save->setDefault(true);
    connect(buttons, &QDialogButtonBox::accepted, this, &PlotSettingsDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &PlotSettingsDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 20, 20, 16);
    layout->setSpacing(18);
    layout->addLayout(grid);
    layout->addStretch(1);
    layout->addWidget(buttons);
}

void PlotSettingsDialog::addLook(QGridLayout* grid, const PlotOptions& look) {
    scheme = new QComboBox(this);
    scheme->setObjectName(QStringLiteral("colorScheme"));
    for (const char* const schemeName : kSchemes) {
        scheme->addItem(tr(schemeName), QLatin1String(schemeName));
    }
    if (scheme->findData(look.colorScheme) < 0) { // that of a theme
        scheme->addItem(look.colorScheme, look.colorScheme);
    }
    scheme->setCurrentIndex(scheme->findData(look.colorScheme));

    fontSize = new QSpinBox(this);
    fontSize->setObjectName(QStringLiteral("fontSize"));
    fontSize->setRange(7, 28);
    fontSize->setSuffix(tr(" pt"));
    fontSize->setValue(look.fontPointSize);

    lineWidth = new QDoubleSpinBox(this);
    lineWidth->setObjectName(QStringLiteral("lineWidth"));
    lineWidth->setDecimals(1);
    lineWidth->setRange(0.5, 8.0);
    lineWidth->setSingleStep(0.25);
    lineWidth->setSuffix(tr(" pt"));
    lineWidth->setValue(look.lineWidth);

    lineStyle = new QComboBox(this);
    lineStyle->setObjectName(QStringLiteral("lineStyle"));
    for (const char* const style : kLineStyles) {
        lineStyle->addItem(tr(style));
    }
    lineStyle->setCurrentIndex(static_cast<int>(look.penStyle) - static_cast<int>(Qt::SolidLine));

    addField(grid, 0, FirstLabel, tr("Color scheme"), scheme);
    addField(grid, 0, SecondLabel, tr("Font size"), fontSize);
    addField(grid, 1, FirstLabel, tr("Line thickness"), lineWidth);
    addField(grid, 1, SecondLabel, tr("Line style"), lineStyle);
}

void PlotSettingsDialog::addLog(QGridLayout* grid) {
    addHeading(grid, tr("Continuous data log"), this);
    addFolder(grid, log, saving.logDirectory, "log", tr("Select data-log folder"));
    logFormat = new QComboBox(this);
    logFormat->setObjectName(QStringLiteral("logFormat"));
    logFormat->addItems({tr("CSV"), tr("Packed binary")});
    logFormat->setCurrentIndex(saving.logFormat == LogFormat::PackedBinary ? 1 : 0);
    const int row = grid->rowCount();
    addField(grid, row, FirstLabel, tr("Format"), logFormat);
    addTimes(grid, log, saving.logRotateSeconds, saving.logMaximumDurationSeconds, "log",
             tr("Limit log duration"));
}

void PlotSettingsDialog::addRecording(QGridLayout* grid) {
    addHeading(grid, tr("Complete time-tag recording"), this);
    addFolder(grid, recording, saving.timeTagsDirectory, "recording", tr("Select time-tag output folder"));
    addTimes(grid, recording, saving.timeTagsRotateSeconds, saving.timeTagsMaximumDurationSeconds,
             "recording", tr("Limit recording duration"));
}

void PlotSettingsDialog::addFolder(QGridLayout* grid, Target& target, const QString& chosen,
                                   const char* group, const QString& browseTitle) {
    target.folder = new QLineEdit(chosen, this);
    target.folder->setObjectName(name(group, "Folder"));
    auto* browse = new QPushButton(tr("Browse..."), this);
    browse->setObjectName(name(group, "Browse"));
    browse->setAutoDefault(false);
    connect(browse, &QPushButton::clicked, this, [this, edit = target.folder, browseTitle] {
        auto* dialog = new QFileDialog(this, browseTitle, edit->text());
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        dialog->setFileMode(QFileDialog::Directory);
        dialog->setOption(QFileDialog::ShowDirsOnly);
        connect(dialog, &QFileDialog::fileSelected, edit, &QLineEdit::setText);
        dialog->open();
    });
    const int row = grid->rowCount();
    auto* label = new QLabel(tr("Folder"), this);
    label->setBuddy(target.folder);
    grid->addWidget(label, row, FirstLabel);
    auto* line = new QHBoxLayout;
    line->addWidget(target.folder, 1);
    line->addWidget(browse, 0);
    grid->addLayout(line, row, FirstField, 1, Columns - FirstField);
}

void PlotSettingsDialog::addTimes(QGridLayout* grid, Target& target, int rotateSeconds, int maximumSeconds,
                                  const char* group, const QString& limitText) {
    target.rotate = makeSecondsBox(0, rotateSeconds, name(group, "Rotate"), this);
    target.rotate->setSpecialValueText(tr("Off"));
    target.limited = new QCheckBox(limitText, this);
    target.limited->setObjectName(name(group, "Limited"));
    target.limited->setChecked(maximumSeconds > 0);
    target.maximum = makeSecondsBox(1, maximumSeconds > 0 ? maximumSeconds : kUsualLimitSeconds,
                                    name(group, "Maximum"), this);
    target.maximum->setEnabled(maximumSeconds > 0);
    connect(target.limited, &QCheckBox::toggled, target.maximum, &QSpinBox::setEnabled);
    const int row = grid->rowCount();
    addField(grid, row, FirstLabel, tr("New file after"), target.rotate);
    grid->addWidget(target.limited, row + 1, FirstLabel, 1, 2);
    addField(grid, row + 1, SecondLabel, tr("Maximum duration"), target.maximum);
}

int PlotSettingsDialog::Target::maximumSeconds() const {
    return limited->isChecked() ? maximum->value() : 0;
}

PlotAndSaveSettings PlotSettingsDialog::settings() const {
    PlotAndSaveSettings chosen;
    chosen.look = {scheme->currentData().toString(), fontSize->value(), lineWidth->value(),
                   static_cast<Qt::PenStyle>(lineStyle->currentIndex() + static_cast<int>(Qt::SolidLine))};
    chosen.saving = saving;
    if (log.folder != nullptr) {
        chosen.saving.logDirectory = log.folder->text().trimmed();
        chosen.saving.logFormat = logFormat->currentIndex() == 1 ? LogFormat::PackedBinary : LogFormat::Csv;
        chosen.saving.logRotateSeconds = log.rotate->value();
        chosen.saving.logMaximumDurationSeconds = log.maximumSeconds();
    }
    if (recording.folder != nullptr) {
        chosen.saving.timeTagsDirectory = recording.folder->text().trimmed();
        chosen.saving.timeTagsRotateSeconds = recording.rotate->value();
        chosen.saving.timeTagsMaximumDurationSeconds = recording.maximumSeconds();
    }
    return chosen;
}

void PlotSettingsDialog::accept() {
    const SharedSettings chosen = settings().saving;
    if (log.folder != nullptr && chosen.logDirectory.isEmpty()) {
        showWarning(this, windowTitle(), tr("Select a log folder first."));
    } else if (recording.folder != nullptr && chosen.timeTagsDirectory.isEmpty()) {
        showWarning(this, windowTitle(), tr("Select a time-tag output folder first."));
    } else {
        QDialog::accept();
    }
}

} // namespace qorn::timetagger::gui
