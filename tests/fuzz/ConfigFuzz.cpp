// Any text as a configuration file: refused, or given to a tab of each type that it names. What a tab then
// holds comes back whole from another file, and the defaults are one file away. A file of a tab's settings
// alone, without a list of experiments, goes to every type.
#include "ConfigurationFile.h"
#include "ExperimentCatalog.h"
#include "ExperimentTab.h"
#include "FuzzTarget.h"
#include "SettingsStore.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSettings>
#include <QTemporaryDir>

#include <map>
#include <memory>

namespace {

using namespace qorn::timetagger::gui;
using qorn::testing::require;

constexpr const char* kTypes[] = {"Counter",           "Coincidence", "Correlation",
                                  "Multi correlation", "Frequency",   "Time tags"};
constexpr qsizetype kMostTried = 8; // of the experiments in a file; the others are alike

// A tab to be used again and again, since making one takes far longer than reading its settings.
struct TriedTab {
    explicit TriedTab(const char* type) : tab(createExperiment(QLatin1String(type))) {
        require(tab != nullptr, "there is a tab of the type");
        defaults = tab->saveConfig();
        sharedDefaults = tab->sharedConfig();
    }

    std::unique_ptr<ExperimentTab> tab;
    QJsonObject defaults;
    QJsonObject sharedDefaults;
};

// The application without a display, with a home of its own, and the tabs: made once, for all inputs.
class Stage {
public:
    static Stage& instance() {
        static Stage stage;
        return stage;
    }

    std::map<QString, TriedTab>& tabs() { return triedTabs; }
    // All of the tabs, as it is written when the window closes.
    const Configuration& workspace() const { return atExit; }

private:
    Stage() {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        qputenv("HOME", home.path().toUtf8());
        qputenv("XDG_CONFIG_HOME", home.path().toUtf8());
        qputenv("XDG_RUNTIME_DIR", home.path().toUtf8());
        QCoreApplication::setOrganizationName(QStringLiteral("QORN"));
        QCoreApplication::setApplicationName(QStringLiteral("Configuration Fuzz"));
        application = std::make_unique<QApplication>(argumentCount, arguments);
        for (const char* type : kTypes) {
            const TriedTab& tried = triedTabs.emplace(QLatin1String(type), type).first->second;
            atExit.experiments->append(QJsonObject{{QStringLiteral("type"), QLatin1String(type)},
                                                   {QStringLiteral("config"), tried.defaults},
                                                   {QStringLiteral("sharedConfig"), tried.sharedDefaults}});
        }
    }

    QTemporaryDir home;
    int argumentCount = 1;
    char name[7] = "config";
    char* arguments[2] = {name, nullptr};
    std::unique_ptr<QApplication> application;
    std::map<QString, TriedTab> triedTabs; // which end before the application
    Configuration atExit{QJsonObject{{QStringLiteral("theme"), QStringLiteral("Dark")},
                                     {QStringLiteral("geometry"), QString()},
                                     {QStringLiteral("currentTab"), 0}},
                         QJsonArray()};
};

QJsonObject throughText(const QJsonObject& object) {
    return QJsonDocument::fromJson(QJsonDocument(object).toJson(QJsonDocument::Compact)).object();
}

void trySettings(TriedTab& tried, const QJsonObject& config, const QJsonObject& shared) {
    ExperimentTab& tab = *tried.tab;
    tab.loadConfig(config);
    tab.loadSharedConfig(shared);
    const QJsonObject held = throughText(tab.saveConfig());
    const QJsonObject sharedHeld = throughText(tab.sharedConfig());
    require(held.keys() == tried.defaults.keys(), "the settings have the keys that they have");

    tab.loadSharedConfig(tried.sharedDefaults);
    require(tab.sharedConfig() == tried.sharedDefaults, "shared defaults come back");
    tab.loadConfig(tried.defaults);
    require(tab.saveConfig() == tried.defaults, "defaults come back");

    tab.loadConfig(held);
    tab.loadSharedConfig(sharedHeld);
    require(tab.saveConfig() == held, "what was held comes back");
    require(tab.sharedConfig() == sharedHeld, "what was held of the shared comes back");
    tab.loadSharedConfig(tried.sharedDefaults);
    tab.loadConfig(tried.defaults);
}

void tryExperiments(const QJsonArray& experiments) {
    require(experiments.size() <= 256, "there are no more experiments than a window can take");
    for (qsizetype i = 0; i < std::min(experiments.size(), kMostTried); ++i) {
        const QJsonObject entry = experiments.at(i).toObject();
        auto& tabs = Stage::instance().tabs();
        if (const auto tried = tabs.find(entry.value(QLatin1String("type")).toString());
            tried != tabs.end()) {
            trySettings(tried->second, entry.value(QLatin1String("config")).toObject(),
                        entry.value(QLatin1String("sharedConfig")).toObject());
        }
    }
}

QByteArray contentsOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The file that stood there at the start is replaced at exit.
void tryReplacing(const QByteArray& text, bool wasRead) {
    const Configuration& workspace = Stage::instance().workspace();
    const QString path = defaultConfigPath();
    const QString kept = QFileInfo(path).dir().filePath(QStringLiteral("last_config.broken.json"));
    QFile::remove(kept);
    QFile file(path);
    require(file.open(QIODevice::WriteOnly) && file.write(text) == text.size(), "there is a file");
    file.close();
    require(writeConfiguration(path, workspace), "a file of any content is replaced");
    const std::optional<Configuration> written = readConfiguration(path);
    require(written && written->ui == workspace.ui && written->experiments == workspace.experiments,
            "what was written can be read");
    require(QFile::exists(kept) || wasRead || text.isEmpty(), "what could not be read is kept");
    require(!QFile::exists(kept) || contentsOf(kept) == text, "what is kept is as it was");
}

} // namespace

// The font library keeps distances in place of pointers inside its patterns, which the leak check does not
// follow.
extern "C" const char*
__lsan_default_suppressions(); // NOLINT(bugprone-reserved-identifier): the checker's name
extern "C" const char* __lsan_default_suppressions() { // NOLINT(bugprone-reserved-identifier)
    return "leak:libfontconfig.so";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    Stage& stage = Stage::instance();
    const auto text =
        QByteArray::fromRawData(reinterpret_cast<const char*>(bytes), static_cast<qsizetype>(size));
    const std::optional<Configuration> read = parseConfiguration(text);
    tryReplacing(text, read.has_value());
    if (read && read->experiments) {
        tryExperiments(*read->experiments);
    } else if (const QJsonObject settings = QJsonDocument::fromJson(text).object(); !settings.isEmpty()) {
        require(read.has_value(), "an object is a configuration");
        for (auto& [type, tried] : stage.tabs()) {
            trySettings(tried, settings, settings);
        }
    }
    SettingsStore::instance().finish(); // what a thread of its own still holds would pass for a leak
    return 0;
}
