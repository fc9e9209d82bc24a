#include "tarvex/forms/hlist.h"

#include <vector>

#include "tarvex/core/hostui.h"
#include "tarvex/dictionary/dblink.h"
#include "tarvex/element/element.h"
#include "tarvex/formula/compiledfunction.h"

namespace {

constexpr char16_t kSysDbUid[] = u"SYS_DB_UID";

bool IsBlank(char16_t ch) {
    return ch == u' ' || ch == u'\t' || ch == u'\r' || ch == u'\n';
}

} // namespace

// ------------------------------------------------------------------ tokens --

bool CTemplateToken::IsA(const CString& text, int& position, bool advance) const {
    const int size = pattern.GetLength();
    if (position < 0 || position > text.GetLength() - size) return false;
    for (int i = 0; i < size; ++i)
        if (text[position + i] != pattern[i]) return false;
    if (advance) position += size;
    return true;
}

CTokenizer::CTokenizer() : CIndirectArray<CTemplateToken>(10, 10, true, -8) {
    Add(new CTemplateToken(u"@", CToken::eIdentifierMark));
    Add(new CTemplateToken(u"(", CToken::eOpenBracket));
    Add(new CTemplateToken(u")", CToken::eCloseBracket));
    Add(new CTemplateToken(u",", CToken::eSeparator));
    Add(new CTemplateToken(u"HList", CToken::eWord));
    Add(new CTemplateToken(u":", CToken::eColon));
}

void CTokenizer::Parse(const CString& text, CIndirectArray<CToken>& out) const {
    const int length = text.GetLength();
    // The template that matches at `at`, or null.
    auto match = [&](int at) -> const CTemplateToken* {
        for (int64_t i = 0; i < GetLength(); ++i) {
            int position = at;
            if ((*this)[i]->IsA(text, position, false)) return (*this)[i];
        }
        return nullptr;
    };
    int position = 0;
    while (position < length) {
        while (position < length && IsBlank(text[position])) ++position;
        if (position >= length) break;
        auto* token = new CToken;
        token->start = position;
        if (const CTemplateToken* found = match(position)) {
            token->type = found->type;
            position += found->GetPattern().GetLength();
        } else {
            token->type = CToken::eText;
            ++position;
            while (position < length && match(position) == nullptr) ++position;
        }
        token->end = position;
        out.Add(token);
    }
}

// -------------------------------------------------------------- controller --

CHierarchicalListController::~CHierarchicalListController() {
    delete source;
}

void CHierarchicalListController::Simplify() {
    const int64_t count = tokens.GetLength();
    // Pair the k-th opening bracket with the k-th closing one from the end;
    // from the second pair inwards everything becomes text.
    int64_t open = -1;
    int64_t close = count;
    for (int depth = 0;; ++depth) {
        int64_t nextOpen = open + 1;
        while (nextOpen < close && tokens[nextOpen]->type != CToken::eOpenBracket) ++nextOpen;
        int64_t nextClose = close - 1;
        while (nextClose > nextOpen && tokens[nextClose]->type != CToken::eCloseBracket)
            --nextClose;
        if (nextOpen >= close || nextClose <= nextOpen) break;
        open = nextOpen;
        close = nextClose;
        if (depth == 1) {
            for (int64_t i = open; i <= close; ++i) tokens[i]->type = CToken::eText;
            break;
        }
    }
    for (int64_t i = 1; i < tokens.GetLength();) {
        if (tokens[i]->type == CToken::eText && tokens[i - 1]->type == CToken::eText) {
            tokens[i - 1]->end = tokens[i]->end;
            tokens.Delete(i);
        } else {
            ++i;
        }
    }
}

bool CHierarchicalListController::Fail(bool showErrors, const char16_t* reason, int position) {
    lastError = reason;
    lastErrorPosition = position;
    if (showErrors) {
        CString text;
        text.Format(u"%s. Символ %d.", reason, position);
        MessageBoxW(nullptr, text, u"", MB_ICONSTOP);
    }
    return false;
}

CString CHierarchicalListController::TokenText(int64_t index) const {
    const CToken& token = *tokens[index];
    return data.Mid(token.start, token.end - token.start);
}

