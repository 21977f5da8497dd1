#include "AsyncDecodedQorntsWriter.h"

#include "TagWords.h"
#include "ThreadName.h"

#include <QCoreApplication>

#include <algorithm>
#include <span>
#include <stdexcept>

namespace qorn::timetagger::gui {
namespace {

constexpr const char* kBrokenOff = "the capture was broken off";
constexpr std::size_t kPieceBytes = 65536; // between two looks at the clock; goes past the file's buffer
constexpr auto kNew = timing::StreamFileWriter::Existing::Refuse;

std::uint64_t tagsOf(const AsyncDecodedQorntsWriter::Entry& entry) {
    return entry.payload.size() / timing::kTagWordBytes;
}

} // namespace

AsyncDecodedQorntsWriter::AsyncDecodedQorntsWriter(const QString& path,
                                                   const timing::StreamFileHeader& header,
                                                   std::chrono::milliseconds interval)
    : firstPath(path.toStdString()), refreshInterval(interval), refreshDue(Clock::now() + interval) {
    file.open(firstPath, header, kNew);
    worker = std::thread(&AsyncDecodedQorntsWriter::run, this);
}

AsyncDecodedQorntsWriter::~AsyncDecodedQorntsWriter() {
    // Whoever must know of a failure has called close().
    stopWork(timing::PartEnd::Error, kBrokenOff);
    file.set_record_sink({});
}

void AsyncDecodedQorntsWriter::enqueue(Entry entry) {
    std::unique_lock lock(mutex);
    const std::size_t size = entry.bytes();
    notFull.wait(lock, [&] {
        return stop || queue.empty() || (queue.size() < kMostEntries && queuedBytes + size <= kMostBytes);
    });
    if (stop && !failure) {
        throw std::runtime_error(
            QCoreApplication::translate("Measurement", "time-tag file writer is closed").toStdString());
    }
    handed += tagsOf(entry);
    if (failure && entry.kind == Entry::Kind::Loss) {
        lateLosses.push_back(std::move(entry.loss));
        return;
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
    queue.push_back(std::move(entry));
    queuedBytes += size;
    notEmpty.notify_one();
}

void AsyncDecodedQorntsWriter::check() {
    const std::lock_guard lock(mutex);
    if (failure) {
        std::rethrow_exception(failure);
    }
}

void AsyncDecodedQorntsWriter::finishRecording(timing::PartEnd end, const std::string& error) {
    Entry entry;
    entry.kind = Entry::Kind::Finish;
    entry.end = end;
    entry.error = error;
    enqueue(std::move(entry));
}

std::optional<QString> AsyncDecodedQorntsWriter::takeNotice() {
    const std::lock_guard lock(mutex);
    if (notices.empty()) {
        return std::nullopt;
    }
    QString notice = std::move(notices.front());
    notices.pop_front();
    return notice;
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
    if (!worker.joinable()) {
        return;
    }
    worker.join();
    if (failure) { // what came since is lost as well
        tellFailure(failureText);
    }
    companion.finish();
}

// What was handed over and is neither in a file nor left out because the recording was over.
std::uint64_t AsyncDecodedQorntsWriter::lostTags() {
    const std::lock_guard lock(mutex);
    return handed - unwanted - companion.recordsTaken();
}

void AsyncDecodedQorntsWriter::run() {
    timing::set_thread_name("qorn-writer");
    try {
        writeUntilClosed();
    } catch (const std::exception& error) {
        tellFailure(error.what());
        const std::lock_guard lock(mutex);
        if (!file.failure_reason().empty()) {
            const QString text =
                active ? QCoreApplication::translate("Measurement", "The recording %1 has ended: %2.")
                       : QCoreApplication::translate("Measurement", "The recording cannot go on in %1: %2.");
            notices.push_back(text.arg(QString::fromStdString(file.path()),
                                       QString::fromLocal8Bit(file.failure_reason().c_str())));
        }
        failure = std::current_exception();
        failureText = error.what();
        stop = true;
        notEmpty.notify_all();
        notFull.notify_all();
    }
}

// With all losses that are known by now.
void AsyncDecodedQorntsWriter::tellFailure(const std::string& text) {
    std::vector<timing::RecordingLoss> losses;
    {
        const std::lock_guard lock(mutex);
        losses.swap(lateLosses);
        for (Entry& entry : queue) { // which nobody will carry out
            if (entry.kind == Entry::Kind::Loss) {
                losses.push_back(std::move(entry.loss));
            }
        }
        queue.clear();
    }
    companion.fail(text, lostTags(), std::move(losses));
    noteCompanionFault();
}

void AsyncDecodedQorntsWriter::writeUntilClosed() {
    beginPart(firstPath);
    Entry entry;
    for (Next next = waitForWork(entry); next != Next::End; next = waitForWork(entry)) {
        if (next == Next::Work) {
            notFull.notify_one();
            carryOut(entry);
            if (active && isIdle()) {
                file.flush(); // so that little is lost when the process is killed
            }
        }
        refreshWhenDue();
    }
    if (active) {
        endPart(lastEnd, lastError);
    }
}

AsyncDecodedQorntsWriter::Next AsyncDecodedQorntsWriter::waitForWork(Entry& entry) {
    std::unique_lock lock(mutex);
    notEmpty.wait_until(lock, refreshDue, [this] { return !queue.empty() || stop; });
    if (queue.empty()) {
        return stop ? Next::End : Next::Refresh;
    }
    entry = std::move(queue.front());
    queue.pop_front();
    queuedBytes -= entry.bytes();
    return Next::Work;
}

bool AsyncDecodedQorntsWriter::isIdle() {
    const std::lock_guard lock(mutex);
    return queue.empty();
}

void AsyncDecodedQorntsWriter::carryOut(const Entry& entry) {
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
        active = false;
        file.open(entry.path.toStdString(), entry.header, kNew);
        beginPart(entry.path.toStdString());
        active = true;
        break;
    case Entry::Kind::Data:
        if (active) {
            write(entry);
        } else {
            unwanted += tagsOf(entry);
        }
        break;
    case Entry::Kind::Loss:
        companion.add(entry.loss);
        break;
    }
}

// A slow disk must not keep the companion from its time either.
void AsyncDecodedQorntsWriter::write(const Entry& entry) {
    companion.expect(entry.times);
    for (std::span<const unsigned char> left = entry.payload; !left.empty();) {
        const auto piece = left.first(std::min(left.size(), kPieceBytes));
        file.append(piece, piece.size() / timing::kTagWordBytes);
        left = left.subspan(piece.size());
        refreshWhenDue();
    }
}

void AsyncDecodedQorntsWriter::refreshWhenDue() {
    if (Clock::now() < refreshDue) {
        return;
    }
    if (active) {
        file.flush(); // the companion tells of nothing that waits in the buffer
    }
    companion.refresh();
    noteCompanionFault();
    refreshDue = Clock::now() + refreshInterval;
}

// The head goes to the file at once: a program that dies leaves a recording, if one of no tags.
void AsyncDecodedQorntsWriter::beginPart(const std::string& path) {
    file.flush();
    companion.begin(path);
    noteCompanionFault();
    refreshDue = Clock::now() + refreshInterval;
}

// A file that cannot be closed has another end than was meant.
void AsyncDecodedQorntsWriter::endPart(timing::PartEnd end, const std::string& error) {
    companion.checkFile();
    const timing::FileDescriptor stillLocked = file.hold_lock(); // whoever looks shall not find half an end
    file.close();
    companion.end(end, error);
    noteCompanionFault();
}

void AsyncDecodedQorntsWriter::noteCompanionFault() {
    if (auto notice = companion.takeNotice()) {
        const std::lock_guard lock(mutex);
        notices.push_back(std::move(*notice));
    }
}

} // namespace qorn::timetagger::gui
