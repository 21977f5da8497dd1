// A value on its way to another thread that may be slow to take it: only the latest one waits there. Any
// thread.
#pragma once

#include <mutex>
#include <utility>

namespace qorn::timetagger::gui {

template <typename Value>
class LatestValue {
public:
    // True when the taker has to be called; else it was called before and will find this value.
    bool put(const Value& value) {
        const std::lock_guard lock(mutex);
        latest = value;
        return !std::exchange(called, true);
    }

    // By the taker, once for each call.
    Value take() {
        const std::lock_guard lock(mutex);
        called = false;
        return latest;
    }

private:
    std::mutex mutex; // guards all below
    Value latest{};
    bool called = false;
};

} // namespace qorn::timetagger::gui
