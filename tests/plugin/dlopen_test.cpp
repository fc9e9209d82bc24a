#include <dlfcn.h>
#include <gtest/gtest.h>

#include "plugintest.h"
#include "tarvex/platform/codepage.h"
#include "tarvex/plugin/elementimpl.h"

using namespace TarvexData;

namespace {

// The sample plug-in, loaded for one test and unloaded after it.
class SamplePlugin {
public:
    SamplePlugin() : handle(dlopen(TARVEX_SAMPLE_PLUGIN, RTLD_NOW | RTLD_LOCAL)) {}
    ~SamplePlugin() {
        if (handle) dlclose(handle);
    }
    template <class Function>
    Function* Get(const char* name) const {
        return reinterpret_cast<Function*>(dlsym(handle, name));
    }
    void* handle;
};

} // namespace

TEST(PluginLoad, SamplePluginBuildsCalculatesAndReleases) {
    SamplePlugin plugin;
    ASSERT_NE(plugin.handle, nullptr) << dlerror();
    auto* run = plugin.Get<int(char16_t**)>("SamplePluginRun");
    ASSERT_NE(run, nullptr);

    ScopedBstr report(u"reused");
    EXPECT_EQ(run(&report.p), 0) << tarvex::ToUtf8(report.Text());
    EXPECT_EQ(report.Text(), u"Установка|Насос|10|НД-100|МАРКА|50|2");
}

TEST(PluginLoad, TreeMadeByThePluginBelongsToTheHost) {
    SamplePlugin plugin;
    ASSERT_NE(plugin.handle, nullptr) << dlerror();
    auto* make = plugin.Get<IElement*()>("SamplePluginMakeTree");
    ASSERT_NE(make, nullptr);

    IElement* tree = make();
    ASSERT_NE(tree, nullptr);
    const CElement* root = ConvertToCElement(tree);
    ASSERT_EQ(root->GetChildCount(), 2);
    EXPECT_EQ(std::u16string(root->GetChild(1)->GetName()), u"Узел 2");
    EXPECT_EQ(std::u16string(root->GetChild(1)->GetParameterComment(u"ТИП", u"")), u"тип узла");
    EXPECT_EQ(tree->Release(), 0u);
}
