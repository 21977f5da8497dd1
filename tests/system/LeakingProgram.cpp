// Loses memory in main, or with an argument in a thread of the pool, for the test that the sanitizer tells of
// it.
#include <QCoreApplication>
#include <QThreadPool>

#include <cstdlib>

namespace {

void lose() {
    constexpr int kPieces = 10; // a register or the stack may still know the last one
    for (int i = 0; i < kPieces; ++i) {
        *static_cast<volatile char*>(std::malloc(1)) = 0;
    }
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    if (argc > 1) {
        QThreadPool::globalInstance()->start(lose);
    } else {
        lose();
    }
    return 0;
}
