// What can be read in a window, and whether all of it is there.
#pragma once

#include <QStringList>

class QWidget;

namespace qorn::testing {

// Controls whose text has less room than it needs, or that reach out of what is around them. What scrolls
// counts with its whole area; a label that tells its whole text in its tool tip may end early.
QStringList cutTexts(QWidget& window);

// Words that are shown, told in tool tips or to screen readers without the mark of a translation.
QStringList untranslatedTexts(QWidget& window);

} // namespace qorn::testing
