// Files of any content, and a configuration to read and write.
#pragma once

#include "ConfigurationFile.h"

#include <QByteArray>
#include <QString>

namespace qorn::testing {

// A failure of the test when it cannot be written.
void write(const QString& path, const QByteArray& bytes);
// "(no file)" when it cannot be read.
QByteArray contentsOf(const QString& path);

// A whole configuration with one tab, as it stands in a window, and as it stands in a file.
timetagger::gui::Configuration oneCounter();
QByteArray textOf(const timetagger::gui::Configuration& configuration);

} // namespace qorn::testing
