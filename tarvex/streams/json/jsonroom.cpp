#include "tarvex/streams/json/jsonroom_internal.h"

#include <sys/mman.h>

#include <cstdlib>
#include <mutex>

namespace tarvex::json_internal {

namespace {

constexpr std::size_t kRun = kMappedRoom;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

// Mapped runs of exactly 2 MiB each, given back by arenas and not
// yet to the system: a parse after another then neither faults nor zeroes
// that much of its block memory. At most 64 MiB stay (no more than the heap
// itself may keep at its top), and the system may take them back whenever it
// runs short.
class CKeptPages {
public:
    void* Take() {
        std::lock_guard<std::mutex> lock(mutex);
        return count == 0 ? nullptr : pages[--count];
    }
    bool Keep(void* page) {
        {
            std::lock_guard<std::mutex> lock(mutex);
            if (count == kKeptPages) return false;
            pages[count++] = page;
        }
#if defined(MADV_FREE)
        // The system may take the page back when it runs short; until then
        // the next parse writes over it with no fault and no zeroing.
        ::madvise(page, kMappedRoom, MADV_FREE);
#endif
        return true;
    }

private:
    static constexpr std::size_t kKeptPages = 32;
    std::mutex mutex;
    void* pages[kKeptPages] = {};
    std::size_t count = 0;
};

CKeptPages& KeptPages() {
    // Never destroyed: an arena may give its pages back during exit.
    static CKeptPages* kept = new CKeptPages;
    return *kept;
}

bool IsMapped(std::size_t bytes, std::size_t mappedFrom) {
    return !kSanitized && bytes >= mappedFrom && bytes >= kMappedRoom;
}

std::size_t WholePages(std::size_t bytes) {
    return (bytes + kRun - 1) & ~(kRun - 1);
}

} // namespace

void* AllocateRoom(std::size_t bytes, bool zeroed, std::size_t mappedFrom) {
    if (!IsMapped(bytes, mappedFrom)) return zeroed ? std::calloc(bytes, 1) : std::malloc(bytes);
    if (!zeroed && bytes == kRun) {
        if (void* kept = KeptPages().Take()) return kept;
    }
    const std::size_t length = WholePages(bytes);
    if (length < bytes) return nullptr;
    // No huge-page advice: the kernel then compacts memory on the first
    // touch, which stalled a parse for a second on a fragmented machine.
    void* room =
        ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return room == MAP_FAILED ? nullptr : room;
}

void FreeRoom(void* room, std::size_t bytes, std::size_t mappedFrom) noexcept {
    if (room == nullptr) return;
    if (IsMapped(bytes, mappedFrom)) {
        if (bytes == kRun && KeptPages().Keep(room)) return;
        ::munmap(room, WholePages(bytes));
    } else
        std::free(room);
}

} // namespace tarvex::json_internal
