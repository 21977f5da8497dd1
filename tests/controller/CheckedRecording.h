// A recording as it stands on the disk, compared with its companions and with the counts of its capture.
#pragma once

#include "LoopTestSupport.h"
#include "UiTagFlow.h"

#include <QString>

#include <string>
#include <vector>

namespace qorn::timetagger::gui::test {

// The files of a recording that begins with this one, in order.
std::vector<QString> partsOf(const QString& path);
// The files and their companions.
void removeRecording(const QString& path);

// How the capture went.
struct CaptureEnd {
    UiTagFlow flow;      // its last
    std::string failure; // text
    bool hasMaximum;     // a duration behind which nothing is recorded
    Tags tags;           // all that the reader decoded, with the times of the file
};

// All tags of all parts, in order. Expects that each part agrees with its companion, that the companions tell
// the capture's losses, all of them and where they were, and why the parts ended.
Tags checkedRecording(const QString& path, const CaptureEnd& end);

} // namespace qorn::timetagger::gui::test
