// What the tests of the Correlation, the Multi correlation and the Frequency tab share: a tab that runs on
// tags of the test's own, with its timer in the test's hands, and what an operator reads on it.
#pragma once

#include "CountingStage.h"

#include <QCoreApplication>
#include <QGroupBox>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTimer>
#include <QTimerEvent>

#include <algorithm>
#include <vector>

namespace qorn::testing {

using timetagger::gui::UiTimeTag;

template <typename Tab>
class StreamTabStage : public CountingStage<Tab> {
public:
    void start() {
        this->tab.setRunningState(true);
        this->tab.onStart();
    }
    void pause() {
        this->tab.onStop();
        this->tab.setRunningState(false);
    }
    void resume() {
        this->tab.setRunningState(true);
        this->tab.onResume();
    }
    void feed(const QList<UiTimeTag>& tags) { this->tab.onTagsBatch(tags); }
    QString label(const char* name) const {
        return control<QLabel>(this->tab, QString::fromUtf8(name)).text();
    }
    // The running timers of that interval.
    QList<QTimer*> timers(int intervalMs) const {
        QList<QTimer*> found;
        for (QTimer* timer : this->tab.template findChildren<QTimer*>()) {
            if (timer->isActive() && timer->interval() == intervalMs) {
                found.append(timer);
            }
        }
        return found;
    }
    // Time passes for the tab: its timer of that interval fires once.
    void tick(int intervalMs) {
        const QList<QTimer*> found = timers(intervalMs);
        ASSERT_EQ(found.size(), 1) << "running timers of " << intervalMs << " ms";
        QTimerEvent event(found[0]->timerId());
        QCoreApplication::sendEvent(found[0], &event);
    }
};

inline QJsonObject parsedJson(const QByteArray& text) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << text.toStdString();
    return document.object();
}

inline void expectIntegerBox(const QSpinBox& box, int minimum, int maximum, int value) {
    EXPECT_EQ(box.minimum(), minimum) << box.objectName().toStdString();
    EXPECT_EQ(box.maximum(), maximum) << box.objectName().toStdString();
    EXPECT_EQ(box.value(), value) << box.objectName().toStdString();
}

// Whether a text stands on the tab for the operator to read: as a label or as the title of a group.
inline bool readsOn(const QWidget& tab, const char* text) {
    const QString wanted = QString::fromUtf8(text);
    const QList<QLabel*> labels = tab.findChildren<QLabel*>();
    const QList<QGroupBox*> groups = tab.findChildren<QGroupBox*>();
    return std::any_of(labels.begin(), labels.end(),
                       [&](const QLabel* label) { return label->isVisible() && label->text() == wanted; }) ||
           std::any_of(groups.begin(), groups.end(), [&](const QGroupBox* group) {
               return group->isVisible() && group->title() == wanted;
           });
}

// The numbers that stand in a text, in order.
inline QList<double> numbersIn(const QString& text) {
    static const QRegularExpression number(QStringLiteral(R"([-+]?\d+(\.\d+)?([eE][-+]?\d+)?)"));
    QList<double> found;
    for (auto matches = number.globalMatch(text); matches.hasNext();) {
        found.append(matches.next().captured().toDouble());
    }
    return found;
}

// Tags of one input, one a period.
inline QList<UiTimeTag> pulses(int input, qint64 firstPs, qint64 periodPs, int count) {
    QList<UiTimeTag> tags;
    for (int number = 0; number < count; ++number) {
        tags.append({static_cast<quint8>(input), firstPs + number * periodPs});
    }
    return tags;
}

// In the order of time, tags of one time in the order in which they were given.
inline QList<UiTimeTag> inTimeOrder(QList<UiTimeTag> tags) {
    std::stable_sort(tags.begin(), tags.end(),
                     [](const UiTimeTag& a, const UiTimeTag& b) { return a.timePs < b.timePs; });
    return tags;
}

} // namespace qorn::testing
