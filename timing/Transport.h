// The path by which a stream leaves the instrument.
#pragma once

namespace qorn::timing {

enum class Transport : int { Uart = 0, Usb = 1, UsbAsync = 2 };

} // namespace qorn::timing
