// Runs beside a file that stands where the folder of the logs would be made.
#include "MeasurementFileNames.h"

#include "QtPrinting.h"

#include <QCoreApplication>
#include <QDir>
#include <QStandardPaths>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

TEST(NoLogFolder, LogsGoToTheUsersDataWhenTheFolderBesideTheApplicationCannotBeMade) {
    const QString beside = QCoreApplication::applicationDirPath() + QStringLiteral("/logs");
    ASSERT_TRUE(QFileInfo(beside).isFile());
    const QString expected =
        QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + QStringLiteral("/logs");
    EXPECT_EQ(QDir::cleanPath(defaultLogDirectory()), QDir::cleanPath(expected));
    EXPECT_TRUE(QDir(expected).exists());
}

} // namespace
} // namespace qorn::timetagger::gui
