// Says what became of the tags of a capture: a line for each stage that it had.
#pragma once

#include "UiTagFlow.h"

#include <QString>

namespace qorn::timetagger::gui {

QString tagFlowText(const UiTagFlow& flow);

} // namespace qorn::timetagger::gui
