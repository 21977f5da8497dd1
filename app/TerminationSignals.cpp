#include "TerminationSignals.h"

#include <QSocketNotifier>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>

#include <fcntl.h>
#include <unistd.h>

namespace qorn::timetagger::gui {
namespace {

constexpr int kSignals[] = {SIGTERM, SIGINT, SIGHUP};

// A handler is given nothing but the signal's number.
std::atomic<int> writeEnd{-1};
static_assert(std::atomic<int>::is_always_lock_free);

extern "C" void tellEventLoop(int) {
    const int interrupted = errno; // whose code may be about to look at it
    const char byte = 0;
    const ssize_t written = ::write(writeEnd.load(), &byte, 1);
    static_cast<void>(written); // a full pipe has told it already
    errno = interrupted;
}

void handle(int signal) {
    struct sigaction earlier {};
    if (::sigaction(signal, nullptr, &earlier) != 0 || earlier.sa_handler == SIG_IGN) {
        return;
    }
    struct sigaction action {};
    action.sa_handler = tellEventLoop;
    action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND); // impatience gets its way
    ::sigaction(signal, &action, nullptr);
}

void unhandle(int signal) {
    struct sigaction current {};
    if (::sigaction(signal, nullptr, &current) == 0 && current.sa_handler == tellEventLoop) {
        std::signal(signal, SIG_DFL);
    }
}

} // namespace

TerminationSignals::TerminationSignals(QObject* parent) : QObject(parent) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        return; // signals end the program as ever
    }
    readEnd = ends[0];
    writeEnd = ends[1];
    auto* notifier = new QSocketNotifier(readEnd, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this, notifier] {
        notifier->setEnabled(false);
        Q_EMIT received();
    });
    for (const int signal : kSignals) {
        handle(signal);
    }
}

TerminationSignals::~TerminationSignals() {
    if (readEnd < 0) {
        return;
    }
    for (const int signal : kSignals) {
        unhandle(signal);
    }
    ::close(writeEnd.exchange(-1));
    ::close(readEnd);
}

} // namespace qorn::timetagger::gui
