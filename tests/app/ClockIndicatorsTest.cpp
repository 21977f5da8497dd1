#include "ClockIndicators.h"
#include "ClockWish.h"
#include "QtPrinting.h"
#include "StoredSettings.h"

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

using timing::ReferenceClockSource;
using timing::ReferenceSignal;

constexpr auto kAuto = ReferenceClockSource::Automatic;
constexpr auto kInternal = ReferenceClockSource::Internal;
constexpr auto kExternal = ReferenceClockSource::External;
constexpr auto kTen = ReferenceSignal::TenMegahertz;
constexpr auto kPps = ReferenceSignal::OnePps;

UiClockStatus openClock(ReferenceClockSource requested, ReferenceClockSource active, bool present,
                        bool locked, bool fallback, bool fault, ReferenceSignal output = kTen) {
    UiClockStatus status;
    status.deviceOpen = true;
    status.available = true;
    status.requestedSource = requested;
    status.activeSource = active;
    status.referencePresent = present;
    status.referenceLocked = locked;
    status.fallbackActive = fallback;
    status.lockFault = fault;
    status.outputSignal = output;
    return status;
}

struct Row {
    const char* name;
    UiClockStatus status;
    const char* lock;
    FlagState lockState;
    const char* output;
    FlagState outputState;
};

UiClockStatus closedClock(bool otherwiseGood) {
    UiClockStatus status = openClock(kExternal, kExternal, otherwiseGood, otherwiseGood, false, false);
    status.deviceOpen = false;
    return status;
}

UiClockStatus unavailableClock() {
    UiClockStatus status = openClock(kExternal, kExternal, true, true, false, false);
    status.available = false;
    return status;
}

const Row kRows[] = {
    {"Closed", closedClock(false), "-", FlagState::Muted, "-", FlagState::Muted},
    {"ClosedWhateverElse", closedClock(true), "-", FlagState::Muted, "-", FlagState::Muted},
    {"Unavailable", unavailableClock(), "unavailable", FlagState::Warning, "unavailable", FlagState::Warning},
    {"ExternalLocked", openClock(kExternal, kExternal, true, true, false, false), "external", FlagState::Good,
     "10 MHz", FlagState::Good},
    {"ExternalLockedDespiteFault", openClock(kExternal, kExternal, true, true, false, true, kPps), "external",
     FlagState::Good, "1 PPS", FlagState::Good},
    {"AutomaticOnExternal", openClock(kAuto, kExternal, true, true, false, false), "external",
     FlagState::Good, "10 MHz", FlagState::Good},
    {"ExternalAbsent", openClock(kExternal, kExternal, false, true, false, false), "waiting",
     FlagState::Warning, "10 MHz", FlagState::Good},
    {"ExternalNotLocked", openClock(kExternal, kExternal, true, false, false, false), "waiting",
     FlagState::Warning, "10 MHz", FlagState::Good},
    {"ExternalFallenBack", openClock(kExternal, kExternal, true, true, true, false), "waiting",
     FlagState::Warning, "10 MHz", FlagState::Good},
    {"ExternalWanted", openClock(kExternal, kInternal, false, false, true, false), "external",
     FlagState::Good, "10 MHz", FlagState::Good},
    {"ExternalWantedWithFault", openClock(kExternal, kInternal, true, true, false, true, kPps), "waiting",
     FlagState::Warning, "1 PPS", FlagState::Good},
    {"Fallback", openClock(kAuto, kInternal, false, false, true, false), "internal fallback", FlagState::Good,
     "10 MHz", FlagState::Good},
    {"FallbackWithFault", openClock(kAuto, kInternal, false, false, true, true), "internal fallback",
     FlagState::Warning, "10 MHz", FlagState::Good},
    {"Internal", openClock(kInternal, kInternal, true, true, false, false, kPps), "internal", FlagState::Good,
     "1 PPS", FlagState::Good},
    {"InternalWithFault", openClock(kInternal, kInternal, true, true, false, true), "internal",
     FlagState::Warning, "10 MHz", FlagState::Good},
    {"Automatic", openClock(kAuto, kAuto, false, false, false, false), "internal", FlagState::Good, "10 MHz",
     FlagState::Good},
};

class ClockIndicatorsTable : public ::testing::TestWithParam<std::size_t> {};

TEST_P(ClockIndicatorsTable, ShowsLockAndOutput) {
    const Row& row = kRows[GetParam()];
    const ClockIndicators flags = clockIndicatorsFor(row.status);
    EXPECT_EQ(flags.lock.text, QStringLiteral("Clock lock: ") + QString::fromUtf8(row.lock));
    EXPECT_EQ(flags.lock.state, row.lockState);
    EXPECT_EQ(flags.output.text, QStringLiteral("Clock out: ") + QString::fromUtf8(row.output));
    EXPECT_EQ(flags.output.state, row.outputState);
}

INSTANTIATE_TEST_SUITE_P(States, ClockIndicatorsTable, ::testing::Range<std::size_t>(0, std::size(kRows)),
                         [](const auto& test) { return kRows[test.param].name; });

struct ModeRow {
    int mode;
    ReferenceClockSource source;
    ReferenceSignal signal;
    int written; // what the same wish is stored as
};

void PrintTo(const ModeRow& row, std::ostream* out) {
    *out << row.mode;
}

class ClockWishModes : public ::testing::TestWithParam<ModeRow> {};

TEST_P(ClockWishModes, PackSourceAndOutput) {
    const ModeRow& row = GetParam();
    const ClockWish wish = ClockWish::fromMode(row.mode);
    EXPECT_EQ(wish.source, row.source);
    EXPECT_EQ(wish.signal, row.signal);
    EXPECT_EQ(wish.toMode(), row.written);
    testing::storedSettings().setValue(QStringLiteral("setup/referenceClockMode"), row.mode);
    EXPECT_EQ(ClockWish::load(), wish);
}

INSTANTIATE_TEST_SUITE_P(Modes, ClockWishModes,
                         ::testing::Values(ModeRow{0, kAuto, kTen, 0}, ModeRow{1, kInternal, kTen, 1},
                                           ModeRow{2, kExternal, kTen, 2}, ModeRow{3, kAuto, kTen, 0},
                                           ModeRow{4, kAuto, kPps, 4}, ModeRow{5, kInternal, kPps, 5},
                                           ModeRow{6, kExternal, kPps, 6}, ModeRow{7, kAuto, kPps, 4},
                                           ModeRow{14, kExternal, kPps, 6}, ModeRow{9, kInternal, kTen, 1}),
                         [](const auto& test) { return "Mode" + std::to_string(test.param.mode); });

TEST(ClockWish, IsInternalWithTenMegahertzWithoutAStoredChoice) {
    EXPECT_EQ(ClockWish::load(), ClockWish());
    EXPECT_EQ(ClockWish().toMode(), 1);
}

TEST(ClockWish, IsStoredAsOneInteger) {
    const ClockWish wish{kExternal, kPps};
    wish.save();
    EXPECT_EQ(testing::storedSettings().value(QStringLiteral("setup/referenceClockMode")).toInt(), 6);
    EXPECT_EQ(ClockWish::load(), wish);
}

} // namespace
} // namespace qorn::timetagger::gui
