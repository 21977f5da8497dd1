#include "ElidedLabel.h"

#include <QHelpEvent>
#include <QPainter>
#include <QStyle>
#include <QToolTip>

namespace qorn::timetagger::gui {
ElidedLabel::ElidedLabel(const QString& text, int least, int most, QWidget* parent)
    : QLabel(text, parent), leastCharacters(least), mostCharacters(most) {
    setTextFormat(Qt::PlainText);
}

void ElidedLabel::setElision(Qt::TextElideMode mode) {
    elision = mode;
    update();
}

int ElidedLabel::wholeWidth() const {
    return QLabel::sizeHint().width();
}

QSize ElidedLabel::roomFor(int characters) const {
    const QSize whole = QLabel::sizeHint();
    return {qMin(fontMetrics().averageCharWidth() * characters, whole.width()), whole.height()};
}

QSize ElidedLabel::minimumSizeHint() const {
    return roomFor(leastCharacters);
}

QSize ElidedLabel::sizeHint() const {
    return roomFor(mostCharacters);
}

QString ElidedLabel::shownText() const {
    return fontMetrics().elidedText(text(), elision, contentsRect().width());
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
