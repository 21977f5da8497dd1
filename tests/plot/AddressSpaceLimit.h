// While it lives, this process can map no more than `bytes` beyond what it has mapped already: a larger
// allocation fails, and Qt throws std::bad_alloc for it.
#pragma once

#include <cstddef>
#include <fstream>
#include <stdexcept>

#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

namespace plottest {

class AddressSpaceLimit {
public:
    explicit AddressSpaceLimit(std::size_t bytes) {
        malloc_trim(0); // else what was freed earlier can be had again without mapping
        std::size_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        getrlimit(RLIMIT_AS, &m_earlier);
        rlimit limited = m_earlier;
        limited.rlim_cur = pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) + bytes;
        if (pages == 0 || setrlimit(RLIMIT_AS, &limited) != 0) {
            throw std::runtime_error("AddressSpaceLimit: refused");
        }
    }
    ~AddressSpaceLimit() { setrlimit(RLIMIT_AS, &m_earlier); }
    AddressSpaceLimit(const AddressSpaceLimit&) = delete;
    AddressSpaceLimit& operator=(const AddressSpaceLimit&) = delete;

private:
    rlimit m_earlier{};
};

} // namespace plottest
