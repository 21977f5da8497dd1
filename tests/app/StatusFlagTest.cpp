#include "StatusFlag.h"

#include "QtPrinting.h"

#include <QLabel>
#include <QProxyStyle>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

// Counts how often a widget is dressed.
class CountingStyle : public QProxyStyle {
public:
    using QProxyStyle::polish;
    using QProxyStyle::unpolish;
    void polish(QWidget* widget) override {
        ++polished;
        QProxyStyle::polish(widget);
    }
    void unpolish(QWidget* widget) override {
        ++unpolished;
        QProxyStyle::unpolish(widget);
    }
    int polished = 0;
    int unpolished = 0;
};

TEST(StatusFlag, StatesHaveTheNamesOfTheStyleSheet) {
    EXPECT_EQ(flagStateName(FlagState::Muted), QStringLiteral("muted"));
    EXPECT_EQ(flagStateName(FlagState::Active), QStringLiteral("active"));
    EXPECT_EQ(flagStateName(FlagState::Good), QStringLiteral("good"));
    EXPECT_EQ(flagStateName(FlagState::Warning), QStringLiteral("warning"));
    EXPECT_EQ(flagStateName(FlagState::Bad), QStringLiteral("bad"));
}

TEST(StatusFlag, ShowsTextAndState) {
    QLabel label;
    setStatusFlag(&label, QStringLiteral("Clock lock: internal"), FlagState::Good);
    EXPECT_EQ(label.text(), QStringLiteral("Clock lock: internal"));
    EXPECT_EQ(label.property("flagState").toString(), QStringLiteral("good"));
}

TEST(StatusFlag, RestylesOnlyWhenTheStateChanges) {
    CountingStyle style;
    QLabel label;
    label.setStyle(&style);
    setStatusFlag(&label, QStringLiteral("one"), FlagState::Muted);
    style.polished = style.unpolished = 0;
    setStatusFlag(&label, QStringLiteral("two"), FlagState::Muted);
    EXPECT_EQ(label.text(), QStringLiteral("two"));
    EXPECT_EQ(style.polished, 0);
    EXPECT_EQ(style.unpolished, 0);
    setStatusFlag(&label, QStringLiteral("two"), FlagState::Warning);
    EXPECT_EQ(style.unpolished, 1);
    EXPECT_EQ(style.polished, 1);
}

TEST(StatusFlag, TheStyleSheetRecoloursTheLabel) {
    QLabel label;
    label.setStyleSheet(QStringLiteral("QLabel[flagState=\"good\"] { color: #010203; }"
                                       "QLabel[flagState=\"warning\"] { color: #a0b0c0; }"));
    label.ensurePolished();
    setStatusFlag(&label, QStringLiteral("x"), FlagState::Good);
    EXPECT_EQ(label.palette().color(QPalette::WindowText), QColor(1, 2, 3));
    setStatusFlag(&label, QStringLiteral("x"), FlagState::Warning);
    EXPECT_EQ(label.palette().color(QPalette::WindowText), QColor(0xa0, 0xb0, 0xc0));
}

TEST(StatusFlag, NoLabelIsNoHarm) {
    QLabel label;
    setStatusFlag(&label, QStringLiteral("x"), FlagState::Good);
    setStatusFlag(nullptr, QStringLiteral("y"), FlagState::Warning);
    EXPECT_EQ(label.text(), QStringLiteral("x"));
    EXPECT_EQ(label.property("flagState").toString(), QStringLiteral("good"));
}

} // namespace
} // namespace qorn::timetagger::gui
