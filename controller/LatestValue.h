// A value on its way to another thread that may be slow to take it: only the latest one waits there. Any
// thread.
#pragma once

#include <mutex>
#include <optional>
#include <utility>

namespace qorn::timetagger::gui {

template <typename Value>
class LatestValue {
public:
    // True when the taker has to be called; else it was called before and will find this value.
    bool put(const Value& value) {
        const std::lock_guard lock(mutex);
        return !std::exchange(latest, value).has_value();
    }

    // Nothing when it has been taken already.
    std::optional<Value> take() {
        const std::lock_guard lock(mutex);
        return std::exchange(latest, std::nullopt);
    }

private:
    std::mutex mutex;
    std::optional<Value> latest;
};

} // namespace qorn::timetagger::gui
