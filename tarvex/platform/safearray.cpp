#include "tarvex/platform/safearray.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

// The descriptor is preceded by 16 bytes, as in OLE, whose last four hold the
// element type for SafeArrayGetVartype.
constexpr size_t kPrefix = 16;

size_t DescriptorSize(UINT cDims) noexcept {
    return kPrefix + sizeof(SAFEARRAY) + (cDims - 1) * sizeof(SAFEARRAYBOUND);
}

char* BlockOf(SAFEARRAY* psa) noexcept {
    return reinterpret_cast<char*>(psa) - kPrefix;
}

void StoreVartype(SAFEARRAY* psa, VARTYPE vt) noexcept {
    DWORD value = vt;
    std::memcpy(BlockOf(psa) + kPrefix - sizeof value, &value, sizeof value);
}

VARTYPE LoadVartype(SAFEARRAY* psa) noexcept {
    DWORD value;
    std::memcpy(&value, BlockOf(psa) + kPrefix - sizeof value, sizeof value);
    return VARTYPE(value);
}

// Element size for a supported type, 0 otherwise.
ULONG ElementSize(VARTYPE vt) noexcept {
    switch (vt) {
    case VT_HRESULT:
        return 0; // a variant may hold one, an array may not
    case VT_BSTR:
    case VT_DISPATCH:
    case VT_UNKNOWN:
        return sizeof(void*);
    case VT_VARIANT:
        return sizeof(VARIANT);
    case VT_DECIMAL:
        return 16;
    default:
        return ULONG(tarvex::VariantScalarSize(vt));
    }
}

USHORT FeaturesOf(VARTYPE vt) noexcept {
    switch (vt) {
    case VT_BSTR:
        return FADF_HAVEVARTYPE | FADF_BSTR;
    case VT_DISPATCH:
        return FADF_HAVEVARTYPE | FADF_DISPATCH;
    case VT_UNKNOWN:
        return FADF_HAVEVARTYPE | FADF_UNKNOWN;
    case VT_VARIANT:
        return FADF_HAVEVARTYPE | FADF_VARIANT;
    default:
        return FADF_HAVEVARTYPE;
    }
}

// Element count, or false when the product overflows what can be allocated.
bool CountElements(const SAFEARRAY* psa, size_t& count) noexcept {
    count = 1;
    for (USHORT i = 0; i < psa->cDims; ++i) {
        size_t n = psa->rgsabound[i].cElements;
        if (n != 0 && count > std::numeric_limits<size_t>::max() / n) return false;
        count *= n;
    }
    return psa->cbElements == 0 || count <= std::numeric_limits<size_t>::max() / psa->cbElements;
}

size_t ElementCount(const SAFEARRAY* psa) noexcept {
    size_t count;
    CountElements(psa, count);
    return count;
}

// Zeroed storage; at least one byte so that empty arrays still have data.
void* AllocateData(size_t bytes) noexcept {
    return std::calloc(bytes == 0 ? 1 : bytes, 1);
}

void ClearElements(SAFEARRAY* psa, size_t first, size_t count) noexcept {
    char* data = static_cast<char*>(psa->pvData);
    if (data == nullptr) return;
    for (size_t i = first; i < first + count; ++i) {
        void* element = data + i * psa->cbElements;
        if (psa->fFeatures & FADF_BSTR) {
            SysFreeString(*static_cast<BSTR*>(element));
        } else if (psa->fFeatures & (FADF_UNKNOWN | FADF_DISPATCH)) {
            if (auto* unknown = *static_cast<IUnknown**>(element)) unknown->Release();
        } else if (psa->fFeatures & FADF_VARIANT) {
            VariantClear(static_cast<VARIANT*>(element));
        }
    }
    std::memset(data + first * psa->cbElements, 0, count * psa->cbElements);
}

