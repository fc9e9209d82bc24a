#include "tarvex/streams/json/jsonroom_internal.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
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

// Mapped room given back by arenas and readers and not yet to the system:
// 2 MiB runs, and the one larger mapping freed last (a large text's copy).
// A parse after another then neither faults nor zeroes that memory again,
// which costs more than the parse itself. Kept room beyond the first 16 MiB
// of runs is marked free to the system, which takes it back whenever it
// runs short; until then the next parse writes over it with no fault. The whole is capped at a
// sixteenth of physical memory, at most 1 GiB and at least 64 MiB: about the tree of a 250 MB
// document, and no more than a caching allocator would hold.
class CKeptRoom {
public:
    void* TakeRun() {
        std::lock_guard<std::mutex> lock(mutex);
        if (runCount == 0) return nullptr;
        kept -= kRun;
        return runs[--runCount];
    }
    bool KeepRun(void* run) {
        bool held = false;
        {
            std::lock_guard<std::mutex> lock(mutex);
            if (runCount == kMaxRuns || kept + kRun > cap) return false;
            runs[runCount++] = run;
            kept += kRun;
            held = runCount <= kHeldRuns;
        }
        if (!held) MarkFree(run, kRun);
        return true;
    }
    // The kept large mapping when it holds `bytes`, with its own length.
    void* TakeLarge(std::size_t bytes, std::size_t& length) {
        std::lock_guard<std::mutex> lock(mutex);
        if (large == nullptr || largeBytes < bytes) return nullptr;
        void* room = large;
        length = largeBytes;
        kept -= largeBytes;
        large = nullptr;
        largeBytes = 0;
        return room;
    }
    // Keeps the latest large mapping in place of the one before, which is
    // given back to the system.
    bool KeepLarge(void* room, std::size_t length) {
        void* dropped = nullptr;
        std::size_t droppedBytes = 0;
        {
            std::lock_guard<std::mutex> lock(mutex);
            if (kept - largeBytes + length > cap) return false;
            dropped = large;
            droppedBytes = largeBytes;
            kept = kept - largeBytes + length;
            large = room;
            largeBytes = length;
        }
        if (dropped != nullptr) ::munmap(dropped, droppedBytes);
        MarkFree(room, length);
        return true;
    }

private:
    static constexpr std::size_t kMaxRuns = 512;
    // The first runs kept are held as they are, as the heap holds its own
    // free memory: marking them free costs a walk of their pages on every
    // parse of a few megabytes, and they are the first to be taken again.
    static constexpr std::size_t kHeldRuns = 8;

    static void MarkFree(void* room, std::size_t length) {
#if defined(MADV_FREE)
        ::madvise(room, length, MADV_FREE);
#else
        (void)room;
        (void)length;
#endif
    }
    static std::size_t Cap() {
        const long pages = ::sysconf(_SC_PHYS_PAGES);
        const long pageSize = ::sysconf(_SC_PAGESIZE);
        const std::size_t least = std::size_t(64) << 20;
        if (pages <= 0 || pageSize <= 0) return least;
        const std::size_t sixteenth = std::size_t(pages) / 16 * std::size_t(pageSize);
        return std::clamp(sixteenth, least, std::size_t(1) << 30);
    }

    std::mutex mutex;
    void* runs[kMaxRuns] = {};
    std::size_t runCount = 0;
    void* large = nullptr;
    std::size_t largeBytes = 0;
    std::size_t kept = 0;
    const std::size_t cap = Cap();
};

CKeptRoom& KeptRoom() {
    // Never destroyed: an arena may give its room back during exit.
    static CKeptRoom* kept = new CKeptRoom;
    return *kept;
}

bool IsMapped(std::size_t bytes, std::size_t mappedFrom) {
    return !kSanitized && bytes >= mappedFrom && bytes >= kMappedRoom;
}

std::size_t WholeRuns(std::size_t bytes) {
    return (bytes + kRun - 1) & ~(kRun - 1);
}

} // namespace

void* AllocateRoom(std::size_t bytes, bool zeroed, std::size_t mappedFrom) {
    if (!IsMapped(bytes, mappedFrom)) return zeroed ? std::calloc(bytes, 1) : std::malloc(bytes);
    const std::size_t length = WholeRuns(bytes);
    if (length < bytes) return nullptr;
    if (!zeroed) {
        // Kept room holds what was written before: only for callers that
        // write before they read.
        std::size_t keptLength = 0;
        void* kept =
            length == kRun ? KeptRoom().TakeRun() : KeptRoom().TakeLarge(length, keptLength);
        if (kept != nullptr) {
            // A larger mapping is shrunk to the asked length, so the caller's
            // byte count still names it.
            if (keptLength > length)
                ::munmap(static_cast<char*>(kept) + length, keptLength - length);
            return kept;
        }
    }
    // No huge-page advice: the kernel then compacts memory on the first
    // touch, which stalled a parse for a second on a fragmented machine.
    void* room =
        ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return room == MAP_FAILED ? nullptr : room;
}

void FreeRoom(void* room, std::size_t bytes, std::size_t mappedFrom) noexcept {
    if (room == nullptr) return;
    if (!IsMapped(bytes, mappedFrom)) {
        std::free(room);
        return;
    }
    const std::size_t length = WholeRuns(bytes);
    const bool kept =
        length == kRun ? KeptRoom().KeepRun(room) : KeptRoom().KeepLarge(room, length);
    if (!kept) ::munmap(room, length);
}

} // namespace tarvex::json_internal
