// A driver table that hands every call on to another one, counts the calls, and lets one of them fail.
//
// Owned by a test, one at a time; its table may be called on any thread, its operations on the test's.
#pragma once

#include "Driver.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qorn::testing {

class FaultingDriver {
public:
    // Whether a call that fails reaches the driver behind.
    enum class Effect {
        None,
        Whole, // only the answer is lost
    };

    // The `number`-th call (from 1) of a function; counted from the `afterNumber`-th call of `after` on, when
    // that is given.
    struct Fault {
        std::string function;
        std::uint64_t number = 1;
        std::string after;
        std::uint64_t afterNumber = 0;
        Effect effect = Effect::None;
    };
    using Counts = std::map<std::string, std::uint64_t, std::less<>>;

    // What a failed call gives: this status, no pointer, 0 or false; and this text as the handle's last
    // error.
    static constexpr tt_status kStatus = TT_FAILED;
    static constexpr const char* kDetail = "the cable is loose";

    // `served` must outlive the driver.
    explicit FaultingDriver(const timing::DriverTable& served);
    ~FaultingDriver();
    FaultingDriver(const FaultingDriver&) = delete;
    FaultingDriver& operator=(const FaultingDriver&) = delete;

    const timing::DriverTable& table() const { return faulty; }
    static const std::vector<std::string>& functions(); // names of all in the table

    // Counts from here on, anew, and lets that call fail, or none.
    void begin(std::optional<Fault> fault = std::nullopt);
    Counts counts() const;
    std::uint64_t count(std::string_view function) const;
    bool hasFailed() const;

    // The next call of a function waits until letGo() and fails then. letGo() also takes back a hold that no
    // call has met.
    void holdNext(std::string_view function);
    bool isHolding() const;
    void letGo();

    // For the functions of the table: how this call is to fail; nothing when it is not.
    std::optional<Effect> meets(const char* function);
    const timing::DriverTable& behind() const { return served; }

private:
    bool isFault(std::string_view function, std::uint64_t number) const;

    const timing::DriverTable& served;
    timing::DriverTable faulty;

    mutable std::mutex mutex; // guards what follows
    std::condition_variable released;
    Counts calls;
    std::optional<Fault> wanted;
    std::optional<std::uint64_t> countedFrom; // calls of the fault's function before its count began
    bool failed = false;
    std::string held; // function that is to be held; empty: none
    bool holding = false;
    std::uint64_t releases = 0;
};

} // namespace qorn::testing
