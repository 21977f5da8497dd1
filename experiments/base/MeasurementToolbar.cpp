#include "MeasurementToolbar.h"

#include "BarChartWidget.h"
#include "KeyHint.h"
#include "PictureIcon.h"

#include <QAction>
#include <QCoreApplication>
#include <QEvent>
#include <QSignalBlocker>
#include <QStyle>
#include <QToolButton>

namespace qorn::timetagger::gui {
namespace {

QWidget* makeSpacer(QWidget* parent) {
    auto* spacer = new QWidget(parent);
    spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    return spacer;
}

} // namespace

MeasurementToolbar::MeasurementToolbar(BarChartWidget* plot, MeasurementToolbarParts parts, QWidget* parent)
    : QToolBar(parent) {
    setObjectName(QStringLiteral("MeasurementToolBar"));
    setIconSize({18, 18});
    setMovable(false);
    setFloatable(false);
    addRunActions();
    addSeparator();
    addFileActions();
    if (parts.log) {
        addLogAction();
    }
    addPlotSettingsAction();
    if (plot != nullptr) {
        addWidget(makeSpacer(this));
        addSeparator();
        if (parts.plotControls) {
            addViewActions(plot);
        }
        if (parts.split) {
            QAction* split = addAction(tr("Split"), this, &MeasurementToolbar::splitTriggered);
            split->setToolTip(tr("Show this plot in the split view (multiple plots side by side)"));
        }
    }
    setRunning(false);
    setRecording(false);
    tellKeys();
    openToKeyboard();
}

// Its distances were taken from the style when the bar was made, before it had its name.
bool MeasurementToolbar::event(QEvent* event) {
    const bool taken = QToolBar::event(event);
    if (event->type() == QEvent::Polish) {
        QEvent named(QEvent::StyleChange);
        QCoreApplication::sendEvent(this, &named);
    }
    return taken;
}

void MeasurementToolbar::addRunActions() {
    play = addAction(style()->standardIcon(QStyle::SP_MediaPlay), tr("Play"), this,
                     &MeasurementToolbar::playTriggered);
    play->setToolTip(tr("Play (resumes after Pause, starts fresh after Stop)"));
    pause = addAction(style()->standardIcon(QStyle::SP_MediaPause), tr("Pause"), this,
                      &MeasurementToolbar::pauseTriggered);
    pause->setToolTip(tr("Pause (keeps data; Play resumes)"));
    stop = addAction(style()->standardIcon(QStyle::SP_MediaStop), tr("Stop"), this,
                     &MeasurementToolbar::stopTriggered);
    stop->setToolTip(tr("Stop (Play starts a fresh acquisition)"));
    reset = addAction(style()->standardIcon(QStyle::SP_BrowserReload), tr("Reset"), this,
                      &MeasurementToolbar::resetTriggered);
    reset->setToolTip(tr("Reset measurement (clear displayed accumulators without stopping the stream)"));
}

void MeasurementToolbar::addFileActions() {
    image = addAction(style()->standardIcon(QStyle::SP_DialogSaveButton), tr("Save image"), this,
                      &MeasurementToolbar::saveImageTriggered);
    image->setToolTip(tr("Save plot image"));
    QAction* saveData = addAction(style()->standardIcon(QStyle::SP_FileIcon), tr("Save data"), this,
                                  &MeasurementToolbar::saveDataTriggered);
    saveData->setToolTip(tr("Save displayed plot data"));
    QAction* loadData = addAction(style()->standardIcon(QStyle::SP_DialogOpenButton), tr("Load data"), this,
                                  &MeasurementToolbar::loadDataTriggered);
    loadData->setToolTip(tr("Load saved plot data"));
    record = addAction(style()->standardIcon(QStyle::SP_DriveHDIcon), tr("Record"));
    record->setCheckable(true);
    connect(record, &QAction::toggled, this, &MeasurementToolbar::recordToggled);
}

void MeasurementToolbar::addLogAction() {
    log = addAction(tr("Start log"), this, &MeasurementToolbar::logTriggered);
    log->setToolTip(tr("Start writing a continuous log for this measurement"));
}

void MeasurementToolbar::addPlotSettingsAction() {
    QAction* settings = addAction(pictureIcon(QStringLiteral(":/icons/settings.svg"), IconColours::Own),
                                  tr("Plot settings"), this, &MeasurementToolbar::plotSettingsTriggered);
    settings->setToolTip(tr("Plot settings"));
}

void MeasurementToolbar::addViewActions(BarChartWidget* plot) {
    QAction* dragZoom = addAction(tr("Drag zoom"));
    dragZoom->setCheckable(true);
    dragZoom->setChecked(plot->boxZoomMode());
    dragZoom->setToolTip(
        tr("On: left-drag zooms the dominant axis (mostly horizontal = X, mostly vertical = Y). "
           "Off: left-drag pans. Right-drag always pans."));
    connect(dragZoom, &QAction::toggled, plot, &BarChartWidget::setBoxZoomMode);
    QAction* resetView = addAction(tr("Reset view"), plot, &BarChartWidget::resetView);
    resetView->setToolTip(tr("Fit all data (or double-click the plot)"));
    QAction* axis = addAction(tr("Axis..."), plot, &BarChartWidget::promptAxisLimits);
    axis->setIconText(axis->text()); // else Qt takes the dots away
    axis->setToolTip(tr("Type in exact axis limits"));
}

QList<QKeySequence> MeasurementToolbar::keys() {
    return {Qt::Key_F5, Qt::Key_F6, Qt::Key_F7, Qt::Key_F8, Qt::CTRL | Qt::SHIFT | Qt::Key_S};
}

void MeasurementToolbar::tellKeys() {
    const QList<QAction*> actions{play, pause, stop, reset, image};
    for (qsizetype i = 0; i < actions.size(); ++i) {
        actions[i]->setData(keys().at(i));
        showKeyInToolTip(*widgetForAction(actions[i]), keys().at(i));
    }
}

// A toolbar keeps its buttons, and the one to what has no room, out of the tab order.
void MeasurementToolbar::openToKeyboard() {
    for (QToolButton* button : findChildren<QToolButton*>(Qt::FindDirectChildrenOnly)) {
        button->setFocusPolicy(Qt::TabFocus);
    }
}

void MeasurementToolbar::press(const QKeySequence& key) {
    for (QAction* action : actions()) {
        if (action->data().value<QKeySequence>() == key) {
            action->trigger(); // which a disabled action ignores
        }
    }
}

void MeasurementToolbar::setRunning(bool running) {
    play->setEnabled(!running);
    pause->setEnabled(running);
    stop->setEnabled(true);
    reset->setEnabled(true);
    record->setEnabled(!running);
}

void MeasurementToolbar::setRecording(bool enabled) {
    const QSignalBlocker blocker(record);
    record->setChecked(enabled);
    record->setToolTip(enabled ? tr("Complete time-tag recording enabled for the next acquisition")
                               : tr("Complete time-tag recording disabled for the next acquisition"));
}

void MeasurementToolbar::setLogging(bool open, const QString& extension) {
    if (log == nullptr) {
        return;
    }
    log->setText(open ? tr("Stop log") : tr("Start log"));
    log->setToolTip(open ? tr("Stop writing the current .%1 log").arg(extension)
                         : tr("Start writing a continuous .%1 log for this measurement").arg(extension));
}

} // namespace qorn::timetagger::gui
