#include "Instrument.h"

#include "DeviceError.h"
#include "InternalGenerator.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace qorn::simulator {

namespace {

using std::chrono::steady_clock;

constexpr double kPowerUpFrequencyHz = 100000;
constexpr std::uint8_t kAllInputs = (1 << kInputs) - 1;

// How long bytes are gathered before a read returns with fewer than it asked for.
constexpr std::chrono::milliseconds kLatency{4};
// How often a wait looks whether the unit is still there.
constexpr std::chrono::milliseconds kLook{10};

void requireFrequency(double frequencyHz) {
    if (!std::isfinite(frequencyHz) || frequencyHz <= 0) {
        throw DeviceError(TT_REJECTED, "the generator's frequency must be above 0 Hz");
    }
}

void requireLine(std::uint8_t line) {
    if (line >= kDelayLines) {
        throw DeviceError(TT_REJECTED, "there is no delay line " + std::to_string(line));
    }
}

} // namespace

Instrument::Instrument(const UnitSpec& unit, const Scene& played)
    : spec(unit), pace(played.pace), durationS(played.durationS), lines(unit.serial),
      clock(unit.reference, steady_clock::now()),
      generatorDivider(InternalGenerator::dividerFor(kPowerUpFrequencyHz)),
      testSignalDivider(generatorDivider), scene(unit.sources, unit.seed, unit.repeatBlockMs) {}

void Instrument::setDacCodes(std::span<const std::uint16_t, kInputs> codes) {
    const Lock lock(mutex);
    std::transform(codes.begin(), codes.end(), inputs.thresholdsV.begin(), thresholdVolts);
    settingsChanged();
}

std::array<std::int64_t, kInputs>
Instrument::setDeadTimes(std::span<const std::int64_t, kInputs> requestedPs) {
    constexpr std::int64_t kLongestPs = kPsPerSecond;
    const Lock lock(mutex);
    for (const std::int64_t ps : requestedPs) {
        if (ps < 0 || ps > kLongestPs) {
            throw DeviceError(TT_REJECTED, "a dead time must be from 0 to 1 s");
        }
    }
    std::transform(requestedPs.begin(), requestedPs.end(), inputs.deadTimesPs.begin(),
                   [](std::int64_t ps) { return cyclesToPs(cyclesCovering(ps)); });
    settingsChanged();
    return inputs.deadTimesPs;
}

void Instrument::setTdlMasks(std::span<const std::uint8_t, kInputs> masks) {
    const Lock lock(mutex);
    std::copy(masks.begin(), masks.end(), inputs.tdlMasks.begin());
    settingsChanged();
}

ClockState Instrument::setReferenceClock(int source, int signal) {
    const Lock lock(mutex);
    if (!spec.reference.control) {
        throw DeviceError(TT_NOT_SUPPORTED, "this image has no clock control");
    }
    if (source < 0 || source > 2 || signal < 0 || signal > 1) {
        throw DeviceError(TT_REJECTED, "there is no such clock source or signal");
    }
    clock.select(static_cast<ClockSource>(source), signal, steady_clock::now());
    return clock.state(steady_clock::now());
}

ClockState Instrument::referenceClock() {
    const Lock lock(mutex);
    if (!spec.reference.control) {
        throw DeviceError(TT_NOT_SUPPORTED, "this image has no clock control");
    }
    return clock.state(steady_clock::now());
}

std::uint32_t Instrument::setPeriodCycles(std::uint32_t cycles) {
    const Lock lock(mutex);
    coincidence.periodCycles = std::max(cycles, 1u);
    return coincidence.periodCycles;
}

std::uint32_t Instrument::setWindowCycles(std::uint32_t cycles) {
    const Lock lock(mutex);
    coincidence.windowCycles = std::max(cycles, 1u);
    return coincidence.windowCycles;
}

void Instrument::setCoincidenceMask(std::uint8_t mask) {
    const Lock lock(mutex);
    coincidence.mask = mask & kAllInputs;
}

void Instrument::setCoincidenceOffset(int input, int offsetPs) {
    const Lock lock(mutex);
    if (input < 0 || input >= kInputs) {
        throw DeviceError(TT_REJECTED, "there is no input " + std::to_string(input));
    }
    // the delay is a number of cycles
    const double cycles = std::round(offsetPs * 3e-4);
    coincidence.offsetsPs[static_cast<std::size_t>(input)] = std::llround(cycles / 3e-4);
}

void Instrument::startCounting() {
    const Lock lock(mutex);
    requireIdle();
    PulseGenerator& pulses = pulsesFor(testSignalArmed, testSignalDivider);
    frames.emplace(pulses, InputStage(Timing::None, 0, 0, 0, nextSeed()), makePacer(),
                   coincidence.periodCycles);
    frames->apply(inputs, lines);
}

