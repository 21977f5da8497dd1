// A one-line label that gives way: where its room ends, the text does, with an ellipsis, and the whole of it
// stands in the tool tip. GUI thread only.
#pragma once

#include <QLabel>

namespace qorn::timetagger::gui {

class ElidedLabel : public QLabel {
    Q_OBJECT
public:
    // Keeps room for about `least` characters, or its text when that is shorter.
    ElidedLabel(const QString& text, int least, QWidget* parent = nullptr);

    QSize minimumSizeHint() const override;

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    QString shownText() const;

    int leastCharacters;
};

} // namespace qorn::timetagger::gui
