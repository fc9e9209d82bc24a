// Copies and merges between trees, for the element wrapper.
#pragma once

#include "tarvex/element/element.h"

namespace TarvexData::detail {

// A copy of `source` appended to `parent`: new ids from the parent's tree,
// names, model UIDs, tags and parameters from the source, in pre-order.
CElement* AddChildCopy(CElement& parent, const CElement& source);
// Replaces the children by copies of the source's, with new ids and no tags.
void CopyChildrenFrom(CElement& target, const CElement& source);
// Brings `source` in, pairing children by name without regard to case in
// order of appearance; an unpaired source child is added as a copy.
void Merge(CElement& target, const CElement& source, bool copyEmpty, bool keepExisting,
           bool takeName);

} // namespace TarvexData::detail
