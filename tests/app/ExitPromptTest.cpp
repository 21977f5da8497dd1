#include "ExitPrompt.h"

#include "QtPrinting.h"
#include "StoredSettings.h"

#include <QApplication>
#include <QCheckBox>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

const QString kAsk = QStringLiteral("exit/askSaveExperiments");
const QString kSave = QStringLiteral("exit/saveExperiments");

struct Answer {
    bool asked = false;
    bool save = false;
};

// Asks, and answers the box with the button (none: the escape key), the check box ticked or not.
Answer ask(QMessageBox::StandardButton button, bool tick,
           const std::function<void(QMessageBox&)>& look = {}) {
    Answer answer;
    QWidget parent;
    QTimer::singleShot(0, &parent, [&] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (box == nullptr) {
            return;
        }
        answer.asked = true;
        if (look) {
            look(*box);
        }
        box->checkBox()->setChecked(tick);
        if (button == QMessageBox::NoButton) {
            QTest::keyClick(box, Qt::Key_Escape);
        } else {
            QTest::mouseClick(box->button(button), Qt::LeftButton);
        }
        if (box->isVisible()) { // the key did not count
            box->done(QMessageBox::No);
            ADD_FAILURE() << "the box stays open";
        }
    });
    answer.save = askToSaveExperiments(&parent);
    return answer;
}

TEST(ExitPrompt, AsksInTheseWords) {
    const Answer answer = ask(QMessageBox::Yes, false, [](QMessageBox& box) {
        EXPECT_EQ(box.windowTitle(), QStringLiteral("Save settings?"));
        EXPECT_EQ(box.icon(), QMessageBox::Question);
        EXPECT_EQ(box.text(), QStringLiteral("Save the current experiment settings before exiting?"));
        EXPECT_EQ(box.informativeText(),
                  QStringLiteral("Saved settings are restored automatically next time."));
        EXPECT_EQ(box.standardButtons(), QMessageBox::Yes | QMessageBox::No);
        EXPECT_EQ(box.defaultButton(), box.button(QMessageBox::Yes));
        ASSERT_NE(box.checkBox(), nullptr);
        EXPECT_EQ(box.checkBox()->text(), QStringLiteral("Don't ask again"));
        EXPECT_FALSE(box.checkBox()->isChecked());
        EXPECT_TRUE(box.isModal());
    });
    EXPECT_TRUE(answer.asked);
    EXPECT_TRUE(answer.save);
}

TEST(ExitPrompt, WithoutTheTickTheAnswerHoldsOnce) {
    EXPECT_FALSE(ask(QMessageBox::No, false).save);
    EXPECT_TRUE(testing::storedSettings().value(kAsk, true).toBool());
    EXPECT_TRUE(testing::storedSettings().value(kSave, true).toBool());
    const Answer again = ask(QMessageBox::Yes, false);
    EXPECT_TRUE(again.asked);
    EXPECT_TRUE(again.save);
}

TEST(ExitPrompt, ATickedNoHoldsForLaterExits) {
    EXPECT_FALSE(ask(QMessageBox::No, true).save);
    EXPECT_FALSE(testing::storedSettings().value(kAsk).toBool());
    EXPECT_FALSE(testing::storedSettings().value(kSave).toBool());
    EXPECT_TRUE(testing::storedSettings().contains(kAsk));
    EXPECT_TRUE(testing::storedSettings().contains(kSave));
    EXPECT_FALSE(askToSaveExperiments(nullptr));
}

TEST(ExitPrompt, ATickedYesHoldsForLaterExits) {
    testing::storedSettings().setValue(kSave, false);
    EXPECT_TRUE(ask(QMessageBox::Yes, true).save);
    EXPECT_FALSE(testing::storedSettings().value(kAsk).toBool());
    EXPECT_TRUE(testing::storedSettings().value(kSave).toBool());
    EXPECT_TRUE(askToSaveExperiments(nullptr));
}

TEST(ExitPrompt, WithoutAStandingAnswerNotAskingSaves) {
    testing::storedSettings().setValue(kAsk, false);
    EXPECT_TRUE(askToSaveExperiments(nullptr));
    testing::storedSettings().setValue(kSave, false);
    EXPECT_FALSE(askToSaveExperiments(nullptr));
}

TEST(ExitPrompt, EscapeIsNoYes) {
    const Answer answer = ask(QMessageBox::NoButton, false);
    EXPECT_TRUE(answer.asked);
    EXPECT_FALSE(answer.save);
}

} // namespace
} // namespace qorn::timetagger::gui
