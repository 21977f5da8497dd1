// Makes a recording whole whose program or machine died while it recorded.
#pragma once

#include <filesystem>

namespace qorn::qornts {

// Makes the companion anew from the file and from what the last companion tells of its times, losses and end.
// Records that it tells of and the file does not have count as lost in the stage "file". Bytes of a record
// that is cut off go to "<path>.cut", a companion that cannot be used or tells of other records than are
// there to
// "<path>.json.old"; where there is such a file already, nothing is done. Nothing else of the file changes.
// Refuses a file that is being recorded, and one with damaged records: false, with complaints. Throws
// std::exception when a file cannot be read or written.
bool recoverRecording(const std::filesystem::path& path);

} // namespace qorn::qornts
