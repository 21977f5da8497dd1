// The description of what the simulated instruments see and do: plain records, filled from the built-in scene
// or from a scene file and checked by the loader. Nothing here changes after loading. Times, rates and volts
// carry their unit.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace qorn::simulator {

// A clock that wanders: frequency * (1 + offset + drift * sin(2 pi t / drift period)).
struct ClockShape {
    double frequencyHz = 1e6;
    double offsetPpm = 0;
    double driftPpm = 0;
    double driftPeriodS = 60;
    double jitterPs = 0;
    double phasePs = 0;
};

struct PoissonSpec {
    int input = 0;
    double rateHz = 0;
};

struct PeriodicSpec {
    int input = 0;
    ClockShape clock;
};

struct PairsSpec {
    std::array<int, 2> inputs{0, 1};
    double rateHz = 0;  // pairs before the efficiencies
    double delayPs = 0; // of the second input
    double sigmaPs = 0; // of the difference
    std::array<double, 2> efficiencies{1, 1};
};

struct DecaySpec {
    int syncInput = 3;
    int input = 2;
    ClockShape clock;          // of the sync
    double probability = 0.05; // photons per sync
    double lifetimePs = 1000;
    double delayPs = 0;
    double sigmaPs = 0; // response of the detector
};

struct EmitterSpec {
    std::array<int, 2> inputs{0, 1};
    double rateHz = 0; // detected photons on both inputs
    double lifetimePs = 1000;
    double pumpRateHz = 1e8; // excitations per second in the ground state
    double sigmaPs = 0;
};

struct BurstsSpec {
    int input = 0;
    ClockShape clock; // of the bursts
    int pulses = 10;
    double spacingPs = 1e5;
};

struct SourceSpec {
    std::variant<PoissonSpec, PeriodicSpec, PairsSpec, DecaySpec, EmitterSpec, BurstsSpec> kind;
    double amplitudeV = 1;
};

// The reference input and what becomes of it.
struct ReferenceSpec {
    bool control = true; // false: the image has no clock control
    bool present = true;
    bool lockFault = false; // present, but nothing to lock to
    double lockDelayS = 0.4;
    std::optional<double> lostAfterS = std::nullopt; // since the unit was opened
    std::optional<double> backAfterS = std::nullopt; // since it was lost
};

// What one call of the interface does wrong, from its `at`-th use on.
struct CallFault {
    std::string call;
    std::uint64_t at = 1;
    std::uint64_t count = 1;  // 0: for ever
    std::int32_t status = -1; // 0: the call works, only late
    double delayS = 0;
};

struct FaultsSpec {
    std::optional<double> unplugAfterS = std::nullopt;        // since the first opening
    std::optional<std::uint64_t> unplugAtRead = std::nullopt; // reads of the stream, counted from 1
    std::optional<double> replugAfterS = std::nullopt;        // since the unplugging
    double lostBytesPerByte = 0;
    std::vector<std::uint64_t> lostBytesAt; // positions in the stream
    double garbageBytesPerByte = 0;
    bool startMidRecord = false;
    std::string uploadFails; // the text of the failure; empty: it works
    std::vector<CallFault> calls;
};

struct UnitSpec {
    std::string serial;
    std::uint64_t seed = 1;
    std::vector<SourceSpec> sources;
    double tdlJitterPs = 22; // of one delay line
    std::uint32_t startCoarse = 0;
    std::size_t bufferBytes = std::size_t{16} << 20;
    int repeatBlockMs = 0; // 0: the scene never repeats
    double syncMs = 10;
    std::uint32_t syncRecords = 4096;
    double fineSyncMs = 0; // delta32 and quanta below 8 ps; 0: one sync per input at the start
    bool syncMarker = true;
    double beaconMs = 1000;
    std::string truthFile;
    ReferenceSpec reference;
    FaultsSpec faults;
};

enum class Pace {
    RealTime, // instrument time follows the wall clock
    Unpaced,  // instrument time advances as far as a reader asks for data
};

struct Scene {
    Pace pace = Pace::RealTime;
    double durationS = 0; // of each measurement; 0: endless
    std::vector<UnitSpec> units;
};

} // namespace qorn::simulator
