// What the application is called, wherever it names itself.
#pragma once

namespace qorn::timetagger::gui {

inline constexpr const char* kApplicationName = "Qorn Timing";
inline constexpr const char* kApplicationVersion = "0.3.0";
inline constexpr const char* kOrganisationName = "QORN";

} // namespace qorn::timetagger::gui
