// Only what a process can try on itself; whole programs are ended elsewhere.
#include "TerminationSignals.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <unistd.h>

namespace qorn::timetagger::gui {
namespace {

bool isOpen(int descriptor) {
    return ::fcntl(descriptor, F_GETFD) != -1;
}

// The end that the handler writes to: the pipe has the two lowest free numbers.
int nextWriteEnd() {
    std::array<int, 2> ends{};
    EXPECT_EQ(::pipe(ends.data()), 0);
    ::close(ends[0]);
    ::close(ends[1]);
    return ends[1];
}

TEST(TerminationSignals, TellTheEventLoopOnce) {
    const TerminationSignals termination;
    QSignalSpy received(&termination, &TerminationSignals::received);
    std::raise(SIGHUP);
    EXPECT_TRUE(received.isEmpty()) << "not in the handler";
    ASSERT_TRUE(received.wait());
    EXPECT_EQ(received.size(), 1);
}

TEST(TerminationSignals, LeaveTheErrorNumberOfTheInterruptedCodeAlone) {
    const int writeEnd = nextWriteEnd();
    const TerminationSignals termination;
    ASSERT_TRUE(isOpen(writeEnd));
    const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC); // where each write fails
    ASSERT_GE(full, 0);
    ASSERT_EQ(::dup2(full, writeEnd), writeEnd);
    ::close(full);
    errno = 0;
    const char byte = 0;
    ASSERT_EQ(::write(writeEnd, &byte, 1), -1);
    ASSERT_EQ(errno, ENOSPC);

    errno = EDOM;
    std::raise(SIGHUP);
    EXPECT_EQ(errno, EDOM);
}

} // namespace
} // namespace qorn::timetagger::gui
