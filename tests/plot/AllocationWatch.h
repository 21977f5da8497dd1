// How much memory this process asks for while it lives, whoever asks: the program's allocation functions are
// watched, also those that Qt calls. One at a time.
#pragma once

#include <cstddef>

namespace plottest {

class AllocationWatch {
public:
    AllocationWatch();
    ~AllocationWatch();
    AllocationWatch(const AllocationWatch&) = delete;
    AllocationWatch& operator=(const AllocationWatch&) = delete;

    // Most bytes in use at one time beyond those at the beginning.
    std::size_t peakBytes() const;
    // The largest single request, also one that was not granted.
    std::size_t largestRequest() const;
};

} // namespace plottest
