// The application's stored settings: those of QSettings for its organisation and name, without its waits.
// QSettings forces each change to the disk, twice, before it goes on; beside a recording that fills the disk,
// or in a home on the network, that is a second or more in which a window would stand. Here a thread of its
// own does it, and what has been changed is seen at once by all who ask here.
//
// GUI thread only, as long as there is an application; its end waits for what is still to be written. That
// the file system does not take a change is not told.
#pragma once

#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace qorn::timetagger::gui {

class SettingsStore {
public:
    // The only one.
    static SettingsStore& instance();
    SettingsStore(const SettingsStore&) = delete;
    SettingsStore& operator=(const SettingsStore&) = delete;

    // `otherwise` where nothing is stored under `key`.
    QVariant value(const QString& key, const QVariant& otherwise = {}) const;
    bool contains(const QString& key) const;
    // All below the group, without its name and the "/" behind it.
    QVariantMap group(const QString& name) const;

    // Texts, numbers and flags, all in one step: whoever reads the file sees all of them or none. The file is
    // written anew for a change, so what stands in it already is no change.
    void set(const QVariantMap& values);
    void set(const QString& key, const QVariant& value);
    void remove(const QString& key);

    // Waits until all changes are written.
    void finish();

private:
    SettingsStore();
    ~SettingsStore();

    void startWriting();
    void writeUntilStopped(); // in a thread of its own
    void stop();

    mutable std::mutex mutex;
    std::condition_variable changed;
    std::condition_variable written;
    bool writing = false;  // QSettings would keep those waiting who ask it
    bool stopping = false; // when all is written
    QVariantMap known;     // while writing: what is stored, with all changes
    QVariantMap unwritten; // an invalid value stands for one that goes
    std::thread writer;    // from the first change on
};

} // namespace qorn::timetagger::gui
