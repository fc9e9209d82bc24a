// Count: one walk over the postfix list on the function's stack of
// variants. Every token that pops operands clears their slots, so after a
// successful walk only slot 0 holds anything and nothing else needs clearing.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <unordered_map>

#include "tarvex/core/stackroom.h"
#include "tarvex/formula/function.h"
#include "tarvex/formula/objects/calculatedobject.h"
#include "tarvex/formula/quickprogram_internal.h"
#include "tarvex/platform/vartime.h"

namespace {

// Real arithmetic of + - * /; false for any other token and for a divisor
// that the division leaves to the general path (which raises the error).
inline bool RealArithmetic(int tag, double x, double y, double& out) {
    switch (tag) {
    case CFunction::ttIncrement:
        out = x + y;
        return true;
    case CFunction::ttDecrement:
        out = x - y;
        return true;
    case CFunction::ttMultiply:
        out = x * y;
        return true;
    case CFunction::ttDivide:
        if (std::fabs(y) < 1e-12) return false;
        out = x / y;
        return true;
    default:
        return false;
    }
}

// Whether an order of two operands (-1, 0, 1) satisfies a comparison token.
inline bool OrderSatisfies(int tag, int order) {
    switch (tag) {
    case CFunction::ttEqual:
        return order == 0;
    case CFunction::ttNotEqual:
        return order != 0;
    case CFunction::ttLess:
        return order < 0;
    case CFunction::ttGreater:
        return order > 0;
    case CFunction::ttLessOrEqual:
        return order <= 0;
    default:
        return order >= 0;
    }
}

// Plain values own nothing: clearing them is forgetting the type.
inline void ClearSlot(VARIANT& v) {
    if (v.vt < VT_BSTR || v.vt == VT_BOOL)
        v.vt = VT_EMPTY;
    else
        VariantClear(&v);
}

inline void PushCopy(VARIANT& slot, const VARIANT& value) {
    // Numbers, booleans and dates are plain bits: no call, no allocation.
    if (value.vt < VT_BSTR || value.vt == VT_BOOL)
        slot = value;
    else
        VariantCopy(&slot, &value);
}

// The arithmetic of objects that define it. The left operand's object
// writes into the left slot; for + and * an object on the right only writes
// into the right slot, which the caller then drops, so `2 * v` stays 2.
bool ObjectOperator(CFunction::TTag tag, VARIANT& a, VARIANT& b) {
    using TXFunctionObjects::CCalculatedObject;
    if (CCalculatedObject* left = CCalculatedObject::FromVariant(a)) {
        switch (tag) {
        case CFunction::ttIncrement:
            left->PlusOperator(a, b);
            return true;
        case CFunction::ttDecrement:
            left->MinusOperator(a, b);
            return true;
        case CFunction::ttMultiply:
            left->MultiplyOperator(a, b);
            return true;
        case CFunction::ttDivide:
            left->DivisionOperator(a, b);
            return true;
        default:
            return false;
        }
    }
    if (tag != CFunction::ttIncrement && tag != CFunction::ttMultiply) return false;
    CCalculatedObject* right = CCalculatedObject::FromVariant(b);
    if (!right) return false;
    if (tag == CFunction::ttIncrement)
        right->PlusOperator(b, a);
    else
        right->MultiplyOperator(b, a);
    return true;
}

// Operands a token pops, for the tokens that run through CallFunction.
int OperandsOf(const CFunction::CToken* t) {
    const std::int64_t n = t->m_nArg;
    switch (t->m_nTag) {
    case CFunction::ttInstr:
    case CFunction::ttSplit:
    case CFunction::ttDotProduct:
    case CFunction::ttDistance:
    case CFunction::ttObjConstructor2:
        return 2;
    case CFunction::ttSubstr:
    case CFunction::ttReplace:
    case CFunction::ttWrap:
    case CFunction::ttObjConstructor3:
        return 3;
    case CFunction::ttFormatList:
        return 4;
    case CFunction::ttFormat:
    case CFunction::ttMin:
    case CFunction::ttMax:
        return n > 0 && n < 0x7FFFFFFF ? int(n) : 1;
    case CFunction::ttToVector:
        return n == 3 ? 3 : 1;
    case CFunction::ttAngle:
    case CFunction::ttScale:
        return n == 3 ? 3 : 2;
    case CFunction::ttSlope:
        return n == 2 ? 2 : 1;
    case CFunction::ttRotate:
        return n == 3 || n == 4 ? int(n) : 2;
    default:
        return 1;
    }
}

// The one-argument numeric functions on a real, in place. False where the
// general path must run: another function, or an argument it refuses.
inline bool FastReal(CFunction::TTag tag, double& x) {
    switch (tag) {
    case CFunction::ttToReal:
        return true;
    case CFunction::ttSin:
        x = std::sin(x);
        return true;
    case CFunction::ttCos:
        x = std::cos(x);
        return true;
    case CFunction::ttTan:
        if (std::fabs(std::fabs(x) - 1.5707963267948966) < 1e-12) return false;
        x = std::tan(x);
        return true;
    case CFunction::ttASin:
        x = std::asin(x);
        return true;
    case CFunction::ttACos:
        x = std::acos(x);
        return true;
    case CFunction::ttATan:
        x = std::atan(x);
        return true;
    case CFunction::ttDeg:
        x = x * 57.29577951308232;
        return true;
    case CFunction::ttRad:
        x = x * 0.017453292519943295;
        return true;
    case CFunction::ttExp:
        x = std::exp(x);
        return true;
    case CFunction::ttLog:
        x = std::log(x);
        return true;
    case CFunction::ttSqr:
        x = x * x;
        return true;
    case CFunction::ttSqrt:
        if (x < -1e-12) return false;
        x = std::sqrt(x);
        return true;
    case CFunction::ttAbs:
        x = std::fabs(x);
        return true;
    case CFunction::ttGSin:
        x = std::sin(x * 3.141592653589793 / 180.0);
        return true;
    case CFunction::ttGCos:
        x = std::cos(x * 3.141592653589793 / 180.0);
        return true;
    default:
        return false;
    }
}

} // namespace

