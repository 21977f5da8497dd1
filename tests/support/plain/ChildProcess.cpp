#include "ChildProcess.h"

#include "ScriptedDriver.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>

#include <fcntl.h>
#include <pty.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qorn::testing {
namespace {

struct Pipe {
    int readEnd = -1;
    int writeEnd = -1;
};

Pipe makePipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("ChildProcess: no pipe");
    }
    return {ends[0], ends[1]};
}

Pipe makeTerminal() {
    Pipe terminal;
    winsize size{};
    size.ws_row = 24;
    size.ws_col = 80;
    if (openpty(&terminal.readEnd, &terminal.writeEnd, nullptr, nullptr, &size) != 0) {
        throw std::runtime_error("ChildProcess: no terminal");
    }
    fcntl(terminal.readEnd, F_SETFD, FD_CLOEXEC);
    fcntl(terminal.writeEnd, F_SETFD, FD_CLOEXEC);
    return terminal;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

// Behind the fork, in the child: calls of the system alone.
void prepare(const ChildProcess::Options& options) {
    if (!options.folder.empty() && chdir(options.folder.c_str()) != 0) {
        _exit(126);
    }
    if (options.largestFile != 0) {
        const rlimit limit{options.largestFile, options.largestFile};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
}

} // namespace

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& arguments)
    : ChildProcess(program, arguments, Options()) {}

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& arguments,
                           const Options& options) {
    std::vector<std::string> words{program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<std::string> variables = options.environment;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        variables.emplace_back(*variable);
    }
    const std::vector<char*> argv = pointersTo(words);
    const std::vector<char*> envp = pointersTo(variables);
    const Pipe inputPipe = makePipe();
    const Pipe outputPipe = makePipe();
    const Pipe errorPipe = options.terminal ? makeTerminal() : makePipe();
    int outputEnd = outputPipe.writeEnd;
    if (!options.standardOutput.empty()) {
        outputEnd = open(options.standardOutput.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    }
    process = fork();
    if (process == 0) {
        dup2(inputPipe.readEnd, STDIN_FILENO);
        dup2(outputEnd, STDOUT_FILENO);
        dup2(errorPipe.writeEnd, STDERR_FILENO);
        prepare(options);
        execve(program.c_str(), argv.data(), envp.data());
        _exit(127);
    }
    if (outputEnd != outputPipe.writeEnd) {
        close(outputEnd);
    }
    close(inputPipe.readEnd);
    close(outputPipe.writeEnd);
    close(errorPipe.writeEnd);
    input = inputPipe.writeEnd;
    out.descriptor = outputPipe.readEnd;
    err.descriptor = errorPipe.readEnd;
    if (process < 0) {
        over = true;
        throw std::runtime_error("ChildProcess: cannot fork");
    }
    if (!options.inputOpen) {
        closeInput();
    }
    out.reader = std::thread([this] { collect(out); });
    err.reader = std::thread([this] { collect(err); });
}

ChildProcess::~ChildProcess() {
    if (!over) {
        send(SIGKILL);
        wait();
    }
    closeInput();
}

void ChildProcess::collect(Stream& stream) {
    std::array<char, 65536> block;
    while (true) {
        const ssize_t count = read(stream.descriptor, block.data(), block.size());
        const bool interrupted = count < 0 && errno == EINTR;
        const std::lock_guard lock(mutex);
        if (count > 0) {
            stream.text.append(block.data(), static_cast<std::size_t>(count));
        } else if (!interrupted) { // the end; a terminal without its program tells it by an error
            stream.ended = true;
        }
        changed.notify_all();
        if (stream.ended) {
            return;
        }
    }
}

void ChildProcess::send(int signal) {
    if (!over) {
        kill(process, signal);
    }
}

void ChildProcess::closeInput() {
    if (input >= 0) {
        close(input);
        input = -1;
    }
}

// True once the program has ended.
bool ChildProcess::reap(bool block) {
    if (over) {
        return true;
    }
    int status = 0;
    rusage usage{};
    if (wait4(process, &status, block ? 0 : WNOHANG, &usage) != process) {
        return false;
    }
    over = true;
    ending.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    ending.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    ending.peakBytes = static_cast<std::size_t>(usage.ru_maxrss) * 1024;
    return true;
}

ChildProcess::Ending ChildProcess::wait() {
    {
        std::unique_lock lock(mutex);
        const bool ended = changed.wait_for(lock, kEventLimit, [this] { return out.ended && err.ended; });
        if (!ended) {
            ADD_FAILURE() << "the program does not end; it wrote " << out.text << " and " << err.text;
            kill(process, SIGKILL);
        }
    }
    reap(true); // its streams are closed: it is about to be gone
    for (Stream* stream : {&out, &err}) {
        if (stream->reader.joinable()) {
            stream->reader.join();
            close(stream->descriptor);
        }
    }
    return ending;
}

bool ChildProcess::isRunning() {
    return !reap(false);
}

bool ChildProcess::waitFor(const Stream& stream, const std::string& part) {
    std::unique_lock lock(mutex);
    const auto found = [&] { return stream.text.find(part) != std::string::npos; };
    changed.wait_for(lock, kEventLimit, [&] { return found() || stream.ended; });
    return found();
}

bool ChildProcess::waitForOutput(const std::string& part) {
    return waitFor(out, part);
}

bool ChildProcess::waitForErrors(const std::string& part) {
    return waitFor(err, part);
}

std::string ChildProcess::output() const {
    const std::lock_guard lock(mutex);
    return out.text;
}

std::string ChildProcess::errors() const {
    const std::lock_guard lock(mutex);
    return err.text;
}

} // namespace qorn::testing
