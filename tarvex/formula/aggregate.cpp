#include "tarvex/formula/aggregate.h"

#include <set>

#include "tarvex/core/stackroom.h"
#include "tarvex/platform/safearray.h"
#include "tarvex/platform/unknown.h"

CFunction::CAgregFuncToken::~CAgregFuncToken() {
    delete m_pValue;
    delete m_pCondition;
}

void CFunction::CAgregFuncToken::SetArguments(CFunction* value, CFunction* condition) {
    if (value != m_pValue) delete m_pValue;
    if (condition != m_pCondition) delete m_pCondition;
    m_pValue = value;
    m_pCondition = condition;
}

namespace {

// Walks the items of a source: a safe array, or a collection's
// enumerator; anything else has no items.
class ItemSource {
public:
    explicit ItemSource(const VARIANT& source) {
        if (source.vt & VT_ARRAY) {
            SAFEARRAY* array = (source.vt & VT_BYREF) ? (source.pparray ? *source.pparray : nullptr)
                                                      : source.parray;
            if (!array) return;
            m_pSource = &source;
            m_pArray = array;
            const UINT dims = SafeArrayGetDim(array);
            for (UINT d = 1; d <= dims; ++d) {
                LONG lower = 0, upper = -1;
                SafeArrayGetLBound(array, d, &lower);
                SafeArrayGetUBound(array, d, &upper);
                if (upper >= lower) m_nCount += std::int64_t(upper) - lower + 1;
            }
            SafeArrayLock(array);
        } else if (source.vt == VT_DISPATCH && source.pdispVal) {
            VARIANT result;
            VariantInit(&result);
            DISPPARAMS none{nullptr, nullptr, 0, 0};
            if (FAILED(source.pdispVal->Invoke(DISPID_NEWENUM, IID_NULL, 0, DISPATCH_PROPERTYGET,
                                               &none, &result, nullptr, nullptr)))
                throw CSyntaxError(148u);
            IUnknown* unknown =
                (result.vt == VT_UNKNOWN || result.vt == VT_DISPATCH) ? result.punkVal : nullptr;
            void* enumerator = nullptr;
            // Test the pointer, not the code: some objects answer S_FALSE.
            if (unknown) unknown->QueryInterface(IID_IEnumVARIANT, &enumerator);
            VariantClear(&result);
            if (!enumerator) throw CSyntaxError(148u);
            m_pEnum = static_cast<IEnumVARIANT*>(enumerator);
        }
    }
    ~ItemSource() {
        if (m_pArray) SafeArrayUnlock(m_pArray);
        if (m_pEnum) m_pEnum->Release();
    }
    ItemSource(const ItemSource&) = delete;
    ItemSource& operator=(const ItemSource&) = delete;

    // The next item into `item` (cleared first); false at the end.
    bool Next(VARIANT& item) {
        VariantClear(&item);
        if (m_pArray) {
            if (m_nNext >= m_nCount) return false;
            if (!CFunction::GetArrayItem(*m_pSource, int(m_nNext++), item))
                throw CSyntaxError(u"Недопустимый тип массива");
            return true;
        }
        if (m_pEnum) {
            ULONG fetched = 0;
            return m_pEnum->Next(1, &item, &fetched) == S_OK && fetched == 1;
        }
        return false;
    }

private:
    const VARIANT* m_pSource = nullptr;
    SAFEARRAY* m_pArray = nullptr;
    std::int64_t m_nCount = 0;
    std::int64_t m_nNext = 0;
    IEnumVARIANT* m_pEnum = nullptr;
};

// Points the nested functions at the current item for the time of a run.
class CurrentItem {
public:
    CurrentItem(CFunction* value, CFunction* condition, VARIANT* item)
        : m_pValue(value), m_pCondition(condition) {
        if (m_pValue) m_pValue->SetCurrentItem(item);
        if (m_pCondition) m_pCondition->SetCurrentItem(item);
    }
    ~CurrentItem() {
        if (m_pValue) m_pValue->SetCurrentItem(nullptr);
        if (m_pCondition) m_pCondition->SetCurrentItem(nullptr);
    }
    CurrentItem(const CurrentItem&) = delete;
    CurrentItem& operator=(const CurrentItem&) = delete;

private:
    CFunction* m_pValue;
    CFunction* m_pCondition;
};

enum AggregateTag : int {
    kExists = 82,
    kAll = 83,
    kFirst = 84,
    kLast = 85,
    kCount = 86,
    kSum = 87,
    kStrSum = 88,
    kAvg = 89,
    kFindMin = 90,
    kFindMax = 91,
    kStrMin = 92,
    kStrMax = 93,
};

// Owns a variant for the scope.
struct Slot {
    VARIANT v;
    Slot() { VariantInit(&v); }
    ~Slot() { VariantClear(&v); }
    Slot(const Slot&) = delete;
    Slot& operator=(const Slot&) = delete;
};

} // namespace

