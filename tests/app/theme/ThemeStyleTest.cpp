#include "ThemeStyle.h"

#include "BarChartWidget.h"
#include "MeasurementToolbar.h"

#include <QAbstractItemDelegate>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QIcon>
#include <QImage>
#include <QLabel>
#include <QPushButton>
#include <QRegularExpression>
#include <QSpinBox>
#include <QStyle>
#include <QTableWidget>
#include <QToolButton>
#include <QVBoxLayout>

#include <gtest/gtest.h>

#include <array>

namespace qorn::timetagger::gui {
namespace {

constexpr std::array kThemeNames{"Qorn", "Dark", "Bright", "High contrast", "Classic"};

const ThemePalette& theme(const char* name) {
    return paletteFor(QString::fromLatin1(name));
}

// Gives the application its plain look back.
struct ScopedLook {
    ~ScopedLook() {
        qApp->setStyleSheet(QString());
        QApplication::setPalette(QPalette());
    }
};

// The declarations of the rule with exactly this selector; later rules win, as in the style sheet itself.
QString declarations(const QString& sheet, const QString& selector) {
    QString found;
    for (const QString& line : sheet.split(QLatin1Char('\n'))) {
        if (line.section(QLatin1String(" {"), 0, 0).split(QStringLiteral(", ")).contains(selector)) {
            found += line.section(QLatin1Char('{'), 1).remove(QLatin1Char('}'));
        }
    }
    return found;
}

int countOf(const QImage& image, const QColor& colour) {
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            count += image.pixelColor(x, y) == colour ? 1 : 0;
        }
    }
    return count;
}

// The greatest difference in brightness between two pixels of a part of a widget.
int contrastIn(QWidget& widget, const QRect& part) {
    const QImage image = widget.grab(part).toImage();
    int low = 255;
    int high = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            low = std::min(low, qGray(image.pixel(x, y)));
            high = std::max(high, qGray(image.pixel(x, y)));
        }
    }
    return high - low;
}

TEST(ThemeStyle, TheTemplateIsPartOfTheProgram) {
    EXPECT_GT(styleTemplate().size(), 3000);
}

TEST(ThemeStyle, NoPlaceholderIsLeftInAnyTheme) {
    for (const char* name : kThemeNames) {
        const QString sheet = fillStyleTemplate(styleTemplate(), theme(name));
        EXPECT_FALSE(sheet.contains(QLatin1Char('%'))) << name;
    }
}

TEST(ThemeStyle, EachPlaceholderTakesItsOwnColour) {
    const QString all =
        QStringLiteral("%BG% %PANEL% %TEXT% %MUTED% %BORDER% %ACCENT% %FIELD% %SEL% %TABBG% %TABSEL% "
                       "%BTN% %BTNHOVER% %BTNTEXT% %BTNDISBG% %BTNDISTEXT% %INK%");
    EXPECT_EQ(
        fillStyleTemplate(all, theme("Qorn")),
        QStringLiteral("#060a16 #0b1020 #e5e7eb #b5bfdc #182247 #12b8a6 #0a1020 #182247 #08101f #0d1430 "
                       "#101626 #182247 #f8fafc #0a0f1e #5d6680 light"));
    EXPECT_EQ(
        fillStyleTemplate(all, theme("Classic")),
        QStringLiteral("#ffffff #f0f0f0 #101010 #444444 #b0b0b0 #0f9b76 #ffffff #bdeede #e4e4e4 #ffffff "
                       "#ececec #dcdcdc #101010 #f0f0f0 #999999 dark"));
}

TEST(ThemeStyle, EveryPictureThatTheTemplateNamesExistsForEveryTheme) {
    const QRegularExpression url(QStringLiteral("url\\(([^)]+)\\)"));
    for (const char* name : kThemeNames) {
        auto matches = url.globalMatch(fillStyleTemplate(styleTemplate(), theme(name)));
        EXPECT_TRUE(matches.hasNext());
        while (matches.hasNext()) {
            const QString path = matches.next().captured(1);
            EXPECT_FALSE(QImage(path).isNull()) << path.toStdString();
        }
    }
}

