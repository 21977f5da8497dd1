#include "Export.h"

#include "CsvWriter.h"
#include "NpyWriter.h"
#include "OutputFile.h"
#include "Progress.h"
#include "Text.h"

#include <memory>
#include <optional>
#include <stdexcept>

namespace qorn::qornts {
namespace {

namespace fs = std::filesystem;

void refuseInput(const Command& command) {
    fs::path part = command.output;
    part += ".part";
    for (const fs::path& file : command.files) {
        std::error_code none;
        if (fs::equivalent(file, command.output, none) || fs::equivalent(file, part, none)) {
            throw std::runtime_error(file.string() + ": the output would replace it");
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
