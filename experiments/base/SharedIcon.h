// An icon of one of the program's pictures, however many places show it. GUI thread only.
#pragma once

#include <QIcon>
#include <QString>

namespace qorn::timetagger::gui {

// What has been drawn of it is kept under the picture's name, so all icons of a picture share it. (An icon
// made of the file has a name of its own for that, and the toolkit keeps such names for good.)
QIcon sharedIcon(const QString& path);

} // namespace qorn::timetagger::gui
