// Structural queries against a small tree built from the input: the first
// bytes shape the tree (each byte adds an element under an earlier one,
// named from a short list that repeats names and mixes case and scripts),
// the rest is split on a newline into a formula and a raw query key. The
// formula runs on every element through both ways of filling its values;
// the key goes through the resolver and the element members. Nothing may
// read out of bounds, crash, hang or leak.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "tarvex/element/element.h"
#include "tarvex/formula/compiledfunction.h"
#include "tarvex/formula/structquery.h"
#include "tarvex/platform/codepage.h"

namespace {

const char16_t* const kNames[] = {u"a", u"A", u"b", u"x", u"Труба", u"ТРУБА", u"", u"p q"};

std::vector<CElement*> BuildTree(CElement& root, std::string_view shape) {
    std::vector<CElement*> all{&root};
    for (unsigned char byte : shape) {
        CElement* parent = all[byte % all.size()];
        CElement* child = parent->AddChild(kNames[(byte >> 3) % 8]);
        child->SetParameter(u"A", int(all.size()));
        if (byte & 1) child->SetParameter(u"B", u"x", u"comment");
        all.push_back(child);
    }
    return all;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::size_t shapeSize = std::min<std::size_t>(data[0] % 24, size - 1);
    const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::string_view shape = bytes.substr(0, shapeSize);
    std::string_view rest = bytes.substr(shapeSize);
    if (rest.size() > 4096) rest = rest.substr(0, 4096);
    const std::size_t newline = rest.find('\n');
    const CString formula = tarvex::FromUtf8(rest.substr(0, newline));
    const CString key =
        newline == std::string_view::npos ? CString() : tarvex::FromUtf8(rest.substr(newline + 1));

    CElement root(u"root");
    root.SetParameter(u"A", u"0");
    const std::vector<CElement*> all = BuildTree(root, shape);

    CCompiledFunction function;
    const bool compiled = function.Initialize(formula.GetString(), all.back());
    CString out;
    for (CElement* element : all) {
        if (compiled) {
            function.SetParameters(element);
            function.CountStr(out);
            function.GetVariables().SetVarValues(element, nullptr, 0);
            function.CountStr(out);
        }
        CString text, error;
        CElement* owner = nullptr;
        ResolveStructuralKey(element, key.GetString(), text, &owner);
        element->QueryParameter(key.GetString(), error, owner);
        element->QueryParameterInherited(key.GetString(), error, true);
        element->StructQueryChild(key.GetString());
        CStructQuery::ExtractParamName(key.GetString(), true);
    }
    CCompiledFunction::CountStrS(out, formula.GetString(), all.front());
    return 0;
}
