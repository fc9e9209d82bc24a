// Arbitrary text through the formula language: compile, evaluate twice (the
// second run meets the constant cache), render, print back, scan for identifiers and
// replace them; then every function name with argument lists drawn from the
// input. Every failure must be a CSyntaxError (or the HRESULT thrown by
// localdatetime), never a crash, hang, leak or overflow.
#include <cstddef>
#include <cstdint>
#include <random>
#include <string_view>

#include "tarvex/formula/elementcompiler.h"
#include "tarvex/formula/functioncompiler.h"
#include "tarvex/formula/reverseengeneer.h"
#include "tarvex/geometry/vector3d.h"
#include "tarvex/platform/codepage.h"
#include "tarvex/platform/safearray.h"

namespace {

// Accepts any name; the values cycle by index through the types a formula
// meets, an empty one included.
class AnyVariables : public CVariablesContainer {
public:
    int GetVarValue(std::int64_t index, VARIANT& out) override {
        switch (index % 8) {
        case 0:
            out.vt = VT_R8;
            out.dblVal = 2.5;
            return 1;
        case 1:
            out.vt = VT_I4;
            out.lVal = -7;
            return 1;
        case 2:
            out.vt = VT_BSTR;
            out.bstrVal = SysAllocString(u"a,b;1");
            return 1;
        case 3:
            out.vt = VT_BOOL;
            out.boolVal = VARIANT_TRUE;
            return 1;
        case 4: {
            SAFEARRAY* array = SafeArrayCreateVector(VT_R8, 0, 3);
            double values[3] = {1, 2, 3};
            for (LONG i = 0; i < 3; ++i) SafeArrayPutElement(array, &i, &values[i]);
            out.vt = VT_ARRAY | VT_R8;
            out.parray = array;
            return 1;
        }
        case 5:
            return 0;
        case 6:
            out.vt = VT_DATE;
            out.dblVal = 43831.5;
            return 1;
        default: {
            SAFEARRAY* array = SafeArrayCreateVector(VT_BSTR, 0, 2);
            for (LONG i = 0; i < 2; ++i) {
                BSTR s = SysAllocString(i ? u"y" : u"x");
                SafeArrayPutElement(array, &i, s);
                SysFreeString(s);
            }
            out.vt = VT_ARRAY | VT_BSTR;
            out.parray = array;
            return 1;
        }
        }
    }
};

void Run(CFunctionCompiler& compiler, const char16_t* text) {
    AnyVariables vars;
    try {
        compiler.InitCompiler();
        CFunction* function = compiler.Function(text, &vars);
        try {
            VARIANT out;
            VariantInit(&out);
            function->Count(out, &vars);
            VariantClear(&out);
            CString rendered;
            function->Count(rendered, &vars);
            CFunction copy(*function);
            copy.Count(rendered, &vars);
            // Whatever compiles prints back or says it cannot.
            CFunctionReverseEngeneer printer;
            CString printed;
            try {
                printer.ReverseEngeneer(function, &vars, printed);
            } catch (const CSyntaxError&) {
            }
        } catch (...) {
            delete function;
            throw;
        }
        delete function;
    } catch (const CSyntaxError&) {
    } catch (const CKVException&) {
    } catch (HRESULT) {
    } catch (const std::bad_alloc&) {
    }
}

const char16_t* const kFunctions[] = {
    u"sin",       u"cos",      u"tan",           u"asin",
    u"acos",      u"atan",     u"log",           u"exp",
    u"sqrt",      u"int",      u"real",          u"sqr",
    u"string",    u"abs",      u"length",        u"ucase",
    u"lcase",     u"deg",      u"rad",           u"gsin",
    u"gcos",      u"gtan",     u"isset",         u"plainText",
    u"normal",    u"perp",     u"totime",        u"datestr",
    u"timestr",   u"datetime", u"localdatetime", u"instr",
    u"split",     u"substr",   u"replace",       u"wrap",
    u"if",        u"format",   u"vector",        u"angle",
    u"slope",     u"rotate",   u"dotproduct",    u"scale",
    u"distance",  u"min",      u"max",           u"object",
    u"hierarchy", u"case",     u"formatList",    u"clp_short_code",
    u"sum",       u"not",
};

const char16_t* const kArguments[] = {
    u"1",
    u"0",
    u"-1",
    u"2.5",
    u"1e300",
    u"0-2147483647-1",
    u"\"\"",
    u"\"abc\"",
    u"\"%d %s %%\"",
    u"\"%*d\"",
    u"\"%999999999d\"",
    u"\"%s%s\"",
    u"\"a,,b,\"",
    u"\",\"",
    u"\"2020-01-02 03:04\"",
    u"\"1960-01-01 00:00\"",
    u"vector(1,2,3)",
    u"vector(0,0,0)",
    u"true",
    u"ctime",
    u"x",
    u"y",
    u"z",
    u"w",
    u"split(\"a,b\", \",\")",
    u"sortAsc",
    u"compactFull",
    u"numSrchBack",
    u"\"%\"",
    u"\"Ёж\"",
    u"rad(90)",
    u"pi",
};

void CallEveryFunction(CFunctionCompiler& compiler, const std::uint8_t* data, std::size_t size) {
    std::uint32_t mix = 2166136261u;
    for (std::size_t i = 0; i < size; ++i) mix = (mix ^ data[i]) * 16777619u;
    std::mt19937 rng(mix);
    for (const char16_t* name : kFunctions) {
        CString text(name);
        text += u"(";
        const int count = int(rng() % 5);
        for (int i = 0; i < count; ++i) {
            if (i) text += u", ";
            text += kArguments[rng() % (sizeof(kArguments) / sizeof(kArguments[0]))];
        }
        text += u")";
        Run(compiler, text);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > 4096) return 0;
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    CString text = tarvex::FromUtf8(bytes);
    CFunctionCompiler compiler;
    Run(compiler, text);
    // The element words: script objects, vec3, queries.
    qrksFunctionCompiler elementCompiler;
    Run(elementCompiler, text);

    CCompiler scanner;
    const char16_t* names[] = {u"x", u"sin"};
    scanner.FindIdentifiers(text, names, 2);
    CString replaced;
    CCompiler::ReplaceIdentifier(text, u"x", u"", replaced, true);

    const int half = text.GetLength() / 2;
    const CString left = text.Left(half), right = text.Mid(half);
    CFunction::IsLike(left, right);
    CFunction::FormatList(left, right.Left(1), 1, 2, u"-", u", ", 1);
    CFunction::FormatList(left, u",", 2, 1, right, u";", 0);

    CallEveryFunction(compiler, data, size);
    return 0;
}
