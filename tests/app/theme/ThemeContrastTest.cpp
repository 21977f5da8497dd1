// How well each text of the style sheet stands out from its ground, computed from the colours of the themes.
#include "ThemeStyle.h"

#include <QRegularExpression>
#include <QStringList>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <set>

namespace qorn::timetagger::gui {
namespace {

constexpr std::array kThemeNames{"Qorn", "Dark", "Bright", "High contrast", "Classic"};
constexpr double kLeastContrast = 4.5;

double luminance(const QColor& colour) {
    const auto linear = [](double part) {
        return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
           0.0722 * linear(colour.blueF());
}

// From 1, the same colour, to 21, black on white.
double contrast(const QString& text, const QString& ground) {
    const auto [low, high] = std::minmax({luminance(QColor(text)), luminance(QColor(ground))});
    return (high + 0.05) / (low + 0.05);
}

struct Rule {
    QString selector;
    QString text;   // colour or placeholder, empty when the rule has none
    QString ground; // empty when the rule has none, or lets through what is below
};

QString property(const QString& body, const char* name) {
    const QRegularExpression wanted(QStringLiteral("(?:^|[;{ ])%1: ([^; ]+)").arg(QLatin1String(name)));
    return wanted.match(body).captured(1);
}

// One for each selector of the template, in its order.
std::vector<Rule> rules() {
    std::vector<Rule> found;
    for (const QString& line : styleTemplate().split(QLatin1Char('\n'))) {
        const QString body = line.section(QLatin1Char('{'), 1).remove(QLatin1Char('}'));
        QString ground = property(body, "background");
        if (ground == QLatin1String("transparent") || ground == QLatin1String("none")) {
            ground.clear();
        }
        for (const QString& selector : line.section(QStringLiteral(" {"), 0, 0).split(QStringLiteral(", "))) {
            found.push_back({selector, property(body, "color"), ground});
        }
    }
    return found;
}

// What stands on whatever is below it, and what that can be.
const std::map<QString, QStringList> kGrounds{
    {QStringLiteral("QWidget"), {QStringLiteral("%BG%"), QStringLiteral("%TABSEL%")}},
    {QStringLiteral("QGroupBox::title"), {QStringLiteral("%BG%")}},
    {QStringLiteral("QLabel#HeroTitle"), {QStringLiteral("%BG%")}},
    {QStringLiteral("QLabel#PageTitle"), {QStringLiteral("%BG%")}},
    {QStringLiteral("QLabel#HeroSubtitle"), {QStringLiteral("%BG%")}},
    {QStringLiteral("QLabel#Muted"), {QStringLiteral("%BG%")}},
    {QStringLiteral("QLabel[muted=\"true\"]"), {QStringLiteral("%BG%")}},
};

bool isAboutDisabled(const Rule& rule) {
    return rule.selector.contains(QLatin1String(":disabled"));
}

// Every pair of text and ground as "selector: text on ground", but for controls that are disabled.
struct Pair {
    QString selector;
    QString text;
    QString ground;
};

std::vector<Pair> pairs() {
    std::vector<Pair> all;
    for (const Rule& rule : rules()) {
        if (rule.text.isEmpty() || isAboutDisabled(rule)) {
            continue;
        }
        if (!rule.ground.isEmpty()) {
            all.push_back({rule.selector, rule.text, rule.ground});
        }
        for (const QString& ground :
             kGrounds.count(rule.selector) != 0 ? kGrounds.at(rule.selector) : QStringList()) {
            all.push_back({rule.selector, rule.text, ground});
        }
    }
    return all;
}

// Colours that are fixed and fall below: the theme and what is written how. Whoever mends one finds it here.
const std::set<std::string> kKnownBelow{
    "Dark: QLabel#StatusFlag[flagState=\"muted\"]", // 3.0
    "Bright: QGroupBox::title",                     // 3.3
    "Bright: QLabel#HeroTitle",                     // 3.3, in large type
    "Bright: QLabel#PageTitle",                     // 3.3
    "Classic: QGroupBox::title",                    // 3.5
    "Classic: QLabel#HeroTitle",                    // 3.5, in large type
    "Classic: QLabel#PageTitle",                    // 3.5
};

TEST(ThemeContrast, EveryTextStandsOutFromItsGround) {
    std::set<std::string> below;
    for (const char* name : kThemeNames) {
        const ThemePalette& theme = paletteFor(QString::fromLatin1(name));
        for (const Pair& pair : pairs()) {
            const double reached =
                contrast(fillStyleTemplate(pair.text, theme), fillStyleTemplate(pair.ground, theme));
            if (reached < kLeastContrast) {
                const std::string which = std::string(name) + ": " + pair.selector.toStdString();
                below.insert(which);
                EXPECT_TRUE(kKnownBelow.contains(which)) << which << " has " << reached;
                EXPECT_GE(reached, 2.9) << which;
            }
        }
    }
    EXPECT_EQ(below, kKnownBelow);
}

// A rule that colours a text has to say on which ground, here or there.
TEST(ThemeContrast, TheGroundOfEveryColouredTextIsKnown) {
    int coloured = 0;
    for (const Rule& rule : rules()) {
        if (rule.text.isEmpty() || isAboutDisabled(rule)) {
            continue;
        }
        ++coloured;
        EXPECT_TRUE(!rule.ground.isEmpty() || kGrounds.contains(rule.selector))
            << rule.selector.toStdString();
    }
    EXPECT_GT(coloured, 25);
}

// Texts that no rule colours have the colour of all, or of a button's text, on the grounds that there are.
TEST(ThemeContrast, PlainTextStandsOutFromEveryGround) {
    const std::pair<const char*, std::vector<const char*>> cases[] = {
        {"%TEXT%",
         {"%BG%", "%PANEL%", "%FIELD%", "%SEL%", "%TABBG%", "%TABSEL%", "%BTNHOVER%", "%BTNDISBG%"}},
        {"%BTNTEXT%", {"%BTN%", "%BTNHOVER%", "%SEL%", "%PANEL%", "%BG%"}},
        {"#060a16", {"%ACCENT%", "#37f4b5"}},
    };
    for (const char* name : kThemeNames) {
        const ThemePalette& theme = paletteFor(QString::fromLatin1(name));
        for (const auto& [text, grounds] : cases) {
            for (const char* ground : grounds) {
                EXPECT_GE(contrast(fillStyleTemplate(QString::fromLatin1(text), theme),
                                   fillStyleTemplate(QString::fromLatin1(ground), theme)),
                          kLeastContrast)
                    << name << " " << text << " on " << ground;
            }
        }
    }
}

} // namespace
} // namespace qorn::timetagger::gui
