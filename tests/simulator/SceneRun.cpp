#include "SceneRun.h"

#include "SceneLoader.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace qorn::simulator::test {

TestFolder::TestFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "qorn-simulator-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("cannot make " + name);
    }
    folder = name;
}

TestFolder::~TestFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

void writeFile(const std::filesystem::path& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

std::vector<Tag> readTruth(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    const auto number = [&](std::size_t at) {
        std::uint64_t value = 0;
        for (std::size_t i = 8; i-- > 0;) {
            value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
        }
        return value;
    };
    std::vector<Tag> tags;
    for (std::size_t at = 0; at + 16 <= bytes.size(); at += 16) {
        tags.push_back({static_cast<std::int64_t>(number(at + 8)), static_cast<std::uint8_t>(number(at))});
    }
    return tags;
}

Scene unpacedScene(const std::string& sources, double durationS, const std::string& more) {
    return loadScene(R"({"pace": "unpaced", "duration_s": )" + std::to_string(durationS) +
                     R"(, "units": [{"sources": [)" + sources + "]" + (more.empty() ? "" : ", " + more) +
                     "}]}");
}

std::string poisson(int input, double rateHz) {
    return R"({"kind": "poisson", "input": )" + std::to_string(input) + R"(, "rate_hz": )" +
           std::to_string(rateHz) + "}";
}

void setThresholds(Instrument& instrument, double volts) {
    const auto code =
        static_cast<std::uint16_t>(static_cast<int>(std::trunc(volts * 0.25 * 65535 + 0.5)) + 32768);
    instrument.setDacCodes(std::array<std::uint16_t, kInputs>{code, code, code, code});
}

void startStream(Instrument& instrument, const StreamSetup& setup) {
    instrument.setStreamInterface(1, static_cast<int>(setup.format));
    instrument.setPackedConfig(
        {static_cast<std::uint8_t>(setup.deltaBits), static_cast<std::uint16_t>(setup.quantumPs)});
    instrument.setStreamMask(static_cast<std::uint8_t>(setup.mask));
    if (setup.generatorHz > 0) {
        instrument.setGeneratorFrequency(setup.generatorHz);
    }
    instrument.connectGenerator(!setup.external && setup.format == StreamFormat::Raw64);
    instrument.startStream(setup.external, static_cast<std::uint8_t>(setup.line));
}

std::vector<std::uint8_t> readAll(Instrument& instrument, const StreamSetup& setup) {
    startStream(instrument, setup);
    std::vector<std::uint8_t> all;
    std::vector<std::uint8_t> piece(setup.readBytes);
    while (const std::size_t count = instrument.readStream(piece, std::chrono::milliseconds(0), [] {})) {
        all.insert(all.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(count));
    }
    instrument.stopStream();
    return all;
}

StreamResult runStream(const std::string& sources, double durationS, const StreamSetup& setup,
                       const std::string& more) {
    const TestFolder folder;
    const std::filesystem::path truth = folder.path("truth.bin");
    const Scene scene = unpacedScene(
        sources, durationS, R"("truth_file": ")" + truth.string() + "\"" + (more.empty() ? "" : ", ") + more);
    Instrument instrument(scene.units.front(), scene);
    StreamResult result;
    result.bytes = readAll(instrument, setup);
    result.truth = readTruth(truth);
    return result;
}

} // namespace qorn::simulator::test
