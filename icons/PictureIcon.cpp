#include "PictureIcon.h"

#include "PictureIconEngine.h"

namespace qorn::timetagger::gui {

QIcon pictureIcon(const QString& path, IconColours colours) {
    return QIcon(new PictureIconEngine(path, colours));
}

} // namespace qorn::timetagger::gui
