// What the command line asks for.
#pragma once

#include <filesystem>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace qorn::qornts {

enum class Action { Help, Version, Info, Export, Verify, Recover };
enum class ExportFormat { Csv, Npy };

struct Command {
    Action action = Action::Help;
    std::vector<std::filesystem::path> files;
    ExportFormat format = ExportFormat::Csv; // export only, as all below
    std::filesystem::path output;            // "-" is the standard output, for CSV only
    bool force = false;
};

// Wrong usage: the text says what is wrong.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Reads the arguments behind the program's name. Throws UsageError.
Command parseCommandLine(std::span<const char* const> arguments);

std::string helpText();

} // namespace qorn::qornts
