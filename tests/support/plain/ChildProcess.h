// A program run by a test: what it writes is collected while it runs, and its end is told with what it used.
//
// Owned by a test, used by its thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <sys/types.h>

namespace qorn::testing {

class ChildProcess {
public:
    struct Options {
        std::string folder;                   // to run in; empty for the test's own
        std::vector<std::string> environment; // additions, as NAME=value
        std::string standardOutput;           // a file that takes it; empty to collect it
        bool terminal = false;                // standard error is a terminal
        std::size_t largestFile = 0;          // in bytes; 0 for no limit
        bool inputOpen = false; // standard input stays open until closeInput(), else it is empty
    };
    struct Ending {
        int code = -1;             // exit code; -1 when a signal ended it
        int signal = 0;            // that ended it
        std::size_t peakBytes = 0; // of resident memory
    };

    // Starts it; throws std::runtime_error when that fails.
    ChildProcess(const std::string& program, const std::vector<std::string>& arguments);
    ChildProcess(const std::string& program, const std::vector<std::string>& arguments,
                 const Options& options);
    ~ChildProcess(); // kills it
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    void send(int signal);
    void closeInput();
    // Waits for the end; at the limit it kills the program and fails the running test.
    Ending wait();
    // Waits until its output or errors contain the text; false at the end of both, or at the limit.
    bool waitForOutput(const std::string& part);
    bool waitForErrors(const std::string& part);
    bool isRunning();

    std::string output() const; // so far
    std::string errors() const;

private:
    struct Stream {
        int descriptor = -1;
        std::string text; // guarded by the mutex
        bool ended = false;
        std::thread reader;
    };

    void collect(Stream& stream);
    bool waitFor(const Stream& stream, const std::string& part);
    bool reap(bool block);

    pid_t process = -1;
    bool over = false;
    Ending ending;
    int input = -1;
    mutable std::mutex mutex;
    std::condition_variable changed;
    Stream out;
    Stream err;
};

} // namespace qorn::testing
