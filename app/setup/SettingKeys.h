// Keys under which the setup page keeps its choices in the default settings store, and what holds without
// them.
#pragma once

#include <QLatin1String>

namespace qorn::timetagger::gui {

inline constexpr QLatin1String kUploadCalibrationKey("setup/uploadCalibrationOnConnect"); // bool
// The same choice negated, as older versions stored it; read when the key above is absent.
inline constexpr QLatin1String kSkipCalibrationKey("setup/skipCalibrationOnConnect"); // bool
inline constexpr QLatin1String kLastDevicePortKey("setup/lastDevicePort");            // string
inline constexpr QLatin1String kDeviceNamesPrefix("setup/deviceNames/");              // + name key: string

inline constexpr QLatin1String kRelayHostKey("relay/lastHost");         // string
inline constexpr QLatin1String kRelayStreamPortKey("relay/streamPort"); // int
inline constexpr QLatin1String kRelayStatusPortKey("relay/statusPort"); // int

inline constexpr quint16 kDefaultRelayStreamPort = 7355;
inline constexpr quint16 kDefaultRelayStatusPort = 7356;

} // namespace qorn::timetagger::gui
