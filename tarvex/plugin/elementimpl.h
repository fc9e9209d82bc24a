// CIElementImpl: IElement over a CElement, and ConvertToCElement, the way
// back from an interface to the element inside the library.
#pragma once

#include "tarvex/element/element.h"
#include "tarvex/plugin/paramsownerimpl.h"

namespace TarvexData {

class CIElementImpl final : public TParamsOwnerImplT<CIElementImpl, IElement> {
public:
    using SameKindImpl = CIElementImpl;
    static constexpr const char* kImplName = "CIElementImpl";
    static constexpr const char16_t* kSameKindName = u"CIElementImpl";

    // With `owns`, the element (a root) is deleted with the wrapper.
    CIElementImpl(CElement* element, bool owns);
    ~CIElementImpl() override;

    void Clone(IParamsOwner** pResOwner) const override;

    const char16_t* GetName() const override;
    void SetName(const char16_t* name) override;
    std::int64_t GetId() const override;
    int GetLevel() const override;
    std::int32_t GetModelUID() const override;
    void SetModelUID(std::int32_t modelUID) override;
    std::int64_t GetChildCount() const override;
    bool GetChild(const char16_t* name, IElement** pResElement) const override;
    bool GetChild(std::int64_t index, IElement** pResElement) const override;
    bool GetChildNoCase(const char16_t* name, IElement** pResElement) const override;
    std::int64_t GetChildIndex(IElement* pElement) const override;
    bool GetElementById(std::int64_t id, IElement** pResElement) const override;
    bool GetChildById(int id, IElement** pResElement) const override;
    bool HasChild(IElement* pElement) const override;
    void AddChild(const char16_t* name, IElement** pResElement) override;
    void InsertChild(std::int64_t index, const char16_t* name, IElement** pResElement) override;
    void AddChildCopy(const IElement* pElement, IElement** pResElement) override;
    std::int64_t GetMaxElementId() const override;
    bool GetParent(IElement** pResElement) const override;
    bool GetRoot(IElement** pResElement) const override;
    bool DeleteChild(IElement* pElement) override;
    void DeleteAllChildren() override;
    void Delete() override;
    std::int32_t GetTag(std::int64_t index) const override;
    void SetTag(std::int64_t index, std::int32_t value) override;
    void SetTagsCount(std::int32_t count) override;
    std::int32_t GetTagsCount() const override;
    const std::int32_t* GetTags() const override;
    void Clone(IElement** pResElement) const override;
    void CopyFrom(const IElement* pElement) override;
    void Merge(const IElement* pElement, bool copyEmpty, bool keepExisting, bool takeName) override;
    void CopyChildrenFrom(const IElement* pElement) override;
    void CalculateParameters() override;
    double GetParameterValueEx(const char16_t* name, double def) override;
    int GetParameterValueEx(const char16_t* name, int def) override;
    bool GetParameterValueEx(const char16_t* name, char16_t** pStrDest, const char16_t* def,
                             bool calculate) override;
    bool ReadFromXML(const char16_t* text) override;
    bool ReadFromFile(const char16_t* path) override;
    bool WriteToXML(char16_t** pStrDest) const override;
    bool WriteToFile(const char16_t* path) const override;
    bool FindElementByParameterValue(const char16_t* name, const char16_t* value, bool noCase,
                                     IElement** pResElement) override;

    CParamsOwner* GetOwner() const { return m_pElement; }
    CElement* GetElement() const { return m_pElement; }

private:
    friend CElement* ConvertToCElement(IElement* element);

    bool m_bOwns;
    CElement* m_pElement;
};

// The element behind an interface made by this library. Anything else is
// refused by throwing a CString.
CElement* ConvertToCElement(IElement* element);

} // namespace TarvexData
