// Export of a recording to a file of another form.
#pragma once

#include "CommandLine.h"
#include "RecordingParts.h"
#include "TagWriter.h"

#include <cstdint>

namespace qorn::qornts {

// Exports as the command says, with a bar and warnings on the standard error. Throws std::exception; nothing
// of the output is left then.
void exportRecording(const Command& command);

} // namespace qorn::qornts
