// A one-line label that gives way: where its room ends, the text is shortened with an ellipsis, and the whole
// of it stands in the tool tip. GUI thread only.
#pragma once

#include <QLabel>

namespace qorn::timetagger::gui {

class ElidedLabel : public QLabel {
    Q_OBJECT
public:
    // Keeps room for about `least` characters, and asks for about `most`, or for its text when that is
    // shorter.
    ElidedLabel(const QString& text, int least, int most, QWidget* parent = nullptr);

    // Where the ellipsis stands; at the end unless told otherwise.
    void setElision(Qt::TextElideMode mode);
    // Width of the whole text with its frame, in pixels.
    int wholeWidth() const;

    QSize minimumSizeHint() const override;
    QSize sizeHint() const override;

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    QString shownText() const;
    QSize roomFor(int characters) const;

    int leastCharacters;
    int mostCharacters;
    Qt::TextElideMode elision = Qt::ElideRight;
};

} // namespace qorn::timetagger::gui
