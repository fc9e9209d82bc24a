#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "tarvex/element/paramsowner.h"
#include "tarvex/geometry/vector3d.h"

namespace {

CString Value(const CParamsOwner& owner, const char16_t* name) {
    return owner.GetParameterValue(name, u"<missing>");
}

std::u16string Names(const CParamsOwner& owner) {
    std::u16string out;
    for (int64_t i = 0; i < owner.GetParamsCount(); ++i) {
        if (i) out += u',';
        out += owner.GetParameter(i)->m_strName.View();
    }
    return out;
}

} // namespace

TEST(ParamsOwner, LookupIgnoresCaseForLatinAndCyrillic) {
    CParamsOwner owner;
    owner.SetParameter(u"LENGTH", u"1");
    owner.SetParameter(u"Длина", u"2");
    owner.SetParameter(u"ёмкость", u"3");
    EXPECT_EQ(CString(u"1"), Value(owner, u"length"));
    EXPECT_EQ(CString(u"2"), Value(owner, u"ДЛИНА"));
    EXPECT_EQ(CString(u"2"), Value(owner, u"дЛиНа"));
    EXPECT_EQ(CString(u"3"), Value(owner, u"ЁМКОСТЬ"));
    // Prefixes and extensions of a stored name are other names.
    EXPECT_EQ(nullptr, owner.GetParameter(u"Длин"));
    EXPECT_EQ(nullptr, owner.GetParameter(u"Длинаа"));
    EXPECT_EQ(nullptr, owner.GetParameter(u"Длина "));
    EXPECT_EQ(nullptr, owner.GetParameter(u""));
    EXPECT_EQ(nullptr, owner.GetParameter(nullptr));
}

TEST(ParamsOwner, LongNamesAndStaleCachesAreFoundToo) {
    CParamsOwner owner;
    const std::u16string longName(100, u'ж');
    const std::u16string longUpper(100, u'Ж');
    owner.SetParameter(longName.c_str(), u"long");
    EXPECT_EQ(CString(u"long"), Value(owner, longUpper.c_str()));
    EXPECT_EQ(nullptr, owner.GetParameter((longUpper + u"Ж").c_str()));

    // A name set behind the cache is folded on demand by the lookup.
    CParam* param = owner.SetParameter(u"b", u"x");
    param->setName(u"b");
    EXPECT_EQ(param, owner.GetParameter(u"B"));
}

TEST(ParamsOwner, KeepsParametersSortedByUpperName) {
    // Shuffled inserts of names mixing case, digits, '_' and Cyrillic: the
    // array must stay strictly ordered and every name findable, which fails
    // if the lookup's order disagrees with CParam's.
    std::vector<std::u16string> names;
    const char16_t* stems[] = {u"a", u"B", u"_x", u"Я", u"ё", u"Z9", u"z10", u"Ж", u"1"};
    for (const char16_t* stem : stems)
        for (int i = 0; i < 30; ++i) names.push_back(stem + std::u16string(size_t(i % 7), u'q'));
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    std::shuffle(names.begin(), names.end(), std::mt19937(7));

    CParamsOwner owner;
    for (const auto& name : names) owner.SetParameter(name.c_str(), name.c_str());
    ASSERT_EQ(int64_t(names.size()), owner.GetParamsCount());
    for (int64_t i = 1; i < owner.GetParamsCount(); ++i)
        EXPECT_LT(*owner.GetParameter(i - 1), *owner.GetParameter(i));
    for (const auto& name : names) {
        CString upper(name.c_str());
        upper.MakeUpper();
        ASSERT_NE(nullptr, owner.GetParameter(upper)) << CString(name.c_str());
    }
}

TEST(ParamsOwner, SetParameterKeepsStoredCaseAndObject) {
    CParamsOwner owner;
    CParam* first = owner.SetParameter(u"Width", u"1", u"c", u"vc");
    CParam* again = owner.SetParameter(u"WIDTH", u"2", nullptr, nullptr);
    EXPECT_EQ(first, again);
    EXPECT_EQ(1, owner.GetParamsCount());
    EXPECT_EQ(CString(u"Width"), again->m_strName);
    EXPECT_EQ(CString(u"2"), again->m_strValue);
    EXPECT_TRUE(again->m_strComment.IsEmpty());
    EXPECT_TRUE(again->m_strValueComment.IsEmpty());
}

