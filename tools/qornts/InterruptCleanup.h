// While it lives, a signal that ends the program removes a file first. One at a time, since signals belong to
// the whole program.
#pragma once

#include <functional>
#include <string>

namespace qorn::qornts {

class InterruptCleanup {
public:
    // Calls `create`, which makes the file; an interrupt meanwhile waits until it can be removed. What
    // `create` throws is passed on, and then nothing is removed.
    InterruptCleanup(const std::string& path, const std::function<void()>& create);
    ~InterruptCleanup();
    InterruptCleanup(const InterruptCleanup&) = delete;
    InterruptCleanup& operator=(const InterruptCleanup&) = delete;

private:
    std::string doomed;
};

} // namespace qorn::qornts
