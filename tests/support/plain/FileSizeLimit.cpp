#include "FileSizeLimit.h"

#include <csignal>
#include <stdexcept>

namespace qorn::testing {

FileSizeLimit::FileSizeLimit(rlim_t bytes) : earlierHandler(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &earlier);
    const rlimit limited{bytes, earlier.rlim_max};
    if (setrlimit(RLIMIT_FSIZE, &limited) != 0) {
        throw std::runtime_error("FileSizeLimit: refused");
    }
}

FileSizeLimit::~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &earlier);
    std::signal(SIGXFSZ, earlierHandler);
}

} // namespace qorn::testing
