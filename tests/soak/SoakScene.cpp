#include "SoakScene.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <array>

namespace qorn::soak {
namespace {

struct FaultyCall {
    const char* call;
    int leastDistance; // uses from one fault to the next
    int mostDistance;
    int status;
};

constexpr std::array<FaultyCall, 5> kFaultyCalls{{
    {"tt_read_stream_bytes", 400, 20000, -1},
    {"tt_start_stream_mode", 3, 40, -1},
    {"tt_stop_stream_mode", 5, 60, -1},
    {"tt_read_count_stream_sample", 50, 800, -1},
    {"tt_get_reference_clock_status", 5, 200, -1},
}};

QJsonArray faultyCalls(int faults, std::mt19937_64& random) {
    QJsonArray calls;
    std::array<int, kFaultyCalls.size()> uses{};
    for (int i = 0; i < faults; ++i) {
        const std::size_t which = random() % kFaultyCalls.size();
        const FaultyCall& fault = kFaultyCalls[which];
        uses[which] += std::uniform_int_distribution<int>(fault.leastDistance, fault.mostDistance)(random);
        calls.append(QJsonObject{{QStringLiteral("call"), QLatin1String(fault.call)},
                                 {QStringLiteral("at"), uses[which]},
                                 {QStringLiteral("count"), 1},
                                 {QStringLiteral("status"), fault.status}});
    }
    return calls;
}

} // namespace

QByteArray soakScene(double tagsPerSecond, const QString& truthFile, int faults, std::mt19937_64& random) {
    const auto source = [](const char* kind, QJsonObject rest) {
        rest.insert(QStringLiteral("kind"), QLatin1String(kind));
        return rest;
    };
    const QJsonArray sources{
        source("pairs", {{QStringLiteral("inputs"), QJsonArray{1, 2}},
                         {QStringLiteral("rate_hz"), tagsPerSecond * 0.2},
                         {QStringLiteral("delay_ps"), 12400},
                         {QStringLiteral("sigma_ps"), 120}}),
        source("poisson", {{QStringLiteral("input"), 1}, {QStringLiteral("rate_hz"), tagsPerSecond * 0.2}}),
        source("poisson", {{QStringLiteral("input"), 3}, {QStringLiteral("rate_hz"), tagsPerSecond * 0.2}}),
        source("periodic",
               {{QStringLiteral("input"), 4}, {QStringLiteral("frequency_hz"), tagsPerSecond * 0.2}}),
    };
    const QJsonObject unit{
        {QStringLiteral("serial"), QStringLiteral("SIM00001")},
        {QStringLiteral("repeat_block_ms"), 500},
        {QStringLiteral("truth_file"), truthFile},
        {QStringLiteral("faults"), QJsonObject{{QStringLiteral("calls"), faultyCalls(faults, random)}}},
        {QStringLiteral("sources"), sources}};
    return QJsonDocument(QJsonObject{{QStringLiteral("units"), QJsonArray{unit}}}).toJson();
}

} // namespace qorn::soak
