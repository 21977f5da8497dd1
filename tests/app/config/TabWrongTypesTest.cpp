// Settings of every tab type with something else in the place of each value: it counts as missing.
#include "QtPrinting.h"
#include "TabOperation.h"

#include <QDoubleSpinBox>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>
#include <QSpinBox>

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

// All texts in settings are names of choices, and no strange one is.
TEST_P(TabSettings, OfAWrongTypeOrUnknownNameCountAsMissing) {
    changeEveryControl(*tab);
    const QJsonObject changed = tab->saveConfig();
    for (const QString& place : placesIn(changed)) {
        const QJsonObject without =
            loaded(withValueAt(changed, place, QJsonValue(QJsonValue::Undefined)).toObject());
        const QJsonValue::Type expected = valueAt(changed, place).type();
        for (const QJsonValue& strange : strangeValues()) {
            const QJsonObject result = loaded(withValueAt(changed, place, strange).toObject());
            if (strange.type() != expected || strange.isString()) {
                ASSERT_EQ(textOf(result), textOf(without))
                    << place.toStdString() << " as "
                    << textOf({{QStringLiteral("strange"), strange}}).toStdString();
            }
            ASSERT_EQ(textOf(loaded(result)), textOf(result)) << "in range: " << place.toStdString();
        }
    }
}

QStringList textsOfNumbers(const ExperimentTab& shown) {
    QStringList texts;
    for (const QAbstractSpinBox* box : shown.findChildren<QAbstractSpinBox*>()) {
        texts.append(box->text());
    }
    return texts;
}

bool isAtItsLimit(const QAbstractSpinBox& box, bool most) {
    if (const auto* number = qobject_cast<const QDoubleSpinBox*>(&box)) {
        return number->value() == (most ? number->maximum() : number->minimum());
    }
    const auto* count = qobject_cast<const QSpinBox*>(&box);
    return count != nullptr && count->value() == (most ? count->maximum() : count->minimum());
}

TEST_P(TabSettings, BeyondEveryLimitStandAtTheLimitOfTheirControl) {
    QSet<const QWidget*> reached;
    const QMap<QString, QJsonValue> leaves = leavesOf(defaults);
    for (const QString& place : leaves.keys()) {
        if (!leaves.value(place).isDouble() || place.startsWith(QLatin1String("channels/"))) {
            continue;
        }
        for (const double beyond : {1e300, 1e19, -1e19, -1e300}) {
            loaded(defaults);
            const QStringList before = textsOfNumbers(*tab);
            loaded(withValueAt(defaults, place, beyond).toObject());
            const QStringList after = textsOfNumbers(*tab);
            const QList<QAbstractSpinBox*> boxes = tab->findChildren<QAbstractSpinBox*>();
            for (qsizetype i = 0; i < boxes.size(); ++i) {
                if (before[i] != after[i]) {
                    EXPECT_TRUE(isAtItsLimit(*boxes[i], beyond > 0)) << place.toStdString();
                    reached.insert(boxes[i]);
                }
            }
        }
    }
    for (const QAbstractSpinBox* box : tab->findChildren<QAbstractSpinBox*>()) {
        const bool isOnlyAnOffer = box->objectName().startsWith(QLatin1String("all")); // and no setting
        EXPECT_TRUE(isOnlyAnOffer || reached.contains(box)) << nameOf(*box);
    }
}

// The whole array from a file that has more or fewer of its items than the tab, or none at all.
TEST_P(TabSettings, InArraysOfAnotherLengthAreTakenAsFarAsBothReach) {
    changeEveryControl(*tab);
    const QJsonObject changed = tab->saveConfig();
    for (const QString& place : placesIn(changed)) {
        const QJsonArray whole = valueAt(changed, place).toArray();
        if (whole.isEmpty() ||
            place == QLatin1String("channels")) { // those in it are selected, and no others
            continue;
        }
        const QJsonArray before = valueAt(defaults, place).toArray();
        for (qsizetype length = 0; length < whole.size(); ++length) {
            QJsonArray first;
            QJsonArray expected;
            for (qsizetype i = 0; i < whole.size(); ++i) {
                expected.append(i < length ? whole.at(i) : before.at(i));
                if (i < length) {
                    first.append(whole.at(i));
                }
            }
            const QJsonObject result = loaded(withValueAt(changed, place, first).toObject());
            EXPECT_EQ(valueAt(result, place), QJsonValue(expected))
                << place.toStdString() << " of " << length;
        }
        QJsonArray longer = whole;
        for (int i = 0; i < 1000; ++i) {
            longer.append(i % 2 == 0 ? QJsonValue(i) : QJsonValue(QStringLiteral("more")));
        }
        EXPECT_EQ(textOf(loaded(withValueAt(changed, place, longer).toObject())), textOf(changed));
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

// --- keys that are read and never written ------------------------------------------------------------------

TEST(TimeTagSettings, AnOutputFolderThatIsNoTextLeavesTheFolder) {
    const auto tab = makeTab(QStringLiteral("Time tags"));
    tab->setTimeTagRecordingDirectory(QStringLiteral("/data"));
    for (const QJsonValue& strange : strangeValues()) {
        if (!strange.isString()) {
            tab->loadConfig({{QStringLiteral("outputFolder"), strange}});
            ASSERT_EQ(tab->timeTagRecordingDirectory(), QStringLiteral("/data"));
        }
    }
}

TEST(CorrelationSettings, AnOlderAcquireOfAnythingElseShowsTheIntegratedHistogramAlone) {
    for (const QJsonValue& strange : strangeValues()) {
        const auto tab = makeTab(QStringLiteral("Correlation"));
        tab->loadConfig({{QStringLiteral("viewIntegrated"), false}, {QStringLiteral("viewInstant"), true}});
        tab->loadConfig({{QStringLiteral("acquire"), strange}});
        const QJsonObject saved = tab->saveConfig();
        EXPECT_TRUE(saved.value(QLatin1String("viewIntegrated")).toBool());
        EXPECT_FALSE(saved.value(QLatin1String("viewInstant")).toBool());
        EXPECT_FALSE(saved.value(QLatin1String("viewParameters")).toBool());
    }
}

} // namespace
} // namespace qorn::testing
