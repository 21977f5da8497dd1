// Asks for the look of a tab's plot and for where its logs and recordings go: takes values and gives values.
// Opened by the tab, which belongs to it; GUI thread only.
#pragma once

#include "PlotModel.h"
#include "SharedSettings.h"

#include <QDialog>

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QGridLayout;
class QLineEdit;
class QSpinBox;

namespace qorn::timetagger::gui {

struct PlotAndSaveSettings {
    PlotOptions look;
    SharedSettings saving;
};

class PlotSettingsDialog : public QDialog {
    Q_OBJECT
public:
    // What there is to set beside the look of the plot.
    struct Parts {
        bool log = true;
        bool recording = true;
    };

    PlotSettingsDialog(const PlotAndSaveSettings& initial, Parts parts, QWidget* parent = nullptr);

    // As the controls stand; what has no control is as it was.
    PlotAndSaveSettings settings() const;

    // Stays open, after a warning, while a folder is missing.
    void accept() override;

private:
    // Folder, rotation and limit of what is written.
    struct Target {
        QLineEdit* folder = nullptr;
        QSpinBox* rotate = nullptr;
        QCheckBox* limited = nullptr;
        QSpinBox* maximum = nullptr;

        int maximumSeconds() const; // 0 no limit
    };

    void addLook(QGridLayout* grid, const PlotOptions& look);
    void addLog(QGridLayout* grid);
    void addRecording(QGridLayout* grid);
    void addFolder(QGridLayout* grid, Target& target, const QString& chosen, const char* name,
                   const QString& browseTitle);
    void addTimes(QGridLayout* grid, Target& target, int rotateSeconds, int maximumSeconds, const char* name,
                  const QString& limitText);

    SharedSettings saving; // of before
    QComboBox* scheme = nullptr;
    QSpinBox* fontSize = nullptr;
    QDoubleSpinBox* lineWidth = nullptr;
    QComboBox* lineStyle = nullptr;
    QComboBox* logFormat = nullptr; // these are there as far as there are such parts
    Target log;
    Target recording;
};

} // namespace qorn::timetagger::gui
