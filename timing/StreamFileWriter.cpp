#include "StreamFileWriter.h"

#include "Error.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <limits>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qorn::timing {
namespace {

constexpr std::size_t kBufferBytes = 1048576;
constexpr std::size_t kDirectBytes = 65536; // and more are not worth a copy
constexpr std::uint64_t kPageBytes = 4096;
constexpr int kLockTries = 100; // half a second: on a busy machine a tool may be held up with the lock
constexpr std::chrono::milliseconds kLockPause{5};

std::uint64_t record_bytes(StreamFormat format) {
    switch (format) {
    case StreamFormat::Raw64:
        return 8;
    case StreamFormat::Delta32:
        return 4;
    case StreamFormat::PackedDelta:
        break;
    }
    return 1; // records end at any bit
}

std::vector<std::uint8_t> head_of(const std::string& json) {
    std::vector<std::uint8_t> bytes(kStreamFileMagic.begin(), kStreamFileMagic.end());
    for (unsigned shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<std::uint8_t>(json.size() >> shift));
    }
    bytes.insert(bytes.end(), json.begin(), json.end());
    return bytes;
}

bool isRegular(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

FileDescriptor openFor(const std::string& path, StreamFileWriter::Existing existing) {
    constexpr int kFlags = O_WRONLY | O_CREAT | O_CLOEXEC; // an emptying open would not wait for the lock
    if (existing == StreamFileWriter::Existing::Refuse) {
        FileDescriptor made(::open(path.c_str(), kFlags | O_EXCL, 0666));
        if (made.is_open() || errno != EEXIST) {
            return made;
        }
        if (isRegular(path)) {
            throw Error(TT_FILE_ERROR, "StreamFileWriter: there is such a file already: " + path);
        }
    }
    return FileDescriptor(::open(path.c_str(), kFlags, 0666));
}

// False when another writer has the file. A tool that asks whether it is being written has the lock for a
// moment, and where there are no locks, it does without.
bool lock(const FileDescriptor& file) {
    for (int left = kLockTries; ::flock(file.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;) {
        if (--left == 0) {
            return false;
        }
        std::this_thread::sleep_for(kLockPause);
    }
    return true;
}

// A file that is empty is left alone: some file systems write out a truncated file as it is closed.
bool emptied(const FileDescriptor& file) {
    struct stat status {};
    return (::fstat(file.get(), &status) == 0 && status.st_size == 0) || ::ftruncate(file.get(), 0) == 0;
}

} // namespace

StreamFileWriter::~StreamFileWriter() {
    flushBuffer();
}

void StreamFileWriter::open(const std::string& path, const StreamFileHeader& header, Existing existing) {
    if (file.is_open()) {
        flushBuffer();
        file.close();
    }
    filePath = path;
    failureReason.clear();
    FileDescriptor opened = openFor(path, existing);
    if (!opened.is_open()) {
        failureReason = std::strerror(errno);
        throw Error(TT_FILE_ERROR, "StreamFileWriter: cannot open " + path);
    }
    if (isRegular(path)) { // a device has room for all
        if (!lock(opened)) {
            throw Error(TT_FILE_ERROR, "StreamFileWriter: is being written by another program: " + path);
        }
        if (!emptied(opened)) {
            throw Error(TT_FILE_ERROR, "StreamFileWriter: cannot open " + path);
        }
    }
    file = std::move(opened);
    buffer.assign(kBufferBytes, 0);
    buffered = 0;
    failed = false;
    const std::string json = detail::stream_header_to_json(header);
    if (json.size() > std::numeric_limits<std::uint32_t>::max()) {
        throw Error(TT_FAILED, "StreamFileWriter: header is too large");
    }
    headImage = head_of(json);
    recordBytes = record_bytes(header.format);
    fileBytes = 0;
    recordsWritten = 0;
    bytesWritten = headImage.size();
    if (!put(headImage)) {
        throw Error(TT_FILE_ERROR, "StreamFileWriter: failed to write header");
    }
}

void StreamFileWriter::append(std::span<const std::uint8_t> payload, std::uint64_t records) {
    requireOpen();
    if (payload.data() == nullptr && !payload.empty()) {
        throw Error(TT_FAILED, "StreamFileWriter: null data");
    }
    if (!put(payload)) {
        throw Error(TT_FILE_ERROR, "StreamFileWriter: payload write failed");
    }
    recordsWritten += records;
    bytesWritten += payload.size();
}

void StreamFileWriter::flush() {
    requireOpen();
    if (!flushBuffer()) {
        throw Error(TT_FILE_ERROR, "StreamFileWriter: payload write failed");
    }
}

void StreamFileWriter::close() {
    if (!file.is_open()) {
        return;
    }
    const bool written = flushBuffer();
    const bool closed = file.close();
    if (!closed && written) {
        failureReason = std::strerror(errno);
    }
    if (!closed || !written) {
        throw Error(TT_FILE_ERROR, "StreamFileWriter: payload write failed");
    }
}

FileDescriptor StreamFileWriter::hold_lock() const {
    return FileDescriptor(file.is_open() ? ::fcntl(file.get(), F_DUPFD_CLOEXEC, 0) : -1);
}

bool StreamFileWriter::is_in_place() const {
    struct stat written {};
    struct stat found {};
    if (!file.is_open() || ::fstat(file.get(), &written) != 0) {
        return true;
    }
    if (::stat(filePath.c_str(), &found) != 0) {
        return errno != ENOENT && errno != ENOTDIR; // what cannot be told is no alarm
    }
    return found.st_dev == written.st_dev && found.st_ino == written.st_ino;
}

void StreamFileWriter::requireOpen() const {
    if (!file.is_open() || failed) {
        throw Error(TT_NOT_OPEN, "StreamFileWriter: not open");
    }
}

// Nothing goes behind a failure: it would stand in the place of what is missing.
bool StreamFileWriter::flushBuffer() {
    return !failed && write(std::span(buffer).first(std::exchange(buffered, 0)));
}

// Small amounts go into the buffer, large ones behind it to the file.
bool StreamFileWriter::put(std::span<const std::uint8_t> bytes) {
    const bool large = bytes.size() >= kDirectBytes;
    if ((large || buffered + bytes.size() > buffer.size()) && !flushBuffer()) {
        return false;
    }
    if (large) {
        return write(bytes);
    }
    std::copy(bytes.begin(), bytes.end(), buffer.begin() + static_cast<std::ptrdiff_t>(buffered));
    buffered += bytes.size();
    return true;
}

bool StreamFileWriter::write(std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const std::size_t size = pieceSize(bytes.size());
        const std::size_t count = file.write(bytes.first(size));
        fileBytes += count;
        if (count < size) {
            failureReason = std::strerror(errno);
            dropPartOfRecord();
            tellSink(bytes.first(count - count % recordBytes));
            return false;
        }
        tellSink(bytes.first(count));
        bytes = bytes.subspan(count);
    }
    return true;
}

