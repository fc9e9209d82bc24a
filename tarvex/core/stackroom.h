// How much of the current thread's stack is left. Readers of documents and
// the formula compiler recurse over untrusted input; they ask before going
// deeper, so that a hostile nesting ends in an error rather than a crash.
#pragma once

#include <cstddef>

namespace tarvex {

// Room every recursive walk keeps for itself and what it calls below the
// check (formatting an error, a log line, an allocation).
#if defined(__SANITIZE_ADDRESS__)
inline constexpr std::size_t kStackReserve = 256 * 1024;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
inline constexpr std::size_t kStackReserve = 256 * 1024;
#else
inline constexpr std::size_t kStackReserve = 64 * 1024;
#endif
#else
inline constexpr std::size_t kStackReserve = 64 * 1024;
#endif

// Bytes between the caller's frame and the low end of the thread's stack.
// The thread's bounds are queried once per thread and cached: the query costs
// tens of microseconds. Answers a very large number when the bounds are
// unknown.
std::size_t StackRoom();

// True while more than `reserve` bytes of stack remain.
inline bool HasStackRoom(std::size_t reserve = kStackReserve) {
    return StackRoom() > reserve;
}

} // namespace tarvex