void Instrument::stopCounting() {
    const Lock lock(mutex);
    frames.reset();
    woken.notify_all();
}

std::optional<Instrument::Frame> Instrument::readFrame(Milliseconds timeout, const StillThere& stillThere) {
    Lock lock(mutex);
    const Time deadline = steady_clock::now() + timeout;
    for (;;) {
        if (!frames) {
            throw DeviceError(TT_FAILED, "no count stream is running");
        }
        const Time now = steady_clock::now();
        frames->advance(now);
        if (const auto counts = frames->take()) {
            return Frame{*counts, frames->periodCycles()};
        }
        if (frames->mustGoOn()) {
            stillThere();
            continue;
        }
        if (now >= deadline) {
            return std::nullopt;
        }
        wait(lock, std::min(deadline, frames->nextFrameAt()), stillThere);
    }
}

std::optional<Instrument::Gate> Instrument::runCoincidence(Milliseconds timeout,
                                                           const StillThere& stillThere) {
    Lock lock(mutex);
    requireIdle();
    const CoincidenceSettings settings = coincidence;
    PulseGenerator& pulses = pulsesFor(testSignalArmed, testSignalDivider);
    InputStage stage(Timing::None, -pulses.positionPs(), 0, 0, nextSeed());
    stage.apply(inputs, lines);
    CoincidenceGate gate(pulses, std::move(stage), settings);
    const Pacer pacer = makePacer();
    const Time deadline = steady_clock::now() + timeout;
    while (!gate.done()) {
        const Time now = steady_clock::now();
        if (pacer.reachedPs(now) >= gate.nextSliceEndPs()) {
            gate.makeSlice();
        } else if (now < deadline) {
            wait(lock, std::min(deadline, pacer.reachedAt(gate.nextSliceEndPs())), stillThere);
        } else {
            return std::nullopt;
        }
    }
    return Gate{gate.result(), settings.periodCycles, settings.windowCycles};
}

std::uint32_t Instrument::setGeneratorFrequency(double frequencyHz) {
    requireFrequency(frequencyHz);
    const Lock lock(mutex);
    generatorDivider = InternalGenerator::dividerFor(frequencyHz);
    return generatorDivider;
}

void Instrument::connectGenerator(bool connected) {
    const Lock lock(mutex);
    generatorConnected = connected;
}

double Instrument::setTestSignal(bool armed, double frequencyHz) {
    requireFrequency(frequencyHz);
    const Lock lock(mutex);
    testSignalArmed = armed;
    testSignalDivider = InternalGenerator::dividerFor(frequencyHz);
    return InternalGenerator::frequencyOf(testSignalDivider);
}

void Instrument::setStreamInterface(int transport, int wanted) {
    if (transport < 0 || transport > 2 || wanted < 0 || wanted > 2) {
        throw DeviceError(TT_REJECTED, "there is no such transport or stream format");
    }
    const Lock lock(mutex);
    format = static_cast<StreamFormat>(wanted);
}

void Instrument::setStreamMask(std::uint8_t mask) {
    const Lock lock(mutex);
    streamMask = (mask & kAllInputs) == 0 ? kAllInputs : mask & kAllInputs;
}

Instrument::PackedConfig Instrument::setPackedConfig(PackedConfig wanted) {
    constexpr std::uint8_t kMostBits = 31;
    const Lock lock(mutex);
    const PackedConfig defaults;
    packed.deltaBits = wanted.deltaBits == 0 ? defaults.deltaBits : std::min(wanted.deltaBits, kMostBits);
    packed.quantumPs = wanted.quantumPs == 0 ? defaults.quantumPs : std::bit_floor(wanted.quantumPs);
    return packed;
}

void Instrument::startStream(bool external, std::uint8_t line) {
    requireLine(line);
    const Lock lock(mutex);
    requireIdle();
    // all formats but raw64 arm the generator with the stream
    const bool armed = !external && format != StreamFormat::Raw64;
    const bool fromGenerator = armed || generatorConnected || testSignalArmed;
    const bool rawCodes = !external && format == StreamFormat::Raw64;
    EncoderSettings settings;
    settings.format = format;
    settings.internal = !external;
    settings.mask = streamMask;
    settings.deltaBits = packed.deltaBits;
    settings.quantumPs = packed.quantumPs;
    settings.syncPs = std::llround(spec.syncMs * 1e9);
    settings.fineSyncPs = std::llround(spec.fineSyncMs * 1e9);
    settings.syncRecords = spec.syncRecords;
    settings.marker = spec.syncMarker;
    settings.beaconPs = std::llround(spec.beaconMs * 1e9);
    if (!external && !fromGenerator) {
        generator.emplace(nullptr);
    }
    const std::uint32_t divider = armed || generatorConnected ? generatorDivider : testSignalDivider;
    PulseGenerator& pulses = external || fromGenerator ? pulsesFor(fromGenerator, divider) : *generator;
    const std::int64_t offset = spec.startCoarse * kTickPs - pulses.positionPs();
    const Timing timing = rawCodes ? Timing::SingleLine : Timing::Calibrated;
    beginStream(TagFeed(pulses, InputStage(timing, offset, spec.tdlJitterPs, line, nextSeed()), streamMask),
                rawCodes ? makeRawCodeEncoder(lines, line) : makeEncoder(settings));
}

