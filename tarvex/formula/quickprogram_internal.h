// CQuickProgram: a formula's token list again as steps on plain doubles, for
// the formulas whose every value is a real, an integer constant or a truth
// value, and whose result the walk on variants would give bit for bit.
//
// The types are settled once, when the program is made: each slot of the run
// has one kind (real, integer constant, truth value as 0 or 1) on every path
// through the `if` jumps, so the run itself carries no type and the result's
// type is known beforehand. What only the values can tell (a variable that is
// not a real, a divisor near zero, a right angle for tan...) makes the run
// give up, having changed nothing, and the walk on variants then does the
// same work and raises what it raises.
#pragma once

#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

#include "tarvex/formula/function.h"

class CQuickProgram {
public:
    // The most slots a run keeps on the machine stack.
    static constexpr int kSlots = 64;

    // The program of `function`'s steps, or null when a token, a type or
    // the shape of the jumps is beyond it.
    static std::unique_ptr<CQuickProgram> Make(const CFunction& function);

    // The value as the walk would leave it in slot 0, or false to leave the
    // count to the walk. Inlined where it is used: a call through the
    // library's symbol table would cost a third of a short formula.
    [[gnu::always_inline]] inline bool Run(CVariablesContainerBase* vars, double& result) const;

    // VT_R8, VT_BOOL or VT_I4.
    VARTYPE ResultType() const { return m_nResultType; }
    // The slots the walk on variants would use at most (it fails on a stack
    // this deep or less).
    int Depth() const { return m_nDepth; }

    // Stores a run's result as the walk would leave it; `out` may hold a value.
    void Store(double value, VARIANT& out) const {
        if (out.vt >= VT_BSTR && out.vt != VT_BOOL) VariantClear(&out);
        out.vt = m_nResultType;
        if (m_nResultType == VT_R8)
            out.dblVal = value;
        else if (m_nResultType == VT_BOOL)
            out.boolVal = value != 0 ? VARIANT_TRUE : VARIANT_FALSE;
        else
            out.lVal = std::int32_t(value); // an integer constant: exact
    }

    enum EOp : std::uint8_t {
        opConst,
        opVar,
        // Two operands on the stack; the V and C forms take the right one
        // from a variable or a constant instead.
        opAdd,
        opAddV,
        opAddC,
        opSub,
        opSubV,
        opSubC,
        opMul,
        opMulV,
        opMulC,
        opDiv,
        opDivV,
        opPow,
        opPowV,
        opPowC,
        // Comparisons on the sign of left - right, as the walk orders reals
        // (NaN above all). The R forms have an integer on the left and a real
        // on the right, which the walk orders by right - left, negated.
        opEq,
        opEqV,
        opEqC,
        opEqR,
        opNe,
        opNeV,
        opNeC,
        opNeR,
        opLt,
        opLtV,
        opLtC,
        opLtR,
        opGt,
        opGtV,
        opGtC,
        opGtR,
        opLe,
        opLeV,
        opLeC,
        opLeR,
        opGe,
        opGeV,
        opGeC,
        opGeR,
        opAnd,
        opOr,
        opXor,
        opNot,
        opNeg,
        opMin,
        opMax,
        opSin,
        opCos,
        opTan,
        opASin,
        opACos,
        opATan,
        opDeg,
        opRad,
        opExp,
        opLog,
        opSqr,
        opSqrt,
        opAbs,
        opGSin,
        opGCos,
        // Pops the condition; on false goes on at step `arg`.
        opIfFalse,
        // Goes on at step `arg` (the end of the program included).
        opJump,
    };

    struct CStep {
        EOp op;
        std::int32_t arg; // variable index, argument count or step index
        double value;     // a constant
    };

private:
    friend class CQuickProgramBuilder;

    std::vector<CStep> m_Steps;
    // A formula of one variable, read without the loop; else -1.
    std::int32_t m_nLoneVariable = -1;
    VARTYPE m_nResultType = VT_R8;
    int m_nDepth = 0;
};

namespace tarvex::detail {

// The order the walk gives two reals is the sign of their difference, with
// NaN above: each comparison is a test of that difference.
inline bool QuickEq(double d) {
    return d == 0;
}
inline bool QuickNe(double d) {
    return !(d == 0);
}
inline bool QuickLt(double d) {
    return d < 0;
}
inline bool QuickGt(double d) {
    return !(d < 0 || d == 0);
}
inline bool QuickLe(double d) {
    return d < 0 || d == 0;
}
inline bool QuickGe(double d) {
    return !(d < 0);
}

// An integer x against a real y is ordered as the negated order of y - x:
// the same sign but for NaN, which then counts below.
inline double QuickReversedDifference(double x, double y) {
    const double d = y - x;
    return d == d ? -d : -1.0;
}

} // namespace tarvex::detail

