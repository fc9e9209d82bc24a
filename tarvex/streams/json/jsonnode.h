// A small JSON tree held by shared pointers, and its fixed pretty printer.
//
// Objects keep their items as a list, so duplicate keys stay in order. The
// printer's layout is fixed: one tab per level, CR LF line ends, `"key" : `.
// Its quoting is fixed too, and lossy on purpose: a unit whose low 8 bits
// are below 32 (the control characters, but also the Cyrillic capitals
// U+0410..U+041F, Ё, dashes and curly quotes) is written as a backslash,
// followed by a letter only for 8, 9, 10, 12, 13; no \u form is ever
// written. Documents already written this way must keep comparing equal, so
// the printer keeps the form even where it loses letters: "Длина" prints as
// "\лина" and reads back as "ина".
#pragma once
#include <memory>
#include <string>
#include <vector>

#include "tarvex/streams/outstream.h"

class CJsonNodeCompound;

class CJsonNode {
public:
    enum { eNull = 0, eTrue = 1, eFalse = 2, eString = 3, eNumber = 4, eObject = 5, eArray = 6 };

    virtual ~CJsonNode() = default;
    virtual int GetType() const = 0;
    // The node itself for an object or an array, else null.
    virtual CJsonNodeCompound* AsCompound() { return nullptr; }
    virtual void Add(std::shared_ptr<CJsonNode> node) { node.reset(); }
    virtual void AddNumber(const char16_t*, double) {}
    virtual void AddString(const char16_t*, const char16_t*) {}
    // The stream must have XML symbols off.
    virtual void Write(COutStream& stream, unsigned int level) const = 0;

    std::u16string key;

protected:
    void WriteHead(COutStream& stream, unsigned int level) const;
};

class CJsonNodeNull : public CJsonNode {
public:
    int GetType() const override { return eNull; }
    void Write(COutStream& stream, unsigned int level) const override;
};

class CJsonNodeTrue : public CJsonNode {
public:
    int GetType() const override { return eTrue; }
    void Write(COutStream& stream, unsigned int level) const override;
};

class CJsonNodeFalse : public CJsonNode {
public:
    int GetType() const override { return eFalse; }
    void Write(COutStream& stream, unsigned int level) const override;
};

class CJsonNodeString : public CJsonNode {
public:
    CJsonNodeString() = default;
    explicit CJsonNodeString(std::u16string value) : value(std::move(value)) {}
    int GetType() const override { return eString; }
    void Write(COutStream& stream, unsigned int level) const override;

    std::u16string value;
};

class CJsonNodeNumber : public CJsonNode {
public:
    explicit CJsonNodeNumber(double value = 0) : value(value) {}
    int GetType() const override { return eNumber; }
    // "%.15g".
    void Write(COutStream& stream, unsigned int level) const override;

    double value;
};

class CJsonNodeCompound : public CJsonNode {
public:
    // Destroys the subtree with a loop: a deep tree must not recurse.
    ~CJsonNodeCompound() override;
    CJsonNodeCompound* AsCompound() override { return this; }
    void Add(std::shared_ptr<CJsonNode> node) override;
    void AddNumber(const char16_t* key, double value) override;
    void AddString(const char16_t* key, const char16_t* value) override;
    // Iterative as well, for the same reason.
    void Write(COutStream& stream, unsigned int level) const override;
    // The same layout with the lossless quoting of JsonQuote's `exact` form:
    // for callers that must read their own output back whole and accept that
    // it differs from the fixed form wherever that form would cut a letter.
    void WriteExact(COutStream& stream, unsigned int level = 0) const;

    std::vector<std::shared_ptr<CJsonNode>> children;

protected:
    virtual char16_t OpenBracket() const = 0;
    virtual char16_t CloseBracket() const = 0;

private:
    void WriteTree(COutStream& stream, unsigned int level, bool exact) const;
};

class CJsonNodeObject : public CJsonNodeCompound {
public:
    int GetType() const override { return eObject; }

protected:
    char16_t OpenBracket() const override { return u'{'; }
    char16_t CloseBracket() const override { return u'}'; }
};

class CJsonNodeArray : public CJsonNodeCompound {
public:
    int GetType() const override { return eArray; }

protected:
    char16_t OpenBracket() const override { return u'['; }
    char16_t CloseBracket() const override { return u']'; }
};

// The quoted form of a text, as the printer writes it. With `exact`, a unit
// the fixed form would cut is written as \uXXXX instead, which JSON readers
// (this library's too) read back whole.
void JsonQuote(std::u16string& out, const char16_t* text, std::size_t length, bool exact = false);
