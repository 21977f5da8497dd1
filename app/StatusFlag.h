// The flags of the status bar: labels whose colour follows a state.
#pragma once

#include <QString>

class QLabel;

namespace qorn::timetagger::gui {

enum class FlagState { Muted, Active, Good, Warning, Bad };

// Name of the state in the style sheet's property "flagState".
QString flagStateName(FlagState state);

// Shows text and state; restyles the label only when the state differs. Nothing for a null label.
void setStatusFlag(QLabel* label, const QString& text, FlagState state);

} // namespace qorn::timetagger::gui
