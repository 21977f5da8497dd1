// The simulated instrument's library as the application loads it: at run time, every function by its name.
#pragma once

#include <tt_driver.h>

#include <string>

namespace qorn::simulator::test {

class LoadedLibrary {
public:
    LoadedLibrary();
    ~LoadedLibrary();
    LoadedLibrary(const LoadedLibrary&) = delete;
    LoadedLibrary& operator=(const LoadedLibrary&) = delete;

    // The function of that name and type; null when the library lacks it.
    template <typename Function>
    Function* find(const char* name) const {
        return reinterpret_cast<Function*>(symbol(name));
    }

private:
    void* symbol(const char* name) const;

    void* library = nullptr;
};

// Sets the scene for whatever is discovered and opened during a test.
class SceneInForce {
public:
    explicit SceneInForce(const std::string& path);
    ~SceneInForce();
    SceneInForce(const SceneInForce&) = delete;
    SceneInForce& operator=(const SceneInForce&) = delete;
};

} // namespace qorn::simulator::test
