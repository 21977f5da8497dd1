// Files that were laid down by hand and are checked in: as they are, or as hexadecimal digits with comments.
#pragma once

#include "StreamBuilder.h"

#include <string>

namespace qorn::testing {

// Bytes of a file of hexadecimal digits; blanks are skipped, "#" begins a comment. Throws when there is no
// such file.
Bytes goldenBytes(const std::string& path);

// A file as it stands. Throws when there is no such file.
std::string goldenText(const std::string& path);

} // namespace qorn::testing
