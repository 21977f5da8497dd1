// Parts that the settings dialogs share: their buttons, notes, rows and number boxes. Free functions; what
// they make belongs to the widget that they are given. GUI thread only.
#pragma once

#include <QString>

class QDialog;
class QDialogButtonBox;
class QDoubleSpinBox;
class QFormLayout;
class QLabel;
class QVBoxLayout;
class QWidget;

namespace qorn::timetagger::gui {

struct NumberRange {
    double least = 0.0;
    double most = 0.0;
    int decimals = 0;
    double step = 1.0;
    QString suffix;
};

QDoubleSpinBox* makeNumberBox(const NumberRange& range, double value, const QString& name, QWidget* parent);

// A muted line or paragraph beside the matter.
QLabel* makeNote(const QString& text, QWidget* parent);

// The path of a file, that can be selected and read whole, "savedFile" by name.
QWidget* makeSavedFileField(const QString& path, QWidget* parent);

// Rows of a label and a control, as all settings dialogs have them.
QFormLayout* makeForm(QWidget* parent = nullptr);

// The layout of a whole dialog.
QVBoxLayout* makeDialogLayout(QDialog& dialog);

// "Apply" and "Cancel", which accept and reject the dialog.
QDialogButtonBox* makeApplyButtons(QDialog& dialog);

} // namespace qorn::timetagger::gui
