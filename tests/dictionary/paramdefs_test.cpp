#include <thread>
#include <vector>

#include "dictionarytest.h"

#include "tarvex/dictionary/paramsdefault.h"
#include "tarvex/element/paramsowner.h"
#include "tarvex/platform/variant.h"

bool CountingLink::LoadDefaults(CParamsDefault& table, const char16_t*) {
    if (failDefaults) throw CKVException(u"db down", u"");
    table.DoSetDefaultValue(u"FROM_DB", u"1", u"");
    return true;
}

namespace {

std::string Names(CParamDefs& defs) {
    std::string out;
    for (int64_t i = 0; i < defs.GetCount(); ++i) out += N(defs.GetParam(i)->GetName()) + " ";
    return out;
}

} // namespace

TEST(ParamDefs, LookupIsCaseBlindAndFoldsToLowerUnlikeOwners) {
    CParamDefs defs;
    defs.AddParam(u"AB", u"");
    defs.AddParam(u"A_", u"");
    defs.AddParam(u"Длина", u"length");
    // '_' (0x5F) sorts after 'B' but before 'b': lower folding puts A_ first.
    EXPECT_EQ(Names(defs), "A_ AB Длина ");
    CParamsOwner owner;
    owner.SetParameter(u"AB", u"");
    owner.SetParameter(u"A_", u"");
    EXPECT_EQ(N(owner.GetParameter(int64_t(0))->getName()), "AB");

    ASSERT_NE(defs.GetParam(u"ДЛИНА"), nullptr);
    EXPECT_EQ(N(defs.GetParam(u"длина")->GetComment()), "length");
    EXPECT_EQ(defs.GetParam(u"a_"), defs.GetParam(u"A_"));
    EXPECT_EQ(defs.GetParam(u"A"), nullptr);
    EXPECT_EQ(defs.GetParam(int64_t(-1)), nullptr);
    EXPECT_EQ(defs.GetParam(int64_t(3)), nullptr);
    // AddParam returns what exists; new ones take type 5 and the defaults.
    EXPECT_EQ(defs.AddParam(u"ab", u"other"), defs.GetParam(u"AB"));
    const CParamDef* def = defs.GetParam(u"AB");
    EXPECT_EQ(def->GetType(), 5);
    EXPECT_EQ(def->GetSize(), -1);
    EXPECT_EQ(def->GetAccuracy(), -1);
    EXPECT_EQ(def->GetValueType(), 1);
    EXPECT_TRUE(defs.RemoveParam(u"ab"));
    EXPECT_FALSE(defs.RemoveParam(u"ab"));
}

TEST(ParamDefs, GetParamBySubStrWalksBackOnlyOverExactLeftParts) {
    // The binary search hits the middle name; the walk back goes over
    // neighbours whose left part equals the hit's exactly.
    CParamDefs same;
    for (const char16_t* name : {u"Pipe1", u"Pipe2", u"Pipe3", u"Pipe4", u"Pipe5"})
        same.AddParam(name, u"");
    EXPECT_EQ(N(same.GetParamBySubStr(u"PIPE")->GetName()), "Pipe1");
    EXPECT_EQ(N(same.GetParamBySubStr(u"pipe4")->GetName()), "Pipe4");
    EXPECT_EQ(same.GetParamBySubStr(u"Pump"), nullptr);
    // A neighbour differing only in case stops the walk, so the answer is
    // not the first case-blind match.
    CParamDefs mixed;
    for (const char16_t* name : {u"Pipe1", u"PIPE2", u"pipe3", u"Pipe4", u"Pump"})
        mixed.AddParam(name, u"");
    EXPECT_EQ(N(mixed.GetParamBySubStr(u"pipe")->GetName()), "pipe3");
    CParamDefs pair;
    for (const char16_t* name : {u"ab1", u"ab2", u"AB3"}) pair.AddParam(name, u"");
    EXPECT_EQ(N(pair.GetParamBySubStr(u"Ab")->GetName()), "ab1");
}

TEST(ParamDefs, MakeCorrectNames) {
    CString name(u"a'b\"c@$&*()[]{}.,:;?/\\<>| d\te=+-#%!");
    EXPECT_TRUE(CParamDefs::MakeCorrectParamName(name));
    EXPECT_EQ(N(name), "a_b_c" + std::string(21, '_') + "d_e=+-#%!");
    CString clean(u"Длина_1");
    EXPECT_FALSE(CParamDefs::MakeCorrectParamName(clean));
    CString file(u"a/b:c.txt ");
    EXPECT_TRUE(CParamDefs::MakeCorrectFileName(file));
    EXPECT_EQ(N(file), "a_b_c.txt ");
}

