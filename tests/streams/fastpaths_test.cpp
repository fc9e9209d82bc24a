// The bulk paths of the streams (block-wise scanning and encoding, tags
// assembled before one write, geometric growth, compounds sized once) must
// give the bytes and trees the character-by-character rules give, wherever
// a special character falls relative to a block.
#include <gtest/gtest.h>

#include <string>

#include "tarvex/streams/charstream.h"
#include "tarvex/streams/elementdocs/elementstreamproxy.h"
#include "tarvex/streams/elementdocs/elementxml.h"
#include "tarvex/streams/json/jsoninstream.h"
#include "tarvex/streams/xml/xmlinstream.h"
#include "tarvex/streams/xml/xmloutstream.h"

namespace {

std::string Bytes(const CCharStream& stream) {
    return std::string(static_cast<const char*>(stream.GetBuffer()), stream.GetByteLength());
}

// The expected bytes of one character, written out by hand for the few
// characters the tests use.
std::string Expected(char16_t ch, COutStream::EStreamEncoding encoding, bool quotes) {
    std::string ascii;
    switch (ch) {
    case u'&':
        ascii = "&amp;";
        break;
    case u'<':
        ascii = "&lt;";
        break;
    case u'>':
        ascii = "&gt;";
        break;
    case u'"':
        ascii = quotes ? "&quot;" : "\"";
        break;
    case u'Ж':
        return encoding == COutStream::eEncodingUTF8   ? "\xD0\x96"
               : encoding == COutStream::eEncodingAnsi ? "\xC6"
                                                       : std::string("\x16\x04", 2);
    default:
        ascii = std::string(1, static_cast<char>(ch));
        break;
    }
    if (encoding != COutStream::eEncodingUnicode) return ascii;
    std::string wide;
    for (char c : ascii) wide += std::string{c, '\0'};
    return wide;
}

TEST(StreamFastPaths, EveryEncodingEscapesAtEveryPositionOfABlock) {
    const COutStream::EStreamEncoding encodings[] = {
        COutStream::eEncodingAnsi, COutStream::eEncodingUnicode, COutStream::eEncodingUTF8};
    for (auto encoding : encodings) {
        for (bool quotes : {false, true}) {
            for (char16_t special : {u'&', u'<', u'>', u'"', u'Ж'}) {
                for (int length = 1; length <= 35; ++length) {
                    for (int at = 0; at < length; ++at) {
                        std::u16string text(length, u'a');
                        text[at] = special;
                        std::string expected;
                        for (char16_t ch : text) expected += Expected(ch, encoding, quotes);
                        CCharStream stream(true, 4, 4);
                        stream.setEncoding(encoding);
                        stream.setCvtQuota(quotes);
                        stream.write(text.c_str());
                        ASSERT_EQ(Bytes(stream), expected)
                            << "encoding " << encoding << " length " << length << " at " << at;
                    }
                }
            }
        }
    }
}

TEST(StreamFastPaths, MemoryStreamsGrowingManyTimesKeepEverythingAndStayTerminated) {
    CCharStream stream(true, 16, 16);
    std::u16string expected;
    for (int i = 0; i < 20000; ++i) {
        const char16_t* piece = i % 3 == 0 ? u"Труба" : u"pipe";
        stream.write(piece);
        expected += piece;
        // Readable as a terminated 16-bit text after every write.
        ASSERT_EQ(static_cast<const char16_t*>(stream.GetBuffer())[stream.GetPos()], 0);
    }
    EXPECT_EQ(std::u16string(static_cast<const char16_t*>(stream.GetBuffer()), stream.GetPos()),
              expected);

    CBinaryOutStream binary(8, 8);
    for (std::int32_t i = 0; i < 10000; ++i) binary << i;
    ASSERT_EQ(binary.GetLength(), 40000u);
    EXPECT_EQ(static_cast<const std::int32_t*>(binary.GetBuffer())[9999], 9999);
}

TEST(StreamFastPaths, LongTextsKeepTheirPlaceAndTheQuoteSettingIsRestored) {
    const std::u16string longValue = std::u16string(5000, u'x') + u"\"<";
    CXMLOutStream out;
    CCharStream* stream = out.Create(COutStream::eEncodingUTF8);
    ASSERT_NE(stream, nullptr);
    CXMLAttrs attrs;
    attrs.AddAttr(u"a", longValue.c_str());
    out.BeginTable(u"T", &attrs);
    out.WriteParameter(u"p", u"say \"hi\"");
    out.WriteCDATAParameter(u"c", longValue.c_str(), -1, 1);
    out.Close();
    const std::string x(5000, 'x');
    EXPECT_EQ(Bytes(*stream), "<?xml version=\"1.0\" ?><T a=\"" + x +
                                  "&quot;&lt;\"><p>say \"hi\"</p><c><![CDATA[" + x +
                                  "\"<]]></c></T>");
    EXPECT_FALSE(stream->isConvertingQuotas());
    delete stream;
}

// A document with one attribute value and one element text, both `value`.
std::string Document(const std::string& value) {
    return "<?xml version=\"1.0\"?><a v=\"" + value + "\">" + value + "</a>";
}

TEST(StreamFastPaths, ValuesReadTheSameWhereverAStopByteFalls) {
    const struct {
        const char* bytes;
        const char16_t* text;
    } stops[] = {{"&amp;", u"&"}, {"&lt;", u"<"}, {"\xD0\x96", u"Ж"}, {"&#x41;", u"A"}};
    for (const auto& stop : stops) {
        for (int length = 0; length <= 40; ++length) {
            for (int at = 0; at <= length; ++at) {
                const std::string value =
                    std::string(at, 'b') + stop.bytes + std::string(length - at, 'c');
                const std::u16string expected =
                    std::u16string(at, u'b') + stop.text + std::u16string(length - at, u'c');
                const std::string document = Document(value);
                CXMLFileInStream in;
                ASSERT_EQ(in.Open(document.data(), static_cast<int>(document.size())), 1);
                CString name;
                CXMLAttrs attrs;
                ASSERT_EQ(in.ReadTag(name, attrs), CXMLInStream::eReadOpen);
                CString attribute;
                ASSERT_TRUE(attrs.GetAttr(u"v", attribute));
                ASSERT_EQ(std::u16string(attribute.View()), expected) << value;
                CString text;
                ASSERT_EQ(in.ReadParameter(text, u"a"), CXMLInStream::eReadClose) << value;
                ASSERT_EQ(std::u16string(text.View()), expected) << value;
            }
        }
    }
    // A value cut by the end of the data, long enough for whole blocks.
    const std::string cut = "<?xml version=\"1.0\"?><a>" + std::string(37, 'z');
    CXMLFileInStream in;
    ASSERT_EQ(in.Open(cut.data(), static_cast<int>(cut.size())), 1);
    CString name, text;
    CXMLAttrs attrs;
    ASSERT_EQ(in.ReadTag(name, attrs), CXMLInStream::eReadOpen);
    EXPECT_EQ(in.ReadValue(text, '<'), CXMLInStream::eReadOpen);
    EXPECT_EQ(std::u16string(text.View()), std::u16string(37, u'z'));
}

TEST(StreamFastPaths, TagNamesOfOneLengthAreNotConfusedNorSharedCopiesChanged) {
    const std::string document = "<?xml version=\"1.0\"?><ab><ac/><ac/></ab>";
    CXMLFileInStream in;
    ASSERT_EQ(in.Open(document.data(), static_cast<int>(document.size())), 1);
    CString name;
    CXMLAttrs attrs;
    ASSERT_EQ(in.ReadTag(name, attrs), CXMLInStream::eReadOpen);
    const CString kept = name; // shares the buffer
    ASSERT_EQ(in.ReadTag(name, attrs), CXMLInStream::eReadEmpty);
    EXPECT_EQ(std::u16string(name.View()), u"ac");
    EXPECT_EQ(std::u16string(kept.View()), u"ab");
    ASSERT_EQ(in.ReadTag(name, attrs), CXMLInStream::eReadEmpty);
    EXPECT_EQ(std::u16string(name.View()), u"ac");
    ASSERT_EQ(in.ReadTag(name, attrs), CXMLInStream::eReadClose);
    EXPECT_EQ(std::u16string(name.View()), u"ab");
}

std::shared_ptr<CJsonNode> Parse(CJsonInStream& in, const std::u16string& text) {
    EXPECT_EQ(in.Open(text.data(), static_cast<int>(text.size() * 2)), 1);
    return in.ParseNext();
}

std::size_t Items(const std::shared_ptr<CJsonNode>& node) {
    return node->AsCompound()->children.size();
}

TEST(StreamFastPaths, NestedCompoundsGetTheirOwnItemsAlsoAfterAFailure) {
    CJsonInStream in;
    auto root = Parse(in, u"[[1,2],[],{\"a\":[3,4,5],\"b\":{}},6]");
    ASSERT_NE(root, nullptr);
    auto& items = root->AsCompound()->children;
    ASSERT_EQ(items.size(), 4u);
    EXPECT_EQ(Items(items[0]), 2u);
    EXPECT_EQ(Items(items[1]), 0u);
    ASSERT_EQ(Items(items[2]), 2u);
    EXPECT_EQ(items[2]->AsCompound()->children[0]->key, u"a");
    EXPECT_EQ(Items(items[2]->AsCompound()->children[0]), 3u);
    EXPECT_EQ(items[3]->GetType(), CJsonNode::eNumber);

    // An inner failure ends the parse; the next text starts clean.
    EXPECT_EQ(Parse(in, u"[1,[2,3,],4]"), nullptr);
    root = Parse(in, u"[7]");
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(Items(root), 1u);
}

struct Proxy : CElementStreamProxy, CElementParamsStreamProxy {};

TEST(StreamFastPaths, ArraySizeHintsFromUntrustedCountsReserveLittle) {
    CElement element(u"E");
    // Counts no heap could hold, and nonsense ones, cost nothing much.
    Proxy::SetChildrenArraySize(element, std::int64_t(1) << 60);
    Proxy::SetParametersArraySize(element, std::int64_t(1) << 60);
    Proxy::SetChildrenArraySize(element, -5);
    Proxy::SetParametersArraySize(element, 0);
    for (int i = 0; i < 300; ++i) element.AddChild(u"c");
    for (int i = 0; i < 300; ++i) {
        CString name;
        name.Format(u"p%03d", i);
        element.SetParameter(name, u"1", u"", u"");
    }
    EXPECT_EQ(element.GetChildCount(), 300);
    ASSERT_EQ(element.GetParamsCount(), 300);
    EXPECT_NE(element.GetParameter(u"p299"), nullptr);
}

TEST(StreamFastPaths, ControlCharactersInEveryFieldKeepTheParametersAfterThem) {
    for (char16_t unit = 1; unit < 0x80; unit = unit == 0x1F ? 0x7F : unit + 1) {
        for (int field = 0; field < 4; ++field) {
            const char16_t text[] = {u'a', unit, u'b', 0};
            const char16_t* fields[4] = {u"A", u"1", u"", u""};
            fields[field] = text;
            CElement root(u"R");
            root.SetParameter(fields[0], fields[1], fields[2], fields[3]);
            root.SetParameter(u"Y", u"2", u"", u"");
            root.SetParameter(u"Z", u"3", u"", u"");
            CString written;
            ASSERT_TRUE(root.WriteToXML(written));
            CElement copy;
            ASSERT_TRUE(copy.ReadFromXML(written)) << int(unit) << " in field " << field;
            ASSERT_EQ(copy.GetParamsCount(), 3) << int(unit) << " in field " << field;
            CString again;
            ASSERT_TRUE(copy.WriteToXML(again));
            EXPECT_EQ(again, written) << int(unit) << " in field " << field;
        }
    }
}

} // namespace
