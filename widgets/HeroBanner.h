// The head of the setup page: title and subtitle over a calm picture of pulses that drift by on four lines
// and light up where they coincide. Colours come from the widget's palette, so each theme has its own.
//
// Owned by the page, GUI thread only. Its timer runs only while the banner is visible, and not at all when
// the style's animations are off; the picture then stands still.
#pragma once

#include <QBasicTimer>
#include <QElapsedTimer>
#include <QFrame>
#include <QPixmap>

class QLabel;

namespace qorn::timetagger::gui {

class HeroBanner : public QFrame {
    Q_OBJECT
public:
    HeroBanner(const QString& title, const QString& subtitle, QWidget* parent = nullptr);

    bool isAnimated() const;

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void changeEvent(QEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void startIfWanted();
    // Left end of the moving picture: what lies behind the text stays quiet.
    double pulseStart() const;
    // The ground and the lines, which change with size and palette only.
    void renderGround();
    void paintPulses(QPainter& painter) const;

    QLabel* titleLabel = nullptr;
    QLabel* subtitleLabel = nullptr;
    QPixmap ground;
    QBasicTimer timer;
    QElapsedTimer sinceTick;
    double seconds = 0.0; // how long the picture has moved
};

} // namespace qorn::timetagger::gui