TEST(ParamsOwner, TypedSettersFormatTheText) {
    CParamsOwner owner;
    owner.SetParameter(u"i", -42);
    owner.SetParameter(u"d", 1.0 / 3.0);
    owner.SetParameter(u"d2", 2.5, 0);
    owner.SetParameter(u"v", CTXVector3d(1, 2, 3));
    const _GUID guid = {
        0x1A2B3C4D, 0x5E6F, 0x0A1B, {0xC2, 0xD3, 0xE4, 0xF5, 0x06, 0x17, 0x28, 0x39}};
    owner.SetParameter(u"g", guid, u"comment");
    EXPECT_EQ(CString(u"-42"), Value(owner, u"i"));
    EXPECT_EQ(CString(u"0.333333333333"), Value(owner, u"d"));
    EXPECT_EQ(CString(u"3"), Value(owner, u"d2"));
    EXPECT_EQ(CTXVector3d(1, 2, 3).ToString(), Value(owner, u"v"));
    EXPECT_EQ(CString(u"{1A2B3C4D-5E6F-0A1B-C2D3-E4F506172839}"), Value(owner, u"g"));
    EXPECT_EQ(CString(u"comment"), CString(owner.GetParameterComment(u"g", nullptr)));

    _GUID back{};
    EXPECT_TRUE(owner.GetValue(u"g", back));
    EXPECT_EQ(guid, back);
}

TEST(ParamsOwner, GettersConvertOnReadWithTheirDefaults) {
    CParamsOwner owner;
    owner.SetParameter(u"yes", u"да");
    owner.SetParameter(u"two", u"2");
    owner.SetParameter(u"no", u"нет");
    owner.SetParameter(u"word", u"Yes");
    owner.SetParameter(u"comma", u"1,5");
    owner.SetParameter(u"empty", u"");
    owner.SetParameter(u"vec", u"{1; 2; 3}");
    owner.SetParameter(u"bad", u"oops");

    EXPECT_TRUE(owner.GetParameterValue(u"yes", false));
    EXPECT_TRUE(owner.GetParameterValue(u"two", false));
    EXPECT_FALSE(owner.GetParameterValue(u"no", true));
    EXPECT_TRUE(owner.GetParameterValue(u"missing", true));
    // The out-argument form knows no words: "Yes" is false, but found.
    bool flag = true;
    EXPECT_TRUE(owner.GetValue(u"word", flag));
    EXPECT_FALSE(flag);

    EXPECT_DOUBLE_EQ(1.0, owner.GetParameterValue(u"comma", 9.0));
    EXPECT_DOUBLE_EQ(0.0, owner.GetParameterValue(u"empty", 9.0));
    EXPECT_DOUBLE_EQ(9.0, owner.GetParameterValue(u"empty", 9.0, true));
    EXPECT_EQ(0, owner.GetParameterValue(u"empty", 7));
    EXPECT_EQ(7, owner.GetParameterValue(u"empty", 7, true));
    EXPECT_EQ(CString(u"d"), owner.GetParameterValue(u"empty", CString(u"d"), true));

    EXPECT_EQ(CTXVector3d(1, 2, 3), owner.GetParameterValue(u"vec", CTXVector3d(7, 7, 7)));
    EXPECT_EQ(CTXVector3d(7, 7, 7), owner.GetParameterValue(u"bad", CTXVector3d(7, 7, 7)));
    CTXPoint3d point(5, 5, 5);
    EXPECT_FALSE(owner.GetValue(u"bad", point)); // found, but no point
    EXPECT_TRUE(owner.GetValue(u"vec", point));
    EXPECT_EQ(CTXPoint3d(1, 2, 3), point);
}

TEST(ParamsOwner, AdditionsAndDuplicates) {
    CParamsOwner owner;
    CParam* a = owner.AddParameter(u"A", u"1", u"c");
    EXPECT_EQ(a, owner.AddParameter(u"a", u"2"));
    EXPECT_EQ(CString(u"1"), a->m_strValue);

    // The argument loses to the parameter already there and is deleted.
    EXPECT_EQ(a, owner.AddNewParameter(new CParam(u"a", u"3", nullptr, nullptr)));
    CParam* b = owner.AddNewParameter(new CParam(u"b", u"4", nullptr, nullptr));
    EXPECT_EQ(CString(u"4"), b->m_strValue);

    const CParam source(u"B", u"5", nullptr, nullptr);
    EXPECT_EQ(b, owner.AddParamCopy(&source));
    EXPECT_EQ(2, owner.GetParamsCount());
    owner.AddParamCopy(&source, false); // the reader's path: a duplicate
    owner.AddParameter(new CParam(u"A", u"6", nullptr, nullptr));
    EXPECT_EQ(4, owner.GetParamsCount());

    EXPECT_TRUE(owner.RemoveParameter(u"b"));
    EXPECT_TRUE(owner.RemoveParameter(u"b"));
    EXPECT_FALSE(owner.RemoveParameter(u"b"));
}

