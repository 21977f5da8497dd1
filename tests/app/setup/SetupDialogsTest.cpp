#include "AdvancedSetupDialog.h"
#include "RelayConnectDialog.h"
#include "StoredSettings.h"
#include "WidgetFinder.h"

#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QTest>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::findButton;

TEST(RelayConnectDialog, ShowsTheAddressThatItGetsAndReturnsWhatIsTyped) {
    RelayConnectDialog dialog({QStringLiteral("lab-host"), 7355, 7356});
    EXPECT_EQ(dialog.windowTitle(), QStringLiteral("Connect network relay"));
    auto* host = dialog.findChild<QLineEdit*>(QString(), Qt::FindDirectChildrenOnly);
    const auto ports = dialog.findChildren<QSpinBox*>();
    ASSERT_NE(host, nullptr);
    ASSERT_EQ(ports.size(), 2);
    EXPECT_EQ(host->text(), QStringLiteral("lab-host"));
    EXPECT_EQ(ports[0]->value(), 7355);
    EXPECT_EQ(ports[1]->value(), 7356);
    host->setText(QStringLiteral("  10.0.0.7\t"));
    ports[0]->setValue(65535);
    ports[1]->setValue(1);
    const RelayAddress address = dialog.address();
    EXPECT_EQ(address.host, QStringLiteral("10.0.0.7"));
    EXPECT_EQ(address.streamPort, 65535);
    EXPECT_EQ(address.statusPort, 1);
}

TEST(RelayConnectDialog, PortsStayWithinTheirRange) {
    const RelayConnectDialog dialog({QString(), 0, 0});
    for (QSpinBox* box : dialog.findChildren<QSpinBox*>()) {
        EXPECT_EQ(box->value(), 1);
        box->setValue(70000);
        EXPECT_EQ(box->value(), 65535);
    }
}

TEST(RelayConnectDialog, ConnectAcceptsAndEscapeRejects) {
    RelayConnectDialog dialog({});
    dialog.show();
    findButton(dialog, QStringLiteral("Connect"))->click();
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
    dialog.show();
    QTest::keyClick(&dialog, Qt::Key_Escape);
    EXPECT_EQ(dialog.result(), QDialog::Rejected);
    dialog.show();
    QTest::keyClick(&dialog, Qt::Key_Return);
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
}

TEST(AdvancedSetupDialog, IsAPreviewThatSaysSo) {
    const AdvancedSetupDialog dialog;
    EXPECT_EQ(dialog.windowTitle(), QStringLiteral("Advanced setup"));
    const auto* group = dialog.findChild<QGroupBox*>();
    ASSERT_NE(group, nullptr);
    EXPECT_EQ(group->title(), QStringLiteral("Multi-device cluster"));
    QStringList texts;
    for (const QLabel* label : dialog.findChildren<QLabel*>()) {
        texts.append(label->text());
    }
    EXPECT_TRUE(texts.contains(QStringLiteral("Multi-device roles are reserved and not yet enabled.")));
}

TEST(AdvancedSetupDialog, RowsOfferRolesClocksAndSync) {
    const AdvancedSetupDialog dialog;
    const auto* table = dialog.findChild<QTableWidget*>();
    ASSERT_NE(table, nullptr);
    QStringList headers;
    for (int column = 0; column < table->columnCount(); ++column) {
        headers.append(table->horizontalHeaderItem(column)->text());
    }
    EXPECT_EQ(headers, (QStringList{QStringLiteral("Role"), QStringLiteral("Reference clock"),
                                    QStringLiteral("Sync")}));
    const int rows = table->rowCount();
    findButton(dialog, QStringLiteral("Add device"))->click();
    ASSERT_EQ(table->rowCount(), rows + 1);
    const auto choices = [&](int row, int column) {
        const auto* box = qobject_cast<QComboBox*>(table->cellWidget(row, column));
        QStringList texts;
        for (int i = 0; box != nullptr && i < box->count(); ++i) {
            texts.append(box->itemText(i));
        }
        return texts;
    };
    for (int row = 0; row < table->rowCount(); ++row) {
        EXPECT_EQ(choices(row, 0), (QStringList{QStringLiteral("Primary"), QStringLiteral("Secondary")}));
        EXPECT_FALSE(choices(row, 1).isEmpty());
        EXPECT_EQ(choices(row, 2), (QStringList{QStringLiteral("Standalone"), QStringLiteral("Shared clock"),
                                                QStringLiteral("Common start")}));
    }
}

TEST(AdvancedSetupDialog, ItsChoicesAreStoredNowhere) {
    const AdvancedSetupDialog dialog;
    for (QComboBox* box : dialog.findChildren<QComboBox*>()) {
        box->setCurrentIndex(1);
    }
    EXPECT_TRUE(testing::storedSettings().allKeys().isEmpty());
}

} // namespace
} // namespace qorn::timetagger::gui
