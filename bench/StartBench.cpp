// From starting a process with the application's window, or an empty one, to its first paint; a fresh process
// each time.
#include <QProcess>

#include <benchmark/benchmark.h>

#include <chrono>

namespace {

void startUntilPainted(benchmark::State& state, const QStringList& arguments) {
    for ([[maybe_unused]] auto _ : state) {
        QProcess program;
        const auto start = std::chrono::steady_clock::now();
        program.start(QString::fromUtf8(QORN_START_PROBE), arguments);
        const bool painted = program.waitForReadyRead(20000) && program.readAll().startsWith("painted");
        state.SetIterationTime(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        program.waitForFinished(20000);
        if (!painted) {
            state.SkipWithError("the window was not painted");
            break;
        }
    }
}
BENCHMARK_CAPTURE(startUntilPainted, application, QStringList())
    ->Name("app/start")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(10);
BENCHMARK_CAPTURE(startUntilPainted, empty, {QStringLiteral("empty")})
    ->Name("limit/start_empty_window")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(10);

} // namespace
