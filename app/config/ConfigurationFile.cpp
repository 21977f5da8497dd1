#include "ConfigurationFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSaveFile>
#include <QStandardPaths>

#include <algorithm>
#include <filesystem>
#include <iterator>

namespace qorn::timetagger::gui {
namespace {

constexpr int kVersion = 1;
constexpr qint64 kLargestFile = qint64{8} * 1024 * 1024;
constexpr qsizetype kMostExperiments = 256; // each is a tab, which takes time and memory

// What is no regular file may have no end, or never begin.
std::optional<QByteArray> contentsOf(const QString& path) {
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly) || file.size() > kLargestFile) {
        return std::nullopt;
    }
    return file.readAll(); // a read up to a limit takes memory for all of the limit
}

bool isAbsentOr(QJsonValue::Type type, const QJsonObject& object, const char* key) {
    const QJsonValue value = object.value(QLatin1String(key));
    return value.isUndefined() || value.type() == type;
}

// Whether each value that both have is of the same type in both, at any depth.
bool agree(const QJsonValue& earlier, const QJsonValue& later) {
    if (earlier.type() != later.type()) {
        return false;
    }
    const QJsonObject object = earlier.toObject();
    for (auto entry = object.begin(); entry != object.end(); ++entry) {
        const QJsonValue other = later.toObject().value(entry.key());
        if (!other.isUndefined() && !agree(entry.value(), other)) {
            return false;
        }
    }
    const QJsonArray items = earlier.toArray();
    const QJsonArray others = later.toArray();
    return std::equal(items.begin(), items.begin() + std::min(items.size(), others.size()), others.begin(),
                      agree);
}

bool agreesWithItsKind(const QJsonValue& experiment, const QJsonArray& later) {
    const auto same = std::find_if(later.begin(), later.end(), [&](const QJsonValue& other) {
        return other[QLatin1String("type")] == experiment[QLatin1String("type")];
    });
    return same == later.end() || agree(experiment, *same);
}

bool isExperiment(const QJsonValue& value) {
    const QJsonObject entry = value.toObject();
    return entry.value(QLatin1String("type")).isString() && isAbsentOr(QJsonValue::Object, entry, "config") &&
           isAbsentOr(QJsonValue::Object, entry, "sharedConfig");
}

// Whether all in a file's text was of a kind that could be taken; what is to be written tells the types.
bool wasTakenWhole(const QByteArray& text, const QJsonObject& later) {
    const QJsonDocument document = QJsonDocument::fromJson(text);
    const QJsonObject root = document.object();
    if (!document.isObject() || !isAbsentOr(QJsonValue::Object, root, "ui") ||
        !isAbsentOr(QJsonValue::Array, root, "experiments")) {
        return false;
    }
    const QJsonArray experiments = root.value(QLatin1String("experiments")).toArray();
    const QJsonArray laterExperiments = later.value(QLatin1String("experiments")).toArray();
    const auto isTaken = [&](const QJsonValue& value) {
        return isExperiment(value) && agreesWithItsKind(value, laterExperiments);
    };
    return experiments.size() <= kMostExperiments &&
           agree(root.value(QLatin1String("ui")).toObject(), later.value(QLatin1String("ui")).toObject()) &&
           std::all_of(experiments.begin(), experiments.end(), isTaken);
}

bool holdsWhatWasNotTaken(const QString& path, const QJsonObject& later) {
    const QFileInfo file(path);
    if (!file.isFile() || file.size() == 0) {
        return false;
    }
    const std::optional<QByteArray> text = contentsOf(path);
    return !text || !wasTakenWhole(*text, later);
}

QJsonArray firstOf(const QJsonArray& experiments) {
    if (experiments.size() <= kMostExperiments) {
        return experiments;
    }
    QJsonArray first;
    std::copy_n(experiments.begin(), kMostExperiments, std::back_inserter(first));
    return first;
}

// A file under another name in its folder, until it is put back.
class KeptAside {
public:
    explicit KeptAside(const QString& path) {
        const QFileInfo file(QFileInfo(path).canonicalFilePath());
        const QString name = file.completeBaseName() + QStringLiteral(".broken.") + file.suffix();
        from = file.filesystemFilePath();
        to = QFileInfo(file.dir(), name).filesystemFilePath();
        std::error_code error;
        std::filesystem::rename(from, to, error);
        moved = !error;
    }
    bool isKept() const { return moved; }
    void putBack() const {
        std::error_code ignored;
        std::filesystem::rename(to, from, ignored);
    }

private:
    std::filesystem::path from;
    std::filesystem::path to;
    bool moved = false;
};

} // namespace

QString defaultConfigPath() {
    QString folder = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
    if (folder.isEmpty()) {
        folder = QDir::homePath();
    }
    QDir().mkpath(folder);
    return QDir(folder).filePath(QStringLiteral("last_config.json"));
}

bool writeConfiguration(const QString& path, const Configuration& configuration) {
    QJsonObject root{{QStringLiteral("version"), kVersion}};
    if (configuration.ui) {
        root.insert(QStringLiteral("ui"), *configuration.ui);
    }
    if (configuration.experiments) {
        root.insert(QStringLiteral("experiments"), *configuration.experiments);
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        return false;
    }
    const QByteArray text = QJsonDocument(root).toJson(QJsonDocument::Indented);
    if (file.write(text) != text.size() || !file.flush()) {
        file.cancelWriting(); // a full disk takes the head of the text without an error
        return false;
    }
    if (path != defaultConfigPath() || !holdsWhatWasNotTaken(path, root)) {
        return file.commit();
    }
    const KeptAside earlier(path);
    if (earlier.isKept() && !file.commit()) {
        earlier.putBack();
        return false;
    }
    return earlier.isKept();
}

std::optional<Configuration> readConfiguration(const QString& path) {
    const std::optional<QByteArray> text = contentsOf(path);
    return text ? parseConfiguration(*text) : std::nullopt;
}

std::optional<Configuration> parseConfiguration(const QByteArray& text) {
    const QJsonDocument document = QJsonDocument::fromJson(text);
    if (!document.isObject()) {
        return std::nullopt;
    }
    Configuration configuration;
    if (const QJsonValue ui = document.object().value(QLatin1String("ui")); ui.isObject()) {
        configuration.ui = ui.toObject();
    }
    if (const QJsonValue experiments = document.object().value(QLatin1String("experiments"));
        experiments.isArray()) {
        configuration.experiments = firstOf(experiments.toArray());
    }
    return configuration;
}

} // namespace qorn::timetagger::gui