namespace {

enum : std::uint8_t {
    kStepGeneral = 0,
    kStepConst,
    kStepVar,
    kStepAdd,
    kStepSub,
    kStepMul,
    kStepDiv,
    kStepReal,
    kStepCompare,
    kStepAnd,
    kStepOr,
    kStepMin,
    kStepMax,
};

std::uint8_t StepOf(const CFunction::CToken* t) {
    switch (t->m_nTag) {
    case CFunction::ttConstant:
    case CFunction::ttNamedConstant: {
        const VARIANT* v = t->GetValue();
        return v && (v->vt == VT_R8 || v->vt == VT_I4 || v->vt == VT_BOOL) ? kStepConst
                                                                           : kStepGeneral;
    }
    case CFunction::ttVariable:
        return kStepVar;
    case CFunction::ttIncrement:
        return kStepAdd;
    case CFunction::ttDecrement:
        return kStepSub;
    case CFunction::ttMultiply:
        return kStepMul;
    case CFunction::ttDivide:
        return kStepDiv;
    case CFunction::ttEqual:
    case CFunction::ttNotEqual:
    case CFunction::ttLess:
    case CFunction::ttGreater:
    case CFunction::ttLessOrEqual:
    case CFunction::ttGreaterOrEqual:
        return kStepCompare;
    case CFunction::ttAnd:
        return kStepAnd;
    case CFunction::ttOr:
        return kStepOr;
    case CFunction::ttMin:
        return t->m_nArg >= 2 ? kStepMin : kStepGeneral;
    case CFunction::ttMax:
        return t->m_nArg >= 2 ? kStepMax : kStepGeneral;
    default: {
        double probe = 0.5;
        return FastReal(t->m_nTag, probe) ? kStepReal : kStepGeneral;
    }
    }
}

} // namespace

void CFunction::BuildProgram() {
    m_Program.clear();
    std::unordered_map<const CToken*, int> where;
    for (const CToken* t = m_Tokens.m_pFirst; t; t = t->m_pNext) {
        where[t] = int(m_Program.size());
        m_Program.push_back({t, t->GetValue(), t->m_nArg, -1, StepOf(t)});
    }
    for (CStep& step : m_Program) {
        auto found = step.token->m_pJump ? where.find(step.token->m_pJump) : where.end();
        if (found != where.end()) step.jump = found->second;
    }
    m_pQuick = CQuickProgram::Make(*this);
}

