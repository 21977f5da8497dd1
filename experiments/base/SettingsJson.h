// Reading settings from a JSON object: each function takes its value when the key is present and of the right
// type, and else leaves the target as it is. Pure functions.
#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QStringList>

#include <algorithm>
#include <array>
#include <cstddef>

namespace qorn::timetagger::gui {

inline void takeFlag(const QJsonObject& object, const char* key, bool& target) {
    target = object.value(QLatin1String(key)).toBool(target);
}

// Numbers are held between `least` and `most`; whole ones lose their fraction.
template <typename Number>
void takeNumber(const QJsonObject& object, const char* key, Number least, Number most, Number& target) {
    if (const QJsonValue value = object.value(QLatin1String(key)); value.isDouble()) {
        target = static_cast<Number>(
            std::clamp(value.toDouble(), static_cast<double>(least), static_cast<double>(most)));
    }
}

// Values of an array one by one; those that it does not reach or has in another type stay.
template <std::size_t Size>
void takeFlags(const QJsonObject& object, const char* key, std::array<bool, Size>& target) {
    const QJsonArray values = object.value(QLatin1String(key)).toArray();
    for (std::size_t i = 0; i < Size; ++i) {
        target[i] = values.at(static_cast<qsizetype>(i)).toBool(target[i]);
    }
}

template <std::size_t Size>
void takeNumbers(const QJsonObject& object, const char* key, double least, double most,
                 std::array<double, Size>& target) {
    const QJsonArray values = object.value(QLatin1String(key)).toArray();
    for (std::size_t i = 0; i < Size; ++i) {
        if (const QJsonValue value = values.at(static_cast<qsizetype>(i)); value.isDouble()) {
            target[i] = std::clamp(value.toDouble(), least, most);
        }
    }
}

template <typename Value, std::size_t Size>
QJsonArray toJsonArray(const std::array<Value, Size>& values) {
    QJsonArray result;
    for (const Value& value : values) {
        result.append(value);
    }
    return result;
}

// Choices stand by name in files; `names` are in the order of the choices' values.
template <typename Choice>
void takeChoice(const QJsonObject& object, const char* key, const QStringList& names, Choice& target) {
    const qsizetype index = names.indexOf(object.value(QLatin1String(key)).toString());
    if (index >= 0) {
        target = static_cast<Choice>(index);
    }
}

template <typename Choice>
QString nameOf(const QStringList& names, Choice choice) {
    return names.at(static_cast<qsizetype>(choice));
}

} // namespace qorn::timetagger::gui
