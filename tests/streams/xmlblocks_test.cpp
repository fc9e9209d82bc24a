// The block paths of XML reading and writing (sixteen bytes widened at a
// time, Cyrillic pairs in their own loops, attribute sets refilled in place)
// against the rules written out one character or one attribute at a time,
// over random mixed text so that every kind of character meets every block
// edge.
#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tarvex/platform/codepage.h"
#include "tarvex/platform/wide.h"
#include "tarvex/streams/charstream.h"
#include "tarvex/streams/xml/xmlinstream.h"
#include "tarvex/streams/xml/xmloutstream.h"

namespace {

std::string Bytes(const CCharStream& stream) {
    return std::string(static_cast<const char*>(stream.GetBuffer()), stream.GetByteLength());
}

// UTF-8 of one unit as the writer's rules give it: a surrogate alone is not a
// character, and '&' '<' '>' (and '"' on request) become entities.
std::string Utf8Of(char16_t ch, bool escape, bool quotes) {
    if (escape) {
        if (ch == u'&') return "&amp;";
        if (ch == u'<') return "&lt;";
        if (ch == u'>') return "&gt;";
        if (ch == u'"' && quotes) return "&quot;";
    }
    if (ch < 0x80) return std::string(1, static_cast<char>(ch));
    if (ch < 0x800)
        return {static_cast<char>(0xC0 | (ch >> 6)), static_cast<char>(0x80 | (ch & 0x3F))};
    if (ch >= 0xD800 && ch <= 0xDFFF) return "\xEF\xBF\xBD";
    return {static_cast<char>(0xE0 | (ch >> 12)), static_cast<char>(0x80 | ((ch >> 6) & 0x3F)),
            static_cast<char>(0x80 | (ch & 0x3F))};
}

std::u16string RandomText(std::mt19937& rng, int length) {
    static const char16_t kUnits[] = {u'a', u'Z',  u'7',  u' ',   u'&',   u'<',   u'>',
                                      u'"', u'\'', u'Ж',  u'я',   u'Ё',   u'ё',   0x7F,
                                      0x80, 0x7FF, 0x800, 0x20AC, 0xD83D, 0xDE00, 0xFFFF};
    std::u16string text;
    for (int i = 0; i < length; ++i) {
        // Runs of one kind, so that plain blocks happen too.
        const char16_t unit = kUnits[rng() % std::size(kUnits)];
        for (int n = static_cast<int>(rng() % 9); n >= 0 && i < length; --n, ++i) text += unit;
        --i;
    }
    return text;
}

TEST(XmlBlockPaths, MixedTextWritesAsEachCharacterByItself) {
    std::mt19937 rng(7);
    for (int round = 0; round < 3000; ++round) {
        const std::u16string text = RandomText(rng, static_cast<int>(rng() % 70));
        for (bool escape : {false, true}) {
            for (bool quotes : {false, true}) {
                std::string expected;
                for (char16_t ch : text) expected += Utf8Of(ch, escape, quotes);
                CCharStream stream(escape, 8, 8);
                stream.setEncoding(COutStream::eEncodingUTF8);
                stream.setCvtQuota(quotes);
                stream.write(text.data(), text.size());
                ASSERT_EQ(Bytes(stream), expected) << "round " << round;
            }
        }
    }
}

TEST(XmlBlockPaths, CyrillicInTheAnsiCodePageAsTheCodePageConverts) {
    for (char16_t ch = 0x400; ch < 0x460; ++ch) {
        char expected[4] = {};
        ASSERT_EQ(WideCharToMultiByte(CP_ACP, 0, &ch, 1, expected, 4, nullptr, nullptr), 1);
        CCharStream stream(true, 8, 8);
        stream.setEncoding(COutStream::eEncodingAnsi);
        const std::u16string text(9, ch); // a block and one more
        stream.write(text.data(), text.size());
        EXPECT_EQ(Bytes(stream), std::string(9, expected[0])) << int(ch);
    }
}

TEST(XmlBlockPaths, AttributeTextsEndAtAnInnerNulWhereverItFalls) {
    for (int length = 1; length <= 20; ++length) {
        for (int at = 0; at < length; ++at) {
            std::u16string value(length, u'Ж');
            value[at] = 0;
            CXMLOutStream out;
            CCharStream* stream = out.Create(COutStream::eEncodingUTF8);
            CXMLAttrs attrs;
            attrs.AddAttr(CString(u"v"), CString(value.data(), length));
            out.EmptyItem(u"e", &attrs);
            out.Close();
            std::string prefix;
            for (int i = 0; i < at; ++i) prefix += "\xD0\x96";
            EXPECT_EQ(Bytes(*stream), "<?xml version=\"1.0\" ?><e v=\"" + prefix + "\" />");
            delete stream;
        }
    }
}

// The reading rules one byte at a time, from the start of a value to the end
// of the document: '<' ends a text, `terminator` ends an attribute value.
std::pair<std::u16string, CXMLInStream::eReadStatus> ReadByRule(const std::string& d,
                                                                char terminator) {
    std::u16string out;
    std::size_t i = 0;
    while (i < d.size()) {
        const unsigned char b = static_cast<unsigned char>(d[i]);
        if (terminator != '<' && b == static_cast<unsigned char>(terminator))
            return {out, CXMLInStream::eReadClose};
        if (b == '<')
            return {out, terminator == '<' ? CXMLInStream::eReadOpen : CXMLInStream::eReadError};
        if (b == '&') {
            const std::pair<const char*, char16_t> named[] = {
                {"&amp;", u'&'}, {"&lt;", u'<'}, {"&gt;", u'>'}, {"&quot;", u'"'}};
            bool done = false;
            for (const auto& [text, ch] : named) {
                if (d.compare(i, std::strlen(text), text) == 0) {
                    out += ch;
                    i += std::strlen(text);
                    done = true;
                    break;
                }
            }
            if (done) continue;
            if (d.compare(i, 3, "&#x") == 0) {
                std::size_t j = i + 3;
                unsigned code = 0;
                while (j < d.size() && std::isxdigit(static_cast<unsigned char>(d[j])))
                    code = (code * 16 + std::stoi(d.substr(j++, 1), nullptr, 16)) & 0xFFFF;
                if (j > i + 3 && j < d.size() && d[j] == ';') {
                    out += static_cast<char16_t>(code);
                    i = j + 1;
                    continue;
                }
            }
            out += u'?';
            const std::size_t semicolon = d.find(';', i);
            i = semicolon == std::string::npos ? d.size() : semicolon;
            continue;
        }
        if (b < 0x80) {
            out += static_cast<char16_t>(b);
            ++i;
            continue;
        }
        int count = 0;
        while (count < 8 && (b & (0x80 >> count)) != 0) ++count;
        if (i + count > d.size()) return {out, CXMLInStream::eReadError};
        unsigned code = count < 7 ? b & (0xFFu >> (count + 1)) : 0;
        for (int k = 1; k < count; ++k) code = (code << 6) | (d[i + k] & 0x3F);
        out += static_cast<char16_t>(count == 1 || count > 4 || code > 0xFFFF ? 0xFFFD : code);
        i += count;
    }
    return {out, CXMLInStream::eReadOpen};
}

std::string RandomBytes(std::mt19937& rng, int pieces) {
    static const char* const kPieces[] = {"a",
                                          "bc d",
                                          "0123456789abcdef",
                                          "\xD0\x96",
                                          "\xD1\x8F",
                                          "\xC3",
                                          "\xE2\x82\xAC",
                                          "\xE2\x82",
                                          "\xF0\x9F\x98\x80",
                                          "\x80",
                                          "\xFE",
                                          "&amp;",
                                          "&lt;",
                                          "&#x416;",
                                          "&#x;",
                                          "&apos;",
                                          "&",
                                          ";",
                                          "\r\n\t"};
    std::string bytes;
    for (int i = 0; i < pieces; ++i) bytes += kPieces[rng() % std::size(kPieces)];
    return bytes;
}

TEST(XmlBlockPaths, MixedBytesReadAsTheSequenceRulesSay) {
    std::mt19937 rng(11);
    for (int round = 0; round < 4000; ++round) {
        const std::string value =
            RandomBytes(rng, static_cast<int>(rng() % (round % 10 == 0 ? 200 : 24)));
        const std::string tail = round % 3 == 0 ? "" : "</a>";

        // Element text.
        const std::string head = "<?xml version=\"1.0\"?><a>";
        const std::string text = head + value + tail;
        CXMLFileInStream in;
        ASSERT_EQ(in.Open(text.data(), static_cast<int>(text.size())), 1);
        CString name, read;
        CXMLAttrs attrs;
        ASSERT_EQ(in.ReadTag(name, attrs), CXMLInStream::eReadOpen);
        const auto [expected, status] = ReadByRule(value + tail, '<');
        ASSERT_EQ(in.ReadValue(read, '<'), status) << "round " << round;
        ASSERT_EQ(std::u16string(read.View()), expected) << "round " << round;

        // An attribute value: the tag is whole only when the value ends at
        // the one quote there is.
        const std::string rest = value + "\"/>" + tail;
        const std::string tag = "<?xml version=\"1.0\"?><a v=\"" + rest;
        ASSERT_EQ(in.Open(tag.data(), static_cast<int>(tag.size())), 1);
        const auto [attribute, closed] = ReadByRule(rest, '"');
        const CXMLInStream::eReadStatus got = in.ReadTag(name, attrs);
        if (closed != CXMLInStream::eReadClose) {
            ASSERT_EQ(got, CXMLInStream::eReadError) << "round " << round;
            continue;
        }
        ASSERT_EQ(got, CXMLInStream::eReadEmpty) << "round " << round;
        CString v;
        ASSERT_TRUE(attrs.GetAttr(u"v", v));
        ASSERT_EQ(std::u16string(v.View()), attribute) << "round " << round;
    }
}

using Attributes = std::vector<std::pair<std::u16string, std::u16string>>;

// A set built by the one-attribute-at-a-time rule: a repeated name replaces
// the value where the name first came.
void Add(Attributes& set, const std::u16string& name, const std::u16string& value) {
    for (auto& [n, v] : set) {
        if (n == name) {
            v = value;
            return;
        }
    }
    set.emplace_back(name, value);
}

TEST(XmlBlockPaths, AttributeSetsRefilledTagAfterTagMatchTheRule) {
    std::mt19937 rng(5);
    const char* const kNames[] = {"a", "b", "name", "value", "c", "d",
                                  "e", "f", "g",    "h",     "i", "j"};
    std::string document = "<?xml version=\"1.0\"?>";
    std::vector<std::pair<Attributes, CXMLInStream::eReadStatus>> expected;
    Attributes last;
    for (int tag = 0; tag < 3000; ++tag) {
        Attributes set;
        const int kind = static_cast<int>(rng() % 10);
        if (kind == 0) { // no attributes and no blank: the last set stays
            document += "<t>";
            expected.emplace_back(last, CXMLInStream::eReadOpen);
            continue;
        }
        document += "<t";
        // Mostly the names of the tag before, in order; sometimes others.
        const int count = kind < 6 ? 4 : static_cast<int>(rng() % 13);
        for (int i = 0; i < count; ++i) {
            const char* name = kind < 6 ? kNames[i + (kind == 5 && i == 2)] : kNames[rng() % 12];
            const std::string value = std::to_string(rng() % 1000) + (rng() % 2 ? "Ж" : "");
            document += std::string(" ") + name + "=\"" + value + "\"";
            const CString wideValue = tarvex::FromUtf8(value);
            Add(set, std::u16string(name, name + std::strlen(name)),
                std::u16string(wideValue.View()));
        }
        document += " />";
        expected.emplace_back(set, CXMLInStream::eReadEmpty);
        last = set;
    }
    // A tag that fails half-way keeps the attributes read before the fault.
    document += "<t a=\"1\" b=\"2\" c=\"<\"/>";
    expected.emplace_back(Attributes{{u"a", u"1"}, {u"b", u"2"}}, CXMLInStream::eReadError);

    CXMLFileInStream in;
    ASSERT_EQ(in.Open(document.data(), static_cast<int>(document.size())), 1);
    CString name;
    CXMLAttrs attrs;
    for (std::size_t t = 0; t < expected.size(); ++t) {
        const auto& [set, status] = expected[t];
        ASSERT_EQ(in.ReadTag(name, attrs), status) << "tag " << t;
        ASSERT_EQ(attrs.GetCount(), static_cast<std::int64_t>(set.size())) << "tag " << t;
        for (std::size_t i = 0; i < set.size(); ++i) {
            const CXMLAttr* byIndex = attrs.GetAttr(static_cast<std::int64_t>(i));
            ASSERT_EQ(std::u16string(byIndex->GetName().View()), set[i].first) << "tag " << t;
            ASSERT_EQ(std::u16string(byIndex->GetValue().View()), set[i].second) << "tag " << t;
            ASSERT_EQ(attrs.GetAttr(set[i].first.c_str()), byIndex) << "tag " << t;
        }
        for (const char* other : kNames) {
            const std::u16string wide(other, other + std::strlen(other));
            bool present = false;
            for (const auto& item : set) present = present || item.first == wide;
            if (!present) {
                ASSERT_EQ(attrs.GetAttr(wide.c_str()), nullptr) << "tag " << t;
            }
        }
    }
}

TEST(XmlBlockPaths, AttributeSetsFilledAfterFlushMatchTheRule) {
    // A writer's pattern: flush, then the names of the last set, mostly in
    // the same order, sometimes another order, repeats or more names.
    std::mt19937 rng(9);
    const char16_t* const kNames[] = {u"name", u"value", u"caption", u"comment", u"a",
                                      u"b",    u"c",     u"d",       u"e",       u"f"};
    CXMLAttrs attrs;
    for (int round = 0; round < 3000; ++round) {
        attrs.Flush();
        Attributes expected;
        const int kind = static_cast<int>(rng() % 8);
        const int count = kind < 5 ? 4 : static_cast<int>(rng() % 11);
        for (int i = 0; i < count; ++i) {
            const char16_t* name = kind < 4 ? kNames[i] : kNames[rng() % std::size(kNames)];
            const std::u16string value = std::u16string(u"v") + char16_t(u'0' + rng() % 10);
            if (rng() % 4 == 0) {
                attrs.AddAttr(CString(name), CString(value.c_str()));
            } else {
                attrs.AddAttr(std::u16string_view(name), std::u16string_view(value));
            }
            Add(expected, name, value);
        }
        ASSERT_EQ(attrs.GetCount(), static_cast<std::int64_t>(expected.size())) << round;
        for (std::size_t i = 0; i < expected.size(); ++i) {
            const CXMLAttr* attr = attrs.GetAttr(static_cast<std::int64_t>(i));
            ASSERT_EQ(std::u16string(attr->GetName().View()), expected[i].first) << round;
            ASSERT_EQ(std::u16string(attr->GetValue().View()), expected[i].second) << round;
            ASSERT_EQ(attrs.GetAttr(expected[i].first.c_str()), attr) << round;
        }
    }
}

} // namespace
