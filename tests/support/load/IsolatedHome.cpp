#include "IsolatedHome.h"

#include <QtGlobal>

namespace qorn::bench {

IsolatedHome::IsolatedHome() {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    for (const char* place : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"}) {
        qputenv(place, folder.path().toUtf8());
    }
}

} // namespace qorn::bench