TEST(ParamDef, ReadOnlyTestsDiffer) {
    CParamDef formula(u"F");
    formula.SetDefaultValueComment(u" =A+1");
    EXPECT_TRUE(formula.IsParamReadOnly());
    EXPECT_TRUE(formula.CanEditComment());
    CParamDef fixed(u"T", u"", 16);
    EXPECT_TRUE(fixed.IsParamReadOnly());
    EXPECT_TRUE(fixed.CanEditComment());
    CParamDef inCategory(u"C");
    inCategory.AddCategory(u"Locked", 1, 2, true, false);
    inCategory.AddCategory(u"locked", 5, 5, false, true); // same name: skipped
    EXPECT_EQ(inCategory.GetCategoriesCount(), 1);
    EXPECT_FALSE(inCategory.IsHidden());
    EXPECT_TRUE(inCategory.IsParamReadOnly());
    EXPECT_FALSE(inCategory.CanEditComment());
    CParamDef flagged(u"R", u"", 5, true);
    EXPECT_TRUE(flagged.IsParamReadOnly());
    EXPECT_FALSE(flagged.CanEditComment());
    CParamDef plain(u"P");
    plain.SetDefaultValueComment(u"a=1");
    EXPECT_FALSE(plain.IsParamReadOnly());
    EXPECT_EQ(N(CParamDef::GetFormulaPart(u"a=1")), "1");
    EXPECT_EQ(N(CParamDef::GetFormulaPart(u"abc")), "");
}

TEST(ParamDef, ValuesAndDefaultComment) {
    CParamDef def(u"Material");
    def.AddValue(u"Steel", u"сталь");
    def.AddValue(u"Cu", u"copper");
    def.AddValue(u"Steel", u"new", true);
    EXPECT_EQ(def.GetValuesCount(), 2);
    EXPECT_EQ(N(def.GetValueComment(0)), "new");
    CString desc;
    def.GetValueDesc(1, desc);
    EXPECT_EQ(N(desc), "Cu - copper");
    def.SetDefaultValue(u"cu");
    EXPECT_EQ(def.GetSelectedValueId(), -1);
    EXPECT_EQ(def.GetSelectedValueIdNoCase(), 1);
    EXPECT_FALSE(def.UpdateDefaultValueComment()); // no exact match
    def.SetDefaultValue(u"Cu");
    EXPECT_TRUE(def.UpdateDefaultValueComment());
    EXPECT_EQ(N(def.GetDefaultValueComment()), "copper");
    EXPECT_FALSE(def.UpdateDefaultValueComment());
    def.SetDefaultValueComment(u"  ^keep");
    EXPECT_FALSE(def.UpdateDefaultValueComment());
    EXPECT_EQ(N(def.GetDefaultValueComment()), "  ^keep");
    def.SetDefaultValueComment(u"");
    def.SetType(28);
    EXPECT_FALSE(def.UpdateDefaultValueComment());
    def.SetDefaultValue(2.5);
    EXPECT_DOUBLE_EQ(def.GetDefaultValueDbl(), 2.5);
    def.SetDefaultValue(-7);
    EXPECT_EQ(def.GetDefaultValueInt(), -7);
    VARIANT number;
    VariantInit(&number);
    number.vt = VT_R8;
    number.dblVal = 0.25;
    def.SetDefaultValue(number);
    EXPECT_EQ(N(def.GetDefaultValue()), "0.25");

    // IsEqual ignores the name and the unit names, and copies keep the own name.
    CParamDef copy(u"Other");
    copy.CopyFrom(def);
    copy.SetMeasureUnitSysName(u"mm");
    EXPECT_TRUE(copy.IsEqual(def));
    EXPECT_EQ(N(copy.GetName()), "Other");
    copy.AddValue(u"Cu", u"COPPER", true);
    EXPECT_FALSE(copy.IsEqual(def));
}

TEST(ParamDefs, GetParamDataTakesTheDefinitionButKeepsTheTargetName) {
    CParamDefs defs;
    defs.AddParam(u"LEN", u"Length")->SetAccuracy(3);
    CParam known(u"len", u"12", u"c", u"vc");
    CParamDef def(u"Target");
    defs.GetParamData(known, def);
    EXPECT_EQ(N(def.GetName()), "Target");
    EXPECT_EQ(def.GetAccuracy(), 3);
    EXPECT_EQ(N(def.GetDefaultValue()), "12");
    EXPECT_EQ(N(def.GetDefaultValueComment()), "vc");
    CParam unknown(u"X", u"1", u"comment", u"");
    defs.GetParamData(unknown, def);
    EXPECT_EQ(N(def.GetName()), "X");
    EXPECT_EQ(N(def.GetComment()), "comment");
}

