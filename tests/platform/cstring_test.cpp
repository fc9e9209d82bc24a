#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "tarvex/platform/bstr.h"
#include "tarvex/platform/cstring.h"

TEST(CString, EmptyStringsShareOneBufferAndNullReadsAsEmpty) {
    CString a, b(static_cast<const char16_t*>(nullptr)), c(u"");
    EXPECT_EQ(a.GetString(), b.GetString());
    EXPECT_EQ(a.GetString(), c.GetString());
    EXPECT_TRUE(c.IsEmpty());
    EXPECT_EQ(0, a.GetLength());
    EXPECT_EQ(u'\0', a.GetString()[0]);
    EXPECT_EQ(sizeof(void*), sizeof(CString));
}

TEST(CString, CopyOnWriteLeavesCopiesUntouched) {
    CString original(u"Параметр");
    CString copy = original;
    EXPECT_EQ(original.GetString(), copy.GetString()); // shared until a write

    original.MakeUpper();
    EXPECT_EQ(CString(u"Параметр"), copy);
    EXPECT_EQ(CString(u"ПАРАМЕТР"), original);

    CString other = copy;
    char16_t* buffer = other.GetBuffer();
    buffer[0] = u'п';
    other.ReleaseBuffer();
    EXPECT_EQ(CString(u"Параметр"), copy);
    EXPECT_EQ(CString(u"параметр"), other);

    CString third = copy;
    third.SetAt(1, u'А');
    third += u"!";
    EXPECT_EQ(CString(u"Параметр"), copy);
    EXPECT_EQ(CString(u"ПАраметр!"), third);
}

TEST(CString, UpperCaseOfUpperTextKeepsTheSharedBuffer) {
    CString name(u"LENGTH_Ё");
    CString upper = name;
    upper.MakeUpper();
    EXPECT_EQ(name.GetString(), upper.GetString());
}

TEST(CString, AppendingToItselfAndFormattingItself) {
    CString s(u"ab");
    s += s;
    s.Append(s.GetString() + 1, 2);
    EXPECT_EQ(CString(u"abab"
                      u"ba"),
              s);
    s.Format(u"[%s]", s);
    EXPECT_EQ(CString(u"[ababba]"), s);
    s.Insert(1, s.GetString() + 2);
    EXPECT_EQ(CString(u"[babba]ababba]"), s);
}

TEST(CString, ExtractionClampsOutOfRangeArguments) {
    CString s(u"abcdef");
    EXPECT_EQ(CString(u"cdef"), s.Mid(2));
    EXPECT_EQ(CString(u"cd"), s.Mid(2, 2));
    EXPECT_EQ(CString(u"abcdef"), s.Mid(-3));
    EXPECT_EQ(CString(), s.Mid(10));
    EXPECT_EQ(CString(u"ef"), s.Mid(4, 100));
    EXPECT_EQ(CString(u"ab"), s.Left(2));
    EXPECT_EQ(CString(u"abcdef"), s.Left(99));
    EXPECT_EQ(CString(u"ef"), s.Right(2));
    EXPECT_EQ(CString(), s.Right(-1));
}

TEST(CString, SearchAndEdit) {
    CString s(u"a.b.c");
    EXPECT_EQ(1, s.Find(u'.'));
    EXPECT_EQ(3, s.Find(u'.', 2));
    EXPECT_EQ(-1, s.Find(u'x'));
    EXPECT_EQ(2, s.Find(u"b.c"));
    EXPECT_EQ(-1, s.Find(u"b", 9));
    EXPECT_EQ(3, s.ReverseFind(u'.'));
    EXPECT_EQ(1, s.FindOneOf(u"x."));

    EXPECT_EQ(2, s.Replace(u'.', u'/'));
    EXPECT_EQ(CString(u"a/b/c"), s);
    EXPECT_EQ(2, s.Replace(u"/", u"::"));
    EXPECT_EQ(CString(u"a::b::c"), s);
    EXPECT_EQ(0, s.Replace(u"", u"x"));
    EXPECT_EQ(4, s.Remove(u':'));
    EXPECT_EQ(CString(u"abc"), s);
    EXPECT_EQ(2, s.Delete(0));
    EXPECT_EQ(CString(u"bc"), s);
    EXPECT_EQ(2, s.Delete(5, 3));
}

TEST(CString, TrimAndTokenize) {
    CString s(u" \t x y \r\n");
    s.Trim();
    EXPECT_EQ(CString(u"x y"), s);
    CString q(u"\"quoted\"");
    q.Trim(u'"');
    EXPECT_EQ(CString(u"quoted"), q);
    CString r(u"xxabxx");
    r.TrimRight(u"x");
    EXPECT_EQ(CString(u"xxab"), r);

    CString list(u",1,, 2 ,3");
    int position = 0;
    std::vector<CString> tokens;
    for (CString t = list.Tokenize(u", ", position); position >= 0;
         t = list.Tokenize(u", ", position))
        tokens.push_back(t);
    ASSERT_EQ(3u, tokens.size());
    EXPECT_EQ(CString(u"2"), tokens[1]);
}

TEST(CString, CompareIsOrdinalAndCompareNoCaseFoldsCyrillic) {
    EXPECT_LT(CString(u"Z").Compare(u"a"), 0);
    EXPECT_GT(CString(u"я").Compare(u"Я"), 0);
    EXPECT_EQ(0, CString(u"Ёлка").CompareNoCase(u"ёЛКА"));
    EXPECT_EQ(0, CString(u"abc").Compare(u"abc"));
    EXPECT_GT(CString(u"abc").Compare(nullptr), 0);
    EXPECT_TRUE(CString(u"a") == u"a");
    EXPECT_TRUE(CString(u"a") != CString(u"a\u0000b", 3));
}

TEST(CString, BufferAccess) {
    CString s;
    char16_t* p = s.GetBuffer(10);
    p[0] = u'h';
    p[1] = u'i';
    p[2] = 0;
    s.ReleaseBuffer();
    EXPECT_EQ(2, s.GetLength());
    s.GetBufferSetLength(1);
    EXPECT_EQ(CString(u"h"), s);
    s.Preallocate(100);
    EXPECT_EQ(CString(u"h"), s);
}

TEST(CString, AllocSysStringCarriesTheLength) {
    CString s(u"a\u0000b", 3);
    BSTR b = s.AllocSysString();
    EXPECT_EQ(3u, SysStringLen(b));
    EXPECT_EQ(u'b', b[2]);
    SysFreeString(b);
}

TEST(CString, CopiesAcrossThreadsAreCountedAtomically) {
    CString shared(u"shared text");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&shared] {
            for (int i = 0; i < 20000; ++i) {
                CString copy = shared;
                copy += u'!';
            }
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(CString(u"shared text"), shared);
}
