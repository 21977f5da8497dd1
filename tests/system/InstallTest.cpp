// What is installed below a prefix: that it is complete, that it starts from there, and that the files which
// describe it to the system and to people are sound and tell the truth.
#include "ProgramRun.h"
#include "QtPrinting.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QRegularExpression>
#include <QSettings>
#include <QXmlStreamReader>

#include <gtest/gtest.h>

namespace qorn::testing {
namespace {

constexpr int kIconSizes[] = {16, 22, 24, 32, 48, 64, 128, 256, 512};

// A program of the system, or of the installed tree, that runs to its end.
struct Ending {
    bool done = false; // it was there, and ended by itself
    int code = -1;
    QString output;
    QString errors;
};

Ending runTool(const QString& program, const QStringList& arguments) {
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    Ending result;
    result.done = process.waitForFinished(kWaitLimitMs) && process.exitStatus() == QProcess::NormalExit;
    result.code = process.exitCode();
    result.output = QString::fromUtf8(process.readAllStandardOutput());
    result.errors = QString::fromUtf8(process.readAllStandardError());
    if (!result.done) {
        ADD_FAILURE() << program.toStdString() << ": " << process.errorString().toStdString();
    }
    return result;
}

QString textOf(const QString& path) {
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
    return QString::fromUtf8(file.readAll());
}

QStringList matches(const QString& text, const QString& pattern) {
    QStringList found;
    QRegularExpressionMatchIterator match = QRegularExpression(pattern).globalMatch(text);
    while (match.hasNext()) {
        found.append(match.next().captured(1));
    }
    return found;
}

class Install : public ::testing::Test {
protected:
    Install() { installInto(folder.filePath(QStringLiteral("a prefix with ünusual letters"))); }

    void installInto(const QString& place) {
        prefix = place;
        const Ending installed = runTool(QStringLiteral(QORN_CMAKE),
                                         {QStringLiteral("--install"), QStringLiteral(QORN_BUILD_FOLDER),
                                          QStringLiteral("--prefix"), prefix});
        EXPECT_EQ(installed.code, 0) << installed.errors.toStdString();
    }

    QString path(const QString& file) const { return QDir(prefix).filePath(file); }
    QString program() const { return path(QStringLiteral("bin/qorn_timetagger")); }
    QString tool() const { return path(QStringLiteral("bin/qornts")); }

    // The text of an installed manual page, as the terminal shows it but without attributes; checks that the
    // formatter has nothing against it.
    QString manualPage(const QString& name) const {
        const QStringList files =
            QDir(path(QStringLiteral("share/man/man1"))).entryList({name + QStringLiteral(".1*")});
        EXPECT_EQ(files.size(), 1) << name.toStdString();
        const QString file = path(QStringLiteral("share/man/man1/") + files.value(0));
        const Ending plain = runTool(QStringLiteral("gzip"), {QStringLiteral("-cdf"), file});
        EXPECT_EQ(plain.code, 0) << plain.errors.toStdString();
        QFile page(folder.filePath(name));
        EXPECT_TRUE(page.open(QIODevice::WriteOnly));
        page.write(plain.output.toUtf8());
        page.close();
        const Ending formatted = runTool(
            QStringLiteral("groff"), {QStringLiteral("-man"), QStringLiteral("-ww"), QStringLiteral("-Tutf8"),
                                      QStringLiteral("-P-cbou"), page.fileName()});
        EXPECT_EQ(formatted.code, 0);
        EXPECT_EQ(formatted.errors, QString());
        return QString(formatted.output).replace(QChar(0x2010), QLatin1Char('-'));
    }

