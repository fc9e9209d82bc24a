// ISequentialStream: the forward-only byte stream of the COM model, as the
// database layer uses it to move blobs in and out of a statement.
#pragma once

#include "tarvex/platform/unknown.h"

inline constexpr IID IID_ISequentialStream = {
    0x0c733a30, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};

class ISequentialStream : public IUnknown {
public:
    // Reads up to `size` bytes. S_OK while data may follow, S_FALSE at the
    // end; `read` (may be null) receives the count actually read.
    virtual HRESULT Read(void* data, ULONG size, ULONG* read) = 0;
    // Writes `size` bytes; `written` (may be null) receives the count.
    virtual HRESULT Write(const void* data, ULONG size, ULONG* written) = 0;

protected:
    ~ISequentialStream() = default;
};
