#include <gtest/gtest.h>

#include <string>

#include "tarvex/core/hostui.h"
#include "tarvex/formula/activescriptinghost.h"
#include "tarvex/platform/bstr.h"
#include "tarvex/platform/cstring.h"

namespace {

struct Shown {
    CString text;
    CString caption;
    int count = 0;
};
Shown g_shown;

int RecordMessageBox(const char16_t* text, const char16_t* caption, UINT) {
    g_shown.text = text;
    g_shown.caption = caption;
    ++g_shown.count;
    return IDOK;
}

class ScriptingHostTest : public ::testing::Test {
protected:
    void SetUp() override {
        g_shown = Shown{};
        tarvex::SetMessageBoxCallback(RecordMessageBox);
        VariantInit(&out);
    }
    void TearDown() override {
        VariantClear(&out);
        host->Close(); // the engine holds the site until closed
        host->Release();
        tarvex::SetMessageBoxCallback(nullptr);
    }
    CString Text() const {
        return out.vt == VT_BSTR ? CString(out.bstrVal) : CString(u"<not text>");
    }

    ActiveScriptingHost* host = new ActiveScriptingHost;
    VARIANT out;
};

} // namespace

TEST_F(ScriptingHostTest, ResultsOfEachTypeComeBackAsText) {
    ASSERT_EQ(host->SetScriptType(u"JavaScript"), S_OK);
    EXPECT_EQ(host->Execute(u"function f(){ return 1 + 2; }", u"f", &out), S_OK);
    EXPECT_EQ(Text(), u"3");
    EXPECT_EQ(host->Execute(u"function g(s){ return s + '!'; }", u"g", u"a", &out), S_OK);
    EXPECT_EQ(Text(), u"a!");
    EXPECT_EQ(host->Execute(u"function h(){ return 0.5; }", u"h", &out), S_OK);
    EXPECT_EQ(Text(), u"0.5");
    EXPECT_EQ(host->Execute(u"function t(){ return true; }", u"t", &out), S_OK);
    EXPECT_EQ(Text(), u"-1");
    EXPECT_EQ(host->Execute(u"function o(){ return {a:1}; }", u"o", &out), S_OK);
    EXPECT_EQ(Text(), u"[object Object]");
    EXPECT_EQ(host->Execute(u"function n(){ return null; }", u"n", &out), DISP_E_TYPEMISMATCH);
    // Functions parsed earlier stay callable.
    EXPECT_EQ(host->Execute(u"", u"f", &out), S_OK);
    EXPECT_EQ(Text(), u"3");
    EXPECT_EQ(g_shown.count, 0);
}

TEST_F(ScriptingHostTest, TextKeepsItsUnits) {
    ASSERT_EQ(host->SetScriptType(u"jscript"), S_OK); // ProgIDs ignore case
    EXPECT_EQ(host->Execute(u"function len(s){ return s.length; }", u"len", u"\U0001F600", &out),
              S_OK);
    EXPECT_EQ(Text(), u"2");
    EXPECT_EQ(host->Execute(u"function up(s){ return s.toUpperCase() + '\u0451'; }", u"up",
                            u"\u043f\u0440\u0438\u0432\u0435\u0442 \U0001F600", &out),
              S_OK);
    EXPECT_EQ(Text(), u"\u041f\u0420\u0418\u0412\u0415\u0422 \U0001F600\u0451");
}

TEST_F(ScriptingHostTest, SyntaxErrorIsShownWithItsPlace) {
    ASSERT_EQ(host->SetScriptType(u"JavaScript"), S_OK);
    EXPECT_EQ(host->ParseScript(u"var a = 1;\r\nvar b = (;\n"), SCRIPT_E_REPORTED);
    ASSERT_EQ(g_shown.count, 1);
    EXPECT_EQ(g_shown.caption, u"JavaScript compilation error");
    const CString& text = g_shown.text;
    EXPECT_EQ(text.Find(u"Description: SyntaxError"), 0) << text;
    EXPECT_GT(text.Find(u"\n\rSource: JavaScript compilation error\n\rSource line text: var b = (;"
                        u"\n\rSource context: 0\n\rLine number: 2\n\rCharacterPosition: 0"),
              0)
        << text;
}

TEST_F(ScriptingHostTest, RuntimeFailuresAreShownAndTheHostGoesOn) {
    ASSERT_EQ(host->SetScriptType(u"JavaScript"), S_OK);
    // A throw is shown; the result is then empty and the text change succeeds.
    EXPECT_EQ(host->Execute(u"function bad(){ throw new Error('boom'); }", u"bad", &out), S_OK);
    EXPECT_EQ(Text(), u"");
    EXPECT_EQ(g_shown.caption, u"JavaScript runtime error");
    EXPECT_EQ(g_shown.text.Find(u"Description: Error: boom"), 0) << g_shown.text;

    EXPECT_EQ(host->Execute(u"function r(n){ return r(n + 1) + 1; }", u"r", &out), S_OK);
    EXPECT_EQ(g_shown.text.Find(u"Description: RangeError"), 0) << g_shown.text;

    EXPECT_EQ(host->Execute(u"", u"missing", &out), DISP_E_UNKNOWNNAME);
    EXPECT_EQ(host->Execute(u"function ok(){ return 'still'; }", u"ok", &out), S_OK);
    EXPECT_EQ(Text(), u"still");
}

TEST_F(ScriptingHostTest, EnginesAndClosing) {
    EXPECT_EQ(host->Execute(u"function f(){}", u"f", &out), E_FAIL); // no engine yet
    EXPECT_EQ(host->Close(), E_FAIL);
    EXPECT_EQ(host->SetScriptType(u"VBScript"), CO_E_CLASSSTRING);
    ASSERT_EQ(host->SetScriptType(u"JavaScript"), S_OK);
    ASSERT_EQ(host->SetScriptType(u"JavaScript"), S_OK); // a second engine replaces the first
    EXPECT_EQ(host->Close(), S_OK);
    EXPECT_EQ(host->Close(), E_FAIL);
}

TEST_F(ScriptingHostTest, SiteAnswers) {
    void* object = nullptr;
    EXPECT_EQ(host->QueryInterface(IID_IActiveScriptSite, &object), S_OK);
    EXPECT_EQ(object, static_cast<IActiveScriptSite*>(host));
    host->Release();
    EXPECT_EQ(host->QueryInterface(IID_IDispatch, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(host->GetItemInfo(u"x", 0, nullptr, nullptr), TYPE_E_ELEMENTNOTFOUND);
    BSTR version = nullptr;
    EXPECT_EQ(host->GetDocVersionString(&version), S_OK);
    EXPECT_EQ(CString(version), u"1.0");
    SysFreeString(version);
    LCID lcid = 7;
    EXPECT_EQ(host->GetLCID(&lcid), S_OK);
    EXPECT_EQ(lcid, 0u);
}
