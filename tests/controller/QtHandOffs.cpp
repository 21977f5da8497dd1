// Qt's libraries are not built for the thread sanitizer, which therefore does not see how they order threads:
// a task handed to the pool, a call queued to another thread, the end of a future. These definitions stand
// before the library's own in this program, tell the sanitizer of the order and pass on. Each hand-off has an
// address of its own, so that one does not seem to order what only another one orders. Other builds are left
// alone.
#if defined(__SANITIZE_THREAD__)

#include <QFutureInterface>
#include <QObject>
#include <QRunnable>
#include <QThreadPool>

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

// What the library does by itself to its own memory, ordered by means that the sanitizer does not know. And
// what the C library frees of an ended thread when another one gets its stack: the threads of the pool are
// detached, so that only the kernel tells that they have ended, which the sanitizer does not see.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions() {
    return "called_from_lib:libQt6Core.so\nrace:_dl_deallocate_tls\n";
}

namespace {

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

// A call queued to another thread, which first learns of what the caller did. The last of caller and receiver
// deletes a call, by a count inside the library; kept for ever instead: the end is the library's affair, and
// an address that is never used again orders nothing else.
class QueuedCall final : public QtPrivate::QSlotObjectBase {
public:
    explicit QueuedCall(QtPrivate::QSlotObjectBase* slot) : QSlotObjectBase(&act), called(slot) {
        ref();
        called->ref();
    }

private:
    static void act(int which, QSlotObjectBase* self, QObject* receiver, void** arguments, bool* result) {
        auto* const call = static_cast<QueuedCall*>(self);
        if (which == Call) {
            __tsan_acquire(call);
            call->called->call(receiver, arguments);
        } else if (which == Compare) {
            *result = call->called->compare(arguments);
        }
    }

    QtPrivate::QSlotObjectBase* called;
};

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
    auto* const call = new QueuedCall(slot);
    __tsan_release(call);
    return next(object, call, type, result);
}

// All who share a future have its mutex.
void QFutureInterfaceBase::reportFinished() {
    static const auto next =
        original<void (*)(QFutureInterfaceBase*)>("_ZN20QFutureInterfaceBase14reportFinishedEv");
    __tsan_release(&mutex());
    next(this);
}

void QFutureInterfaceBase::waitForFinished() {
    static const auto next =
        original<void (*)(QFutureInterfaceBase*)>("_ZN20QFutureInterfaceBase15waitForFinishedEv");
    next(this);
    __tsan_acquire(&mutex());
}

#endif
