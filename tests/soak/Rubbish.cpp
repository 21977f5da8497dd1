#include "Rubbish.h"

#include <QDir>
#include <QThreadPool>

namespace qorn::soak {

void throwAway(const QString& folder) {
    static int number = 0;
    const QString rubbish = folder + QStringLiteral(".rubbish%1").arg(++number);
    if (QDir().rename(folder, rubbish)) {
        QThreadPool::globalInstance()->start([rubbish] { QDir(rubbish).removeRecursively(); });
    }
}

} // namespace qorn::soak
