// Structural queries: a walk over a tree, written as a short text, from the
// current node to a relative, ending in a parameter read there.
//
// A query is a chain of steps, each "@" and a letter with an optional
// filter, then a parameter name or another step:
//   @P"x"(1)A   the second ancestor named x, its parameter A
//   @F(0)@L#B   the first child's last child ...
//   @?A         the comment of A;  @@NAME  the node's name
// Counts in the text are zero-based. Names in filters compare without regard
// to case, since the compiler stores queries as upper-cased variable keys.
//
// Every walk is a loop bounded by the depth or the width of the tree; a
// count near the 32-bit limit simply runs off the tree and finds nothing.
#pragma once

#include <cstdint>
#include <unordered_map>

#include "tarvex/core/object.h"
#include "tarvex/platform/cstring.h"
#include "tarvex/platform/variant.h"

class CElement;
class CParam;

// The walker over an abstract tree, positioned on one node. The five Query
// operations are built on the primitives; they return the parameter found
// (the derived class knows its type), or null.
class CStructQuery : public CTarvexObject {
public:
    ~CStructQuery() override = default;

    virtual bool IsValidContext() = 0;
    virtual void SetRootContext() = 0;
    virtual bool HasParent() = 0;
    virtual void SetParentContext() = 0;
    virtual const char16_t* GetName() = 0;
    virtual std::int64_t GetChildrenCount() = 0;
    virtual const char16_t* GetChildName(std::int64_t index) = 0;
    virtual void SetChildContext(std::int64_t index) = 0;
    virtual std::int64_t GetMyChildIndex() = 0;
    virtual bool SetCurrentContext() { return true; }
    virtual void* GetParameterValue(const char16_t* name, VARIANT& out, bool comment) = 0;
    virtual void* GetSysParamValue(const char16_t* name, VARIANT& out) = 0;

    virtual void* QueryParentParameter(const char16_t* text, VARIANT& out, bool& isComment);
    virtual void* QueryFirstChildParameter(const char16_t* text, std::int64_t from, VARIANT& out,
                                           bool& isComment);
    virtual void* QueryLastChildParameter(const char16_t* text, std::int64_t from, VARIANT& out,
                                          bool& isComment);
    virtual void* QueryPrevSiblingParameter(const char16_t* text, VARIANT& out, bool& isComment);
    virtual void* QueryNextSiblingParameter(const char16_t* text, VARIANT& out, bool& isComment);

    // `text` begins with '@'.
    void* QuerySystemParameter(const char16_t* text, VARIANT& out, bool& isComment);
    // The entry point: a query, or a plain name read on the current node.
    void* QueryParameter(const char16_t* text, VARIANT& out, bool& isComment);

    // The bare parameter name at the end of a query: every step and filter
    // is passed. With `keepComment` the pass stops at "@?".
    static CString ExtractParamName(const char16_t* text, bool keepComment);

    // True once a step found no node to go to (as opposed to a parameter
    // that is missing on the node reached).
    bool WalkFailed() const { return m_bWalkFailed; }

protected:
    // What follows a step: another step, or a parameter name.
    void* QueryRest(const char16_t* rest, VARIANT& out, bool& isComment);
    void* Fail() {
        m_bWalkFailed = true;
        return nullptr;
    }
    static bool NameMatches(const CString& filter, const char16_t* name);

    bool m_bWalkFailed = false;
};

// Remembers each parent's child index once found, so that a run of
// sibling steps over one level costs one scan, not one per step.
using ChildIndexCache = std::unordered_map<const CElement*, std::int64_t>;

// The walker over CElement trees; the node moves in place.
class CElementStructQuery : public CStructQuery {
public:
    explicit CElementStructQuery(CElement* element, ChildIndexCache* cache = nullptr)
        : m_pElement(element), m_pCache(cache) {}

    CElement* GetElement() const { return m_pElement; }
    void SetElement(CElement* element) {
        m_pElement = element;
        m_nMyIndex = -2;
    }

    bool IsValidContext() override { return m_pElement != nullptr; }
    void SetRootContext() override;
    bool HasParent() override;
    void SetParentContext() override;
    const char16_t* GetName() override;
    std::int64_t GetChildrenCount() override;
    const char16_t* GetChildName(std::int64_t index) override;
    void SetChildContext(std::int64_t index) override;
    std::int64_t GetMyChildIndex() override;
    void* GetParameterValue(const char16_t* name, VARIANT& out, bool comment) override;
    void* GetSysParamValue(const char16_t* name, VARIANT& out) override;

private:
    CElement* m_pElement;
    ChildIndexCache* m_pCache;
    // The node's place among its siblings when the walk came down to it;
    // -2 while unknown.
    std::int64_t m_nMyIndex = -2;
};

// The one resolution of a structural variable key (one that begins with
// '@') from `element`: the parameter reached, if any, and the text the
// formula sees: the parameter's value; for a comment or a system value the
// text of that value; "" when nothing is found. `owner` (optional) gets the
// element the walk ended on, null if it ran off the tree.
CParam* ResolveStructuralKey(CElement* element, const char16_t* key, CString& text,
                             CElement** owner = nullptr, ChildIndexCache* cache = nullptr);
