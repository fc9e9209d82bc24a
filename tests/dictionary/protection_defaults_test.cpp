#include "dictionarytest.h"

#include "tarvex/dictionary/paramsdefault.h"
#include "tarvex/dictionary/paramsprotection.h"
#include "tarvex/element/element.h"
#include "tarvex/element/paramsowner.h"

namespace {

// "NAME=value|comment|valueComment;" for each parameter in order.
std::string Dump(const CParamsOwner& owner) {
    std::string out;
    for (int64_t i = 0; i < owner.GetParamsCount(); ++i) {
        const CParam* p = owner.GetParameter(i);
        out += N(p->getName()) + "=" + N(p->getstrValue()) + "|" + N(p->getComment()) + "|" +
               N(p->getValueComment()) + ";";
    }
    return out;
}

} // namespace

TEST(ProtectionList, WordsActionsAndLocks) {
    CParamsProtectionList list;
    // Action 1 keeps, action 2 skips, action 3 copies.
    list.SetProtectedParameter(u"Len", ParamProtectionKeep, ParamProtectionSkip,
                               ParamProtectionNone, false);
    EXPECT_EQ(list.GetParamProtection(u"LEN"), 0x09u);
    bool flag = true, locked = true;
    EXPECT_FALSE(list.GetParamProtection(u"len", 0, flag, locked));
    EXPECT_FALSE(flag);
    EXPECT_FALSE(locked);
    EXPECT_TRUE(list.GetParamProtection(u"len", 1, flag, locked));
    EXPECT_TRUE(flag);
    EXPECT_TRUE(list.GetParamProtection(u"len", 2, flag, locked));
    EXPECT_FALSE(flag);
    EXPECT_FALSE(list.GetParamProtection(u"len", 3, flag, locked));
    EXPECT_FALSE(list.GetParamProtection(u"len", 4, flag, locked));
    // Bits 4-5 are action 3; values above 3 keep their low bits.
    list.SetProtectedParameter(u"W", ParamProtectionNone, ParamProtectionNone, EParamProtection(6),
                               false);
    EXPECT_EQ(list.GetParamProtection(u"w"), 0x20u);
    // The lock decides every action but 0.
    EXPECT_FALSE(list.IsLocked(u"len"));
    EXPECT_TRUE(list.ToggleParamLock(u"len"));
    EXPECT_TRUE(list.GetParamProtection(u"Len", 3, flag, locked));
    EXPECT_TRUE(locked);
    EXPECT_FALSE(flag);
    EXPECT_FALSE(list.ToggleParamLock(u"LEN"));
    EXPECT_EQ(list.GetParamProtection(u"len"), 0x09u);
    // A lock toggled twice on a name with no record leaves none.
    const int64_t before = list.GetCount();
    EXPECT_TRUE(list.ToggleParamLock(u"new"));
    EXPECT_EQ(list.GetParamProtection(u"NEW"), 0x100u);
    EXPECT_FALSE(list.ToggleParamLock(u"New"));
    EXPECT_EQ(list.GetCount(), before);
    list.SetProtectedParameter(u"absent", 0u);
    EXPECT_EQ(list.GetCount(), before);
    list.SetProtectedParameter(u"w", 0u);
    EXPECT_EQ(list.GetCount(), before - 1);
    CString name;
    std::uint32_t word = 0;
    ASSERT_TRUE(list.GetProtection(0, name, word));
    EXPECT_EQ(N(name), "LEN");
    EXPECT_FALSE(list.GetProtection(5, name, word));
}

