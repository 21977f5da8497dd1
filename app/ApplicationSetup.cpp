#include "ApplicationSetup.h"

#include "ApplicationInfo.h"
#include "IconStyle.h"
#include "StyleRuleSweeper.h"
#include "WheelGuard.h"

#include <QApplication>
#include <QIcon>
#include <QStyleFactory>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace qorn::timetagger::gui {
namespace {

// Every measurement brings threads of its own. With the C library's default of eight arenas per core, what
// one thread freed is kept from the others, and over hours of starts and stops the process holds several
// times what it uses. One arena spreads least; the streams reuse their buffers, and so hardly ever ask for
// memory.
void limitMemoryArenas() {
#ifdef __GLIBC__
    constexpr int kArenas = 1;
    mallopt(M_ARENA_MAX, kArenas);
#endif
}

} // namespace

void setUpApplication(QApplication& application) {
    limitMemoryArenas();
    QApplication::setStyle(new IconStyle(QStyleFactory::create(QStringLiteral("Fusion"))));
    QApplication::setApplicationName(QLatin1String(kApplicationName));
    QApplication::setApplicationVersion(QLatin1String(kApplicationVersion));
    QApplication::setOrganizationName(QLatin1String(kOrganisationName));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/logo_mark.png")));
    application.installEventFilter(new WheelGuard(&application));
    application.installEventFilter(new StyleRuleSweeper(&application));
}

} // namespace qorn::timetagger::gui
