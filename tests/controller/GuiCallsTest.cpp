#include "GuiCalls.h"

#include "ControllerTest.h"

#include <QEventLoop>
#include <QObject>
#include <QTimer>

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <numeric>
#include <thread>
#include <vector>

namespace qorn::timetagger::gui {
namespace {

using namespace std::chrono_literals;

std::vector<int> numbersTo(int end) {
    std::vector<int> numbers(static_cast<std::size_t>(end));
    std::iota(numbers.begin(), numbers.end(), 0);
    return numbers;
}

class CallingTheGui : public ::testing::Test {
protected:
    QObject owner;
    GuiCalls calls{owner};
    std::vector<int> done;
};

TEST_F(CallingTheGui, CallsOfAnyThreadAreCarriedOutInOrderOnTheOwnersThread) {
    constexpr int kCalls = 10'000;
    const auto here = std::this_thread::get_id();
    std::thread other([&] {
        for (int call = 0; call < kCalls; ++call) {
            calls.post([this, call, here] {
                EXPECT_EQ(std::this_thread::get_id(), here);
                done.push_back(call);
            });
        }
    });
    EXPECT_TRUE(test::runUntil([&] { return done.size() == kCalls; }));
    other.join();
    EXPECT_EQ(done, numbersTo(kCalls));
}

TEST_F(CallingTheGui, OtherEventsComeBetweenManyCalls) {
    std::vector<std::size_t> turns; // how much was done by then
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, &owner, [&] { turns.push_back(done.size()); });
    timer.start(1ms);
    constexpr int kCalls = 60; // of 5 ms each, four to a slice
    for (int call = 0; call < kCalls; ++call) {
        calls.post([this, call] {
            std::this_thread::sleep_for(5ms);
            done.push_back(call);
        });
    }
    bool urgent = false;
    QMetaObject::invokeMethod(
        &owner,
        [&] {
            urgent = true;
            EXPECT_LT(done.size(), 20U) << "waits for a slice at most";
        },
        Qt::QueuedConnection);
    ASSERT_TRUE(test::runUntil([&] { return done.size() == kCalls; }));
    EXPECT_TRUE(urgent);
    EXPECT_GE(turns.size(), 5U);
    EXPECT_EQ(done, numbersTo(kCalls));
}

TEST_F(CallingTheGui, ACallThatRunsAnEventLoopHoldsUpNone) {
    calls.post([this] {
        done.push_back(0);
        QEventLoop loop;
        calls.post([this, &loop] {
            done.push_back(2);
            loop.quit();
        });
        loop.exec();
        done.push_back(3);
    });
    calls.post([this] { done.push_back(1); });
    ASSERT_TRUE(test::runUntil([&] { return done.size() == 4; }));
    EXPECT_EQ(done, numbersTo(4));
}

TEST(CallsToTheGui, ACallMayDestroyTheOwner) {
    struct Owner : QObject {
        GuiCalls calls{*this};
    };
    auto owner = std::make_unique<Owner>();
    bool later = false;
    owner->calls.post([&] { owner.reset(); });
    owner->calls.post([&] { later = true; });
    ASSERT_TRUE(test::runUntil([&] { return owner == nullptr; }));
    test::processQueued();
    EXPECT_FALSE(later);
}

} // namespace
} // namespace qorn::timetagger::gui
