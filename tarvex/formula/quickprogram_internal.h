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
    // count to the walk.
    bool Run(CVariablesContainerBase* vars, double& result) const {
        // Every program reads a variable (one without is a constant function,
        // counted once), so no container means the walk's error.
        if (!vars) return false;
        if (m_nLoneVariable < 0) return RunSteps(vars, result);
        const VARIANT* v = vars->DirectValue(m_nLoneVariable);
        if (!v || v->vt != VT_R8) return false;
        result = v->dblVal;
        return true;
    }

    // VT_R8, VT_BOOL or VT_I4.
    VARTYPE ResultType() const { return m_nResultType; }
    // The slots the walk on variants would use at most: on a stack of this
    // many or fewer it fails (error 115), and the program must not run.
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
        // A push and the operation on it in one step. The left operand is a
        // variable (V: `arg`) or a constant (C: `value`), and so is the right
        // one (V: `arg2`, or `arg` after a constant).
        opPushAddVV,
        opPushAddVC,
        opPushAddCV,
        opPushSubVV,
        opPushSubVC,
        opPushSubCV,
        opPushMulVV,
        opPushMulVC,
        opPushMulCV,
        opPushDivVV,
        opPushDivCV,
        opPushEqVV,
        opPushEqVC,
        opPushNeVV,
        opPushNeVC,
        opPushLtVV,
        opPushLtVC,
        opPushGtVV,
        opPushGtVC,
        opPushLeVV,
        opPushLeVC,
        opPushGeVV,
        opPushGeVC,
    };

    struct CStep {
        EOp op;
        std::int32_t arg;  // variable index, argument count or step index
        std::int32_t arg2; // a second variable index
        double value;      // a constant
    };

private:
    friend class CQuickProgramBuilder;

    // Hidden: called straight, not through the library's symbol table.
    [[gnu::visibility("hidden")]] bool RunSteps(CVariablesContainerBase* vars,
                                                double& result) const;

    std::vector<CStep> m_Steps;
    // A formula of one variable, read without the loop; else -1.
    std::int32_t m_nLoneVariable = -1;
    VARTYPE m_nResultType = VT_R8;
    int m_nDepth = 0;
};
