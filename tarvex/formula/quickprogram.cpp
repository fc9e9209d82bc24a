// Making the doubles program: one pass over the function's steps that follows
// the kind of every slot along each path, as the walk on variants would type
// it, and refuses whatever would make the two runs differ.
#include <algorithm>
#include <cmath>
#include <optional>

#include "tarvex/formula/quickprogram_internal.h"

namespace {

// What a slot holds in the walk: VT_R8, a VT_I4 that came from a constant,
// or a VT_BOOL of -1 or 0 (kept as 1 or 0).
enum class EKind : std::uint8_t { Real, Integer, Boolean };
using Kinds = std::vector<EKind>;

using Op = CQuickProgram::EOp;

// The one-argument functions whose real result needs nothing of the walk.
std::optional<Op> FunctionOf(CFunction::TTag tag) {
    switch (tag) {
    case CFunction::ttSin:
        return Op::opSin;
    case CFunction::ttCos:
        return Op::opCos;
    case CFunction::ttTan:
        return Op::opTan;
    case CFunction::ttASin:
        return Op::opASin;
    case CFunction::ttACos:
        return Op::opACos;
    case CFunction::ttATan:
        return Op::opATan;
    case CFunction::ttDeg:
        return Op::opDeg;
    case CFunction::ttRad:
        return Op::opRad;
    case CFunction::ttExp:
        return Op::opExp;
    case CFunction::ttLog:
        return Op::opLog;
    case CFunction::ttSqr:
        return Op::opSqr;
    case CFunction::ttSqrt:
        return Op::opSqrt;
    case CFunction::ttAbs:
        return Op::opAbs;
    case CFunction::ttGSin:
        return Op::opGSin;
    case CFunction::ttGCos:
        return Op::opGCos;
    default:
        return std::nullopt;
    }
}

// The stack form of a comparison; the V, C and R forms follow it in EOp.
std::optional<Op> ComparisonOf(CFunction::TTag tag) {
    switch (tag) {
    case CFunction::ttEqual:
        return Op::opEq;
    case CFunction::ttNotEqual:
        return Op::opNe;
    case CFunction::ttLess:
        return Op::opLt;
    case CFunction::ttGreater:
        return Op::opGt;
    case CFunction::ttLessOrEqual:
        return Op::opLe;
    case CFunction::ttGreaterOrEqual:
        return Op::opGe;
    default:
        return std::nullopt;
    }
}

// The stack form of an arithmetic operator; its V and C forms follow it.
std::optional<Op> ArithmeticOf(CFunction::TTag tag) {
    switch (tag) {
    case CFunction::ttIncrement:
        return Op::opAdd;
    case CFunction::ttDecrement:
        return Op::opSub;
    case CFunction::ttMultiply:
        return Op::opMul;
    case CFunction::ttDivide:
        return Op::opDiv;
    case CFunction::ttPower:
        return Op::opPow;
    default:
        return std::nullopt;
    }
}

bool IsTruth(EKind kind) {
    // What the walk's AsBool reads as not zero: a real (NaN true) or a truth
    // value. An integer's truth is its low 16 bits, which a double can't say.
    return kind == EKind::Real || kind == EKind::Boolean;
}

} // namespace

class CQuickProgramBuilder {
public:
    explicit CQuickProgramBuilder(const CFunction& function) : m_Function(function) {}

    std::unique_ptr<CQuickProgram> Make();

private:
    // Execution goes on at `target` (a step index; the count for the end)
    // with `kinds`; every path there must agree.
    bool Land(int target, const Kinds& kinds);
    bool Step(int index, Kinds& kinds, bool& reachable);
    // Appends a binary operation, taking its right operand into the step
    // before when that step only pushed it and no jump lands in between.
    void EmitBinary(Op stackForm, int index, bool fuseVariable, bool fuseConstant);

    const CFunction& m_Function;
    std::unique_ptr<CQuickProgram> m_pProgram = std::make_unique<CQuickProgram>();
    std::vector<std::optional<Kinds>> m_Landing; // by step index, the end last
    std::vector<int> m_StartOf;                  // the first quick step of each
    struct CJump {
        size_t quickStep;
        int target;
    };
    std::vector<CJump> m_Jumps;
    int m_nLastPush = -1; // the function's step whose push is the last quick step
};

std::unique_ptr<CQuickProgram> CQuickProgram::Make(const CFunction& function) {
    return CQuickProgramBuilder(function).Make();
}

