#include "Registry.h"

#include "DeviceError.h"
#include "SceneLoader.h"
#include "SceneNode.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <span>
#include <thread>

namespace qorn::simulator {

namespace {

constexpr const char* kSceneVariable = "QORN_SIMULATOR_SCENE";
constexpr std::string_view kPortPrefix = "ftdi://";
constexpr std::chrono::milliseconds kCycleTime{1000};

void fill(std::span<char> field, std::string_view text) {
    std::memcpy(field.data(), text.data(), std::min(field.size(), text.size()));
}

std::optional<std::string> readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    return file.good() || file.eof() ? std::optional(text) : std::nullopt;
}

} // namespace

tt_identity identityOf(std::string_view serial) {
    tt_identity identity{};
    fill(identity.vendor, "QORN");
    fill(identity.product, "TDC simulator");
    fill(identity.serial, serial);
    fill(identity.description, "Simulated four-input TDC, serial " + std::string(serial));
    return identity;
}

std::string portOf(std::string_view serial) {
    return std::string(kPortPrefix) + std::string(serial);
}

void Registry::refresh() {
    const char* variable = std::getenv(kSceneVariable);
    const std::string path = variable == nullptr ? "" : variable;
    const std::optional<std::string> text = path.empty() ? std::string(builtInScene()) : readFile(path);
    if (loaded && path == loadedFrom && text.value_or("") == loadedText) {
        return;
    }
    loaded = true;
    loadedFrom = path;
    loadedText = text.value_or("");
    refused = "";
    Scene scene;
    try {
        if (!text) {
            throw SceneError("it cannot be read");
        }
        scene = loadScene(*text);
    } catch (const SceneError& error) {
        refused = keep("The simulator refuses the scene file " + path + ": " + error.what());
        scene = loadScene(builtInScene());
    }
    units.clear();
    for (const UnitSpec& unit : scene.units) {
        units.push_back(std::make_shared<Unit>(unit, scene));
    }
}

std::vector<Registry::Listed> Registry::list() {
    const std::lock_guard lock(mutex);
    refresh();
    std::vector<Listed> listed;
    for (const auto& unit : units) {
        if (unit->script.plugged(std::chrono::steady_clock::now())) {
            listed.push_back({portOf(unit->spec.serial), identityOf(unit->spec.serial)});
        }
    }
    return listed;
}

std::shared_ptr<Unit> Registry::find(std::string_view port) const {
    const auto now = std::chrono::steady_clock::now();
    for (const auto& unit : units) {
        if (portOf(unit->spec.serial) == port && unit->script.plugged(now)) {
            return unit;
        }
    }
    throw DeviceError(TT_NO_DEVICE, "there is no simulated unit at " + std::string(port));
}

bool Registry::isOpen(const Unit& unit) const {
    const auto now = std::chrono::steady_clock::now();
    return std::any_of(open.begin(), open.end(), [&](const Owned& owned) {
        // a handle whose unit was unplugged holds nothing any more
        return owned.unit->spec.serial == unit.spec.serial &&
               owned.unit->script.pluggedSince(owned.since, now);
    });
}

std::shared_ptr<Unit> Registry::acquire(std::string_view port) {
    const std::lock_guard lock(mutex);
    refresh();
    if (*refused != '\0') {
        throw DeviceError(kSceneRefused, refused);
    }
    std::shared_ptr<Unit> unit = find(port);
    if (isOpen(*unit)) {
        throw DeviceError(TT_REJECTED, "the unit at " + std::string(port) + " is open already");
    }
    const auto now = std::chrono::steady_clock::now();
    unit->script.onOpened(now);
    open.push_back({unit, now});
    return unit;
}

void Registry::release(const std::shared_ptr<Unit>& unit) {
    const std::lock_guard lock(mutex);
    const auto found = std::find_if(open.begin(), open.end(), [&](const Owned& o) { return o.unit == unit; });
    if (found != open.end()) {
        open.erase(found);
    }
}

void Registry::cycle(std::string_view port) {
    {
        const std::lock_guard lock(mutex);
        refresh();
        if (isOpen(*find(port))) {
            throw DeviceError(TT_REJECTED, "the unit at " + std::string(port) + " is open");
        }
    }
    std::this_thread::sleep_for(kCycleTime);
}

const char* Registry::refusal() {
    const std::lock_guard lock(mutex);
    refresh();
    return refused;
}

const char* Registry::keep(const std::string& text) {
    const auto found = std::find(keptTexts.begin(), keptTexts.end(), text);
    return found != keptTexts.end() ? found->c_str() : keptTexts.emplace_back(text).c_str();
}

} // namespace qorn::simulator
