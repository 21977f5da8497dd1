#include "NetworkRelayDialog.h"

#include "DialogStage.h"
#include "QtPrinting.h"

#include <QCheckBox>
#include <QLabel>
#include <QSpinBox>
#include <QTest>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::control;
using qorn::testing::text;

TEST(NetworkRelayDialog, AsksInTheseWords) {
    const NetworkRelayDialog dialog({false, 7355, 7356});
    EXPECT_EQ(dialog.windowTitle(), text("Network relay"));
    EXPECT_EQ(qorn::testing::groupTitles(dialog), QStringList{text("Share this data source")});
    EXPECT_EQ(control<QCheckBox>(dialog, "publish").text(), text("Publish complete time-tag stream"));
    EXPECT_EQ(qorn::testing::rowLabelOf(dialog, control<QSpinBox>(dialog, "streamPort")),
              text("Stream port"));
    EXPECT_EQ(qorn::testing::rowLabelOf(dialog, control<QSpinBox>(dialog, "statusPort")),
              text("Status port"));
    EXPECT_TRUE(qorn::testing::tells(dialog, text("Peers connect using this computer's network address.")));
}

TEST(NetworkRelayDialog, PortsGoFrom1To65535) {
    NetworkRelayDialog dialog({false, 1, 65535});
    for (const char* name : {"streamPort", "statusPort"}) {
        EXPECT_EQ(control<QSpinBox>(dialog, name).minimum(), 1);
        EXPECT_EQ(control<QSpinBox>(dialog, name).maximum(), 65535);
    }
    EXPECT_EQ(dialog.sharing(), (RelaySharing{false, 1, 65535}));
    EXPECT_EQ(NetworkRelayDialog({true, 0, 0}).sharing(), (RelaySharing{true, 1, 1}));
}

TEST(NetworkRelayDialog, GivesBackWhatItShows) {
    for (const RelaySharing& sharing : {RelaySharing{false, 7355, 7356}, RelaySharing{true, 40000, 50000}}) {
        const NetworkRelayDialog dialog(sharing);
        EXPECT_EQ(control<QCheckBox>(dialog, "publish").isChecked(), sharing.publish);
        EXPECT_EQ(control<QSpinBox>(dialog, "streamPort").value(), sharing.streamPort);
        EXPECT_EQ(control<QSpinBox>(dialog, "statusPort").value(), sharing.statusPort);
        EXPECT_EQ(dialog.sharing(), sharing);
    }
}

TEST(NetworkRelayDialog, GivesWhatIsSet) {
    NetworkRelayDialog dialog({false, 7355, 7356});
    control<QCheckBox>(dialog, "publish").setChecked(true);
    control<QSpinBox>(dialog, "streamPort").setValue(1000);
    control<QSpinBox>(dialog, "statusPort").setValue(2000);
    EXPECT_EQ(dialog.sharing(), (RelaySharing{true, 1000, 2000}));
}

TEST(NetworkRelayDialog, TellsConnectionsOnlyWhenItIsTold) {
    NetworkRelayDialog dialog({true, 7355, 7356});
    dialog.show();
    auto& line = control<QLabel>(dialog, "connections");
    EXPECT_FALSE(line.isVisible() && !line.text().isEmpty());
    dialog.showConnections(3, 1);
    EXPECT_EQ(line.text(), text("3 peer stream connection(s), 1 status connection(s)"));
    EXPECT_TRUE(line.isVisible());
    EXPECT_TRUE(qorn::testing::tellsMuted(dialog, line.text()));
    dialog.showConnections(0, 0);
    EXPECT_EQ(line.text(), text("0 peer stream connection(s), 0 status connection(s)"));
}

TEST(NetworkRelayDialog, ApplyAcceptsAndCancelAndEscapeDoNot) {
    NetworkRelayDialog dialog({false, 7355, 7356});
    EXPECT_EQ(qorn::testing::resultOfClick(dialog, "Apply"), QDialog::Accepted);
    EXPECT_EQ(qorn::testing::resultOfClick(dialog, "Cancel"), QDialog::Rejected);
    dialog.setResult(-1);
    dialog.show();
    QTest::keyClick(&dialog, Qt::Key_Escape);
    EXPECT_EQ(dialog.result(), QDialog::Rejected);
}

} // namespace
} // namespace qorn::timetagger::gui