TEST_F(DictionaryFilesTest, ProtectionFileAndTheOlderStateAttribute) {
    CParamsProtectionList list;
    EXPECT_EQ(list.Save(), 0); // no file name yet
    list.SetProtectedParameter(u"Длина", 0x121u);
    list.SetProtectedParameter(u"b", 2u);
    ASSERT_EQ(list.Save(u"protect.xml"), 1);
    CParamsProtectionList back;
    ASSERT_EQ(back.Load(u"protect.xml"), 1);
    EXPECT_EQ(back.GetParamProtection(u"длина"), 0x121u);
    EXPECT_EQ(back.GetParamProtection(u"B"), 2u);
    WriteFile(settingsRoot + "/old.xml",
              "<?xml version=\"1.0\" ?><Protection><Parameter name=\"s1\" state=\"1\"/>"
              "<Parameter name=\"s2\" state=\"2\"/><Parameter name=\"s3\" state=\"3\"/>"
              "</Protection>");
    ASSERT_EQ(back.Load(u"old.xml"), 1);
    EXPECT_EQ(back.GetCount(), 2); // the earlier records were flushed; state 1 gives none
    EXPECT_EQ(back.GetParamProtection(u"s2"), 8u);
    EXPECT_EQ(back.GetParamProtection(u"s3"), 42u);
    EXPECT_EQ(back.Load(u"missing.xml"), 0);
    EXPECT_EQ(back.GetCount(), 0);
}

TEST(ProtectedCopy, KeepSkipLockAndNone) {
    CParamsProtectionList list;
    list.SetProtectedParameter(u"KEEP", ParamProtectionKeep, ParamProtectionNone,
                               ParamProtectionNone, false);
    list.SetProtectedParameter(u"SKIP", ParamProtectionSkip, ParamProtectionNone,
                               ParamProtectionNone, false);
    list.SetProtectedParameter(u"LOCK", ParamProtectionNone, ParamProtectionNone,
                               ParamProtectionNone, true);
    CParamsOwner source;
    for (const char16_t* name : {u"Keep", u"Skip", u"Lock", u"Free"})
        source.SetParameter(name, u"src", u"c", u"vc");

    // The target lacks them all: 1 creates an empty one, 2 and the lock leave
    // it out.
    CParamsOwner empty;
    empty.CopyParamsFrom(source, list, 1);
    EXPECT_EQ(Dump(empty), "Free=src|c|vc;Keep=|c|vc;");

    // The target holds them all: protected and locked ones keep their state,
    // unprotected ones are replaced, and a target-only parameter goes.
    CParamsOwner full;
    for (const char16_t* name : {u"Keep", u"Skip", u"Lock", u"Free", u"Own"})
        full.SetParameter(name, u"old", u"", u"");
    full.CopyParamsFrom(source, list, 1);
    EXPECT_EQ(Dump(full), "Free=src|c|vc;Keep=old||;Lock=old||;Skip=old||;");

    // Action 2 finds no protection for Keep and Skip; the lock still holds.
    CParamsOwner second;
    second.SetParameter(u"Lock", u"old", u"", u"");
    second.SetParameter(u"Own", u"old", u"", u"");
    second.CopyParamsFrom(source, list, 2);
    EXPECT_EQ(Dump(second), "Free=src|c|vc;Keep=src|c|vc;Lock=old||;Skip=src|c|vc;");

    // Action 0 is the plain copy, locks included.
    CParamsOwner none;
    none.SetParameter(u"Lock", u"old", u"", u"");
    none.SetParameter(u"Own", u"old", u"", u"");
    none.CopyParamsFrom(source, list, 0);
    EXPECT_EQ(Dump(none), Dump(source));
    none.CopyParamsFrom(none, list, 1);
    EXPECT_EQ(Dump(none), Dump(source));
}

