// Asks which measurement to add: a list of types in, the chosen one out.
#pragma once

#include <QDialog>
#include <QStringList>

class QListWidget;

namespace qorn::timetagger::gui {

class NewExperimentDialog : public QDialog {
    Q_OBJECT
public:
    explicit NewExperimentDialog(const QStringList& types, QWidget* parent = nullptr);

    // The type of the current row; empty for an empty list.
    QString selectedType() const;

private:
    QListWidget* list;
};

} // namespace qorn::timetagger::gui
