#include "LossIndicator.h"

#include "StatusFlag.h"
#include "TagFlowText.h"

#include <QKeyEvent>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPainter>
#include <QStyleOptionFocusRect>

#include <algorithm>
#include <utility>

namespace qorn::timetagger::gui {
namespace {

constexpr int kMostCharacters = 100;
constexpr std::size_t kMostCaptures = 16; // remembered: far more than can have reports on their way

bool opens(const QKeyEvent& event) {
    return event.key() == Qt::Key_Return || event.key() == Qt::Key_Enter || event.key() == Qt::Key_Space;
}

// By how much a count is above what was told, which it becomes.
quint64 growth(quint64& told, quint64 count) {
    const quint64 before = std::exchange(told, std::max(told, count));
    return told - before;
}

} // namespace

LossIndicator::LossIndicator(QWidget* parent) : ElidedLabel(QString(), 0, kMostCharacters, parent) {
    setObjectName(QStringLiteral("StatusFlag"));
    setAlignment(Qt::AlignCenter);
    setElision(Qt::ElideLeft); // the count stands at the end
    setFocusPolicy(Qt::TabFocus);
    setCursor(Qt::PointingHandCursor);
    setAccessibleDescription(tr("Lost time tags. Press Enter for the counts."));
    refresh();
}

void LossIndicator::takeFlow(const UiTagFlow& counts) {
    Told& before = told[counts.capture];
    unread.lost += growth(before.lost, counts.source.dropped);
    unread.notShown += growth(before.notShown, counts.gui.backlog);
    unread.skippedBytes += growth(before.skippedBytes, counts.source.skippedBytes);
    if (!before.leftOutRead) {
        unread.leftOut += growth(before.leftOut, counts.gui.thinned);
    }
    if (told.size() > kMostCaptures) {
        told.erase(told.begin());
    }
    if (counts.capture >= flow.capture) {
        flow = counts;
    }
    refresh();
}

void LossIndicator::takeRelayLosses(quint64 tags) {
    if (const quint64 more = growth(relayTold, tags); more > 0) {
        unread.notRelayed += more;
        refresh();
    }
}

QString LossIndicator::flagText() const {
    QStringList tags;
    if (unreadLost() > 0) {
        tags.append(tr("lost: %1").arg(unreadLost()));
    }
    if (unreadNotRelayed() > 0) {
        tags.append(tr("not relayed: %1").arg(unreadNotRelayed()));
    }
    if (unreadNotShown() > 0) {
        tags.append(tr("not shown: %1").arg(unreadNotShown()));
    }
    if (unreadLeftOut() > 0) {
        tags.append(tr("left out of plots: %1").arg(unreadLeftOut()));
    }
    QStringList parts;
    if (unreadSkippedBytes() > 0) {
        parts.append(tr("Unreadable bytes: %1").arg(unreadSkippedBytes()));
    }
    if (!tags.isEmpty()) {
        parts.append(tr("Tags %1").arg(tags.join(QStringLiteral(", "))));
    }
    return parts.join(QStringLiteral("; "));
}

QString LossIndicator::detailsText() const {
    QStringList parts;
    if (unreadLost() > 0) {
        parts.append(tr("%1 time tags were lost: this computer could not follow the instrument. They are in "
                        "no recording and in no plot.")
                         .arg(unreadLost()));
    }
    if (unreadSkippedBytes() > 0) {
        parts.append(tr("%1 bytes of the stream were unreadable and skipped. Time tags in them are in "
                        "no recording and in no plot, and time tags near them may be wrong.")
                         .arg(unreadSkippedBytes()));
    }
    if (unreadNotRelayed() > 0) {
        parts.append(tr("%1 time tags did not reach their relay clients: the clients or this computer were "
                        "too slow. Such clients were disconnected. This takes nothing from recordings and "
                        "plots.")
                         .arg(unreadNotRelayed()));
    }
    if (unreadNotShown() > 0) {
        parts.append(tr("%1 time tags were not shown: the window could not follow. This takes nothing from "
                        "recordings and relay.")
                         .arg(unreadNotShown()));
    }
    if (unreadLeftOut() > 0) {
        parts.append(tr("More time tags come than the plots show: %1 were left out of them "
                        "so far, and their rates are too low. This takes nothing from recordings and relay.")
                         .arg(unreadLeftOut()));
    }
    parts.append(tagFlowText(flow));
    return parts.join(QStringLiteral("\n\n"));
}

void LossIndicator::refresh() {
    const QString text = flagText();
    const bool isLost = unreadLost() + unreadNotRelayed() + unreadSkippedBytes() > 0;
    setStatusFlag(this, text, isLost ? FlagState::Bad : FlagState::Warning);
    setAccessibleName(text);
    setToolTip(text.isEmpty() ? QString() : tr("%1. Click for the counts of every stage.").arg(text));
    setVisible(!text.isEmpty());
}

void LossIndicator::showDetails() {
    if (box == nullptr) {
        box = new QMessageBox(QMessageBox::Information, tr("Lost time tags"), QString(), QMessageBox::Ok,
                              window());
        box->setAttribute(Qt::WA_DeleteOnClose);
        box->setModal(false);
        box->setTextFormat(Qt::PlainText);
    }
    box->setText(detailsText());
    box->show();
    box->raise();
    box->activateWindow();
    unread = {};
    for (auto& [capture, counts] : told) {
        counts.leftOutRead = counts.leftOut > 0;
    }
    refresh();
}

void LossIndicator::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        showDetails();
    } else {
        ElidedLabel::mousePressEvent(event);
    }
}

void LossIndicator::keyPressEvent(QKeyEvent* event) {
    if (opens(*event)) {
        showDetails();
    } else {
        ElidedLabel::keyPressEvent(event);
    }
}

void LossIndicator::paintEvent(QPaintEvent* event) {
    ElidedLabel::paintEvent(event);
    if (hasFocus()) {
        QPainter painter(this);
        QStyleOptionFocusRect option;
        option.initFrom(this);
        style()->drawPrimitive(QStyle::PE_FrameFocusRect, &option, &painter, this);
    }
}

} // namespace qorn::timetagger::gui