// The toolkit makes its icons anew with each change of the theme, and keeps the name of what each has drawn.
TEST(ThemeStyle, PicturesThatTheTemplateNamesAreDrawnOnceForAllTheirIcons) {
    const auto isDrawnOnce = [](const QString& path) {
        return QIcon(path).pixmap(12, 12).cacheKey() == QIcon(path).pixmap(12, 12).cacheKey();
    };
    const QRegularExpression url(QStringLiteral("url\\(([^)]+)\\)"));
    auto matches = url.globalMatch(fillStyleTemplate(styleTemplate(), theme("Dark")));
    ASSERT_TRUE(matches.hasNext());
    while (matches.hasNext()) {
        const QString path = matches.next().captured(1);
        EXPECT_TRUE(isDrawnOnce(path)) << path.toStdString();
    }
    EXPECT_FALSE(isDrawnOnce(QStringLiteral(":/icons/standard/play.svg"))) << "the control";
}

TEST(ThemeStyle, NamedControlsHaveTheirFixedProperties) {
    const QString sheet = fillStyleTemplate(styleTemplate(), theme("Bright"));
    struct Expectation {
        const char* selector;
        std::vector<const char*> properties;
    };
    const std::vector<Expectation> expectations{
        {"QMainWindow", {"background: #f4f6f8", "color: #1f2530", "font-size: 10pt"}},
        {"QPushButton", {"border-radius: 0", "padding: 6px 12px"}},
        {"QPushButton#PrimaryButton",
         {"background: #0f9b76", "border: 1px solid #0f9b76", "color: #060a16", "font-weight: 700",
          "min-height: 30px"}},
        {"QPushButton#PrimaryButton:hover", {"background: #37f4b5"}},
        {"QPushButton#IntroActionButton", {"min-height: 30px", "color: #5a6573"}},
        {"QLabel#StatusFlag",
         {"border: 1px", "border-radius: 3px", "padding: 2px 7px", "font-size: 9pt", "font-weight: 600"}},
        {"QLabel#StatusFlag[flagState=\"good\"]",
         {"background: #0f5a50", "border-color: #18b9a5", "color: #f5fffc"}},
        {"QLabel#StatusFlag[flagState=\"active\"]",
         {"background: #173d6a", "border-color: #569cd6", "color: #f5fbff"}},
        {"QLabel#StatusFlag[flagState=\"warning\"]",
         {"background: #5e4615", "border-color: #d7a83c", "color: #fff8de"}},
        {"QLabel#StatusFlag[flagState=\"bad\"]",
         {"background: #662737", "border-color: #d96b83", "color: #fff6f8"}},
        {"QLabel#StatusFlag[flagState=\"muted\"]", {"background: #ffffff", "color: #5a6573"}},
        {"QLabel#HeroTitle", {"color: #0f9b76"}},
        {"QLabel#PageTitle", {"color: #0f9b76"}},
        {"QLabel#HeroSubtitle", {"color: #5a6573"}},
        {"QLabel#Muted", {"color: #5a6573"}},
        {"QLineEdit", {"background: #ffffff", "min-height: 30px", "min-width: 96px"}},
        {"QComboBox", {"background: #ffffff", "min-height: 30px", "min-width: 96px"}},
        {"QAbstractSpinBox", {"background: #ffffff", "min-height: 30px", "min-width: 96px"}},
        {"QTabBar::tab:selected", {"border-top: 3px solid #0f9b76"}},
        {"QToolBar#MainToolBar", {"background: #ffffff"}},
        {"QGroupBox::title", {"color: #0f9b76"}},
    };
    for (const Expectation& expectation : expectations) {
        const QString found = declarations(sheet, QString::fromLatin1(expectation.selector));
        for (const char* property : expectation.properties) {
            EXPECT_TRUE(found.contains(QLatin1String(property)))
                << expectation.selector << " lacks " << property << ": " << found.toStdString();
        }
    }
}

