// Lets no file of this process grow beyond a size while it lives, as on a full disk.
#pragma once

#include <sys/resource.h>

namespace qorn::testing {

class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes);
    ~FileSizeLimit();
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    void (*earlierHandler)(int);
    rlimit earlier{};
};

} // namespace qorn::testing
