#include "DeviceNameKey.h"

#include "SettingKeys.h"

namespace qorn::timetagger::gui {

QString deviceSerial(const UiDiscoveredDevice& device) {
    const QString label = device.label.trimmed();
    if (label == device.detail.trimmed()) {
        return QString(); // the description stands in for a missing serial and may itself hold two blanks
    }
    // A serial may hold two blanks, vendor and product hold single ones: the last pair separates.
    const qsizetype separator = label.lastIndexOf(QLatin1String("  "));
    return separator < 0 ? QString() : label.left(separator).trimmed();
}

QString deviceNameKey(const UiDiscoveredDevice& device) {
    QString source = deviceSerial(device);
    if (source.isEmpty()) {
        source = device.port.trimmed();
    }
    QString name;
    for (const char32_t character : source.toStdU32String()) {
        if (QChar::isLetterOrNumber(character)) {
            name += QString::fromUcs4(&character, 1);
        } else if (!name.endsWith(QLatin1Char('_'))) {
            name += QLatin1Char('_');
        }
    }
    if (name.isEmpty()) {
        name = QStringLiteral("unknown");
    }
    return kDeviceNamesPrefix + name;
}

} // namespace qorn::timetagger::gui
