#include "GuiHandOver.h"

#include <algorithm>

namespace qorn::timetagger::gui {
namespace {

// A GUI thread that follows takes a batch within milliseconds. It may be away for a second at the full
// budget: 16 million tags/s are 256 MiB then. Smaller budgets have the room of a quarter of that, so that
// reading or writing a large file loses nothing on the screen either.
constexpr int kMostPerSecond = 16'000'000;
constexpr int kLeastRoom = 4'194'304; // tags, 64 MiB

// The room of a batch and of the call that carries it, however few tags it has.
constexpr quint64 kLeastBatch = 512; // tags, 8 KiB

quint64 roomOf(quint64 tags) {
    return std::max(tags, kLeastBatch);
}

} // namespace

quint64 GuiHandOver::mostTagsFor(int maxTagsPerSecond) {
    const int second = maxTagsPerSecond > 0 ? maxTagsPerSecond : kMostPerSecond;
    return static_cast<quint64>(std::clamp(second, kLeastRoom, kMostPerSecond));
}

void GuiHandOver::setBudget(int maxTagsPerSecond) {
    const std::lock_guard lock(mutex);
    budget = maxTagsPerSecond;
    most = std::max(most, mostTagsFor(maxTagsPerSecond));
}

std::optional<int> GuiHandOver::newBudget() const {
    const std::lock_guard lock(mutex);
    return budget;
}

bool GuiHandOver::hasRoomFor(quint64 tags) const {
    const std::lock_guard lock(mutex);
    return room == 0 || room + roomOf(tags) <= most;
}

void GuiHandOver::send(quint64 tags) {
    const std::lock_guard lock(mutex);
    room += roomOf(tags);
    flow.sent += tags;
    flow.inFlight += tags;
}

void GuiHandOver::arrive(quint64 tags, bool shown) {
    const std::lock_guard lock(mutex);
    room -= roomOf(tags);
    flow.inFlight -= tags;
    (shown ? flow.shown : flow.outdated) += tags;
}

UiTagFlow::Window GuiHandOver::counts() const {
    const std::lock_guard lock(mutex);
    return flow;
}

} // namespace qorn::timetagger::gui
