// One open simulated unit: its settings and what it measures at the moment. Owned by the driver handle. One
// thread at a time gives commands, another may wait in readStream(); a mutex guards everything. What a
// command refuses is thrown as DeviceError. Nothing is measured, and the scene stands still, unless something
// runs.
#pragma once

#include "CoincidenceGate.h"
#include "CountFrames.h"
#include "DelayLines.h"
#include "InputStage.h"
#include "PulseGenerator.h"
#include "ReferenceLock.h"
#include "Scene.h"
#include "TagStream.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>

namespace qorn::simulator {

class Instrument {
public:
    using Milliseconds = std::chrono::milliseconds;
    // Asked now and then during a wait; throws DeviceError when the unit has gone.
    using StillThere = std::function<void()>;

    // `played` gives the pace and the duration of measurements; its units are not read.
    Instrument(const UnitSpec& unit, const Scene& played);

    // Inputs
    void setDacCodes(std::span<const std::uint16_t, kInputs> codes);
    std::array<std::int64_t, kInputs> setDeadTimes(std::span<const std::int64_t, kInputs> requestedPs);
    void setTdlMasks(std::span<const std::uint8_t, kInputs> masks);

    // Timebase
    ClockState setReferenceClock(int source, int signal);
    ClockState referenceClock();

    // Counting. Each of the two reads waits for its result; false: not within the time-out.
    std::uint32_t setPeriodCycles(std::uint32_t cycles);
    std::uint32_t setWindowCycles(std::uint32_t cycles);
    void startCounting();
    void stopCounting();
    struct Frame {
        Counts counts{};
        std::uint32_t periodCycles = 0;
    };
    std::optional<Frame> readFrame(Milliseconds timeout, const StillThere& stillThere);
    void setCoincidenceMask(std::uint8_t mask);
    void setCoincidenceOffset(int input, int offsetPs);
    struct Gate {
        CoincidenceCounts counts;
        std::uint32_t periodCycles = 0;
        std::uint32_t windowCycles = 0;
    };
    std::optional<Gate> runCoincidence(Milliseconds timeout, const StillThere& stillThere);

    // The internal generator
    std::uint32_t setGeneratorFrequency(double frequencyHz); // returns the divider
    void connectGenerator(bool connected);
    double setTestSignal(bool armed, double frequencyHz); // returns the frequency that comes out

    // Tag streams
    void setStreamInterface(int transport, int format);
    void setStreamMask(std::uint8_t mask);
    struct PackedConfig {
        std::uint8_t deltaBits = 16;
        std::uint16_t quantumPs = 8;
    };
    PackedConfig setPackedConfig(PackedConfig wanted); // returns what the unit can do
    void startStream(bool external, std::uint8_t line);
    void startCalibrationStream(std::uint8_t line, std::uint32_t sweepSteps, std::uint32_t sweepPeriods);
    void stopStream();
    // Returns how many bytes came, 0 when none came within the time-out.
    std::size_t readStream(std::span<std::uint8_t> out, Milliseconds timeout, const StillThere& stillThere);
    std::uint64_t lostTags(); // by the running stream's own buffer

    void uploadCalibration(const std::filesystem::path& path);

private:
    using Time = std::chrono::steady_clock::time_point;
    using Lock = std::unique_lock<std::mutex>;

    void requireIdle() const;
    void settingsChanged();
    Pacer makePacer() const;
    std::uint64_t nextSeed();
    PulseGenerator& pulsesFor(bool fromGenerator, std::uint32_t divider);
    void beginStream(TagFeed feed, std::unique_ptr<StreamEncoder> encoder);
    void wait(Lock& lock, Time until, const StillThere& stillThere);

    const UnitSpec spec;
    const Pace pace;
    const double durationS;

    std::mutex mutex; // guards everything below
    std::condition_variable woken;

    InputSettings inputs;
    DelayLines lines;
    ReferenceLock clock;
    CoincidenceSettings coincidence; // whose period the counter uses too
    StreamFormat format = StreamFormat::Packed;
    PackedConfig packed;
    std::uint8_t streamMask = 15;
    std::uint32_t generatorDivider;
    bool generatorConnected = false;
    bool testSignalArmed = false;
    std::uint32_t testSignalDivider;

    PulseGenerator scene;
    std::optional<PulseGenerator> generator; // while a measurement takes its pulses from there
    std::uint64_t measurements = 0;
    std::uint8_t calibratedLine = 0xFF; // of the last calibration stream; none yet
    std::optional<TagStream> stream;
    std::optional<CountFrames> frames;
};

} // namespace qorn::simulator
