// Reads a scene from its JSON text and checks every value; the built-in scene is such a text too. A refusal
// is thrown as SceneError: line <n>, key "<path>": <what is wrong>.
#pragma once

#include "Scene.h"

#include <string_view>

namespace qorn::simulator {

Scene loadScene(std::string_view json);

// The scene of the two units that stand in for a missing instrument.
std::string_view builtInScene();

} // namespace qorn::simulator
