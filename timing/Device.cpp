#include "Device.h"

#include "CalibrationStream.h"
#include "Driver.h"
#include "Error.h"
#include "FineLutFile.h"
#include "StreamFileHeader.h"

#include <cstring>
#include <memory>
#include <utility>

namespace qorn::timing {
namespace {

template <std::size_t Size>
std::string field_text(const char (&field)[Size]) {
    return std::string(field, strnlen(field, Size));
}

constexpr std::uint8_t kAllInputs = (1 << kChannels) - 1;
constexpr const char* kFineLutFile = "fine_lut.bin"; // in the current folder

} // namespace

Identity Identity::from_c(const tt_identity& identity) {
    return {field_text(identity.vendor), field_text(identity.product), field_text(identity.serial),
            field_text(identity.description)};
}

std::vector<DiscoveredDevice> Device::discover() {
    const DriverTable& api = driver();
    tt_discovery* found = nullptr;
    const tt_status status = api.tt_discover(&found);
    if (status != TT_OK) {
        detail::throw_status(status, "discover", nullptr);
    }
    const std::unique_ptr<tt_discovery, decltype(api.tt_discover_free)> list(found, api.tt_discover_free);
    const std::size_t count = api.tt_discover_count(list.get());
    std::vector<DiscoveredDevice> devices;
    devices.reserve(count);
    for (std::size_t index = 0; index < count; ++index) {
        const char* port = api.tt_discover_port(list.get(), index);
        const tt_identity* identity = api.tt_discover_identity(list.get(), index);
        devices.push_back(
            {port != nullptr ? port : "", identity != nullptr ? Identity::from_c(*identity) : Identity{}});
    }
    return devices;
}

Device Device::open_first(int baud) {
    const std::vector<DiscoveredDevice> devices = discover();
    if (devices.empty()) {
        throw Error(TT_NO_DEVICE, "open_first: no QORN device found");
    }
    const std::string& port = devices.front().port;
    tt_device* handle = nullptr;
    const tt_status status = baud == kDefaultBaud ? driver().tt_open_serial(&handle, port.c_str())
                                                  : driver().tt_open(&handle, port.c_str(), baud);
    if (status != TT_OK) {
        detail::throw_status(status, "open", nullptr);
    }
    Device device(handle, true);
    device.port = port;
    if (auto luts = load_fine_lut_file(kFineLutFile)) {
        device.luts = std::move(*luts);
    }
    return device;
}

Device Device::open_serial(const std::string& port) {
    tt_device* handle = nullptr;
    const tt_status status = driver().tt_open_serial(&handle, port.c_str());
    if (status != TT_OK) {
        detail::throw_status(status, "open", nullptr);
    }
    Device device(handle, true);
    device.port = port;
    return device;
}

Device::Device(tt_device* opened, bool owns) : handle(opened), owns_handle(owns) {
    luts.fill(FineLut::identity());
}

Device::~Device() {
    if (handle != nullptr && owns_handle) {
        driver().tt_close(handle);
    }
}

Device::Device(Device&& other) noexcept
    : handle(std::exchange(other.handle, nullptr)), owns_handle(std::exchange(other.owns_handle, false)),
      port(std::move(other.port)), luts(std::move(other.luts)) {}

Device& Device::operator=(Device&& other) noexcept {
    std::swap(handle, other.handle);
    std::swap(owns_handle, other.owns_handle);
    std::swap(port, other.port);
    std::swap(luts, other.luts);
    return *this;
}

Identity Device::identify() const {
    tt_identity identity{};
    detail::check(driver().tt_identify(handle, &identity), "identify", handle);
    return Identity::from_c(identity);
}

ReferenceClockStatus Device::set_reference_clock(ReferenceClockSource source, ReferenceSignal signal) {
    tt_reference_clock_status status{};
    detail::check(
        driver().tt_set_reference_clock(handle, static_cast<int>(source), static_cast<int>(signal), &status),
        "set_reference_clock", handle);
    return ReferenceClockStatus::from_c(status);
}

ReferenceClockStatus Device::reference_clock_status() const {
    tt_reference_clock_status status{};
    detail::check(driver().tt_get_reference_clock_status(handle, &status), "reference_clock_status", handle);
    return ReferenceClockStatus::from_c(status);
}

std::vector<CalibrationTag> Device::stream_calibration_tags(unsigned long count, double frequency_hz,
                                                            unsigned char tdl_index,
                                                            std::chrono::milliseconds timeout,
                                                            Transport transport, unsigned char sweep_steps,
                                                            unsigned short sweep_dwell) {
    const DriverTable& api = driver();
    std::uint32_t divider = 0;
    detail::check(api.tt_set_calibration_freq(handle, &divider, frequency_hz), "set_calibration_freq",
                  handle);
    detail::check(api.tt_set_stream_channel_mask(handle, kAllInputs), "set_stream_channels", handle);
    detail::check(api.tt_set_stream_interface(handle, static_cast<int>(transport),
                                              static_cast<int>(StreamFormat::Raw64)),
                  "set_stream_interface", handle);
    CalibrationStream stream(handle, tdl_index, sweep_steps, sweep_dwell);
    std::vector<CalibrationTag> tags = stream.read(count, timeout);
    stream.stop();
    return tags;
}

std::array<FineLut, kChannels>
Device::run_fine_calibration_all_channels(FineCalibrationStats& stats, FineCalibrationCapture& capture,
                                          unsigned long samples, unsigned long sweep_steps,
                                          double frequency_hz, unsigned char tdl_index,
                                          const CalibrationProgress& progress) {
    FineCalibrationRun(*this, {samples, sweep_steps, frequency_hz, tdl_index}, capture, progress).sweep();
    return fine_luts_of(capture, stats);
}

} // namespace qorn::timing
