#include "tarvex/plugin/iunknownimpl.h"

namespace TarvexData {

HRESULT TXDataIUnknownImplBase::QueryInterface(REFIID, void** object) {
    if (object != nullptr) *object = nullptr;
    return E_NOTIMPL;
}

ULONG TXDataIUnknownImplBase::AddRef() {
    return m_nRefCount.fetch_add(1, std::memory_order_relaxed) + 1;
}

ULONG TXDataIUnknownImplBase::Release() {
    // Release order: every write made through this object happens before the
    // delete on whichever thread drops the last reference.
    const std::uint32_t left = m_nRefCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
}

} // namespace TarvexData
