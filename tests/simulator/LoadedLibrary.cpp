#include "LoadedLibrary.h"

#include <cstdlib>
#include <stdexcept>

#include <dlfcn.h>

namespace qorn::simulator::test {

LoadedLibrary::LoadedLibrary() : library(dlopen(QORN_SIMULATOR, RTLD_NOW | RTLD_LOCAL)) {
    if (library == nullptr) {
        throw std::runtime_error(dlerror());
    }
}

LoadedLibrary::~LoadedLibrary() {
    dlclose(library);
}

void* LoadedLibrary::symbol(const char* name) const {
    return dlsym(library, name);
}

SceneInForce::SceneInForce(const std::string& path) {
    setenv("QORN_SIMULATOR_SCENE", path.c_str(), 1);
}

SceneInForce::~SceneInForce() {
    unsetenv("QORN_SIMULATOR_SCENE");
}

} // namespace qorn::simulator::test
