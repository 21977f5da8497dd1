// A language in which every text is as long as in German, and shows that it was translated.
#pragma once

#include <QCoreApplication>
#include <QTranslator>

#include <algorithm>

namespace qorn::testing {

inline constexpr char16_t kTranslatedMark = u'Ø';

class LongTexts : public QTranslator {
public:
    LongTexts() { QCoreApplication::installTranslator(this); }
    ~LongTexts() override { QCoreApplication::removeTranslator(this); }

    bool isEmpty() const override { return false; }
    QString translate(const char*, const char* source, const char*, int) const override {
        const QString text = QString::fromUtf8(source);
        if (text.startsWith(QLatin1Char(' '))) {
            return text; // a unit, which is the same in all languages
        }
        const qsizetype letters =
            std::count_if(text.begin(), text.end(), [](QChar c) { return c.isLetter(); });
        return text + QString((letters * 35 + 99) / 100, QChar(kTranslatedMark));
    }
};

} // namespace qorn::testing
