#include "jsonwriter.h"

#include <memory>

#include "tarvex/tarvex.h"

namespace tarvex::cli {
namespace {

// Reaches the element writer's tree building, which it keeps protected.
class ElementJsonTree : public CElementJsonOutStream {
public:
    using CElementJsonOutStream::CElementJsonOutStream;
    bool Build(const CElement& element, const std::shared_ptr<CJsonNodeObject>& root) {
        return Write(element, root);
    }
};

} // namespace

bool WriteElementJson(const CElement& root, COutStream& stream) {
    auto tree = std::make_shared<CJsonNodeObject>();
    ElementJsonTree builder(stream);
    if (!builder.Build(root, tree)) return false;
    tree->WriteExact(stream);
    return true;
}

} // namespace tarvex::cli
