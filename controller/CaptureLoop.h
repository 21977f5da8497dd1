// The tag capture of a local instrument: arms the stream, and carries its tags to recording, relay and GUI.
#pragma once

#include "ClockWait.h"
#include "StreamFileHeader.h"
#include "UiTimeTagRecordingConfig.h"

#include <QString>
#include <QtGlobal>

namespace qorn::relay {
class RelayServer;
}

namespace qorn::timetagger::gui {

// The stream formats as the operator chooses them; the driver numbers them otherwise.
enum class StreamChoice { PackedDelta = 0, Delta32 = 1, Raw64 = 2 };

enum class StreamInterface { Usb = 0, UartService = 1 };

// How the instrument is asked to stream, beyond what a measurement decides.
struct StreamSettings {
    StreamChoice format = StreamChoice::PackedDelta;
    StreamInterface interface = StreamInterface::Usb;
    bool uartArmed = false;
    quint8 packedDeltaBits = 16;
    quint16 packedQuantumPs = 8;
    quint8 streamTdlIndex = 0;
};

// Who made a recording, for its header.
struct SourceDescription {
    std::string application;
    std::string product;
    std::string serial;
    std::string port;

    void describeIn(timing::StreamFileHeader& header) const;
};

// The bound of the reader's queue: so many batches, but so many tags at least.
struct QueueRule {
    std::size_t batches;
    std::size_t least;
};

struct CaptureRequest {
    QString mode; // "internal", anything else is external
    double internalRateHz = 0.0;
    int batchSize = 65536;
    quint8 channelMask = 15;    // 0 is all
    int maxUiTagsPerSecond = 0; // 0 or less: no limit
    UiTimeTagRecordingConfig recording;
    ClockRequest clock;
    StreamSettings stream;
    SourceDescription source;
    QueueRule queue{16, 131072};            // without a recording
    QueueRule recordingQueue{128, 8388608}; // a disk may lag for longer than a window

    quint8 channels() const { return channelMask == 0 ? quint8{15} : channelMask; }
};

// Captures until `stop` is set. `relay` may be null. Throws timing::Error or std::runtime_error; on every
// path the reader is stopped first, then the stream, then the recording is written out. What was received by
// then reaches the recording, unless its duration is over, and those who follow while it does, but not the
// window; the last report of the tags' flow comes behind that.
void captureLoop(timing::Device& device, const CaptureRequest& request, relay::RelayServer* relay,
                 const std::atomic<bool>& stop, MeasurementEvents& events, LoopClock& clock);

} // namespace qorn::timetagger::gui
