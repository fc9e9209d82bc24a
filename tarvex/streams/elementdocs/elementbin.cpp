#include "tarvex/streams/elementdocs/elementbin.h"

#include "tarvex/core/stackroom.h"

bool CElementBinIOStream::Write(const CElement& element) {
    if (!tarvex::HasStackRoom()) return false;
    if (!BeginWriteElement(element)) return false;
    if (!WriteElementHeader(element.GetName(), element.GetId(), element.GetModelUID(),
                            element.GetTags(), element.GetTagsCount(), element))
        return false;
    WriteParameters(element);
    const int64_t count = element.GetChildCount();
    if (!BeginWriteChildren(element, count)) return false;
    for (int64_t i = 0; i < count; ++i)
        if (!Write(*element.GetChild(i))) return false;
    if (!EndWriteChildren(element, count)) return false;
    return EndWriteElement(element);
}

bool CElementBinIOStream::WriteParameters(const CParamsOwner& owner) {
    const CParamsOwner::ParamArray& params = owner.GetParams();
    const int64_t count = params.GetLength();
    if (!BeginWriteParameters(count)) return false;
    for (int64_t i = 0; i < count; ++i) {
        const CParam* param = params[i];
        WriteParameter(param->getName(), param->getstrValue(), param->getComment(),
                       param->getValueComment());
    }
    return EndWriteParameters(count);
}

bool CElementBinIOStream::Read(CElement& element) {
    if (!tarvex::HasStackRoom()) return false;
    if (!BeginReadElement(element)) return false;
    CleanElement(element);
    char16_t* name = nullptr;
    int id = 0;
    int uid = -1;
    CElementTagsArray tags;
    if (!ReadElementHeader(name, id, uid, tags)) {
        delete[] name;
        return false;
    }
    SetElementProperties(element, name, id, uid);
    SetElementTagsVector(element, tags);
    if (!ReadParameters(element)) return false;
    int64_t count = 0;
    if (!BeginReadChildren(count, element)) return false;
    return DoReadChildren(count, element);
}

bool CElementBinIOStream::DoReadChildren(int64_t& count, CElement& element) {
    if (count != 0) SetChildrenArraySize(element, count);
    for (int64_t i = 0; i < count; ++i)
        if (!ReadChildElement(element)) return false;
    return EndReadChildren(count);
}

bool CElementBinIOStream::ReadChildElement(CElement& parent) {
    auto* child = new CElement();
    AttachChild(parent, child);
    if (Read(*child)) return true;
    parent.DeleteChild(child);
    return false;
}

bool CElementBinIOStream::ReadParameters(CParamsOwner& owner) {
    if (owner.GetParamsCount() != 0) owner.DeleteAllParams();
    int64_t count = 0;
    if (!BeginReadParameters(count, owner)) return false;
    return DoReadParameters(count, owner);
}

bool CElementBinIOStream::DoReadParameters(int64_t& count, CParamsOwner& owner) {
    if (count != 0) SetParametersArraySize(owner, count);
    for (int64_t i = 0; i < count; ++i) {
        CParam* param = ReadParameter();
        if (param == nullptr) return false;
        AddParameter(owner, param);
    }
    return EndReadParameters(count);
}
