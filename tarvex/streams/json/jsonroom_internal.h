// Memory for the large buffers of the JSON reader: its copy of the text and
// the arena's blocks.
//
// A large document needs hundreds of megabytes of fresh memory per parse,
// and taking it from the system in 4 KiB pages costs more than the parse
// itself. Large room therefore comes straight from mmap, in whole 2 MiB
// runs, and what is given back is kept for the next parse (runs, and the
// last larger mapping), up to a share of physical memory; beyond the first
// few runs it is marked free to the system meanwhile. Small room, and all room under a sanitizer
// (which must see every overrun), comes from the heap.
#pragma once
#include <cstddef>

namespace tarvex::json_internal {

// Bytes from which room is mapped.
inline constexpr std::size_t kMappedRoom = std::size_t(2) << 20;

// `bytes` of room, mapped from `mappedFrom` bytes on, zeroed when `zeroed`
// is set; null when the system refuses.
void* AllocateRoom(std::size_t bytes, bool zeroed, std::size_t mappedFrom = kMappedRoom);
// Gives back room from AllocateRoom, with the same byte count and
// `mappedFrom`; null is ignored.
void FreeRoom(void* room, std::size_t bytes, std::size_t mappedFrom = kMappedRoom) noexcept;

} // namespace tarvex::json_internal
