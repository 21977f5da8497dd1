#include "LossIndicator.h"

#include "StatusFlag.h"
#include "TagFlowText.h"

#include <QKeyEvent>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPainter>
#include <QStyleOptionFocusRect>

namespace qorn::timetagger::gui {
namespace {

constexpr int kMostCharacters = 100;

bool opens(const QKeyEvent& event) {
    return event.key() == Qt::Key_Return || event.key() == Qt::Key_Enter || event.key() == Qt::Key_Space;
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
    if (counts.capture != flow.capture) {
        for (Loss* loss : {&lost, &notShown, &skippedBytes}) {
            loss->beginCapture();
        }
        leftOut = {unreadLeftOut(), 0, 0};
        leftOutRead = false;
    }
    flow = counts;
    lost.count = counts.source.dropped;
    notShown.count = counts.gui.backlog;
    skippedBytes.count = counts.source.skippedBytes;
    leftOut.count = counts.gui.thinned;
    refresh();
}

void LossIndicator::takeRelayLosses(quint64 tags) {
    if (tags != notRelayed.count) {
        notRelayed.count = tags;
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
                        "no recording and in no plot.")
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
    leftOutRead = leftOutRead || unreadLeftOut() > 0;
    for (Loss* loss : {&lost, &notRelayed, &notShown, &skippedBytes, &leftOut}) {
        loss->markRead();
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
