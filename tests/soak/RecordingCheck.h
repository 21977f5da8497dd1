// Compares the parts of a recording with the tags that the simulated instrument says it sent. Any thread.
#pragma once

#include <QString>
#include <QStringList>

namespace qorn::soak {

struct CheckedRecording {
    quint64 tags = 0;      // in the recording
    bool compared = false; // with the truth: it was long enough to be found there
    QString problem;       // empty when every tag is there, in order
};

// `parts` in the order of the recording, `truth` the instrument's file of the stream that was recorded. The
// recording may begin a little later than the stream, until the decoder is in step, and may end earlier; in
// between no tag may be missing or differ. There must be a part, `recorded` tags in all of them, and each
// part must agree with its companion.
CheckedRecording checkRecording(const QStringList& parts, const QString& truth, quint64 recorded);

} // namespace qorn::soak
