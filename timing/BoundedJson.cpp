#include "BoundedJson.h"

namespace qorn::timing::detail {

std::optional<nlohmann::json> parse_bounded_object(std::string_view text, int kept_depth) {
    using Json = nlohmann::json;
    constexpr int kMostDepth = 64;
    bool tooDeep = false;
    const auto keep = [&tooDeep, kept_depth](int depth, Json::parse_event_t, const Json&) {
        tooDeep = tooDeep || depth > kMostDepth;
        return depth <= kept_depth;
    };
    Json root = Json::parse(text.begin(), text.end(), keep, false);
    if (!root.is_object() || tooDeep) {
        return std::nullopt;
    }
    return root;
}

} // namespace qorn::timing::detail
