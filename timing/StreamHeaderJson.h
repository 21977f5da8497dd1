// Reading of a stream file's JSON header, which may come from anywhere.
#pragma once

#include "StreamFileHeader.h"

#include <stdexcept>
#include <string_view>

namespace qorn::timing::detail {

// Says what is wrong with a header, as the rest of a sentence that names the file.
class HeaderFault : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The header that stream_header_to_json has written; keys unknown here do not count. Throws HeaderFault when
// a key is missing, of another type, out of range or of no known value.
StreamFileHeader stream_header_from_json(std::string_view json);

} // namespace qorn::timing::detail