CString CHierarchicalListController::CleanGuid(const char16_t* text) {
    CString guid(text);
    guid.Trim();
    guid.Remove(u'{');
    guid.Remove(u'}');
    return guid;
}

bool CHierarchicalListController::Init(bool showErrors) {
    tokens.Clear();
    tokenizer.Parse(data, tokens);
    parsed.reset();
    lastError.Empty();
    lastErrorPosition = 0;
    Simplify();

    const int64_t count = tokens.GetLength();
    int64_t at = 0;
    auto is = [&](CToken::ETokenType type) { return at < count && tokens[at]->type == type; };
    // End of the token before `at`.
    auto before = [&]() { return at > 0 ? tokens[(at <= count ? at : count) - 1]->end : 0; };
    static constexpr char16_t kIntegrity[] = u"Нарушена целостность выражения";
    static constexpr char16_t kArgument[] = u"Отсутствует аргумент функции";
    static constexpr char16_t kSeparator[] = u"Отсутствует разделитель \",\"";

    if (!is(CToken::eIdentifierMark))
        return Fail(showErrors, u"Не найден идентификатор списка \"@\"", 0);
    ++at;
    if (!is(CToken::eWord)) return Fail(showErrors, kIntegrity, before());
    ++at;
    if (!is(CToken::eOpenBracket))
        return Fail(showErrors, u"Отсутствует открывающая скобка \"(\"", before());
    ++at;
    if (!is(CToken::eText)) return Fail(showErrors, kArgument, before());
    auto result = std::make_unique<Parsed>();
    result->data = &data;
    result->sourceGuid = CleanGuid(TokenText(at++));
    if (is(CToken::eColon)) {
        ++at;
        if (!is(CToken::eText)) return Fail(showErrors, kArgument, before());
        result->selectedItemGuid = CleanGuid(TokenText(at++));
    }
    if (!is(CToken::eSeparator)) return Fail(showErrors, kSeparator, before());
    ++at;
    if (!is(CToken::eText)) return Fail(showErrors, kArgument, before());
    result->itemNameFormula = TokenText(at++);
    if (!is(CToken::eSeparator)) return Fail(showErrors, kSeparator, before());
    ++at;
    if (!is(CToken::eText)) return Fail(showErrors, kArgument, before());
    result->paramTransfers = TokenText(at++);
    if (!is(CToken::eCloseBracket))
        return Fail(showErrors, u"Отсутствует закрывающая скобка \")\"", before());
    ++at;
    if (at < count) return Fail(showErrors, kIntegrity, tokens[at - 1]->end);
    parsed = std::move(result);
    return true;
}

const char16_t* CHierarchicalListController::GetSourceGuid() const {
    return parsed ? parsed->sourceGuid.GetString() : u"";
}
const char16_t* CHierarchicalListController::GetSelectedItemGuid() const {
    return parsed ? parsed->selectedItemGuid.GetString() : u"";
}
const char16_t* CHierarchicalListController::GetItemNameFormula() const {
    return parsed ? parsed->itemNameFormula.GetString() : u"";
}
const char16_t* CHierarchicalListController::GetParamTransfersPsz() const {
    return parsed ? parsed->paramTransfers.GetString() : u"";
}

void CHierarchicalListController::SetSourceGuid(const char16_t* guid) {
    if (guid == nullptr || !parsed) return;
    parsed->sourceGuid = CleanGuid(guid);
    parsed->selectedItemGuid.Empty();
    parsed->itemNameFormula.Empty();
    parsed->paramTransfers.Empty();
}

void CHierarchicalListController::SetSelectedItemGuid(const char16_t* guid) {
    if (guid == nullptr || !parsed) return;
    parsed->selectedItemGuid = CleanGuid(guid);
}

void CHierarchicalListController::SetItemNameFormula(const char16_t* text) {
    if (parsed) parsed->itemNameFormula = text;
}

void CHierarchicalListController::SetParamTransfers(const char16_t* text) {
    if (parsed) parsed->paramTransfers = text;
}

void CHierarchicalListController::GetParamTransfers(CIndirectArray<CString>& out) const {
    if (!parsed || parsed->paramTransfers.IsEmpty()) return;
    const CString& text = parsed->paramTransfers;
    int start = 0;
    for (;;) {
        int end = text.Find(u';', start);
        auto* token = new CString(text.Mid(start, (end < 0 ? text.GetLength() : end) - start));
        token->Trim();
        out.Add(token);
        if (end < 0) break;
        start = end + 1;
    }
}

