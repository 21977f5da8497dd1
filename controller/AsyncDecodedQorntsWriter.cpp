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

} // namespace

AsyncDecodedQorntsWriter::AsyncDecodedQorntsWriter(const QString& path,
                                                   const timing::StreamFileHeader& header) {
    file.open(path.toStdString(), header);
    worker = std::thread(&AsyncDecodedQorntsWriter::run, this);
}

AsyncDecodedQorntsWriter::~AsyncDecodedQorntsWriter() {
    try {
        close();
    } catch (...) {
        // Whoever must know of it has called close().
    }
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

void AsyncDecodedQorntsWriter::finishRecording() {
    enqueue(Entry{Entry::Kind::Finish, {}, {}, {}});
}

void AsyncDecodedQorntsWriter::close() {
    {
        const std::lock_guard lock(mutex);
        stop = true;
        notEmpty.notify_all();
        notFull.notify_all();
    }
    if (worker.joinable()) {
        worker.join();
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
}

void AsyncDecodedQorntsWriter::run() {
    timing::set_thread_name("qorn-writer");
    blockFileSizeSignal();
    try {
        writeUntilClosed();
    } catch (...) {
        const std::lock_guard lock(mutex);
        failure = std::current_exception();
        stop = true;
        notEmpty.notify_all();
        notFull.notify_all();
    }
}

void AsyncDecodedQorntsWriter::writeUntilClosed() {
    bool active = true; // the constructor has opened the first file
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
        file.close();
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
            file.close();
        }
        active = false;
        break;
    case Entry::Kind::Rotate:
        if (active) {
            file.close();
        }
        file.open(entry.path.toStdString(), entry.header);
        active = true;
        break;
    case Entry::Kind::Data:
        if (active) {
            file.append(entry.payload, entry.payload.size() / timing::kTagWordBytes);
        }
        break;
    }
}

} // namespace qorn::timetagger::gui
