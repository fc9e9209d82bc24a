// Hierarchical reference lists. A parameter's value comment
//   @HList(<source guid>[:<selected guid>], <item name formula>, <transfers>)
// binds it to the element tree of a library object: every element there with
// a "SYS_DB_UID" becomes a choice named by the formula, carrying the values
// to move into the chosen element's parameters ("source;target;..." pairs).
#pragma once
#include <cstdint>
#include <memory>

#include "tarvex/core/indirectarray.h"
#include "tarvex/dictionary/paramdefs.h"
#include "tarvex/platform/cstring.h"

class CDBLink;
class CElement;

struct CToken {
    enum ETokenType : std::int32_t {
        eOpenBracket = 0,
        eCloseBracket = 1,
        eWord = 2,
        eSeparator = 3,
        eText = 4,
        eIdentifierMark = 5,
        eColon = 6,
    };
    std::int32_t start = 0;
    std::int32_t end = 0; // one past the last character
    ETokenType type = eText;
};

class CTemplateToken : public CToken {
public:
    CTemplateToken(const char16_t* pattern, ETokenType type) : pattern(pattern) {
        this->type = type;
    }
    // Whether the pattern stands at `position`; with `advance`, moves
    // `position` behind it.
    bool IsA(const CString& text, int& position, bool advance) const;
    const CString& GetPattern() const { return pattern; }

private:
    CString pattern;
};

// The marks and the word, tried in order at every position; whatever lies
// between matches is one free-text token.
class CTokenizer : public CIndirectArray<CTemplateToken> {
public:
    CTokenizer();
    void Parse(const CString& text, CIndirectArray<CToken>& out) const;
};

class CParamTransfer : public CTarvexObject {
public:
    CParamTransfer(const char16_t* source, const char16_t* target, const char16_t* value)
        : sourceName(source), targetName(target), value(value) {}
    CString sourceName;
    CString targetName;
    CString value;
};

class CHListNode : public CTarvexObject {
public:
    CHListNode(const char16_t* name, const char16_t* guid) : guid(guid), name(name) {}
    const CString& GetName() const { return name; }
    const CString& GetGuid() const { return guid; }
    void AddChild(CHListNode* node) { children.Add(node); }
    const CIndirectArray<CHListNode>& GetChildren() const { return children; }
    void AddParamTransfer(CParamTransfer* transfer) { transfers.Add(transfer); }
    const CIndirectArray<CParamTransfer>& GetParamTrensfers() const { return transfers; }

private:
    CString guid;
    CString name;
    CIndirectArray<CParamTransfer> transfers{10, 10, true, -8};
    CIndirectArray<CHListNode> children{10, 10, true, -8};
};

class CHierarchicalListController {
public:
    CHierarchicalListController() = default;
    explicit CHierarchicalListController(const char16_t* text) : data(text) {}
    CHierarchicalListController(const CHierarchicalListController&) = delete;
    CHierarchicalListController& operator=(const CHierarchicalListController&) = delete;
    virtual ~CHierarchicalListController();

    void SetData(const char16_t* text) { data = text; }
    // Parses the text; on a failure, with `showErrors`, a message box tells
    // the reason and the character position.
    bool Init(bool showErrors);
    // The reason and position of the last failed Init ("" and 0 after a
    // success).
    const CString& GetLastError() const { return lastError; }
    int GetLastErrorPosition() const { return lastErrorPosition; }

    // The source tree by the source GUID through `link` (null: the global
    // dictionary's link), and the definitions the transfers name.
    bool OnDataCollect(CDBLink* link);
    // The source tree from an element document.
    bool OnDataCollect(const CString& xmlText);
    const CElement* GetSource() const { return source; }

    const char16_t* GetSourceGuid() const;
    const char16_t* GetSelectedItemGuid() const;
    const char16_t* GetItemNameFormula() const;
    const char16_t* GetParamTransfersPsz() const;
    // Trimmed, without braces; empties the other three fields. Nothing
    // before Init or with null.
    void SetSourceGuid(const char16_t* guid);
    void SetSelectedItemGuid(const char16_t* guid);
    void SetItemNameFormula(const char16_t* text);
    void SetParamTransfers(const char16_t* text);
    // The transfers split at ';' and trimmed, empty ones kept.
    void GetParamTransfers(CIndirectArray<CString>& out) const;

    CParamDef* GetExtendedParam(const char16_t* name) { return extended.GetParam(name); }
    CParamDef* CreateNewExtendedParam(const CParamDef& def) {
        return extended.AddParamCopy(def, true);
    }

    // The choices; false before Init or when the transfers are not pairs.
    bool GetListItems(CIndirectArray<CHListNode>& out);
    // The value comment of the present fields.
    void GetNewValueComment(CString& out) const;

private:
    struct Parsed {
        const CString* data;
        CString sourceGuid;
        CString selectedItemGuid;
        CString itemNameFormula;
        CString paramTransfers;
    };

    void Simplify();
    bool Fail(bool showErrors, const char16_t* reason, int position);
    CString TokenText(int64_t index) const;
    static CString CleanGuid(const char16_t* text);

    CString data;
    CTokenizer tokenizer;
    CIndirectArray<CToken> tokens{10, 10, true, -8};
    std::unique_ptr<Parsed> parsed;
    CElement* source = nullptr;
    CParamDefs extended;
    CString lastError;
    int lastErrorPosition = 0;
};
