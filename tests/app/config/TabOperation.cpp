#include "TabOperation.h"

#include "ExperimentCatalog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSpinBox>
#include <QStringList>

namespace qorn::testing {

using timetagger::gui::ExperimentTab;

std::unique_ptr<ExperimentTab> makeTab(const QString& type) {
    return std::unique_ptr<ExperimentTab>(timetagger::gui::createExperiment(type));
}

QList<QWidget*> controlsOf(const ExperimentTab& tab) {
    QList<QWidget*> controls;
    for (QWidget* widget : tab.findChildren<QWidget*>()) {
        if (qobject_cast<QAbstractSpinBox*>(widget) != nullptr ||
            qobject_cast<QComboBox*>(widget) != nullptr || qobject_cast<QCheckBox*>(widget) != nullptr) {
            controls.append(widget);
        }
    }
    return controls;
}

void changeControl(QWidget& control) {
    if (auto* number = qobject_cast<QDoubleSpinBox*>(&control)) {
        const double step = number->singleStep();
        number->setValue(number->value() + (number->value() + step <= number->maximum() ? step : -step));
    } else if (auto* count = qobject_cast<QSpinBox*>(&control)) {
        count->setValue(count->value() + (count->value() < count->maximum() ? 1 : -1));
    } else if (auto* choice = qobject_cast<QComboBox*>(&control)) {
        choice->setCurrentIndex((choice->currentIndex() + 1) % choice->count());
    } else if (auto* check = qobject_cast<QCheckBox*>(&control)) {
        check->setChecked(!check->isChecked());
    }
}

QString valueOf(const QWidget& control) {
    if (const auto* box = qobject_cast<const QAbstractSpinBox*>(&control)) {
        return box->text();
    }
    if (const auto* choice = qobject_cast<const QComboBox*>(&control)) {
        return choice->currentText();
    }
    const auto* check = qobject_cast<const QCheckBox*>(&control);
    return check != nullptr && check->isChecked() ? QStringLiteral("checked") : QStringLiteral("unchecked");
}

void changeEveryControl(ExperimentTab& tab) {
    QList<QWidget*> withoutEffect;
    for (QWidget* control : controlsOf(tab)) {
        const QJsonObject before = tab.saveConfig();
        changeControl(*control);
        if (tab.saveConfig() == before) {
            withoutEffect.append(control);
        }
    }
    for (QWidget* control : withoutEffect) {
        changeControl(*control);
    }
}

namespace {

QString below(const QString& place, const QString& key) {
    return place.isEmpty() ? key : place + QLatin1Char('/') + key;
}

template <typename Visit>
void visitPlaces(const QJsonValue& value, const QString& place, const Visit& visit) {
    visit(place, value);
    const QJsonObject object = value.toObject();
    for (auto entry = object.begin(); entry != object.end(); ++entry) {
        visitPlaces(entry.value(), below(place, entry.key()), visit);
    }
    const QJsonArray array = value.toArray();
    for (qsizetype i = 0; i < array.size(); ++i) {
        visitPlaces(array.at(i), below(place, QString::number(i)), visit);
    }
}

} // namespace

QMap<QString, QJsonValue> leavesOf(const QJsonValue& root) {
    QMap<QString, QJsonValue> leaves;
    visitPlaces(root, QString(), [&](const QString& place, const QJsonValue& value) {
        if (!value.isObject() && !value.isArray()) {
            leaves.insert(place, value);
        }
    });
    return leaves;
}

QList<QString> placesIn(const QJsonValue& root) {
    QList<QString> places;
    visitPlaces(root, QString(), [&](const QString& place, const QJsonValue&) {
        if (!place.isEmpty()) {
            places.append(place);
        }
    });
    return places;
}

QJsonValue withValueAt(const QJsonValue& root, const QString& place, const QJsonValue& value) {
    if (place.isEmpty()) {
        return value;
    }
    const QString key = place.section(QLatin1Char('/'), 0, 0);
    const QString rest = place.section(QLatin1Char('/'), 1);
    if (root.isArray()) {
        QJsonArray array = root.toArray();
        const QJsonValue changed = withValueAt(array.at(key.toInt()), rest, value);
        array.replace(key.toInt(), changed.isUndefined() ? QJsonValue(QJsonValue::Null) : changed);
        return array;
    }
    QJsonObject object = root.toObject();
    const QJsonValue changed = withValueAt(object.value(key), rest, value);
    if (changed.isUndefined()) {
        object.remove(key);
    } else {
        object.insert(key, changed);
    }
    return object;
}

QString textOf(const QJsonObject& object) {
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

} // namespace qorn::testing