TEST(ThemeStyle, AStatusFlagLooksTheSameInAllThemes) {
    const ScopedLook look;
    for (const char* name : kThemeNames) {
        applyThemeStyle(theme(name));
        QLabel flag(QStringLiteral("Clock lock: lost"));
        flag.setObjectName(QStringLiteral("StatusFlag"));
        flag.setProperty("flagState", QStringLiteral("warning"));
        flag.show();
        const QImage picture = flag.grab().toImage();
        EXPECT_EQ(picture.pixelColor(4, 4), QColor(0x5e, 0x46, 0x15)) << name;
        EXPECT_EQ(picture.pixelColor(picture.width() / 2, 0), QColor(0xd7, 0xa8, 0x3c)) << name;
    }
}

TEST(ThemeStyle, ThePaletteHasTheRowsColoursInEveryGroup) {
    const ThemePalette& row = theme("Dark");
    const QPalette palette = widgetPalette(row);
    const std::array<std::pair<QPalette::ColorRole, QRgb>, 11> expected{{
        {QPalette::Window, row.background},
        {QPalette::Base, row.field},
        {QPalette::AlternateBase, row.panel},
        {QPalette::Text, row.text},
        {QPalette::WindowText, row.text},
        {QPalette::ButtonText, row.buttonText},
        {QPalette::Button, row.button},
        {QPalette::Highlight, row.selection},
        {QPalette::HighlightedText, row.text},
        {QPalette::ToolTipBase, row.panel},
        {QPalette::ToolTipText, row.text},
    }};
    for (const QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        for (const auto& [role, colour] : expected) {
            EXPECT_EQ(palette.color(group, role), QColor(colour)) << "group " << group << " role " << role;
        }
    }
}

TEST(ThemeStyle, ApplyingColoursTheWindowAndTheMainButton) {
    const ScopedLook look;
    for (const char* name : kThemeNames) {
        applyThemeStyle(theme(name));
        QWidget window;
        auto* layout = new QVBoxLayout(&window);
        auto* button = new QPushButton(QStringLiteral("Connect"));
        button->setObjectName(QStringLiteral("PrimaryButton"));
        button->setFocusPolicy(Qt::NoFocus);
        layout->addWidget(button);
        window.resize(200, 100);
        window.show();
        EXPECT_EQ(window.grab().toImage().pixelColor(1, 1), QColor(theme(name).background)) << name;
        EXPECT_EQ(button->grab().toImage().pixelColor(3, 3), QColor(theme(name).accent)) << name;
        EXPECT_GE(button->height(), 30);
        EXPECT_EQ(QApplication::palette().color(QPalette::Window), QColor(theme(name).background));
    }
}

TEST(ThemeStyle, ApplyingAgainLeavesContentsAndFocusAlone) {
    const ScopedLook look;
    applyThemeStyle(theme("Qorn"));
    QWidget window;
    auto* layout = new QVBoxLayout(&window);
    auto* box = new QSpinBox;
    auto* check = new QCheckBox(QStringLiteral("on"));
    layout->addWidget(box);
    layout->addWidget(check);
    box->setValue(42);
    check->setChecked(true);
    window.show();
    box->setFocus();
    int signalled = 0;
    QObject::connect(box, &QSpinBox::valueChanged, [&] { ++signalled; });
    QObject::connect(check, &QCheckBox::toggled, [&] { ++signalled; });
    for (const char* name : {"Bright", "Bright", "no such theme"}) {
        applyThemeStyle(theme(name));
    }
    EXPECT_EQ(box->value(), 42);
    EXPECT_TRUE(check->isChecked());
    EXPECT_EQ(window.focusWidget(), box);
    EXPECT_EQ(signalled, 0);
    EXPECT_EQ(window.grab().toImage().pixelColor(1, 1), QColor(theme("Qorn").background));
}

TEST(ThemeStyle, ArrowsOfSpinBoxesAndCheckMarksStandOutInEveryTheme) {
    const ScopedLook look;
    for (const char* name : kThemeNames) {
        applyThemeStyle(theme(name));
        QSpinBox box;
        box.setRange(-10, 10);
        box.resize(140, 32);
        box.show();
        // Inside the edges of the two halves of the button column.
        EXPECT_GT(contrastIn(box, QRect(box.width() - 18, 4, 14, 10)), 90) << name;
        EXPECT_GT(contrastIn(box, QRect(box.width() - 18, box.height() - 14, 14, 10)), 90) << name;

        QCheckBox check(QStringLiteral("x"));
        check.setChecked(true);
        check.show();
        EXPECT_GT(countOf(check.grab().toImage(), QColor(0x06, 0x0a, 0x16)), 3) << name;
    }
}

