#include "StyleRuleSweeper.h"

#include "ResidentMemory.h"
#include "ThemePalette.h"
#include "ThemeStyle.h"

#include <QApplication>
#include <QComboBox>
#include <QDoubleSpinBox>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace qorn::timetagger::gui {
namespace {

class StyleRules : public ::testing::Test {
protected:
    void SetUp() override { applyThemeStyle(paletteFor(QStringLiteral("Qorn"))); }
    void TearDown() override {
        qApp->setStyleSheet(QString());
        QApplication::setPalette(QPalette());
    }

    // What so many boxes that stood at the same time leave behind, in KiB.
    template <typename Box>
    static double leftBy(int count) {
        const double before = bench::allocatedMebibytes();
        std::vector<std::unique_ptr<QWidget>> boxes;
        for (int i = 0; i < count; ++i) {
            auto page = std::make_unique<QWidget>();
            new Box(page.get());
            page->ensurePolished();
            boxes.push_back(std::move(page));
        }
        boxes.clear();
        QCoreApplication::processEvents();
        return (bench::allocatedMebibytes() - before) * 1024.0;
    }
};

constexpr int kBoxes = 800;
constexpr double kLeastOfABoxKib = 0.05;

template <typename Box>
class StyleRulesOf : public StyleRules {};
using Boxes = ::testing::Types<QDoubleSpinBox, QComboBox>;
TYPED_TEST_SUITE(StyleRulesOf, Boxes);

// What else is left is the room of tables, which the round that is thrown away has made.
TYPED_TEST(StyleRulesOf, PartsGoWithTheParts) {
    this->template leftBy<TypeParam>(kBoxes);
    const double without = this->template leftBy<TypeParam>(kBoxes);
    EXPECT_GT(without, kLeastOfABoxKib * kBoxes) << "the control: nothing would be left anyhow";
    StyleRuleSweeper sweeper(qApp);
    qApp->installEventFilter(&sweeper);
    const double with = this->template leftBy<TypeParam>(kBoxes);
    EXPECT_LT(with, without / 4.0);
}

} // namespace
} // namespace qorn::timetagger::gui