void CHierarchicalListController::GetNewValueComment(CString& out) const {
    CString guids(u"[GUID справочника]");
    CString formula(u"[Формула элемента списка]");
    CString transfers(u"[Инструкции перемещения]");
    if (parsed) {
        if (parsed->sourceGuid.IsEmpty()) return;
        guids.Format(u"{%s}", parsed->sourceGuid.GetString());
        if (!parsed->selectedItemGuid.IsEmpty())
            guids.AppendFormat(u":{%s}", parsed->selectedItemGuid.GetString());
        formula = parsed->itemNameFormula;
        transfers = parsed->paramTransfers;
    }
    out.Format(u"@HList(%s,%s,%s)", guids.GetString(), formula.GetString(), transfers.GetString());
}

// ------------------------------------------------------------- source data --

bool CHierarchicalListController::OnDataCollect(CDBLink* link) {
    delete source;
    source = nullptr;
    CParamDefs* defs = nullptr;
    if (link != nullptr) {
        defs = link->GetParamDefs();
    } else {
        GetGlobalParamDefs(defs, false);
        if (defs != nullptr) link = defs->GetDBLink();
    }
    if (defs == nullptr || link == nullptr) return false;
    if (!parsed || parsed->sourceGuid.IsEmpty()) return false;
    const CElement* element = link->GetObjectElement(parsed->sourceGuid);
    if (element == nullptr) return false;
    source = new CElement(*element);

    CIndirectArray<CString> names;
    GetParamTransfers(names);
    for (int64_t i = 0; i < names.GetLength(); ++i) {
        if (names[i]->IsEmpty() || extended.GetParam(*names[i]) != nullptr) continue;
        if (const CParamDef* def = defs->GetParam(*names[i])) extended.AddParamCopy(*def, true);
    }
    return true;
}

bool CHierarchicalListController::OnDataCollect(const CString& xmlText) {
    delete source;
    source = new CElement;
    if (source->ReadFromXML(xmlText)) return true;
    delete source;
    source = nullptr;
    return false;
}

bool CHierarchicalListController::GetListItems(CIndirectArray<CHListNode>& out) {
    if (!parsed) return false;
    CIndirectArray<CString> names;
    GetParamTransfers(names);
    const int64_t pairs = names.GetLength() / 2;
    if (names.GetLength() == 0 || names.GetLength() % 2 != 0) return false;
    if (source == nullptr) return true;

    struct Step {
        CElement* element;
        CHListNode* parent; // the node of the nearest ancestor that gave one
    };
    // A loop, not recursion: source trees come from outside.
    std::vector<Step> pending;
    for (int64_t i = source->GetChildCount() - 1; i >= 0; --i)
        pending.push_back({source->GetChild(i), nullptr});
    while (!pending.empty()) {
        const Step step = pending.back();
        pending.pop_back();
        CElement* element = step.element;
        CHListNode* node = nullptr;
        try {
            CString name;
            CCompiledFunction function;
            bool counted = false;
            if (function.Initialize(parsed->itemNameFormula, element)) {
                function.SetParameters(element);
                counted = function.CountStr(name) != 0;
            }
            const CParam* uid = element->GetParameter(kSysDbUid);
            if (counted && uid != nullptr) {
                if (name.IsEmpty()) name = element->GetName();
                node = new CHListNode(name, uid->getstrValue());
                for (int64_t p = 0; p < pairs; ++p) {
                    const CString& from = *names[2 * p];
                    if (const CParam* param = element->GetParameter(from))
                        node->AddParamTransfer(
                            new CParamTransfer(from, *names[2 * p + 1], param->getstrValue()));
                }
            }
        } catch (...) {
            delete node;
            node = nullptr;
        }
        if (node != nullptr) {
            if (step.parent != nullptr)
                step.parent->AddChild(node);
            else
                out.Add(node);
        }
        CHListNode* parent = node != nullptr ? node : step.parent;
        for (int64_t i = element->GetChildCount() - 1; i >= 0; --i)
            pending.push_back({element->GetChild(i), parent});
    }
    return true;
}
