#include "ScriptedDriver.h"

#include "ScriptedHandle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>

namespace qorn::testing {
namespace {

std::atomic<ScriptedDriver*> inForce{nullptr};

template <std::size_t Width>
void fillField(char (&field)[Width], std::string_view text) {
    std::memcpy(field, text.data(), std::min(text.size(), Width));
}

bool isLookUp(const std::string& function) {
    return function == "tt_read_stream_bytes" || function == "tt_last_error" ||
           function == "tt_status_string";
}

} // namespace

ScriptedDriver& scriptedDriverInForce() {
    return *inForce.load();
}

tt_identity makeIdentity(std::string_view vendor, std::string_view product, std::string_view serial,
                         std::string_view description) {
    tt_identity identity{};
    fillField(identity.vendor, vendor);
    fillField(identity.product, product);
    fillField(identity.serial, serial);
    fillField(identity.description, description);
    return identity;
}

ScriptedDriver::ScriptedDriver() : functions(scriptedDriverTable()) {
    script.clock.requested_source = 1;
    script.clock.active_source = 1;
}

ScriptedDriver::~ScriptedDriver() = default;

void ScriptedDriver::change(const std::function<void(Script&)>& edit) {
    const std::lock_guard lock(mutex);
    edit(script);
}

void ScriptedDriver::fail(const std::string& function, tt_status status, const std::string& lastError,
                          int call) {
    const std::lock_guard lock(mutex);
    const int number = call == kEveryCall ? kEveryCall : counts[function] + call;
    faults[function].push_back({number, status, lastError});
}

void ScriptedDriver::clearFailures() {
    const std::lock_guard lock(mutex);
    faults.clear();
}

void ScriptedDriver::onCall(const std::string& function, std::function<void(int)> hook) {
    const std::lock_guard lock(mutex);
    hooks[function] = std::move(hook);
}

void ScriptedDriver::hold(const std::string& function) {
    const std::lock_guard lock(mutex);
    held.try_emplace(function, 0);
}

void ScriptedDriver::release(const std::string& function) {
    const std::lock_guard lock(mutex);
    held.erase(function);
    changed.notify_all();
}

bool ScriptedDriver::waitUntilHeld(const std::string& function) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, kEventLimit, [&] {
        const auto found = held.find(function);
        return found != held.end() && found->second > 0;
    });
}

bool ScriptedDriver::waitForCall(const std::string& function, int count) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, kEventLimit, [&] { return counts[function] >= count; });
}

void ScriptedDriver::feed(Bytes bytes) {
    const std::lock_guard lock(mutex);
    stream.push_back({TT_OK, std::move(bytes), {}});
    streamIdle = false;
    changed.notify_all();
}

void ScriptedDriver::feedEmpty() {
    feed({});
}

void ScriptedDriver::feedFailure(tt_status status, const std::string& lastError) {
    const std::lock_guard lock(mutex);
    stream.push_back({status, {}, lastError});
    streamIdle = false;
    changed.notify_all();
}

bool ScriptedDriver::waitUntilStreamIdle() {
    std::unique_lock lock(mutex);
    streamIdle = false;
    return changed.wait_for(lock, kEventLimit, [&] { return streamIdle && stream.empty(); });
}

void ScriptedDriver::feedSample(const tt_count_sample& sample) {
    const std::lock_guard lock(mutex);
    samples.push_back({TT_OK, sample, {}});
    changed.notify_all();
}

void ScriptedDriver::feedSampleFailure(tt_status status, const std::string& lastError) {
    const std::lock_guard lock(mutex);
    samples.push_back({status, {}, lastError});
    changed.notify_all();
}

void ScriptedDriver::feedCoincidence(const tt_coincidence_result& result) {
    const std::lock_guard lock(mutex);
    coincidences.push_back({TT_OK, result, {}});
    changed.notify_all();
}

void ScriptedDriver::feedCoincidenceFailure(tt_status status, const std::string& lastError) {
    const std::lock_guard lock(mutex);
    coincidences.push_back({status, {}, lastError});
    changed.notify_all();
}

std::vector<ScriptedDriver::Call> ScriptedDriver::log() const {
    const std::lock_guard lock(mutex);
    return entries;
}

std::vector<std::string> ScriptedDriver::calls() const {
    std::vector<std::string> texts;
    for (const Call& call : log()) {
        if (!isLookUp(call.function)) {
            texts.push_back(call.text());
        }
    }
    return texts;
}

std::vector<std::string> ScriptedDriver::callsOf(const std::string& function) const {
    std::vector<std::string> texts;
    for (const Call& call : log()) {
        if (call.function == function) {
            texts.push_back(call.text());
        }
    }
    return texts;
}

int ScriptedDriver::count(const std::string& function) const {
    const std::lock_guard lock(mutex);
    const auto found = counts.find(function);
    return found == counts.end() ? 0 : found->second;
}

void ScriptedDriver::clearLog() {
    const std::lock_guard lock(mutex);
    entries.clear();
    counts.clear();
}

int ScriptedDriver::openHandles() const {
    const std::lock_guard lock(mutex);
    return static_cast<int>(std::ranges::count_if(handles, [](const auto& handle) { return handle->open; }));
}

int ScriptedDriver::liveLists() const {
    const std::lock_guard lock(mutex);
    return static_cast<int>(lists.size());
}

std::vector<std::string> ScriptedDriver::breaches() const {
    const std::lock_guard lock(mutex);
    return breachTexts;
}

