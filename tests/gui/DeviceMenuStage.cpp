#include "DeviceMenuStage.h"

#include "WidgetFinder.h"

namespace qorn::testing {
namespace {

QDir calibrations() {
    return QDir(QDir::home().filePath(QStringLiteral(".qorn.timing/calibrations")));
}

} // namespace

DeviceMenuStage::DeviceMenuStage(const QByteArray& scene) : WindowStage(scene) {
    calibrations().removeRecursively();
}

DeviceMenuStage::~DeviceMenuStage() {
    calibrations().removeRecursively();
}

bool DeviceMenuStage::isOffered(const char* entry) {
    const QAction* action = menuAction(entry);
    return action != nullptr && action->isEnabled();
}

void DeviceMenuStage::click(const QWidget& dialog, const char* text) {
    QAbstractButton* button = findButton(dialog, QString::fromUtf8(text));
    if (button == nullptr) {
        throw std::runtime_error(std::string("no button ") + text);
    }
    QTest::mouseClick(button, Qt::LeftButton);
}

QString DeviceMenuStage::savedCalibration(const char* serial) {
    return calibrations().filePath(QStringLiteral("qorn_cal_%1.cal").arg(QString::fromUtf8(serial)));
}

} // namespace qorn::testing
