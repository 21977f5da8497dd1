// Paths of files that a measurement writes by itself, which must not take the place of earlier ones: two may
// begin in the same second, and the clock of a computer may be set back. Any thread.
#pragma once

#include <QString>

#include <functional>

namespace qorn::timetagger::gui {

// The path with `addition` behind its name, ahead of its suffix.
QString pathWithAddition(const QString& path, const QString& addition);

// The path, or the first with "_2", "_3" and so on behind its name that is not taken. By itself, a path is
// taken when there is a file of that name; devices and folders are not asked about.
QString freeFilePath(const QString& path);
QString freeFilePath(const QString& path, const std::function<bool(const QString&)>& isTaken);

} // namespace qorn::timetagger::gui
