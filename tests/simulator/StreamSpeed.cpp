// Measures how much of a core the simulated instrument takes for its tag streams: tags per second of
// processor time, for a scene that repeats a prepared block and for one that makes every pulse anew.
#include "Instrument.h"
#include "ProcessorTime.h"
#include "SceneLoader.h"

#include <cstdio>
#include <string>
#include <vector>

namespace {

using namespace qorn::simulator;

struct Case {
    const char* name;
    double rateHz; // of each input
    int repeatBlockMs;
    int format;
};

void measure(const Case& what) {
    constexpr double kSeconds = 2;
    std::string sources;
    for (int input = 1; input <= 4; ++input) {
        sources += std::string(input > 1 ? "," : "") + R"({"kind": "poisson", "input": )" +
                   std::to_string(input) + R"(, "rate_hz": )" + std::to_string(what.rateHz) + "}";
    }
    const Scene scene = loadScene(R"({"pace": "unpaced", "duration_s": )" + std::to_string(kSeconds) +
                                  R"(, "units": [{"repeat_block_ms": )" + std::to_string(what.repeatBlockMs) +
                                  R"(, "sources": [)" + sources + "]}]}");
    Instrument instrument(scene.units.front(), scene);
    instrument.setStreamInterface(1, what.format);
    instrument.startStream(true, 0);
    std::vector<std::uint8_t> bytes(std::size_t{1} << 20);
    std::size_t total = 0;
    const double before = qorn::testing::threadSeconds();
    while (const std::size_t count = instrument.readStream(bytes, std::chrono::milliseconds(0), [] {})) {
        total += count;
    }
    const double took = qorn::testing::threadSeconds() - before;
    std::printf("%-28s %6.1f million tags/s of a core, %5.0f MB/s\n", what.name,
                4 * what.rateHz * kSeconds / took * 1e-6, static_cast<double>(total) / took * 1e-6);
}

} // namespace

int main() {
    for (const Case& what : {Case{"packed, repeated 20 ms", 1e7, 20, 2}, Case{"packed, Poisson", 4e6, 0, 2},
                             Case{"raw64, Poisson", 4e6, 0, 0}, Case{"delta32, Poisson", 4e6, 0, 1}}) {
        measure(what);
    }
}
