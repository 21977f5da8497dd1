// Any text as a scene of the simulated instrument: refused with the line, or taken, and then played for a
// moment on all of its units, in every format.
#include "DeviceError.h"
#include "FuzzTarget.h"
#include "Instrument.h"
#include "SceneLoader.h"
#include "SceneNode.h"
#include "SourceLoad.h"

#include <set>
#include <string>
#include <vector>

namespace {

using namespace qorn::simulator;
using qorn::testing::require;

constexpr double kPlayedS = 0.002;
constexpr double kMostPlayedPulses = 20000; // more tell nothing new
constexpr std::size_t kReadBytes = 65536;

bool isShort(const UnitSpec& unit) {
    double pulses = 0;
    for (const SourceSpec& source : unit.sources) {
        const SourceLoad load = loadOf(source);
        require(load.pulsesPerSecond <= kMostPulsesPerSecond && load.heldPulses <= kMostHeldPulses,
                "a scene that is taken can be played");
        pulses += load.pulsesPerSecond * kPlayedS + load.heldPulses;
    }
    return pulses <= kMostPlayedPulses;
}

void play(const UnitSpec& unit, const Scene& scene, int format) {
    Instrument instrument(unit, scene);
    instrument.setStreamInterface(1, format);
    instrument.startStream(true, 0);
    std::vector<std::uint8_t> bytes(kReadBytes);
    std::size_t all = 0;
    try {
        for (;;) {
            const std::size_t count = instrument.readStream(bytes, std::chrono::milliseconds(0), [] {});
            require(count <= bytes.size(), "a read stays in its room");
            all += count;
            if (count == 0 || all > 64 * kReadBytes) {
                break;
            }
        }
        instrument.stopStream();
    } catch (const DeviceError& error) {
        require(*error.what() != '\0', "a failure has a text");
    }
}

void checkTaken(Scene scene) {
    require(scene.units.size() <= 8, "there are eight units at most");
    scene.pace = Pace::Unpaced;
    scene.durationS = kPlayedS;
    std::set<std::string> serials;
    for (UnitSpec& unit : scene.units) {
        require(unit.serial.starts_with("SIM") && serials.insert(unit.serial).second,
                "a unit has a serial of its own that tells what it is");
        unit.truthFile.clear();
        if (isShort(unit)) {
            for (int format = 0; format < 3; ++format) {
                play(unit, scene, format);
            }
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    try {
        checkTaken(loadScene({reinterpret_cast<const char*>(bytes), size}));
    } catch (const SceneError& refusal) {
        require(std::string_view(refusal.what()).starts_with("line "), "a refusal names the line");
    }
    return 0;
}
