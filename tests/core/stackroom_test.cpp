#include <gtest/gtest.h>
#include <pthread.h>

#include "tarvex/core/stackroom.h"

namespace {

// Recurses until the check says stop; answers how deep it went. The frame is
// used after the call, so the compiler cannot turn the recursion into a loop.
int DescendWhileThereIsRoom(int depth) {
    volatile char frame[512];
    frame[0] = 0;
    if (!tarvex::HasStackRoom()) return depth;
    const int reached = DescendWhileThereIsRoom(depth + 1);
    return reached + frame[0];
}

void* RunOnThread(void* result) {
    *static_cast<int*>(result) = DescendWhileThereIsRoom(0);
    return nullptr;
}

} // namespace

TEST(StackRoom, StopsRecursionOnASmallThreadStack) {
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setstacksize(&attr, 2 * 1024 * 1024);
    int depth = -1;
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attr, RunOnThread, &depth), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attr);
    // It went deep, stopped before the end, and did not crash getting there.
    EXPECT_GT(depth, 100);
    EXPECT_LT(depth, 2 * 1024 * 1024 / 512);
}

TEST(StackRoom, ShrinksAsTheStackGrows) {
    const std::size_t outer = tarvex::StackRoom();
    std::size_t inner = 0;
    [&] {
        volatile char frame[4096];
        frame[0] = 1;
        inner = tarvex::StackRoom() + frame[0] * 0;
    }();
    EXPECT_LT(inner, outer);
    EXPECT_GT(outer, tarvex::kStackReserve);
}
