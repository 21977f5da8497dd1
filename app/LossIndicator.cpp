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
        lost.beginCapture();
        notShown.beginCapture();
    }
    flow = counts;
    lost.count = counts.source.dropped;
    notShown.count = counts.gui.backlog;
    refresh();
}

void LossIndicator::refresh() {
    const bool anyLost = unreadLost() > 0;
    const bool anyNotShown = unreadNotShown() > 0;
    QString text;
    if (anyLost && anyNotShown) {
        text = tr("Tags lost: %1, not shown: %2").arg(unreadLost()).arg(unreadNotShown());
    } else if (anyLost) {
        text = tr("Tags lost: %1").arg(unreadLost());
    } else if (anyNotShown) {
        text = tr("Tags not shown: %1").arg(unreadNotShown());
    }
    setStatusFlag(this, text, anyLost ? FlagState::Bad : FlagState::Warning);
    setAccessibleName(text);
    setToolTip(text.isEmpty() ? QString() : tr("%1. Click for the counts of every stage.").arg(text));
    setVisible(anyLost || anyNotShown);
}

void LossIndicator::showDetails() {
    QString text;
    if (unreadLost() > 0) {
        text += tr("%1 time tags were lost: this computer could not follow the instrument. They are in no "
                   "recording and in no plot.")
                    .arg(unreadLost());
        text += QStringLiteral("\n\n");
    }
    if (unreadNotShown() > 0) {
        text +=
            tr("%1 time tags were not shown: the window could not follow. Recordings and relay have them.")
                .arg(unreadNotShown());
        text += QStringLiteral("\n\n");
    }
    text += tagFlowText(flow);
    if (box == nullptr) {
        box = new QMessageBox(QMessageBox::Information, tr("Lost time tags"), QString(), QMessageBox::Ok,
                              window());
        box->setAttribute(Qt::WA_DeleteOnClose);
        box->setModal(false);
        box->setTextFormat(Qt::PlainText);
    }
    box->setText(text);
    box->show();
    box->raise();
    box->activateWindow();
    lost.markRead();
    notShown.markRead();
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
