#include "ElidedLabel.h"

#include <QHelpEvent>
#include <QPainter>
#include <QStyle>
#include <QToolTip>

namespace qorn::timetagger::gui {
namespace {

constexpr int kLeastCharacters = 6;

} // namespace

ElidedLabel::ElidedLabel(const QString& text, QWidget* parent) : QLabel(text, parent) {
    setTextFormat(Qt::PlainText);
}

QSize ElidedLabel::minimumSizeHint() const {
    const int least = fontMetrics().averageCharWidth() * kLeastCharacters;
    return {qMin(least, QLabel::minimumSizeHint().width()), QLabel::minimumSizeHint().height()};
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
    style()->drawItemText(&painter, contentsRect(), static_cast<int>(alignment() | Qt::TextSingleLine), palette(),
                          isEnabled(), shownText(), foregroundRole());
}

} // namespace qorn::timetagger::gui
