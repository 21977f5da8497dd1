// Takes away what the soak itself has no more use for, as it is the window's waits that are measured, and not
// those for the removal of large files.
#pragma once

#include <QString>

namespace qorn::soak {

// Another folder may be made in the place at once; the files go on a thread of the global pool.
void throwAway(const QString& folder);

} // namespace qorn::soak
