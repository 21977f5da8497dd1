// The simulated instrument as the driver in force, without wall clock and with a scene of the test's own, and
// the truth about its delay lines. Lives before and after every device that a test opens on it.
#pragma once

#include "DelayLines.h"
#include "Driver.h"
#include "Environment.h"
#include "FineLut.h"
#include "TemporaryFolder.h"

#include <string>

namespace qorn::testing {

class SimulatedUnit {
public:
    static constexpr const char* kPort = "ftdi://SIM00001";

    SimulatedUnit(); // sees nothing
    ~SimulatedUnit();
    SimulatedUnit(const SimulatedUnit&) = delete;
    SimulatedUnit& operator=(const SimulatedUnit&) = delete;

    // The JSON of the units from the next opening on.
    void play(const std::string& units);

    std::string file(const std::string& name) const { return folder.file(name); }

    // Of the unit at kPort, by input and line.
    std::vector<std::int64_t> tapWidthsPs(int input, int line) const {
        return lines.tapWidthsPs(input, line);
    }
    std::int64_t offsetPs(int input, int line) const { return lines.offsetPs(input, line); }
    // The resolution figure of a perfect calibration.
    double resolutionPs(int input, int line) const;
    // How far the worst entry is from the middle of its tap; entries that no pulse hits do not count.
    double worstErrorPs(const timing::FineLut& table, int input, int line) const;

private:
    TemporaryFolder folder;
    Environment scene{"QORN_SIMULATOR_SCENE"};
    const timing::DriverTable library;
    const timing::DriverTable* before;
    const simulator::DelayLines lines{"SIM00001"};
};

} // namespace qorn::testing
