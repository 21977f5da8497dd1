// Settings of every tab type with something else in the place of each value: it counts as missing.
#include "QtPrinting.h"
#include "TabOperation.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <gtest/gtest.h>

namespace qorn::testing {
namespace {

using timetagger::gui::ExperimentTab;

QJsonValue nested(int depth) {
    QJsonValue value = 1;
    for (int i = 0; i < depth; ++i) {
        value = i % 2 == 0 ? QJsonValue(QJsonArray{value})
                           : QJsonValue(QJsonObject{{QStringLiteral("a"), value}});
    }
    return value;
}

// Something of each type; the numbers are on the far side of every limit.
QList<QJsonValue> strangeValues() {
    return {QJsonValue(QJsonValue::Null),
            true,
            0,
            -1,
            2.5,
            1e300,
            -1e300,
            1e19,
            QString(),
            QStringLiteral("1"),
            QStringLiteral("Nothing of the kind"),
            QString(100000, QLatin1Char('x')),
            QString(QChar(0)),
            QJsonArray(),
            QJsonArray{QJsonArray(), QJsonObject(), 1e300, QStringLiteral("2"), QJsonValue(QJsonValue::Null)},
            QJsonObject(),
            QJsonObject{{QStringLiteral("centerNs"), QStringLiteral("3")}},
            nested(400)};
}

class TabSettings : public ::testing::TestWithParam<const char*> {
protected:
    QString type = QString::fromUtf8(GetParam());
    std::unique_ptr<ExperimentTab> tab = makeTab(type);
    QJsonObject defaults = tab->saveConfig();

    QJsonObject loaded(const QJsonObject& config) {
        tab->loadConfig(defaults);
        tab->loadConfig(config);
        return tab->saveConfig();
    }
};

INSTANTIATE_TEST_SUITE_P(Types, TabSettings, ::testing::ValuesIn(kTabTypes), [](const auto& test) {
    return QString::fromUtf8(test.param).remove(QLatin1Char(' ')).toStdString();
});

TEST_P(TabSettings, OfAWrongTypeCountAsMissing) {
    changeEveryControl(*tab);
    const QJsonObject changed = tab->saveConfig();
    for (const QString& place : placesIn(changed)) {
        const QJsonObject without =
            loaded(withValueAt(changed, place, QJsonValue(QJsonValue::Undefined)).toObject());
        const QJsonValue::Type expected = leavesOf(changed).value(place).type();
        for (const QJsonValue& strange : strangeValues()) {
            const QJsonObject result = loaded(withValueAt(changed, place, strange).toObject());
            const bool wrong = strange.type() != expected && !(strange.isArray() || strange.isObject());
            const bool wrongNumberOfChannels = place.startsWith(QLatin1String("channels/"));
            if (wrong && !wrongNumberOfChannels && leavesOf(changed).contains(place)) {
                ASSERT_EQ(textOf(result), textOf(without)) << place.toStdString();
            }
            ASSERT_EQ(textOf(loaded(result)), textOf(result)) << "in range: " << place.toStdString();
        }
    }
}

TEST_P(TabSettings, AllOfAWrongTypeLeaveTheControls) {
    for (const QJsonValue& strange : strangeValues()) {
        QJsonObject config;
        for (const QString& key : defaults.keys()) {
            const QJsonValue value = defaults.value(key);
            config.insert(key, value.type() == strange.type() ? QJsonValue(QJsonValue::Null) : strange);
        }
        EXPECT_EQ(textOf(loaded(config)), textOf(defaults));
    }
}

TEST_P(TabSettings, SharedOfAWrongTypeLeaveTheOthers) {
    const QJsonObject shared = tab->sharedConfig();
    for (const QString& place : placesIn(shared)) {
        for (const QJsonValue& strange : strangeValues()) {
            tab->loadSharedConfig(shared);
            tab->loadSharedConfig(withValueAt(shared, place, strange).toObject());
            const QMap<QString, QJsonValue> before = leavesOf(shared);
            const QMap<QString, QJsonValue> after = leavesOf(tab->sharedConfig());
            ASSERT_EQ(after.keys(), before.keys());
            for (const QString& key : before.keys()) {
                if (key != place || strange.type() != before.value(key).type()) {
                    ASSERT_EQ(after.value(key), before.value(key)) << place.toStdString();
                }
            }
        }
    }
}

} // namespace
} // namespace qorn::testing