    QTemporaryDir folder;
    QString prefix;
};

TEST_F(Install, HoldsProgramsSimulatorAndDescriptions) {
    QStringList files{QStringLiteral("bin/qornts"),
                      QStringLiteral("libexec/qorn-timing/qorn_timetagger"),
                      QStringLiteral("libexec/qorn-timing/libqorn_timing.so.0"),
                      QStringLiteral("share/applications/qorn_timetagger.desktop"),
                      QStringLiteral("share/metainfo/org.qorn.timing.metainfo.xml"),
                      QStringLiteral("share/icons/hicolor/scalable/apps/qorn_timetagger.svg"),
                      QStringLiteral("share/doc/qorn-timing/formats.md"),
                      QStringLiteral("share/doc/qorn-timing/manual/README.md")};
    for (const QString& file : files) {
        const QFileInfo info(path(file));
        EXPECT_TRUE(info.isFile() && info.size() > 0) << file.toStdString();
        EXPECT_TRUE(info.permission(QFile::ReadOther)) << file.toStdString();
    }
    EXPECT_EQ(QFileInfo(program()).symLinkTarget(),
              path(QStringLiteral("libexec/qorn-timing/qorn_timetagger")));
}

TEST_F(Install, StartsAndFindsTheSimulatedInstrument) {
    Program installed(program());
    ASSERT_TRUE(installed.start(texts({"ftdi://SIM00001"})));
    EXPECT_TRUE(installed.waitForLine(kUnit1));
}

TEST_F(Install, StartsFromWhereItWasMovedTo) {
    const QString moved = folder.filePath(QStringLiteral("moved"));
    ASSERT_TRUE(QDir().rename(prefix, moved));
    prefix = moved;
    Program installed(program());
    ASSERT_TRUE(installed.start(texts({"ftdi://SIM00002"})));
    EXPECT_TRUE(installed.waitForLine(kUnit2));
    const Ending version = runTool(tool(), texts({"--version"}));
    EXPECT_EQ(version.output, QStringLiteral("qornts " QORN_VERSION "\n"));
}

TEST_F(Install, DesktopEntryIsValidAndNamesWhatIsThere) {
    const QString file = path(QStringLiteral("share/applications/qorn_timetagger.desktop"));
    const Ending checked = runTool(QStringLiteral("desktop-file-validate"), {file});
    EXPECT_EQ(checked.code, 0);
    EXPECT_EQ(checked.output + checked.errors, QString());
    QSettings entry(file, QSettings::IniFormat);
    entry.beginGroup(QStringLiteral("Desktop Entry"));
    EXPECT_TRUE(QFileInfo(path(QStringLiteral("bin/") + entry.value(QStringLiteral("Exec")).toString()))
                    .isExecutable());
    const QString icon = entry.value(QStringLiteral("Icon")).toString();
    EXPECT_EQ(icon, QStringLiteral("qorn_timetagger"));
    for (const int size : kIconSizes) {
        const QString name = QStringLiteral("share/icons/hicolor/%1x%1/apps/%2.png").arg(size).arg(icon);
        const QImage image(path(name));
        EXPECT_EQ(image.size(), QSize(size, size)) << name.toStdString();
        EXPECT_TRUE(image.hasAlphaChannel()) << name.toStdString();
    }
}

TEST_F(Install, MetadataAreValidAndNameWhatIsThere) {
    const QString file = path(QStringLiteral("share/metainfo/org.qorn.timing.metainfo.xml"));
    const Ending checked =
        runTool(QStringLiteral("appstreamcli"),
                {QStringLiteral("validate"), QStringLiteral("--no-net"), QStringLiteral("--pedantic"), file});
    EXPECT_EQ(checked.code, 0) << checked.output.toStdString();
    QFile metadata(file);
    ASSERT_TRUE(metadata.open(QIODevice::ReadOnly));
    QXmlStreamReader reader(&metadata);
    QStringList binaries;
    QStringList versions;
    QStringList launched;
    while (!reader.atEnd()) {
        if (reader.readNext() != QXmlStreamReader::StartElement) {
            continue;
        }
        if (reader.name() == QLatin1String("binary")) {
            binaries.append(reader.readElementText());
        } else if (reader.name() == QLatin1String("launchable")) {
            launched.append(reader.readElementText());
        } else if (reader.name() == QLatin1String("release")) {
            versions.append(reader.attributes().value(QLatin1String("version")).toString());
        }
    }
    EXPECT_EQ(versions.value(0), QStringLiteral(QORN_VERSION));
    EXPECT_EQ(binaries, texts({"qorn_timetagger", "qornts"}));
    for (const QString& binary : binaries) {
        EXPECT_TRUE(QFileInfo(path(QStringLiteral("bin/") + binary)).isExecutable()) << binary.toStdString();
    }
    ASSERT_EQ(launched.size(), 1);
    EXPECT_TRUE(QFileInfo::exists(path(QStringLiteral("share/applications/") + launched.constFirst())));
}

TEST_F(Install, ManualPagesTellEveryOption) {
    Program installed(program());
    EXPECT_EQ(installed.run(texts({"--help"})), 0);
    const QString helps[] = {QString::fromUtf8(installed.process.readAllStandardOutput()),
                             runTool(tool(), texts({"--help"})).output};
    const QString names[] = {QStringLiteral("qorn_timetagger"), QStringLiteral("qornts")};
    for (int index = 0; index < 2; ++index) {
        const QString page = manualPage(names[index]);
        EXPECT_TRUE(page.contains(QStringLiteral(QORN_VERSION)));
        const QStringList options = matches(helps[index], QStringLiteral("(?<![\\w-])(--?[a-z][a-z-]*)"));
        EXPECT_GE(options.size(), 4) << helps[index].toStdString();
        for (const QString& option : options) {
            EXPECT_TRUE(page.contains(option)) << option.toStdString() << " in\n" << page.toStdString();
        }
    }
}

// Anchors of a document as its headings give them: lower case, hyphens for blanks, without other signs.
QStringList anchorsOf(const QString& text) {
    QStringList anchors;
    for (const QString& heading : matches(text, QStringLiteral("(?m)^#+ (.*)$"))) {
        anchors.append(heading.toLower()
                           .remove(QRegularExpression(QStringLiteral("[^\\w -]")))
                           .replace(QLatin1Char(' '), QLatin1Char('-')));
    }
    return anchors;
}

// Follows the links of all documents below a folder; gives their number.
int followLinks(const QString& folder) {
    int links = 0;
    QDirIterator files(folder, {QStringLiteral("*.md")}, QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QFileInfo document(files.next());
        for (const QString& link : matches(textOf(document.filePath()), QStringLiteral("\\]\\(([^)]+)\\)"))) {
            const QString target = link.section(QLatin1Char('#'), 0, 0);
            const QString anchor = link.section(QLatin1Char('#'), 1);
            const QFileInfo file(target.isEmpty() ? document : QFileInfo(document.dir().filePath(target)));
            EXPECT_TRUE(file.isFile()) << document.fileName().toStdString() << ": " << link.toStdString();
            if (!anchor.isEmpty() && file.isFile()) {
                EXPECT_TRUE(anchorsOf(textOf(file.filePath())).contains(anchor))
                    << document.fileName().toStdString() << ": " << link.toStdString();
            }
            ++links;
        }
    }
    return links;
}

TEST_F(Install, LinksOfTheDocumentationLeadToInstalledFiles) {
    EXPECT_GT(followLinks(path(QStringLiteral("share/doc/qorn-timing"))), 80);
}

TEST(Documentation, LinksLeadToFilesOfTheProject) {
    EXPECT_GT(followLinks(QStringLiteral(QORN_DOCUMENTATION)), 80);
}

} // namespace
} // namespace qorn::testing
