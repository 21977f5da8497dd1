#include "SimulatedUnit.h"

#include <algorithm>
#include <cmath>
#include <fstream>

namespace qorn::testing {

SimulatedUnit::SimulatedUnit()
    : library(timing::load_driver(QORN_SIMULATOR)), before(timing::exchange_driver(&library)) {
    play(R"({"serial": "SIM00001"}, {"serial": "SIM00002"})");
    scene.set(folder.file("scene.json").c_str());
}

SimulatedUnit::~SimulatedUnit() {
    timing::exchange_driver(before);
}

void SimulatedUnit::play(const std::string& units) {
    std::ofstream(folder.path() / "scene.json") << R"({"pace": "unpaced", "units": [)" << units << "]}";
}

double SimulatedUnit::resolutionPs(int input, int line) const {
    double cubes = 0;
    for (const std::int64_t width : lines.tapWidthsPs(input, line)) {
        cubes += std::pow(static_cast<double>(width) / 3333.0, 3);
    }
    return 3333.0 / std::sqrt(12.0) * std::sqrt(cubes);
}

double SimulatedUnit::worstErrorPs(const timing::FineLut& table, int input, int line) const {
    const std::vector<std::int64_t> widths = lines.tapWidthsPs(input, line);
    double begin = 0;
    double worst = 0;
    for (std::size_t code = 0; code < widths.size(); ++code) {
        const auto width = static_cast<double>(widths[code]);
        if (width > 0) {
            const double middle = begin + width / 2;
            worst = std::max(worst, std::abs(static_cast<double>(table.entries.at(code)) - middle));
        }
        begin += width;
    }
    return worst;
}

} // namespace qorn::testing
