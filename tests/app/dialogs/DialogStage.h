// What an operator reads on a dialog and does with it; shared by the tests of the settings dialogs.
#pragma once

#include <QComboBox>
#include <QDialog>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QGroupBox>
#include <QList>
#include <QString>
#include <QStringList>

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>

namespace qorn::testing {

inline QString text(const char* utf8) {
    return QString::fromUtf8(utf8);
}

// The control of that object name; a test fails without it.
template <typename Control>
Control& control(const QWidget& dialog, const QString& name) {
    auto* found = dialog.findChild<Control*>(name);
    if (found == nullptr) {
        throw std::runtime_error("the dialog has no " + name.toStdString());
    }
    return *found;
}
template <typename Control>
Control& control(const QWidget& dialog, const char* name) {
    return control<Control>(dialog, text(name));
}

// The label of the form row that holds the widget, without its mnemonic and a closing colon; empty when there
// is none.
QString rowLabelOf(const QWidget& dialog, const QWidget& field);

// The titles of all groups, in their order.
QStringList groupTitles(const QWidget& dialog);
QGroupBox& group(const QWidget& dialog, const char* title);

// Whether the widget or one inside it says so: as a label's text or as a tool tip.
bool tells(const QWidget& widget, const QString& what);
// Whether a label that is drawn muted says so.
bool tellsMuted(const QWidget& widget, const QString& what);

// The entries of a box, and the values behind them.
QStringList entriesOf(const QComboBox& box);
QList<int> valuesOf(const QComboBox& box);

struct Range {
    double least;
    double most;
    int decimals;
    double step;
    const char* suffix;
};
void expectRange(const QDoubleSpinBox& box, const Range& range);

// Clicks the button with that text (mnemonics do not count); a test fails without it.
void click(const QWidget& dialog, const char* buttonText);

// Shows the dialog, clicks and gives its result; it has to be closed by the click.
int resultOfClick(QDialog& dialog, const char* buttonText);

// Runs `work`, and meanwhile `answer` with each file dialog that opens. An answer has to close it.
void withFileDialog(const std::function<void(QFileDialog&)>& answer, const std::function<void()>& work);
void choose(QFileDialog& dialog, const QString& path);

} // namespace qorn::testing