namespace {

// One released stack per thread waits for the next count, so formulas that
// give their stacks back after each run share a single buffer instead of
// allocating one each time.
struct CSpareStack {
    VARIANT* stack = nullptr;
    ~CSpareStack() { delete[] stack; }
};
thread_local CSpareStack t_spare;

} // namespace

VARIANT* CFunction::TakeStack() {
    if (VARIANT* stack = t_spare.stack) {
        t_spare.stack = nullptr;
        return stack;
    }
    VARIANT* stack = new VARIANT[kStackSize];
    for (int i = 0; i < kStackSize; ++i) VariantInit(&stack[i]);
    return stack;
}

void CFunction::ReleaseStack() {
    if (!m_pStack) return;
    for (int i = 0; i < kStackSize; ++i)
        if (m_pStack[i].vt != VT_EMPTY) VariantClear(&m_pStack[i]);
    if (t_spare.stack)
        delete[] m_pStack;
    else
        t_spare.stack = m_pStack;
    m_pStack = nullptr;
}

bool CFunction::Count(VARIANT& out, CVariablesContainerBase* vars) {
    // A function of numbers counted before: the doubles program alone, when
    // the values allow it. It exists only where the steps below have nothing
    // to do: a list that isn't constant, no local variables, no hierarchy
    // to forget, a lone variable read by index 0.
    if (m_pQuick) {
        double result;
        if (m_pQuick->Run(vars, result)) {
            m_pQuick->Store(result, out);
            return true;
        }
    }
    return CountOnStack(out, vars);
}

bool CFunction::CountOnStack(VARIANT& out, CVariablesContainerBase* vars) {
    if (!m_Tokens.m_pFirst) {
        VariantClear(&out);
        return true;
    }
    if (m_pConstValue) {
        VariantCopy(&out, m_pConstValue);
        return true;
    }
    if (vars && IsSingleVar() && vars->GetVarsCount() == 1) {
        VariantClear(&out);
        return vars->GetVarValue(0, out) == 1;
    }
    if (m_Locals.GetLength()) ClearLocals();
    // Hierarchies live for one count: the host's tree may change between.
    m_HierarchyCache.Flush();
    if (!m_pStack) m_pStack = TakeStack();
    try {
        SubCount(vars, m_pStack, kStackSize, true);
    } catch (...) {
        VariantClear(&out);
        for (int i = 0; i < kStackSize; ++i) VariantClear(&m_pStack[i]);
        ClearLocals();
        throw;
    }
    // The result moves out of slot 0, leaving it empty. A real goes field by
    // field: the slot was just written so, and a copy of the whole struct would
    // wait for those stores to reach the cache before it could load them.
    ClearSlot(out);
    if (m_pStack[0].vt == VT_R8) {
        out.vt = VT_R8;
        out.dblVal = m_pStack[0].dblVal;
    } else {
        out = m_pStack[0];
    }
    m_pStack[0].vt = VT_EMPTY;
    if (m_Locals.GetLength()) ClearLocals();
    KeepIfConstant(out);
    return true;
}

void CFunction::KeepIfConstant(const VARIANT& value) {
    if (!m_bConstant) return;
    m_pConstValue = new VARIANT;
    VariantInit(m_pConstValue);
    VariantCopy(m_pConstValue, &value);
}

bool CFunction::Count(CString& out, CVariablesContainerBase* vars) {
    VARIANT value;
    VariantInit(&value);
    bool ok;
    try {
        ok = Count(value, vars);
        out = AsString(value);
    } catch (...) {
        VariantClear(&value);
        throw;
    }
    VariantClear(&value);
    return ok;
}

