// Operates the controls of a measurement tab whatever they are, and tells apart the values in its settings.
#pragma once

#include "ExperimentTab.h"

#include <QJsonObject>
#include <QJsonValue>
#include <QList>
#include <QMap>
#include <QString>

#include <memory>
#include <string>

namespace qorn::testing {

// Every type that a configuration file may name.
inline constexpr const char* kTabTypes[] = {"Counter",           "Coincidence", "Correlation",
                                            "Multi correlation", "Frequency",   "Time tags"};

std::unique_ptr<timetagger::gui::ExperimentTab> makeTab(const QString& type);
std::unique_ptr<timetagger::gui::ExperimentTab> makeShownTab(const QString& type);

// All that holds a value which the operator can set, whatever its kind, in the order in which it was made,
// which is the same in every tab of a type.
QList<QWidget*> controlsOf(const timetagger::gui::ExperimentTab& tab);
// Gives a control another value than it has; a failure of the test when it is of a kind that is new here.
void changeControl(QWidget& control);
// What a control shows.
QString valueOf(const QWidget& control);
// What an operator calls it, for messages.
std::string nameOf(const QWidget& control);

// All that a configuration file holds of a tab: "config" and "sharedConfig".
QJsonObject settingsOf(const timetagger::gui::ExperimentTab& tab);
void loadSettings(timetagger::gui::ExperimentTab& tab, const QJsonObject& settings);
// Changes every control once, those last that only have an effect beside others.
void changeEveryControl(timetagger::gui::ExperimentTab& tab);

// All values that are no objects or arrays, by their path, such as "windows/3/a/centerNs".
QMap<QString, QJsonValue> leavesOf(const QJsonValue& value);
// The paths of all values, objects and arrays among them, but for the root.
QList<QString> placesIn(const QJsonValue& value);
// Undefined when there is none.
QJsonValue valueAt(const QJsonValue& value, const QString& place);
// The same value with another one at a place; an undefined one takes the place's key away.
QJsonValue withValueAt(const QJsonValue& root, const QString& place, const QJsonValue& value);

// The text of a value, for messages.
QString textOf(const QJsonObject& object);

} // namespace qorn::testing
