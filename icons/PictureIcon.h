// Icons of the program's own pictures. GUI thread only.
//
// What was drawn is kept under the picture's name, so all icons of a picture share it. (The toolkit's own
// icons each have a name for that, and it keeps those names for good: hours of tabs opened and closed would
// show.)
#pragma once

#include <QIcon>
#include <QString>

namespace qorn::timetagger::gui {

enum class IconColours {
    Own,  // as the picture has them, paled by the style where the icon is disabled
    Text, // all of it in the palette's text colour of the moment; icons handed out before follow it too
};

// path: a drawing that QImageReader reads at any size. A picture that is not there gives an empty icon.
QIcon pictureIcon(const QString& path, IconColours colours);

} // namespace qorn::timetagger::gui
