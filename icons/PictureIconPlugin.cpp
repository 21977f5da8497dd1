#include "PictureIconPlugin.h"

#include "PictureIconEngine.h"

namespace qorn::timetagger::gui {

QIconEngine* PictureIconPlugin::create(const QString& path) {
    return new PictureIconEngine(path, IconColours::Own);
}

} // namespace qorn::timetagger::gui
