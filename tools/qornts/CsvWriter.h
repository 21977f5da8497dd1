// Tags as text: the line "channel,time_ps", then one per tag with the channel as 1 to 4.
#pragma once

#include "OutputFile.h"
#include "TagWriter.h"

#include <vector>

namespace qorn::qornts {

class CsvWriter final : public TagWriter {
public:
    explicit CsvWriter(OutputFile& output);
    void write(std::span<const timing::TimeTag> tags) override;
    void finish() override {}

private:
    OutputFile& file;
    std::vector<std::uint8_t> rows;
};

} // namespace qorn::qornts
