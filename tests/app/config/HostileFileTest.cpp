// Reading configuration files that no program of ours has written, or only half.
#include "ConfigurationFile.h"
#include "FileContents.h"
#include "TabOperation.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace qorn::timetagger::gui {
namespace {

using testing::contentsOf;
using testing::oneCounter;
using testing::textOf;
using testing::write;

TEST(HostileFile, CutOffAnywhereIsRefused) {
    const QByteArray text = textOf(oneCounter()).trimmed();
    ASSERT_TRUE(parseConfiguration(text));
    for (qsizetype length = 0; length < text.size(); ++length) {
        ASSERT_FALSE(parseConfiguration(text.first(length))) << length;
    }
}

// One of each tab type, as the window writes it.
TEST(HostileFile, OfAWholeWorkspaceCutOffAnywhereIsRefused) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("workspace.json"));
    Configuration workspace = oneCounter();
    for (const char* type : testing::kTabTypes) {
        QJsonObject entry = testing::settingsOf(*testing::makeTab(QString::fromUtf8(type)));
        entry.insert(QStringLiteral("type"), QString::fromUtf8(type));
        workspace.experiments->append(entry);
    }
    ASSERT_TRUE(writeConfiguration(path, workspace));
    const QByteArray text = contentsOf(path);
    ASSERT_TRUE(text.endsWith("}\n"));
    ASSERT_EQ(readConfiguration(path)->experiments, workspace.experiments);
    for (qsizetype length = text.size() - 2; length >= 0; --length) {
        ASSERT_FALSE(parseConfiguration(text.first(length))) << length;
    }
}

TEST(HostileFile, WithAnyByteReplacedIsReadOrRefused) {
    const QByteArray text = textOf(oneCounter());
    int refused = 0;
    for (qsizetype place = 0; place < text.size(); ++place) {
        for (const char byte : {'\0', '"', '{', '\xff'}) {
            QByteArray broken = text;
            broken[place] = byte;
            const auto read = parseConfiguration(broken);
            refused += read ? 0 : 1;
            ASSERT_TRUE(!read || !read->ui || read->ui->size() <= 4);
        }
    }
    EXPECT_GT(refused, text.size());
}

struct TextRow {
    const char* name;
    QByteArray bytes;
    const char* theme; // that is read, or none when the file is refused
};

void PrintTo(const TextRow& row, std::ostream* out) {
    *out << row.name;
}

class HostileText : public ::testing::TestWithParam<TextRow> {};

TEST_P(HostileText, IsReadOrRefusedAsAWhole) {
    const auto read = parseConfiguration(GetParam().bytes);
    ASSERT_EQ(read.has_value(), GetParam().theme != nullptr);
    if (read) {
        EXPECT_EQ(read->ui->value(QLatin1String("theme")).toString(), QString::fromUtf8(GetParam().theme));
    }
}

QByteArray utf16(const char* text) {
    return QByteArray(reinterpret_cast<const char*>(QString::fromUtf8(text).utf16()),
                      2 * QString::fromUtf8(text).size());
}

