// Says which driver it gets: a program that tests put beside libraries of their making.
#include "Driver.h"
#include "Error.h"

#include <cstdio>

int main() {
    using namespace qorn::timing;
    int result = 0;
    // Twice, for a failure is told at each call.
    for (int call = 0; call < 2; ++call) {
        try {
            std::printf("%s\n", driver().tt_status_string(0));
            std::printf("simulated %d\n", driver_is_simulated() ? 1 : 0);
        } catch (const Error& error) {
            std::printf("error %d: %s\n", error.status(), error.what());
            result = 1;
        }
    }
    std::printf("beside %s\n", simulator_path().c_str());
    return result;
}
