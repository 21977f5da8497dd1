// For the tests of the leak check at a program's end: loses memory in "main" or in a "thread" of the pool, or
// none with a "late-thread" of the pool that ends when Qt's library has. Like the application it loads the
// driver, which is why the libraries end ahead of the sanitizer.
#include <QCoreApplication>
#include <QThreadPool>

#include <cstdlib>
#include <string_view>

#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

namespace {

void lose() {
    constexpr int kPieces = 10; // a register or the stack may still know the last one
    for (int i = 0; i < kPieces; ++i) {
        *static_cast<volatile char*>(std::malloc(1)) = 0;
    }
}

int keysInUse() {
    constexpr pthread_key_t kKeys = 32;
    int count = 0;
    for (pthread_key_t key = 0; key < kKeys; ++key) {
        count += pthread_getspecific(key) != nullptr ? 1 : 0;
    }
    return count;
}

// Qt's library deletes its key at its end.
struct LateEnd {
    ~LateEnd() {
        const int before = keysInUse();
        while (keysInUse() == before) {
            usleep(10);
        }
    }
};

void endLate() {
    thread_local const LateEnd late;
    static_cast<void>(&late);
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    const std::string_view what = argc > 1 ? argv[1] : "";
    if (::dlopen(QORN_SIMULATOR, RTLD_NOW) == nullptr) {
        return EXIT_FAILURE;
    }
    if (what == "main") {
        lose();
    } else if (what == "thread") {
        QThreadPool::globalInstance()->start(lose);
    } else if (what == "late-thread") {
        QThreadPool::globalInstance()->start(endLate);
    } else {
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
