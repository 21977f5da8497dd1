// Parses JSON from files that nobody vouches for, without building trees of what is of no interest. Any
// thread.
#pragma once

#include <nlohmann/json.hpp>

#include <cstddef>
#include <stdexcept>
#include <string_view>

namespace qorn::timing::detail {

// What of a text is kept, and how much of that there may be.
struct JsonBounds {
    int kept_depth = 0;          // levels below the object; what lies deeper is left out
    std::size_t most_values = 0; // kept ones, lists and objects among them; each takes some 100 bytes at most
};

// Says why a text is refused and where, as the rest of a sentence that begins with what the text is.
class JsonFault : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The object that `text` holds, within the bounds. Takes time in proportion to the text. Throws JsonFault
// when it is no JSON, no object, of too many values, or nested deeper than any file of ours.
nlohmann::json parse_bounded_object(std::string_view text, const JsonBounds& bounds);

} // namespace qorn::timing::detail
