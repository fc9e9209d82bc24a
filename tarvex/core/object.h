// CTarvexObject: the root of the library's domain classes.
//
// It gives every class one virtual destructor, so an owning array can delete
// any element through it, and one set of allocation operators, so objects are
// created and destroyed by the same heap whichever module asks.
#pragma once

#include <cstddef>

class CTarvexObject {
public:
    CTarvexObject() = default;
    CTarvexObject(const CTarvexObject&) = default;
    CTarvexObject& operator=(const CTarvexObject&) = default;
    virtual ~CTarvexObject() = default;

    static void* operator new(std::size_t size) { return ::operator new(size); }
    static void* operator new(std::size_t, void* where) noexcept { return where; }
    static void operator delete(void* p) noexcept { ::operator delete(p); }
    static void* operator new[](std::size_t size) { return ::operator new[](size); }
    static void operator delete[](void* p) noexcept { ::operator delete[](p); }
};
