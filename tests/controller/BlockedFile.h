// A file that blocks its writer until the test reads.
#pragma once

#include "StreamBuilder.h"
#include "TemporaryFolder.h"

#include <QString>

#include <string>
#include <thread>

namespace qorn::timetagger::gui::test {

// A named pipe with nobody reading until drain(): what does not fit the pipe blocks its writer.
class BlockedFile {
public:
    BlockedFile();
    ~BlockedFile();
    BlockedFile(const BlockedFile&) = delete;
    BlockedFile& operator=(const BlockedFile&) = delete;

    QString path() const;
    bool waitUntilWritten(); // until the first bytes have come
    void drain();            // reads to the end, in a thread
    qorn::testing::Bytes finish();
    void breakOff(); // no reader any more: the blocked write fails

private:
    qorn::testing::TemporaryFolder folder;
    int reading = -1;
    qorn::testing::Bytes received;
    std::thread reader;
};

} // namespace qorn::timetagger::gui::test