TEST_F(DictionaryFilesTest, SaveAndLoadKeepEveryAttribute) {
    CParamDefs defs;
    CParamDef* list = defs.AddParam(u"Материал", u"Material <of> \"pipe\"");
    list->SetDefaultValue(u"Steel");
    list->SetDefaultValueComment(u"сталь");
    list->SetReadOnlyFlag(true);
    list->SetSize(12);
    list->SetAccuracy(3);
    list->SetValueType(4);
    list->SetDependency(9);
    list->SetMeasureUnitBaseSysName(u"m");
    list->SetMeasureUnitSysName(u"mm");
    list->AddValue(u"Steel", u"сталь");
    list->AddValue(u"Cu", u"");
    list->AddCategory(u"Pipes", 3, 7, true, true);
    list->AddCategory(u"Extra", 1, 2, false, false);
    CParamDef* number = defs.AddParam(u"D", u"diameter");
    number->SetType(2);
    number->AddValue(u"lost", u"not a list type");
    auto* length = new CParamMeasurement(u"LENGTH", u"Длина");
    length->AddUnit(new CParamMeasureUnit(u"mm", u"millimetre", u"мм", 0.0012345678, u"c",
                                          u"x/1000", u"x*1000", nullptr));
    defs.GetMeasurements().AddMeasurement(length);

    const std::string path = tmp + "/params.xml";
    ASSERT_EQ(defs.SaveFile(W(path)), 1);
    const std::string text = ReadFile(path);
    EXPECT_NE(text.find("<PARAMETER type=\"5\" prescision=\"12\" readonly=\"1\" accuracy=\"3\" "
                        "valueType=\"4\" sysNameMeasureUnitBase=\"m\" sysNameMeasureUnit=\"mm\">"),
              std::string::npos)
        << text;
    EXPECT_EQ(text.find("lost"), std::string::npos); // VALUES only for types 5, 6, 29

    CParamDefs back;
    ASSERT_EQ(back.LoadFile(W(path)), 1);
    ASSERT_EQ(back.GetCount(), 2);
    const CParamDef* read = back.GetParam(u"материал");
    ASSERT_NE(read, nullptr);
    CParamDef expected(u"x");
    expected.CopyFrom(*list);
    expected.SetDependency(0); // not stored
    EXPECT_TRUE(read->IsEqual(expected));
    EXPECT_EQ(N(read->GetMeasureUnitBaseSysName()), "m");
    EXPECT_EQ(N(read->GetMeasureUnitSysName()), "mm");
    EXPECT_EQ(read->GetCategoryOrder(u"PIPES"), 3u);
    EXPECT_EQ(read->GetCategoryDefOrder(u"pipes"), 7u);
    EXPECT_TRUE(read->IsHidden());
    EXPECT_EQ(back.GetParam(u"D")->GetValuesCount(), 0);
    CParamMeasureUnit* unit = back.GetMeasurements().GetMeasureUnit(u"mm");
    ASSERT_NE(unit, nullptr);
    EXPECT_DOUBLE_EQ(unit->GetCoefficient(), 0.001235); // six decimals
    EXPECT_EQ(N(unit->GetShortName()), "мм");
    EXPECT_EQ(N(unit->GetFromBaseFunction()), "x*1000");
    EXPECT_EQ(N(unit->GetOwner()->GetCaption()), "Длина");
}

