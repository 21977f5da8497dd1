#include "ClockIndicators.h"

#include <QCoreApplication>

namespace qorn::timetagger::gui {
namespace {

QString tr(const char* text) {
    return QCoreApplication::translate("ClockIndicators", text);
}

FlagText lockFlag(const UiClockStatus& status) {
    using Source = timing::ReferenceClockSource;
    const FlagText external{tr("Clock lock: external"), FlagState::Good};
    const FlagText waiting{tr("Clock lock: waiting"), FlagState::Warning};
    const FlagState quality = status.lockFault ? FlagState::Warning : FlagState::Good;
    if (status.activeSource == Source::External) {
        return status.referencePresent && status.referenceLocked && !status.fallbackActive ? external
                                                                                           : waiting;
    }
    if (status.requestedSource == Source::External) {
        return status.lockFault ? waiting : external;
    }
    return status.fallbackActive ? FlagText{tr("Clock lock: internal fallback"), quality}
                                 : FlagText{tr("Clock lock: internal"), quality};
}

} // namespace

ClockIndicators clockIndicatorsFor(const UiClockStatus& status) {
    if (!status.deviceOpen) {
        return {{tr("Clock lock: -"), FlagState::Muted}, {tr("Clock out: -"), FlagState::Muted}};
    }
    if (!status.available) {
        return {{tr("Clock lock: unavailable"), FlagState::Warning},
                {tr("Clock out: unavailable"), FlagState::Warning}};
    }
    const QString signal =
        status.outputSignal == timing::ReferenceSignal::OnePps ? tr("1 PPS") : tr("10 MHz");
    return {lockFlag(status), {tr("Clock out: %1").arg(signal), FlagState::Good}};
}

} // namespace qorn::timetagger::gui
