// Text writers, memory streams, binary streams and CSV: exact bytes.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tarvex/core/exceptions.h"
#include "tarvex/streams/charstream.h"
#include "tarvex/streams/csvfile.h"

#if defined(__SANITIZE_ADDRESS__)
// The -1 thrown on a refused growth is tested with a request no heap can
// grant; AddressSanitizer must answer it with null as the C heap does.
extern "C" const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}
#endif

namespace {

std::string Bytes(const CCharStream& stream) {
    return std::string(static_cast<const char*>(stream.GetBuffer()), stream.GetByteLength());
}

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::filesystem::path TempPath(const char* name) {
    return std::filesystem::temp_directory_path() /
           (std::string("tarvex_streams_") + std::to_string(getpid()) + "_" + name);
}

CString Wide(const std::filesystem::path& path) {
    std::string text = path.string();
    return CString(std::u16string(text.begin(), text.end()));
}

TEST(OutStream, EscapesTheFourCharactersAndQuotesOnlyWhenAsked) {
    CCharStream stream;
    stream.setEncoding(COutStream::eEncodingUTF8);
    stream << u"a<b&c\"d'e>";
    EXPECT_EQ(Bytes(stream), "a&lt;b&amp;c\"d'e&gt;");

    CCharStream quoted;
    quoted.setEncoding(COutStream::eEncodingUTF8);
    quoted.setCvtQuota(true);
    quoted << u"\"\x01";
    EXPECT_EQ(Bytes(quoted), "&quot;\x01"); // control characters pass raw

    CCharStream plain(false, 16, 16);
    plain.setEncoding(COutStream::eEncodingUTF8);
    plain.setCvtQuota(true);
    plain << u"<&\">";
    EXPECT_EQ(Bytes(plain), "<&\">");
}

TEST(OutStream, EncodingsGiveExactBytes) {
    const char16_t text[] = u"Да<\xD83D\xDE00";
    CCharStream utf8;
    utf8.setEncoding(COutStream::eEncodingUTF8);
    utf8 << text;
    // Each unit by itself: the surrogate pair becomes two replacement characters.
    EXPECT_EQ(Bytes(utf8), "\xD0\x94\xD0\xB0&lt;\xEF\xBF\xBD\xEF\xBF\xBD");

    CCharStream ansi;
    ansi.setEncoding(COutStream::eEncodingAnsi);
    ansi << u"Да<";
    ansi << 'x' << '\xC4';
    EXPECT_EQ(Bytes(ansi), "\xC4\xE0&lt;x\xC4");

    CCharStream utf16;
    utf16 << u"<";
    EXPECT_EQ(utf16.GetByteLength(), 8u);
    EXPECT_EQ(utf16.GetPos(), 4u);
    EXPECT_EQ(std::u16string(static_cast<const char16_t*>(utf16.GetBuffer())), u"&lt;");
    utf16 << '\xC4'; // a char is widened through the ANSI code page
    EXPECT_EQ(std::u16string(static_cast<const char16_t*>(utf16.GetBuffer())), u"&lt;Д");

    CCharStream unknown;
    unknown.setEncoding(static_cast<COutStream::EStreamEncoding>(7));
    unknown << u"abc" << 12;
    EXPECT_TRUE(unknown.IsEmpty());
}

TEST(OutStream, NumbersMarkupAndCData) {
    CCharStream stream;
    stream.setEncoding(COutStream::eEncodingUTF8);
    stream << 42 << u' ' << std::int64_t(-9000000000) << u' ' << 0.1 << u' ' << 1e20;
    stream.tagOpenStart();
    stream.tagCloseStart();
    stream.tagEnd();
    stream.tagEmptyEnd();
    stream.writeCData(u"<&>", -1);
    EXPECT_EQ(Bytes(stream), "42 -9000000000 0.1 100000000000000000000<</>/><&>");
}

TEST(OutStream, CDataBase64TruncatesInUtf16Only) {
    CCharStream utf8;
    utf8.setEncoding(COutStream::eEncodingUTF8);
    utf8.writeCDataBase64("Man", 3);
    EXPECT_EQ(Bytes(utf8), "TWFu");
    CCharStream utf16;
    utf16.writeCDataBase64("Man", 3);
    EXPECT_EQ(std::u16string(static_cast<const char16_t*>(utf16.GetBuffer())), u"TWF");
}

TEST(CharStream, GrowthTerminationAndFailures) {
    CCharStream stream(true, 2, 3);
    for (int i = 0; i < 100; ++i) {
        stream << u"x";
        ASSERT_EQ(std::u16string(static_cast<const char16_t*>(stream.GetBuffer())).size(),
                  size_t(i + 1));
    }
    EXPECT_EQ(stream.GetPos(), 100u);

    CCharStream sink(true, 4, 0); // no growth: the write is lost silently
    sink << u"ab";
    EXPECT_TRUE(sink.IsEmpty());

    CCharStream huge(true, 16, std::uint64_t(1) << 62);
    try {
        huge << u"twenty characters...";
        FAIL() << "no throw";
    } catch (int code) {
        EXPECT_EQ(code, -1);
    }

    stream.Clear();
    EXPECT_TRUE(stream.IsEmpty());
    stream << u"y";
    EXPECT_EQ(std::u16string(static_cast<const char16_t*>(stream.GetBuffer())), u"y");
}

TEST(BinaryStream, RoundTripCompareAndClamping) {
    CBinaryOutStream out(4, 4);
    out << char('a') << std::int32_t(0x11223344) << std::int64_t(-2) << 1.5 << char16_t(u'Я');
    EXPECT_EQ(out.GetLength(), 1u + 4 + 8 + 8 + 2);
    CBinaryInStream in(out.GetBuffer(), out.GetLength());
    char c = 0;
    std::int32_t i = 0;
    std::int64_t l = 0;
    double d = 0;
    short s = 0;
    in >> c >> i >> l >> d >> s;
    EXPECT_EQ(c, 'a');
    EXPECT_EQ(i, 0x11223344);
    EXPECT_EQ(l, -2);
    EXPECT_EQ(d, 1.5);
    EXPECT_EQ(char16_t(s), u'Я');
    EXPECT_TRUE(in.IsEof());

    const unsigned char two[] = {0xAA, 0xBB};
    CBinaryInStream partial(two, 2);
    std::int32_t value = 0x11223344;
    partial >> value; // only the low bytes that remain are replaced
    EXPECT_EQ(value, 0x1122BBAA);
    EXPECT_TRUE(partial.IsEof());
    partial >> value;
    EXPECT_EQ(value, 0x1122BBAA);

    CBinaryOutStream a, b, copy;
    a << char(1) << char(2);
    b << char(1) << char(3);
    copy = a;
    EXPECT_TRUE(a == copy);
    EXPECT_TRUE(a < b);
    EXPECT_LT(a.Compare(b), 0);
    copy << char(0);
    EXPECT_EQ(a.Compare(copy), -1); // a prefix sorts first
    CBinaryOutStream clamp(256, 256);
    clamp.SetPos(1000000);
    EXPECT_EQ(clamp.GetLength(), 256u);
}

TEST(FileOutStream, WritesAtomicallyAndDropsOnUnwinding) {
    auto path = TempPath("file.txt");
    {
        CFileOutStream file(Wide(path), COutStream::eEncodingUTF8);
        file << u"Да & <" << 7;
        EXPECT_FALSE(std::filesystem::exists(path)); // not in place until closed
        file.Close();
    }
    EXPECT_EQ(ReadFile(path), "\xD0\x94\xD0\xB0 &amp; &lt;7");
    try {
        CFileOutStream file(Wide(path), COutStream::eEncodingUTF8);
        file << u"half";
        throw 1;
    } catch (int) {
    }
    EXPECT_EQ(ReadFile(path), "\xD0\x94\xD0\xB0 &amp; &lt;7"); // the old file stays whole
    std::filesystem::remove(path);
    EXPECT_THROW(CFileOutStream(u"/nonexistent-folder/x.xml", COutStream::eEncodingUTF8),
                 CKVSysException);
}

TEST(CsvFile, QuotingRulesAndLineEnds) {
    auto path = TempPath("a.csv");
    CCSVFile csv;
    ASSERT_TRUE(csv.Open(Wide(path), nullptr));
    csv.WriteField(u"a;b");
    csv.WriteField(u"say \"hi\"");
    csv.WriteLastField(u"x");
    csv.WriteField(u"a\r\nb");
    csv.WriteField(u"a\r\"b");
    csv.WriteField(u"");
    csv.WriteField(12);
    csv.WriteLastField(u"end\r");
    csv.WriteData(0.5);
    csv.Close();
    EXPECT_EQ(ReadFile(path), "\"a;b\";\"say \"\"hi\"\"\";x;\r\n"
                              "\"a\nb\";\"a\"b\";;12;\"end\";\r\n"
                              "0.5");
    std::filesystem::remove(path);
}

TEST(CsvFile, EncodingsAndTheLostLine) {
    auto path = TempPath("b.csv");
    CCSVFile csv;
    csv.SetEncoding(2);
    ASSERT_TRUE(csv.Open(Wide(path), nullptr));
    csv.WriteLastField(u"Да"); // 7 bytes do not fit 5 characters + 1: the line is lost
    csv.WriteLastField(u"ok");
    csv.Close();
    EXPECT_EQ(ReadFile(path), "ok;\r\n");

    csv.SetEncoding(0);
    ASSERT_TRUE(csv.Open(Wide(path), nullptr));
    csv.WriteLastField(u"Да");
    csv.Close();
    EXPECT_EQ(ReadFile(path), "\xC4\xE0;\r\n");

    csv.SetEncoding(3);
    csv.SetDivider(u',');
    ASSERT_TRUE(csv.Open(Wide(path), nullptr));
    csv.WriteLastField(u"Да,");
    csv.Close();
    EXPECT_EQ(ReadFile(path), "\"\x84\xA0,\",\r\n");
    std::filesystem::remove(path);

    CString error;
    EXPECT_FALSE(csv.Open(u"/nonexistent-folder/x.csv", &error));
    EXPECT_FALSE(error.IsEmpty());
}

} // namespace
