// Finds controls of a window by what the operator reads on them, and answers modal dialogs.
#pragma once

#include <QAbstractButton>
#include <QApplication>
#include <QTimer>
#include <QWidget>

#include <functional>

namespace qorn::testing {

// The button, check box or tool button with exactly this text; null when there is none.
inline QAbstractButton* findButton(const QWidget& parent, const QString& text) {
    for (QAbstractButton* button : parent.findChildren<QAbstractButton*>()) {
        if (button->text() == text) {
            return button;
        }
    }
    return nullptr;
}

// Runs `answer` with the next modal dialog, once it is shown. The answer has to close the dialog.
inline void answerNextDialog(std::function<void(QWidget& dialog)> answer) {
    QTimer::singleShot(0, qApp, [answer = std::move(answer)] {
        if (QWidget* dialog = QApplication::activeModalWidget()) {
            answer(*dialog);
        }
    });
}

} // namespace qorn::testing
