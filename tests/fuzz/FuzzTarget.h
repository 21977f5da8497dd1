// What a fuzz target is made of: the entry point that libFuzzer or the replay program calls with some bytes,
// and what it calls when a promise is broken.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

// Returns 0; a broken promise ends the process.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

namespace qorn::testing {

inline void require(bool kept, const char* promise) {
    if (kept)
        return;
    std::fprintf(stderr, "broken: %s\n", promise);
    std::abort();
}

} // namespace qorn::testing
