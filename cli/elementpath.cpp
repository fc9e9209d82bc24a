#include "elementpath.h"

#include <algorithm>

#include "tarvex/tarvex.h"

namespace tarvex::cli {
namespace {

// The rank of `element` among the earlier siblings of the same name, 1 for
// the first.
int64_t RankAmongNamesakes(const CElement& element) {
    const CElement* parent = element.GetParent();
    if (!parent) return 1;
    int64_t rank = 1;
    const std::u16string_view name = element.GetName();
    for (int64_t i = 0; i < parent->GetChildCount(); ++i) {
        const CElement* sibling = parent->GetChild(i);
        if (sibling == &element) break;
        if (name == sibling->GetName()) ++rank;
    }
    return rank;
}

std::string Step(const CElement& element) {
    std::string step = ToUtf8(element.GetName());
    if (int64_t rank = RankAmongNamesakes(element); rank > 1)
        step += "[" + std::to_string(rank) + "]";
    return step;
}

// "Name[3]" to ("Name", 3); a step without a well-formed rank is all name.
std::pair<CString, int64_t> ParseStep(const std::string& step) {
    if (!step.empty() && step.back() == ']') {
        size_t open = step.rfind('[');
        if (open != std::string::npos && open + 2 < step.size()) {
            std::string digits = step.substr(open + 1, step.size() - open - 2);
            if (std::all_of(digits.begin(), digits.end(),
                            [](char c) { return c >= '0' && c <= '9'; }) &&
                digits.size() < 10) {
                if (int64_t rank = std::stoll(digits); rank > 0)
                    return {FromUtf8(step.substr(0, open)), rank};
            }
        }
    }
    return {FromUtf8(step), 1};
}

CElement* ChildByStep(const CElement& parent, const std::string& step) {
    auto [name, rank] = ParseStep(step);
    for (int64_t i = 0; i < parent.GetChildCount(); ++i) {
        CElement* child = parent.GetChild(i);
        if (name.View() == child->GetName() && --rank == 0) return child;
    }
    return nullptr;
}

} // namespace

std::string ElementPath(const CElement& element) {
    std::vector<const CElement*> chain;
    for (const CElement* at = &element; at; at = at->GetParent()) chain.push_back(at);
    std::string path;
    for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
        if (it != chain.rbegin()) path += '/';
        path += Step(**it);
    }
    return path;
}

std::string ParameterPath(const CElement& element, const CParam& param) {
    return ElementPath(element) + "." + ToUtf8(param.getName().View());
}

CElement* FindElement(CElement& root, const std::string& path) {
    if (path.empty() || path == "/") return &root;
    std::vector<std::string> steps;
    size_t start = path[0] == '/' ? 1 : 0;
    while (true) {
        size_t slash = path.find('/', start);
        steps.push_back(path.substr(start, slash - start));
        if (slash == std::string::npos) break;
        start = slash + 1;
    }
    if (steps.back().empty()) steps.pop_back(); // a trailing '/'
    auto [rootName, rank] = ParseStep(steps.front());
    if (rank != 1 || rootName.View() != root.GetName()) return nullptr;
    CElement* at = &root;
    for (size_t i = 1; at && i < steps.size(); ++i) at = ChildByStep(*at, steps[i]);
    return at;
}

ParameterRef FindParameter(CElement& root, const std::string& path) {
    size_t lastStep = path.rfind('/');
    lastStep = lastStep == std::string::npos ? 0 : lastStep + 1;
    for (size_t dot = path.find('.', lastStep); dot != std::string::npos;
         dot = path.find('.', dot + 1)) {
        CElement* element = FindElement(root, path.substr(0, dot));
        if (!element) continue;
        if (CParam* param = element->GetParameter(FromUtf8(path.substr(dot + 1))))
            return {element, param};
    }
    return {};
}

} // namespace tarvex::cli