// Copies `count` elements into zeroed storage, owning copies of strings,
// references and variants. On failure what was copied stays for the caller
// to clear.
HRESULT CopyElements(const SAFEARRAY* psa, const char* from, char* to, size_t count) noexcept {
    const size_t size = psa->cbElements;
    if (psa->fFeatures & FADF_BSTR) {
        for (size_t i = 0; i < count; ++i) {
            BSTR source = *reinterpret_cast<const BSTR*>(from + i * size);
            if (source == nullptr) continue;
            BSTR copy = SysAllocStringByteLen(reinterpret_cast<const char*>(source),
                                              SysStringByteLen(source));
            if (copy == nullptr) return E_OUTOFMEMORY;
            *reinterpret_cast<BSTR*>(to + i * size) = copy;
        }
    } else if (psa->fFeatures & FADF_VARIANT) {
        for (size_t i = 0; i < count; ++i) {
            HRESULT hr = VariantCopy(reinterpret_cast<VARIANT*>(to + i * size),
                                     reinterpret_cast<const VARIANT*>(from + i * size));
            if (FAILED(hr)) return hr;
        }
    } else {
        std::memcpy(to, from, count * size);
        if (psa->fFeatures & (FADF_UNKNOWN | FADF_DISPATCH))
            for (size_t i = 0; i < count; ++i)
                if (auto* unknown = *reinterpret_cast<IUnknown**>(to + i * size)) unknown->AddRef();
    }
    return S_OK;
}

SAFEARRAY* AllocateDescriptor(VARTYPE vt, UINT cDims) noexcept {
    auto* block = static_cast<char*>(std::calloc(DescriptorSize(cDims), 1));
    if (block == nullptr) return nullptr;
    auto* psa = reinterpret_cast<SAFEARRAY*>(block + kPrefix);
    psa->cDims = USHORT(cDims);
    psa->fFeatures = FeaturesOf(vt);
    psa->cbElements = ElementSize(vt);
    StoreVartype(psa, vt);
    return psa;
}

std::atomic_ref<ULONG> Locks(SAFEARRAY* psa) noexcept {
    return std::atomic_ref<ULONG>(psa->cLocks);
}

} // namespace

SAFEARRAY* SafeArrayCreate(VARTYPE vt, UINT cDims, SAFEARRAYBOUND* bounds) noexcept {
    if (cDims == 0 || cDims > 0xFFFF || bounds == nullptr || ElementSize(vt) == 0) return nullptr;
    SAFEARRAY* psa = AllocateDescriptor(vt, cDims);
    if (psa == nullptr) return nullptr;
    for (UINT i = 0; i < cDims; ++i) psa->rgsabound[cDims - 1 - i] = bounds[i];
    size_t count;
    if (!CountElements(psa, count) ||
        (psa->pvData = AllocateData(count * psa->cbElements)) == nullptr) {
        std::free(BlockOf(psa));
        return nullptr;
    }
    return psa;
}

SAFEARRAY* SafeArrayCreateVector(VARTYPE vt, LONG lowerBound, ULONG count) noexcept {
    SAFEARRAYBOUND bound = {count, lowerBound};
    return SafeArrayCreate(vt, 1, &bound);
}

HRESULT SafeArrayDestroy(SAFEARRAY* psa) noexcept {
    if (psa == nullptr) return S_OK;
    if (Locks(psa).load() != 0) return DISP_E_ARRAYISLOCKED;
    ClearElements(psa, 0, ElementCount(psa));
    std::free(psa->pvData);
    std::free(BlockOf(psa));
    return S_OK;
}

UINT SafeArrayGetDim(SAFEARRAY* psa) noexcept {
    return psa ? psa->cDims : 0;
}

UINT SafeArrayGetElemsize(SAFEARRAY* psa) noexcept {
    return psa ? psa->cbElements : 0;
}

