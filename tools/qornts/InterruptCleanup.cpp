#include "InterruptCleanup.h"

#include <atomic>
#include <csignal>

#include <unistd.h>

namespace qorn::qornts {
namespace {

constexpr int kSignals[] = {SIGHUP, SIGINT, SIGTERM};

// A handler is given nothing but the signal's number.
std::atomic<const char*> doomedPath{nullptr};
static_assert(std::atomic<const char*>::is_always_lock_free);

extern "C" void removeAndEnd(int signal) {
    if (const char* path = doomedPath.load()) {
        ::unlink(path);
    }
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

class BlockedSignals {
public:
    BlockedSignals() {
        sigset_t blocked;
        ::sigemptyset(&blocked);
        for (const int signal : kSignals) {
            ::sigaddset(&blocked, signal);
        }
        ::sigprocmask(SIG_BLOCK, &blocked, &before);
    }
    ~BlockedSignals() { ::sigprocmask(SIG_SETMASK, &before, nullptr); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

private:
    sigset_t before{};
};

} // namespace

InterruptCleanup::InterruptCleanup(const std::string& path, const std::function<void()>& create)
    : doomed(path) {
    const BlockedSignals blocked;
    create();
    doomedPath = doomed.c_str();
    for (const int signal : kSignals) {
        if (std::signal(signal, removeAndEnd) == SIG_IGN) {
            std::signal(signal, SIG_IGN); // as who started the program wants it, nohup for one
        }
    }
}

InterruptCleanup::~InterruptCleanup() {
    for (const int signal : kSignals) {
        if (std::signal(signal, SIG_DFL) == SIG_IGN) {
            std::signal(signal, SIG_IGN);
        }
    }
    doomedPath = nullptr;
}

} // namespace qorn::qornts
