// TXDataIUnknownImplBase: the reference count shared by every wrapper.
//
// A wrapper derives first from its interface, so that the interface pointer a
// plug-in holds is the object's own address, and second from this base. Both
// are IUnknowns; the wrapper's final overriders forward to the base.
#pragma once

#include <atomic>
#include <cstdint>

#include "tarvex/platform/unknown.h"
#include "tarvex/plugin/txdatainterfaces.h"

namespace TarvexData {

class TXDataIUnknownImplBase : public IUnknown {
public:
    TXDataIUnknownImplBase(const TXDataIUnknownImplBase&) = delete;
    TXDataIUnknownImplBase& operator=(const TXDataIUnknownImplBase&) = delete;

    // No other interface is offered: stores null and answers E_NOTIMPL.
    HRESULT QueryInterface(REFIID riid, void** object) override;
    // Atomic, so that references may be dropped on any thread.
    ULONG AddRef() override;
    // Deletes the object through the virtual destructor at zero.
    ULONG Release() override;

    virtual ~TXDataIUnknownImplBase() = default;

protected:
    // A new object has no reference: whoever hands it out adds the first.
    TXDataIUnknownImplBase() = default;

private:
    std::atomic<std::uint32_t> m_nRefCount{0};
};

// The three IUnknown slots of a wrapper, forwarded to the shared base.
#define TX_FORWARD_IUNKNOWN_TO_BASE                                                                \
    HRESULT QueryInterface(REFIID riid, void** object) final {                                     \
        return TXDataIUnknownImplBase::QueryInterface(riid, object);                               \
    }                                                                                              \
    ULONG AddRef() final {                                                                         \
        return TXDataIUnknownImplBase::AddRef();                                                   \
    }                                                                                              \
    ULONG Release() final {                                                                        \
        return TXDataIUnknownImplBase::Release();                                                  \
    }

} // namespace TarvexData