TEST(ParamsOwner, ApplyParameterMarkers) {
    CParamsOwner owner;
    owner.SetParameter(u"V", u"old", u"comment", u"=1+1");
    owner.SetParameter(u"C", u"old", u"comment", u"old vc");
    owner.SetParameter(u"E", u"old");
    owner.SetParameter(u"P", u"old", u"comment", u"vc");

    CParam valueSet(u"v", u"new", u"*VALUE_SET*", u"ignored");
    owner.ApplyParameter(&valueSet);
    const CParam* v = owner.GetParameter(u"V");
    EXPECT_EQ(CString(u"new"), v->m_strValue);
    EXPECT_EQ(CString(u"comment"), v->m_strComment);
    EXPECT_EQ(CString(u"=1+1"), v->m_strValueComment);

    CParam commentSet(u"C", u"ignored", u"*COMMENT_SET*", u"new vc");
    owner.ApplyParameter(&commentSet);
    const CParam* c = owner.GetParameter(u"C");
    EXPECT_EQ(CString(u"old"), c->m_strValue);
    EXPECT_EQ(CString(u"comment"), c->m_strComment);
    EXPECT_EQ(CString(u"new vc"), c->m_strValueComment);

    // Partial changes to missing parameters create them, without the marker.
    CParam valueSetNew(u"NV", u"1", u"*VALUE_SET*", u"vc1"),
        commentSetNew(u"NC", u"2", u"*COMMENT_SET*", u"vc2");
    owner.ApplyParameter(&valueSetNew);
    owner.ApplyParameter(&commentSetNew);
    for (const char16_t* name : {u"NV", u"NC"}) {
        const CParam* p = owner.GetParameter(name);
        ASSERT_NE(nullptr, p);
        EXPECT_TRUE(p->m_strComment.IsEmpty());
        EXPECT_FALSE(p->m_strValue.IsEmpty());
        EXPECT_FALSE(p->m_strValueComment.IsEmpty());
    }

    CParam erase(u"e", u"", u"*ERASED*", nullptr), eraseAbsent(u"none", u"", u"*ERASED*", nullptr);
    owner.ApplyParameter(&erase);
    owner.ApplyParameter(&eraseAbsent);
    EXPECT_EQ(nullptr, owner.GetParameter(u"E"));
    EXPECT_EQ(nullptr, owner.GetParameter(u"none"));

    // With a value the marker has no force: an ordinary change of all fields.
    CParam notErased(u"P", u"5", u"*ERASED*", nullptr);
    owner.ApplyParameter(&notErased);
    const CParam* p = owner.GetParameter(u"P");
    EXPECT_EQ(CString(u"5"), p->m_strValue);
    EXPECT_EQ(CString(u"*ERASED*"), p->m_strComment);
    EXPECT_TRUE(p->m_strValueComment.IsEmpty());
    owner.ApplyParameter(nullptr);
    EXPECT_EQ(Names(owner), u"C,NC,NV,P,V");
}

TEST(ParamsOwner, MergeNeverBlanksAValue) {
    CParamsOwner target, source;
    target.SetParameter(u"full", u"1", u"c1", u"vc1");
    target.SetParameter(u"blank", u"", u"c2");
    source.SetParameter(u"FULL", u"", u"x", u"x");
    source.SetParameter(u"blank", u"", u"x", u"x");
    source.SetParameter(u"new", u"", u"n");
    source.SetParameter(u"other", u"9");

    target.MergeParamsFrom(source, true, false);
    EXPECT_EQ(CString(u"1"), Value(target, u"full"));
    EXPECT_EQ(CString(u"c1"), CString(target.GetParameterComment(u"full", nullptr)));
    EXPECT_EQ(CString(u"c2"), CString(target.GetParameterComment(u"blank", nullptr)));
    EXPECT_EQ(CString(u""), Value(target, u"new")); // absent ones come even when empty
    EXPECT_EQ(CString(u"9"), Value(target, u"other"));

    CParamsOwner skipEmpty;
    skipEmpty.MergeParamsFrom(source, false, false);
    EXPECT_EQ(Names(skipEmpty), u"other");

    CParamsOwner keep, values;
    keep.SetParameter(u"a", u"old");
    keep.SetParameter(u"b", u"");
    values.SetParameter(u"A", u"new");
    values.SetParameter(u"B", u"new", u"c");
    keep.MergeParamsFrom(values, false, true);
    EXPECT_EQ(CString(u"old"), Value(keep, u"a"));
    EXPECT_EQ(CString(u"new"), Value(keep, u"b"));
    keep.MergeParamsFrom(values, false, false);
    EXPECT_EQ(CString(u"new"), Value(keep, u"a"));
}

