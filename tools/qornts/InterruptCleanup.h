// While it lives, a signal that ends the program removes a file first. One at a time, since signals belong to
// the whole program.
#pragma once

#include <string>

namespace qorn::qornts {

class InterruptCleanup {
public:
    explicit InterruptCleanup(const std::string& path);
    ~InterruptCleanup();
    InterruptCleanup(const InterruptCleanup&) = delete;
    InterruptCleanup& operator=(const InterruptCleanup&) = delete;

private:
    std::string doomed;
};

} // namespace qorn::qornts
