#include "ExperimentCatalog.h"
#include "ExperimentTab.h"
#include "NewExperimentDialog.h"
#include "QtPrinting.h"

#include <QDialogButtonBox>
#include <QListWidget>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

#include <memory>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::texts;

TEST(ExperimentCatalog, MakesATabWithoutParentForEachNameThatItOffers) {
    ASSERT_FALSE(offeredExperimentTypes().isEmpty());
    for (const QString& type : offeredExperimentTypes()) {
        const std::unique_ptr<ExperimentTab> tab(createExperiment(type));
        ASSERT_NE(tab, nullptr) << type.toStdString();
        EXPECT_EQ(tab->experimentType(), type);
        EXPECT_EQ(tab->parentWidget(), nullptr);
    }
}

TEST(ExperimentCatalog, OffersTheTypesInTheirOrder) {
    const QStringList order =
        texts({"Counter", "Correlation", "Multi correlation", "Frequency", "Time tags"});
    const QStringList offered = offeredExperimentTypes();
    EXPECT_TRUE(offered.contains(QStringLiteral("Counter")));
    EXPECT_TRUE(offered.contains(QStringLiteral("Time tags")));
    qsizetype last = -1;
    for (const QString& type : offered) {
        EXPECT_GT(order.indexOf(type), last) << type.toStdString();
        last = order.indexOf(type);
    }
}

TEST(ExperimentCatalog, MakesACoincidenceTabForFilesButNeverOffersIt) {
    EXPECT_FALSE(offeredExperimentTypes().contains(QStringLiteral("Coincidence")));
    const std::unique_ptr<ExperimentTab> tab(createExperiment(QStringLiteral("Coincidence")));
    ASSERT_NE(tab, nullptr);
    EXPECT_EQ(tab->experimentType(), QStringLiteral("Coincidence"));
}

TEST(ExperimentCatalog, KnowsNamesOnlyExactly) {
    for (const char* name : {"", "counter", "COUNTER", " Counter", "Counter ", "Time Tags", "Timetags",
                             "time_tags", "Histogram"}) {
        EXPECT_EQ(createExperiment(QString::fromUtf8(name)), nullptr) << name;
    }
}

TEST(NewExperimentDialog, OffersTheTypesWithTheFirstOneCurrent) {
    const QStringList types = texts({"Counter", "Frequency", "Time tags"});
    NewExperimentDialog dialog(types);
    EXPECT_EQ(dialog.windowTitle(), QStringLiteral("New experiment"));
    EXPECT_EQ(dialog.size(), QSize(420, 310));
    const auto* list = dialog.findChild<QListWidget*>();
    ASSERT_NE(list, nullptr);
    ASSERT_EQ(list->count(), 3);
    for (int row = 0; row < 3; ++row) {
        EXPECT_EQ(list->item(row)->text(), types[row]);
        EXPECT_EQ(list->item(row)->data(Qt::UserRole).toString(), types[row]);
    }
    EXPECT_EQ(list->currentRow(), 0);
    EXPECT_EQ(dialog.selectedType(), QStringLiteral("Counter"));
    const auto* buttons = dialog.findChild<QDialogButtonBox*>();
    ASSERT_NE(buttons, nullptr);
    EXPECT_EQ(buttons->standardButtons(), QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
}

TEST(NewExperimentDialog, ReturnsTheCurrentRow) {
    NewExperimentDialog dialog(texts({"Counter", "Frequency", "Time tags"}));
    dialog.show();
    auto* list = dialog.findChild<QListWidget*>();
    list->setFocus();
    QTest::keyClick(list, Qt::Key_Down);
    QTest::keyClick(list, Qt::Key_Down);
    EXPECT_EQ(dialog.selectedType(), QStringLiteral("Time tags"));
}

TEST(NewExperimentDialog, ADoubleClickAccepts) {
    NewExperimentDialog dialog(texts({"Counter", "Frequency"}));
    dialog.show();
    auto* list = dialog.findChild<QListWidget*>();
    const QPoint second = list->visualItemRect(list->item(1)).center();
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, second);
    EXPECT_TRUE(dialog.isVisible());
    QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, second);
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
    EXPECT_FALSE(dialog.isVisible());
    EXPECT_EQ(dialog.selectedType(), QStringLiteral("Frequency"));
}

TEST(NewExperimentDialog, OkAcceptsAndCancelRejects) {
    for (const auto& [button, result] : {std::pair(QDialogButtonBox::Ok, QDialog::Accepted),
                                         std::pair(QDialogButtonBox::Cancel, QDialog::Rejected)}) {
        NewExperimentDialog dialog(texts({"Counter"}));
        dialog.setResult(-1);
        dialog.show();
        QTest::mouseClick(dialog.findChild<QDialogButtonBox*>()->button(button), Qt::LeftButton);
        EXPECT_EQ(dialog.result(), result);
        EXPECT_FALSE(dialog.isVisible());
    }
}

TEST(NewExperimentDialog, WithoutTypesNothingIsSelected) {
    const NewExperimentDialog dialog(QStringList{});
    EXPECT_TRUE(dialog.selectedType().isEmpty());
}

} // namespace
} // namespace qorn::timetagger::gui
