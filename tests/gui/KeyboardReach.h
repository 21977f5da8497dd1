// What can be done in a window without a mouse.
#pragma once

#include <QStringList>

class QWidget;

namespace qorn::testing {

// Controls in sight that the tab key never comes to, however often it is pressed.
QStringList outOfReach(QWidget& window);

// Letters that two entries of one menu, or two controls in sight of one window, both go by.
QStringList clashingMnemonics(QWidget& window);

// Buttons without a text that have no name for a screen reader either.
QStringList namelessButtons(QWidget& window);

// The buttons by which one and the same key is meant twice.
QStringList clashingKeys(QWidget& window);

} // namespace qorn::testing
