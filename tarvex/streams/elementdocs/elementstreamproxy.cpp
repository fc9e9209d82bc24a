#include "tarvex/streams/elementdocs/elementstreamproxy.h"

#include <algorithm>
#include <cstdint>
#include <limits>

void CElementStreamProxy::CleanElement(CElement& element) {
    element.DeleteAllParams();
    element.DeleteAllChildren();
    element.SetTagsCount(0);
    element.SetName(nullptr);
}

void CElementStreamProxy::SetElementProperties(CElement& element, char16_t* name, int id, int uid) {
    if (name == nullptr) {
        element.SetName(nullptr);
    } else {
        delete[] element.m_pszName;
        element.m_pszName = name;
    }
    element.m_nId = id;
    element.m_nModelUID = uid;
    CElement* root = element.m_pRoot;
    if (root != nullptr && root->m_nMaxElementId < id) root->m_nMaxElementId = id;
}

void CElementStreamProxy::SetElementTagsLength(CElement& element, int64_t length) {
    if (length > std::numeric_limits<int32_t>::max()) return;
    element.SetTagsCount(static_cast<int32_t>(length));
}

void CElementStreamProxy::SetElementTag(CElement& element, int64_t index, int tag) {
    if (index >= std::numeric_limits<int32_t>::max()) return;
    element.SetTag(index, tag);
}

void CElementStreamProxy::SetElementTagsVector(CElement& element, const CElementTagsArray& tags) {
    const int64_t count = tags.GetCount();
    if (count > std::numeric_limits<int32_t>::max()) return;
    element.SetTagsCount(static_cast<int32_t>(count));
    for (int64_t i = 0; i < count; ++i) element.m_pTags[i] = tags[i];
}

namespace {

// A count read from a medium may lie, and every level of a nested document
// can state one: up front no more than this many slots are reserved, and an
// array that really holds more grows as its items arrive.
constexpr int64_t kMaxReservedSlots = 256;

template <class Array>
void ReserveSlots(Array& array, int64_t count) {
    if (count <= 0) return;
    const int64_t wanted = std::min(count, kMaxReservedSlots);
    if (wanted > array.GetPhysicalLength()) array.Resize(wanted);
}

} // namespace

void CElementStreamProxy::SetChildrenArraySize(CElement& element, int64_t size) {
    ReserveSlots(element.m_arrChildren, size);
}

void CElementStreamProxy::AttachChild(CElement& parent, CElement* child) {
    parent.AddChild(child);
}

void CElementParamsStreamProxy::AddParameter(CParamsOwner& owner, CParam* param) {
    owner.m_Params.Add(param);
}

bool CElementParamsStreamProxy::AddNewParameter(CParamsOwner& owner, CParam* param) {
    CParamsOwner::ParamArray& params = owner.m_Params;
    const int64_t length = params.GetLength();
    if (length == 0 || *params[length - 1] < *param) {
        params.CIndirectArray<CParam>::Add(param);
        return true;
    }
    int64_t position;
    if (params.Search(*param, position) >= 0) {
        delete param;
        return false;
    }
    params.InsertAt(position, param);
    return true;
}

void CElementParamsStreamProxy::SetParametersArraySize(CParamsOwner& owner, int64_t size) {
    ReserveSlots(owner.m_Params, size);
}
