#include "AsyncDecodedQorntsWriter.h"

#include "TagWords.h"
#include "ThreadName.h"

#include <QCoreApplication>

#include <stdexcept>

#include <csignal>

namespace qorn::timetagger::gui {
namespace {

// A file that reaches the process's size limit is a failed write like any other, not the program's end.
void blockFileSizeSignal() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

constexpr const char* kBrokenOff = "the capture was broken off";

} // namespace

AsyncDecodedQorntsWriter::AsyncDecodedQorntsWriter(const QString& path,
                                                   const timing::StreamFileHeader& header)
    : firstPath(path.toStdString()) {
    file.open(path.toStdString(), header);
    worker = std::thread(&AsyncDecodedQorntsWriter::run, this);
}

AsyncDecodedQorntsWriter::~AsyncDecodedQorntsWriter() {
    // Whoever must know of a failure has called close().
    stopWork(timing::PartEnd::Error, kBrokenOff);
    file.set_record_sink({});
}

void AsyncDecodedQorntsWriter::enqueue(Entry entry) {
    std::unique_lock lock(mutex);
    const std::size_t size = entry.payload.size();
    notFull.wait(lock, [&] {
        return stop || queue.empty() || (queue.size() < kMostEntries && queuedBytes + size <= kMostBytes);
    });
    if (failure) {
        std::rethrow_exception(failure);
    }
    if (stop) {
        throw std::runtime_error(
            QCoreApplication::translate("Measurement", "time-tag file writer is closed").toStdString());
    }
    queue.push_back(std::move(entry));
    queuedBytes += size;
    notEmpty.notify_one();
}

void AsyncDecodedQorntsWriter::finishRecording(timing::PartEnd end, const std::string& error) {
    Entry entry;
    entry.kind = Entry::Kind::Finish;
    entry.end = end;
    entry.error = error;
    enqueue(std::move(entry));
}

void AsyncDecodedQorntsWriter::refreshCompanion() {
    Entry entry;
    entry.kind = Entry::Kind::Refresh;
    enqueue(std::move(entry));
}

std::optional<QString> AsyncDecodedQorntsWriter::takeNotice() {
    const std::lock_guard lock(mutex);
    return std::exchange(notice, std::nullopt);
}

void AsyncDecodedQorntsWriter::close() {
    stopWork(timing::PartEnd::Operator, {});
    if (failure) {
        std::rethrow_exception(failure);
    }
}

void AsyncDecodedQorntsWriter::stopWork(timing::PartEnd end, const std::string& error) {
    {
        const std::lock_guard lock(mutex);
        if (!std::exchange(stop, true)) {
            lastEnd = end;
            lastError = error;
        }
        notEmpty.notify_all();
        notFull.notify_all();
    }
    if (worker.joinable()) {
        worker.join();
    }
}

void AsyncDecodedQorntsWriter::run() {
    timing::set_thread_name("qorn-writer");
    blockFileSizeSignal();
    try {
        writeUntilClosed();
    } catch (const std::exception& error) {
        companion.end(timing::PartEnd::Error, error.what());
        noteCompanionFailure();
        const std::lock_guard lock(mutex);
        failure = std::current_exception();
        stop = true;
        notEmpty.notify_all();
        notFull.notify_all();
    }
}

void AsyncDecodedQorntsWriter::writeUntilClosed() {
    bool active = true; // the constructor has opened the first file
    beginPart(firstPath);
    noteCompanionFailure();
    for (;;) {
        Entry entry;
        {
            std::unique_lock lock(mutex);
            notEmpty.wait(lock, [this] { return !queue.empty() || stop; });
            if (queue.empty()) {
                break;
            }
            entry = std::move(queue.front());
            queue.pop_front();
            queuedBytes -= entry.payload.size();
        }
        notFull.notify_one();
        carryOut(entry, active);
        if (active && isIdle()) {
            file.flush(); // so that little is lost when the process is killed
        }
    }
    if (active) {
        endPart(lastEnd, lastError);
    }
}

bool AsyncDecodedQorntsWriter::isIdle() {
    const std::lock_guard lock(mutex);
    return queue.empty();
}

void AsyncDecodedQorntsWriter::carryOut(const Entry& entry, bool& active) {
    switch (entry.kind) {
    case Entry::Kind::Finish:
        if (active) {
            endPart(entry.end, entry.error);
        }
        active = false;
        break;
    case Entry::Kind::Rotate:
        if (active) {
            endPart(timing::PartEnd::Rotation);
        }
        file.open(entry.path.toStdString(), entry.header);
        beginPart(entry.path.toStdString());
        active = true;
        break;
    case Entry::Kind::Data:
        if (active) {
            companion.expect(entry.times);
            file.append(entry.payload, entry.payload.size() / timing::kTagWordBytes);
        }
        break;
    case Entry::Kind::Refresh:
        if (active) {
            file.flush(); // the companion tells of nothing that waits in the buffer
        }
        companion.refresh();
        break;
    case Entry::Kind::Loss:
        companion.add(entry.loss);
        break;
    }
    noteCompanionFailure();
}

// The head goes to the file at once: a program that dies leaves a recording, if one of no tags.
void AsyncDecodedQorntsWriter::beginPart(const std::string& path) {
    file.flush();
    companion.begin(path);
}

// A file that cannot be closed has another end than was meant.
void AsyncDecodedQorntsWriter::endPart(timing::PartEnd end, const std::string& error) {
    file.close();
    companion.end(end, error);
    noteCompanionFailure();
}

void AsyncDecodedQorntsWriter::noteCompanionFailure() {
    if (const auto failed = companion.takeFailure()) {
        const std::lock_guard lock(mutex);
        notice =
            QCoreApplication::translate("Measurement", "The recording goes on without its companion file: %1")
                .arg(QString::fromStdString(*failed));
    }
}

} // namespace qorn::timetagger::gui
