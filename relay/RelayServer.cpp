#include "RelayServer.h"

#include "RelayBuffers.h"
#include "RelayQueue.h"
#include "RelaySocket.h"
#include "RelayStatusClients.h"
#include "RelayStatusLine.h"
#include "RelayStreamClients.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <deque>
#include <mutex>
#include <span>
#include <system_error>
#include <thread>
#include <utility>

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace qorn::relay {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kSocketWait{20}; // longest wait of one pass
constexpr std::chrono::seconds kStatusInterval{1};

} // namespace

struct RelayServer::Impl {
    // Where the answers of one pass stand in `requests`; the stream clients follow, then the status clients.
    enum Slot : std::size_t { kWakeSlot, kStreamListenerSlot, kStatusListenerSlot, kFirstClientSlot };

    mutable std::mutex mutex; // guards queue, overrun_pending, stats; never held in a socket call
    RelayQueue queue;         // of stats.bytes_queued bytes
    bool overrun_pending = false;
    Stats stats;

    const std::shared_ptr<RelayBuffers> buffers = std::make_shared<RelayBuffers>();

    std::atomic<bool> running{false};
    std::thread thread;

    // A counter that becomes readable on new data or a stop. Made by the first start and kept from then on,
    // for a publisher may still be about to notify when stop() returns.
    RelaySocket wake;

    // Made before the thread starts and closed after it ended.
    RelaySocket stream_listener;
    RelaySocket status_listener;

    // Of the service thread alone.
    RelayStreamClients stream_clients;
    RelayStatusClients status_clients;
    std::vector<pollfd> requests;
    Clock::time_point last_status;
    Clock::time_point input_paused_until;

    void notify() const;
    void clear();
    std::uint64_t dropQueue(std::deque<RelayBatch>& dropped);
    bool open(std::uint16_t stream_port, std::uint16_t status_port, std::string* error);

    void run();
    void takeQueue();
    bool waitForSockets();
    void serveClients();
    template <typename Clients>
    void acceptClients(Slot slot, const RelaySocket& listener, Clients& clients);
    void storeClientCounts();
    void sendStatusWhenDue();
    void finish();
};

void RelayServer::Impl::notify() const {
    // Can only fail when the counter is already full, and then the thread is awake.
    (void)::eventfd_write(wake.fd(), 1);
}

void RelayServer::Impl::clear() {
    const std::lock_guard lock(mutex);
    queue = {};
    overrun_pending = false;
    Stats cleared;
    cleared.tags_lost = stats.tags_lost;
    stats = cleared;
    stream_clients = {};
}

// With the mutex; the batches are freed by the caller, without it. Returns their bytes.
std::uint64_t RelayServer::Impl::dropQueue(std::deque<RelayBatch>& dropped) {
    const std::uint64_t bytes = queue.moveTo(dropped);
    stats.bytes_queued = 0;
    stats.bytes_dropped += bytes;
    return bytes;
}

