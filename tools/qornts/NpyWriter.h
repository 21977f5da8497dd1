// Tags as a NumPy array (format 1.0) of packed records: channel ('u1', 1 to 4) and time_ps ('<i8').
#pragma once

#include "OutputFile.h"
#include "TagWriter.h"

#include <cstdint>
#include <vector>

namespace qorn::qornts {

class NpyWriter final : public TagWriter {
public:
    explicit NpyWriter(OutputFile& output);
    void write(std::span<const timing::TimeTag> tags) override;
    void finish() override; // puts the number of tags into the front

private:
    OutputFile& file;
    std::uint64_t count = 0;
    std::vector<std::uint8_t> records;
};

} // namespace qorn::qornts