TEST(ParamsOwner, SetParametersByNullPolicy) {
    CParamsOwner source;
    source.SetParameter(u"has", u"", u"c", u"vc");
    source.SetParameter(u"lacks", u"", u"c", u"vc");
    source.SetParameter(u"full", u"S", u"c", u"vc");
    source.SetParameter(u"hole", u"S", u"c", u"vc");
    auto run = [&](eNullParamsPolicy policy, bool existingOnly) {
        CParamsOwner target;
        target.SetParameter(u"has", u"T");
        target.SetParameter(u"full", u"T");
        target.SetParameter(u"hole", u"");
        target.SetParameters(source, existingOnly, policy, true);
        EXPECT_TRUE(CString(target.GetParameterValueComment(u"full", u"")).IsEmpty());
        std::u16string out;
        for (const char16_t* name : {u"has", u"lacks", u"full", u"hole"})
            out += std::u16string(Value(target, name).View()) + u";";
        return out;
    };
    EXPECT_EQ(u"T;<missing>;S;S;", run(NullParamsSkip, false));
    EXPECT_EQ(u";;S;S;", run(NullParamsCopy, false));
    EXPECT_EQ(u";<missing>;S;S;", run(NullParamsCopyIfPresent, false));
    EXPECT_EQ(u"T;;T;S;", run(NullParamsFillEmpty, false));
    EXPECT_EQ(u"T;<missing>;S;S;", run(NullParamsSkip, true));
    EXPECT_EQ(u";<missing>;S;S;", run(NullParamsCopy, true));
    EXPECT_EQ(u";<missing>;S;S;", run(NullParamsFillEmpty, true));

    CParamsOwner keepComment;
    keepComment.SetParameters(source, NullParamsCopy);
    EXPECT_EQ(CString(u"vc"), CString(keepComment.GetParameterValueComment(u"lacks", nullptr)));
}

TEST(ParamsOwner, CopyIsExact) {
    CParamsOwner source;
    source.SetParameter(u"b", u"2", u"c", u"vc");
    source.SetParameter(u"A", u"1");
    source.AddParameter(new CParam(u"a", u"dup", nullptr, nullptr));

    CParamsOwner target;
    target.SetParameter(u"gone", u"x");
    target.CopyParamsFrom(source);
    EXPECT_EQ(Names(target), Names(source));
    EXPECT_TRUE(target.CompareParameters(source));
    EXPECT_NE(source.GetParameter(0), target.GetParameter(0)); // deep

    CParamsOwner copy(source), assigned, empty, emptyCopy(empty);
    assigned = source;
    EXPECT_EQ(Names(copy), Names(source));
    EXPECT_EQ(Names(assigned), Names(source));
    EXPECT_EQ(3, copy.GetParams().GetPhysicalLength());
    EXPECT_EQ(8, emptyCopy.GetParams().GetPhysicalLength());
}

TEST(ParamsOwner, CompareValuesReadsNumbersWithEitherSeparator) {
    auto cmp = CParamsOwner::CompareValues;
    EXPECT_EQ(0, cmp(u"1,50", u"1.5"));
    EXPECT_EQ(0, cmp(u"1.000001", u"1"));
    EXPECT_LT(cmp(u"2", u"10"), 0); // by value, not by text
    EXPECT_GT(cmp(u"1.00002", u"1"), 0);
    EXPECT_NE(0, cmp(u"1.0", u"1.0a"));
    // Two separators make no number: compared as text.
    EXPECT_EQ(0, cmp(u"1.2.3", u"1.2.3"));
    EXPECT_NE(0, cmp(u"1.2.3", u"1.2.30"));
    // A lone minus is no number either, so it does not read as 0.
    EXPECT_EQ(0, cmp(u"-", u"-"));
    EXPECT_NE(0, cmp(u"-", u"-0"));
    EXPECT_NE(0, cmp(u"", u"0"));
    EXPECT_LT(cmp(u"A", u"a"), 0); // text compares with case
}

