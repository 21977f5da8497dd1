// Writes the corpus of the configuration fuzz target: whole files of the window's own making, and broken
// ones.
//
//   qorn_config_seeds FOLDER
#include "ConfigurationFile.h"
#include "ExperimentCatalog.h"
#include "ExperimentTab.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>

#include <cstdio>
#include <memory>

namespace {

using namespace qorn::timetagger::gui;

constexpr const char* kTypes[] = {"Counter",           "Coincidence", "Correlation",
                                  "Multi correlation", "Frequency",   "Time tags"};

class Corpus {
public:
    explicit Corpus(const QString& path) : folder(path) {}

    void add(const QString& name, const QByteArray& bytes) {
        QFile file(folder.filePath(name));
        allWritten = file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && allWritten;
    }
    bool isComplete() const { return allWritten; }

private:
    QDir folder;
    bool allWritten = true;
};

QByteArray compact(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

// The same object with every value of another type.
QJsonObject mistyped(const QJsonObject& object) {
    QJsonObject result;
    for (auto entry = object.begin(); entry != object.end(); ++entry) {
        const QJsonValue value = entry.value();
        result.insert(entry.key(), value.isDouble()   ? QJsonValue(QStringLiteral("1"))
                                   : value.isString() ? QJsonValue(2)
                                   : value.isBool()   ? QJsonValue(QJsonValue::Null)
                                   : value.isArray()  ? QJsonValue(QJsonObject{{QStringLiteral("0"), 1}})
                                                      : QJsonValue(QJsonArray{true}));
    }
    return result;
}

// Numbers far beyond every limit, and texts that no choice has.
QJsonObject extreme(const QJsonObject& object, double number) {
    QJsonObject result = object;
    for (const QString& key : object.keys()) {
        if (object.value(key).isDouble()) {
            result.insert(key, number);
        } else if (object.value(key).isString()) {
            result.insert(key, QStringLiteral("No such choice"));
        } else if (object.value(key).isArray()) {
            result.insert(key, QJsonArray{number, -number, QJsonArray(), true, 3});
        }
    }
    return result;
}

// With folders that do not depend on where the corpus is made.
QJsonObject sharedSettings() {
    const QString folder = QStringLiteral("/data/logs");
    return {{QStringLiteral("dataLog"), QJsonObject{{QStringLiteral("directory"), folder}}},
            {QStringLiteral("timeTagRecording"), QJsonObject{{QStringLiteral("directory"), folder}}}};
}

void addTabs(Corpus& corpus) {
    QJsonArray all;
    for (const char* type : kTypes) {
        const std::unique_ptr<ExperimentTab> tab(createExperiment(QLatin1String(type)));
        const QString name = QString::fromUtf8(type).replace(QLatin1Char(' '), QLatin1Char('-')).toLower();
        tab->loadSharedConfig(sharedSettings());
        const QJsonObject shared = tab->sharedConfig();
        const auto entry = [&](const QJsonObject& config, const QJsonObject& sharedConfig) {
            return QJsonObject{{QStringLiteral("type"), tab->experimentType()},
                               {QStringLiteral("config"), config},
                               {QStringLiteral("sharedConfig"), sharedConfig}};
        };
        const auto file = [&](const QJsonArray& experiments) {
            return compact({{QStringLiteral("version"), 1}, {QStringLiteral("experiments"), experiments}});
        };
        corpus.add(name, file({entry(tab->saveConfig(), shared)}));
        corpus.add(name + QStringLiteral("-mistyped"),
                   file({entry(mistyped(tab->saveConfig()), mistyped(shared))}));
        corpus.add(name + QStringLiteral("-extreme"),
                   file({entry(extreme(tab->saveConfig(), 1e300), shared),
                         entry(extreme(tab->saveConfig(), -1e300), shared)}));
        all.append(entry(tab->saveConfig(), shared));
    }
    const QByteArray whole =
        QJsonDocument(
            QJsonObject{{QStringLiteral("version"), 1},
                        {QStringLiteral("ui"), QJsonObject{{QStringLiteral("theme"), QStringLiteral("qorn")},
                                                           {QStringLiteral("currentTab"), 2}}},
                        {QStringLiteral("experiments"), all}})
            .toJson();
    corpus.add(QStringLiteral("all-types"), whole);
    corpus.add(QStringLiteral("half-written"), whole.first(whole.size() / 2));
}

void addBroken(Corpus& corpus) {
    corpus.add(QStringLiteral("no-bytes"), {});
    corpus.add(QStringLiteral("no-json"), "theme = Dark\n");
    corpus.add(QStringLiteral("an-array"), "[{\"type\":\"Counter\"}]");
    corpus.add(QStringLiteral("deep"), "{\"experiments\":" + QByteArray("[").repeated(3000));
    corpus.add(QStringLiteral("deep-settings"),
               "{\"experiments\":[{\"type\":\"Counter\",\"config\":{\"channels\":" +
                   QByteArray("[").repeated(500) + QByteArray("]").repeated(500) + "}}]}");
    corpus.add(QStringLiteral("many-experiments"),
               "{\"experiments\":[" + QByteArray("{},").repeated(300) + "{}]}");
    corpus.add(QStringLiteral("endless-numbers"),
               "{\"experiments\":[{\"type\":\"Frequency\",\"config\":{\"yMin\":-1e308,\"yMax\":1e308,"
               "\"binSeconds\":1e-308,\"baseHz\":4e-320,\"channel\":2147483648.5}}]}");
    corpus.add(QStringLiteral("older-correlation"),
               "{\"experiments\":[{\"type\":\"Correlation\",\"config\":{\"acquire\":\"Real-time\","
               "\"analysisMode\":\"Fluorescence lifetime\"}}]}");
    corpus.add(
        QStringLiteral("odd-texts"),
        "{\"experiments\":[{\"type\":\"Time tags\",\"config\":{\"outputFolder\":\"\\u0000\\ud800 "
        "\\\\\"},\"sharedConfig\":{\"dataLog\":{\"directory\":\"\\n\\udfff\",\"format\":\"BINARY\"}}}]}");
    corpus.add(QStringLiteral("same-key-twice"),
               "{\"experiments\":7,\"experiments\":[{\"type\":\"Counter\",\"type\":\"Frequency\"}]}");
    corpus.add(QStringLiteral("byte-order-mark"),
               "\xef\xbb\xbf{\"ui\":{\"theme\":\"Dark\"},\"experiments\":[]}");
    corpus.add(QStringLiteral("utf-16"), QByteArray("\xff\xfe{\0\"\0u\0i\0\"\0:\0{\0}\0}\0", 20));
    corpus.add(QStringLiteral("latin-1"), "{\"ui\":{\"theme\":\"d\xfcster\"}}");
    corpus.add(QStringLiteral("number-beyond-all"), "{\"ui\":{\"currentTab\":1e999}}");
    corpus.add(QStringLiteral("mistyped-ui"),
               "{\"version\":\"1\",\"ui\":{\"theme\":[],\"geometry\":5,\"currentTab\":\"0\"}}");
    corpus.add(QStringLiteral("other-lengths"),
               "{\"experiments\":[{\"type\":\"Multi "
               "correlation\",\"config\":{\"pairs\":[false],\"offsetsNs\":[1,2,3,4,5],"
               "\"windows\":[{\"a\":{\"centerNs\":7}},[],{\"b\":[{\"widthNs\":2}]},null,5,{},{}]}}]}");
    corpus.add(QStringLiteral("settings-alone"),
               "{\"channel\":3,\"gateSec\":0.5,\"windowNs\":7,\"historyBins\":12,\"rangeNs\":4,\"yMin\":2}");
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QTemporaryDir home;
    qputenv("XDG_CONFIG_HOME", home.path().toUtf8());
    QApplication application(argc, argv);
    Corpus corpus(QString::fromLocal8Bit(argv[1]));
    addTabs(corpus);
    addBroken(corpus);
    return corpus.isComplete() ? 0 : 1;
}