bool CQuickProgramBuilder::Land(int target, const Kinds& kinds) {
    std::optional<Kinds>& landing = m_Landing[size_t(target)];
    if (!landing) {
        landing = kinds;
        return true;
    }
    return *landing == kinds;
}

void CQuickProgramBuilder::EmitBinary(Op stackForm, int index, bool fuseVariable,
                                      bool fuseConstant) {
    std::vector<CQuickProgram::CStep>& steps = m_pProgram->m_Steps;
    const bool fusable = m_nLastPush == index - 1 && !m_Landing[size_t(index)];
    if (fusable && fuseVariable && steps.back().op == Op::opVar) {
        steps.back().op = Op(stackForm + 1);
    } else if (fusable && fuseConstant && steps.back().op == Op::opConst) {
        steps.back().op = Op(stackForm + 2);
    } else {
        steps.push_back({stackForm, 0, 0.0});
    }
}

bool CQuickProgramBuilder::Step(int index, Kinds& kinds, bool& reachable) {
    const auto& step = m_Function.m_Program[size_t(index)];
    const CFunction::CToken* t = step.token;
    const CFunction::TTag tag = t->m_nTag;
    std::vector<CQuickProgram::CStep>& steps = m_pProgram->m_Steps;
    const size_t depth = kinds.size();

    if (tag == CFunction::ttConstant || tag == CFunction::ttNamedConstant) {
        const VARIANT* v = t->GetValue();
        if (!v || (v->vt != VT_R8 && v->vt != VT_I4)) return false;
        steps.push_back({Op::opConst, 0, v->vt == VT_R8 ? v->dblVal : double(v->lVal)});
        kinds.push_back(v->vt == VT_R8 ? EKind::Real : EKind::Integer);
        m_nLastPush = index;
        return true;
    }
    if (tag == CFunction::ttVariable) {
        // Only a real value stays in the run; any other leaves it.
        if (t->m_nArg < 0 || t->m_nArg > INT32_MAX) return false;
        steps.push_back({Op::opVar, std::int32_t(t->m_nArg), 0.0});
        kinds.push_back(EKind::Real);
        m_nLastPush = index;
        return true;
    }

    if (tag == CFunction::ttIf || tag == CFunction::ttTransition) {
        // A jump to step j goes on after it; no jump leads back.
        const int target = step.jump < 0 ? int(m_Function.m_Program.size()) : step.jump + 1;
        if (target <= index) return false;
        if (tag == CFunction::ttIf) {
            if (depth < 1 || !IsTruth(kinds.back())) return false;
            kinds.pop_back();
            steps.push_back({Op::opIfFalse, 0, 0.0});
        } else {
            steps.push_back({Op::opJump, 0, 0.0});
            reachable = false;
        }
        m_Jumps.push_back({steps.size() - 1, target});
        return Land(target, kinds);
    }

    if (std::optional<Op> op = ArithmeticOf(tag)) {
        if (depth < 2) return false;
        const EKind left = kinds[depth - 2], right = kinds[depth - 1];
        if (left == EKind::Boolean || right == EKind::Boolean) return false;
        // Integers alone keep integer arithmetic, which wraps; division and
        // power make reals of them.
        if (left == EKind::Integer && right == EKind::Integer && tag != CFunction::ttDivide &&
            tag != CFunction::ttPower)
            return false;
        // A constant divisor stays on the stack, where its test of zero is.
        EmitBinary(*op, index, true, tag != CFunction::ttDivide);
        kinds.pop_back();
        kinds.back() = EKind::Real;
        return true;
    }

    if (std::optional<Op> op = ComparisonOf(tag)) {
        if (depth < 2) return false;
        const EKind left = kinds[depth - 2], right = kinds[depth - 1];
        if (left == EKind::Real && right != EKind::Boolean)
            EmitBinary(*op, index, true, true);
        else if (left == EKind::Integer && right == EKind::Real)
            steps.push_back({Op(*op + 3), 0, 0.0});
        else
            return false; // truth values and two integers order as 16 and 32 bits
        kinds.pop_back();
        kinds.back() = EKind::Boolean;
        return true;
    }

    switch (tag) {
    case CFunction::ttAnd:
    case CFunction::ttOr:
    case CFunction::ttXOr: {
        if (depth < 2) return false;
        const EKind left = kinds[depth - 2], right = kinds[depth - 1];
        // xor works on the left's 16 bits: only a truth value's are known.
        if (tag == CFunction::ttXOr ? left != EKind::Boolean : !IsTruth(left)) return false;
        if (!IsTruth(right)) return false;
        steps.push_back({tag == CFunction::ttAnd  ? Op::opAnd
                         : tag == CFunction::ttOr ? Op::opOr
                                                  : Op::opXor,
                         0, 0.0});
        kinds.pop_back();
        kinds.back() = EKind::Boolean;
        return true;
    }
    case CFunction::ttNot:
        if (depth < 1 || !IsTruth(kinds.back())) return false;
        steps.push_back({Op::opNot, 0, 0.0});
        kinds.back() = EKind::Boolean;
        return true;
    case CFunction::ttMin:
    case CFunction::ttMax: {
        const std::int64_t n = t->m_nArg;
        if (n < 2 || n > std::int64_t(depth)) return false;
        bool anyReal = false;
        for (size_t i = depth - size_t(n); i < depth; ++i) {
            if (kinds[i] == EKind::Boolean) return false;
            anyReal = anyReal || kinds[i] == EKind::Real;
        }
        if (!anyReal) return false;
        steps.push_back({tag == CFunction::ttMin ? Op::opMin : Op::opMax, std::int32_t(n), 0.0});
        kinds.resize(depth - size_t(n) + 1);
        kinds.back() = EKind::Real;
        return true;
    }
    case CFunction::ttToReal:
        // A real already; an integer constant's value is its real.
        if (depth < 1 || kinds.back() == EKind::Boolean) return false;
        kinds.back() = EKind::Real;
        return true;
    case CFunction::ttSign:
        if (depth < 1 || kinds.back() != EKind::Real) return false;
        steps.push_back({Op::opNeg, 0, 0.0});
        return true;
    default:
        break;
    }

    std::optional<Op> function = FunctionOf(tag);
    if (!function || depth < 1 || kinds.back() == EKind::Boolean) return false;
    // The square and abs keep an integer an integer.
    if (kinds.back() == EKind::Integer && (tag == CFunction::ttSqr || tag == CFunction::ttAbs))
        return false;
    steps.push_back({*function, 0, 0.0});
    kinds.back() = EKind::Real;
    return true;
}