TEST(ThemeStyle, TheKeyboardFocusIsVisibleOnEveryKindOfControl) {
    const ScopedLook look;
    for (const char* name : kThemeNames) {
        applyThemeStyle(theme(name));
        QWidget window;
        auto* layout = new QVBoxLayout(&window);
        auto* primary = new QPushButton(QStringLiteral("Connect"));
        primary->setObjectName(QStringLiteral("PrimaryButton"));
        const std::array<QWidget*, 6> controls{new QPushButton(QStringLiteral("Refresh")),
                                               primary,
                                               new QCheckBox(QStringLiteral("Upload")),
                                               new QSpinBox,
                                               new QTableWidget(2, 2),
                                               new QWidget};
        for (QWidget* control : controls) {
            control->setFocusPolicy(Qt::StrongFocus);
            layout->addWidget(control);
        }
        window.show();
        QApplication::setActiveWindow(&window);
        for (std::size_t i = 0; i + 1 < controls.size(); ++i) {
            controls.back()->setFocus();
            const QImage without = controls[i]->grab().toImage();
            controls[i]->setFocus();
            EXPECT_NE(controls[i]->grab().toImage(), without) << name << " control " << i;
        }
    }
}

TEST(ThemeStyle, TheButtonToWhatAToolBarHasNoRoomForIsToBeSeen) {
    const ScopedLook look;
    BarChartWidget plot;
    MeasurementToolbar bar(&plot, {true, true, true});
    bar.resize(400, 40);
    bar.show();
    const auto* more = bar.findChild<QToolButton*>(QStringLiteral("qt_toolbar_ext_button"));
    ASSERT_NE(more, nullptr);
    for (const char* name : kThemeNames) { // the same bar under one theme after the other
        applyThemeStyle(theme(name));
        QCoreApplication::processEvents();
        ASSERT_TRUE(more->isVisible());
        EXPECT_GT(contrastIn(bar, more->geometry().adjusted(2, 2, -2, -2)), 90) << name;
    }
}

TEST(ThemeStyle, AComboBoxKeepsOneDelegateHoweverOftenTheThemeChanges) {
    const ScopedLook look;
    QComboBox box;
    box.addItems({QStringLiteral("A"), QStringLiteral("B")});
    box.show();
    for (int round = 0; round < 3; ++round) {
        for (const char* name : kThemeNames) {
            applyThemeStyle(theme(name));
            QCoreApplication::processEvents();
        }
    }
    const auto delegates = box.findChildren<QAbstractItemDelegate*>();
    EXPECT_EQ(delegates, QList<QAbstractItemDelegate*>{box.itemDelegate()});
    box.showPopup(); // paints with it
    QCoreApplication::processEvents();
    box.hidePopup();
}

TEST(ThemeStyle, TheMarkIsALargeSquarePicture) {
    const QImage mark(QStringLiteral(":/logo_mark.png"));
    EXPECT_EQ(mark.size(), QSize(256, 256));
    EXPECT_EQ(mark.pixelColor(0, 0).alpha(), 0);
    EXPECT_EQ(mark.pixelColor(128, 40).alpha(), 255);
}

TEST(ThemeStyle, TheSettingsIconStandsOutOnEveryPanel) {
    const QImage icon(QStringLiteral(":/icons/settings.svg"));
    ASSERT_FALSE(icon.isNull());
    const QColor ink =
        icon.pixelColor(icon.width() * 8 / 24, icon.height() * 12 / 24 - icon.height() * 26 / 240);
    ASSERT_GT(ink.alpha(), 100);
    for (const char* name : kThemeNames) {
        EXPECT_GT(std::abs(qGray(ink.rgb()) - qGray(theme(name).panel)), 70) << name;
    }
}

} // namespace
} // namespace qorn::timetagger::gui
