// Element trees to and from the service's element JSON, without recursion:
// both directions walk an explicit stack and refuse trees deeper than
// CCmdBuilderUtils::kMaxElementDepth.
#pragma once

#include <string>

#include <rapidjson/document.h>

#include "tarvex/platform/types.h"

class CElement;
class CParamsOwner;

namespace tarvex::service {

// Appends the compact JSON of the tree to `out`, names and values converted
// by `codePage` (CP_UTF8 or CP_ACP). False for a tree too deep, with `out`
// then holding a partial text.
bool AppendElementJson(const CElement& element, UINT codePage, std::string& out);

// Reads an element object into `element`. False, with the element as it was,
// when `id` isn't an integer or `name` isn't a string, or when the tree is
// too deep. Parameters are set (an existing one loses its comments); bad
// parameter entries are passed over; every entry of "Elements" makes a new
// child, which stays empty when its own reading fails.
bool ReadElementJson(const rapidjson::Value& value, CElement& element);

// Adds a child named as `source` holding a copy of its parameters, tags,
// model UID and subtree; the copies take new ids from this tree.
void AddChildCopy(CElement& parent, const CElement& source);

} // namespace tarvex::service
