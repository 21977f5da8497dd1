#include "FileContents.h"

#include "TabOperation.h"

#include <QFile>
#include <QJsonDocument>

#include <gtest/gtest.h>

namespace qorn::testing {

using timetagger::gui::Configuration;

void write(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ASSERT_EQ(file.write(bytes), bytes.size());
}

QByteArray contentsOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
}

Configuration oneCounter() {
    QJsonObject entry = settingsOf(*makeTab(QStringLiteral("Counter")));
    entry.insert(QStringLiteral("type"), QStringLiteral("Counter"));
    Configuration configuration;
    configuration.ui = QJsonObject{{QStringLiteral("theme"), QStringLiteral("Bright")},
                                   {QStringLiteral("geometry"), QStringLiteral("AAAA")},
                                   {QStringLiteral("currentTab"), 0}};
    configuration.experiments = QJsonArray{entry};
    return configuration;
}

QByteArray textOf(const Configuration& configuration) {
    return QJsonDocument(QJsonObject{{QStringLiteral("version"), 1},
                                     {QStringLiteral("ui"), *configuration.ui},
                                     {QStringLiteral("experiments"), *configuration.experiments}})
        .toJson();
}

} // namespace qorn::testing