TEST(ProtectedCopy, TreesKeepTheirProtectedValuesByPlace) {
    CParamsProtectionList list;
    list.SetProtectedParameter(u"KEEP", ParamProtectionKeep, ParamProtectionNone,
                               ParamProtectionNone, false);
    CElement source(u"plant");
    source.SetParameter(u"Keep", u"new");
    CElement* pumpA = source.AddChild(u"Pump");
    CElement* pumpB = source.AddChild(u"pump");
    pumpA->SetParameter(u"Keep", u"newA");
    pumpB->SetParameter(u"Keep", u"newB");
    pumpB->SetParameter(u"Free", u"newB");
    source.AddChild(u"Valve")->SetParameter(u"Keep", u"newV");

    // The target's children stand in another order: each is found by name.
    CElement target(u"old plant");
    target.SetParameter(u"Keep", u"old");
    target.AddChild(u"Tank")->SetParameter(u"Keep", u"oldT");
    target.AddChild(u"PUMP")->SetParameter(u"Keep", u"old1");
    target.AddChild(u"Pump")->SetParameter(u"Keep", u"old2");

    target.CopyFrom(&source, list, 1);
    EXPECT_EQ(std::u16string_view(target.GetName()), u"plant");
    ASSERT_EQ(target.GetChildCount(), 3);
    EXPECT_EQ(Dump(target), "Keep=old||;");
    EXPECT_EQ(Dump(*target.GetChild(0)), "Keep=old1||;");
    EXPECT_EQ(Dump(*target.GetChild(1)), "Free=newB||;Keep=old2||;");
    // No old element in its place: the protected parameter starts empty.
    EXPECT_EQ(Dump(*target.GetChild(2)), "Keep=||;");

    // A child copy has nothing to protect.
    CElement::CopyMap map;
    CElement* copy = target.AddChildCopy(pumpB, list, 1, &map);
    EXPECT_EQ(Dump(*copy), "Free=newB||;Keep=||;");
    EXPECT_EQ(map.GetLength(), 1);
}

TEST(ParamsDefault, TableOwnersAndLink) {
    CParamsDefault table;
    table.SetValue(u"b", u"2", u"two");
    table.SetValue(u"A", u"1", u"one");
    table.SetValue(u"B", u"3", u"three"); // replaces, case-blind
    EXPECT_EQ(table.GetCount(), 2);
    EXPECT_EQ(N(table.GetParamName(1)), "b");
    CString value(u"x"), comment(u"y");
    EXPECT_TRUE(table.GetParamValue(u"b", value, comment));
    EXPECT_EQ(N(value), "3");
    EXPECT_FALSE(table.GetParamValue(u"zzz", value, comment));
    EXPECT_EQ(N(value), "");
    EXPECT_EQ(N(comment), "");

    CParamsOwner owner;
    owner.SetParameter(u"A", u"old", u"comment", u"vc");
    owner.SetParameter(u"Other", u"o", u"keep", u"");
    table.Apply(owner);
    EXPECT_EQ(Dump(owner), "A=1||one;b=3||three;Other=o|keep|;");
    table.CopyInto(owner);
    EXPECT_EQ(Dump(owner), "A=1||one;b=3||three;");
    CParamsDefault taken;
    owner.SetParameter(u"C", u"c", u"ignored", u"cv");
    taken.CopyFrom(owner);
    ASSERT_TRUE(taken.GetParamValue(u"c", value, comment));
    EXPECT_EQ(N(comment), "cv");

    // Without a connection the database calls throw the fixed words.
    try {
        table.LoadFromDatabase();
        ADD_FAILURE();
    } catch (const CKVException& error) {
        EXPECT_EQ(N(error.GetMessageW()), "Нет соединения с базой данных.");
        EXPECT_EQ(N(error.GetCodePos()), "");
    }
    EXPECT_THROW(table.DbRemoveParam(u"A"), CKVException);
    CountingLink link;
    EXPECT_TRUE(table.LoadFromDatabase(nullptr, u"srv"));
    link.connected = false;
    EXPECT_TRUE(table.LoadFromDatabase(&link, u"srv"));
    EXPECT_FALSE(table.IsConnected());
    link.connected = true;
    table.SetConnection(&link, u"srv");
    table.RemoveValue(u"not there"); // the link hears of it all the same
    EXPECT_EQ(link.removes, 1);
    table.SetValue(u"A", u"5", u"");
    EXPECT_EQ(link.updates, 1);

    // Dictionary defaults, completing a lazy load first.
    CParamDefs defs;
    defs.SetDBLink(&link);
    defs.Refresh(nullptr, true, true);
    taken.CopyFrom(defs);
    EXPECT_EQ(taken.GetCount(), 2);
    EXPECT_TRUE(taken.HasDefaultValue(u"MASS"));
}

