// The measurement types that the application has: the one place to which a new type is added.
#pragma once

#include <QString>
#include <QStringList>

class QWidget;

namespace qorn::timetagger::gui {

class ExperimentTab;

// A new tab for an exact type name, for the caller to own where `parent` is null; null for any other name. A
// tab that is made in the place where it will stand is there several times sooner.
ExperimentTab* createExperiment(const QString& type, QWidget* parent = nullptr);

// Whether there is a type of exactly this name.
bool isExperimentType(const QString& type);

// The types that the operator may add, in the order in which they are offered.
QStringList offeredExperimentTypes();

} // namespace qorn::timetagger::gui