// A process that is killed inside a write leaves it at the end of a page. So a record that lies across pages
// is a write of its own, and hardly a moment is left in which a kill could cut it.
std::size_t StreamFileWriter::pieceSize(std::size_t left) const {
    if (fileBytes < headImage.size()) {
        return static_cast<std::size_t>(std::min<std::uint64_t>(left, headImage.size() - fileBytes));
    }
    if (recordBytes == 1) {
        return left;
    }
    const std::uint64_t toPageEnd = kPageBytes - fileBytes % kPageBytes;
    const std::uint64_t wholeRecords = toPageEnd - toPageEnd % recordBytes;
    return static_cast<std::size_t>(std::min<std::uint64_t>(left, std::max(wholeRecords, recordBytes)));
}

// A piece is of the head or of the records.
void StreamFileWriter::tellSink(std::span<const std::uint8_t> taken) const {
    if (sink && fileBytes > headImage.size() && !taken.empty()) {
        sink(taken);
    }
}

void StreamFileWriter::dropPartOfRecord() {
    failed = true;
    const std::uint64_t part =
        fileBytes > headImage.size() ? (fileBytes - headImage.size()) % recordBytes : 0;
    if (part > 0 && ::ftruncate(file.get(), static_cast<off_t>(fileBytes - part)) == 0) {
        fileBytes -= part;
    }
}

} // namespace qorn::timing
