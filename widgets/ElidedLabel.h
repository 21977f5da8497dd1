// A one-line label that gives way: where its room ends, the text does, with an ellipsis, and the whole of it
// stands in the tool tip. GUI thread only.
#pragma once

#include <QLabel>

namespace qorn::timetagger::gui {

class ElidedLabel : public QLabel {
    Q_OBJECT
public:
    // Keeps room for about `least` characters, and asks for about `most`, or for its text when that is
    // shorter.
    ElidedLabel(const QString& text, int least, int most, QWidget* parent = nullptr);

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
};

} // namespace qorn::timetagger::gui
