// A driver of plain functions whose results a test decides and whose calls it sees: results and failures by
// call, stream bytes handed out piece by piece, calls held until the test lets them go, and a list of every
// breach of the driver's contract (two threads on one handle, use after close, records that were not zeroed).
//
// Owned by a test through ScopedDriver; all operations from any thread.
#pragma once

#include "Driver.h"
#include "StreamBuilder.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace qorn::testing {

// How long a test waits for what must come.
inline constexpr std::chrono::seconds kEventLimit{60};

// Fills the fields; what is longer than its field fills it without a NUL.
tt_identity makeIdentity(std::string_view vendor, std::string_view product, std::string_view serial,
                         std::string_view description);

class ScriptedDriver {
public:
    struct Call {
        std::string function;
        std::string arguments; // joined by ","
        std::thread::id thread;
        std::string text() const { return function + "(" + arguments + ")"; }
    };

    // An entry without port or identity gives null.
    struct DiscoveryEntry {
        std::optional<std::string> port;
        std::optional<tt_identity> identity;
    };

    // What the functions answer. Change it through change() only.
    struct Script {
        std::vector<DiscoveryEntry> devices;
        tt_identity identity =
            makeIdentity("QORN", "Scripted", "SN0001", "Scripted instrument, serial SN0001");
        tt_reference_clock_status clock{}; // of both clock functions
        // Taken one by one by tt_get_reference_clock_status; `clock` again when used up.
        std::deque<tt_reference_clock_status> nextClocks;
        std::optional<std::pair<std::uint8_t, std::uint16_t>> appliedPacked; // else what was asked for
        bool writesPackedResult = true;
        std::optional<std::array<std::int64_t, 4>>
            appliedDeadTimesPs;      // else whole cycles of 10/3 ns, rounded up
        std::string calibrationPath; // empty: the path function fails
        bool eepromResult = false;
        std::string eepromSummary;
        bool cycleResult = true;
        std::string cycleSummary;
    };

    ScriptedDriver();
    ScriptedDriver(const ScriptedDriver&) = delete;
    ScriptedDriver& operator=(const ScriptedDriver&) = delete;
    ~ScriptedDriver();

    const timing::DriverTable& table() const { return functions; }
    void change(const std::function<void(Script&)>& edit);

    // --- failures and holds --------------------------------------------------------------------------------
    static constexpr int kEveryCall = 0;
    // Makes call number `call` (from 1, counted from now on) of a function end with `status`; tt_last_error
    // then gives `lastError`.
    void fail(const std::string& function, tt_status status, const std::string& lastError = {},
              int call = kEveryCall);
    void clearFailures();
    // Runs at each call of a function, with its number from 1, on the caller's thread and without a lock.
    void onCall(const std::string& function, std::function<void(int)> hook);
    // Calls of a function wait inside it until release().
    void hold(const std::string& function);
    void release(const std::string& function);
    bool waitUntilHeld(const std::string& function); // false at the limit
    // Waits until a function was called `count` times in all.
    bool waitForCall(const std::string& function, int count = 1);

    // --- the stream and the counters -----------------------------------------------------------------------
    // Hands out these bytes by reads of their own, in turn. With nothing left a read times out.
    void feed(Bytes bytes);
    void feedEmpty(); // a successful read of 0 bytes
    void feedFailure(tt_status status, const std::string& lastError);
    // Waits until all was read and the reader has come back for more.
    bool waitUntilStreamIdle();
    void feedSample(const tt_count_sample& sample);
    void feedSampleFailure(tt_status status, const std::string& lastError = {});
    // Results of tt_run_coincidence, in turn. With nothing left it takes its time-out.
    void feedCoincidence(const tt_coincidence_result& result);
    void feedCoincidenceFailure(tt_status status, const std::string& lastError = {});

    // --- what happened
    // ---------------------------------------------------------------------------------------
    std::vector<Call> log() const;
    // Texts of all calls in order, but for reads of the stream and of texts.
    std::vector<std::string> calls() const;
    std::vector<std::string> callsOf(const std::string& function) const;
    int count(const std::string& function) const;
    void clearLog(); // also the numbers of calls
    int openHandles() const;
    int liveLists() const; // discovery lists that were not freed
    std::vector<std::string> breaches() const;

private:
    friend class ScopedDriver;
    friend struct ScriptedFunctions;

    struct Fault {
        int call;
        tt_status status;
        std::string lastError;
    };
    struct Piece {
        tt_status status = TT_OK;
        Bytes bytes;
        std::string lastError;
    };
    template <typename Record>
    struct Fed {
        tt_status status = TT_OK;
        Record record{};
        std::string lastError;
    };

    // Logs a call, holds it as asked and gives its status.
    tt_status begin(const char* function, const std::string& arguments);
    // The same for a function that uses a handle; runs `onSuccess` under the lock when the call succeeds.
    tt_status command(const char* function, tt_device* device, const std::string& arguments,
                      const std::function<void()>& onSuccess = {});
    void enter(const char* function, tt_device* device);
    void leave(tt_device* device);
    void breach(const std::string& text);
    tt_device* makeHandle();
    tt_status readStream(tt_device* device, std::span<std::uint8_t> buffer, std::size_t* count,
                         int timeout_ms);
    tt_status readSample(tt_device* device, tt_count_sample* sample, std::uint32_t timeout_ms);
    tt_status runCoincidence(tt_device* device, tt_coincidence_result* result, std::uint32_t timeout_ms);
    // A command that waits for the next record of a queue.
    template <typename Record>
    tt_status takeFed(const char* function, tt_device* device, std::deque<Fed<Record>>& queue, Record* record,
                      std::uint32_t timeout_ms);

    timing::DriverTable functions;
    mutable std::mutex mutex; // guards all below
    std::condition_variable changed;
    Script script;
    std::vector<Call> entries;
    std::map<std::string, int> counts;
    std::map<std::string, std::vector<Fault>> faults;
    std::map<std::string, std::function<void(int)>> hooks;
    std::map<std::string, int> held; // calls that wait, by held function
    std::deque<Piece> stream;
    bool streamIdle = false; // a read waits although all was read
    std::deque<Fed<tt_count_sample>> samples;
    std::deque<Fed<tt_coincidence_result>> coincidences;
    std::map<tt_device*, std::string> lastErrors;
    std::vector<std::unique_ptr<tt_device>> handles;
    std::set<const tt_discovery*> lists;
    std::vector<std::string> breachTexts;
};

// Puts a scripted driver into force while it lives. At its end no handle may be open and no list left, and
// the contract must have been kept; else the test fails.
class ScopedDriver {
public:
    ScopedDriver();
    ~ScopedDriver();
    ScopedDriver(const ScopedDriver&) = delete;
    ScopedDriver& operator=(const ScopedDriver&) = delete;

    ScriptedDriver* operator->() { return &driver; }
    ScriptedDriver& operator*() { return driver; }

private:
    ScriptedDriver driver;
    const timing::DriverTable* earlier;
};

} // namespace qorn::testing
