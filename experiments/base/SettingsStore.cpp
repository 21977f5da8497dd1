#include "SettingsStore.h"

#include <QCoreApplication>
#include <QSettings>

namespace qorn::timetagger::gui {
namespace {

QVariantMap valuesOf(const QSettings& settings) {
    QVariantMap values;
    for (const QString& key : settings.allKeys()) {
        values.insert(key, settings.value(key));
    }
    return values;
}

} // namespace

SettingsStore& SettingsStore::instance() {
    static SettingsStore store;
    return store;
}

SettingsStore::SettingsStore() {
    pool.setMaxThreadCount(1);
    pool.setExpiryTimeout(-1);
    qAddPostRoutine([] { instance().pool.waitForDone(); });
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
    if (writing) {
        return; // it looks for more
    }
    if (unwritten.isEmpty()) {
        known.clear();
        return;
    }
    writing = true;
    pool.start([this] { writeAll(); });
}

void SettingsStore::writeAll() {
    for (;;) {
        QVariantMap changes;
        {
            const std::lock_guard lock(mutex);
            if (unwritten.isEmpty()) {
                writing = false;
                known.clear();
                written.notify_all();
                return;
            }
            changes.swap(unwritten);
        }
        QSettings settings; // writes when it goes
        for (auto entry = changes.begin(); entry != changes.end(); ++entry) {
            if (entry->isValid()) {
                settings.setValue(entry.key(), *entry);
            } else {
                settings.remove(entry.key());
            }
        }
    }
}

void SettingsStore::finish() {
    std::unique_lock lock(mutex);
    written.wait(lock, [this] { return !writing; });
}

} // namespace qorn::timetagger::gui
