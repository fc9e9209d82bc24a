// The two doors through which document readers and writers reach the
// private state of CElement and CParamsOwner. Static operations only: the
// element's invariants stay in one place, and readers build a tree without
// paying for the public protocol (id issuing, name checks) at every step.
#pragma once
#include <cstdint>

#include "tarvex/element/element.h"
#include "tarvex/element/elementtags.h"

class CElementStreamProxy {
public:
    // Removes parameters and children and frees the tags; the name becomes
    // empty, so the element never holds a null name.
    static void CleanElement(CElement& element);
    // Takes over `name`, a new[] string (null reads as empty). The root's id
    // counter rises to `id` if it is lower, so later ids stay unique.
    static void SetElementProperties(CElement& element, char16_t* name, int id, int uid);
    static void SetElementTagsLength(CElement& element, int64_t length);
    // A negative index is ignored; the tags grow to hold the index.
    static void SetElementTag(CElement& element, int64_t index, int tag);
    static void SetElementTagsVector(CElement& element, const CElementTagsArray& tags);
    // Room for `size` children, so a reader that knows the count does not
    // grow the array step by step. The count may come from untrusted
    // bytes, so at most 256 slots are reserved at once.
    static void SetChildrenArraySize(CElement& element, int64_t size);
    // Sets the parent and the root down the subtree, then appends. Attaching
    // an empty child before reading it keeps that walk constant-time.
    static void AttachChild(CElement& parent, CElement* child);
};

class CElementParamsStreamProxy {
public:
    // Takes ownership; inserts at the sorted place with no test for the name.
    // A parameter sorting after the last one is appended, the common case for
    // documents, which the writers emit in order.
    static void AddParameter(CParamsOwner& owner, CParam* param);
    // As AddParameter, but when a parameter of that name (case-blind) is
    // already there the argument is deleted and false answered: the first of
    // a name wins.
    static bool AddNewParameter(CParamsOwner& owner, CParam* param);
    // As SetChildrenArraySize, for parameters.
    static void SetParametersArraySize(CParamsOwner& owner, int64_t size);
};