bool CQuickProgram::Run(CVariablesContainerBase* vars, double& result) const {
    using namespace tarvex::detail;
    // Every program reads a variable (one without is a constant function,
    // counted once), so no container means the walk's error.
    if (!vars) return false;
    if (m_nLoneVariable >= 0) {
        const VARIANT* v = vars->DirectValue(m_nLoneVariable);
        if (!v || v->vt != VT_R8) return false;
        result = v->dblVal;
        return true;
    }
    // The top of the stack stays in a register; the values under it are in
    // slots[1..]. slots[0] is under the bottom, read only by an `if` that
    // pops the last value, and never used.
    double slots[kSlots + 1];
    slots[0] = 0.0;
    double* below = slots;
    double top = 0.0;
    const CStep* const first = m_Steps.data();
    const CStep* const end = first + m_Steps.size();
    double y;
// The right operand of a V form: a variable's value, if it is a real.
#define TX_QUICK_VAR(target)                                                                       \
    do {                                                                                           \
        const VARIANT* v = vars->DirectValue(s->arg);                                              \
        if (!v || v->vt != VT_R8) return false;                                                    \
        target = v->dblVal;                                                                        \
    } while (0)
// One comparison in its four forms.
#define TX_QUICK_COMPARE(name, test)                                                               \
    case op##name:                                                                                 \
        top = test(*below-- - top) ? 1.0 : 0.0;                                                    \
        break;                                                                                     \
    case op##name##V:                                                                              \
        TX_QUICK_VAR(y);                                                                           \
        top = test(top - y) ? 1.0 : 0.0;                                                           \
        break;                                                                                     \
    case op##name##C:                                                                              \
        top = test(top - s->value) ? 1.0 : 0.0;                                                    \
        break;                                                                                     \
    case op##name##R:                                                                              \
        top = test(QuickReversedDifference(*below--, top)) ? 1.0 : 0.0;                            \
        break;
    for (const CStep* s = first; s != end; ++s) {
        switch (s->op) {
        case opConst:
            *++below = top;
            top = s->value;
            break;
        case opVar:
            TX_QUICK_VAR(y);
            *++below = top;
            top = y;
            break;
        case opAdd:
            top = *below-- + top;
            break;
        case opAddV:
            TX_QUICK_VAR(y);
            top += y;
            break;
        case opAddC:
            top += s->value;
            break;
        case opSub:
            top = *below-- - top;
            break;
        case opSubV:
            TX_QUICK_VAR(y);
            top -= y;
            break;
        case opSubC:
            top -= s->value;
            break;
        case opMul:
            top = *below-- * top;
            break;
        case opMulV:
            TX_QUICK_VAR(y);
            top *= y;
            break;
        case opMulC:
            top *= s->value;
            break;
        case opDiv:
            if (std::fabs(top) < 1e-12) return false;
            top = *below-- / top;
            break;
        case opDivV:
            TX_QUICK_VAR(y);
            if (std::fabs(y) < 1e-12) return false;
            top /= y;
            break;
        case opPow:
            top = std::exp(std::log(*below--) * top);
            break;
        case opPowV:
            TX_QUICK_VAR(y);
            top = std::exp(std::log(top) * y);
            break;
        case opPowC:
            top = std::exp(std::log(top) * s->value);
            break;
            TX_QUICK_COMPARE(Eq, QuickEq)
            TX_QUICK_COMPARE(Ne, QuickNe)
            TX_QUICK_COMPARE(Lt, QuickLt)
            TX_QUICK_COMPARE(Gt, QuickGt)
            TX_QUICK_COMPARE(Le, QuickLe)
            TX_QUICK_COMPARE(Ge, QuickGe)
        case opAnd: {
            const bool left = *below-- != 0;
            top = left && top != 0 ? 1.0 : 0.0;
            break;
        }
        case opOr: {
            const bool left = *below-- != 0;
            top = left || top != 0 ? 1.0 : 0.0;
            break;
        }
        case opXor: {
            const bool left = *below-- != 0;
            top = left != (top != 0) ? 1.0 : 0.0;
            break;
        }
        case opNot:
            top = top == 0 ? 1.0 : 0.0;
            break;
        case opNeg:
            top = -top;
            break;
        case opMin:
        case opMax: {
            // The first of equal values stays, as the walk keeps it.
            const double* args = below - (s->arg - 2);
            double best = args[0];
            for (int i = 1; i < s->arg - 1; ++i)
                if (s->op == opMin ? args[i] < best : args[i] > best) best = args[i];
            if (s->op == opMin ? top < best : top > best) best = top;
            top = best;
            below -= s->arg - 1;
            break;
        }
        case opSin:
            top = std::sin(top);
            break;
        case opCos:
            top = std::cos(top);
            break;
        case opTan:
            if (std::fabs(std::fabs(top) - 1.5707963267948966) < 1e-12) return false;
            top = std::tan(top);
            break;
        case opASin:
            top = std::asin(top);
            break;
        case opACos:
            top = std::acos(top);
            break;
        case opATan:
            top = std::atan(top);
            break;
        case opDeg:
            top = top * 57.29577951308232;
            break;
        case opRad:
            top = top * 0.017453292519943295;
            break;
        case opExp:
            top = std::exp(top);
            break;
        case opLog:
            top = std::log(top);
            break;
        case opSqr:
            top = top * top;
            break;
        case opSqrt:
            if (top < -1e-12) return false;
            top = std::sqrt(top);
            break;
        case opAbs:
            top = std::fabs(top);
            break;
        case opGSin:
            top = std::sin(top * 3.141592653589793 / 180.0);
            break;
        case opGCos:
            top = std::cos(top * 3.141592653589793 / 180.0);
            break;
        case opIfFalse: {
            // The walk's AsBool of a real or a truth value: not zero, NaN true.
            const bool taken = top != 0;
            top = *below--;
            if (!taken) s = first + s->arg - 1;
            break;
        }
        case opJump:
            s = first + s->arg - 1;
            break;
        }
    }
#undef TX_QUICK_COMPARE
#undef TX_QUICK_VAR
    result = top;
    return true;
}
