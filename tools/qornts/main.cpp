// qornts: tells what is in recordings of time tags, exports, checks and mends them.
#include "CommandLine.h"
#include "Export.h"
#include "Info.h"
#include "Recover.h"
#include "Text.h"
#include "Verify.h"

#include <csignal>
#include <exception>

namespace {

using namespace qorn::qornts;

bool carryOut(const Command& command) {
    switch (command.action) {
    case Action::Help:
        print(helpText());
        break;
    case Action::Version:
        print("qornts " QORNTS_VERSION "\n");
        break;
    case Action::Info:
        return printInfo(command.files);
    case Action::Export:
        exportRecording(command);
        break;
    case Action::Verify:
        return verifyRecordings(command.files);
    case Action::Recover:
        return recoverRecording(command.files.front());
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    constexpr int kFailed = 1;
    constexpr int kWrongUsage = 2;
    std::signal(SIGXFSZ, SIG_IGN); // a limit on file sizes is a failed write like a full disk
    try {
        return carryOut(parseCommandLine({argv + 1, static_cast<std::size_t>(argc - 1)})) ? 0 : kFailed;
    } catch (const UsageError& error) {
        complain(std::string(error.what()) + " (see qornts --help)");
        return kWrongUsage;
    } catch (const std::exception& error) {
        complain(explanation(error));
        return kFailed;
    }
}
