// Qt's libraries are not built for the thread sanitizer, which therefore does not see how they order threads:
// a task handed to the pool, a call queued to another thread, the end of a future. These definitions stand
// before the library's own in this program, tell the sanitizer of the order and pass on. Other builds are
// left alone.
#if defined(__SANITIZE_THREAD__)

#include <QCoreApplication>
#include <QFutureInterface>
#include <QObject>
#include <QRunnable>
#include <QThreadPool>

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

// What the library does by itself to its own memory, ordered by means that the sanitizer does not know.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions() {
    return "called_from_lib:libQt6Core.so\nrace:QWaitCondition::~QWaitCondition\n";
}

namespace {

// All that is told to the GUI thread and to those who wait for a future.
char everythingTold;

template <typename Function>
Function original(const char* symbol) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, symbol));
}

// A task that first learns of what the thread did that started it.
class HandedOver final : public QRunnable {
public:
    explicit HandedOver(QRunnable* runnable) : task(runnable) {}

    __attribute__((no_sanitize_thread)) void run() override {
        __tsan_acquire(this);
        const bool ours = task->autoDelete();
        task->run();
        if (ours) {
            delete task;
        }
    }

private:
    QRunnable* task;
};

class EventOrder final : public QObject {
public:
    bool eventFilter(QObject*, QEvent*) override {
        __tsan_acquire(&everythingTold);
        return false;
    }
};

class EventOrderEnvironment final : public testing::Environment {
    void SetUp() override { QCoreApplication::instance()->installEventFilter(&order); }
    void TearDown() override { QCoreApplication::instance()->removeEventFilter(&order); }
    EventOrder order;
};

testing::Environment* const kEnvironment = testing::AddGlobalTestEnvironment(new EventOrderEnvironment);

} // namespace

void QThreadPool::start(QRunnable* runnable, int priority) {
    static const auto next =
        original<void (*)(QThreadPool*, QRunnable*, int)>("_ZN11QThreadPool5startEP9QRunnablei");
    auto* const task = new HandedOver(runnable);
    __tsan_release(task);
    next(this, task, priority);
}

bool QMetaObject::invokeMethodImpl(QObject* object, QtPrivate::QSlotObjectBase* slot, Qt::ConnectionType type,
                                   void* result) {
    static const auto next = original<bool (*)(QObject*, QtPrivate::QSlotObjectBase*, Qt::ConnectionType,
                                               void*)>(
        "_ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseEN2Qt14ConnectionTypeEPv");
    // The last of caller and receiver deletes it, by a count inside the library. Kept for ever instead: its
    // end is the library's affair, and what a call does is seen without it.
    slot->ref();
    __tsan_release(&everythingTold);
    return next(object, slot, type, result);
}

void QFutureInterfaceBase::reportFinished() {
    static const auto next =
        original<void (*)(QFutureInterfaceBase*)>("_ZN20QFutureInterfaceBase14reportFinishedEv");
    __tsan_release(&everythingTold);
    next(this);
}

void QFutureInterfaceBase::waitForFinished() {
    static const auto next =
        original<void (*)(QFutureInterfaceBase*)>("_ZN20QFutureInterfaceBase15waitForFinishedEv");
    next(this);
    __tsan_acquire(&everythingTold);
}

#endif