std::unique_ptr<CQuickProgram> CQuickProgramBuilder::Make() {
    const auto& program = m_Function.m_Program;
    const int count = int(program.size());
    // A constant function is counted once and kept; local variables and the
    // objects they stand for are the walk's.
    if (count == 0 || m_Function.m_bConstant || m_Function.m_Locals.GetLength()) return nullptr;
    // Count reads a lone variable by index 0 when the container holds one.
    if (count == 1 && program[0].token->m_nArg != 0) return nullptr;

    m_Landing.resize(size_t(count) + 1);
    m_StartOf.resize(size_t(count) + 1);
    std::optional<Kinds> state = Kinds{};
    int depth = 0;
    for (int i = 0; i < count; ++i) {
        m_StartOf[size_t(i)] = int(m_pProgram->m_Steps.size());
        if (const std::optional<Kinds>& landing = m_Landing[size_t(i)]) {
            if (!state)
                state = landing;
            else if (*state != *landing)
                return nullptr;
        }
        if (!state) return nullptr; // a step no path reaches
        bool reachable = true;
        if (!Step(i, *state, reachable)) return nullptr;
        depth = std::max(depth, int(state->size()));
        if (depth > CQuickProgram::kSlots) return nullptr;
        if (!reachable) state.reset();
    }
    m_StartOf[size_t(count)] = int(m_pProgram->m_Steps.size());
    // Every way to the end leaves one value of one kind.
    std::optional<Kinds>& end = m_Landing[size_t(count)];
    if (state && !Land(count, *state)) return nullptr;
    if (!end || end->size() != 1) return nullptr;
    switch (end->front()) {
    case EKind::Real:
        m_pProgram->m_nResultType = VT_R8;
        break;
    case EKind::Boolean:
        m_pProgram->m_nResultType = VT_BOOL;
        break;
    case EKind::Integer:
        m_pProgram->m_nResultType = VT_I4;
        break;
    }
    for (const CJump& jump : m_Jumps)
        m_pProgram->m_Steps[jump.quickStep].arg = m_StartOf[size_t(jump.target)];
    m_pProgram->m_nDepth = depth;
    if (count == 1) m_pProgram->m_nLoneVariable = m_pProgram->m_Steps[0].arg;
    return std::move(m_pProgram);
}
