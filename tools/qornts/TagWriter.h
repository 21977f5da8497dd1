// A form in which tags are exported.
#pragma once

#include "TimeTag.h"

#include <span>

namespace qorn::qornts {

class TagWriter {
public:
    virtual ~TagWriter() = default;

    // Both throw std::runtime_error when the output fails.
    virtual void write(std::span<const timing::TimeTag> tags) = 0;
    virtual void finish() = 0; // once, behind all tags
};

} // namespace qorn::qornts
