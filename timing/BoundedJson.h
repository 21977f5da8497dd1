// Parses JSON from files that nobody vouches for, without building trees of what is of no interest. Any
// thread.
#pragma once

#include <nlohmann/json.hpp>

#include <optional>
#include <string_view>

namespace qorn::timing::detail {

// The object that `text` holds, with what lies deeper than `kept_depth` levels left out. Nothing when it is
// no JSON, no object, or nested deeper than any file of ours.
std::optional<nlohmann::json> parse_bounded_object(std::string_view text, int kept_depth);

} // namespace qorn::timing::detail
