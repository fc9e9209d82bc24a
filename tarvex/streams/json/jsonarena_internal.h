// Node memory for one parsed tree: nodes are carved from large blocks and
// the blocks go back together when the last node of the tree is released.
//
// A parse makes one node per value, so a heap call per node dominated the
// read. The arena counts its live allocations (and the parse's own hold),
// so nodes stay valid however long a caller keeps them, on any thread, and
// the allocator copies in every control block are plain pointers. The parse
// takes holds in batches, and a process with one thread counts without
// atomic steps, as shared_ptr itself does.
#pragma once
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#endif

namespace tarvex::json_internal {

class CJsonArena {
public:
    // Created with one hold, for the parse; call Done when the parse ends.
    static CJsonArena* Create() { return new CJsonArena; }
    CJsonArena(const CJsonArena&) = delete;
    CJsonArena& operator=(const CJsonArena&) = delete;

    // Not thread-safe: only the parse allocates. Each allocation is a hold.
    // `alignment` is a power of two.
    void* Allocate(std::size_t bytes, std::size_t alignment) {
        const auto address = reinterpret_cast<std::uintptr_t>(next);
        const std::uintptr_t start = (address + alignment - 1) & ~(alignment - 1);
        const auto limit = reinterpret_cast<std::uintptr_t>(end);
        if (next == nullptr || start > limit || limit - start < bytes)
            return AllocateInNewBlock(bytes, alignment);
        TakeHold();
        next = reinterpret_cast<std::byte*>(start + bytes);
        return reinterpret_cast<void*>(start);
    }
    // Drops one hold; the last one frees the arena. Any thread.
    void Release() noexcept { Release(1); }
    // Drops the parse's hold and the holds it took ahead and did not use.
    void Done() noexcept { Release(1 + spareHolds); }

private:
    struct Block {
        std::byte* room;
        std::size_t bytes;
    };

    CJsonArena() = default;
    ~CJsonArena();

    void* AllocateInNewBlock(std::size_t bytes, std::size_t alignment);
    void TakeHold() {
        if (spareHolds == 0) TakeHolds();
        --spareHolds;
    }
    void TakeHolds();

    void Release(std::size_t count) noexcept {
        std::size_t left;
#if __has_include(<sys/single_threaded.h>)
        if (__libc_single_threaded) {
            left = holds.load(std::memory_order_relaxed) - count;
            holds.store(left, std::memory_order_relaxed);
        } else
#endif
        {
            left = holds.fetch_sub(count, std::memory_order_acq_rel) - count;
        }
        if (left == 0) delete this;
    }

    std::atomic<std::size_t> holds{1};
    // Holds already counted in `holds` for allocations still to come.
    std::size_t spareHolds = 0;
    std::vector<Block> blocks;
    std::byte* next = nullptr;
    std::byte* end = nullptr;
    std::size_t blockSize = 1024; // grows, so a small text keeps a small arena
    std::size_t total = 0;
};

template <class T>
class CJsonArenaAllocator {
public:
    using value_type = T;

    explicit CJsonArenaAllocator(CJsonArena* arena) noexcept : arena(arena) {}
    template <class U>
    CJsonArenaAllocator(const CJsonArenaAllocator<U>& other) noexcept : arena(other.arena) {}

    T* allocate(std::size_t count) {
        return static_cast<T*>(arena->Allocate(count * sizeof(T), alignof(T)));
    }
    void deallocate(T*, std::size_t) noexcept { arena->Release(); }

    template <class U>
    bool operator==(const CJsonArenaAllocator<U>& other) const noexcept {
        return arena == other.arena;
    }

private:
    template <class U>
    friend class CJsonArenaAllocator;
    CJsonArena* arena;
};

} // namespace tarvex::json_internal
