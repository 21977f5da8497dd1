// Shows the roles that several instruments will take together. A preview: nothing here has an effect yet, and
// a note in the dialog says so. Shown modally by the setup page.
#pragma once

#include <QDialog>

class QTableWidget;

namespace qorn::timetagger::gui {

class AdvancedSetupDialog : public QDialog {
    Q_OBJECT
public:
    explicit AdvancedSetupDialog(QWidget* parent = nullptr);

private Q_SLOTS:
    // One more row; the first is the primary unit, the others are secondary ones.
    void addDevice();

private:
    QTableWidget* table = nullptr;
};

} // namespace qorn::timetagger::gui
