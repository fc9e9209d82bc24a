// The values a formula refers to: entries of a variables container that the
// formula's owner fills before each run, and the local variables declared
// with `var`, which live in the function as small automation objects.
#pragma once

#include <cstdint>
#include <vector>

#include "tarvex/core/indirectarray.h"
#include "tarvex/core/sortedarray.h"
#include "tarvex/formula/objects/functionobjectbase.h"
#include "tarvex/platform/cstring.h"

class CElement;

// The contract between a formula and the values its owner supplies.
class CVariablesContainerBase : public CTarvexObject {
public:
    virtual void Flush() = 0;
    // The index of `name`, made on first mention; -1 when refused.
    virtual std::int64_t CreateVarIndex(const char16_t* name, unsigned short type, bool strict) = 0;
    // Copies the value of `index` into `out` (which is empty); 0 on failure.
    virtual int GetVarValue(std::int64_t index, VARIANT& out) = 0;
    virtual CString GetVarName(std::int64_t index) = 0;
    virtual std::int64_t GetVarsCount() = 0;
    virtual bool RenameVar(const char16_t* oldName, const char16_t* newName) = 0;
    virtual std::int64_t GetVarIndex(const char16_t* name) = 0;
    virtual unsigned short GetVarType(std::int64_t index) = 0;

    // -1 gives VT_NULL, -2 VT_EMPTY, any other index the type stored there.
    unsigned short GetVarType(const char16_t* name);

    // A container that keeps its values in a plain array may show it here;
    // the evaluator then reads plain numbers without a call. Null otherwise.
    const VARIANT* DirectValue(std::int64_t index) const {
        return std::uint64_t(index) < std::uint64_t(m_nDirectCount) ? m_pDirectValues + index
                                                                    : nullptr;
    }

protected:
    const VARIANT* m_pDirectValues = nullptr;
    std::int64_t m_nDirectCount = 0;
};

// Names keyed in upper case, a sorted view over an owning list in index
// order. Abstract: the values come from the derived class.
class CVariablesContainer : public CVariablesContainerBase {
public:
    struct CVarInfo : public CTarvexObject {
        CString m_strKey;  // upper case
        CString m_strName; // as first written
        std::int64_t m_nIndex = 0;
        std::int64_t m_nReserved = 0;
        unsigned short m_nType = VT_EMPTY;

        bool operator<(const CVarInfo& other) const { return m_strKey < other.m_strKey; }
        bool operator==(const CVarInfo& other) const { return m_strKey == other.m_strKey; }
    };

    CVariablesContainer();

    void Flush() override;
    std::int64_t CreateVarIndex(const char16_t* name, unsigned short type, bool strict) override;
    CString GetVarName(std::int64_t index) override;
    std::int64_t GetVarsCount() override { return m_List.GetLength(); }
    bool RenameVar(const char16_t* oldName, const char16_t* newName) override;
    std::int64_t GetVarIndex(const char16_t* name) override;
    unsigned short GetVarType(std::int64_t index) override;
    using CVariablesContainerBase::GetVarType;

protected:
    std::int64_t FindKey(const CString& key) const;

    CSortedIndirectArray<CVarInfo> m_Sorted; // not owning
    CIndirectArray<CVarInfo> m_List;         // owning
};

// A container holding its values by index: for formulas that stand alone
// (tests, the command line, benchmarks). A value left empty reads as a
// failure, as an unset parameter would.
class CValueVariablesContainer : public CVariablesContainer {
public:
    ~CValueVariablesContainer() override;
    void Flush() override;
    int GetVarValue(std::int64_t index, VARIANT& out) override;
    // Sets the value of `name`, declaring it when new. The value is copied.
    std::int64_t SetValue(const char16_t* name, const VARIANT& value);
    void SetValue(std::int64_t index, const VARIANT& value);
    // Inline for a slot that holds a real already: hosts set values between
    // counts, and the call would cost as much as counting a short formula.
    void SetReal(std::int64_t index, double value) {
        if (std::uint64_t(index) < m_Values.size() && m_Values[size_t(index)].vt == VT_R8)
            m_Values[size_t(index)].dblVal = value;
        else
            SetRealSlot(index, value);
    }
    std::int64_t CreateVarIndex(const char16_t* name, unsigned short type, bool strict) override;

protected:
    std::vector<VARIANT> m_Values;

private:
    void SetRealSlot(std::int64_t index, double value);
};

// A local variable declared by `var`: an automation object whose one member
// "value" (DISPID 0) is the variable's value.
class CTXFunctionVariable : public TXFunctionObjects::CFunctionObjectBase {
public:
    explicit CTXFunctionVariable(const char16_t* name);
    CTXFunctionVariable(const CTXFunctionVariable& other);
    CTXFunctionVariable& operator=(const CTXFunctionVariable&) = delete;
    ~CTXFunctionVariable() override;

    const CString& GetName() const { return m_strName; }
    void GetValue(VARIANT& out) const;
    void SetValue(const VARIANT& value);
    void ResetValue();
    // As GetValue, but an empty value is the uninitialised-variable error.
    void GetValueCheck(VARIANT& out) const;
    // The value in place, for readers that copy it themselves.
    const VARIANT& Value() const { return m_Value; }

    HRESULT GetIDsOfNames(REFIID riid, LPOLESTR* names, UINT count, LCID lcid,
                          DISPID* ids) override;
    HRESULT Invoke(DISPID id, REFIID riid, LCID lcid, WORD flags, DISPPARAMS* params,
                   VARIANT* result, EXCEPINFO* excepInfo, UINT* argErr) override;

    const char16_t* GetClassName() const override { return u"CTXFunctionVariable"; }

    bool operator<(const CTXFunctionVariable& other) const { return m_strName < other.m_strName; }
    bool operator==(const CTXFunctionVariable& other) const { return m_strName == other.m_strName; }

private:
    CString m_strName;
    VARIANT m_Value;
};

// Carries an element to the functions that need one; it has no value.
class CTXElementContext : public TXFunctionObjects::CFunctionObjectBase {
public:
    explicit CTXElementContext(CElement* element) : m_pElement(element) {}
    CElement* GetElement() const { return m_pElement; }
    const char16_t* GetClassName() const override { return u"CTXElementContext"; }

    HRESULT GetIDsOfNames(REFIID riid, LPOLESTR* names, UINT count, LCID lcid,
                          DISPID* ids) override;
    HRESULT Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        return E_FAIL;
    }

private:
    CElement* m_pElement;
};
