#include "CommandLine.h"

#include <optional>
#include <string_view>

namespace qorn::qornts {
namespace {

class Parser {
public:
    explicit Parser(std::span<const char* const> arguments) : left(arguments) {}

    Command parse() {
        if (left.empty()) {
            throw UsageError("a command is missing: info, export, verify or recover");
        }
        const std::string_view first = next();
        if (first == "info") {
            command.action = Action::Info;
        } else if (first == "export") {
            command.action = Action::Export;
        } else if (first == "verify") {
            command.action = Action::Verify;
        } else if (first == "recover") {
            command.action = Action::Recover;
        } else if (!isGeneral(first)) {
            throw UsageError("unknown command \"" + std::string(first) + "\"");
        } else {
            return command;
        }
        while (!left.empty()) {
            if (const std::string_view argument = next(); !optionsEnded && isGeneral(argument)) {
                return command;
            } else {
                take(argument);
            }
        }
        check();
        return command;
    }

private:
    std::string_view next() {
        const std::string_view argument = left.front();
        left = left.subspan(1);
        return argument;
    }

    // An option that makes all others void.
    bool isGeneral(std::string_view argument) {
        if (argument == "-h" || argument == "--help") {
            command.action = Action::Help;
        } else if (argument == "--version") {
            command.action = Action::Version;
        } else {
            return false;
        }
        return true;
    }

    void take(std::string_view argument) {
        if (argument.empty()) {
            throw UsageError("the name of a file is empty");
        } else if (optionsEnded || argument.size() < 2 || argument.front() != '-') {
            command.files.emplace_back(argument);
        } else if (argument == "--") {
            optionsEnded = true;
        } else if (command.action == Action::Export && (argument == "--csv" || argument == "--npy")) {
            takeOutput(argument);
        } else if (command.action == Action::Export && argument == "--force") {
            command.force = true;
        } else {
            throw UsageError("unknown option \"" + std::string(argument) + "\"");
        }
    }

    void takeOutput(std::string_view option) {
        if (format) {
            throw UsageError("only one of --csv and --npy can be written");
        }
        if (left.empty() || *left.front() == '\0') {
            throw UsageError(std::string(option) + " needs the name of a file");
        }
        format = option == "--csv" ? ExportFormat::Csv : ExportFormat::Npy;
        command.format = *format;
        command.output = next();
    }

    void check() const {
        if (command.files.empty()) {
            throw UsageError("the name of a recording is missing");
        }
        if (command.action == Action::Recover && command.files.size() > 1) {
            throw UsageError("recover takes one recording at a time");
        }
        if (command.action != Action::Export) {
            return;
        }
        if (!format) {
            throw UsageError("export needs --csv or --npy");
        }
        if (command.output == "-" && *format == ExportFormat::Npy) {
            throw UsageError("--npy cannot go to the standard output");
        }
    }

    std::span<const char* const> left;
    Command command;
    std::optional<ExportFormat> format;
    bool optionsEnded = false;
};

} // namespace

Command parseCommandLine(std::span<const char* const> arguments) {
    return Parser(arguments).parse();
}

std::string helpText() {
    return R"(Reads and checks recordings of time tags (.qornts).

  qornts info FILE...
      Prints what the files say of themselves, and the tags, span and rates in them.

  qornts export FILE... --csv OUT [--force]
  qornts export FILE... --npy OUT [--force]
      Writes the tags as text with the columns channel (1 to 4) and time_ps, or as a NumPy array of
      records with these fields. "-" as OUT is the standard output, for CSV only. An OUT that is
      there already is replaced only with --force.

  qornts verify FILE...
      Checks each file against its companion, FILE.json: header, records, times, counts and CRCs.

  qornts recover FILE
      Makes the companion of a recording anew whose program died. Bytes of a record that is cut off
      go to FILE.cut; nothing else of the file changes. Records that the companion tells of and the
      file does not have count as lost; the earlier companion is then FILE.json.old.

For info and export several files are the parts of one recording, in order. Their times are absolute
where each has a companion that fits.

  -h, --help    prints this
  --version     prints the version

Exit status: 0 done, 1 a file cannot be read or written or is not what was recorded, 2 wrong usage.
)";
}

} // namespace qorn::qornts