TEST(ParamsOwner, EqualityOfOwners) {
    CParamsOwner a, b;
    a.SetParameter(u"Name", u"1,5");
    a.SetParameter(u"Skip", u"x");
    b.SetParameter(u"NAME", u"1.5");
    b.SetParameter(u"skip", u"y");
    EXPECT_FALSE(a.IsEqualParameters(b));
    CParamsOwner::NameList ignored;
    ignored.Add(CString(u"SKIP"));
    EXPECT_TRUE(a.IsEqualParameters(b, &ignored));

    // Ignored names may stand anywhere, and the walks must end together.
    b.SetParameter(u"Extra", u"");
    EXPECT_FALSE(a.IsEqualParameters(b, &ignored));
    ignored.Add(CString(u"EXTRA"));
    EXPECT_TRUE(a.IsEqualParameters(b, &ignored));
    EXPECT_EQ(1, b.GetNextActiveParamId(&ignored, -1));
    EXPECT_EQ(-1, b.GetNextActiveParamId(&ignored, 1));

    CParamsOwner c, d;
    c.SetParameter(u"Name", u"1");
    d.SetParameter(u"NAME", u"1.0");
    EXPECT_TRUE(c.IsEqualParameters(d));
    EXPECT_FALSE(c.CompareParameters(d)); // names with their case
}

TEST(ParamsOwner, CompareParametersListsDifferences) {
    CParamsOwner mine, theirs, ignored;
    mine.SetParameter(u"formula", u"1", nullptr, u"=a+b");
    theirs.SetParameter(u"formula", u"2", nullptr, u"=a+b");
    mine.SetParameter(u"number", u"1,0");
    theirs.SetParameter(u"NUMBER", u"1");
    mine.SetParameter(u"vc", u"1", nullptr, u"x");
    theirs.SetParameter(u"vc", u"1", nullptr, u"y");
    mine.SetParameter(u"onlyMine", u"1");
    theirs.SetParameter(u"onlyTheirs", u"1");
    mine.SetParameter(u"ign", u"1");
    theirs.SetParameter(u"ign2", u"1");
    ignored.SetParameter(u"IGN", u"");
    ignored.SetParameter(u"ign2", u"");

    CParamsOwner::ParamDiffs diffs;
    EXPECT_FALSE(mine.CompareParameters(theirs, diffs, &ignored));
    ASSERT_EQ(3, diffs.GetLength());
    EXPECT_EQ(mine.GetParameter(u"onlyMine"), diffs[0]->m_Key);
    EXPECT_EQ(nullptr, diffs[0]->m_Value);
    EXPECT_EQ(mine.GetParameter(u"vc"), diffs[1]->m_Key);
    EXPECT_EQ(theirs.GetParameter(u"vc"), diffs[1]->m_Value);
    EXPECT_EQ(nullptr, diffs[2]->m_Key);
    EXPECT_EQ(theirs.GetParameter(u"onlyTheirs"), diffs[2]->m_Value);
}

TEST(ParamsOwner, SynchronizeBothWays) {
    CParamsOwner owner;
    int32_t number = 5;
    char16_t* text = nullptr;
    // To the variable, but nothing there yet: the parameter is created.
    owner.Synchronize(u"n", number, u"count", true);
    owner.Synchronize(u"t", text, nullptr, true);
    EXPECT_EQ(CString(u"5"), Value(owner, u"n"));
    EXPECT_EQ(CString(u"count"), CString(owner.GetParameterComment(u"n", nullptr)));
    EXPECT_EQ(CString(u""), Value(owner, u"t"));

    owner.SetParameter(u"N", u"12abc");
    owner.SetParameter(u"T", u"текст");
    owner.Synchronize(u"n", number, nullptr, true);
    owner.Synchronize(u"t", text, nullptr, true);
    owner.Synchronize(u"t", text, nullptr, true); // the old copy is freed
    EXPECT_EQ(12, number);
    EXPECT_EQ(CString(u"текст"), CString(text));
    owner.SetParameter(u"t", u"other");
    owner.Synchronize(u"t", text, u"c", false);
    EXPECT_EQ(CString(u"текст"), Value(owner, u"t"));
    delete[] text;

    double real = 0.25;
    owner.Synchronize(u"r", real, nullptr, false);
    EXPECT_EQ(CString(u"0.25"), Value(owner, u"r"));
}
