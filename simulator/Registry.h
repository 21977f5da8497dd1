// The simulated units on this machine's imagined USB bus: which there are, which is open, and the scene that
// they came from. One per loaded library, made by Interface.cpp; any thread may ask.
//
// The scene file is looked at again at each discovery and each opening. A file that cannot be read or is
// refused takes the place of all units: they are still listed, so that a person sees where to look, but none
// opens.
#pragma once

#include "FaultScript.h"
#include "Scene.h"

#include <tt_driver.h>

#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace qorn::simulator {

// The status of an opening that fails for the scene; its text is the refusal, with line and key.
inline constexpr tt_status kSceneRefused = -100;

// A unit as long as its scene is in force or a handle holds it.
struct Unit {
    explicit Unit(const UnitSpec& unit, const Scene& from) : spec(unit), scene(from), script(unit.faults) {}

    const UnitSpec spec;
    const Scene scene; // pace and duration
    FaultScript script;
};

tt_identity identityOf(std::string_view serial);
std::string portOf(std::string_view serial);

class Registry {
public:
    struct Listed {
        std::string port;
        tt_identity identity{};
    };
    std::vector<Listed> list();

    // The unit behind the port, marked as open until release(). Throws DeviceError.
    std::shared_ptr<Unit> acquire(std::string_view port);
    void release(const std::shared_ptr<Unit>& unit);

    // Takes the unit off the bus and puts it back, which takes a second. Throws DeviceError.
    void cycle(std::string_view port);

    // Why the scene was refused, empty when it was not. The text stays where it is for as long as the
    // library.
    const char* refusal();

private:
    using Time = std::chrono::steady_clock::time_point;
    struct Owned {
        std::shared_ptr<Unit> unit;
        Time since;
    };

    void refresh();
    std::shared_ptr<Unit> find(std::string_view port) const;
    bool isOpen(const Unit& unit) const;
    const char* keep(const std::string& text);

    std::mutex mutex; // guards everything
    bool loaded = false;
    std::string loadedFrom;
    std::string loadedText;
    std::vector<std::shared_ptr<Unit>> units;
    std::vector<Owned> open;
    const char* refused = "";
    std::deque<std::string> keptTexts;
};

} // namespace qorn::simulator
