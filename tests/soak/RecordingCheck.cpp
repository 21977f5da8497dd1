#include "RecordingCheck.h"

#include "Error.h"
#include "RecordingCompanionFile.h"
#include "StreamFileReader.h"
#include "Verify.h"

#include <QFile>
#include <QtEndian>

#include <optional>
#include <vector>

namespace qorn::soak {
namespace {

using timing::TimeTag;

constexpr qint64 kRecordSize = 16;
constexpr std::size_t kMostLate = 100'000; // tags of the truth ahead of the first recorded one
constexpr std::size_t kSure = 64;          // so many in a row agree in one place only

// The truth, read as it is needed.
class TruthReader {
public:
    explicit TruthReader(const QString& path) : file(path) { open = file.open(QIODevice::ReadOnly); }

    bool isOpen() const { return open; }

    std::optional<TimeTag> next() {
        if (position == static_cast<std::size_t>(block.size()) / kRecordSize) {
            block = file.read(kRecordSize * 65536);
            position = 0;
            if (block.size() < kRecordSize) {
                return std::nullopt;
            }
        }
        const char* record = block.constData() + static_cast<qsizetype>(position++) * kRecordSize;
        return TimeTag{static_cast<std::uint8_t>(qFromLittleEndian<quint64>(record)),
                       qFromLittleEndian<qint64>(record + 8)};
    }

private:
    QFile file;
    bool open = false;
    QByteArray block;
    std::size_t position = 0;
};

// Same inputs and same distances in time. The two have different zeros.
bool agree(const std::vector<TimeTag>& truth, std::size_t at, const std::vector<TimeTag>& recorded) {
    for (std::size_t i = 0; i < recorded.size(); ++i) {
        if (truth[at + i].channel != recorded[i].channel ||
            truth[at + i].timestamp_ps - truth[at].timestamp_ps !=
                recorded[i].timestamp_ps - recorded[0].timestamp_ps) {
            return false;
        }
    }
    return true;
}

class Comparison {
public:
    explicit Comparison(const QString& truthPath) : truth(truthPath) {}

    bool hasTruth() const { return truth.isOpen(); }
    bool hasBegun() const { return begun; }

    // Empty, or what is wrong.
    QString take(const TimeTag& tag) {
        ++count;
        if (begun) {
            return compare(tag);
        }
        first.push_back(tag);
        return first.size() == kSure ? begin() : QString();
    }
    quint64 tags() const { return count; }

private:
    QString begin() {
        std::vector<TimeTag> ahead;
        while (ahead.size() < kMostLate + kSure) {
            const auto tag = truth.next();
            if (!tag) {
                break;
            }
            ahead.push_back(*tag);
        }
        for (std::size_t at = 0; at + kSure <= ahead.size(); ++at) {
            if (agree(ahead, at, first)) {
                begun = true;
                truthZero = ahead[at].timestamp_ps;
                recordZero = first[0].timestamp_ps;
                waiting.assign(ahead.begin() + static_cast<std::ptrdiff_t>(at + kSure), ahead.end());
                return {};
            }
        }
        return QStringLiteral("the recording's first tags are not in the stream");
    }

    QString compare(const TimeTag& tag) {
        const auto expected = nextTruth();
        if (!expected) {
            return QStringLiteral("tag %1 was never sent").arg(count);
        }
        if (expected->channel != tag.channel ||
            expected->timestamp_ps - truthZero != tag.timestamp_ps - recordZero) {
            return QStringLiteral("tag %1 is channel %2 at %3 ps, sent was channel %4 at %5 ps")
                .arg(count)
                .arg(tag.channel)
                .arg(tag.timestamp_ps - recordZero)
                .arg(expected->channel)
                .arg(expected->timestamp_ps - truthZero);
        }
        return {};
    }

    std::optional<TimeTag> nextTruth() {
        if (used < waiting.size()) {
            return waiting[used++];
        }
        return truth.next();
    }

    TruthReader truth;
    std::vector<TimeTag> first;
    std::vector<TimeTag> waiting; // read ahead
    std::size_t used = 0;
    bool begun = false;
    std::int64_t truthZero = 0;
    std::int64_t recordZero = 0;
    quint64 count = 0;
};

} // namespace

CheckedRecording checkRecording(const QStringList& parts, const QString& truth, quint64 recorded) {
    Comparison comparison(truth);
    const auto result = [&comparison](const QString& problem) {
        return CheckedRecording{comparison.tags(), comparison.hasBegun(), problem};
    };
    if (!comparison.hasTruth()) {
        return result(QStringLiteral("cannot read %1").arg(truth));
    }
    if (parts.isEmpty()) {
        return result(QStringLiteral("there is no file"));
    }
    timing::StreamFileReader reader;
    try {
        for (const QString& part : parts) {
            reader.open(part.toStdString());
            if (const auto companion = timing::read_companion(part.toStdString())) {
                reader.use_times(*companion);
            }
            for (auto tags = reader.read(); !tags.empty(); tags = reader.read()) {
                for (const TimeTag& tag : tags) {
                    const QString problem = comparison.take(tag);
                    if (!problem.isEmpty()) {
                        return result(QStringLiteral("%1: %2").arg(part, problem));
                    }
                }
            }
            for (const std::string& fault : qornts::verificationOf(part.toStdString()).faults) {
                return result(QStringLiteral("%1: %2").arg(part, QString::fromStdString(fault)));
            }
        }
    } catch (const std::exception& error) {
        return result(QString::fromStdString(error.what()));
    }
    if (comparison.tags() != recorded) {
        return result(QStringLiteral("%1 tags, but %2 were recorded").arg(comparison.tags()).arg(recorded));
    }
    return result({});
}

} // namespace qorn::soak
