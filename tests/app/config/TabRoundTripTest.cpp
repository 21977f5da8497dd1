// The settings of every tab type, control by control, from one tab through a configuration to another.
#include "ExperimentCatalog.h"
#include "QtPrinting.h"
#include "TabOperation.h"

#include <QAbstractButton>
#include <QComboBox>
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

INSTANTIATE_TEST_SUITE_P(Types, EveryTabType, ::testing::ValuesIn(kTabTypes), [](const auto& test) {
    return QString::fromUtf8(test.param).remove(QLatin1Char(' ')).toStdString();
});

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

// The only controls that no file keeps: those that are copied into others at the press of a button, and how
// the mouse moves about in a plot, which is of the moment.
bool isNoSetting(const QWidget& control) {
    static const QSet<QString> offers = {QStringLiteral("allCenterA"), QStringLiteral("allWidthA"),
                                         QStringLiteral("allCenterB"), QStringLiteral("allWidthB")};
    const auto* button = qobject_cast<const QAbstractButton*>(&control);
    return offers.contains(control.objectName()) ||
           (button != nullptr && button->text() == QLatin1String("Drag zoom"));
}

// Values that no control shows: whether a plot that is gone stood there, and what a dialog asks for.
bool hasNoControl(const QString& place) {
    const bool isAsked =
        place.startsWith(QLatin1String("sharedConfig/")) && !place.endsWith(QLatin1String("/enabled"));
    return isAsked || place == QLatin1String("config/viewCounts");
}

void expectTheSameControls(const ExperimentTab& expected, const ExperimentTab& actual) {
    const QList<QWidget*> left = controlsOf(expected);
    const QList<QWidget*> right = controlsOf(actual);
    ASSERT_EQ(left.size(), right.size());
    for (qsizetype i = 0; i < left.size(); ++i) {
        if (!isNoSetting(*left[i])) {
            EXPECT_EQ(valueOf(*left[i]), valueOf(*right[i])) << nameOf(*left[i]);
        }
    }
}

void expectToComeBackIn(ExperimentTab& other, const ExperimentTab& tab) {
    loadSettings(other, throughText(settingsOf(tab)));
    ASSERT_EQ(textOf(settingsOf(other)), textOf(settingsOf(tab)));
    expectTheSameControls(tab, other);
}

TEST_P(EveryTabType, ShowsInAnotherTabWhatEachControlWasSetTo) {
    const auto tab = makeShownTab(type);
    const auto other = makeShownTab(type);
    const QJsonObject defaults = settingsOf(*tab);
    QSet<QString> changedPlaces;
    QSet<QWidget*> idle;
    // Again and again, since some have an effect only beside certain values of others.
    for (int pass = 0; pass < 3; ++pass) {
        for (QWidget* control : controlsOf(*tab)) {
            SCOPED_TRACE(nameOf(*control));
            const QMap<QString, QJsonValue> before = leavesOf(settingsOf(*tab));
            changeControl(*control);
            const QMap<QString, QJsonValue> after = leavesOf(settingsOf(*tab));
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
            ASSERT_NO_FATAL_FAILURE(expectToComeBackIn(*other, *tab));
        }
    }
    for (const QWidget* control : idle) {
        EXPECT_TRUE(isNoSetting(*control)) << "not saved: " << nameOf(*control);
    }
    for (const QString& place : leavesOf(defaults).keys()) {
        EXPECT_TRUE(hasNoControl(place) || changedPlaces.contains(place))
            << "no control for " << place.toStdString();
    }
}

TEST_P(EveryTabType, ComesBackWithEachChoiceOfEachBox) {
    const auto tab = makeShownTab(type);
    const auto other = makeShownTab(type);
    int taken = 0;
    for (QComboBox* box : tab->findChildren<QComboBox*>()) {
        for (int index = 0; index < box->count(); ++index) {
            SCOPED_TRACE(nameOf(*box) + ": " + box->itemText(index).toStdString());
            box->setCurrentIndex(index);
            taken += box->currentIndex() == index ? 1 : 0; // not all go with the others
            ASSERT_NO_FATAL_FAILURE(expectToComeBackIn(*other, *tab));
        }
    }
    EXPECT_GE(taken, 3);
}

TEST_P(EveryTabType, ComesBackWithEveryControlChangedAtOnce) {
    const auto tab = makeShownTab(type);
    const auto other = makeShownTab(type);
    const QJsonObject defaults = settingsOf(*tab);
    changeEveryControl(*tab);
    const QMap<QString, QJsonValue> saved = leavesOf(settingsOf(*tab));
    for (const QString& key : tab->saveConfig().keys()) {
        const QString place = QStringLiteral("config/") + key;
        EXPECT_TRUE(hasNoControl(place) || valueAt(settingsOf(*tab), place) != valueAt(defaults, place))
            << key.toStdString();
    }
    EXPECT_NE(saved.value(QStringLiteral("sharedConfig/timeTagRecording/enabled")),
              valueAt(defaults, QStringLiteral("sharedConfig/timeTagRecording/enabled")));
    expectToComeBackIn(*other, *tab);
    loadSettings(*other, defaults);
    EXPECT_EQ(textOf(settingsOf(*other)), textOf(defaults)) << "the way back to the defaults";
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
