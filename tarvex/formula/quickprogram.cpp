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

// The push form of a binary operation whose operands are both pushed just
// before it, if it has one.
std::optional<Op> PushFormOf(Op stackForm, bool leftVariable, bool rightVariable) {
    // The forms follow each other as VV, VC, CV; division has no VC and the
    // comparisons no CV.
    int first;
    bool hasVC = true, hasCV = true;
    switch (stackForm) {
    case Op::opAdd:
        first = Op::opPushAddVV;
        break;
    case Op::opSub:
        first = Op::opPushSubVV;
        break;
    case Op::opMul:
        first = Op::opPushMulVV;
        break;
    case Op::opDiv:
        first = Op::opPushDivVV;
        hasVC = false;
        break;
    case Op::opEq:
    case Op::opNe:
    case Op::opLt:
    case Op::opGt:
    case Op::opLe:
    case Op::opGe:
        first = Op::opPushEqVV + 2 * ((stackForm - Op::opEq) / 4);
        hasCV = false;
        break;
    default:
        return std::nullopt;
    }
    if (leftVariable && rightVariable) return Op(first);
    if (leftVariable) return hasVC ? std::optional<Op>(Op(first + 1)) : std::nullopt;
    if (rightVariable) return hasCV ? std::optional<Op>(Op(first + (hasVC ? 2 : 1))) : std::nullopt;
    return std::nullopt;
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
    void Emit(int index, Op op, std::int32_t arg = 0, double value = 0.0) {
        m_pProgram->m_Steps.push_back({op, arg, 0, value});
        m_Origin.push_back(index);
    }
    // Whether the quick step `back` places from the last is the plain push
    // made by the function's step `index`, with no jump landing right after.
    bool PushedBy(size_t back, int index) const;
    // Appends a binary operation, taking its right operand, and then its
    // left one, into the steps that only pushed them.
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
    std::vector<int> m_Origin; // by quick step, the function's step it came from
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

bool CQuickProgramBuilder::PushedBy(size_t back, int index) const {
    const std::vector<CQuickProgram::CStep>& steps = m_pProgram->m_Steps;
    if (index < 0 || steps.size() <= back || m_Landing[size_t(index) + 1]) return false;
    const size_t at = steps.size() - 1 - back;
    return m_Origin[at] == index && (steps[at].op == Op::opVar || steps[at].op == Op::opConst);
}

void CQuickProgramBuilder::EmitBinary(Op stackForm, int index, bool fuseVariable,
                                      bool fuseConstant) {
    std::vector<CQuickProgram::CStep>& steps = m_pProgram->m_Steps;
    if (!PushedBy(0, index - 1)) return Emit(index, stackForm);
    const CQuickProgram::CStep right = steps.back();
    const bool rightVariable = right.op == Op::opVar;
    if (!(rightVariable ? fuseVariable : fuseConstant)) return Emit(index, stackForm);
    if (PushedBy(1, index - 2)) {
        const bool leftVariable = steps[steps.size() - 2].op == Op::opVar;
        if (std::optional<Op> push = PushFormOf(stackForm, leftVariable, rightVariable)) {
            steps.pop_back();
            m_Origin.pop_back();
            CQuickProgram::CStep& fused = steps.back();
            fused.op = *push;
            if (leftVariable && rightVariable)
                fused.arg2 = right.arg;
            else if (leftVariable)
                fused.value = right.value;
            else
                fused.arg = right.arg;
            m_Origin.back() = index;
            return;
        }
    }
    steps.back().op = Op(stackForm + (rightVariable ? 1 : 2));
    m_Origin.back() = index;
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
        Emit(index, Op::opConst, 0, v->vt == VT_R8 ? v->dblVal : double(v->lVal));
        kinds.push_back(v->vt == VT_R8 ? EKind::Real : EKind::Integer);
        return true;
    }
    if (tag == CFunction::ttVariable) {
        // Only a real value stays in the run; any other leaves it.
        if (t->m_nArg < 0 || t->m_nArg > INT32_MAX) return false;
        Emit(index, Op::opVar, std::int32_t(t->m_nArg));
        kinds.push_back(EKind::Real);
        return true;
    }

    if (tag == CFunction::ttIf || tag == CFunction::ttTransition) {
        // A jump to step j goes on after it; no jump leads back.
        const int target = step.jump < 0 ? int(m_Function.m_Program.size()) : step.jump + 1;
        if (target <= index) return false;
        if (tag == CFunction::ttIf) {
            if (depth < 1 || !IsTruth(kinds.back())) return false;
            kinds.pop_back();
            Emit(index, Op::opIfFalse);
        } else {
            Emit(index, Op::opJump);
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
            Emit(index, Op(*op + 3));
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
        Emit(index, tag == CFunction::ttAnd  ? Op::opAnd
                    : tag == CFunction::ttOr ? Op::opOr
                                             : Op::opXor);
        kinds.pop_back();
        kinds.back() = EKind::Boolean;
        return true;
    }
    case CFunction::ttNot:
        if (depth < 1 || !IsTruth(kinds.back())) return false;
        Emit(index, Op::opNot);
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
        Emit(index, tag == CFunction::ttMin ? Op::opMin : Op::opMax, std::int32_t(n));
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
        Emit(index, Op::opNeg);
        return true;
    default:
        break;
    }

    std::optional<Op> function = FunctionOf(tag);
    if (!function || depth < 1 || kinds.back() == EKind::Boolean) return false;
    // The square and abs keep an integer an integer.
    if (kinds.back() == EKind::Integer && (tag == CFunction::ttSqr || tag == CFunction::ttAbs))
        return false;
    Emit(index, *function);
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
    // The walk refuses a list that doesn't begin with a value (error 150).
    const CFunction::TTag head = program[0].token->m_nTag;
    if (head != CFunction::ttConstant && head != CFunction::ttNamedConstant &&
        head != CFunction::ttVariable)
        return nullptr;

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

// ---------------------------------------------------------------------------
// Running

namespace {

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

} // namespace

bool CQuickProgram::RunSteps(CVariablesContainerBase* vars, double& result) const {
    // The top of the stack stays in a register; the values under it are in
    // slots[1..]. slots[0] is under the bottom, read only by an `if` that
    // pops the last value, and never used.
    double slots[kSlots + 1];
    slots[0] = 0.0;
    double* below = slots;
    double top = 0.0;
    const CStep* const first = m_Steps.data();
    const CStep* const end = first + m_Steps.size();
    double x, y;
// A variable's value, if it is a real; else the run gives up.
#define TX_QUICK_VAR_AT(target, index)                                                             \
    do {                                                                                           \
        const VARIANT* v = vars->DirectValue(index);                                               \
        if (!v || v->vt != VT_R8) return false;                                                    \
        target = v->dblVal;                                                                        \
    } while (0)
#define TX_QUICK_VAR(target) TX_QUICK_VAR_AT(target, s->arg)
// The push forms of an arithmetic operator.
#define TX_QUICK_PUSH_ARITHMETIC(name, op)                                                         \
    case opPush##name##VV:                                                                         \
        TX_QUICK_VAR_AT(x, s->arg);                                                                \
        TX_QUICK_VAR_AT(y, s->arg2);                                                               \
        *++below = top;                                                                            \
        top = x op y;                                                                              \
        break;                                                                                     \
    case opPush##name##VC:                                                                         \
        TX_QUICK_VAR_AT(x, s->arg);                                                                \
        *++below = top;                                                                            \
        top = x op s->value;                                                                       \
        break;                                                                                     \
    case opPush##name##CV:                                                                         \
        TX_QUICK_VAR_AT(y, s->arg);                                                                \
        *++below = top;                                                                            \
        top = s->value op y;                                                                       \
        break;
// The push forms of a comparison.
#define TX_QUICK_PUSH_COMPARE(name, test)                                                          \
    case opPush##name##VV:                                                                         \
        TX_QUICK_VAR_AT(x, s->arg);                                                                \
        TX_QUICK_VAR_AT(y, s->arg2);                                                               \
        *++below = top;                                                                            \
        top = test(x - y) ? 1.0 : 0.0;                                                             \
        break;                                                                                     \
    case opPush##name##VC:                                                                         \
        TX_QUICK_VAR_AT(x, s->arg);                                                                \
        *++below = top;                                                                            \
        top = test(x - s->value) ? 1.0 : 0.0;                                                      \
        break;
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
            TX_QUICK_PUSH_ARITHMETIC(Add, +)
            TX_QUICK_PUSH_ARITHMETIC(Sub, -)
            TX_QUICK_PUSH_ARITHMETIC(Mul, *)
        case opPushDivVV:
            TX_QUICK_VAR_AT(x, s->arg);
            TX_QUICK_VAR_AT(y, s->arg2);
            if (std::fabs(y) < 1e-12) return false;
            *++below = top;
            top = x / y;
            break;
        case opPushDivCV:
            TX_QUICK_VAR_AT(y, s->arg);
            if (std::fabs(y) < 1e-12) return false;
            *++below = top;
            top = s->value / y;
            break;
            TX_QUICK_PUSH_COMPARE(Eq, QuickEq)
            TX_QUICK_PUSH_COMPARE(Ne, QuickNe)
            TX_QUICK_PUSH_COMPARE(Lt, QuickLt)
            TX_QUICK_PUSH_COMPARE(Gt, QuickGt)
            TX_QUICK_PUSH_COMPARE(Le, QuickLe)
            TX_QUICK_PUSH_COMPARE(Ge, QuickGe)
        }
    }
#undef TX_QUICK_PUSH_COMPARE
#undef TX_QUICK_PUSH_ARITHMETIC
#undef TX_QUICK_COMPARE
#undef TX_QUICK_VAR
#undef TX_QUICK_VAR_AT
    result = top;
    return true;
}