void CFunction::Case(CSelectCaseToken* token, VARIANT* stack, int index, int size,
                     CVariablesContainerBase* vars) {
    const int room = size - 1 - index;
    if (room < 0) throw CSyntaxError(114u);
    // Case bodies recurse at run time without using stack slots.
    if (!tarvex::HasStackRoom()) throw CSyntaxError(115u);
    VARIANT& selector = stack[index];
    ConvertVariableToValue(selector);
    for (std::int64_t i = 0; i < token->m_Cases.GetLength(); ++i) {
        CCase* c = token->m_Cases[i];
        bool taken = c->m_pWhen == nullptr;
        if (!taken) {
            // The bodies answer `object` and `hierarchy` as this function
            // does now, whatever context they were compiled with.
            c->m_pWhen->InheritContext(this);
            c->m_pWhen->SubCount(vars, stack + index + 1, room, false);
            taken = Compare(selector, stack[index + 1]) == 0;
            VariantClear(&stack[index + 1]);
        }
        if (!taken) continue;
        if (c->m_pResult) {
            c->m_pResult->InheritContext(this);
            VariantClear(&selector);
            c->m_pResult->SubCount(vars, stack + index, room, false);
        }
        return;
    }
}

void CFunction::SubCount(CVariablesContainerBase* vars, VARIANT* stack, int size, bool topLevel) {
    if (!m_Tokens.m_pFirst) return;
    // Count has tried the doubles program already, unless it is made now.
    bool quickTried = topLevel && m_pQuick;
    if (m_Program.empty()) {
        BuildProgram();
        quickTried = false;
    }
    // The pushes of the walk would reach the end of the stack (error 115) from
    // the same depth on, so the doubles program keeps to the stacks it fits.
    if (!quickTried && m_pQuick && m_pQuick->Depth() < size) {
        double result;
        if (m_pQuick->Run(vars, result)) {
            m_pQuick->Store(result, stack[0]);
            return;
        }
    }
    const CStep* program = m_Program.data();
    const int count = int(m_Program.size());
    int pc = 0;
    const CToken* t = program[0].token;
    switch (t->m_nTag) {
    case ttConstant:
    case ttNamedConstant:
    case ttVariable:
    case ttObject:
    case ttApplication:
    case ttHierarchy:
    case ttItem:
        break;
    default:
        throw CSyntaxError(150u);
    }
    int index = -1;
    auto push = [&]() -> VARIANT& {
        if (index + 2 >= size) throw CSyntaxError(115u);
        return stack[++index];
    };
    auto need = [&](int n) {
        if (index < n - 1) throw CSyntaxError(159u);
    };
    while (pc < count) {
        // Plain numbers first: a constant, a container value, the four
        // arithmetic operators and the numeric functions of a real, without
        // the general dispatch. Each falls back to it when its operands are
        // of other types.
        const CStep& step = program[pc];
        switch (step.op) {
        case kStepConst:
            if (index + 2 >= size) throw CSyntaxError(115u);
            stack[++index] = *step.value;
            ++pc;
            continue;
        case kStepVar:
            if (vars) {
                const VARIANT* value = vars->DirectValue(step.arg);
                if (value && (value->vt == VT_R8 || value->vt == VT_I4)) {
                    if (index + 2 >= size) throw CSyntaxError(115u);
                    stack[++index] = *value;
                    ++pc;
                    continue;
                }
            }
            break;
        case kStepAdd:
        case kStepSub:
        case kStepMul:
        case kStepDiv:
            if (index >= 1) {
                VARIANT& a = stack[index - 1];
                VARIANT& b = stack[index];
                // With a real on either side both are reals (SetNumericTypes).
                if ((a.vt == VT_R8 && (b.vt == VT_R8 || b.vt == VT_I4)) ||
                    (a.vt == VT_I4 && b.vt == VT_R8)) {
                    const double x = a.vt == VT_R8 ? a.dblVal : double(a.lVal);
                    const double y = b.vt == VT_R8 ? b.dblVal : double(b.lVal);
                    if (step.op != kStepDiv || !(std::fabs(y) < 1e-12)) {
                        switch (step.op) {
                        case kStepAdd:
                            a.dblVal = x + y;
                            break;
                        case kStepSub:
                            a.dblVal = x - y;
                            break;
                        case kStepMul:
                            a.dblVal = x * y;
                            break;
                        default:
                            a.dblVal = x / y;
                            break;
                        }
                        a.vt = VT_R8;
                        b.vt = VT_EMPTY;
                        --index;
                        ++pc;
                        continue;
                    }
                }
            }
            break;
        case kStepCompare:
            if (index >= 1) {
                VARIANT& a = stack[index - 1];
                VARIANT& b = stack[index];
                int order = 2;
                // The order CompareVariants gives numbers: the sign of the
                // difference, NaN greater from a real and less from an integer.
                if (a.vt == VT_R8 && (b.vt == VT_R8 || b.vt == VT_I4)) {
                    const double d = a.dblVal - (b.vt == VT_R8 ? b.dblVal : double(b.lVal));
                    order = d < 0 ? -1 : d == 0 ? 0 : 1;
                } else if (a.vt == VT_I4 && b.vt == VT_R8) {
                    const double d = b.dblVal - double(a.lVal);
                    order = d < 0 ? 1 : d == 0 ? 0 : -1;
                } else if (a.vt == VT_I4 && b.vt == VT_I4) {
                    order = a.lVal < b.lVal ? -1 : a.lVal == b.lVal ? 0 : 1;
                }
                if (order != 2) {
                    const bool result = OrderSatisfies(step.token->m_nTag, order);
                    a.vt = VT_BOOL;
                    a.boolVal = result ? VARIANT_TRUE : VARIANT_FALSE;
                    b.vt = VT_EMPTY;
                    --index;
                    ++pc;
                    continue;
                }
            }
            break;
        case kStepAnd:
        case kStepOr:
            if (index >= 1 && stack[index - 1].vt == VT_BOOL && stack[index].vt == VT_BOOL) {
                VARIANT& a = stack[index - 1];
                const bool left = a.boolVal != 0;
                const bool right = std::uint16_t(stack[index].boolVal) == 0xFFFF;
                a.boolVal = (step.op == kStepAnd ? left && right : left || right) ? VARIANT_TRUE
                                                                                  : VARIANT_FALSE;
                stack[index].vt = VT_EMPTY;
                --index;
                ++pc;
                continue;
            }
            break;
        case kStepMin:
        case kStepMax: {
            // Reals, or integers alone, as MinMax classes them; the first of
            // equal values stays.
            const int n = int(step.arg);
            if (index < n - 1) break;
            VARIANT* args = stack + index - (n - 1);
            bool reals = false, plain = true;
            for (int i = 0; i < n && plain; ++i) {
                if (args[i].vt == VT_R8)
                    reals = true;
                else
                    plain = args[i].vt == VT_I4;
            }
            if (!plain) break;
            const bool isMin = step.op == kStepMin;
            if (reals) {
                double best = args[0].vt == VT_R8 ? args[0].dblVal : double(args[0].lVal);
                for (int i = 1; i < n; ++i) {
                    const double v = args[i].vt == VT_R8 ? args[i].dblVal : double(args[i].lVal);
                    if (isMin ? v < best : v > best) best = v;
                    args[i].vt = VT_EMPTY;
                }
                args[0].vt = VT_R8;
                args[0].dblVal = best;
            } else {
                std::int32_t best = args[0].lVal;
                for (int i = 1; i < n; ++i) {
                    if (isMin ? args[i].lVal < best : args[i].lVal > best) best = args[i].lVal;
                    args[i].vt = VT_EMPTY;
                }
                args[0].lVal = best;
            }
            index -= n - 1;
            ++pc;
            continue;
        }
        case kStepReal:
            if (index >= 0 && stack[index].vt == VT_R8 &&
                FastReal(step.token->m_nTag, stack[index].dblVal)) {
                ++pc;
                continue;
            }
            break;
        default:
            break;
        }
        t = step.token;
        const TTag tag = t->m_nTag;
        switch (tag) {
        case ttConstant:
        case ttNamedConstant: {
            VARIANT& slot = push();
            if (const VARIANT* value = t->GetValue()) PushCopy(slot, *value);
            break;
        }
        case ttVariable: {
            VARIANT& slot = push();
            if (!vars) throw CSyntaxError(114u);
            const VARIANT* direct = vars->DirectValue(t->m_nArg);
            if (direct && (direct->vt == VT_R8 || direct->vt == VT_I4 || direct->vt == VT_BOOL))
                slot = *direct;
            else if (vars->GetVarValue(t->m_nArg, slot) != 1)
                throw CSyntaxError(114u);
            break;
        }
        case ttIncrement:
        case ttDecrement:
        case ttMultiply:
        case ttDivide:
        case ttModule:
        case ttPower:
        case ttConcat:
        case ttSubtract:
        case ttAnd:
        case ttOr:
        case ttXOr:
        case ttEqual:
        case ttNotEqual:
        case ttLess:
        case ttGreater:
        case ttLessOrEqual:
        case ttGreaterOrEqual:
        case ttLike:
        case ttAssign: {
            need(2);
            VARIANT& a = stack[index - 1];
            VARIANT& b = stack[index];
            if (a.vt == VT_R8 && b.vt == VT_R8) {
                // The common case of numeric formulas, without a call.
                const double x = a.dblVal, y = b.dblVal;
                bool done = true;
                switch (t->m_nTag) {
                case ttIncrement:
                case ttDecrement:
                case ttMultiply:
                case ttDivide:
                    done = RealArithmetic(t->m_nTag, x, y, a.dblVal);
                    break;
                case ttEqual:
                case ttNotEqual:
                case ttLess:
                case ttGreater:
                case ttLessOrEqual:
                case ttGreaterOrEqual: {
                    // The order of CompareVariants: the sign of the difference,
                    // NaN counting as greater.
                    const double d = x - y;
                    const int order = d < 0 ? -1 : d == 0 ? 0 : 1;
                    const bool result = OrderSatisfies(t->m_nTag, order);
                    a.vt = VT_BOOL;
                    a.boolVal = result ? VARIANT_TRUE : VARIANT_FALSE;
                    break;
                }
                default:
                    done = false;
                    break;
                }
                if (done) {
                    b.vt = VT_EMPTY;
                    --index;
                    break;
                }
            } else if ((a.vt == VT_R8 || a.vt == VT_I4) && (b.vt == VT_R8 || b.vt == VT_I4)) {
                // Mixed or integer arithmetic, as SetNumericTypes decides it:
                // with a real on either side both are reals, else integers
                // that wrap.
                bool done = true;
                if (a.vt == VT_I4 && b.vt == VT_I4) {
                    const std::uint32_t x = std::uint32_t(a.lVal), y = std::uint32_t(b.lVal);
                    switch (t->m_nTag) {
                    case ttIncrement:
                        a.lVal = std::int32_t(x + y);
                        break;
                    case ttDecrement:
                        a.lVal = std::int32_t(x - y);
                        break;
                    case ttMultiply:
                        a.lVal = std::int32_t(x * y);
                        break;
                    default:
                        done = false;
                        break;
                    }
                } else {
                    const double x = a.vt == VT_R8 ? a.dblVal : double(a.lVal);
                    const double y = b.vt == VT_R8 ? b.dblVal : double(b.lVal);
                    double result = 0;
                    done = RealArithmetic(t->m_nTag, x, y, result);
                    if (done) {
                        a.vt = VT_R8;
                        a.dblVal = result;
                    }
                }
                if (done) {
                    b.vt = VT_EMPTY;
                    --index;
                    break;
                }
            }
            if (t->m_nTag != ttAssign) {
                if (a.vt == VT_DISPATCH) ConvertVariableToValue(a);
                if (b.vt == VT_DISPATCH) ConvertVariableToValue(b);
                if ((a.vt == VT_DISPATCH || b.vt == VT_DISPATCH) &&
                    ObjectOperator(t->m_nTag, a, b)) {
                    ClearSlot(b);
                    --index;
                    break;
                }
            }
            switch (t->m_nTag) {
            case ttIncrement:
                Increment(a, b);
                break;
            case ttDecrement:
                Decrement(a, b);
                break;
            case ttMultiply:
                Multiply(a, b);
                break;
            case ttDivide:
                Divide(a, b);
                break;
            case ttModule:
                Module(a, b);
                break;
            case ttPower:
                Power(a, b);
                break;
            case ttConcat:
                Concat(a, b);
                break;
            case ttSubtract:
                Subtract(a, b);
                break;
            case ttAnd:
                And(a, b);
                break;
            case ttOr:
                Or(a, b);
                break;
            case ttXOr:
                XOr(a, b);
                break;
            case ttLike:
                Like(a, b);
                break;
            case ttAssign:
                Assing(a, b);
                break;
            default: {
                const int order = Compare(a, b);
                const bool result = OrderSatisfies(t->m_nTag, order);
                VariantClear(&a);
                a.vt = VT_BOOL;
                a.boolVal = result ? VARIANT_TRUE : VARIANT_FALSE;
            }
            }
            ClearSlot(b);
            --index;
            break;
        }
        case ttSign:
        case ttToInt:
        case ttToReal:
        case ttToString:
        case ttSin:
        case ttCos:
        case ttTan:
        case ttASin:
        case ttACos:
        case ttATan:
        case ttDeg:
        case ttRad:
        case ttExp:
        case ttLog:
        case ttSqr:
        case ttSqrt:
        case ttAbs:
        case ttNot:
        case ttGSin:
        case ttGCos:
        case ttGTan: {
            need(1);
            VARIANT& a = stack[index];
            if (a.vt == VT_DISPATCH) ConvertVariableToValue(a);
            if (t->m_nTag == ttSign)
                Sign(a);
            else
                NumericFunction(t->m_nTag, a);
            break;
        }
        case ttIsSet:
            need(1);
            IsSet(stack[index]);
            break;
        case ttIf: {
            need(1);
            VARIANT& condition = stack[index];
            if (condition.vt == VT_DISPATCH) ConvertVariableToValue(condition);
            const bool taken = AsBool(condition);
            VariantClear(&condition);
            --index;
            if (!taken) {
                pc = program[pc].jump;
                if (pc < 0) goto done;
            }
            ++pc;
            continue;
        }
        case ttTransition:
            pc = program[pc].jump;
            if (pc < 0) goto done;
            ++pc;
            continue;
        case ttStatementEnd:
            if (!topLevel || index != 0)
                throw CSyntaxError(u"Попытка открытия нового выражения (;) внутри существующего");
            VariantClear(&stack[0]);
            index = -1;
            ++pc;
            continue;
        case ttCase:
            need(1);
            Case(static_cast<CSelectCaseToken*>(const_cast<CToken*>(t)), stack, index, size, vars);
            break;
        case ttSubscript:
            Item(stack, index, t);
            break;
        case ttMethod:
        case ttProperty:
            ComMethod(stack, index, t);
            break;
        case ttObject:
            if (t->m_nArg)
                SetCOMContextVariable(stack, index, size, false);
            else
                SetCOMContextVariable(stack, index, size, true);
            break;
        case ttApplication:
            SetAppCOMContextVariable(stack, index, size);
            break;
        case ttHierarchy:
            need(1);
            SetHierarchyCOMContextVariable(stack, index);
            break;
        case ttItem: {
            VARIANT& slot = push();
            if (m_pCurrentItem) VariantCopy(&slot, m_pCurrentItem);
            break;
        }
        case ttUnused96:
        case ttUnused97:
            break;
        default:
            if (t->m_nTag >= ttExists && t->m_nTag <= ttStrMax) {
                need(1);
                AgregFunc(t, stack[index]);
                break;
            }
            if (t->m_nTag == ttClpShortCode) {
                need(1);
                ClpSortCode(t, stack[index]);
                break;
            }
            {
                const int n = OperandsOf(t);
                need(n);
                for (int i = 0; i < n; ++i) {
                    VARIANT& a = stack[index - i];
                    if (a.vt == VT_DISPATCH) ConvertVariableToValue(a);
                }
                CallFunction(t, stack + index - (n - 1), n);
                for (int i = 1; i < n; ++i) VariantClear(&stack[index - i + 1]);
                index -= n - 1;
            }
            break;
        }
        if (index < 0) throw CSyntaxError(159u);
        ++pc;
    }
done:
    if (index >= 0 && stack[0].vt == VT_DISPATCH) ConvertVariableToValue(stack[0]);
}