bool RelayServer::Impl::open(std::uint16_t stream_port, std::uint16_t status_port, std::string* error) {
    Stats opened;
    opened.running = true;
    stream_listener = createListeningSocket(stream_port, opened.stream_port, error);
    if (!stream_listener)
        return false;
    status_listener = createListeningSocket(status_port, opened.status_port, error);
    if (!status_listener)
        return false;
    if (!wake)
        wake = RelaySocket(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
    if (!wake) {
        if (error)
            *error = socketErrorText("could not start relay service");
        return false;
    }
    const std::lock_guard lock(mutex);
    opened.tags_lost = stats.tags_lost;
    stats = opened;
    return true;
}

void RelayServer::Impl::run() {
    pthread_setname_np(pthread_self(), "qorn-relay");
    last_status = input_paused_until = Clock::now();
    while (running) {
        takeQueue();
        if (!waitForSockets())
            break;
        serveClients();
        acceptClients(kStreamListenerSlot, stream_listener, stream_clients);
        acceptClients(kStatusListenerSlot, status_listener, status_clients);
        storeClientCounts();
        sendStatusWhenDue();
    }
    finish();
}

void RelayServer::Impl::takeQueue() {
    std::deque<RelayBatch> batches;
    bool overrun = false;
    {
        const std::lock_guard lock(mutex);
        stats.bytes_taken += queue.moveTo(batches);
        stats.bytes_queued = 0;
        overrun = std::exchange(overrun_pending, false);
    }
    std::uint64_t slow = 0;
    const std::uint64_t lost_before = stream_clients.traffic().lost_tags;
    if (overrun) {
        // A stream with a hole must not go on. One event counts once, however many clients it costs.
        stream_clients.closeAllAsSlow();
        ++slow;
    }
    for (const RelayBatch& batch : batches)
        slow += stream_clients.distribute(batch);
    if (slow > 0) {
        const std::lock_guard lock(mutex);
        stats.slow_clients_disconnected += slow;
        stats.tags_lost += stream_clients.traffic().lost_tags - lost_before;
    }
}

// False when waiting is impossible, and with it all service.
bool RelayServer::Impl::waitForSockets() {
    const bool input = Clock::now() >= input_paused_until;
    const short listening = input ? POLLIN : 0;
    requests.clear();
    requests.push_back({wake.fd(), POLLIN, 0});
    requests.push_back({stream_listener.fd(), listening, 0});
    requests.push_back({status_listener.fd(), listening, 0});
    stream_clients.appendPollRequests(requests, input);
    status_clients.appendPollRequests(requests, input);

    const int ready = ::poll(requests.data(), requests.size(), static_cast<int>(kSocketWait.count()));
    if (ready < 0) {
        for (pollfd& request : requests)
            request.revents = 0;
        return isTransientSocketError(errno);
    }
    if (requests[kWakeSlot].revents & POLLIN) {
        eventfd_t count = 0;
        (void)::eventfd_read(wake.fd(), &count);
    }
    return true;
}

void RelayServer::Impl::serveClients() {
    const std::span<const pollfd> answers = std::span<const pollfd>(requests).subspan(kFirstClientSlot);
    const std::size_t stream_count = stream_clients.size();
    const bool stream_input = stream_clients.serve(answers.first(stream_count));
    const bool status_input = status_clients.serve(answers.subspan(stream_count));
    // A peer that floods us with bytes nobody wants shall not keep this thread busy.
    if (stream_input || status_input)
        input_paused_until = Clock::now() + kSocketWait;
}

template <typename Clients>
void RelayServer::Impl::acceptClients(Slot slot, const RelaySocket& listener, Clients& clients) {
    if (!(requests[slot].revents & POLLIN))
        return;
    while (RelaySocket socket = acceptSocket(listener))
        clients.add(std::move(socket));
    // Out of descriptors or memory: the listener stays readable, so ask again later instead of at once.
    if (!isTransientSocketError(errno))
        input_paused_until = Clock::now() + kSocketWait;
}

void RelayServer::Impl::storeClientCounts() {
    const RelayStreamClients::Traffic traffic = stream_clients.traffic();
    const std::lock_guard lock(mutex);
    stats.bytes_due = traffic.due;
    stats.bytes_sent = traffic.sent;
    stats.bytes_pending = traffic.pending;
    stats.bytes_unsent = traffic.unsent;
    stats.stream_clients = static_cast<std::uint32_t>(stream_clients.size());
    stats.status_clients = static_cast<std::uint32_t>(status_clients.size());
}

void RelayServer::Impl::sendStatusWhenDue() {
    const Clock::time_point now = Clock::now();
    if (now - last_status < kStatusInterval)
        return;
    last_status = now;
    Stats current;
    {
        const std::lock_guard lock(mutex);
        current = stats;
    }
    status_clients.sendLine(relayStatusLine(current));
}

void RelayServer::Impl::finish() {
    stream_clients.closeAll();
    status_clients.closeAll();
    running = false;
    storeClientCounts();
    const std::lock_guard lock(mutex);
    stats.running = false;
}

RelayServer::RelayServer() : impl(std::make_unique<Impl>()) {}

RelayServer::~RelayServer() {
    stop();
}

bool RelayServer::start(std::uint16_t stream_port, std::uint16_t status_port, std::string* error) {
    stop();
    impl->clear();
    if (!impl->open(stream_port, status_port, error)) {
        stop();
        return false;
    }
    impl->running = true;
    try {
        impl->thread = std::thread(&Impl::run, impl.get());
    } catch (const std::system_error& refusal) {
        errno = refusal.code().value();
        if (error)
            *error = socketErrorText("could not start relay service");
        stop();
        return false;
    }
    return true;
}

void RelayServer::stop() {
    impl->running = false;
    if (impl->thread.joinable()) {
        impl->notify();
        impl->thread.join();
    }
    impl->stream_listener.close();
    impl->status_listener.close();
    std::deque<RelayBatch> dropped; // freed after the lock is
    {
        const std::lock_guard lock(impl->mutex);
        impl->dropQueue(dropped);
        impl->stats.running = false;
    }
    dropped.clear();
    impl->buffers->clear();
}

bool RelayServer::running() const {
    return impl->running;
}

RelayServer::Stats RelayServer::stats() const {
    const std::lock_guard lock(impl->mutex);
    return impl->stats;
}

std::vector<std::uint8_t> RelayServer::takeBuffer() {
    return impl->buffers->take();
}

bool RelayServer::publishRaw64(std::vector<std::uint8_t> bytes, std::uint64_t tag_count) {
    if (bytes.empty() || !impl->running)
        return false;
    const RelayBatch batch = impl->buffers->makeBatch(std::move(bytes));
    std::deque<RelayBatch> dropped; // freed after the lock is
    bool taken = false;
    {
        const std::lock_guard lock(impl->mutex);
        if (!impl->running)
            return false;
        Stats& stats = impl->stats;
        stats.bytes_offered += batch->size();
        taken = impl->queue.add(batch);
        if (taken) {
            stats.bytes_queued = impl->queue.bytes();
            stats.tags_published += tag_count;
            stats.bytes_published += batch->size();
        } else {
            stats.tags_lost += tag_count + impl->dropQueue(dropped) / kTagBytes;
            stats.bytes_refused += batch->size();
            stats.ingress_overruns += 1;
            impl->overrun_pending = true;
        }
    }
    impl->notify();
    return taken;
}

} // namespace qorn::relay
