// Naming elements and parameters on the command line and in reports.
//
// A path is the chain of element names from the root down, joined by '/':
// "Установка_100/Линия_1/Насос_P-101". A name shared by earlier siblings
// carries its 1-based rank among them: "Опора[2]" is the second child named
// "Опора". A parameter is addressed as PATH.NAME.
#pragma once
#include <string>
#include <vector>

#include "tarvex/element/element.h"

namespace tarvex::cli {

// Pre-order over the tree, children in order, as a loop: trees from files
// can be deeper than any stack.
template <class Visit>
void ForEachElement(const CElement& root, Visit&& visit) {
    std::vector<const CElement*> pending{&root};
    while (!pending.empty()) {
        const CElement* element = pending.back();
        pending.pop_back();
        visit(*element);
        for (int64_t i = element->GetChildCount(); i-- > 0;)
            pending.push_back(element->GetChild(i));
    }
}

std::string ElementPath(const CElement& element);
std::string ParameterPath(const CElement& element, const CParam& param);

// The element at `path` below `root`, the root's own name first; null when
// there is none. An empty path and "/" stand for the root.
CElement* FindElement(CElement& root, const std::string& path);

// Resolves PATH.NAME. Element names may hold dots too, so every dot of the
// last step is tried as the split, from the left, and the first that names
// an existing parameter wins.
struct ParameterRef {
    CElement* element = nullptr;
    CParam* param = nullptr;
};
ParameterRef FindParameter(CElement& root, const std::string& path);

} // namespace tarvex::cli
