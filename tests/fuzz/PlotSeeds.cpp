// Writes the seeds of the plot files' fuzz targets into a folder: plots of every kind in both forms, and
// files with one fault each. `qorn_plot_seeds tests/fuzz/corpus` makes the files that are kept beside this
// one.
#include "PlotFile.h"
#include "SeedFolder.h"

#include <QtEndian>

#include <cmath>
#include <limits>

namespace {

using namespace qorn::timetagger::gui;

class PlotFolder {
public:
    explicit PlotFolder(const std::filesystem::path& path) : folder(path) {}

    void write(const char* name, const QByteArray& content) { folder.write(name, content.toStdString()); }
    bool isFine() const { return folder.isFine(); }

private:
    qorn::fuzz::SeedFolder folder;
};

PlotModel barPlot() {
    PlotModel plot;
    plot.xAxisLabel = QStringLiteral("Bin");
    plot.yAxisLabel = QStringLiteral("Counts");
    plot.showBars({0, 1, 2}, {5, 7.5, -1}, 0.8);
    return plot;
}

PlotModel seriesPlot() {
    PlotModel plot;
    plot.xAxisLabel = QStringLiteral("Time (s)");
    plot.showSeries({{0, 0.1}, {1e-3}, {}}, {{1, 2}, {1e20}, {}},
                    {QStringLiteral("Ch 1"), QStringLiteral("\u00b5, \"two\"")},
                    {QColor(1, 2, 3), QColor::fromHsv(120, 200, 100)}, PlotSeriesMode::Lines);
    return plot;
}

PlotModel annotatedPlot() {
    PlotModel plot = seriesPlot();
    plot.seriesMode = PlotSeriesMode::Points;
    plot.overlayMode = PlotSeriesMode::Points;
    plot.overlayXs = {{0, 1}};
    plot.overlayYs = {{2, 3}};
    plot.overlayLabels = QStringList{QStringLiteral("fit")};
    plot.overlayColors = {QColor(), QColor::fromCmyk(1, 2, 3, 4)};
    plot.statTexts = QStringList{QStringLiteral("mean 5"), QString()};
    plot.statColors = {QColor::fromHsl(10, 20, 30)};
    plot.markerValues = {2, -2};
    plot.markerLabels = QStringList{QStringLiteral("max")};
    plot.markerColors = {QColor::fromRgbF(1.5F, -0.5F, 0.0F)};
    return plot;
}

PlotModel plotOfOddNumbers() {
    using Limits = std::numeric_limits<double>;
    PlotModel plot;
    plot.showSeries({{Limits::quiet_NaN(), Limits::infinity(), Limits::max()}},
                    {{-0.0, Limits::denorm_min(), Limits::lowest()}}, {}, {}, PlotSeriesMode::Lines);
    plot.barWidth = Limits::infinity();
    return plot;
}

QByteArray withNumberAt(QByteArray bytes, qsizetype at, quint32 number) {
    qToLittleEndian(number, bytes.data() + at);
    return bytes;
}

bool writeBinarySeeds(const std::filesystem::path& path) {
    PlotFolder folder(path);
    const QByteArray empty = encodePlot(PlotModel());
    const QByteArray bars = encodePlot(barPlot());
    folder.write("empty", empty);
    folder.write("bars", bars);
    folder.write("series", encodePlot(seriesPlot()));
    folder.write("annotated", encodePlot(annotatedPlot()));
    folder.write("odd-numbers", encodePlot(plotOfOddNumbers()));
    folder.write("no-bytes", {});
    folder.write("magic-only", empty.first(7));
    folder.write("other-magic", "QORNLOG" + empty.mid(7));
    folder.write("cut-off", bars.chopped(1));
    // Places in a plot without texts: version, length of a text, mode, number of bars.
    folder.write("other-version", withNumberAt(empty, 7, 2));
    folder.write("forged-text", withNumberAt(empty, 11, 0xfffffffe));
    folder.write("odd-text", withNumberAt(empty, 11, 3));
    folder.write("other-mode", withNumberAt(empty, 19, 3));
    folder.write("forged-bars", withNumberAt(empty, 31, 0x10000000));
    PlotModel mismatched = seriesPlot();
    mismatched.seriesYs[0].append(3);
    folder.write("mismatched-series", encodePlot(mismatched));
    mismatched = annotatedPlot();
    mismatched.overlayXs[0].clear();
    folder.write("mismatched-overlays", encodePlot(mismatched));
    return folder.isFine();
}

bool writeCsvSeeds(const std::filesystem::path& path) {
    PlotFolder folder(path);
    folder.write("bars", encodePlotCsv(barPlot()).toUtf8());
    folder.write("series", encodePlotCsv(annotatedPlot()).toUtf8());
    folder.write("no-bytes", {});
    folder.write("header-only", "series,x,y\n");
    folder.write("comments", "# one\r\n#\r\nSeries , X,\"y\"\r\n a , 1 , 2 \r\n\"#b\",+.5,1e3\r\n");
    folder.write("more-columns", "a,1,2,3,,\n\na,4,5\n");
    folder.write("quotes", "\"a, \"\"b\"\"\",1,2\nc\"d\"\"e\",3,4\n");
    folder.write("label-of-two-lines", "\"two\n\nlines\",1,2\nb,3,4\n");
    folder.write("open-quote", "a,1,2\n\"b,3,4\nc,5,6\n");
    folder.write("open-last-field", "a,1,\"2\n");
    folder.write("two-columns", "a,1\n");
    folder.write("not-a-number", "a,1,nan\n");
    folder.write("too-large", "a,1,2\na,1e999,2\n");
    folder.write("largest", "a,1.7976931348623157e308,-4.9406564584124654e-324\n");
    return folder.isFine();
}

} // namespace

int main(int argc, char** argv) {
    return qorn::fuzz::writeCorpus(argc, argv, [](const std::filesystem::path& corpus) {
        return writeBinarySeeds(corpus / "plot_binary") && writeCsvSeeds(corpus / "plot_csv");
    });
}
