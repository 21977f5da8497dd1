#include "SceneLoader.h"

namespace qorn::simulator {

std::string_view builtInScene() {
    return R"json({
    "units": [
        {
            "serial": "SIM00001",
            "seed": 20240117,
            "sources": [
                // photon pairs on inputs 1 and 2, over uncorrelated singles
                {"kind": "pairs", "inputs": [1, 2], "rate_hz": 50000, "delay_ps": 12400, "sigma_ps": 120},
                {"kind": "poisson", "input": 1, "rate_hz": 100000},
                {"kind": "poisson", "input": 2, "rate_hz": 80000},
                // fluorescence on input 3 after the pulses of a laser, whose sync drives input 4
                {"kind": "decay", "sync_input": 4, "input": 3, "frequency_hz": 1e6, "probability": 0.06,
                 "lifetime_ps": 3200, "delay_ps": 8500, "sigma_ps": 60, "jitter_ps": 12,
                 "offset_ppm": 1.2, "drift_ppm": 3, "drift_period_s": 120},
                {"kind": "poisson", "input": 3, "rate_hz": 1500}
            ]
        },
        {
            "serial": "SIM00002",
            "seed": 20240118,
            "sources": [
                // a single-photon emitter behind a beam splitter
                {"kind": "emitter", "inputs": [1, 2], "rate_hz": 400000, "lifetime_ps": 6000,
                 "pump_rate_hz": 6e7, "sigma_ps": 80},
                {"kind": "poisson", "input": 1, "rate_hz": 2000},
                {"kind": "poisson", "input": 2, "rate_hz": 2000},
                // a clock that is divided from the 10 MHz reference
                {"kind": "periodic", "input": 3, "frequency_hz": 1e6, "jitter_ps": 8},
                {"kind": "bursts", "input": 4, "frequency_hz": 1000, "pulses": 40, "spacing_ps": 250000,
                 "jitter_ps": 50000}
            ],
            "reference": {"present": false}
        }
    ]
})json";
}

} // namespace qorn::simulator
