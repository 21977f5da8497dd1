// How an acquisition records its tags.
#pragma once

#include <QString>

namespace qorn::timetagger::gui {

struct UiTimeTagRecordingConfig {
    QString path;               // target file; blank means no recording
    int rotateSeconds = 0;      // start a new part after so many seconds; 0 or less never
    int maxDurationSeconds = 0; // end the recording after so many seconds; 0 or less never
};

} // namespace qorn::timetagger::gui
