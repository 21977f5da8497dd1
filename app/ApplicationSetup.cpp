#include "ApplicationSetup.h"

#include "ApplicationInfo.h"
#include "IconStyle.h"
#include "WheelGuard.h"

#include <QApplication>
#include <QIcon>
#include <QStyleFactory>

namespace qorn::timetagger::gui {

void setUpApplication(QApplication& application) {
    QApplication::setStyle(new IconStyle(QStyleFactory::create(QStringLiteral("Fusion"))));
    QApplication::setApplicationName(QLatin1String(kApplicationName));
    QApplication::setApplicationVersion(QLatin1String(kApplicationVersion));
    QApplication::setOrganizationName(QLatin1String(kOrganisationName));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/logo_mark.png")));
    application.installEventFilter(new WheelGuard(&application));
}

} // namespace qorn::timetagger::gui