void Instrument::startCalibrationStream(std::uint8_t line, std::uint32_t sweepSteps,
                                        std::uint32_t sweepPeriods) {
    requireLine(line);
    const Lock lock(mutex);
    requireIdle();
    const std::uint64_t seed = nextSeed();
    auto source = std::make_unique<InternalGenerator>(generatorDivider, 0, seed);
    // The first stream of a line begins in step with the coarse clock, so that lines can be compared, those
    // after it anywhere, so that a sweep sees all fine codes.
    if (line == calibratedLine) {
        source->beginAnywhere();
    }
    calibratedLine = line;
    source->sweep(sweepSteps, sweepPeriods);
    generator.emplace(std::move(source));
    const std::int64_t offset = spec.startCoarse * kTickPs;
    InputStage stage(Timing::SingleLine, offset, spec.tdlJitterPs, line, Random::derive(seed, "inputs"));
    beginStream(TagFeed(*generator, std::move(stage), streamMask), makeRawCodeEncoder(lines, line));
}

void Instrument::stopStream() {
    const Lock lock(mutex);
    stream.reset();
    woken.notify_all();
}

std::size_t Instrument::readStream(std::span<std::uint8_t> out, Milliseconds timeout,
                                   const StillThere& stillThere) {
    Lock lock(mutex);
    const Time deadline = steady_clock::now() + timeout;
    for (;;) {
        if (!stream) {
            throw DeviceError(TT_FAILED, "no tag stream is running");
        }
        const Time now = steady_clock::now();
        stream->advance(now, out.size());
        const std::size_t held = stream->heldBytes();
        const bool gathered = held >= out.size() || stream->unpaced() || now - stream->lastReturn >= kLatency;
        if (held < out.size() && stream->mustGoOn()) {
            stillThere();
            continue;
        }
        if (now >= deadline || (held > 0 && gathered)) {
            stream->lastReturn = now;
            return stream->take(out);
        }
        const Time more = held > 0 ? stream->lastReturn + kLatency : stream->nextDataAt();
        wait(lock, std::min(deadline, more), stillThere);
    }
}

std::uint64_t Instrument::lostTags() {
    const Lock lock(mutex);
    return stream ? stream->lostTags() : 0;
}

void Instrument::requireIdle() const {
    if (stream) {
        throw DeviceError(TT_REJECTED, "a tag stream is running");
    }
    if (frames) {
        throw DeviceError(TT_REJECTED, "a count stream is running");
    }
}

void Instrument::settingsChanged() {
    if (stream) {
        stream->apply(inputs, lines);
    }
    if (frames) {
        frames->apply(inputs, lines);
    }
}

Pacer Instrument::makePacer() const {
    return Pacer(pace, durationS, steady_clock::now());
}

std::uint64_t Instrument::nextSeed() {
    return Random::derive(Random::derive(spec.seed, "measurement"), measurements++);
}

PulseGenerator& Instrument::pulsesFor(bool fromGenerator, std::uint32_t divider) {
    if (!fromGenerator) {
        return scene;
    }
    const std::uint64_t seed = Random::derive(Random::derive(spec.seed, "generator"), measurements);
    return generator.emplace(std::make_unique<InternalGenerator>(divider, 0, seed));
}

void Instrument::beginStream(TagFeed feed, std::unique_ptr<StreamEncoder> encoder) {
    const std::uint64_t seed = Random::derive(Random::derive(spec.seed, "faults"), measurements);
    try {
        stream.emplace(TagStream::Parts{std::move(feed), std::move(encoder), makePacer()}, spec, seed);
    } catch (const std::runtime_error& error) {
        throw DeviceError(TT_FILE_ERROR, error.what());
    }
    stream->apply(inputs, lines);
}

void Instrument::wait(Lock& lock, Time until, const StillThere& stillThere) {
    woken.wait_until(lock, std::min(until, steady_clock::now() + kLook));
    stillThere();
}

} // namespace qorn::simulator
