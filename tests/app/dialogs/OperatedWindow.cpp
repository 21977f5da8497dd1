#include "OperatedWindow.h"

#include <QApplication>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QProgressDialog>
#include <QPushButton>
#include <QStatusBar>
#include <QTest>

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>

namespace qorn::testing {
namespace {

QMenu& deviceMenu(const QMainWindow& window) {
    for (const QAction* action : window.menuBar()->actions()) {
        if (action->text() == QLatin1String("&Device") && action->menu() != nullptr) {
            return *action->menu();
        }
    }
    throw std::runtime_error("there is no menu &Device");
}

QLabel* statusLabel(const QMainWindow& window, const QString& beginning) {
    for (QLabel* label : window.statusBar()->findChildren<QLabel*>()) {
        if (label->text().startsWith(beginning)) {
            return label;
        }
    }
    return nullptr;
}

} // namespace

bool waitUntil(const std::function<bool()>& condition) {
    return QTest::qWaitFor(condition, 60000);
}

OperatedWindow::OperatedWindow() : main(std::make_unique<gui::MainWindow>()) {
    QObject::connect(&eyes, &QTimer::timeout, [this] { look(); });
    QObject::connect(main->statusBar(), &QStatusBar::messageChanged, &eyes, [this](const QString& text) {
        if (!text.isEmpty()) {
            shown.append(text);
        }
    });
    eyes.start(2);
    main->show();
}

OperatedWindow::~OperatedWindow() {
    EXPECT_TRUE(answers.empty()) << "no dialog came for " << answers.size() << " answers";
    main.reset();
}

void OperatedWindow::openDevice() {
    main->openStartupPort(QStringLiteral("ftdi://SN0001"));
    ASSERT_TRUE(controller().hasDevice());
    ASSERT_TRUE(waitUntil([&] { return driver->count("tt_set_reference_clock") > 0; })); // the last step
    ASSERT_FALSE(controller().isCalibrating());
    driver->clearLog();
    takeShown();
}

QAction& OperatedWindow::entry(const char* text) {
    for (QAction* action : deviceMenu(*main).actions()) {
        if (action->text() == QString::fromUtf8(text)) {
            return *action;
        }
    }
    throw std::runtime_error(std::string("there is no entry ") + text);
}

QStringList OperatedWindow::entries() {
    QStringList texts;
    for (const QAction* action : deviceMenu(*main).actions()) {
        texts.append(action->isSeparator() ? QStringLiteral("-") : action->text());
    }
    return texts;
}

void OperatedWindow::answer(const char* title, std::function<void(QDialog&)> how) {
    answers.push_back({QString::fromUtf8(title), std::move(how)});
}

void OperatedWindow::answerAny(std::function<void(QDialog&)> how) {
    answers.push_back({std::nullopt, std::move(how)});
}

void OperatedWindow::expectBox(const char* title, const QString& text) {
    answer(title, [text](QDialog& dialog) {
        auto* box = qobject_cast<QMessageBox*>(&dialog);
        ASSERT_NE(box, nullptr);
        EXPECT_EQ(box->text().toStdString(), text.toStdString());
        EXPECT_EQ(box->icon(), QMessageBox::Warning);
        box->accept();
    });
}

void OperatedWindow::use(const char* entryText) {
    QAction& action = entry(entryText);
    EXPECT_TRUE(action.isEnabled()) << entryText;
    action.trigger();
    finishAnswers();
}

void OperatedWindow::finishAnswers() {
    EXPECT_TRUE(waitUntil([this] {
        const QWidget* open = QApplication::activeModalWidget();
        return answers.empty() && (open == nullptr || qobject_cast<const QProgressDialog*>(open) != nullptr);
    }));
}

void OperatedWindow::look() {
    const QPointer<QDialog> dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
    if (dialog.isNull() || qobject_cast<QProgressDialog*>(dialog.data()) != nullptr) {
        return;
    }
    if (answers.empty() || answers.front().title.value_or(dialog->windowTitle()) != dialog->windowTitle()) {
        const auto* box = qobject_cast<QMessageBox*>(dialog.data());
        ADD_FAILURE() << "unexpected dialog: " << dialog->windowTitle().toStdString() << ": "
                      << (box == nullptr ? std::string() : box->text().toStdString());
        dialog->reject();
        return;
    }
    const Answer next = answers.front();
    answers.pop_front();
    next.how(*dialog);
    if (!dialog.isNull() && dialog->isVisible()) {
        ADD_FAILURE() << "the dialog stays open: " << dialog->windowTitle().toStdString();
        dialog->reject();
    }
}

QString OperatedWindow::status() {
    return main->statusBar()->currentMessage();
}

int OperatedWindow::statusTime() {
    const auto* timer = main->statusBar()->findChild<QTimer*>();
    return timer != nullptr && timer->isActive() ? timer->interval() : 0;
}

QStringList OperatedWindow::takeShown() {
    main->statusBar()->clearMessage(); // for it does not show a text twice
    return std::exchange(shown, {});
}

QString OperatedWindow::flag(const char* beginning) {
    const QLabel* label = statusLabel(*main, QString::fromUtf8(beginning));
    return label == nullptr ? QString() : label->text();
}

QString OperatedWindow::flagState(const char* beginning) {
    const QLabel* label = statusLabel(*main, QString::fromUtf8(beginning));
    return label == nullptr ? QString() : label->property("flagState").toString();
}

bool OperatedWindow::statusLabelReads(const char* text) {
    const auto labels = main->statusBar()->findChildren<QLabel*>();
    return std::any_of(labels.begin(), labels.end(),
                       [&](const QLabel* label) { return label->text() == QString::fromUtf8(text); });
}

} // namespace qorn::testing
