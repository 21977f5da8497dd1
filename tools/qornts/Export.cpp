#include "Export.h"

#include "CsvWriter.h"
#include "NpyWriter.h"
#include "OutputFile.h"
#include "Progress.h"
#include "RecordingCompanionFile.h"
#include "Text.h"

#include <memory>
#include <optional>
#include <stdexcept>

namespace qorn::qornts {
namespace {

namespace fs = std::filesystem;

fs::path partOf(fs::path path) {
    path += ".part";
    return path;
}

// Whether both are names of one file, or would be if there were one.
bool areSame(const fs::path& left, const fs::path& right) {
    std::error_code none;
    if (fs::equivalent(left, right, none)) {
        return true;
    }
    const fs::path place = fs::weakly_canonical(left, none);
    return !place.empty() && place == fs::weakly_canonical(right, none);
}

// The output is neither a recording nor what belongs to one.
void refuseInput(const Command& command) {
    const fs::path written[] = {command.output, partOf(command.output)};
    for (const fs::path& file : command.files) {
        const fs::path companion = timing::companion_path(file);
        for (const fs::path& kept : {file, companion, partOf(companion)}) {
            for (const fs::path& output : written) {
                if (areSame(kept, output)) {
                    throw std::runtime_error(kept.string() + ": the output would replace it");
                }
            }
        }
    }
}

std::unique_ptr<TagWriter> makeWriter(ExportFormat format, OutputFile& file) {
    if (format == ExportFormat::Npy) {
        return std::make_unique<NpyWriter>(file);
    }
    return std::make_unique<CsvWriter>(file);
}

} // namespace

void exportRecording(const Command& command) {
    RecordingParts recording(command.files);
    std::optional<OutputFile> file;
    if (command.output == "-") {
        file.emplace();
    } else {
        refuseInput(command);
        file.emplace(command.output, command.force);
    }
    const std::unique_ptr<TagWriter> writer = makeWriter(command.format, *file);
    {
        Progress progress(recording.payloadBytes());
        for (auto tags = recording.read(); !tags.empty(); tags = recording.read()) {
            writer->write(tags);
            progress.show(recording.bytesRead());
        }
    }
    writer->finish();
    file->commit();
    for (const std::string& warning : recording.warnings()) {
        warn(warning);
    }
}

} // namespace qorn::qornts
