#include "ClockWish.h"

#include "SettingsStore.h"

namespace qorn::timetagger::gui {
namespace {

constexpr const char* kModeKey = "setup/referenceClockMode";
constexpr int kDefaultMode = 1;
constexpr int kSourceBits = 3;
constexpr int kOnePpsBit = 4;

} // namespace

ClockWish ClockWish::fromMode(int mode) {
    ClockWish wish;
    switch (mode & kSourceBits) {
    case 1:
        wish.source = timing::ReferenceClockSource::Internal;
        break;
    case 2:
        wish.source = timing::ReferenceClockSource::External;
        break;
    default:
        wish.source = timing::ReferenceClockSource::Automatic;
    }
    wish.signal =
        (mode & kOnePpsBit) != 0 ? timing::ReferenceSignal::OnePps : timing::ReferenceSignal::TenMegahertz;
    return wish;
}

int ClockWish::toMode() const {
    const int output = signal == timing::ReferenceSignal::OnePps ? kOnePpsBit : 0;
    return (static_cast<int>(source) & kSourceBits) | output;
}

ClockWish ClockWish::load() {
    return fromMode(SettingsStore::instance().value(QLatin1String(kModeKey), kDefaultMode).toInt());
}

void ClockWish::save() const {
    SettingsStore::instance().set(QLatin1String(kModeKey), toMode());
}

} // namespace qorn::timetagger::gui