HRESULT SafeArrayGetLBound(SAFEARRAY* psa, UINT dim, LONG* bound) noexcept {
    if (psa == nullptr || bound == nullptr) return E_INVALIDARG;
    if (dim < 1 || dim > psa->cDims) return DISP_E_BADINDEX;
    *bound = psa->rgsabound[psa->cDims - dim].lLbound;
    return S_OK;
}

HRESULT SafeArrayGetUBound(SAFEARRAY* psa, UINT dim, LONG* bound) noexcept {
    if (psa == nullptr || bound == nullptr) return E_INVALIDARG;
    if (dim < 1 || dim > psa->cDims) return DISP_E_BADINDEX;
    const SAFEARRAYBOUND& b = psa->rgsabound[psa->cDims - dim];
    // An empty dimension has its upper bound one below the lower, as in OLE.
    *bound = LONG(std::int64_t(b.lLbound) + std::int64_t(b.cElements) - 1);
    return S_OK;
}

HRESULT SafeArrayGetVartype(SAFEARRAY* psa, VARTYPE* vt) noexcept {
    if (psa == nullptr || vt == nullptr) return E_INVALIDARG;
    *vt = LoadVartype(psa);
    return S_OK;
}

HRESULT SafeArrayPtrOfIndex(SAFEARRAY* psa, LONG* indices, void** element) noexcept {
    if (psa == nullptr || indices == nullptr || element == nullptr) return E_INVALIDARG;
    size_t offset = 0;
    size_t stride = 1;
    for (USHORT i = 0; i < psa->cDims; ++i) {
        const SAFEARRAYBOUND& b = psa->rgsabound[psa->cDims - 1 - i];
        std::int64_t position = std::int64_t(indices[i]) - b.lLbound;
        if (position < 0 || position >= std::int64_t(b.cElements)) return DISP_E_BADINDEX;
        offset += size_t(position) * stride;
        stride *= b.cElements;
    }
    *element = static_cast<char*>(psa->pvData) + offset * psa->cbElements;
    return S_OK;
}

HRESULT SafeArrayPutElement(SAFEARRAY* psa, LONG* indices, void* value) noexcept {
    if (psa == nullptr || indices == nullptr) return E_INVALIDARG;
    void* element;
    HRESULT hr = SafeArrayPtrOfIndex(psa, indices, &element);
    if (FAILED(hr)) return hr;
    if (psa->fFeatures & FADF_BSTR) {
        BSTR source = static_cast<BSTR>(value);
        BSTR copy = nullptr;
        if (source != nullptr &&
            (copy = SysAllocStringByteLen(reinterpret_cast<const char*>(source),
                                          SysStringByteLen(source))) == nullptr)
            return E_OUTOFMEMORY;
        SysFreeString(*static_cast<BSTR*>(element));
        *static_cast<BSTR*>(element) = copy;
        return S_OK;
    }
    if (psa->fFeatures & (FADF_UNKNOWN | FADF_DISPATCH)) {
        auto* fresh = static_cast<IUnknown*>(value);
        if (fresh != nullptr) fresh->AddRef();
        IUnknown* old = *static_cast<IUnknown**>(element);
        *static_cast<IUnknown**>(element) = fresh;
        if (old != nullptr) old->Release();
        return S_OK;
    }
    if (value == nullptr) return E_INVALIDARG;
    if (psa->fFeatures & FADF_VARIANT)
        return VariantCopy(static_cast<VARIANT*>(element), static_cast<const VARIANT*>(value));
    std::memmove(element, value, psa->cbElements);
    return S_OK;
}

HRESULT SafeArrayGetElement(SAFEARRAY* psa, LONG* indices, void* value) noexcept {
    if (psa == nullptr || indices == nullptr || value == nullptr) return E_INVALIDARG;
    void* element;
    HRESULT hr = SafeArrayPtrOfIndex(psa, indices, &element);
    if (FAILED(hr)) return hr;
    if (psa->fFeatures & FADF_VARIANT) {
        VARIANT copy;
        VariantInit(&copy);
        hr = VariantCopy(&copy, static_cast<const VARIANT*>(element));
        if (SUCCEEDED(hr)) std::memcpy(value, &copy, sizeof copy);
        return hr;
    }
    std::memset(value, 0, psa->cbElements);
    return CopyElements(psa, static_cast<const char*>(element), static_cast<char*>(value), 1);
}

