// Writes down every tag that a stream has sent, for tests that compare. Owned by a running stream, with whose
// start the file begins anew. Records of 16 bytes: channel (unsigned) and time in ps (signed), 64 bits,
// little-endian.
#pragma once

#include "Pulse.h"

#include <fstream>
#include <span>
#include <string>
#include <vector>

namespace qorn::simulator {

class TruthFile {
public:
    // An empty path writes nothing; a file that cannot be written throws std::runtime_error.
    explicit TruthFile(const std::string& path);

    bool wanted() const { return file.is_open(); }
    void write(std::span<const Tag> tags); // on the disk when it returns

private:
    std::ofstream file;
    std::vector<char> bytes;
};

} // namespace qorn::simulator
