// A small file system, that a test can really fill.
#pragma once

#include "TemporaryFolder.h"

#include <cstddef>
#include <string>

namespace qorn::timetagger::gui::test {

// In memory, seen by the calling thread and those that it starts, while it lives. Needs rights of root.
class SmallDisk {
public:
    explicit SmallDisk(std::size_t bytes);
    ~SmallDisk();
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    bool isThere() const { return reason.empty(); }
    const std::string& whyNot() const { return reason; }
    std::string file(const char* name) const { return folder.file(name); }
    void fill(); // with a file that takes all that is left

private:
    qorn::testing::TemporaryFolder folder;
    std::string reason;
};

} // namespace qorn::timetagger::gui::test