HRESULT SafeArrayLock(SAFEARRAY* psa) noexcept {
    if (psa == nullptr) return E_INVALIDARG;
    Locks(psa).fetch_add(1);
    return S_OK;
}

HRESULT SafeArrayUnlock(SAFEARRAY* psa) noexcept {
    if (psa == nullptr) return E_INVALIDARG;
    ULONG current = Locks(psa).load();
    do {
        if (current == 0) return E_UNEXPECTED;
    } while (!Locks(psa).compare_exchange_weak(current, current - 1));
    return S_OK;
}

HRESULT SafeArrayAccessData(SAFEARRAY* psa, void** data) noexcept {
    if (psa == nullptr || data == nullptr) return E_INVALIDARG;
    SafeArrayLock(psa);
    *data = psa->pvData;
    return S_OK;
}

HRESULT SafeArrayUnaccessData(SAFEARRAY* psa) noexcept {
    return SafeArrayUnlock(psa);
}

HRESULT SafeArrayCopy(SAFEARRAY* psa, SAFEARRAY** copy) noexcept {
    if (copy == nullptr) return E_INVALIDARG;
    *copy = nullptr;
    if (psa == nullptr) return S_OK;
    SAFEARRAY* result = AllocateDescriptor(LoadVartype(psa), psa->cDims);
    if (result == nullptr) return E_OUTOFMEMORY;
    result->fFeatures =
        psa->fFeatures & ~(FADF_AUTO | FADF_STATIC | FADF_EMBEDDED | FADF_FIXEDSIZE);
    result->cbElements = psa->cbElements;
    std::memcpy(result->rgsabound, psa->rgsabound, psa->cDims * sizeof(SAFEARRAYBOUND));
    const size_t count = ElementCount(psa);
    result->pvData = AllocateData(count * psa->cbElements);
    if (result->pvData == nullptr) {
        std::free(BlockOf(result));
        return E_OUTOFMEMORY;
    }
    HRESULT hr = CopyElements(psa, static_cast<const char*>(psa->pvData),
                              static_cast<char*>(result->pvData), count);
    if (FAILED(hr)) {
        SafeArrayDestroy(result);
        return hr;
    }
    *copy = result;
    return S_OK;
}

HRESULT SafeArrayRedim(SAFEARRAY* psa, SAFEARRAYBOUND* newBound) noexcept {
    if (psa == nullptr || newBound == nullptr) return E_INVALIDARG;
    if (Locks(psa).load() != 0) return DISP_E_ARRAYISLOCKED;
    // The last dimension varies slowest, so resizing it keeps every other
    // element where it is: the data only grows or shrinks at the end.
    const size_t oldCount = ElementCount(psa);
    const SAFEARRAYBOUND oldBound = psa->rgsabound[0];
    psa->rgsabound[0] = *newBound;
    size_t newCount;
    if (!CountElements(psa, newCount)) {
        psa->rgsabound[0] = oldBound;
        return E_OUTOFMEMORY;
    }
    void* data = AllocateData(newCount * psa->cbElements);
    if (data == nullptr) {
        psa->rgsabound[0] = oldBound;
        return E_OUTOFMEMORY;
    }
    if (newCount < oldCount) ClearElements(psa, newCount, oldCount - newCount);
    const size_t kept = newCount < oldCount ? newCount : oldCount;
    std::memcpy(data, psa->pvData, kept * psa->cbElements);
    std::free(psa->pvData);
    psa->pvData = data;
    return S_OK;
}
