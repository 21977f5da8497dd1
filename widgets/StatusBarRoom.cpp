#include "StatusBarRoom.h"

#include "ElidedLabel.h"

#include <QEvent>
#include <QLayout>
#include <QStatusBar>

#include <algorithm>

namespace qorn::timetagger::gui {
namespace {

// What a status bar takes beside its labels, in pixels: between two of them, and at its ends.
constexpr int kLabelGap = 6;
constexpr int kBarEnds = 36;

} // namespace

int commonLimit(const QList<int>& wanted, int room) {
    QList<int> rising = wanted;
    std::sort(rising.begin(), rising.end());
    int left = std::max(0, room);
    for (qsizetype index = 0; index < rising.size(); ++index) {
        const int share = left / int(rising.size() - index);
        if (rising[index] > share) {
            return share;
        }
        left -= rising[index];
    }
    return rising.isEmpty() ? 0 : rising.constLast();
}

StatusBarRoom::StatusBarRoom(QStatusBar& bar, QList<ElidedLabel*> flags, QList<ElidedLabel*> makingWay)
    : QObject(&bar), statusBar(bar), labels(std::move(flags)), waiting(std::move(makingWay)) {
    statusBar.installEventFilter(this);
    connect(&statusBar, &QStatusBar::messageChanged, this, &StatusBarRoom::makeWay);
    share();
}

bool StatusBarRoom::eventFilter(QObject* object, QEvent* event) {
    if (event->type() == QEvent::Resize) {
        makeWay();
    }
    // A new text, style or font of a flag comes as a request for a new layout.
    if (event->type() == QEvent::Resize || event->type() == QEvent::LayoutRequest) {
        share();
    }
    return QObject::eventFilter(object, event);
}

void StatusBarRoom::share() {
    if (statusBar.layout() == nullptr) {
        return;
    }
    int others = statusBar.layout()->minimumSize().width();
    QList<ElidedLabel*> shown;
    QList<int> wanted;
    for (ElidedLabel* label : labels) {
        if (!label->isHidden()) {
            others -= label->minimumWidth();
            shown.append(label);
            wanted.append(label->wholeWidth());
        }
    }
    const int limit = commonLimit(wanted, statusBar.width() - others);
    for (qsizetype index = 0; index < shown.size(); ++index) {
        shown[index]->setMinimumWidth(std::min(wanted[index], limit));
    }
    statusBar.layout()->activate(); // which has had the event already
}

// A message that is cut tells nothing, and it goes after some seconds.
void StatusBarRoom::makeWay() {
    const QString message = statusBar.currentMessage();
    int room = statusBar.width() - kBarEnds;
    for (const ElidedLabel* label : waiting) {
        room -= label->sizeHint().width() + kLabelGap;
    }
    for (ElidedLabel* label : labels) {
        if (!label->isHidden() && !waiting.contains(label)) {
            room -= label->sizeHint().width() + kLabelGap;
        }
    }
    const int needed = statusBar.fontMetrics().horizontalAdvance(message);
    bool enough = message.isEmpty();
    for (ElidedLabel* label : waiting) {
        label->setVisible(enough);
        room += label->sizeHint().width() + kLabelGap;
        enough = enough || room >= needed;
    }
}

} // namespace qorn::timetagger::gui
