// main of all benchmarks: an application without a display, with a home of its own. Ends with 1 when a
// benchmark found its result to be wrong, or none was meant.
#include "ApplicationSetup.h"

#include <QApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <vector>

namespace {

// The reporter that the arguments choose, with an eye on errors.
class ErrorWatch final : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context& context) override {
        shown->SetOutputStream(&GetOutputStream());
        shown->SetErrorStream(&GetErrorStream());
        return shown->ReportContext(context);
    }
    void ReportRuns(const std::vector<Run>& runs) override {
        hasErrors = hasErrors ||
                    std::any_of(runs.begin(), runs.end(), [](const Run& run) { return run.error_occurred; });
        shown->ReportRuns(runs);
    }
    void Finalize() override { shown->Finalize(); }
    bool sawErrors() const { return hasErrors; }

private:
    std::unique_ptr<benchmark::BenchmarkReporter> shown{benchmark::CreateDefaultDisplayReporter()};
    bool hasErrors = false;
};

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    const QTemporaryDir home;
    qputenv("HOME", home.path().toUtf8());
    qputenv("XDG_CONFIG_HOME", home.path().toUtf8());
    QApplication application(argc, argv);
    qorn::timetagger::gui::setUpApplication(application);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    ErrorWatch watch;
    const std::size_t meant = benchmark::RunSpecifiedBenchmarks(&watch);
    benchmark::Shutdown();
    return meant == 0 || watch.sawErrors() ? 1 : 0;
}
