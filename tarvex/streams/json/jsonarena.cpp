#include "tarvex/streams/json/jsonarena_internal.h"

#include <cstdint>
#include <new>

#include "tarvex/streams/json/jsonroom_internal.h"

namespace tarvex::json_internal {

namespace {
// Blocks double up to this size, which the heap gives back for reuse by the
// next parse.
constexpr std::size_t kLargestHeapBlock = 256 * 1024;
// Past this much in all, blocks are mapped 2 MiB runs, kept for the next
// parse: a large document does not make the heap grow and shrink by its
// size on every parse.
constexpr std::size_t kMappedFrom = std::size_t(1) << 20;
constexpr std::size_t kMappedBlock = kMappedRoom;
// Holds taken at once: one atomic step per this many nodes.
constexpr std::size_t kHoldBatch = 1024;
} // namespace

CJsonArena::~CJsonArena() {
    for (const Block& block : blocks) FreeRoom(block.room, block.bytes);
}

void CJsonArena::TakeHolds() {
    holds.fetch_add(kHoldBatch, std::memory_order_relaxed);
    spareHolds = kHoldBatch;
}

void* CJsonArena::AllocateInNewBlock(std::size_t bytes, std::size_t alignment) {
    // A block of its own for anything larger than a block, aligned by
    // malloc or mmap for any node type.
    std::size_t size = bytes + alignment > blockSize ? bytes + alignment : blockSize;
    blocks.reserve(blocks.size() + 1);
    auto* room = static_cast<std::byte*>(AllocateRoom(size, false));
    if (room == nullptr) throw std::bad_alloc();
    blocks.push_back({room, size});
    total += size;
    if (total >= kMappedFrom)
        blockSize = kMappedBlock;
    else if (blockSize < kLargestHeapBlock)
        blockSize *= 2;
    next = room;
    end = room + size;
    return Allocate(bytes, alignment);
}

} // namespace tarvex::json_internal
