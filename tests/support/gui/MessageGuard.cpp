#include "MessageGuard.h"

#include <QMutex>

#include <cstdio>

namespace qorn::testing {
namespace {

struct Collected {
    QMutex mutex;
    QStringList messages;
    QStringList allowed;
};

Collected& collected() {
    static Collected instance;
    return instance;
}

void collect(QtMsgType type, const QMessageLogContext&, const QString& text) {
    std::fprintf(stderr, "%s\n", qPrintable(text));
    // The windowless platform says this of each window operation that it does not have.
    if (type == QtDebugMsg || type == QtInfoMsg ||
        text.contains(QLatin1String("This plugin does not support"))) {
        return;
    }
    QMutexLocker lock(&collected().mutex);
    collected().messages.append(text);
}

} // namespace

void MessageGuard::install() {
    qInstallMessageHandler(collect);
}

void MessageGuard::reset() {
    QMutexLocker lock(&collected().mutex);
    collected().messages.clear();
    collected().allowed.clear();
}

QStringList MessageGuard::unexpected() {
    QMutexLocker lock(&collected().mutex);
    QStringList left;
    for (const QString& message : collected().messages) {
        bool known = false;
        for (const QString& part : collected().allowed) {
            known = known || message.contains(part);
        }
        if (!known) {
            left.append(message);
        }
    }
    return left;
}

void MessageGuard::allow(const QString& part) {
    QMutexLocker lock(&collected().mutex);
    collected().allowed.append(part);
}

} // namespace qorn::testing
