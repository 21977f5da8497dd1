#include "SettingsStore.h"

#include <QCoreApplication>
#include <QSettings>

#include <utility>

namespace qorn::timetagger::gui {
namespace {

QVariantMap valuesOf(const QSettings& settings) {
    QVariantMap values;
    for (const QString& key : settings.allKeys()) {
        values.insert(key, settings.value(key));
    }
    return values;
}

void write(const QVariantMap& changes) {
    QSettings settings; // writes when it goes
    for (auto entry = changes.begin(); entry != changes.end(); ++entry) {
        if (entry->isValid()) {
            settings.setValue(entry.key(), *entry);
        } else {
            settings.remove(entry.key());
        }
    }
}

} // namespace

SettingsStore& SettingsStore::instance() {
    static SettingsStore store;
    return store;
}

SettingsStore::SettingsStore() {
    qAddPostRoutine([] { instance().stop(); });
}

SettingsStore::~SettingsStore() {
    stop();
}

void SettingsStore::stop() {
    {
        const std::lock_guard lock(mutex);
        stopping = true;
    }
    changed.notify_all();
    if (writer.joinable()) {
        writer.join();
    }
}

QVariant SettingsStore::value(const QString& key, const QVariant& otherwise) const {
    const std::lock_guard lock(mutex);
    return writing ? known.value(key, otherwise) : QSettings().value(key, otherwise);
}

bool SettingsStore::contains(const QString& key) const {
    const std::lock_guard lock(mutex);
    return writing ? known.contains(key) : QSettings().contains(key);
}

QVariantMap SettingsStore::group(const QString& name) const {
    const std::lock_guard lock(mutex);
    if (!writing) {
        QSettings settings;
        settings.beginGroup(name);
        return valuesOf(settings);
    }
    const QString prefix = name + QLatin1Char('/');
    QVariantMap values;
    for (auto entry = known.lowerBound(prefix); entry != known.end() && entry.key().startsWith(prefix);
         ++entry) {
        values.insert(entry.key().mid(prefix.size()), entry.value());
    }
    return values;
}

void SettingsStore::set(const QString& key, const QVariant& value) {
    set(QVariantMap{{key, value}});
}

void SettingsStore::set(const QVariantMap& values) {
    const std::lock_guard lock(mutex);
    if (!writing) {
        known = valuesOf(QSettings());
    }
    for (auto entry = values.begin(); entry != values.end(); ++entry) {
        if (!known.contains(entry.key()) || known.value(entry.key()).toString() != entry->toString()) {
            known.insert(entry.key(), *entry);
            unwritten.insert(entry.key(), *entry);
        }
    }
    startWriting();
}

void SettingsStore::remove(const QString& key) {
    const std::lock_guard lock(mutex);
    if (!writing) {
        known = valuesOf(QSettings());
    }
    if (known.remove(key) > 0) {
        unwritten.insert(key, {});
    }
    startWriting();
}

void SettingsStore::startWriting() {
    if (unwritten.isEmpty()) {
        return;
    }
    writing = true;
    if (!writer.joinable()) {
        writer = std::thread([this] { writeUntilStopped(); });
    }
    changed.notify_all();
}

void SettingsStore::writeUntilStopped() {
    std::unique_lock lock(mutex);
    for (;;) {
        changed.wait(lock, [this] { return stopping || !unwritten.isEmpty(); });
        if (unwritten.isEmpty()) {
            return;
        }
        const QVariantMap changes = std::exchange(unwritten, {});
        lock.unlock();
        write(changes);
        lock.lock();
        if (unwritten.isEmpty()) {
            writing = false;
            known.clear();
            written.notify_all();
        }
    }
}

void SettingsStore::finish() {
    std::unique_lock lock(mutex);
    written.wait(lock, [this] { return !writing; });
}

} // namespace qorn::timetagger::gui