INSTANTIATE_TEST_SUITE_P(
    Bytes, HostileText,
    ::testing::Values(
        TextRow{"ByteOrderMark", "\xef\xbb\xbf{\"ui\": {\"theme\": \"Dark\"}}", "Dark"},
        TextRow{"TwoByteOrderMarks", "\xef\xbb\xbf\xef\xbb\xbf{\"ui\": {\"theme\": \"Dark\"}}", nullptr},
        TextRow{"ByteOrderMarkAlone", "\xef\xbb\xbf", nullptr},
        TextRow{"Utf16", utf16("{\"ui\": {\"theme\": \"Dark\"}}"), nullptr},
        TextRow{"Utf16WithMark", "\xff\xfe" + utf16("{\"ui\": {\"theme\": \"Dark\"}}"), nullptr},
        TextRow{"Latin1", "{\"ui\": {\"theme\": \"d\xfcster\"}}", nullptr},
        TextRow{"CutCharacter", "{\"ui\": {\"theme\": \"d\xc3\"}}", nullptr},
        TextRow{"Surrogate", "{\"ui\": {\"theme\": \"d\xed\xa0\x80\"}}", nullptr},
        TextRow{"WindowsLines", "{\r\n\"ui\": {\r\n\"theme\": \"Dark\"\r\n}\r\n}\r\n", "Dark"},
        TextRow{"SamePartTwice", "{\"ui\": {\"theme\": \"Dark\"}, \"ui\": {\"theme\": \"Bright\"}}",
                "Bright"},
        TextRow{"SameKeyTwice", "{\"ui\": {\"theme\": 1, \"theme\": \"Dark\", \"theme\": \"Bright\"}}",
                "Bright"},
        TextRow{"NumberBeyondAll", "{\"ui\": {\"theme\": \"Dark\", \"currentTab\": 1e999}}", nullptr},
        TextRow{"NoNumber", "{\"ui\": {\"theme\": \"Dark\", \"currentTab\": NaN}}", nullptr},
        TextRow{"Infinity", "{\"ui\": {\"theme\": \"Dark\", \"currentTab\": -Infinity}}", nullptr},
        TextRow{"LongNumber",
                "{\"ui\": {\"theme\": \"Dark\", \"currentTab\": " + QByteArray("9").repeated(300) + "}}",
                "Dark"},
        TextRow{"Comment", "// mine\n{\"ui\": {\"theme\": \"Dark\"}}", nullptr},
        TextRow{"NulAtTheEnd", QByteArray("{\"ui\": {\"theme\": \"Dark\"}}") + '\0', nullptr}),
    [](const auto& test) { return test.param.name; });

TEST(HostileFile, NestedDeeplyIsRefused) {
    for (const char* opening : {"[", "{\"a\":"}) {
        for (const int depth : {2000, 1000000}) {
            const QByteArray nested = QByteArray(opening).repeated(depth);
            EXPECT_FALSE(parseConfiguration("{\"experiments\":" + nested));
            EXPECT_FALSE(parseConfiguration(nested));
        }
    }
    const QByteArray closed = QByteArray("[").repeated(100000) + QByteArray("]").repeated(100000);
    EXPECT_FALSE(parseConfiguration("{\"experiments\":" + closed + "}"));
}

TEST(HostileFile, OfMoreThanEightMebibytesIsRefused) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("large.json"));
    QByteArray text(8 * 1024 * 1024, ' ');
    text.replace(0, 2, "{}");
    write(path, text);
    EXPECT_TRUE(readConfiguration(path));
    write(path, text + ' ');
    EXPECT_FALSE(readConfiguration(path));
    write(path, "{\"a\": \"" + QByteArray(50 * 1024 * 1024, 'x') + "\"}");
    EXPECT_FALSE(readConfiguration(path));
    ASSERT_TRUE(QFile(path).resize(qint64{1} << 40)); // takes no room
    EXPECT_FALSE(readConfiguration(path));
}

TEST(HostileFile, OfTooManyExperimentsGivesTheFirst) {
    QByteArray entries;
    for (int i = 0; i < 100000; ++i) {
        entries += "{\"type\":\"" + QByteArray::number(i) + "\"},";
    }
    entries.chop(1);
    const auto read = parseConfiguration("{\"experiments\":[" + entries + "]}");
    ASSERT_TRUE(read && read->experiments);
    ASSERT_EQ(read->experiments->size(), 256);
    EXPECT_EQ(read->experiments->last()[QLatin1String("type")].toString(), QStringLiteral("255"));
}

TEST(HostileFile, ThatIsNoFileIsRefusedAtOnce) {
    const QTemporaryDir folder;
    const QString pipe = folder.filePath(QStringLiteral("pipe"));
    ASSERT_EQ(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    EXPECT_FALSE(readConfiguration(pipe)); // nobody writes into it
    EXPECT_FALSE(readConfiguration(QStringLiteral("/dev/zero")));
    EXPECT_FALSE(readConfiguration(folder.path()));
}

TEST(HostileFile, BehindLinksThatLeadNowhereIsRefused) {
    const QTemporaryDir folder;
    const QString link = folder.filePath(QStringLiteral("link.json"));
    for (const QString& target :
         {folder.filePath(QStringLiteral("gone.json")), link, folder.path(), QStringLiteral("/dev/null")}) {
        ASSERT_TRUE(QFile::link(target, link));
        EXPECT_FALSE(readConfiguration(link)) << target.toStdString();
        QFile::remove(link);
    }
}

} // namespace
} // namespace qorn::timetagger::gui
