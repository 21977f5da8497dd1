// What a tab wants the one acquisition to do when it starts it. The defaults are those of a tab that says
// nothing.
#pragma once

#include "UiCoincidenceConfig.h"

#include <QString>
#include <QtGlobal>

#include <optional>

namespace qorn::timetagger::gui {

struct AcquisitionRequest {
    enum class Kind { TagStream, HardwareCounter, HardwareCoincidence };

    Kind kind = Kind::TagStream;
    // Status text, untranslated; %1 is the transport and %2 the signal mode, in hardware kinds %1 the mode.
    const char* detailText = QT_TRANSLATE_NOOP("Acquisition", "streaming (%1, %2)");

    // Tag stream.
    int batchSize = 4096;
    quint8 channelMask = 15;
    int maxUiTagsPerSecond = 200000;
    std::optional<double> fixedRateHz = 100000.0; // in place of the operator's internal rate

    // Hardware counter.
    double gateSeconds = 0.1;
    // Hardware coincidence.
    UiCoincidenceConfig coincidence;
};

} // namespace qorn::timetagger::gui
