// The question at exit whether to keep the experiments, and the operator's standing answer to it.
#pragma once

class QWidget;

namespace qorn::timetagger::gui {

// True when the experiments are to be saved. Asks, modal over `parent`, unless the operator has said not to
// be asked again; then the standing answer holds.
bool askToSaveExperiments(QWidget* parent);

// The answer where nobody can be asked: the standing one, or to save when there is none.
bool savesExperimentsUnasked();

} // namespace qorn::timetagger::gui