void CFunction::AgregFunc(const CToken* token, VARIANT& top) {
    const auto* aggregate = dynamic_cast<const CAgregFuncToken*>(token);
    if (!aggregate) throw CSyntaxError(148u);
    // Nested aggregates run nested evaluations on the same thread stack.
    if (!tarvex::HasStackRoom()) throw CSyntaxError(115u);
    // A local variable or `this` stands for its value.
    ConvertVariableToValue(top);
    const int tag = int(token->m_nTag);
    CFunction* value = aggregate->GetValueFunction();
    CFunction* condition = aggregate->GetCondition();
    CVariablesContainerBase* vars = aggregate->GetVars();
    if (value) value->InheritContext(this);
    if (condition) condition->InheritContext(this);

    std::int64_t passed = 0;
    bool flag = tag == kAll; // all
    double sum = 0.0;
    double minimum = 1.7976931348623157e308;
    double maximum = -1.7976931348623157e308;
    CString text;
    bool firstText = true;
    std::set<double> reals;
    std::set<CString> texts;
    Slot kept, item, result;
    {
        ItemSource source(top);
        CurrentItem current(value, condition, &item.v);
        bool stop = false;
        while (!stop && source.Next(item.v)) {
            if (condition) {
                condition->Count(result.v, vars);
                const bool pass = AsBool(result.v);
                VariantClear(&result.v);
                if (!pass) {
                    if (tag == kAll) {
                        flag = false;
                        stop = true;
                    }
                    continue;
                }
            }
            if (value)
                value->Count(result.v, vars);
            else
                VariantCopy(&result.v, &item.v);
            if (result.v.vt == VT_EMPTY) {
                if (tag == kAll) {
                    flag = false;
                    stop = true;
                }
                continue;
            }
            ++passed;
            switch (tag) {
            case kExists:
                flag = true;
                stop = true;
                break;
            case kFirst:
            case kLast:
                VariantClear(&kept.v);
                VariantCopy(&kept.v, &item.v);
                stop = tag == kFirst;
                break;
            case kCount:
                if (value) {
                    if (result.v.vt == VT_BSTR)
                        texts.insert(AsString(result.v));
                    else
                        reals.insert(AsReal(result.v));
                }
                break;
            case kSum:
            case kAvg:
                sum += AsReal(result.v);
                break;
            case kStrSum:
                text += AsString(result.v);
                if (text.GetLength() > kMaxTextLength) throw CSyntaxError(148u);
                break;
            case kFindMin:
                minimum = std::min(minimum, AsReal(result.v));
                break;
            case kFindMax:
                maximum = std::max(maximum, AsReal(result.v));
                break;
            case kStrMin:
            case kStrMax: { // strMax
                const CString candidate = AsString(result.v);
                const int order = candidate.Compare(text.GetString());
                if (firstText || (tag == kStrMin ? order < 0 : order > 0)) text = candidate;
                firstText = false;
                break;
            }
            default:
                break;
            }
            VariantClear(&result.v);
        }
    }
    if (!m_pComContext) {
        // Adopt an object a nested function made by its factory.
        if (value && value->m_pComContext)
            SetCOMContext(value->m_pComContext, GetHierarchyProvider());
        else if (condition && condition->m_pComContext)
            SetCOMContext(condition->m_pComContext, GetHierarchyProvider());
    }

    VariantClear(&top);
    switch (tag) {
    case kExists:
    case kAll:
        top.vt = VT_BOOL;
        top.boolVal = flag ? VARIANT_TRUE : VARIANT_FALSE;
        return;
    case kFirst:
    case kLast:
        top = kept.v;
        kept.v.vt = VT_EMPTY;
        return;
    case kCount:
        top.vt = VT_I4;
        top.lVal = value ? int(reals.size() + texts.size()) : int(passed);
        return;
    default:
        break;
    }
    if (passed == 0) return;
    switch (tag) {
    case kSum:
        top.vt = VT_R8;
        top.dblVal = sum;
        break;
    case kAvg:
        top.vt = VT_R8;
        top.dblVal = sum / double(passed);
        break;
    case kFindMin:
        top.vt = VT_R8;
        top.dblVal = minimum;
        break;
    case kFindMax:
        top.vt = VT_R8;
        top.dblVal = maximum;
        break;
    default: // strSum, strMin, strMax
        top.vt = VT_BSTR;
        top.bstrVal = text.AllocSysString();
        break;
    }
}
