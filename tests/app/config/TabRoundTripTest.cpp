// The settings of every tab type, control by control, from one tab through a configuration to another.
#include "ExperimentCatalog.h"
#include "QtPrinting.h"
#include "TabOperation.h"

#include <QJsonDocument>
#include <QSet>

#include <gtest/gtest.h>

#include <algorithm>

namespace qorn::testing {
namespace {

using timetagger::gui::ExperimentTab;

class EveryTabType : public ::testing::TestWithParam<const char*> {
protected:
    QString type = QString::fromUtf8(GetParam());
};

QString nameOf(const char* type) {
    return QString::fromUtf8(type).remove(QLatin1Char(' '));
}

INSTANTIATE_TEST_SUITE_P(Types, EveryTabType, ::testing::ValuesIn(kTabTypes),
                         [](const auto& test) { return nameOf(test.param).toStdString(); });

TEST(TabTypes, AreAllThatAreOffered) {
    for (const QString& offered : timetagger::gui::offeredExperimentTypes()) {
        EXPECT_TRUE(std::any_of(std::begin(kTabTypes), std::end(kTabTypes), [&](const char* type) {
            return offered == QLatin1String(type);
        })) << offered.toStdString();
    }
}

// As a file brings it.
QJsonObject throughText(const QJsonObject& object) {
    return QJsonDocument::fromJson(QJsonDocument(object).toJson()).object();
}

// Controls that are copied into others at the press of a button, and are no settings.
bool isOnlyAnOffer(const QWidget& control) {
    static const QSet<QString> offers = {QStringLiteral("allCenterA"), QStringLiteral("allWidthA"),
                                         QStringLiteral("allCenterB"), QStringLiteral("allWidthB")};
    return offers.contains(control.objectName());
}

void expectTheSameControls(const ExperimentTab& expected, const ExperimentTab& actual) {
    const QList<QWidget*> left = controlsOf(expected);
    const QList<QWidget*> right = controlsOf(actual);
    ASSERT_EQ(left.size(), right.size());
    for (qsizetype i = 0; i < left.size(); ++i) {
        if (!isOnlyAnOffer(*left[i])) {
            EXPECT_EQ(valueOf(*left[i]), valueOf(*right[i])) << left[i]->objectName().toStdString();
        }
    }
}

TEST_P(EveryTabType, ShowsInAnotherTabWhatEachControlWasSetTo) {
    const auto tab = makeTab(type);
    const QJsonObject defaults = tab->saveConfig();
    QSet<QString> changedPlaces;
    QSet<QWidget*> idle;
    // Again and again, since some have an effect only beside certain values of others.
    for (int pass = 0; pass < 3; ++pass) {
        for (QWidget* control : controlsOf(*tab)) {
            const QMap<QString, QJsonValue> before = leavesOf(tab->saveConfig());
            changeControl(*control);
            const QMap<QString, QJsonValue> after = leavesOf(tab->saveConfig());
            for (const QString& place : (before.keys() + after.keys())) {
                if (before.value(place) != after.value(place)) {
                    changedPlaces.insert(place);
                }
            }
            if (before == after && pass == 0) {
                idle.insert(control);
            } else if (before != after) {
                idle.remove(control);
            }
            const auto other = makeTab(type);
            other->loadConfig(throughText(tab->saveConfig()));
            ASSERT_EQ(textOf(other->saveConfig()), textOf(tab->saveConfig()))
                << control->objectName().toStdString();
            expectTheSameControls(*tab, *other);
        }
    }
    for (const QWidget* control : idle) {
        EXPECT_TRUE(isOnlyAnOffer(*control)) << "not saved: " << control->metaObject()->className() << " "
                                             << control->objectName().toStdString();
    }
    for (const QString& place : leavesOf(defaults).keys()) {
        if (place != QLatin1String("viewCounts")) { // of a plot that is never shown
            EXPECT_TRUE(changedPlaces.contains(place)) << "no control for " << place.toStdString();
        }
    }
}

TEST_P(EveryTabType, ComesBackWithEveryControlChangedAtOnce) {
    const auto tab = makeTab(type);
    const QJsonObject defaults = tab->saveConfig();
    changeEveryControl(*tab);
    const QJsonObject saved = throughText(tab->saveConfig());
    for (const QString& key : defaults.keys()) {
        if (key != QLatin1String("viewCounts")) {
            EXPECT_NE(saved.value(key), defaults.value(key)) << key.toStdString();
        }
    }
    const auto other = makeTab(type);
    other->loadConfig(saved);
    EXPECT_EQ(textOf(other->saveConfig()), textOf(saved));
    expectTheSameControls(*tab, *other);
    other->loadConfig(defaults);
    EXPECT_EQ(textOf(other->saveConfig()), textOf(defaults)) << "the way back to the defaults";
}

TEST_P(EveryTabType, SharesNothingWithATabOfItsType) {
    const auto tab = makeTab(type);
    const auto other = makeTab(type);
    const QJsonObject defaults = other->saveConfig();
    changeEveryControl(*tab);
    EXPECT_EQ(textOf(other->saveConfig()), textOf(defaults));
}

TEST_P(EveryTabType, TakesBackItsSharedSettings) {
    const QJsonObject shared{
        {QStringLiteral("dataLog"), QJsonObject{{QStringLiteral("directory"), QStringLiteral("/logs/ä b")},
                                                {QStringLiteral("format"), QStringLiteral("binary")},
                                                {QStringLiteral("rotateSeconds"), 604800},
                                                {QStringLiteral("maximumDurationSeconds"), 1}}},
        {QStringLiteral("timeTagRecording"),
         QJsonObject{{QStringLiteral("enabled"), true},
                     {QStringLiteral("directory"), QStringLiteral("/tags/\\ \"c\"")},
                     {QStringLiteral("rotateSeconds"), 7},
                     {QStringLiteral("maximumDurationSeconds"), 604799}}}};
    const auto tab = makeTab(type);
    ASSERT_NE(textOf(tab->sharedConfig()), textOf(shared));
    tab->loadSharedConfig(throughText(shared));
    EXPECT_EQ(textOf(tab->sharedConfig()), textOf(shared));
    EXPECT_EQ(textOf(makeTab(type)->sharedConfig()), textOf(shared)) << "a new tab of the type";
}

} // namespace
} // namespace qorn::testing
