#include "PlotTestSupport.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <functional>
#include <map>

namespace {

using namespace plottest;

const QStringList kFieldNames{QStringLiteral("X min"), QStringLiteral("X max"), QStringLiteral("Y min"),
                              QStringLiteral("Y max")};

// The line edit of the field with a label, be it a plain one or that of a spin box.
QLineEdit* fieldOf(const QDialog& dialog, const QString& name) {
    for (const QLabel* label : dialog.findChildren<QLabel*>()) {
        QString text = label->text();
        if (text.remove(QLatin1Char('&')).remove(QLatin1Char(':')).trimmed() != name || !label->buddy()) {
            continue;
        }
        if (auto* edit = qobject_cast<QLineEdit*>(label->buddy())) {
            return edit;
        }
        return label->buddy()->findChild<QLineEdit*>();
    }
    return nullptr;
}

void type(QDialog& dialog, const QString& name, const QString& text) {
    QLineEdit* edit = fieldOf(dialog, name);
    ASSERT_NE(edit, nullptr) << "no field " << name.toStdString();
    edit->setFocus();
    edit->selectAll();
    QTest::keyClicks(edit, text);
}

// Ends the dialog by its button; one that stays open because it rejects the input is cancelled.
void press(QDialog& dialog, QDialogButtonBox::StandardButton which) {
    auto* box = dialog.findChild<QDialogButtonBox*>();
    ASSERT_NE(box, nullptr);
    ASSERT_NE(box->button(which), nullptr);
    box->button(which)->click();
    if (dialog.isVisible()) {
        dialog.reject();
    }
}

class PlotAxisLimits : public PlotTest {
protected:
    // Opens the dialog and lets `answer` deal with it as soon as it is up.
    void prompt(const std::function<void(QDialog&)>& answer) {
        bool answered = false;
        QTimer poll;
        QObject::connect(&poll, &QTimer::timeout, &poll, [&] {
            auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
            if (dialog == nullptr) {
                return;
            }
            poll.stop();
            answer(*dialog);
            answered = true;
            if (dialog->isVisible()) {
                dialog->reject();
            }
        });
        poll.start(1);
        plot.promptAxisLimits();
        EXPECT_TRUE(QTest::qWaitFor([&] { return answered; }, 10000)) << "no dialog came up";
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    void enter(const QStringList& values, QDialogButtonBox::StandardButton button) {
        prompt([&](QDialog& dialog) {
            for (int i = 0; i < values.size(); ++i) {
                type(dialog, kFieldNames[i], values[i]);
            }
            press(dialog, button);
        });
    }
    static QStringList list(std::initializer_list<const char*> texts) {
        QStringList values;
        for (const char* text : texts) {
            values.append(QString::fromLatin1(text));
        }
        return values;
    }
};

TEST_F(PlotAxisLimits, DialogShowsThePresentView) {
    plot.setManualRange(-2.5, 7.25, 0.125, 4096);
    prompt([](QDialog& dialog) {
        EXPECT_EQ(dialog.windowTitle(), QStringLiteral("Axis limits"));
        const QList<double> expected{-2.5, 7.25, 0.125, 4096};
        for (int i = 0; i < expected.size(); ++i) {
            const QLineEdit* edit = fieldOf(dialog, kFieldNames[i]);
            ASSERT_NE(edit, nullptr) << kFieldNames[i].toStdString();
            bool ok = false;
            EXPECT_DOUBLE_EQ(dialog.locale().toDouble(edit->text(), &ok), expected[i]);
            EXPECT_TRUE(ok) << edit->text().toStdString();
        }
        EXPECT_EQ(dialog.findChildren<QLineEdit*>().size(), 4);
    });
    EXPECT_TRUE(hasView(plot, {-2.5, 7.25, 0.125, 4096}));
}

TEST_F(PlotAxisLimits, AcceptedLimitsAreAManualRange) {
    enter(list({"-3", "12.5", "1", "2"}), QDialogButtonBox::Ok);
    EXPECT_TRUE(hasView(plot, {-3, 12.5, 1, 2}));
    plot.setXRange(40, 50);
    plot.setYRange(60, 70);
    EXPECT_TRUE(hasView(plot, {-3, 12.5, 1, 2}));
    plot.resetView();
    EXPECT_TRUE(hasView(plot, {40, 50, 60, 70}));
}

TEST_F(PlotAxisLimits, RejectedDialogChangesNothing) {
    enter(list({"-3", "12.5", "1", "2"}), QDialogButtonBox::Cancel);
    EXPECT_TRUE(hasView(plot, {0, 10, 0, 10}));
    plot.setXRange(40, 50);
    EXPECT_TRUE(hasView(plot, {40, 50, 0, 10})) << "no manual range";
}

TEST_F(PlotAxisLimits, MinimumNotBelowMaximumOnEitherAxisIsIgnored) {
    for (const QStringList& values :
         {list({"5", "5", "1", "2"}), list({"6", "5", "1", "2"}), list({"1", "2", "5", "5"}),
          list({"1", "2", "6", "5"}), list({"6", "5", "6", "5"})}) {
        enter(values, QDialogButtonBox::Ok);
        EXPECT_TRUE(hasView(plot, {0, 10, 0, 10})) << values.join(QLatin1Char(' ')).toStdString();
        plot.setXRange(40, 50);
        EXPECT_TRUE(hasView(plot, {40, 50, 0, 10})) << "no manual range";
        plot.setXRange(0, 10);
    }
}

TEST_F(PlotAxisLimits, TakeTinyAndHugeNumbersExactly) {
    enter(list({"0.000000123456789", "0.000000123456791", "-123456789012345", "987654321098765"}),
          QDialogButtonBox::Ok);
    EXPECT_TRUE(hasView(plot, {1.23456789e-7, 1.23456791e-7, -123456789012345.0, 987654321098765.0}));
}

TEST_F(PlotAxisLimits, UntouchedFieldsKeepTheirLimits) {
    const View fine{1.0 / 3.0, 1.0 / 3.0 + 1e-6, -1e12 / 7.0, 1e12 / 7.0};
    plot.setManualRange(fine.xMin, fine.xMax, fine.yMin, fine.yMax);
    enter({}, QDialogButtonBox::Ok);
    EXPECT_TRUE(hasView(plot, fine));
    plot.resetView();
    prompt([](QDialog& dialog) {
        type(dialog, QStringLiteral("Y max"), QStringLiteral("25"));
        press(dialog, QDialogButtonBox::Ok);
    });
    EXPECT_TRUE(hasView(plot, {0, 10, 0, 25}));
}

TEST_F(PlotAxisLimits, AcceptedWithoutAChangeIsAManualRangeToo) {
    enter({}, QDialogButtonBox::Ok);
    plot.setXRange(40, 50);
    EXPECT_TRUE(hasView(plot, {0, 10, 0, 10}));
}

TEST_F(PlotAxisLimits, TextThatIsNoNumberNeverReachesTheView) {
    for (const char* text : {"abc", "", "nan", "inf"}) {
        enter({QString::fromLatin1(text)}, QDialogButtonBox::Ok);
        const View view = viewOf(plot);
        EXPECT_TRUE(view.xMin < view.xMax && view.xMax <= 10.0 && view.xMin >= 0.0) << text;
        plot.resetView();
    }
}

TEST_F(PlotAxisLimits, LeaveNoDialogBehind) {
    enter({}, QDialogButtonBox::Ok);
    enter({}, QDialogButtonBox::Cancel);
    EXPECT_TRUE(QTest::qWaitFor([&] { return plot.findChildren<QDialog*>().isEmpty(); }, 2000));
}

} // namespace
