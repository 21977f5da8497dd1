// Headers of the streams that tests decode.
#pragma once

#include "StreamFileHeader.h"

#include <string>

namespace qorn::testing {

timing::StreamFileHeader raw64Header(const std::string& layout);
timing::StreamFileHeader delta32Header();
timing::StreamFileHeader packedHeader(timing::StreamMode mode, int mask, int delta_bits = 16,
                                      int quantum_ps = 8);

} // namespace qorn::testing
