// CElementBinIOStream: the order in which an element tree travels to and
// from binary storage, without the bytes.
//
// A derived class brings the medium and the encoding through the pure
// virtual events below; this class fixes their sequence:
//   element:    BeginWriteElement, WriteElementHeader, parameters,
//               BeginWriteChildren(n), each child as an element,
//               EndWriteChildren(n), EndWriteElement
//   parameters: BeginWriteParameters(n), WriteParameter for each,
//               EndWriteParameters(n)
// Reading mirrors it. The begin and end pairs come even for a count of 0,
// so a reader always finds its counts where it expects them. A false
// answer stops the traversal; children read so far stay attached.
#pragma once
#include <cstdint>

#include "tarvex/core/object.h"
#include "tarvex/streams/elementdocs/elementstreamproxy.h"

class CElementBinIOStream : public CElementStreamProxy,
                            public CElementParamsStreamProxy,
                            public CTarvexObject {
public:
    ~CElementBinIOStream() override = default;

    bool Write(const CElement& element);
    // Empties the element first; an element whose header fails stays empty.
    bool Read(CElement& element);
    bool WriteParameters(const CParamsOwner& owner);
    // Replaces the owner's parameters. Unlike the text documents, names are
    // not checked for duplicates: the medium is trusted to hold what was
    // written.
    bool ReadParameters(CParamsOwner& owner);

    // Delivers the parameter count.
    virtual bool BeginReadParameters(int64_t& count, CParamsOwner& owner) = 0;
    virtual bool EndReadParameters(int64_t count) = 0;
    // The next parameter, made with new; null on failure.
    virtual CParam* ReadParameter() = 0;
    virtual bool BeginWriteParameters(int64_t count) = 0;
    virtual bool EndWriteParameters(int64_t count) = 0;
    // The answer is not looked at.
    virtual bool WriteParameter(const char16_t* name, const char16_t* value,
                                const char16_t* caption, const char16_t* comment) = 0;
    virtual bool BeginWriteElement(const CElement& element) = 0;
    virtual bool EndWriteElement(const CElement& element) = 0;
    virtual bool WriteElementHeader(const char16_t* name, int id, int uid, const int32_t* tags,
                                    int64_t tagCount, const CElement& element) = 0;
    virtual bool BeginWriteChildren(const CElement& element, int64_t count) = 0;
    virtual bool EndWriteChildren(const CElement& element, int64_t count) = 0;
    virtual bool BeginReadElement(CElement& element) = 0;
    // `name` arrives null; a derived class sets it to a new[] string, which
    // the element takes over.
    virtual bool ReadElementHeader(char16_t*& name, int& id, int& uid, CElementTagsArray& tags) = 0;
    virtual bool EndReadChildren(int64_t count) = 0;
    // Delivers the child count.
    virtual bool BeginReadChildren(int64_t& count, CElement& element) = 0;

protected:
    // A new child read in full, or deleted and false.
    bool ReadChildElement(CElement& parent);
    // The reading sequences after their begin event, for a derived class
    // that learns the count another way.
    bool DoReadChildren(int64_t& count, CElement& element);
    bool DoReadParameters(int64_t& count, CParamsOwner& owner);
};
