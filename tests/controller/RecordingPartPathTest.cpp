#include "RecordingPartPath.h"

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

TEST(RecordingPartPath, NumbersPartsFromTheSecond) {
    struct Row {
        const char* path;
        int index;
        const char* part;
    };
    for (const Row& row : {
             Row{"/data/run.qornts", 0, "/data/run.qornts"},
             Row{"/data/run.qornts", -1, "/data/run.qornts"},
             Row{"run", 0, "run"},
             Row{"/data/run.qornts", 1, "/data/run_part002.qornts"},
             Row{"/data/run.qornts", 9, "/data/run_part010.qornts"},
             Row{"/data/run.qornts", 998, "/data/run_part999.qornts"},
             Row{"/data/run.qornts", 999, "/data/run_part1000.qornts"},
             Row{"/data/run.2024.qornts", 1, "/data/run.2024_part002.qornts"},
             Row{"/data/run", 1, "/data/run_part002"},
             Row{"/da.ta/run", 1, "/da.ta/run_part002"},
             Row{"/data/Lauf ä%1.qornts", 2, "/data/Lauf ä%1_part003.qornts"},
         }) {
        EXPECT_EQ(recordingPartPath(QString::fromUtf8(row.path), row.index).toStdString(), row.part)
            << row.path;
    }
}

TEST(RecordingPartPath, ARelativePathStaysInItsFolder) {
    EXPECT_TRUE(recordingPartPath(QStringLiteral("sub/run.qornts"), 1)
                    .endsWith(QStringLiteral("sub/run_part002.qornts")));
}

} // namespace
} // namespace qorn::timetagger::gui
