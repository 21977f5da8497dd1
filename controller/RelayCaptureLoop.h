// The tag capture of a network relay: receives another host's tags, and carries them on as a local capture
// does.
#pragma once

#include "CaptureLoop.h"
#include "RelayEndpoint.h"

namespace qorn::timetagger::gui {

// Captures until `stop` is set or the stream fails. What is published again is complete; recording and GUI
// get the channels of the request's mask. On every path the last partly filled batch goes out and the
// recording is written out. `server` may be null. Throws std::runtime_error.
void relayCaptureLoop(const relay::RelayEndpoint& endpoint, const CaptureRequest& request,
                      relay::RelayServer* server, const std::atomic<bool>& stop, MeasurementEvents& events,
                      LoopClock& clock);

} // namespace qorn::timetagger::gui
