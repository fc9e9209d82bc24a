// Element trees as JSON documents: the same content as the XML form.
//
// An element is an object with the keys "name", "id", "uid" always, then
// "Parameters" (objects with "name", "value", "caption", "comment", mapped
// to the CParam fields as in elementxml.h), "Tags" (numbers) and
// "Elements" (element objects), each only when not empty. The tree is
// built in full and printed by the fixed JSON printer, whose quoting is
// lossy for some letters (see jsonnode.h): such texts do not read back the
// same.
#pragma once
#include <memory>

#include "tarvex/streams/elementdocs/elementstreamproxy.h"
#include "tarvex/streams/json/jsoninstream.h"
#include "tarvex/streams/json/jsonnode.h"

class CElementJsonOutStream : public CElementStreamProxy, public CElementParamsStreamProxy {
public:
    // The stream must have XML symbols off, or '<' in a value would reach the
    // text as an entity: CStringBuilderStream is made for this.
    explicit CElementJsonOutStream(COutStream& stream);

    // False only when the tree is deeper than the thread's stack allows.
    bool Write(const CElement& element);

protected:
    // Fills `node`, an object, with the element and its subtree.
    bool Write(const CElement& element, std::shared_ptr<CJsonNode> node);
    bool WriteParameters(const CParamsOwner& owner, CJsonNodeObject& node);
    bool WriteTags(const CElement& element, CJsonNodeObject& node);
    bool WriteChildren(const CElement& element, CJsonNodeObject& node);

private:
    COutStream& stream;
};

class CElementJsonInStream : public CElementStreamProxy, public CElementParamsStreamProxy {
public:
    explicit CElementJsonInStream(CJsonInStream& stream);

    // The next value of the stream, which must be an element object. A name
    // that is not a string reads as empty, an id or uid that is not a number
    // as 0; a number is truncated and held to the 32-bit range. A
    // "Parameters", "Tags" or "Elements" of the wrong type, or a tag that is
    // not a number, answers false.
    bool Read(CElement& element);

protected:
    bool Read(CElement& element, std::shared_ptr<CJsonNode> node);
    bool ReadParameters(CParamsOwner& owner, CJsonNodeArray& array);
    bool ReadTags(CElement& element, CJsonNodeArray& array);
    bool ReadChildren(CElement& element, CJsonNodeArray& array);

private:
    CJsonInStream& stream;
};
