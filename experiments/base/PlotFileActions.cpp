#include "PlotFileActions.h"

#include "BarChartWidget.h"
#include "BusyCursor.h"
#include "WarningBox.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QPointer>
#include <QSaveFile>

#include <functional>

namespace qorn::timetagger::gui {
namespace {

constexpr qint64 kLargestFile = 0x10000000; // in bytes
constexpr QLatin1String kBinarySuffix("qrnplot");
constexpr QLatin1String kTextSuffix("csv");

QString tr(const char* text) {
    return QCoreApplication::translate("PlotFileActions", text);
}

// A kind of file to save; a name without a suffix gets the kind's.
struct FileKind {
    QString filter;
    QString suffix;
};

QFileDialog* makeDialog(const QString& title, const QStringList& filters, QWidget* parent) {
    auto* dialog = new QFileDialog(parent, title);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setNameFilters(filters);
    return dialog;
}

// The suffix is the dialog's business, so that it asks before it replaces a file.
void askWhereToSave(const QString& title, const QList<FileKind>& kinds, QWidget* parent,
                    const std::function<void(const QString& path, const QString& kind)>& save) {
    QStringList filters;
    for (const FileKind& kind : kinds) {
        filters.append(kind.filter);
    }
    QFileDialog* dialog = makeDialog(title, filters, parent);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setDefaultSuffix(kinds.first().suffix);
    QObject::connect(dialog, &QFileDialog::filterSelected, dialog, [dialog, kinds](const QString& filter) {
        for (const FileKind& kind : kinds) {
            if (kind.filter == filter) {
                dialog->setDefaultSuffix(kind.suffix);
            }
        }
    });
    QObject::connect(dialog, &QFileDialog::fileSelected, parent,
                     [dialog, save](const QString& path) { save(path, dialog->defaultSuffix()); });
    dialog->open();
}

// What a known suffix says counts, else what was chosen.
bool isText(const QString& path, const QString& chosenKind) {
    const QString suffix = QFileInfo(path).suffix().toLower();
    return (suffix == kBinarySuffix || suffix == kTextSuffix ? suffix : chosenKind) == kTextSuffix;
}

void writeData(const BarChartWidget& plot, const QString& path, bool text, QWidget* parent) {
    QSaveFile file(path);
    if (!file.open(text ? QIODevice::WriteOnly | QIODevice::Text : QIODevice::WriteOnly)) {
        showWarning(parent, tr("Save failed"), tr("Could not open data file for writing."));
        return;
    }
    const QByteArray bytes = text ? plot.toCsv().toUtf8() : plot.toBinary();
    if (file.write(bytes) != bytes.size() || !file.commit()) {
        showWarning(parent, tr("Save failed"), tr("Could not write plot data."));
    }
}

// Nothing, and a text, when the file is not to be read.
QByteArray readData(const QString& path, QString& error) {
    QFile file(path);
    if (QFileInfo(path).isDir() || !file.open(QIODevice::ReadOnly)) {
        error = tr("Could not open the selected data file.");
        return {};
    }
    // One byte more than there may be: what is no regular file tells no size.
    QByteArray bytes = file.size() > kLargestFile ? QByteArray() : file.read(kLargestFile + 1);
    if (file.size() > kLargestFile || bytes.size() > kLargestFile) {
        error = tr("The selected plot file is too large.");
        return {};
    }
    return bytes;
}

QString showData(BarChartWidget& plot, const QString& path) {
    const BusyCursor busy;
    QString error;
    const QByteArray bytes = readData(path, error);
    if (!error.isEmpty()) {
        return error;
    }
    const bool binary = QFileInfo(path).suffix() == kBinarySuffix || bytes.startsWith("QORNPLT");
    if (binary ? plot.loadBinary(bytes, &error) : plot.loadCsv(QString::fromUtf8(bytes), &error)) {
        return {};
    }
    return error.isEmpty() ? tr("The selected file is not valid plot data.") : error;
}

} // namespace

void savePlotImage(BarChartWidget* plot, QWidget* parent) {
    if (plot == nullptr) {
        return;
    }
    askWhereToSave(tr("Save Plot Image"),
                   {{tr("PNG image (*.png)"), QStringLiteral("png")},
                    {tr("JPEG image (*.jpg *.jpeg)"), QStringLiteral("jpg")}},
                   parent, [parent, shown = QPointer(plot)](const QString& path, const QString&) {
                       if (shown && !shown->grab().save(path)) {
                           showWarning(parent, tr("Save failed"), tr("Could not write image file."));
                       }
                   });
}

void savePlotData(BarChartWidget* plot, QWidget* parent) {
    if (plot == nullptr) {
        return;
    }
    askWhereToSave(tr("Save Displayed Data"),
                   {{tr("QORN plot data (*.qrnplot)"), kBinarySuffix}, {tr("CSV file (*.csv)"), kTextSuffix}},
                   parent, [parent, shown = QPointer(plot)](const QString& path, const QString& kind) {
                       if (shown) {
                           const BusyCursor busy;
                           writeData(*shown, path, isText(path, kind), parent);
                       }
                   });
}

void loadPlotData(BarChartWidget* plot, QWidget* parent) {
    if (plot == nullptr) {
        return;
    }
    QFileDialog* dialog = makeDialog(
        tr("Load Plot Data"),
        {tr("QORN plot data (*.qrnplot)"), tr("CSV plot data (*.csv)"), tr("All files (*)")}, parent);
    dialog->setFileMode(QFileDialog::ExistingFile);
    QObject::connect(dialog, &QFileDialog::fileSelected, parent,
                     [parent, shown = QPointer(plot)](const QString& path) {
                         const QString error = shown ? showData(*shown, path) : QString();
                         if (!error.isEmpty()) {
                             showWarning(parent, tr("Load failed"), error);
                         }
                     });
    dialog->open();
}

} // namespace qorn::timetagger::gui
