#include "tarvex/plugin/paramsownerimpl.h"

#include "tarvex/geometry/vector3d.h"
#include "tarvex/plugin/elementimpl.h"
#include "tarvex/plugin/paramimpl.h"
#include "tarvex/plugin/plugin_internal.h"

namespace TarvexData {

namespace {

CTXVector3d ToVector(const CKV3DoubleVector& v) {
    return CTXVector3d(v.x, v.y, v.z);
}

CKV3DoubleVector FromVector(const CTXVector3d& v) {
    return CKV3DoubleVector{v.x, v.y, v.z};
}

} // namespace

// Shorthands for the class-dependent names in the bodies below.
#define TX_OWNER_TEMPLATE template <class Derived, class Interface>
#define TX_OWNER TParamsOwnerImplT<Derived, Interface>
#define TX_IMPL Derived::kImplName

TX_OWNER_TEMPLATE
void TX_OWNER::SetParameter(const char16_t* name, const CKV3DoubleVector& value,
                            const char16_t* comment, const char16_t* valueComment) {
    Owner().SetParameter(name, ToVector(value), comment, valueComment);
}

TX_OWNER_TEMPLATE
void TX_OWNER::SetParameter(const char16_t* name, const _GUID& value, const char16_t* comment,
                            const char16_t* valueComment) {
    Owner().SetParameter(name, value, comment, valueComment);
}

TX_OWNER_TEMPLATE
void TX_OWNER::SetParameter(const char16_t* name, int value, const char16_t* comment,
                            const char16_t* valueComment) {
    Owner().SetParameter(name, value, comment, valueComment);
}

TX_OWNER_TEMPLATE
void TX_OWNER::SetParameter(const char16_t* name, double value, const char16_t* comment,
                            const char16_t* valueComment) {
    Owner().SetParameter(name, value, comment, valueComment);
}

TX_OWNER_TEMPLATE
void TX_OWNER::SetParameter(const char16_t* name, double value, int digits, const char16_t* comment,
                            const char16_t* valueComment) {
    Owner().SetParameter(name, value, digits, comment, valueComment);
}

TX_OWNER_TEMPLATE
void TX_OWNER::SetParameter(const char16_t* name, const char16_t* value, const char16_t* comment,
                            const char16_t* valueComment) {
    Owner().SetParameter(name, value, comment, valueComment);
}

TX_OWNER_TEMPLATE
void TX_OWNER::AddParameter(const char16_t* name, const char16_t* value, const char16_t* comment,
                            const char16_t* valueComment, IParam** pResParam) {
    TX_CHECK_ARG(TX_IMPL, pResParam);
    *pResParam = nullptr;
    CParam* param = Owner().AddParameter(name, value, comment, valueComment);
    *pResParam = detail::HandOut<IParam>(new CIParamImpl(param, false));
}

TX_OWNER_TEMPLATE
void TX_OWNER::AddParamCopy(const IParam* pParam, bool checkExisting) {
    TX_CHECK_ARG(TX_IMPL, pParam);
    CParam scratch;
    Owner().AddParamCopy(&CIParamImpl::Resolve(pParam, scratch), checkExisting);
}

TX_OWNER_TEMPLATE
void TX_OWNER::ApplyParameter(const IParam* pParam) {
    TX_CHECK_ARG(TX_IMPL, pParam);
    CParam scratch;
    Owner().ApplyParameter(&CIParamImpl::Resolve(pParam, scratch));
}

TX_OWNER_TEMPLATE
void TX_OWNER::ApplyParameters(const IParamsOwner* pOwner) {
    using Impl = typename Derived::SameKindImpl;
    const Impl* source =
        TX_DOWNCAST(Impl, TX_IMPL, u"ApplyParameters", Impl::kSameKindName, pOwner);
    Owner().ApplyParameters(*source->GetOwner());
}

TX_OWNER_TEMPLATE
CKV3DoubleVector TX_OWNER::GetParameterValue(const char16_t* name,
                                             const CKV3DoubleVector& def) const {
    return FromVector(Owner().GetParameterValue(name, ToVector(def)));
}

TX_OWNER_TEMPLATE
int TX_OWNER::GetParameterValue(const char16_t* name, int def) const {
    return Owner().GetParameterValue(name, def);
}

TX_OWNER_TEMPLATE
double TX_OWNER::GetParameterValue(const char16_t* name, double def) const {
    return Owner().GetParameterValue(name, def);
}

TX_OWNER_TEMPLATE
const char16_t* TX_OWNER::GetParameterValue(const char16_t* name, const char16_t* def) const {
    return Owner().GetParameterValue(name, def);
}

TX_OWNER_TEMPLATE
bool TX_OWNER::GetValue(const char16_t* name, _GUID& value) const {
    return Owner().GetValue(name, value);
}

TX_OWNER_TEMPLATE
bool TX_OWNER::GetValue(const char16_t* name, CKV3DoubleVector& value) const {
    CTXVector3d vector = ToVector(value);
    const bool parsed = Owner().GetValue(name, vector);
    value = FromVector(vector);
    return parsed;
}

TX_OWNER_TEMPLATE
bool TX_OWNER::GetValue(const char16_t* name, double& value) const {
    return Owner().GetValue(name, value);
}

TX_OWNER_TEMPLATE
bool TX_OWNER::GetValue(const char16_t* name, bool& value) const {
    return Owner().GetValue(name, value);
}

TX_OWNER_TEMPLATE
bool TX_OWNER::GetValue(const char16_t* name, int& value) const {
    return Owner().GetValue(name, value);
}

TX_OWNER_TEMPLATE
bool TX_OWNER::GetValue(const char16_t* name, char16_t** pStrDest) const {
    TX_CHECK_ARG(TX_IMPL, pStrDest);
    const CParam* param = Owner().GetParameter(name);
    if (param == nullptr) return false;
    detail::StoreBstr(pStrDest, param->getstrValue());
    return true;
}

TX_OWNER_TEMPLATE
bool TX_OWNER::GetParameter(std::int64_t index, IParam** pResParam) {
    TX_CHECK_ARG(TX_IMPL, pResParam);
    *pResParam = nullptr;
    if (index < 0 || index >= Owner().GetParamsCount()) return false;
    *pResParam = detail::HandOut<IParam>(new CIParamImpl(Owner().GetParameter(index), false));
    return true;
}

TX_OWNER_TEMPLATE
bool TX_OWNER::GetParameter(const char16_t* name, IParam** pResParam) {
    TX_CHECK_ARG(TX_IMPL, pResParam);
    *pResParam = nullptr;
    CParam* param = Owner().GetParameter(name);
    if (param == nullptr) return false;
    *pResParam = detail::HandOut<IParam>(new CIParamImpl(param, false));
    return true;
}

TX_OWNER_TEMPLATE
std::int64_t TX_OWNER::GetParamsCount() const {
    return Owner().GetParamsCount();
}

TX_OWNER_TEMPLATE
void TX_OWNER::RemoveParameter(std::int64_t index) {
    if (index >= 0 && index < Owner().GetParamsCount()) Owner().RemoveParameter(index);
}

TX_OWNER_TEMPLATE
bool TX_OWNER::RemoveParameter(const char16_t* name) {
    return Owner().RemoveParameter(name);
}

TX_OWNER_TEMPLATE
void TX_OWNER::DeleteAllParams() {
    Owner().DeleteAllParams();
}

TX_OWNER_TEMPLATE
void TX_OWNER::CopyParamsFrom(const IParamsOwner* pOwner) {
    using Impl = typename Derived::SameKindImpl;
    const Impl* source = TX_DOWNCAST(Impl, TX_IMPL, u"CopyParamsFrom", Impl::kSameKindName, pOwner);
    Owner().CopyParamsFrom(*source->GetOwner());
}

TX_OWNER_TEMPLATE
void TX_OWNER::MergeParamsFrom(const IParamsOwner* pOwner, bool copyEmpty, bool keepExisting) {
    const CIParamsOwnerImpl* source =
        TX_DOWNCAST(CIParamsOwnerImpl, TX_IMPL, u"MergeParamsFrom", u"CIParamsOwnerImpl", pOwner);
    Owner().MergeParamsFrom(*source->GetOwner(), copyEmpty, keepExisting);
}

TX_OWNER_TEMPLATE
bool TX_OWNER::IsEqualParameters(const IParamsOwner* pOwner) const {
    using Impl = typename Derived::SameKindImpl;
    const Impl* other =
        TX_DOWNCAST(Impl, TX_IMPL, u"IsEqualParameters", Impl::kSameKindName, pOwner);
    return Owner().IsEqualParameters(*other->GetOwner());
}

TX_OWNER_TEMPLATE
void TX_OWNER::FormatUID(const _GUID& guid, char16_t** pStrDest) const {
    TX_CHECK_ARG(TX_IMPL, pStrDest);
    char16_t text[39];
    CParamsOwner::FormatUID(guid, text, 39);
    detail::StoreBstr(pStrDest, text, 38);
}

template class TParamsOwnerImplT<CIParamsOwnerImpl, IParamsOwner>;
template class TParamsOwnerImplT<CIElementImpl, IElement>;

#undef TX_OWNER_TEMPLATE
#undef TX_OWNER
#undef TX_IMPL

CIParamsOwnerImpl::CIParamsOwnerImpl(CParamsOwner* owner, bool owns)
    : m_bOwns(owns), m_pOwner(owner) {}

CIParamsOwnerImpl::~CIParamsOwnerImpl() {
    if (m_bOwns) delete m_pOwner;
}

void CIParamsOwnerImpl::Clone(IParamsOwner** pResOwner) const {
    TX_CHECK_ARG(kImplName, pResOwner);
    *pResOwner = nullptr;
    *pResOwner = detail::HandOutOwning<IParamsOwner, CIParamsOwnerImpl>(
        std::make_unique<CParamsOwner>(*m_pOwner));
}

} // namespace TarvexData
