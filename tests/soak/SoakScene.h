// The instrument that the soak runs on, described by a scene.
#pragma once

#include <QByteArray>
#include <QString>

#include <random>

namespace qorn::soak {

// One unit with pairs, noise and a clock on its inputs, `tagsPerSecond` in all, that writes the tags it sends
// to `truthFile`. Calls of the driver fail now and then, by the seeded generator; `faults` is how many.
QByteArray soakScene(double tagsPerSecond, const QString& truthFile, int faults, std::mt19937_64& random);

} // namespace qorn::soak