TEST_F(DictionaryFilesTest, FileDefaultsAndBadInput) {
    const std::string path = tmp + "/p.xml";
    WriteFile(path,
              "<?xml version=\"1.0\" ?><PARAMETERS><PARAMETER><NAME>A</NAME><CATEGORIES/>"
              "<CATEGORIES><CATEGORY>K</CATEGORY><CATEGORY flags=\"1\">k</CATEGORY></CATEGORIES>"
              "<VALUES><VALUE><DATA>1</DATA></VALUE><VALUE><DATA>1</DATA></VALUE></VALUES>"
              "<UNKNOWN><PARAMETER></PARAMETER></UNKNOWN></PARAMETER>"
              "<PARAMETER type=\"7\"><NAME>B</NAME></PARAMETER></PARAMETERS>");
    CParamDefs defs;
    ASSERT_EQ(defs.LoadFile(W(path)), 1);
    const CParamDef* a = defs.GetParam(u"A");
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a->GetType(), 1); // no "type": 1, not the 5 of AddParam
    EXPECT_EQ(a->GetValueType(), 1);
    EXPECT_EQ(a->GetCategoriesCount(), 1); // the second "k" is dropped
    EXPECT_EQ(a->GetCategoryOrder(int64_t(0)), 0x7fffffffu);
    EXPECT_FALSE(a->IsHidden());
    EXPECT_EQ(a->GetValuesCount(), 2); // duplicates kept, in file order
    EXPECT_TRUE(defs.GetParam(u"B")->IsNumber());

    // A parameter that breaks stops the load; what came before stays usable.
    WriteFile(path, "<?xml version=\"1.0\" ?><PARAMETERS><PARAMETER><NAME>A</NAME></PARAMETER>"
                    "<PARAMETER><NAME>B</NAME></WRONG></PARAMETER>"
                    "<PARAMETER><NAME>C</NAME></PARAMETER></PARAMETERS>");
    EXPECT_EQ(defs.LoadFile(W(path)), 0);
    EXPECT_EQ(Names(defs), "A ");
    // Another root is not loaded and leaves the dictionary as it was.
    WriteFile(path,
              "<?xml version=\"1.0\" ?><PARAMS><PARAMETER><NAME>X</NAME></PARAMETER></PARAMS>");
    EXPECT_EQ(defs.LoadFile(W(path)), 0);
    EXPECT_EQ(Names(defs), "A ");
    EXPECT_EQ(defs.LoadFile(W(tmp + "/missing.xml")), 0);
}

TEST_F(DictionaryFilesTest, RefreshFlagsAndTheTemplateFallback) {
    CParamDefs defs;
    // Lazy without force answers true and loads nothing.
    EXPECT_TRUE(defs.Refresh(nullptr, false, true));
    EXPECT_FALSE(defs.IsLoaded());
    EXPECT_FALSE(defs.Refresh(nullptr, false, false)); // no file anywhere
    // Without a team, the installation's template is the last resort.
    WriteFile(
        templates + "/params.xml",
        "<?xml version=\"1.0\" ?><PARAMETERS><PARAMETER><NAME>T</NAME></PARAMETER></PARAMETERS>");
    EXPECT_TRUE(defs.Refresh(u"", false, false));
    EXPECT_TRUE(defs.IsLoaded());
    EXPECT_FALSE(defs.IsLazy());
    EXPECT_NE(defs.GetParam(u"T"), nullptr);
    // Loaded: without force nothing is read again.
    WriteFile(
        settingsRoot + "/params.xml",
        "<?xml version=\"1.0\" ?><PARAMETERS><PARAMETER><NAME>U</NAME></PARAMETER></PARAMETERS>");
    EXPECT_TRUE(defs.Refresh(nullptr, false, false));
    EXPECT_EQ(defs.GetParam(u"U"), nullptr);
    // Forced, the user's file wins over the template.
    EXPECT_TRUE(defs.Refresh(nullptr, true, true));
    EXPECT_NE(defs.GetParam(u"U"), nullptr);
    EXPECT_EQ(defs.GetParam(u"T"), nullptr);
    EXPECT_FALSE(defs.IsLazy());
    // Save writes to the settings root.
    defs.AddParam(u"V", u"");
    ASSERT_EQ(defs.Save(), 1);
    CParamDefs again;
    EXPECT_EQ(again.Load(), 1);
    EXPECT_NE(again.GetParam(u"V"), nullptr);
}

