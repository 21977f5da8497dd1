// The companion as a JSON file beside its stream file, which may come from anywhere.
#pragma once

#include "RecordingCompanion.h"

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace qorn::timing {

// Says what is wrong with a companion, as the rest of a sentence that names the file.
class CompanionFault : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

inline constexpr std::size_t kMostCompanionBytes = 16777216;

// "<path>.json".
std::filesystem::path companion_path(const std::filesystem::path& streamFile);

// One key per line, and last a CRC-32 of all that stands ahead of it.
std::string companion_to_json(const RecordingCompanion& companion);

// Keys unknown here do not count. Throws CompanionFault when the text is not what companion_to_json has
// written, or says what cannot be.
RecordingCompanion companion_from_json(std::string_view json);

// Whether the disk is to keep room for the next companion of the file, which "<path>.json.part" then holds.
enum class CompanionRoom { GiveBack, Keep };

// Writes "<path>.json" by way of "<path>.json.part", which is on the disk before it takes the other's place:
// it is never seen half written. Uses the room that was kept, if any; that room cannot be kept is no failure.
// Gives what went wrong, and nothing when all is well; an earlier companion is then as it was.
std::optional<std::string> write_companion(const std::filesystem::path& streamFile,
                                           const RecordingCompanion& companion,
                                           CompanionRoom room = CompanionRoom::GiveBack);

// Gives back the room that was kept; nothing when there is none.
void give_back_companion_room(const std::filesystem::path& streamFile);

// The companion of the stream file, or nothing when there is none. Throws CompanionFault.
std::optional<RecordingCompanion> read_companion(const std::filesystem::path& streamFile);

} // namespace qorn::timing
