// Lets a failed expectation show Qt texts as texts.
#pragma once

#include <QString>
#include <QStringList>

#include <ostream>

inline void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}

inline void PrintTo(const QStringList& list, std::ostream* out) {
    *out << "{";
    for (const QString& text : list) {
        *out << "\n  \"" << text.toStdString() << "\"";
    }
    *out << "}";
}

namespace qorn::testing {

// A list of texts from literals.
inline QStringList texts(std::initializer_list<const char*> literals) {
    QStringList list;
    for (const char* literal : literals) {
        list.append(QString::fromUtf8(literal));
    }
    return list;
}

} // namespace qorn::testing
