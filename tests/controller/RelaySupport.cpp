#include "RelaySupport.h"

#include "ScriptedDriver.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qorn::timetagger::gui::test {

using namespace std::chrono_literals;

LoopbackServer::LoopbackServer() {
    std::string error;
    EXPECT_TRUE(server.start(0, 0, &error)) << error;
}

relay::RelayEndpoint LoopbackServer::endpoint() const {
    const auto stats = server.stats();
    return {"127.0.0.1", stats.stream_port, stats.status_port};
}

bool LoopbackServer::waitForClients(std::uint32_t count) {
    return eventually([&] { return server.stats().stream_clients == count; });
}

void LoopbackServer::publish(const Tags& tags) {
    server.publishRaw64(wordsOf(tags), tags.size());
}

LoopbackClient::LoopbackClient(const relay::RelayEndpoint& endpoint)
    : thread([this, endpoint] {
          try {
              relay::RelayClient().receive(endpoint, stop, [this](Tags& tags) {
                  const std::lock_guard lock(mutex);
                  received.insert(received.end(), tags.begin(), tags.end());
                  changed.notify_all();
              });
          } catch (const std::exception&) {
              // The server went first.
          }
      }) {}

LoopbackClient::~LoopbackClient() {
    stop = true;
    thread.join();
}

bool LoopbackClient::waitForTags(std::size_t count) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, qorn::testing::kEventLimit, [&] { return received.size() >= count; });
}

Tags LoopbackClient::tags() const {
    const std::lock_guard lock(mutex);
    return received;
}

bool PassingListener::follow(unsigned run) {
    const bool listens = run % 100 >= 50;
    if (listens == (client != nullptr)) {
        return true;
    }
    client = listens ? std::make_unique<LoopbackClient>(server.endpoint()) : nullptr;
    return server.waitForClients(listens ? 1 : 0);
}

RawPublisher::RawPublisher() : listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    EXPECT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), length), 0);
    EXPECT_EQ(listen(listener, 4), 0);
    EXPECT_EQ(getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length), 0);
    port = ntohs(address.sin_port);
}

RawPublisher::~RawPublisher() {
    closeClient();
    ::close(listener);
}

relay::RelayEndpoint RawPublisher::endpoint() const {
    return {"127.0.0.1", port, port};
}

bool RawPublisher::accept() {
    pollfd request{listener, POLLIN, 0};
    const auto limit = std::chrono::milliseconds(qorn::testing::kEventLimit).count();
    if (poll(&request, 1, static_cast<int>(limit)) != 1) {
        return false;
    }
    closeClient();
    client = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    return client >= 0;
}

bool RawPublisher::send(const qorn::testing::Bytes& bytes) {
    return ::send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

void RawPublisher::resetClient() {
    const linger now{1, 0};
    setsockopt(client, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    closeClient();
}

void RawPublisher::closeClient() {
    if (client >= 0) {
        ::close(client);
        client = -1;
    }
}

} // namespace qorn::timetagger::gui::test