TEST_F(DictionaryFilesTest, DefaultsFileAndInitialize) {
    CParamsDefault table;
    table.DoSetDefaultValue(u"Длина", u"10", u"мм");
    table.DoSetDefaultValue(u"B", u"", u"");
    const std::string path = tmp + "/defaults.xml";
    ASSERT_EQ(table.SaveToFile(W(path)), 1);
    EXPECT_NE(ReadFile(path).find("<PARAMETER><NAME>B</NAME><DEFAULT></DEFAULT><COMMENT></COMMENT>"
                                  "</PARAMETER>"),
              std::string::npos);
    CParamsDefault back;
    ASSERT_EQ(back.LoadFromFile(W(path)), 1);
    CString value, comment;
    ASSERT_TRUE(back.GetParamValue(u"ДЛИНА", value, comment));
    EXPECT_EQ(N(value), "10");
    EXPECT_EQ(N(comment), "мм");

    // A failing database leaves the file to answer, with no exception.
    WriteFile(settingsRoot + "/sub/d.xml",
              "<?xml version=\"1.0\" ?><PARAMETERS><PARAMETER><NAME>F</NAME><DEFAULT>1</DEFAULT>"
              "</PARAMETER></PARAMETERS>");
    CountingLink link;
    link.failDefaults = true;
    CParamDefs* global = nullptr;
    GetGlobalParamDefs(global, false);
    global->SetDBLink(&link);
    CParamsDefault init;
    EXPECT_EQ(init.Initialize(u"d.xml", u"srv", u"db", 0, u"", u"", nullptr, nullptr, u"sub"), 1);
    EXPECT_TRUE(init.HasDefaultValue(u"f"));
    // A working database answers first.
    link.failDefaults = false;
    CParamsDefault fromDb;
    EXPECT_EQ(fromDb.Initialize(u"d.xml", u"srv", u"db", 0, u"", u"", nullptr, nullptr, u"sub"), 1);
    EXPECT_TRUE(fromDb.HasDefaultValue(u"FROM_DB"));
    EXPECT_FALSE(fromDb.HasDefaultValue(u"F"));
    global->Disconnect();
    CParamsDefault none;
    EXPECT_EQ(none.Initialize(u"nothing.xml", u"", u"", 0, u"", u"", nullptr, nullptr, u"sub"), 0);
    init.DoSetDefaultValue(u"G", u"2", u"");
    ASSERT_EQ(init.Save(), 1);
    CParamsDefault saved;
    ASSERT_EQ(saved.LoadFromFile(W(settingsRoot + "/sub/d.xml")), 1);
    EXPECT_EQ(saved.GetCount(), 2);
}

TEST(ReplaceParameters, RenamesOverrideAndNeverChain) {
    CParamsDefault renames;
    renames.DoSetDefaultValue(u"a", u"B", u"");
    renames.DoSetDefaultValue(u"B", u"C", u"");
    renames.DoSetDefaultValue(u"keep", u"", u"");
    // A is renamed to B, B (by its old name) to C: no chain A -> B -> C.
    CParamsOwner owner;
    owner.SetParameter(u"A", u"a", u"", u"");
    owner.SetParameter(u"B", u"b", u"", u"");
    owner.SetParameter(u"Keep", u"k", u"", u"");
    owner.ReplaceParameters(renames);
    EXPECT_EQ(Dump(owner), "B=a||;C=b||;Keep=k||;");
    EXPECT_NE(owner.GetParameter(u"b"), nullptr); // upper name recomputed

    // A -> Z with Z already present: one Z with A's value, whichever comes
    // first in the sorted order.
    CParamsDefault toZ;
    toZ.DoSetDefaultValue(u"A", u"Z", u"");
    CParamsOwner later;
    later.SetParameter(u"A", u"from a", u"", u"");
    later.SetParameter(u"Z", u"z", u"", u"");
    later.ReplaceParameters(toZ);
    EXPECT_EQ(Dump(later), "Z=from a||;");
    CParamsDefault toA;
    toA.DoSetDefaultValue(u"Z", u"A", u"");
    CParamsOwner earlier;
    earlier.SetParameter(u"A", u"a", u"", u"");
    earlier.SetParameter(u"Z", u"from z", u"", u"");
    earlier.ReplaceParameters(toA);
    EXPECT_EQ(Dump(earlier), "A=from z||;");

    CParamsDefault emptyTable;
    earlier.ReplaceParameters(emptyTable);
    EXPECT_EQ(Dump(earlier), "A=from z||;");
}
