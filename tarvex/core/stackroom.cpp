#include "tarvex/core/stackroom.h"

#include <pthread.h>

#include <cstdint>
#include <limits>

namespace tarvex {

namespace {

// Low end of this thread's stack, or 0 when it cannot be told.
std::uintptr_t QueryStackLow() {
    pthread_attr_t attr;
    if (pthread_getattr_np(pthread_self(), &attr) != 0) return 0;
    void* base = nullptr;
    std::size_t size = 0;
    std::uintptr_t low = 0;
    if (pthread_attr_getstack(&attr, &base, &size) == 0)
        low = reinterpret_cast<std::uintptr_t>(base);
    pthread_attr_destroy(&attr);
    return low;
}

} // namespace

std::size_t StackRoom() {
    static thread_local const std::uintptr_t low = QueryStackLow();
    // The frame address, not a local's: under AddressSanitizer locals may
    // live on a fake stack in the heap.
    auto here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
    if (low == 0 || here <= low) return low == 0 ? std::numeric_limits<std::size_t>::max() : 0;
    return here - low;
}

} // namespace tarvex
