#include "ReferenceClock.h"

namespace qorn::timing {

ReferenceClockStatus ReferenceClockStatus::from_c(const tt_reference_clock_status& status) {
    ReferenceClockStatus result;
    result.requestedSource = static_cast<ReferenceClockSource>(static_cast<int>(status.requested_source));
    result.activeSource = static_cast<ReferenceClockSource>(static_cast<int>(status.active_source));
    result.outputSignal = static_cast<ReferenceSignal>(static_cast<int>(status.output_signal));
    result.referencePresent = status.reference_present != 0;
    result.referenceLocked = status.reference_locked != 0;
    result.thirdFlag = status.third_flag != 0;
    result.fallbackActive = status.fallback_active != 0;
    result.lockFault = status.lock_fault != 0;
    result.statusWord = static_cast<std::int32_t>(status.status_word);
    return result;
}

} // namespace qorn::timing
