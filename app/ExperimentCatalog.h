// The measurement types that the application has: the one place to which a new type is added.
#pragma once

#include <QString>
#include <QStringList>

namespace qorn::timetagger::gui {

class ExperimentTab;

// A new tab without parent for an exact type name, for the caller to own; null for any other name.
ExperimentTab* createExperiment(const QString& type);

// The types that the operator may add, in the order in which they are offered.
QStringList offeredExperimentTypes();

} // namespace qorn::timetagger::gui
