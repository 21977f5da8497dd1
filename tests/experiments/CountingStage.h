// What the tests of the Counter and the Coincidence tab share: controls by their object names, what stands
// beside them, and the rows that a tab writes into its log.
#pragma once

#include "BarChartWidget.h"
#include "ExperimentTab.h"
#include "MeasurementLogReader.h"
#include "QtPrinting.h"
#include "ShownPlot.h"
#include "TabControls.h"
#include "TemporaryFolder.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QSplitter>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace qorn::testing {

inline constexpr qint64 kSecondPs = 1'000'000'000'000;

using LogRow = std::vector<std::string>;
using LogRows = std::vector<LogRow>;

// The control of that type and object name.
template <typename Control>
Control& control(const QWidget& tab, const QString& name) {
    auto* found = tab.findChild<Control*>(name);
    if (found == nullptr) {
        throw std::runtime_error("no such control: " + name.toStdString());
    }
    return *found;
}

// A tab on the screen, and its controls by their names. An array's name has a number from 1 behind it.
template <typename Tab>
class CountingStage {
public:
    CountingStage() {
        tab.resize(1300, 1000);
        tab.show();
    }

    QDoubleSpinBox& number(const char* name, int place = 0) const { return get<QDoubleSpinBox>(name, place); }
    QSpinBox& integer(const char* name) const { return get<QSpinBox>(name, 0); }
    QComboBox& choice(const char* name) const { return get<QComboBox>(name, 0); }
    QCheckBox& box(const char* name, int place = 0) const { return get<QCheckBox>(name, place); }
    QPushButton& button(const char* name) const { return get<QPushButton>(name, 0); }
    timetagger::gui::BarChartWidget& plot(const char* name) const {
        return get<timetagger::gui::BarChartWidget>(name, 0);
    }
    QString status() const { return get<QLabel>("status", 0).text(); }
    void choose(const char* name, const char* text) const {
        const int index = choice(name).findText(QString::fromUtf8(text));
        ASSERT_GE(index, 0) << name << " has no " << text;
        choice(name).setCurrentIndex(index);
    }

    void startLog() { ASSERT_TRUE(tab.startLogInDirectory(QString::fromStdString(logs.path().string()))); }
    // Ends the log and gives its rows.
    LogRows loggedRows() {
        const std::string path = tab.currentLogPath().toStdString();
        tab.stopLog();
        return readLog(path).rows();
    }

    TemporaryFolder logs;
    Tab tab;

private:
    template <typename Control>
    Control& get(const char* name, int place) const {
        const QString text = QString::fromUtf8(name);
        return control<Control>(tab, place == 0 ? text : text + QString::number(place));
    }
};

// The text beside a field; empty when there is none.
inline QString labelOf(const QWidget& tab, QWidget& field) {
    for (QFormLayout* form : tab.findChildren<QFormLayout*>()) {
        if (const auto* label = qobject_cast<QLabel*>(form->labelForField(&field))) {
            return label->text();
        }
    }
    for (const QLabel* label : tab.findChildren<QLabel*>()) {
        if (label->buddy() == &field) {
            return label->text();
        }
    }
    return {};
}

inline QStringList itemsOf(const QComboBox& combo) {
    QStringList items;
    for (int index = 0; index < combo.count(); ++index) {
        items.append(combo.itemText(index));
    }
    return items;
}

// What a spin box must be like.
struct SpinRow {
    const char* name;
    int place; // in its array, 0 without
    const char* group;
    const char* label;
    double minimum;
    double maximum;
    int decimals;
    double step; // 0: not said
    const char* suffix;
    double value;
    const char* toolTip; // null: not said
};

inline void expectSpinBox(const QWidget& tab, const SpinRow& row) {
    QString name = QString::fromUtf8(row.name);
    if (row.place > 0) {
        name += QString::number(row.place);
    }
    SCOPED_TRACE(name.toStdString());
    auto& spin = control<QDoubleSpinBox>(tab, name);
    EXPECT_EQ(spin.minimum(), row.minimum);
    EXPECT_EQ(spin.maximum(), row.maximum);
    EXPECT_EQ(spin.decimals(), row.decimals);
    if (row.step > 0) {
        EXPECT_EQ(spin.singleStep(), row.step);
    }
    EXPECT_EQ(spin.suffix(), QString::fromUtf8(row.suffix));
    EXPECT_DOUBLE_EQ(spin.value(), row.value);
    if (row.toolTip != nullptr) {
        EXPECT_EQ(spin.toolTip(), QString::fromUtf8(row.toolTip));
    }
    if (row.group != nullptr) {
        EXPECT_EQ(groupTitleOf(&spin), QString::fromUtf8(row.group));
    }
    if (row.label != nullptr) {
        EXPECT_EQ(labelOf(tab, spin), QString::fromUtf8(row.label));
    }
}

// The innermost splitter around a widget whose orientation is this; null when there is none.
inline QSplitter* splitterAround(const QWidget* widget, Qt::Orientation orientation) {
    for (widget = widget->parentWidget(); widget != nullptr; widget = widget->parentWidget()) {
        auto* splitter = qobject_cast<QSplitter*>(const_cast<QWidget*>(widget));
        if (splitter != nullptr && splitter->orientation() == orientation) {
            return splitter;
        }
    }
    return nullptr;
}

} // namespace qorn::testing
