// Plays a scene on an Instrument without a wall clock and collects what comes out of it; shared by the tests
// of the simulated instrument.
#pragma once

#include "Instrument.h"
#include "Pulse.h"
#include "Scene.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace qorn::simulator::test {

// A folder of its own, removed with everything in it at the end.
class TestFolder {
public:
    TestFolder();
    ~TestFolder();
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;

    std::filesystem::path path(const std::string& name) const { return folder / name; }

private:
    std::filesystem::path folder;
};

void writeFile(const std::filesystem::path& path, const std::string& text);
std::vector<Tag> readTruth(const std::filesystem::path& path);

// A scene of one unit: `sources` is the inside of the JSON array, `more` are further keys of the unit.
Scene unpacedScene(const std::string& sources, double durationS, const std::string& more = "");

std::string poisson(int input, double rateHz);

struct StreamSetup {
    StreamFormat format = StreamFormat::Packed;
    int deltaBits = 16;
    int quantumPs = 8;
    int mask = 15;
    bool external = true;
    double generatorHz = 0; // 0: left as it is
    int line = 0;
    std::size_t readBytes = 65536; // per read
};

struct StreamResult {
    std::vector<std::uint8_t> bytes;
    std::vector<Tag> truth;
};

// Starts the stream, reads it to its end and stops it.
std::vector<std::uint8_t> readAll(Instrument& instrument, const StreamSetup& setup);
void startStream(Instrument& instrument, const StreamSetup& setup);
void setThresholds(Instrument& instrument, double volts);

// The whole stream of a scene with a truth file, from a new instrument.
StreamResult runStream(const std::string& sources, double durationS, const StreamSetup& setup,
                       const std::string& more = "");

// Whether the command is refused, and with which status.
template <typename Command>
int refusedWith(Command command);

} // namespace qorn::simulator::test

#include "DeviceError.h"

template <typename Command>
int qorn::simulator::test::refusedWith(Command command) {
    try {
        command();
    } catch (const DeviceError& error) {
        return error.status;
    }
    return 0;
}
