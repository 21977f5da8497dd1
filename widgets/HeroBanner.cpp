#include "HeroBanner.h"

#include <QEvent>
#include <QLabel>
#include <QLinearGradient>
#include <QPaintEvent>
#include <QPainter>
#include <QStyle>
#include <QTimerEvent>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace qorn::timetagger::gui {
namespace {

constexpr int kHeight = 132;
constexpr int kLines = 4;
constexpr int kFrameMs = 50;
constexpr double kMaxStepSeconds = 0.2; // a pause of the event loop is no jump of the picture
constexpr double kPixelsPerSecond = 14.0;
constexpr double kPulsePitch = 46.0; // mean distance of pulses on a line, pixels
constexpr int kTextMargin = 32;

// A well mixed value in [0, 1) for each pulse, the same on every run.
double scatter(quint32 line, quint32 index) {
    quint32 bits = (line * 0x9e3779b9u) ^ (index * 0x85ebca6bu);
    bits ^= bits >> 15;
    bits *= 0x2c1b3c6du;
    bits ^= bits >> 12;
    bits *= 0x297a2d39u;
    bits ^= bits >> 15;
    return double(bits) / 4294967296.0;
}

QColor faded(QColor colour, double alpha) {
    colour.setAlphaF(float(alpha));
    return colour;
}

double lineY(int line, int height) {
    return height * (0.26 + 0.18 * line);
}

QLabel* makeLabel(const QString& text, const QString& objectName, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setObjectName(objectName);
    label->setTextFormat(Qt::PlainText);
    label->setAttribute(Qt::WA_TransparentForMouseEvents);
    return label;
}

} // namespace

HeroBanner::HeroBanner(const QString& title, const QString& subtitle, QWidget* parent) : QFrame(parent) {
    setFixedHeight(kHeight);
    setAttribute(Qt::WA_OpaquePaintEvent);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(kTextMargin, 0, kTextMargin, 0);
    layout->setSpacing(4);
    layout->addStretch(1);
    titleLabel = makeLabel(title, QStringLiteral("HeroTitle"), this);
    subtitleLabel = makeLabel(subtitle, QStringLiteral("HeroSubtitle"), this);
    layout->addWidget(titleLabel, 0, Qt::AlignLeft);
    layout->addWidget(subtitleLabel, 0, Qt::AlignLeft);
    layout->addStretch(1);
}

bool HeroBanner::isAnimated() const {
    return timer.isActive();
}

void HeroBanner::startIfWanted() {
    if (isVisible() && style()->styleHint(QStyle::SH_Widget_Animation_Duration, nullptr, this) > 0) {
        sinceTick.start();
        timer.start(kFrameMs, Qt::CoarseTimer, this);
    } else {
        timer.stop();
    }
}

void HeroBanner::showEvent(QShowEvent* event) {
    QFrame::showEvent(event);
    startIfWanted();
}

void HeroBanner::hideEvent(QHideEvent* event) {
    timer.stop();
    QFrame::hideEvent(event);
}

void HeroBanner::changeEvent(QEvent* event) {
    QFrame::changeEvent(event);
    if (event->type() == QEvent::StyleChange || event->type() == QEvent::PaletteChange) {
        ground = QPixmap();
        startIfWanted();
        update();
    }
}

void HeroBanner::timerEvent(QTimerEvent* event) {
    if (event->timerId() != timer.timerId()) {
        QFrame::timerEvent(event);
        return;
    }
    seconds += std::min(double(sinceTick.restart()) / 1000.0, kMaxStepSeconds);
    update(QRect(QPoint(int(pulseStart()), 0), QPoint(width(), height())));
}

double HeroBanner::pulseStart() const {
    return kTextMargin + std::max(titleLabel->sizeHint().width(), subtitleLabel->sizeHint().width());
}

void HeroBanner::renderGround() {
    ground = QPixmap(size() * devicePixelRatioF());
    ground.setDevicePixelRatio(devicePixelRatioF());
    const QColor accent = palette().color(QPalette::Link);
    const QColor line = palette().color(QPalette::WindowText);
    const double left = pulseStart();

    QPainter painter(&ground);
    painter.fillRect(rect(), palette().color(QPalette::Window));
    QLinearGradient glow(left, 0, width(), height()); // behind the texts the ground stays plain
    glow.setColorAt(0.0, faded(accent, 0.0));
    glow.setColorAt(0.55, faded(accent, 0.05));
    glow.setColorAt(1.0, faded(accent, 0.16));
    painter.fillRect(rect(), glow);
    QLinearGradient fade(left, 0, width(), 0);
    fade.setColorAt(0.0, faded(line, 0.0));
    fade.setColorAt(0.5, faded(line, 0.16));
    fade.setColorAt(1.0, faded(line, 0.22));
    for (int i = 0; i < kLines; ++i) {
        painter.fillRect(QRectF(left, std::floor(lineY(i, height())), width(), 1), fade);
    }
    painter.fillRect(QRectF(0, height() - 2, width(), 2), faded(accent, 0.75));
}

void HeroBanner::paintPulses(QPainter& painter) const {
    const double left = pulseStart();
    const double span = width() - left;
    const double offset = seconds * kPixelsPerSecond;
    const QColor accent = palette().color(QPalette::Link);
    const QColor quiet = palette().color(QPalette::WindowText);
    // One cell of the pitch holds one pulse of each line; every few cells two neighbours share their time.
    const auto first = qint64(std::floor(offset / kPulsePitch));
    const auto last = qint64(std::ceil((offset + span) / kPulsePitch));
    for (qint64 cell = first; cell <= last; ++cell) {
        const auto index = quint32(cell);
        const int paired = scatter(9, index) < 0.45 ? int(scatter(8, index) * (kLines - 1)) : -1;
        for (int line = 0; line < kLines; ++line) {
            const bool coincident = paired >= 0 && (line == paired || line == paired + 1);
            const double place = scatter(quint32(coincident ? paired : line), index);
            const double x = left + (double(cell) + place) * kPulsePitch - offset;
            const double strength = std::clamp((x - left) / (span * 0.5), 0.0, 1.0);
            if (strength <= 0.0 || x > width()) {
                continue;
            }
            const double base = std::floor(lineY(line, height()));
            const QColor colour = coincident ? faded(accent, 0.9 * strength) : faded(quiet, 0.32 * strength);
            painter.fillRect(QRectF(x, base - (coincident ? 13 : 9), 2, coincident ? 13 : 9), colour);
            if (coincident && line == paired) {
                const double below = std::floor(lineY(line + 1, height()));
                painter.fillRect(QRectF(x, base, 2, below - base - 13), faded(accent, 0.22 * strength));
            }
        }
    }
}

void HeroBanner::paintEvent(QPaintEvent* event) {
    if (ground.size() != size() * devicePixelRatioF()) {
        renderGround();
    }
    QPainter painter(this);
    painter.setClipRegion(event->region());
    painter.drawPixmap(0, 0, ground);
    paintPulses(painter);
}

} // namespace qorn::timetagger::gui
