#include "BlockedFile.h"

#include "ScriptedDriver.h"

#include <csignal>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qorn::timetagger::gui::test {

BlockedFile::BlockedFile() {
    std::signal(SIGPIPE, SIG_IGN);
    const std::string name = folder.file("pipe");
    if (mkfifo(name.c_str(), 0600) != 0 ||
        (reading = open(name.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) < 0) {
        throw std::runtime_error("BlockedFile: no pipe");
    }
}

BlockedFile::~BlockedFile() {
    finish();
    breakOff();
    std::signal(SIGPIPE, SIG_DFL);
}

QString BlockedFile::path() const {
    return QString::fromStdString(folder.file("pipe"));
}

bool BlockedFile::waitUntilWritten() {
    pollfd request{reading, POLLIN, 0};
    const auto limit = std::chrono::milliseconds(qorn::testing::kEventLimit).count();
    return poll(&request, 1, static_cast<int>(limit)) == 1;
}

void BlockedFile::drain() {
    reader = std::thread([this] {
        std::vector<std::uint8_t> block(1 << 16);
        pollfd request{reading, POLLIN, 0};
        while (poll(&request, 1, -1) == 1) {
            const ssize_t count = read(reading, block.data(), block.size());
            if (count <= 0) {
                return;
            }
            received.insert(received.end(), block.begin(), block.begin() + count);
        }
    });
}

qorn::testing::Bytes BlockedFile::finish() {
    if (reader.joinable()) {
        reader.join();
    }
    return std::move(received);
}

void BlockedFile::breakOff() {
    if (reading >= 0) {
        ::close(reading);
        reading = -1;
    }
}

} // namespace qorn::timetagger::gui::test
