#include "ElidedLabel.h"

#include <QHelpEvent>
#include <QPainter>
#include <QStyle>
#include <QToolTip>

namespace qorn::timetagger::gui {
ElidedLabel::ElidedLabel(const QString& text, int least, QWidget* parent)
    : QLabel(text, parent), leastCharacters(least) {
    setTextFormat(Qt::PlainText);
}

QSize ElidedLabel::minimumSizeHint() const {
    const int room = fontMetrics().averageCharWidth() * leastCharacters;
    return {qMin(room, QLabel::minimumSizeHint().width()), QLabel::minimumSizeHint().height()};
}

QString ElidedLabel::shownText() const {
    return fontMetrics().elidedText(text(), Qt::ElideRight, contentsRect().width());
}

bool ElidedLabel::event(QEvent* event) {
    if (event->type() == QEvent::ToolTip && toolTip().isEmpty() && shownText() != text()) {
        QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), text(), this);
        return true;
    }
    return QLabel::event(event);
}

void ElidedLabel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    drawFrame(&painter);
    style()->drawItemText(&painter, contentsRect(), static_cast<int>(alignment() | Qt::TextSingleLine),
                          palette(), isEnabled(), shownText(), foregroundRole());
}

} // namespace qorn::timetagger::gui
