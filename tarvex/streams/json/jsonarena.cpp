#include "tarvex/streams/json/jsonarena_internal.h"

#include <cstdint>

namespace tarvex::json_internal {

namespace {
constexpr std::size_t kLargestBlock = 256 * 1024;
// Holds taken at once: one atomic step per this many nodes.
constexpr std::size_t kHoldBatch = 1024;
} // namespace

void* CJsonArena::Allocate(std::size_t bytes, std::size_t alignment) {
    auto address = reinterpret_cast<std::uintptr_t>(next);
    std::size_t pad = (alignment - address % alignment) % alignment;
    if (next == nullptr || static_cast<std::size_t>(end - next) < pad + bytes) {
        // A block of its own for anything larger than a block, aligned by
        // new[] for any node type.
        std::size_t size = bytes + alignment > blockSize ? bytes + alignment : blockSize;
        blocks.push_back(std::make_unique_for_overwrite<std::byte[]>(size));
        if (blockSize < kLargestBlock) blockSize *= 2;
        next = blocks.back().get();
        end = next + size;
        address = reinterpret_cast<std::uintptr_t>(next);
        pad = (alignment - address % alignment) % alignment;
    }
    if (spareHolds == 0) {
        holds.fetch_add(kHoldBatch, std::memory_order_relaxed);
        spareHolds = kHoldBatch;
    }
    --spareHolds;
    std::byte* result = next + pad;
    next = result + bytes;
    return result;
}

} // namespace tarvex::json_internal