TEST(ParamDefs, LazyMissesReachTheLinkOnce) {
    CountingLink link;
    CParamDefs defs;
    defs.SetDBLink(&link);
    EXPECT_TRUE(defs.Refresh(nullptr, true, true));
    EXPECT_EQ(link.loadAll, 0);
    EXPECT_FALSE(defs.CanEditParameters()); // flags come from the link
    EXPECT_EQ(defs.GetParam(u"Nothing"), nullptr);
    EXPECT_EQ(defs.GetParam(u"NOTHING"), nullptr);
    EXPECT_EQ(link.loadOne, 1);
    ASSERT_NE(defs.GetParam(u"width"), nullptr);
    EXPECT_NE(defs.GetParam(u"WIDTH"), nullptr);
    EXPECT_EQ(link.loadOne, 2);
    // Refresh clears the list of misses even when it loads nothing.
    defs.SetEditParameters(true);
    EXPECT_TRUE(defs.Refresh(nullptr, false, true));
    EXPECT_EQ(defs.GetParam(u"nothing"), nullptr);
    EXPECT_EQ(link.loadOne, 3);
    // Counting completes the load.
    EXPECT_EQ(defs.GetCount(), 2);
    EXPECT_EQ(link.loadAll, 1);
    EXPECT_FALSE(defs.IsLazy());
    EXPECT_EQ(defs.GetParam(u"nothing2"), nullptr);
    EXPECT_EQ(link.loadOne, 3);
    // A disconnected link is never asked.
    EXPECT_TRUE(defs.Refresh(nullptr, true, true));
    EXPECT_TRUE(defs.IsLazy());
    link.connected = false;
    EXPECT_EQ(defs.GetParam(u"other"), nullptr);
    EXPECT_EQ(link.loadOne, 3);
    // Copies reach the database only while parameters are editable.
    link.connected = true;
    defs.SetEditParameters(true);
    const int before = link.updates;
    defs.AddParamCopy(CParamDef(u"New"), true);
    EXPECT_EQ(link.updates, before + 1);
    defs.SetEditParameters(false);
    defs.AddParamCopy(CParamDef(u"New2"), true);
    EXPECT_EQ(link.updates, before + 1);
    EXPECT_EQ(defs.AddParamCopy(CParamDef(u"new"), true), defs.GetParam(u"NEW"));
}

TEST(ParamDefs, GlobalInstanceAndBridge) {
    CParamDefs* first = nullptr;
    GetGlobalParamDefs(first, false);
    ASSERT_NE(first, nullptr);
    CParamDefs* second = nullptr;
    GetGlobalParamDefs(second, false);
    EXPECT_EQ(first, second);
    EXPECT_FALSE(GetGlobalParamDefsBridge::HasCallBack());
    static CParamDefs substitute;
    static int calls = 0;
    GetGlobalParamDefsBridge::SetCb([](CParamDefs*& out, bool refresh) {
        ++calls;
        if (refresh) out = &substitute;
    });
    CParamDefs* got = nullptr;
    GetGlobalParamDefs(got, true);
    EXPECT_EQ(got, &substitute);
    EXPECT_EQ(calls, 1);
    GetGlobalParamDefsBridge::SetCb(nullptr);
    EXPECT_FALSE(GetGlobalParamDefsBridge::HasCallBack());
}

TEST(ParamDefs, GlobalInstanceIsBuiltOnceForAllThreads) {
    // Hosts reach the global first from whichever thread loads a document.
    std::vector<CParamDefs*> seen(8, nullptr);
    std::vector<std::thread> threads;
    for (auto& slot : seen) threads.emplace_back([&slot] { GetGlobalParamDefs(slot, false); });
    for (auto& thread : threads) thread.join();
    for (CParamDefs* defs : seen) EXPECT_EQ(defs, seen.front());
    EXPECT_NE(seen.front(), nullptr);
}

TEST(ParamMeasurements, HashIndexLookup) {
    // FNV-1a over UTF-16LE bytes: "a" is the bytes 61 00.
    std::uint64_t expected = 0xcbf29ce484222325ull;
    for (unsigned byte : {0x61u, 0x00u, 0x16u, 0x04u})
        expected = (expected ^ byte) * 0x100000001b3ull;
    EXPECT_EQ(CParamMeasurements::HashName(u"aЖ"), expected);
    EXPECT_EQ(CParamMeasurements::HashName(nullptr), 0u);
    EXPECT_EQ(CParamMeasurements::HashName(u""), 0xcbf29ce484222325ull);

    CParamMeasurements units;
    auto* length = new CParamMeasurement(u"LENGTH", u"");
    length->AddUnit(new CParamMeasureUnit(u"mm", u"", u"", 1, u"", u"", u"", nullptr));
    units.AddMeasurement(length);
    units.AddMeasurement(nullptr);
    EXPECT_EQ(units.GetMeasurementsCount(), 1);
    EXPECT_EQ(units.GetMeasureUnit(u"mm")->GetOwner(), length); // builds the index
    EXPECT_EQ(units.GetMeasureUnit(u"MM"), nullptr);            // case-sensitive
    EXPECT_EQ(units.GetMeasureUnit(nullptr), nullptr);
    auto* mass = new CParamMeasurement(u"MASS", u"");
    mass->AddUnit(new CParamMeasureUnit(u"kg", u"", u"", 1, u"", u"", u"", nullptr));
    units.AddMeasurement(mass);
    EXPECT_EQ(units.GetMeasureUnit(u"kg"), nullptr); // index not rebuilt
    units.SortMeasureUnits();
    EXPECT_NE(units.GetMeasureUnit(u"kg"), nullptr);
}
