// Objects that the formula operators work on, and the 3-vector of `vec3`.
//
// The evaluator hands `+ - * /` and comparisons to the left operand when it
// is a CCalculatedObject; for `+` and `*` also to a right one, writing the
// result into the right operand's slot, which the evaluator then drops:
// `2 * v` is 2, only `v * 2` scales. Constructors run as `vec3(...)`.
#pragma once

#include "tarvex/formula/objects/functionobjectbase.h"
#include "tarvex/geometry/vector3d.h"

namespace TXFunctionObjects {

class CCalculatedObject : public CFunctionObjectBase {
public:
    ~CCalculatedObject() override = default;

    // The defaults raise CSyntaxError naming the operation and the class.
    virtual void Construct(const VARIANT& a, const VARIANT& b, const VARIANT& c);
    virtual void Construct(const VARIANT& a, const VARIANT& b);
    virtual void Construct(const VARIANT& a);
    // `out` is the operand slot that receives the result (it may hold this
    // object: implementations finish with `this` before writing it).
    virtual void PlusOperator(VARIANT& out, const VARIANT& other);
    virtual void MinusOperator(VARIANT& out, const VARIANT& other);
    virtual void MultiplyOperator(VARIANT& out, const VARIANT& other);
    virtual void DivisionOperator(VARIANT& out, const VARIANT& other);
    virtual int ComapreTo(const VARIANT& other);
    virtual void Value(VARIANT& out);

    // "value" is DISPID 0; the derived class's table follows.
    HRESULT GetIDsOfNames(REFIID riid, LPOLESTR* names, UINT count, LCID lcid,
                          DISPID* ids) override;
    // Id 0 is Value, -6 the constructor by argument count; others E_FAIL.
    HRESULT Invoke(DISPID id, REFIID riid, LCID lcid, WORD flags, DISPPARAMS* params,
                   VARIANT* result, EXCEPINFO* excepInfo, UINT* argErr) override;

    // Stores this object in `v` as VT_DISPATCH, with a reference.
    void SetToThis(VARIANT& v);

    // The object in `v` if it is one of these, else null.
    static CCalculatedObject* FromVariant(const VARIANT& v);

protected:
    [[noreturn]] void Undefined(const char16_t* what) const;
};

class CVector3d : public CCalculatedObject {
public:
    CVector3d() = default;
    explicit CVector3d(const CTXVector3d& v) : m_Vector(v) {}

    const CTXVector3d& GetVector() const { return m_Vector; }
    const char16_t* GetClassName() const override { return u"CVector3d"; }

    void Construct(const VARIANT& a, const VARIANT& b, const VARIANT& c) override;
    void Construct(const VARIANT& a) override;
    using CCalculatedObject::Construct;
    void PlusOperator(VARIANT& out, const VARIANT& other) override;
    void MinusOperator(VARIANT& out, const VARIANT& other) override;
    void MultiplyOperator(VARIANT& out, const VARIANT& other) override;
    void DivisionOperator(VARIANT& out, const VARIANT& other) override;
    int ComapreTo(const VARIANT& other) override;
    void Value(VARIANT& out) override;

    HRESULT Invoke(DISPID id, REFIID riid, LCID lcid, WORD flags, DISPPARAMS* params,
                   VARIANT* result, EXCEPINFO* excepInfo, UINT* argErr) override;
    // Vectors live on the heap and go with their last reference.
    ULONG Release() override;

    // The vector in `v`, or the CSyntaxError that names what was given.
    static const CTXVector3d& GetVectorCheck(const VARIANT& v);

protected:
    const CMember* GetMembers(std::size_t& count) const override;

private:
    // Writes a new vector into `out`, releasing what it held.
    static void SetNewVector(VARIANT& out, const CTXVector3d& v);

    CTXVector3d m_Vector;
};

} // namespace TXFunctionObjects
