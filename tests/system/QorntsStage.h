// Runs the tool qornts in a folder of its own, and reads what it has written.
#pragma once

#include "ChildProcess.h"
#include "StreamFiles.h"
#include "TemporaryFolder.h"
#include "TimeTag.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace qorn::testing {

using Tags = std::vector<timing::TimeTag>;
using Words = std::vector<std::string>;

struct ToolRun {
    int code = -1;
    int signal = 0;
    std::size_t peakBytes = 0;
    std::string output;
    std::string errors;
};

class QorntsTest : public ::testing::Test {
protected:
    QorntsTest();

    ToolRun run(const Words& arguments, ChildProcess::Options options = {}) const;
    ChildProcess::Options here() const; // in the folder

    std::string file(const std::string& name) const { return folder.file(name); }
    // A recording of zeros, which are tags too, on a file that takes no room on the disk.
    std::string sparseRecording(const std::string& name, std::size_t payloadBytes) const;
    Words filesInFolder() const; // names, sorted

    TemporaryFolder folder;
    // Two parts, 40 s over two wraps, in which input 4 is silent for 30 s; and the CSV text of their tags.
    Words golden;
    std::string goldenCsv;
};

// One line of the tool's own that holds `part`.
::testing::AssertionResult isOneErrorLine(const std::string& errors, const std::string& part);

// "key: value" lines; fails the running test for a line of another form, or a key that is there twice, but
// for "file".
std::map<std::string, std::string> factsOf(const std::string& output);

// The text of a file.
std::string textOf(const std::string& path);
// The CSV text of tags.
std::string csvOf(const Tags& tags);
// Reads an NPY file of tags by the format's description; fails the running test when it breaks that.
Tags tagsOfNpy(const std::string& path);

} // namespace qorn::testing