tt_status ScriptedDriver::begin(const char* function, const std::string& arguments) {
    std::unique_lock lock(mutex);
    const int number = ++counts[function];
    entries.push_back({function, arguments, std::this_thread::get_id()});
    changed.notify_all();
    if (const auto hook = hooks.find(function); hook != hooks.end()) {
        const std::function<void(int)> run = hook->second;
        lock.unlock();
        run(number);
        lock.lock();
    }
    if (const auto hook = held.find(function); hook != held.end()) {
        ++hook->second;
        changed.notify_all();
        if (!changed.wait_for(lock, kEventLimit, [&] { return !held.contains(function); })) {
            breach(std::string(function) + " was never released");
        }
    }
    for (const Fault& fault : faults[function]) {
        if (fault.call == kEveryCall || fault.call == number) {
            lastErrors[nullptr] = fault.lastError;
            return fault.status;
        }
    }
    return TT_OK;
}

tt_status ScriptedDriver::command(const char* function, tt_device* device, const std::string& arguments,
                                  const std::function<void()>& onSuccess) {
    enter(function, device);
    const tt_status status = begin(function, arguments);
    {
        const std::lock_guard lock(mutex);
        if (status == TT_OK && onSuccess) {
            onSuccess();
        }
        lastErrors[device] = status == TT_OK ? std::string() : lastErrors[nullptr];
    }
    leave(device);
    return status;
}

void ScriptedDriver::enter(const char* function, tt_device* device) {
    const std::lock_guard lock(mutex);
    const bool known =
        std::ranges::any_of(handles, [device](const auto& handle) { return handle.get() == device; });
    if (!known) {
        breach(std::string(function) + " with a handle that was never opened");
        return;
    }
    if (!device->open) {
        breach(std::string(function) + " on a closed handle");
    }
    if (device->user) {
        breach(std::string(function) + " while another thread is in " + device->function);
    }
    device->user = std::this_thread::get_id();
    device->function = function;
}

void ScriptedDriver::leave(tt_device* device) {
    const std::lock_guard lock(mutex);
    if (device != nullptr) {
        device->user.reset();
    }
}

void ScriptedDriver::breach(const std::string& text) {
    breachTexts.push_back(text);
}

tt_device* ScriptedDriver::makeHandle() {
    handles.push_back(std::make_unique<tt_device>());
    return handles.back().get();
}

tt_status ScriptedDriver::readStream(tt_device* device, std::span<std::uint8_t> buffer, std::size_t* count,
                                     int timeout_ms) {
    *count = 0;
    tt_status status = command("tt_read_stream_bytes", device,
                               std::to_string(buffer.size()) + "," + std::to_string(timeout_ms));
    if (status != TT_OK) {
        return status;
    }
    enter("tt_read_stream_bytes", device);
    {
        std::unique_lock lock(mutex);
        if (stream.empty()) {
            streamIdle = true;
            changed.notify_all();
            changed.wait_for(lock, std::chrono::milliseconds(timeout_ms), [&] { return !stream.empty(); });
        }
        if (stream.empty()) {
            status = TT_TIMED_OUT;
        } else {
            Piece& piece = stream.front();
            *count = std::min(buffer.size(), piece.bytes.size());
            std::copy_n(piece.bytes.begin(), *count, buffer.begin());
            piece.bytes.erase(piece.bytes.begin(), piece.bytes.begin() + static_cast<std::ptrdiff_t>(*count));
            status = piece.status;
            lastErrors[device] = piece.lastError;
            if (piece.bytes.empty()) {
                stream.pop_front();
            }
        }
    }
    leave(device);
    return status;
}

template <typename Record>
tt_status ScriptedDriver::takeFed(const char* function, tt_device* device, std::deque<Fed<Record>>& queue,
                                  Record* record, std::uint32_t timeout_ms) {
    tt_status status = command(function, device, std::to_string(timeout_ms));
    if (status != TT_OK) {
        return status;
    }
    enter(function, device);
    {
        std::unique_lock lock(mutex);
        const Record zero{};
        if (std::memcmp(record, &zero, sizeof zero) != 0) {
            breach(std::string(function) + " into a record that was not zeroed");
        }
        const auto limit =
            std::min<std::chrono::milliseconds>(std::chrono::milliseconds(timeout_ms), kEventLimit);
        if (changed.wait_for(lock, limit, [&] { return !queue.empty(); })) {
            status = queue.front().status;
            *record = queue.front().record;
            lastErrors[device] = queue.front().lastError;
            queue.pop_front();
        } else {
            status = TT_TIMED_OUT;
        }
    }
    leave(device);
    return status;
}

tt_status ScriptedDriver::readSample(tt_device* device, tt_count_sample* sample, std::uint32_t timeout_ms) {
    return takeFed("tt_read_count_stream_sample", device, samples, sample, timeout_ms);
}

tt_status ScriptedDriver::runCoincidence(tt_device* device, tt_coincidence_result* result,
                                         std::uint32_t timeout_ms) {
    return takeFed("tt_run_coincidence", device, coincidences, result, timeout_ms);
}

ScopedDriver::ScopedDriver() {
    inForce = &driver;
    earlier = timing::exchange_driver(&driver.table());
}

ScopedDriver::~ScopedDriver() {
    EXPECT_EQ(driver.openHandles(), 0) << "a handle was left open";
    EXPECT_EQ(driver.liveLists(), 0) << "a discovery list was not freed";
    EXPECT_EQ(driver.breaches(), std::vector<std::string>{});
    timing::exchange_driver(earlier);
    inForce = nullptr;
}

} // namespace qorn::testing
